// SPDX-License-Identifier: Apache-2.0
/// @file sat_entry.hpp
/// The spatial alignment that a frame brings, as a homography of the frame's own pixels.
#pragma once

#include <cstdint>

#include "base/matrix3.hpp"
#include "steadywarp/nclib.h"

namespace steadywarp {

/// From output to input, pixels counted from the centre of the top-left pixel.
struct SatEntry {
    Matrix3 matrix = kIdentity3;
    bool is_identity = true;  ///< exactly; such an entry takes no part in any product
};

/// Turn the alignment of a frame into pixels of a picture of this size.
///
/// The matrix is moved from the centre of the size it is defined on, ((w - 1) / 2, (h - 1) / 2), to
/// that size's corner, and then scaled to the picture. One that runs from input to output is
/// inverted first.
///
/// @param sat NULL, or without matrices: the identity.
/// @param frame_id for the line that tells of a matrix without an inverse; the identity is used
///        instead.
SatEntry make_sat_entry(const NcLibWarp* sat, uint32_t width, uint32_t height, uint32_t frame_id);

}  // namespace steadywarp
