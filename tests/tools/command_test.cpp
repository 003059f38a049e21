// SPDX-License-Identifier: Apache-2.0
// The real command in a process of its own: exit status, what it prints, what it leaves behind.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

std::string content(const fs::path& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

size_t count_lines(const fs::path& path) {
    const std::string text = content(path);
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

class Command : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = testing::TempDir() + "steadywarp-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
    }
    void TearDown() override { fs::remove_all(folder_); }

    /// Run with arguments for a shell; '@' in them stands for the test's folder.
    Outcome run(std::string arguments) const {
        for (size_t at = 0; (at = arguments.find('@', at)) != std::string::npos;) {
            arguments.replace(at, 1, folder_.string());
        }
        const std::string line = std::string(STEADYWARP_COMMAND) + " " + arguments + " >" +
                                 (folder_ / "stdout").string() + " 2>" +
                                 (folder_ / "stderr").string();
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(folder_ / "stdout"),
                content(folder_ / "stderr")};
    }

    void file(const std::string& name, const std::string& text) const {
        std::ofstream(folder_ / name, std::ios::binary) << text;
    }

    Json summary() const { return Json::parse(content(folder_ / "out/summary.json")); }

    fs::path folder_;
};

/// A log of `count` samples at 500 Hz from one second on, still.
std::string still_log(int count) {
    std::string text = "t_us,gx,gy,gz\n";
    for (int i = 0; i < count; ++i) {
        text += std::to_string(1000000 + i * 2000) + ",0.001,0,0\n";
    }
    return text;
}

std::string last_line(const std::string& text) {
    const std::string body = text.substr(0, text.find_last_not_of('\n') + 1);
    return body.substr(body.rfind('\n') + 1);
}

TEST_F(Command, RefusesBadInputWithOneLineAndLeavesNothing) {
    file("gyro.csv", still_log(1000));
    file("nan.csv", "t_us,gx,gy,gz\n1,0,0,0\n2,nan,0,0\n");
    file("empty.csv", "");
    file("frames.csv", "frame,sof_us,exposure_us,readout_us\n1,1500000,,\n2,1533333,,\n");
    file("early.csv", "frame,sof_us,exposure_us,readout_us\n1,500,,\n2,33833,,\n");
    file("typo.ini", "[common]\nis_type = 4\noutput_wdth = 3\n");
    file("lens.ini", "[sensor_data\\idx0\\general]\nfocal_length = 20\n");
    file("shift.ini",
         "[common]\nis_ois_enabled = 1\n[sensor_data\\idx0\\top]\nois_frequency = 500\n");
    file("notdir", "");
    const struct {
        const char* arguments;
        const char* start;    ///< of the line, '@' as in run()
        bool library_speaks;  ///< its log lines come first
    } rows[] = {
        {"stabilize --out @/out --gyro @/none.csv", "@/none.csv: cannot be read", false},
        {"stabilize --out @/out --gyro @", "@: cannot be read", false},
        {"stabilize --out @/out --gyro @/nan.csv", "@/nan.csv:3: expected the rate gx", false},
        {"stabilize --out @/out --gyro @/empty.csv", "@/empty.csv:1: expected", false},
        {"stabilize --out @/out --gyro @/frames.csv", "@/frames.csv:1: expected the head", false},
        {"stabilize --out @/out --gyro @/gyro.csv --frames @/gyro.csv", "@/gyro.csv:1: ", false},
        {"stabilize --out @/out --gyro @/gyro.csv --frames @/early.csv",
         "@/early.csv: expected frames inside the time", false},
        {"stabilize --out @/out --gyro @/gyro.csv --readout-us 40000", "expected a read-out sho",
         false},
        {"stabilize --out @/out --camera @/none.ini", "@/none.ini: cannot be read", false},
        {"stabilize --out @/out --camera @/typo.ini", "@/typo.ini:3: expected a key", false},
        {"stabilize --out @/out --camera @/lens.ini", "@/lens.ini: expected a camera", true},
        {"stabilize --out @/out --camera @/shift.ini", "@/shift.ini: expected a camera", false},
        {"stabilize --out @/notdir", "@/notdir: expected a folder", false},
        {"stabilize --out @/no/such/out", "@/no/such/out: cannot be written", false},
        {"stabilize", "--out is required", false},
        {"stabilize --out @/out --fps 0", "--fps: ", false},
        {"stabilize --out @/out --frames @/frames.csv", "--frames requires --gyro", false},
        {"stabilize --out @/out --what", "The following argument was not expected", false},
        {"", "A subcommand is required", false},
    };
    for (const auto& row : rows) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.status, 2) << row.arguments;
        EXPECT_EQ(outcome.out, "") << row.arguments;
        std::string start = row.start;
        for (size_t at = 0; (at = start.find('@', at)) != std::string::npos;) {
            start.replace(at, 1, folder_.string());
        }
        const std::string line = row.library_speaks ? last_line(outcome.err) + "\n" : outcome.err;
        EXPECT_TRUE(line.starts_with("steadywarp: " + start)) << row.arguments << "\n" << line;
        EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << outcome.err;
        EXPECT_FALSE(fs::exists(folder_ / "out")) << row.arguments;
    }
}

TEST_F(Command, HelpShowsExamplesAndVersionTheLibrarys) {
    for (const char* arguments : {"--help", "stabilize --help"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_NE(outcome.out.find("Example"), std::string::npos) << arguments;
    }
    EXPECT_EQ(run("--version").out, "steadywarp 1.3.2\n");
}

TEST_F(Command, SteadiesTheBuiltInWalk) {
    const Outcome outcome = run("stabilize --out @/out --seed 4");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(count_lines(folder_ / "out/warps.csv"), 301u);
    EXPECT_EQ(count_lines(folder_ / "out/grids.csv"), 301u);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "out"), {}), 3);
    EXPECT_NE(outcome.out.find("ratio"), std::string::npos);
    const Json json = summary();
    EXPECT_EQ(json["frames"]["in"], 300);
    EXPECT_EQ(json["frames"]["out"], 300);
    EXPECT_EQ(json["gyro"]["gaps"], 0);
    const Json& fast = json["orientation_rms"][1];
    EXPECT_EQ(fast["above_hz"], 2.0);
    // About y the walk also turns, and following the turn costs some steadiness.
    constexpr double kLargestRatio[3] = {0.2, 0.5, 0.2};
    for (size_t axis = 0; axis < 3; ++axis) {
        // Shake of 0.06 rad/s from 1 to 9 Hz is some milliradians of angle above 2 Hz.
        EXPECT_GT(fast["before_rad"][axis], 1e-3);
        EXPECT_LT(fast["ratio"][axis], kLargestRatio[axis]);
    }
    // The shake of a hand fits into the margin.
    EXPECT_LT(json["crop_corners"]["largest_overshoot_px"], 0.0);
    EXPECT_EQ(json["crop_corners"]["frames_outside_input"], 0);
    // Every row has as many cells as the header.
    std::ifstream warps(folder_ / "out/warps.csv");
    for (std::string line; std::getline(warps, line);) {
        ASSERT_EQ(std::count(line.begin(), line.end(), ','), 37) << line;
    }
}

TEST_F(Command, RunsTheSameTwice) {
    ASSERT_EQ(run("stabilize --out @/out").status, 0);
    const std::string first = content(folder_ / "out/warps.csv");
    ASSERT_EQ(run("stabilize --out @/out").status, 0);
    EXPECT_EQ(content(folder_ / "out/warps.csv"), first);
    ASSERT_EQ(run("stabilize --out @/out --seed 2").status, 0);
    EXPECT_NE(content(folder_ / "out/warps.csv"), first);
}

TEST_F(Command, RunsWithoutStabilizer) {
    file("grid.ini", "[common]\nis_type = 6\n");
    const Outcome outcome = run("stabilize --out @/out --camera @/grid.ini");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(summary()["frames"]["out"], 300);
    EXPECT_EQ(summary()["orientation_rms"][0]["ratio"][0], 1.0);
}

// A log may start at time 0, which the library does not take, and in axes of its own.
TEST_F(Command, TakesAGyroLogFromTimeZero) {
    std::string text =
        "CAMERA IMU LOG\nversion,1.3\nid,x\norientation,yxz\ntscale,1e-6\ngscale,0.001\n"
        "frame_readout_time,20\nt,gx,gy,gz\n";
    for (int i = 0; i < 1000; ++i) {
        // 6 Hz about camera x, 0.2 rad/s.
        text += std::to_string(i * 2000) + "," +
                std::to_string(200.0 * std::cos(0.024 * M_PI * i)) + ",0,0\n";
    }
    file("log.gcsv", text);
    const Outcome outcome = run("stabilize --out @/out --gyro @/log.gcsv --fps 30");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Json json = summary();
    EXPECT_EQ(json["frames"]["in"], 60);
    // The first row of the first frame is before the log, so that frame has no warp.
    EXPECT_EQ(json["frames"]["outside_gyro_log"], 1);
    EXPECT_EQ(json["frames"]["dropped"], 0);
    const Json& before = json["orientation_rms"][1]["before_rad"];
    EXPECT_NEAR(before[0], 0.2 / (12.0 * M_PI) / std::sqrt(2.0), 2e-4);
    EXPECT_LT(before[1], 1e-9);
    EXPECT_EQ(content(folder_ / "out/warps.csv").find("\n0,"), std::string::npos);
    EXPECT_NE(content(folder_ / "out/warps.csv").find("\n1,33333,"), std::string::npos);
}

TEST_F(Command, RunsRecordedMotion) {
    const char* named = std::getenv("STEADYWARP_SHARED_DATA");
    const fs::path data = named != nullptr ? named : STEADYWARP_DEFAULT_DATA;
    if (!fs::exists(data / "phone_car/gyro.csv")) {
        GTEST_SKIP() << "NO RECORDED MOTION in " << data << ": set STEADYWARP_SHARED_DATA";
    }
    const struct {
        const char* folder;
        const char* options;
        int frames;
        int outside;
    } rows[] = {
        // The first frame starts ahead of the first sample; two at the end of phone_car reach
        // beyond the last one.
        {"phone_car", "--readout-us 25000", 2146, 1},
        {"rig_walk", "", 1927, 0},
        {"rig_pan", "", 2228, 1},
    };
    for (const auto& row : rows) {
        const std::string path = (data / row.folder).string();
        const Outcome outcome = run("stabilize --out @/out --gyro " + path + "/gyro.csv --frames " +
                                    path + "/frames.csv " + row.options);
        ASSERT_EQ(outcome.status, 0) << row.folder << last_line(outcome.err);
        const Json json = summary();
        EXPECT_EQ(json["frames"]["in"], row.frames);
        EXPECT_EQ(json["frames"]["outside_gyro_log"], row.outside) << row.folder;
        EXPECT_EQ(json["frames"]["dropped"], 0) << row.folder;
    }
    ASSERT_EQ(
        run("stabilize --out @/out --gyro " + (data / "phone_rest_twist").string() + "/gyro.csv")
            .status,
        0);
}

}  // namespace
