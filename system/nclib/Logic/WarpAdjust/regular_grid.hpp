// SPDX-License-Identifier: Apache-2.0
/// @file regular_grid.hpp
/// A grid taken forward: what the warp hardware does with a grid, in software and bit for bit.
///
/// Coordinates are virtual, with their origin in the centre of the frame.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Map points through a grid.
///
/// Each point takes the bicubic interpolation of the 4x4 nodes around it; nodes that the grid does
/// not have are continued from its edge, each kind of grid in its own way.
///
/// @param grid enabled, at least one node. A ring grid must have a size that the chip takes; a grid
///        without any extrapolation needs the capability IcaGridExtrapolationCorners. Both are
///        assertions, as is a chip that was never set.
/// @param out may be `in`.
/// Edges: a point with a coordinate that is NaN comes out NaN; a coordinate beyond the fixed-point
/// range is taken for the end of that range.
void transformRegularGrid(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* in,
                          uint32_t numPoints, NcLibWarpGridCoord* out);

/// Fill a 4x4 neighbourhood that reaches outside a ring grid.
///
/// Nodes of the grid keep their values. The others lie on the plane that fits, by least squares,
/// three by three nodes at the edge of the grid nearest to the neighbourhood.
///
/// @param grid at least 3 by 3 nodes.
/// @param column,row index of the neighbourhood's first node; may lie anywhere.
void gridPlaneExtrapolation(const NcLibWarpGrid* grid, int32_t column, int32_t row,
                            NcLibWarpGridCoord (*neighbourhood)[4]);

/// Compute the four corners of a grid, each one node diagonally outside, from the 2x2 nodes there:
/// E = 4a - 2b - 2c + d, clamped to the range of the hardware, -8192 to 8191.875.
///
/// @param grid of type EXTRAPOLATION_TYPE_FOUR_CORNERS with room for four points in
///        `gridExtrapolate`. An axis with a single node continues it unchanged.
void NcLibCalcExtrapolationPointsInternal(NcLibWarpGrid* grid);
