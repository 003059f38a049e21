// SPDX-License-Identifier: Apache-2.0
/// @file camera.hpp
/// The pinhole camera of a sensor, and the homography that a turn of it makes of the picture.
#pragma once

#include <cstdint>

#include "base/matrix3.hpp"
#include "base/vec3.hpp"

namespace steadywarp {

/// Pixels are counted from the centre of the top-left pixel of the stabilizer's input frame.
struct Camera {
    double focal_x = 0.0;
    double focal_y = 0.0;
    double center_x = 0.0;
    double center_y = 0.0;
    uint32_t width = 0;
    uint32_t height = 0;
    double crop_ratio_x = 0.0;  ///< part of the frame that the output covers
    double crop_ratio_y = 0.0;
};

/// The homography of the camera turned by `angles`.
///
///     H = K Rx(-x) Ry(-y) Rz(-z) K^-1
///     K = [[focal_x / s, 0, center_x], [0, focal_y / s, center_y], [0, 0, 1]]
///
/// Rx, Ry and Rz are the right-handed rotations about one axis. H is not scaled to a last element
/// of 1. For small angles a camera that turns by `angles` sees at H(p) what it saw at p before.
///
/// @param angles radians about the camera's x (right), y (down) and z (forward).
/// @param focal_scale s, the part of the full picture that the frame covers.
Matrix3 rotation_to_homography(const Camera& camera, const Vec3<double>& angles,
                               double focal_scale);

}  // namespace steadywarp
