// SPDX-License-Identifier: Apache-2.0
#include "analysis/orientation.hpp"

#include <algorithm>

namespace steadywarp::tool {

OrientationTrack::OrientationTrack(std::span<const GyroSample> gyro,
                                   const AxisMap& device_to_camera) {
    Vector3 angle{};
    Vector3 rate_before{};
    for (size_t i = 0; i < gyro.size(); ++i) {
        const Vector3 rate = map_axes(device_to_camera, gyro[i].rate);
        const double half_step =
            i == 0 ? 0.0 : static_cast<double>(gyro[i].t_us - gyro[i - 1].t_us) * 0.5e-6;
        for (size_t axis = 0; axis < 3; ++axis) {
            angle[axis] += (rate_before[axis] + rate[axis]) * half_step;
        }
        rate_before = rate;
        t_us_.push_back(static_cast<double>(gyro[i].t_us));
        angles_.push_back(angle);
    }
}

Vector3 OrientationTrack::at(double t_us) const {
    const auto after = std::upper_bound(t_us_.begin(), t_us_.end(), t_us);
    if (after == t_us_.begin()) {
        return angles_.front();
    }
    if (after == t_us_.end()) {
        return angles_.back();
    }
    const auto i = static_cast<size_t>(after - t_us_.begin());
    const double part = (t_us - t_us_[i - 1]) / (t_us_[i] - t_us_[i - 1]);
    Vector3 out{};
    for (size_t axis = 0; axis < 3; ++axis) {
        out[axis] = angles_[i - 1][axis] + part * (angles_[i][axis] - angles_[i - 1][axis]);
    }
    return out;
}

double focal_length_px(const is_init_sensor_data& sensor) {
    // The library cuts the product to a whole number before it divides.
    return static_cast<double>(sensor.input_width * sensor.tuning.general.focal_length) / 1920.0;
}

Vector3 correction_angles(const std::array<float, 9>& matrix, const Camera& camera,
                          uint32_t sensor_idx) {
    const is_init_sensor_data& sensor = camera.sensors[sensor_idx];
    const double f = focal_length_px(sensor);
    const auto cx = static_cast<double>(sensor.optical_center_x);
    const auto cy = static_cast<double>(sensor.optical_center_y);
    double upscale = 1.0;
    if (camera.common.do_virtual_upscale_in_transform) {
        uint32_t crop_width = 0;
        uint32_t crop_height = 0;
        const float margin = sensor.tuning.general.minimal_total_margin;
        eis_internal_get_crop_size(sensor.input_height, sensor.input_width,
                                   camera.common.output_height, camera.common.output_width,
                                   &crop_height, &crop_width, margin, margin);
        upscale = static_cast<double>(crop_width) / camera.common.output_width;
    }
    Matrix3 m{};
    for (size_t i = 0; i < 9; ++i) {
        m[i] = static_cast<double>(matrix[i]) / (i % 3 == 2 ? 1.0 : upscale);
    }
    const Matrix3 k = {f, 0, cx, 0, f, cy, 0, 0, 1};
    const Matrix3 k_inverse = {1 / f, 0, -cx / f, 0, 1 / f, -cy / f, 0, 0, 1};
    Matrix3 r = multiply(multiply(k_inverse, m), k);
    const double scale = std::cbrt(determinant(r));
    for (double& element : r) {
        element /= scale;
    }
    return {std::atan2(-r[5], r[8]), std::asin(std::clamp(r[2], -1.0, 1.0)),
            std::atan2(-r[1], r[0])};
}

}  // namespace steadywarp::tool
