// SPDX-License-Identifier: Apache-2.0
#include "sensors/camera.hpp"

#include "platform/sines.hpp"

namespace steadywarp {

TurnedCamera::TurnedCamera(const Camera& camera, double focal_scale)
    : _focal_x(camera.focal_x / focal_scale),
      _focal_y(camera.focal_y / focal_scale),
      _x_by_y(_focal_x / _focal_y),
      _y_by_x(_focal_y / _focal_x),
      _center_x(camera.center_x),
      _center_y(camera.center_y) {}

Matrix3 TurnedCamera::homography(const Vec3<double>& angles) const {
    platform::Double2 turns[3];
    platform::SinesAndCosines({angles.x, angles.y, angles.z}, turns);
    const double sin_x = turns[0][0], cos_x = turns[0][1];
    const double sin_y = turns[1][0], cos_y = turns[1][1];
    const double sin_z = turns[2][0], cos_z = turns[2][1];

    // R = Rx(-x) Ry(-y) Rz(-z), multiplied out.
    const double r00 = cos_y * cos_z;
    const double r01 = cos_y * sin_z;
    const double r02 = -sin_y;
    const double r10 = sin_x * sin_y * cos_z - cos_x * sin_z;
    const double r11 = sin_x * sin_y * sin_z + cos_x * cos_z;
    const double r12 = sin_x * cos_y;
    const double r20 = cos_x * sin_y * cos_z + sin_x * sin_z;
    const double r21 = cos_x * sin_y * sin_z - sin_x * cos_z;
    const double r22 = cos_x * cos_y;

    // About the optical centre: diag(fx, fy, 1) R diag(1 / fx, 1 / fy, 1).
    const double g00 = r00;
    const double g01 = r01 * _x_by_y;
    const double g02 = r02 * _focal_x;
    const double g10 = r10 * _y_by_x;
    const double g11 = r11;
    const double g12 = r12 * _focal_y;
    const double g20 = r20 / _focal_x;
    const double g21 = r21 / _focal_y;
    const double g22 = r22;

    // From and to the corner: T(center) G T(-center). No turn gives the identity to the last bit.
    const double h00 = g00 + _center_x * g20;
    const double h01 = g01 + _center_x * g21;
    const double h10 = g10 + _center_y * g20;
    const double h11 = g11 + _center_y * g21;
    return {h00, h01, g02 + _center_x * g22 - h00 * _center_x - h01 * _center_y,
            h10, h11, g12 + _center_y * g22 - h10 * _center_x - h11 * _center_y,
            g20, g21, g22 - g20 * _center_x - g21 * _center_y};
}

}  // namespace steadywarp
