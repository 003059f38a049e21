// SPDX-License-Identifier: Apache-2.0
/// @file frame_plan.hpp
/// When the rows of a frame were exposed, and which frames of a recording can be stabilized.
#pragma once

#include <cstddef>

#include "input/recording.hpp"

namespace steadywarp::tool {

/// A span of frames, as indices into a sequence; empty if both are equal.
struct FrameSpan {
    size_t first = 0;
    size_t end = 0;
};

/// Time at which the middle row of a frame was at the middle of its exposure, microseconds.
double middle_time(const Frame& frame, int32_t gyro_offset_us);

/// Find the frames whose rows lie inside the gyroscope log.
///
/// The rows of a frame span its read-out about middle_time(), with a twenty-fourth more on both
/// sides for the ring of the grid. Frames ahead of the first that lies inside and behind the last
/// are left out; all between them stay, whatever is missing from the log there.
FrameSpan frames_inside(const FrameSequence& frames, const std::vector<GyroSample>& gyro,
                        int32_t gyro_offset_us);

/// Place frames that were not read from top to bottom: their rows cannot be told apart in time, so
/// each counts as taken at once, in the middle of its read-out.
void read_at_once(FrameSequence& frames);

}  // namespace steadywarp::tool
