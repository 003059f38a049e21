// SPDX-License-Identifier: Apache-2.0
/// @file warp_output.hpp
/// Writes grids and homographies into the caller's warp records.
///
/// Inside, pixels are counted from the centre of the top-left pixel; records leave the library
/// relative to the centre of the picture.
#pragma once

#include "base/matrix3.hpp"
#include "stabilizer/grid.hpp"
#include "steadywarp/nclib.h"

namespace steadywarp {

/// Write a homography of a picture of this size; `out.perspMatrices` has room for one.
void write_matrix(const Matrix3& homography, uint32_t width, uint32_t height,
                  NcLibWarpMatrices& out);

/// As write_matrix(), with a homography that acts on pixels from the centre of the picture.
void write_centered_matrix(const Matrix3& homography, uint32_t width, uint32_t height,
                           NcLibWarpMatrices& out);

/// Write a grid; `out.grid` has room for 945 points.
void write_grid(const Grid& grid, NcLibWarpGrid& out);

/// Copy a record's values and nodes; the array pointers of `out` stay its own.
void copy_grid(const NcLibWarpGrid& in, NcLibWarpGrid& out);
void copy_matrix(const NcLibWarpMatrices& in, NcLibWarpMatrices& out);

}  // namespace steadywarp
