// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "output/staged_files.hpp"
#include "output/summary.hpp"
#include "output/warp_tables.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::tool {
namespace {

namespace fs = std::filesystem;

class Folder : public testing::Test {
  protected:
    size_t files() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(root_), {}));
    }

    const test::TemporaryFolder temporary_;
    const fs::path& root_ = temporary_.path();
};

TEST_F(Folder, FilesAppearTogetherAtCommit) {
    std::ofstream(root_ / "a") << "old";
    std::optional<Fault> fault;
    {
        StagedFiles staged(root_);
        ASSERT_FALSE(staged.open());
        std::fputs("new", staged.add("a", fault));
        std::fputs("b", staged.add("b", fault));
        ASSERT_FALSE(fault);
        EXPECT_EQ(test::read_text(root_ / "a"), "old");
        EXPECT_FALSE(fs::exists(root_ / "b"));
        ASSERT_FALSE(staged.commit());
    }
    EXPECT_EQ(test::read_text(root_ / "a"), "new");
    EXPECT_EQ(test::read_text(root_ / "b"), "b");
    EXPECT_EQ(files(), 2u);
}

TEST_F(Folder, NothingIsLeftWithoutCommit) {
    std::ofstream(root_ / "a") << "old";
    std::optional<Fault> fault;
    {
        StagedFiles staged(root_);
        ASSERT_FALSE(staged.open());
        std::fputs("new", staged.add("a", fault));
        StagedFiles made(root_ / "made");
        ASSERT_FALSE(made.open());
        std::fputs("new", made.add("a", fault));
    }
    EXPECT_EQ(test::read_text(root_ / "a"), "old");
    EXPECT_EQ(files(), 1u);
}

TEST_F(Folder, NamesThatCannotBeTakenAreRefusedBeforeAnyIs) {
    fs::create_directory(root_ / "b");
    std::optional<Fault> fault;
    {
        StagedFiles staged(root_);
        ASSERT_FALSE(staged.open());
        ASSERT_NE(staged.add("a", fault), nullptr);
        EXPECT_EQ(staged.add("b", fault), nullptr);
    }
    EXPECT_EQ(fault->text(), (root_ / "b").string() + ": expected no folder of this name");
    EXPECT_EQ(files(), 1u);
}

/// What a writer puts into a file.
template <class Write>
std::string written(Write write) {
    char* text = nullptr;
    size_t size = 0;
    std::FILE* const file = open_memstream(&text, &size);
    write(file);
    std::fclose(file);
    std::string out(text, size);
    std::free(text);
    return out;
}

TEST(WarpTables, RowsMatchTheirHeaders) {
    FrameWarp warp;
    warp.valid = true;
    warp.sensor = 2;
    for (size_t i = 0; i < 9; ++i) {
        warp.stabilization[i] = 0.1f + static_cast<float>(i);
        warp.alignment_stabilized[i] = 10.0f + static_cast<float>(i);
        warp.alignment_undistorted[i] = -20.0f - static_cast<float>(i);
    }
    warp.cvp_motion_index = 1e-7f;
    warp.scene = {IS_SCENE_PANNING, {false, true, false}};
    warp.grid[0] = {-1020.0f, 0.5f};
    warp.grid[944] = {1.0f / 3.0f, 7.0f};
    const Frame frame = {7, -5, 0, 0};
    const auto commas = [](const std::string& text) {
        return std::count(text.begin(), text.end(), ',');
    };
    const std::string header = written(write_warps_header);
    const std::string row =
        written([&](std::FILE* file) { write_warps_row(file, frame, warp, -3.25); });
    EXPECT_EQ(row,
              "7,-5,2,1,0.1,1.1,2.1,3.1,4.1,5.1,6.1,7.1,8.1,10,11,12,13,14,15,16,17,18,"
              "-20,-21,-22,-23,-24,-25,-26,-27,-28,1e-07,4,0,1,0,-3.25,1\n");
    EXPECT_EQ(commas(header), commas(row));
    warp.valid = false;
    const std::string empty =
        written([&](std::FILE* file) { write_warps_row(file, frame, warp, 0.0); });
    EXPECT_EQ(empty, "7,-5,,0" + std::string(34, ',') + "\n");
    EXPECT_EQ(commas(header), commas(empty));

    const std::string grid = written([&](std::FILE* file) { write_grids_row(file, frame, warp); });
    EXPECT_TRUE(grid.starts_with("7,-1020,0.5,0,0,"));
    EXPECT_TRUE(grid.ends_with(",0.33333334,7\n"));
    EXPECT_EQ(commas(grid), commas(written(write_grids_header)));
}

TEST(Summary, UnknownFiguresAreNullAndADash) {
    const Camera camera = built_in_camera();
    Summary summary;
    summary.source = "bad \xFF name";
    summary.settings = &camera;
    summary.shake[0] = {0.5, {0.002, 0.0, std::nullopt}, {0.001, 0.0, std::nullopt}};
    const nlohmann::json json = nlohmann::json::parse(summary_json(summary));
    const auto& ratio = json["orientation_rms"][0]["ratio"];
    EXPECT_EQ(ratio[0], 0.5);
    EXPECT_TRUE(ratio[1].is_null());
    EXPECT_TRUE(ratio[2].is_null());
    EXPECT_TRUE(json["crop_corners"]["largest_overshoot_px"].is_null());
    const std::string table = summary_table(summary);
    EXPECT_NE(table.find("ratio" + std::string(15, ' ') + "0.5000           -           -\n"),
              std::string::npos)
        << table;
}

}  // namespace
}  // namespace steadywarp::tool
