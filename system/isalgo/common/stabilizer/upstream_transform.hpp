// SPDX-License-Identifier: Apache-2.0
/// @file upstream_transform.hpp
/// A transform applied ahead of the stabilizer eats into its margins: where it leaves the border of
/// the frame.
#pragma once

#include <cstdint>

#include "filter/frame_records.hpp"
#include "steadywarp/nclib.h"

namespace steadywarp {

/// Carry the border of the virtual domain through the matrix and the grid of `warp`, cut it to the
/// domain, and give it in pixels of the frame: x * width / 8192 + width / 2, and so in y.
///
/// Chooses the chip for the whole process.
///
/// @param warp passed is_valid_pre_eis_transform_margins_reduction().
/// @param width,height of the frame, pixels.
/// @param points kBorderPoints of them; unwritten on failure.
/// @return EIS_ERROR_GENERAL, after a line, if the transform cannot be carried out or leads to
///         points that are no numbers.
uint32_t calc_pre_aling_warp_input_points(const NcLibWarp& warp, uint32_t width, uint32_t height,
                                          BorderPoints& points);

}  // namespace steadywarp
