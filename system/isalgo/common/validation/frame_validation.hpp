// SPDX-License-Identifier: Apache-2.0
/// @file frame_validation.hpp
/// Tests of a frame's own values: times, id, windows, upstream transform.
#pragma once

#include <cstdint>

#include "steadywarp/eis.h"

namespace steadywarp {

/// A start of frame this much after the last one is a pause, microseconds.
inline constexpr uint64_t kPauseResumeUs = 500000;

/// The longest exposure or read-out that a frame period allows, microseconds.
uint32_t longest_time_in_frame(uint32_t frame_time);

/// Whether `sof_delta` between two frames is more than one frame period.
bool is_frame_drop(uint64_t sof_delta, uint32_t frame_time);

/// Test the times of a frame against the frame before.
///
/// @param prev_sof 0 before the first frame.
/// @param sensor_switched the frame before came from another sensor.
bool is_valid_frame_times(const is_frame_times& times, uint64_t prev_sof, uint32_t prev_frame_time,
                          bool sensor_switched);

/// Test that frame ids rise. A skipped id is reported and accepted.
bool is_valid_frame_id(bool first_frame, uint32_t frame_id, uint32_t prev_frame_id);

/// Test that a window has a size and lies inside its picture. One off centre is only reported.
bool is_valid_crop_roi(const is_crop_window& window);

/// Test a frame's windows. A bad image_sensor_crop is reported and accepted.
bool is_valid_window_regions(const is_window_regions& regions);

/// What is wrong with a transform applied upstream; a bit each.
enum UpstreamFault : uint32_t {
    kUpstreamDirection = 1,
    kUpstreamGridMissing = 2,
    kUpstreamGridNotVirtual = 4,
    kUpstreamMatricesMissing = 8,
    kUpstreamMatricesNotVirtual = 16,
    kUpstreamTooManyMatrices = 32
};

/// Find the faults of an upstream transform, without a word. @return UpstreamFault bits.
uint32_t find_upstream_faults(const NcLibWarp& warp);

/// Test the transform applied upstream. NULL, and a warp with no part enabled, are fine.
bool is_valid_pre_eis_transform_margins_reduction(const NcLibWarp* warp);

}  // namespace steadywarp
