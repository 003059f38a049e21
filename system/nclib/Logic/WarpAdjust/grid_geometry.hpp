// SPDX-License-Identifier: Apache-2.0
/// @file grid_geometry.hpp
/// The three grid sizes of the warp hardware, by the code that a fixed-capacity grid carries.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

namespace nclib {

/// Size of a grid, and whether its outermost nodes form a ring outside the frame.
struct GridGeometry {
    uint32_t num_rows;
    uint32_t num_columns;
    bool has_ring;
};

inline constexpr uint32_t kGeometryCount = 3;
inline constexpr GridGeometry kGridGeometries[kGeometryCount] = {
    {25, 33, false},
    {ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT, ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH, true},
    {ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT, ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH, true},
};
static_assert(kGridGeometries[2].num_rows * kGridGeometries[2].num_columns ==
              NC_LIB_ICA_GRID_MAX_POINTS);

}  // namespace nclib
