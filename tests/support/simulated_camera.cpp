// SPDX-License-Identifier: Apache-2.0
#include "support/simulated_camera.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace steadywarp::test {
namespace {

using tool::Matrix3;
using tool::Vector3;

// What the device reads when the camera turns at (x, y, z) about its own axes: typed by hand from
// the axes of a phone held upright, screen toward the user.
Vector3 to_device(const Vector3& c, uint32_t camera_position, uint32_t sensor_mount_angle) {
    const auto [x, y, z] = c;
    const bool is_front = camera_position == 1;
    switch (sensor_mount_angle) {
        case 0:
            return is_front ? Vector3{-x, -y, z} : Vector3{-x, y, -z};
        case 90:
            return is_front ? Vector3{y, -x, z} : Vector3{-y, -x, -z};
        case 180:
            return is_front ? Vector3{x, y, z} : Vector3{x, -y, -z};
        case 270:
            return is_front ? Vector3{-y, x, z} : Vector3{y, x, -z};
        default:
            throw std::invalid_argument("mount angle");
    }
}

Pixel apply(const Matrix3& m, double x, double y) {
    const double w = m[6] * x + m[7] * y + m[8];
    return {(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
}

Matrix3 widened(const NcLibWarpMatrices& matrices) {
    Matrix3 m{};
    std::copy_n(matrices.perspMatrices[0].T, 9, m.begin());
    return m;
}

Matrix3 adjugate(const Matrix3& m) {
    return {m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
            m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
            m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
}

Pixel about_center(const NcLibImageSize& size, const Matrix3& m, const Pixel& point) {
    const double cx = (size.widthPixels - 1.0) / 2.0;
    const double cy = (size.heightLines - 1.0) / 2.0;
    const Pixel out = apply(m, point.x - cx, point.y - cy);
    return {out.x + cx, out.y + cy};
}

}  // namespace

Matrix3 SimulatedCamera::orientation_at(double time_us) const {
    return motion.orientation((time_us - epoch_us) * 1e-6);
}

Vector3 SimulatedCamera::direction(const Pixel& pixel, double time_us) const {
    const Vector3 ray = {(pixel.x - center().x) / focal, (pixel.y - center().y) / focal, 1.0};
    return tool::multiply(orientation_at(time_us), ray);
}

Pixel SimulatedCamera::project(const Vector3& direction, double time_us) const {
    const Vector3 ray = tool::multiply(tool::transpose(orientation_at(time_us)), direction);
    return {center().x + focal * ray[0] / ray[2], center().y + focal * ray[1] / ray[2]};
}

Pixel SimulatedCamera::project_rolling(const Vector3& direction, double first_row_us) const {
    Pixel seen = project(direction, middle_us(first_row_us));
    // Converges by the part of a read-out that the picture moves in, some percent a round.
    for (int round = 0; round < 30; ++round) {
        const double row = seen.y;
        seen = project(direction, first_row_us + readout_us * (row + 0.5) / height);
        if (std::fabs(seen.y - row) < 1e-9) {
            break;
        }
    }
    return seen;
}

RateSource device_rates(const tool::Motion& motion, double epoch_us, uint32_t camera_position,
                        uint32_t sensor_mount_angle) {
    return [&motion, epoch_us, camera_position, sensor_mount_angle](uint64_t ts) {
        const Vector3 camera = motion.body_rate((static_cast<double>(ts) - epoch_us) * 1e-6);
        const Vector3 device = to_device(camera, camera_position, sensor_mount_angle);
        return _sample_data_s{{device[0], device[1], device[2]}, ts};
    };
}

Pixel through_grid(const NcLibWarpGrid& grid, const Pixel& point) {
    const double width = grid.transformDefinedOn.widthPixels;
    const double height = grid.transformDefinedOn.heightLines;
    const double gx = (point.x + 0.5) / (width / 32.0) + 1.0;
    const double gy = (point.y + 0.5) / (height / 24.0) + 1.0;
    const auto column = static_cast<uint32_t>(std::clamp(gx, 0.0, 33.0));
    const auto row = static_cast<uint32_t>(std::clamp(gy, 0.0, 25.0));
    const double tx = gx - column;
    const double ty = gy - row;
    const NcLibWarpGridCoord* n = grid.grid + row * 35 + column;
    const auto mix = [&](auto member) {
        return (1 - ty) * ((1 - tx) * member(n[0]) + tx * member(n[1])) +
               ty * ((1 - tx) * member(n[35]) + tx * member(n[36]));
    };
    return {mix([](const NcLibWarpGridCoord& c) { return double{c.x}; }) + (width - 1.0) / 2.0,
            mix([](const NcLibWarpGridCoord& c) { return double{c.y}; }) + (height - 1.0) / 2.0};
}

Pixel through_matrix(const NcLibWarpMatrices& matrices, const Pixel& point) {
    return about_center(matrices.transformDefinedOn, widened(matrices), point);
}

Pixel back_through_matrix(const NcLibWarpMatrices& matrices, const Pixel& point) {
    return about_center(matrices.transformDefinedOn, adjugate(widened(matrices)), point);
}

}  // namespace steadywarp::test
