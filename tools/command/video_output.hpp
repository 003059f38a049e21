// SPDX-License-Identifier: Apache-2.0
/// @file video_output.hpp
/// The stabilized video, the comparison, and what their pixels say.
#pragma once

#include <memory>

#include "command/recording_source.hpp"
#include "output/picture_sink.hpp"
#include "output/staged_files.hpp"
#include "render/sampling.hpp"

namespace steadywarp::tool {

/// What to make of a video.
struct VideoTask {
    std::string input;
    bool compare = false;  ///< also before and after side by side
    bool track = true;     ///< also figures from pixels
    bool sound = true;
    Sampling sampling = Sampling::kBicubic;
};

/// Open the input video and the output files `stabilized.*` and `compare.*` in `files`.
///
/// Faults: a file that is no video, pictures of another size than the camera's input.
Result<std::unique_ptr<PictureSink>> open_video_output(const VideoTask& task,
                                                       const RecordingSource& source,
                                                       const is_window_regions& windows,
                                                       StagedFiles& files);

}  // namespace steadywarp::tool
