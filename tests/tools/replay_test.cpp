// SPDX-License-Identifier: Apache-2.0
// A capture is a session: replayed, it gives what was recorded, in all its digits; what is missing
// from a capture or wrong with it is told by file and line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>

#include "output/session_capture.hpp"
#include "replay/replay_session.hpp"
#include "support/capture_scenarios.hpp"
#include "support/records.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::test {
namespace {

namespace fs = std::filesystem;
using tool::CaptureSet;
using tool::FieldFigure;
using tool::OutputComparison;

/// What a replay of the capture at `source` came to.
struct Outcome {
    std::optional<tool::Fault> fault;
    tool::ReplayFigures figures;
    std::vector<FieldFigure> fields;
    bool has_failed = false;
};

Outcome replay(const fs::path& source, const std::string& capture_prefix = "") {
    Outcome outcome;
    const auto set = CaptureSet::open(source.string());
    if (!set.ok()) {
        outcome.fault = set.fault();
        return outcome;
    }
    outcome.fault = check_capture(set.value().texts(), set.value().setup());
    if (outcome.fault) {
        return outcome;
    }
    std::unique_ptr<tool::SessionCapture> capture;
    if (!capture_prefix.empty()) {
        auto made = tool::SessionCapture::open(set.value().setup().camera, capture_prefix);
        EXPECT_TRUE(made.ok());
        capture = std::move(made.value());
    }
    OutputComparison comparison(set.value().texts(), set.value().setup().fail_error_threshold);
    EXPECT_FALSE(comparison.open());
    testing::internal::CaptureStderr();
    tool::TakeRecords record;
    if (capture) {
        record = [&](const eis_utils_log_data& records) { capture->write(records); };
    }
    const auto figures =
        replay_capture(set.value().texts(), set.value().setup(), comparison, record, nullptr);
    testing::internal::GetCapturedStderr();
    if (!figures.ok()) {
        outcome.fault = figures.fault();
        return outcome;
    }
    EXPECT_TRUE(capture == nullptr || capture->close());
    outcome.figures = figures.value();
    outcome.fields = comparison.figures();
    outcome.has_failed = comparison.has_failed();
    return outcome;
}

std::optional<uint32_t> record_quietly(const CaptureScenario& scenario, const std::string& prefix,
                                       uint32_t flags = IS_UTILS_FLAG_ALL) {
    std::optional<uint32_t> frames_out;
    log_of([&] { frames_out = record_scenario(scenario, prefix, flags); });
    return frames_out;
}

/// All files of the captures in a folder, by name.
std::map<std::string, std::string> files_in(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        files[entry.path().filename().string()] = read_text(entry.path());
    }
    return files;
}

/// A session to record, whichever list it stands in.
struct Session {
    std::string name;  ///< letters, digits and underscores
    uint32_t frames;
    uint32_t least_frames_out;
    std::function<std::optional<uint32_t>(const std::string& prefix)> record;
    /// The two passes are recorded here by two calls and by the replay by one, so the counts in
    /// frame.csv are others.
    bool has_other_counts = false;

    std::optional<uint32_t> record_quietly(const std::string& prefix) const {
        std::optional<uint32_t> frames_out;
        log_of([&] { frames_out = record(prefix); });
        return frames_out;
    }
};

std::ostream& operator<<(std::ostream& out, const Session& session) {
    return out << session.name;
}

/// An upstream warp that is a grid with its corners apart, and nothing that six decimals hold.
CaptureScenario with_upstream_grid() {
    const std::vector<CaptureScenario> all = capture_scenarios();
    CaptureScenario scenario =
        *std::ranges::find(all, "upstream_transform", &CaptureScenario::name);
    scenario.name = "upstream_grid";
    scenario.shape = [](CaptureFrame& frame) {
        static std::vector<NcLibWarpGridCoord> nodes;
        for (int i = 0; nodes.size() < 25 * 33; ++i) {
            nodes.push_back({256.0f * 1.01f * static_cast<float>(i % 33 - 16),
                             256.0f * 0.99f * static_cast<float>(i / 33 - 12)});
        }
        static NcLibWarpGridCoord corners[] = {
            {-4395.1f, -3294.7f}, {4395.1f, -3294.7f}, {-4395.1f, 3294.7f}, {4395.1f, 3294.7f}};
        static const NcLibWarp warp = {
            {},
            {true, {8192, 6144}, 25, 33, nodes.data(), EXTRAPOLATION_TYPE_FOUR_CORNERS, corners},
            OUT_2_IN};
        frame.upstream = &warp;
    };
    return scenario;
}

/// Those made for captures, and the streams as camera frameworks drive them.
std::vector<Session> sessions() {
    std::vector<Session> all;
    std::vector<CaptureScenario> for_captures = capture_scenarios();
    for_captures.push_back(with_upstream_grid());
    for (const CaptureScenario& scenario : for_captures) {
        const auto record = [scenario](const std::string& prefix) {
            return record_scenario(scenario, prefix);
        };
        const bool is_split = scenario.name == "two_passes" || scenario.name == "motion_vectors";
        all.push_back({scenario.name, scenario.frames, 21, record, is_split});
    }
    for (const Scenario& scenario : scenarios()) {
        std::string name = scenario.name;
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
        const auto ends = std::count_if(
            scenario.frames.begin(), scenario.frames.end(),
            [](const ScenarioFrame& frame) { return frame.kind == FrameKind::kEnds; });
        const auto frames = static_cast<uint32_t>(scenario.frames.size());
        all.push_back(
            {"stream_" + name, frames, frames - static_cast<uint32_t>(ends),
             [scenario](const std::string& prefix) { return record_scenario(scenario, prefix); }});
    }
    return all;
}

class Replay : public testing::TestWithParam<Session> {};

TEST_P(Replay, GivesEveryRecordedDigitAndTheSameFiles) {
    const ScratchFolder recorded;
    const auto frames_out = GetParam().record_quietly("session");
    ASSERT_TRUE(frames_out);
    EXPECT_GE(*frames_out, GetParam().least_frames_out);

    const ScratchFolder replayed;
    const Outcome outcome = replay(recorded.captures(), "session");
    ASSERT_FALSE(outcome.fault) << outcome.fault->text();
    EXPECT_EQ(outcome.figures.frames, GetParam().frames);
    EXPECT_EQ(outcome.figures.frames_out, *frames_out);
    EXPECT_FALSE(outcome.has_failed);
    uint64_t compared = 0;
    for (const FieldFigure& field : outcome.fields) {
        compared += field.compared;
        EXPECT_EQ(field.different, 0u)
            << field.name << " first in frame " << field.first_frame.value_or(0);
    }
    EXPECT_GT(compared, uint64_t{*frames_out} * 20);

    const auto before = files_in(recorded.captures());
    const auto after = files_in(replayed.captures());
    ASSERT_EQ(before.size(), after.size());
    for (const auto& [name, text] : before) {
        if (!(GetParam().has_other_counts && name.ends_with("eis2_frame.csv"))) {
            EXPECT_TRUE(text == after.at(name)) << name;
        }
    }

    // A replay of the replay writes the same bytes.
    const ScratchFolder again;
    ASSERT_FALSE(replay(replayed.captures(), "session").fault);
    EXPECT_TRUE(files_in(again.captures()) == after);
}

/// A file with the digits of its numbers alone.
std::string without_bits(std::string text) {
    for (size_t at = 0; (at = text.find("bits=", at)) != std::string::npos;) {
        const size_t end = text.find_first_not_of("0123456789abcdef:", at + 5);
        text.erase(at - 1, end - (at - 1));  // with the comma or blank ahead of it
    }
    return text;
}

/// Largest difference that the digits alone allow, by the last word of a field's name; docs/
/// capture.md has the same table.
double bound_of(const std::string& field) {
    if (field.ends_with(".grid")) {
        return 2.1e-4;
    }
    if (field.ends_with(".perspMatrices")) {
        return 1.1e-6;
    }
    if (field.ends_with("cvp_motion_index_raw")) {
        return 1.1e-3;
    }
    return 0.0;
}

TEST_P(Replay, StaysWithinItsBoundsOnDigitsAlone) {
    const ScratchFolder recorded;
    ASSERT_TRUE(GetParam().record_quietly("session"));
    size_t removed = 0;
    bool has_matrices = false;
    for (const auto& [name, text] : files_in(recorded.captures())) {
        if (name.ends_with(".csv")) {
            const std::string digits = without_bits(text);
            removed += digits != text ? 1 : 0;
            const bool is_input_matrix =
                name.ends_with("sat_matrices.csv") || name.ends_with("reduction_matrix.csv");
            has_matrices |= is_input_matrix && digits != text;
            write_text(recorded.captures() / name, digits);
        }
    }
    EXPECT_GT(removed + (GetParam().name == "still" ? 1 : 0), 0u);
    const Outcome outcome = replay(recorded.captures());
    ASSERT_FALSE(outcome.fault) << outcome.fault->text();
    for (const FieldFigure& field : outcome.fields) {
        // Six decimals of a matrix bound nothing but the numbers that do not come from it.
        const bool is_free = has_matrices && bound_of(field.name) > 0.0;
        EXPECT_TRUE(is_free || field.largest <= bound_of(field.name))
            << field.name << " " << field.largest;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Replay, testing::ValuesIn(sessions()),
                         [](const auto& row) { return row.param.name; });

/// A capture of a walk that a test spoils.
class SpoiledCapture : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(record_quietly(capture_scenarios().front(), "walk"));
        clean_ = files_in(folder_.captures());
    }

    static std::string file(const std::string& name) { return "walk_eis2_" + name; }

    const std::string& text(const std::string& name) const { return clean_.at(file(name)); }

    /// Put every file back, one of them changed.
    void spoil(const std::string& name, const std::string& text) {
        for (const auto& [path, content] : clean_) {
            write_text(folder_.captures() / path, content);
        }
        write_text(folder_.captures() / file(name), text);
    }

    ScratchFolder folder_;
    std::map<std::string, std::string> clean_;
};

std::string line_of(const std::string& text, size_t line) {
    size_t begin = 0;
    for (size_t i = 1; i < line; ++i) {
        begin = text.find('\n', begin) + 1;
    }
    return text.substr(begin, text.find('\n', begin) + 1 - begin);
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

size_t lines_of(const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_F(SpoiledCapture, NoticesADifferenceAndSaysWhere) {
    // The third frame's middle node, moved by two units of its last digit.
    const std::string& grids = text("distortion_correction_grid.csv");
    const std::string row = line_of(grids, 4);
    const size_t point = row.find('.', row.size() / 2);
    std::string moved = row;
    moved[point + 4] = static_cast<char>('0' + (moved[point + 4] - '0' + 2) % 10);
    spoil("distortion_correction_grid.csv", replaced(grids, row, moved));
    Outcome outcome = replay(folder_.captures());
    ASSERT_FALSE(outcome.fault) << outcome.fault->text();
    EXPECT_TRUE(outcome.has_failed);
    for (const FieldFigure& field : outcome.fields) {
        const bool is_it = field.name == "distortion_correction_grid.grid";
        EXPECT_EQ(field.different, is_it ? 1u : 0u) << field.name;
        EXPECT_EQ(field.first_frame.value_or(0), is_it ? 3u : 0u) << field.name;
    }
    // One unit is the text's own precision, and the setup may ask for less care.
    moved = row;
    moved[point + 4] = static_cast<char>(moved[point + 4] == '9' ? '8' : moved[point + 4] + 1);
    spoil("distortion_correction_grid.csv", replaced(grids, row, moved));
    outcome = replay(folder_.captures());
    EXPECT_FALSE(outcome.has_failed);
    spoil("init_data.ini", replaced(text("init_data.ini"), "; fail_error_threshold = 4",
                                    "fail_error_threshold = 0"));
    write_text(folder_.captures() / file("distortion_correction_grid.csv"),
               replaced(grids, row, moved));
    EXPECT_TRUE(replay(folder_.captures()).has_failed);
    // A frame that came out there and not here, and one that did not.
    const std::string& metadata = text("output_metadata.csv");
    spoil("output_metadata.csv", replaced(metadata, "\n5,0,", "\n4,0,"));
    outcome = replay(folder_.captures());
    EXPECT_TRUE(outcome.has_failed);
    const std::string& scene = line_of(metadata, 9);
    spoil("output_metadata.csv", replaced(metadata, scene, replaced(scene, ",6,0,", ",2,0,")));
    EXPECT_TRUE(replay(folder_.captures()).has_failed);
    // A digit of the input, once its bits no longer overrule it.
    const std::string gyro = without_bits(text("gyro.csv"));
    const std::string sample = line_of(gyro, 300);
    const size_t first = sample.find(',') + 1;
    std::string faster = sample;
    faster.replace(first, sample.find(',', first) - first, "0.5");
    spoil("gyro.csv", replaced(gyro, sample, faster));
    outcome = replay(folder_.captures());
    ASSERT_FALSE(outcome.fault) << outcome.fault->text();
    EXPECT_TRUE(outcome.has_failed);
}

TEST_F(SpoiledCapture, IsRefusedWithFileAndLine) {
    const std::string frames = text("frame.csv");
    const std::string gyro = text("gyro.csv");
    const std::string ini = text("init_data.ini");
    const std::string grids = text("distortion_correction_grid.csv");
    const auto last_line = [](const std::string& all) { return std::to_string(lines_of(all)); };
    const std::string half_gyro = gyro.substr(0, gyro.find('\n', gyro.size() / 2) + 1);
    const std::string cut_gyro = half_gyro.substr(0, half_gyro.size() - 5);
    const std::string half_frames = frames.substr(0, frames.find('\n', frames.size() / 2) + 1);
    const std::string half_grids = grids.substr(0, grids.find('\n', grids.size() / 2) + 1);
    const std::string half_ini = ini.substr(0, ini.find('\n', ini.size() / 2) + 1);
    const std::string swapped_frames =
        line_of(frames, 1) + line_of(frames, 3) + line_of(frames, 2) +
        frames.substr((line_of(frames, 1) + line_of(frames, 2) + line_of(frames, 3)).size());
    const struct {
        const char* what;
        const char* file;
        std::string text;
        std::string expected;  ///< behind the file's name
    } rows[] = {
        {"empty", "gyro.csv", "", ":1: expected a capture"},
        {"not a capture", "frame.csv",
         std::string("\x7f"
                     "ELF\0\1\2\n\n",
                     9),
         ":1: expected a capture"},
        {"a header alone", "frame.csv", line_of(frames, 1), ":1: expected a frame"},
        {"samples cut at a line", "gyro.csv", half_gyro, ":" + last_line(half_gyro) + ": expected"},
        {"samples cut in a line", "gyro.csv", cut_gyro,
         ":" + last_line(half_gyro) + ": expected a whole row"},
        {"one sample missing", "gyro.csv", replaced(gyro, line_of(gyro, 100), ""), ":"},
        {"samples of another frame", "gyro.csv", replaced(gyro, "\n5,", "\n6,"), ":"},
        {"a word for a number", "gyro.csv", replaced(gyro, ",0.000000000000000,", ",zero,"),
         ":2: expected a sample's data as a number, found 'zero'"},
        {"a cell missing", "gyro.csv", replaced(gyro, ",0.000000000000000,", ","),
         ":2: expected ts"},
        {"digits that the bits deny", "gyro.csv", replaced(gyro, ",0.0", ",0.1"), ":"},
        {"bits that are none", "gyro.csv", replaced(gyro, "bits=", "bits=xyz"),
         ":2: expected the remark bits"},
        {"a remark without a value", "gyro.csv", replaced(gyro, "bits=", "bits=0 bits"),
         ":2: expected remarks name=value"},
        {"frames cut at a line", "frame.csv", half_frames, "gyro.csv:"},
        {"frames swapped", "frame.csv", swapped_frames, "gyro.csv:2: expected"},
        {"a frame number too large", "frame.csv", replaced(frames, "\n2,", "\n4294967296,"),
         ":3: expected a frame number, found '4294967296'"},
        {"a negative time", "frame.csv", replaced(frames, ",20000000,", ",-20000000,"),
         ":2: expected sof as an integer"},
        {"a count that is none", "frame.csv", replaced(frames, "gyro=", "gyro=x"),
         ":2: expected the remark gyro"},
        {"an unknown record", "frame.csv", replaced(frames, "record=is_input", "record=other"),
         ":2: expected the remark record"},
        {"outputs cut at a line", "distortion_correction_grid.csv", half_grids,
         ":" + last_line(half_grids) + ": expected 40 rows"},
        {"a word in an output", "output_metadata.csv",
         replaced(text("output_metadata.csv"), "0.0000e+00", "none"),
         ":2: expected a column as a number, found 'none'"},
        {"a long line", "gyro.csv", line_of(gyro, 1) + std::string(2 << 20, '1') + "\n",
         ":2: expected a row of at most"},
        {"a setup cut at a line", "init_data.ini", half_ini,
         ":" + std::to_string(lines_of(half_ini)) + ": expected the key"},
        {"a setup that is none", "init_data.ini", "hello\n", ":1: expected [section]"},
        {"an empty setup", "init_data.ini", "", ":1: expected the key 'is_type'"},
        {"a setup with a word", "init_data.ini",
         replaced(ini, "focal_length = 1500", "focal_length = long"), ":"},
        {"a setup that the library refuses", "init_data.ini",
         replaced(ini, "focal_length = 1500", "focal_length = 20"), ": expected a configuration"},
        {"a wrong option", "init_data.ini",
         replaced(ini, "; fail_error_threshold = 4", "fail_error_threshold = -1"), ":"},
    };
    for (const auto& row : rows) {
        spoil(row.file, row.text);
        const Outcome outcome = replay(folder_.captures());
        ASSERT_TRUE(outcome.fault) << row.what;
        const bool names_another = !row.expected.starts_with(":");
        const std::string start = (folder_.captures() / "walk_eis2_").string() +
                                  (names_another ? "" : row.file) + row.expected;
        EXPECT_TRUE(outcome.fault->text().starts_with(start))
            << row.what << ": " << outcome.fault->text() << "\n wanted " << start;
        EXPECT_EQ(outcome.fault->text().find('\n'), std::string::npos);
    }
}

TEST_F(SpoiledCapture, IsRefusedAtOnceHoweverLarge) {
    constexpr uintmax_t kHuge = uintmax_t{1} << 36;
    spoil("gyro.csv", text("gyro.csv"));
    fs::resize_file(folder_.captures() / file("gyro.csv"), kHuge);
    EXPECT_NE(
        replay(folder_.captures())
            .fault->text()
            .find(":" + std::to_string(lines_of(text("gyro.csv")) + 1) + ": expected a row of at"),
        std::string::npos);
    spoil("gyro.csv", "");
    fs::resize_file(folder_.captures() / file("gyro.csv"), kHuge);
    EXPECT_NE(replay(folder_.captures()).fault->text().find(":1: expected a capture"),
              std::string::npos);
    spoil("init_data.ini", text("init_data.ini"));
    fs::resize_file(folder_.captures() / file("init_data.ini"), kHuge);
    EXPECT_NE(replay(folder_.captures()).fault->text().find("expected a file of at most"),
              std::string::npos);
}

// A shake that no margin holds leaves corners outside; a walk does not.
TEST_F(SpoiledCapture, ChecksTheMarginsWhenAsked) {
    const auto breached = [this](bool is_asked) {
        const std::string ini = folder_.captures() / file("init_data.ini");
        if (is_asked) {
            write_text(ini,
                       replaced(read_text(ini), "; check_margin_breach", "check_margin_breach"));
        }
        const Outcome outcome = replay(folder_.captures());
        EXPECT_FALSE(outcome.fault || outcome.has_failed);
        return outcome.figures.breached_frames;
    };
    EXPECT_EQ(breached(true), 0u);
    for (const CaptureScenario& scenario : capture_scenarios()) {
        if (scenario.name == "breach") {
            ASSERT_TRUE(record_quietly(scenario, "walk"));
        }
    }
    EXPECT_EQ(breached(false), 0u) << "nobody asked";
    EXPECT_GT(breached(true), 0u);
}

TEST_F(SpoiledCapture, IsFoundByFolderPrefixAndType) {
    const std::string prefix = (folder_.captures() / "walk").string();
    EXPECT_FALSE(replay(prefix).fault);
    EXPECT_FALSE(replay(prefix + "_eis2").fault);
    EXPECT_EQ(replay(prefix + "x").fault->text(),
              prefix + "x: expected a folder with a capture, or the start of its files' names");
    fs::remove(folder_.captures() / file("gyro.csv"));
    EXPECT_TRUE(replay(prefix).fault->text().starts_with(prefix + "_eis2_gyro.csv: cannot be"));
    fs::create_directory(folder_.captures() / file("gyro.csv"));
    EXPECT_EQ(replay(prefix).fault->text(), prefix + "_eis2_gyro.csv: expected a file");
    ASSERT_TRUE(record_quietly(capture_scenarios()[1], "still"));
    EXPECT_TRUE(
        replay(folder_.captures())
            .fault->text()
            .starts_with(folder_.captures().string() + ": expected one capture in this folder"));
    EXPECT_TRUE(replay("/nowhere").fault);
}

TEST_F(SpoiledCapture, ComparesWhatWasRecorded) {
    const ScratchFolder other;
    const uint32_t flags =
        IS_UTILS_FLAG_INIT | IS_UTILS_FLAG_FRAME | IS_UTILS_FLAG_GYRO | IS_UTILS_FLAG_STABILIZATION;
    ASSERT_TRUE(record_quietly(capture_scenarios().front(), "walk", flags));
    EXPECT_EQ(files_in(other.captures()).size(), 6u);
    const Outcome outcome = replay(other.captures());
    ASSERT_FALSE(outcome.fault);
    EXPECT_FALSE(outcome.has_failed);
    for (const FieldFigure& field : outcome.fields) {
        EXPECT_TRUE(field.name.starts_with("stabilization_")) << field.name;
    }
    ASSERT_TRUE(record_quietly(capture_scenarios().front(), "walk", IS_UTILS_FLAG_INIT));
    EXPECT_TRUE(
        replay(other.captures())
            .fault->text()
            .ends_with("frame.csv: expected this file, which a replay of such a session needs"));
}

}  // namespace
}  // namespace steadywarp::test
