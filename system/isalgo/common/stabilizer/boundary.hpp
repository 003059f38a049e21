// SPDX-License-Identifier: Apache-2.0
/// @file boundary.hpp
/// Where the border of a frame lies once its rows are taken to the orientation of its middle.
#pragma once

#include <array>

#include "base/matrix3.hpp"
#include "base/vec3.hpp"
#include "filter/frame_records.hpp"
#include "sensors/camera.hpp"
#include "sensors/samplers.hpp"
#include "stabilizer/lens_distortion.hpp"
#include "stabilizer/ois_operator.hpp"

namespace steadywarp {

/// Angles per time row, radians.
using RowAngles = std::array<Vec3<double>, kTimeRows>;

/// Raw lens shift per time row.
using RowShifts = std::array<Point2, kTimeRows>;

/// Scale that undoes the lens's field of view per time row, above 0 and at most 1.
using RowScales = std::array<double, kTimeRows>;

/// What stood between the scene and the sensor while a frame was read.
struct FrameOptics {
    const OISOperator* lens = nullptr;      ///< NULL: the lens did not move
    const RowShifts* row_shifts = nullptr;  ///< set with `lens`
    const RowScales* row_scales = nullptr;  ///< NULL: the field of view stood
    LensDistortion distortion;              ///< without grids: none
};

/// What is done to the picture as a whole; NULL where nothing is.
struct PictureTransforms {
    const Matrix3* dis_inverse = nullptr;  ///< back from an image-based correction
    const Matrix3* sat_inverse = nullptr;  ///< back from a spatial alignment
};

/// Compute the polygon in which a frame's crop must stay.
///
/// Each of 16 points around the input frame goes back through the optics as they were at the time
/// row that read it, and is turned back by that row's angles: row = (int)(y / height * 24) + 1.
/// The transforms of the picture stand on the right of that turn: R * D^-1 * S^-1.
///
/// @param row_angles of the rows against the frame's middle.
/// @param start_points points to use instead of the frame's own border, or NULL; pixels.
void compute_boundary(const RowAngles& row_angles, const FrameOptics& optics, const Camera& camera,
                      const FilterInput& frame_input, const PictureTransforms& transforms,
                      const BorderPoints* start_points, BoundingBox& out);

}  // namespace steadywarp
