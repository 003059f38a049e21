// SPDX-License-Identifier: Apache-2.0
// Records the captures of the corpus into folders of their own under the working directory, and
// with "--seeds" the seeds of the capture fuzzer. Run by scripts/update-corpus.
#include <algorithm>
#include <cstring>

#include "capture_files.hpp"
#include "support/capture_scenarios.hpp"
#include "support/scratch_folder.hpp"

namespace {

namespace fs = std::filesystem;
using namespace steadywarp;

// A corpus that stays small: a few frames show what a session without events answers.
constexpr uint32_t kFrames = 10;
// Those in which something happens later keep all of theirs.
constexpr const char* kInFull[] = {
    "bad_input", "breach", "drop_and_pause", "end_and_restart", "pan", "sensor_switch", "walk"};
// The same lens as in another session, on finer grids.
constexpr const char* kLeftOut[] = {"sensor_grids_fine"};
// Grids are nearly all of a capture's size, so most sessions go without. These are about their
// grids and keep them, for their first frames.
constexpr uint32_t kFramesWithGrids = 5;
constexpr const char* kWithGrids[] = {"distortion_grids", "distortion_only", "gimbal", "lens_shift",
                                      "sensor_grids"};
// A resolution as gyroscopes have it; noise below it would only be stored.
constexpr double kSampleStep = 1.0 / 1024.0;
constexpr uint32_t kWithoutGrids =
    IS_UTILS_FLAG_ALL & ~static_cast<uint32_t>(IS_UTILS_FLAG_DISTORTION_CORRECTION_GRID);

constexpr const char* kSeeds[] = {"bad_input", "distortion_only", "sensor_switch", "two_passes",
                                  "upstream_transform"};

template <size_t kCount>
bool is_in(const char* const (&names)[kCount], const std::string& name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool record(test::CaptureScenario scenario, const fs::path& folder, uint32_t flags) {
    const test::ScratchFolder scratch;
    if (!test::record_scenario(scenario, scenario.name, flags)) {
        return false;
    }
    fs::create_directories(folder);
    for (const auto& entry : fs::directory_iterator(scratch.captures())) {
        fs::copy_file(entry.path(), folder / entry.path().filename());
    }
    return true;
}

bool record_corpus(const fs::path& target) {
    for (test::CaptureScenario& scenario : test::capture_scenarios()) {
        if (is_in(kLeftOut, scenario.name)) {
            continue;
        }
        const bool has_grids = is_in(kWithGrids, scenario.name);
        scenario.sample_step = kSampleStep;
        if (!is_in(kInFull, scenario.name)) {
            scenario.frames = has_grids ? kFramesWithGrids : kFrames;
        }
        const uint32_t flags = has_grids ? uint32_t{IS_UTILS_FLAG_ALL} : kWithoutGrids;
        if (!record(scenario, target / scenario.name, flags)) {
            return false;
        }
    }
    return true;
}

// A seed is all files of a short capture behind one another, each below a line "@NUMBER".
bool write_seeds(const fs::path& target) {
    for (test::CaptureScenario& scenario : test::capture_scenarios()) {
        if (!is_in(kSeeds, scenario.name)) {
            continue;
        }
        scenario.frames = 2;
        const test::ScratchFolder scratch;
        if (!test::record_scenario(scenario, "seed", kWithoutGrids)) {
            return false;
        }
        std::string seed;
        for (size_t i = 0; i < kNumCaptureFiles; ++i) {
            const fs::path path =
                scratch.captures() / ("seed_" + std::string(type_word(scenario.common.is_type)) +
                                      "_" + kCaptureFiles[i].name);
            if (fs::exists(path)) {
                seed += "@" + std::to_string(i) + "\n" + test::read_text(path);
            }
        }
        test::write_text(target / scenario.name, seed);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const fs::path target = fs::current_path();
    const bool is_seeds = argc > 1 && std::strcmp(argv[1], "--seeds") == 0;
    return (is_seeds ? write_seeds(target) : record_corpus(target)) ? 0 : 1;
}
