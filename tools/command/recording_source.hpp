// SPDX-License-Identifier: Apache-2.0
/// @file recording_source.hpp
/// The recording and the camera that the user's options name, ready to run.
#pragma once

#include "command/stabilize.hpp"
#include "input/camera.hpp"
#include "input/recording.hpp"
#include "input/result.hpp"
#include "input/tuning_file.hpp"
#include "stream/frame_plan.hpp"

namespace steadywarp::tool {

/// Everything a run needs.
struct RecordingSource {
    std::string name;  ///< for the summary
    Camera camera;
    std::unique_ptr<TuningFile> tuning;  ///< where the camera's tuning came from; NULL: no file
    GyroRecording gyro;                  ///< device axes, times above 0
    GyroSpacing spacing;
    std::vector<LensSample> lens_shift;     ///< raw; empty if there is no log
    std::vector<LensSample> lens_position;  ///< position and scale; likewise
    FrameSequence frames;                   ///< times above 0
    FrameSpan inside;                       ///< the frames that the log covers; not empty
    /// What was added to all times: the library counts from 1 and logs may start at 0 or below.
    int64_t clock_shift_us = 0;
};

/// Load or simulate what the options ask for, and fit camera and recording to each other.
///
/// @param options files found in the recording's folder are filled in.
Result<RecordingSource> load_source(StabilizeOptions& options);

/// Put what the tuning file holds now in the place of the camera's own tuning. A gyroscope rate of
/// 0 there stands for the measured one.
void use_tuning(RecordingSource& source);

/// Whether the camera has a stream that the recording has no log of.
bool lacks_lens_log(const RecordingSource& source);

}  // namespace steadywarp::tool
