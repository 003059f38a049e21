// SPDX-License-Identifier: Apache-2.0
/// @file captured_frame.hpp
/// The records of one frame as a capture holds them, with their memory.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "capture_files.hpp"
#include "steadywarp/eis_capture.h"

namespace steadywarp::tool {

/// The sample streams, in the order of the records.
inline constexpr CaptureFile kStreams[] = {CaptureFile::kGyro,
                                           CaptureFile::kMag,
                                           CaptureFile::kAcc,
                                           CaptureFile::kOis,
                                           CaptureFile::kIfovc,
                                           CaptureFile::kLinearAcc,
                                           CaptureFile::kAbsOrientation,
                                           CaptureFile::kRelOrientation};
inline constexpr size_t kNumStreams = std::size(kStreams);

/// A warp with its arrays.
struct CapturedWarp {
    bool is_present = false;
    NcLibWarp warp{};
    std::vector<NcLibWarpGridCoord> points;
    std::vector<NcLibWarpGridCoord> corners;
    std::vector<NcLibPerspTransformSingle> matrices;

    /// The record, its pointers set; NULL if there is none. Valid until the object changes.
    const NcLibWarp* get();
};

/// The motion vectors of a frame.
struct CapturedVectors {
    is_motion_vectors_input record{};
    std::optional<NcLibPerspTransformSingle> alignment;
    bool has_words = false;
    std::vector<uint32_t> words;  ///< as long as the record says, zeros behind what was recorded

    const is_motion_vectors_input* get();
};

/// The second pass of a frame, where it was called on its own.
struct CapturedSecondPass {
    uint32_t active_sensor_idx = 0;
    is_frame_times times{};
    std::optional<CapturedVectors> vectors;
};

/// One frame.
struct CapturedFrame {
    uint64_t line = 0;           ///< in frame.csv
    bool is_combined = true;     ///< eis2_process() was called, not the first pass
    bool asks_intervals = true;  ///< eis2_get_time_intervals() was called
    uint32_t frame_id = 0;
    uint32_t active_sensor_idx = 0;
    is_frame_times times{};
    is_window_regions windows{};
    float focus_distance = 0.0f;
    float effective_focal_length_mm = 0.0f;
    std::array<std::vector<_sample_data_s>, kNumStreams> streams;
    CapturedWarp sat;
    CapturedWarp upstream;
    std::optional<CapturedSecondPass> second;

    /// The input records; they point into this object.
    is_input input();
    is_input_distortion_correction input_distortion_correction();
    is_input_stabilize input_stabilize();
};

}  // namespace steadywarp::tool
