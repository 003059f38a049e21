// SPDX-License-Identifier: Apache-2.0
/// @file edge_bow.hpp
/// How far upright edges of a picture are from straight.
///
/// A rolling shutter bends them while the camera shakes. Edges are found and followed row by row;
/// none of it knows what the picture shows, so an edge that is bent in the world counts as bent.
#pragma once

#include <vector>

#include "video/picture.hpp"

namespace steadywarp::tool {

/// One edge that was followed.
struct EdgeBow {
    uint32_t rows = 0;    ///< its length
    double bow_px = 0.0;  ///< largest distance of its smooth course from the straight line
};

/// Follow the strong upright edges of a picture.
///
/// An edge counts if it is at least a third of the picture high and one smooth course (a cubic)
/// describes nine tenths of it within 0.6 pixels; the bow is that of the cubic against the best
/// line.
std::vector<EdgeBow> measure_bows(const Plane& brightness);

}  // namespace steadywarp::tool
