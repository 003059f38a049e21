// SPDX-License-Identifier: Apache-2.0
/// @file breach_control.hpp
/// Whether the crop, turned by a correction, still lies on pixels that the sensor has.
#pragma once

#include "base/vec3.hpp"
#include "filter/frame_records.hpp"
#include "sensors/camera.hpp"

namespace steadywarp {

/// Test whether the output's window fits.
///
/// The window of `input`, grown by 2 pixels a side, is turned by `correction` and held against the
/// 16-sided border of the frame. A touch counts as a breach.
///
/// @param correction radians about the camera's axes; above pi on any axis nothing fits.
/// @return true when it fits.
bool check_breach(const BoundingBox& box, const Vec3<double>& correction, const FilterInput& input,
                  const Camera& camera);

}  // namespace steadywarp
