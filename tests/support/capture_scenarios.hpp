// SPDX-License-Identifier: Apache-2.0
/// @file capture_scenarios.hpp
/// The sessions that captures are made of: one list for the tests of the replay and for the corpus.
/// To add one, add a row to capture_scenarios().
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/motion.hpp"
#include "steadywarp/eis_capture.h"
#include "support/scenarios.hpp"

namespace steadywarp::test {

/// What a frame is given; a scenario changes what it wants different.
struct CaptureFrame {
    uint32_t index = 0;  ///< from 0
    uint32_t frame_id = 0;
    uint32_t sensor = 0;
    is_frame_times times{};
    is_window_regions windows{};
    float focus_distance = 1.0f;
    float effective_focal_length_mm = 0.0f;
    bool has_samples = true;
    bool has_other_streams = false;  ///< those that are recorded and not used
    bool is_split = false;           ///< the two passes, each called on its own
    const NcLibWarp* sat = nullptr;
    const NcLibWarp* upstream = nullptr;
    const is_motion_vectors_input* vectors = nullptr;
    /// Spoils samples on their way.
    std::function<void(std::vector<_sample_data_s>&)> change_gyro;
};

/// One session.
struct CaptureScenario {
    std::string name;
    is_init_common_data common{};
    std::vector<is_init_sensor_data> sensors;
    tool::MotionProfile motion;
    uint32_t frames = 40;
    double sample_step = 0.0;  ///< the resolution of every stream's samples; 0: none
    /// Called for each frame with the values it has unless changed.
    std::function<void(CaptureFrame&)> shape;
};

/// All of them.
std::vector<CaptureScenario> capture_scenarios();

/// Run a session and record it under ./data/vendor/camera/.
///
/// @return how many frames came out, nothing if the session or the capture could not be started.
std::optional<uint32_t> record_scenario(const CaptureScenario& scenario, const std::string& prefix,
                                        uint32_t flags = IS_UTILS_FLAG_ALL);

/// The same, with all files, for a stream as a camera framework drives it.
std::optional<uint32_t> record_scenario(const Scenario& scenario, const std::string& prefix);

}  // namespace steadywarp::test
