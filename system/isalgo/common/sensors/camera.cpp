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

    // K R, then K^-1 from the right, whose last column is (-cx / fx, -cy / fy, 1).
    const double m00 = fx * r00 + cx * r20;
    const double m01 = fx * r01 + cx * r21;
    const double m02 = fx * r02 + cx * r22;
    const double m10 = fy * r10 + cy * r20;
    const double m11 = fy * r11 + cy * r21;
    const double m12 = fy * r12 + cy * r22;
    const double inv_fx = 1.0 / fx;
    const double inv_fy = 1.0 / fy;
    const double to_center_x = cx * inv_fx;
    const double to_center_y = cy * inv_fy;
    return {m00 * inv_fx, m01 * inv_fy, m02 - m00 * to_center_x - m01 * to_center_y,
            m10 * inv_fx, m11 * inv_fy, m12 - m10 * to_center_x - m11 * to_center_y,
            r20 * inv_fx, r21 * inv_fy, r22 - r20 * to_center_x - r21 * to_center_y};
}

}  // namespace steadywarp
