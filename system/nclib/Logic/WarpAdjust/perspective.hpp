// SPDX-License-Identifier: Apache-2.0
/// @file perspective.hpp
/// Points through one matrix or through a small array of zone matrices, forward and backward.
///
/// Coordinates are virtual, with their origin in the centre of the frame. A point stays in double
/// precision until its result is rounded to float.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// A point in double precision.
struct Coord {
    double x;
    double y;
};

/// Map a point through a matrix array.
///
/// An array divides the frame into zones. At the centre of its zone a matrix acts alone; between
/// centres the points that the two or four matrices around yield are blended linearly, never the
/// matrices; outside all centres the nearest ones answer.
///
/// @param matrices numRows * numColumns is 1 to 9; that is an assertion. `enable` is not read.
void perspectiveTransform(Coord point, const NcLibWarpMatrices* matrices,
                          NcLibWarpGridCoord* result);

/// Map points as perspectiveTransform() does, four at a time where there is a single matrix.
/// @param out may be `in`.
void transformRegularMatrices(const NcLibWarpMatrices* matrices, const NcLibWarpGridCoord* in,
                              uint32_t numPoints, NcLibWarpGridCoord* out);

/// Map points through the inverse of a single matrix.
///
/// @param matrices an array of one; a larger one is a failed assertion, and so is a singular
/// matrix.
/// @param out may be `in`.
/// @return NC_LIB_SUCCESS, or the status of the inversion.
int32_t transformInverseMatrix(const NcLibWarpMatrices* matrices, const NcLibWarpGridCoord* in,
                               uint32_t numPoints, NcLibWarpGridCoord* out);
