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

/// The homographies of one camera at one focal scale, for many turns of it.
///
///     H = K Rx(-x) Ry(-y) Rz(-z) K^-1
///     K = [[focal_x / s, 0, center_x], [0, focal_y / s, center_y], [0, 0, 1]]
///
/// Rx, Ry and Rz are the right-handed rotations about one axis. H is not scaled to a last element
/// of 1. For small angles a camera that turns by `angles` sees at H(p) what it saw at p before.
class TurnedCamera {
  public:
    /// @param focal_scale s, the part of the full picture that the frame covers.
    TurnedCamera(const Camera& camera, double focal_scale);

    /// @param angles radians about the camera's x (right), y (down) and z (forward).
    Matrix3 homography(const Vec3<double>& angles) const;

  private:
    double _focal_x;
    double _focal_y;
    double _x_by_y;
    double _y_by_x;
    double _center_x;
    double _center_y;
};

/// The homography of a single turn.
inline Matrix3 rotation_to_homography(const Camera& camera, const Vec3<double>& angles,
                                      double focal_scale) {
    return TurnedCamera(camera, focal_scale).homography(angles);
}

}  // namespace steadywarp
