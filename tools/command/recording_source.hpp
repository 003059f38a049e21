// SPDX-License-Identifier: Apache-2.0
/// @file recording_source.hpp
/// The recording and the camera that the user's options name, ready to run.
#pragma once

#include "command/stabilize.hpp"
#include "input/camera.hpp"
#include "input/recording.hpp"
#include "input/result.hpp"
#include "stream/frame_plan.hpp"

namespace steadywarp::tool {

/// Everything a run needs.
struct RecordingSource {
    std::string name;  ///< for the summary
    Camera camera;
    GyroRecording gyro;  ///< device axes, times above 0
    GyroSpacing spacing;
    FrameSequence frames;  ///< times above 0
    FrameSpan inside;      ///< the frames that the log covers; not empty
    /// What was added to all times: the library counts from 1 and logs may start at 0 or below.
    int64_t clock_shift_us = 0;
};

/// Load or simulate what the options ask for, and fit camera and recording to each other.
Result<RecordingSource> load_source(const StabilizeOptions& options);

}  // namespace steadywarp::tool
