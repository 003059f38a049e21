// SPDX-License-Identifier: Apache-2.0
#include "sensors/camera.hpp"

#include <cmath>

namespace steadywarp {

Matrix3 rotation_to_homography(const Camera& camera, const Vec3<double>& angles,
                               double focal_scale) {
    const double fx = camera.focal_x / focal_scale;
    const double fy = camera.focal_y / focal_scale;
    const double cx = camera.center_x;
    const double cy = camera.center_y;
    const double sin_x = std::sin(angles.x);
    const double cos_x = std::cos(angles.x);
    const double sin_y = std::sin(angles.y);
    const double cos_y = std::cos(angles.y);
    const double sin_z = std::sin(angles.z);
    const double cos_z = std::cos(angles.z);

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
    const double g01 = r01 * (fx / fy);
    const double g02 = r02 * fx;
    const double g10 = r10 * (fy / fx);
    const double g11 = r11;
    const double g12 = r12 * fy;
    const double g20 = r20 / fx;
    const double g21 = r21 / fy;
    const double g22 = r22;

    // From and to the corner: T(center) G T(-center). No turn gives the identity to the last bit.
    const double h00 = g00 + cx * g20;
    const double h01 = g01 + cx * g21;
    const double h10 = g10 + cy * g20;
    const double h11 = g11 + cy * g21;
    return {h00, h01, g02 + cx * g22 - h00 * cx - h01 * cy,
            h10, h11, g12 + cy * g22 - h10 * cx - h11 * cy,
            g20, g21, g22 - g20 * cx - g21 * cy};
}

}  // namespace steadywarp
