// SPDX-License-Identifier: Apache-2.0
/// @file device_rotation.hpp
/// The homography between two moments and two sensors of a running instance.
#pragma once

#include "interface/eis_context.hpp"

namespace steadywarp {

/// Which moment of which sensor.
struct device_moment {
    is_window_regions window_regions;
    uint64_t mof_gyro_time;  ///< time of a frame's middle row, microseconds
    uint32_t sensor_index;
};

/// Compute the homography from a point of the destination's picture to the source's.
///
/// @param out one matrix on the destination's input size, relative to its centre; the array must
///        exist. Untouched on failure.
/// @return EIS_ERROR_GENERAL if a sample next to one of the moments is missing.
uint32_t get_device_rotation_delta(const eis_context& context, const device_moment& source,
                                   const device_moment& destination, NcLibWarpMatrices& out);

}  // namespace steadywarp
