// SPDX-License-Identifier: Apache-2.0
/// @file grid_boundary.hpp
/// The outline of a grid as a walk along its nodes, clockwise from the top left one.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Give the two nodes of an edge of the outline, as indices row * numColumns + column.
///
/// @param edgeIdx 0 to 2 * (numColumns - 1 + numRows - 1) - 1; more is a failed assertion.
/// @param nodes two indices, in the direction of the walk.
void getNextBoundaryEdge(uint32_t edgeIdx, uint32_t numRows, uint32_t numColumns, uint32_t* nodes);

/// Copy the nodes of the outline into `polygon`.
///
/// @param gridExternalPointsNum 2 * (columns - 1) + 2 * (rows - 1); anything else is a failed
///        assertion.
void CreatePolygonFromExternalPointsOfGrid(const NcLibWarpGridCoord* nodes, uint32_t gridNumColumns,
                                           uint32_t gridNumRows, uint32_t gridExternalPointsNum,
                                           NcLibWarpGridCoord* polygon);
