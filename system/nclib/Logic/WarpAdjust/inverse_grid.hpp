// SPDX-License-Identifier: Apache-2.0
/// @file inverse_grid.hpp
/// A grid taken backward: find the triangle of nodes whose values enclose a point, and give the
/// position of the point among the positions of those nodes.
///
/// Coordinates are virtual, with their origin in the centre of the frame. The eight neighbours of a
/// node are visited clockwise from the east, y growing downward:
///
///     5 6 7
///     4 . 0
///     3 2 1
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// A node of a grid: column `x`, row `y`.
struct GridPoint {
    uint32_t x;
    uint32_t y;
};

/// A point as the weighted sum of three nodes; the first is the nearest node.
struct Barycentric {
    GridPoint nodes[3];
    double w[3];
};

/// Descend from `start` to a node whose value is nearer to `point` than those of its neighbours.
void findNearestNeighborGradientDescent(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* point,
                                        const GridPoint* start, GridPoint* nearest);

/// Find the first of the eight triangles around a node that holds a point, with a margin of
/// NC_LIB_WARP_INTERNAL_EPS on each weight.
///
/// @param allowNearest without such a triangle, take the node itself.
/// @return 0 when found, 1 when not.
uint32_t findBarycentricCoordinates(const NcLibWarpGrid* grid, const GridPoint* nearestNeighbour,
                                    const NcLibWarpGridCoord* point, Barycentric* barycentric,
                                    bool allowNearest);

/// Give the weighted sum of the positions of three nodes, summed in double precision. The weights
/// must sum to 1.
void InterpolatePoint(const NcLibWarpGrid* grid, const Barycentric* bar,
                      NcLibWarpGridCoord* result);

/// Map points backward through a grid. Points in raster order are fast: each search starts at the
/// node that the point before was found at.
///
/// @param allowNearest a point that no triangle around its nearest node holds takes that node's
///        position; otherwise it becomes NaN in both coordinates, which is no error.
/// @param out may be `in`.
void transformInverseGrid(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* in,
                          uint32_t numPoints, bool allowNearest, NcLibWarpGridCoord* out);
