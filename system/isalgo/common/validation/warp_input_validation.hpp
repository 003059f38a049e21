// SPDX-License-Identifier: Apache-2.0
/// @file warp_input_validation.hpp
/// Tests of what a frame may bring to the second pass: a spatial alignment and motion vectors.
#pragma once

#include <cstdint>

#include "steadywarp/eis.h"

namespace steadywarp {

/// Test the spatial alignment transform of a frame; `sat` is not NULL.
/// @param is_sat_enabled whether the instance was told to expect one.
bool is_valid_sat_matrix(const NcLibWarp& sat, bool is_sat_enabled, uint32_t frame_id);

/// Test a frame's motion vectors; the content is not looked at on a first frame.
bool is_valid_motion_vectors(const is_motion_vectors_input* input, uint32_t frame_id,
                             bool first_frame);

}  // namespace steadywarp
