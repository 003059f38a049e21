// SPDX-License-Identifier: Apache-2.0
/// @file mid_point_orientation.hpp
/// The device's orientation at one instant, for comparing moments that are not frames in a row.
#pragma once

#include <cstdint>

#include "base/vec3.hpp"
#include "sensors/gimbal_ois.hpp"
#include "sensors/resampling.hpp"
#include "sensors/samplers.hpp"

namespace steadywarp {

/// Read the orientation at `mof_time` from the samples held, with the turn of a gimbal if the
/// sensor's lens hangs in one.
///
/// @param mof_time time of a frame's middle row, microseconds.
/// @param frame_id,first_frame for the messages.
/// @param out radians about the camera's axes; zero on failure.
/// @return EIS_ERROR_GENERAL if a sample next to that time is missing.
uint32_t interp_mid_point_orientation(const eis_context_samplers& samplers, uint32_t sensor,
                                      uint64_t mof_time, uint32_t frame_id, bool first_frame,
                                      const LensModule& lens_module, Vec3<double>& out,
                                      InterpStats& stats);

}  // namespace steadywarp
