// SPDX-License-Identifier: Apache-2.0
/// @file mesh_tests.hpp
/// Do two segments meet, and is a point certainly outside a polygon: the questions on which the
/// checks of a mesh and of a crop rest. Points are in any one plane; single precision throughout.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Half width of the band in which a cross product counts as zero; in squared units of the points.
inline constexpr float NC_LIB_ORIENTATION_BAND = 1e-5f;

/// A segment by pointers to its two ends.
struct NcLibSegment {
    const NcLibWarpGridCoord* p;
    const NcLibWarpGridCoord* q;
};

/// Test whether segments `first` and `second` meet.
///
/// @return 0: they do not. 1: they cross properly. 2: an end of the first lies on the second.
///         3: an end of the second lies on the first, the two overlap on one line, or an end of
///         each coincides.
uint32_t NcLibInternalIntersectTest(NcLibSegment first, NcLibSegment second);

/// Test whether a point is certainly on or outside the boundary of a polygon.
///
/// Counts crossings of a ray to the right, with a second, tilted ray when the first meets a vertex.
///
/// @param polygon `count` vertices in order around it; the closing side is implied.
/// @param max_x largest x of the polygon.
/// @return true also for an empty polygon; false when both rays are ambiguous.
bool NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(const NcLibWarpGridCoord* polygon,
                                                               uint32_t count,
                                                               NcLibWarpGridCoord point,
                                                               float max_x);
