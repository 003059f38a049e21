// SPDX-License-Identifier: Apache-2.0
/// @file utility_grids.hpp
/// What the utilities that work on the warp library's records share.
#pragma once

#include "steadywarp/nclib.h"

namespace steadywarp {

/// Tell the warp library which chip the utilities speak for: one that takes both ring grids.
void set_utility_chip();

/// Tell whether a grid is a ring grid of 27 by 35 or 51 by 67 nodes; reports it if not.
bool is_ring_grid(const NcLibWarpGrid& grid);

/// Tell whether a grid has one of these two sizes; reports it if not.
bool is_ring_grid_size(const NcLibWarpGrid& grid);

/// Bring a grid to the virtual domain in place, header and nodes.
/// @return the warp library's status.
int32_t to_virtual_domain(NcLibWarpGrid& grid);

}  // namespace steadywarp
