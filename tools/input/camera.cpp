// SPDX-License-Identifier: Apache-2.0
#include "input/camera.hpp"

#include <algorithm>
#include <cmath>

namespace steadywarp::tool {
namespace {

is_init_common_data built_in_common() {
    is_init_common_data common{};
    common.is_type = IS_TYPE_EIS_2_0;
    common.operation_mode = IS_OPT_REGULAR;
    common.deployment_type = DEP_TYPE_ICA_V30;
    common.output_width = 1920;
    common.output_height = 1080;
    common.frame_fps = 30;
    common.buffer_delay = 1;
    return common;
}

bool has_crop(const is_crop_window& crop) {
    return crop.windowWidth > 0.0f && crop.windowHeight > 0.0f && crop.fullWidth > 0.0f &&
           crop.fullHeight > 0.0f;
}

}  // namespace

Camera built_in_camera() {
    is_init_sensor_data sensor{};
    sensor.input_width = 1920;
    sensor.input_height = 1080;
    sensor.ife_input_frame_width = 1920;
    sensor.ife_input_frame_height = 1080;
    sensor.ife_input_frame_undistorted_width = 1920;
    sensor.ife_input_frame_undistorted_height = 1080;
    sensor.image_sensor_crop = {1920.0f, 1080.0f, 1920.0f, 1080.0f, 0.0f, 0.0f};
    sensor.sensor_mount_angle = 90;
    sensor.camera_position = 0;
    sensor.sensor_width_millimeter = 5.6f;
    sensor.sensor_height_millimeter = 3.15f;
    sensor.tuning.top.gyro_frequency = 500;
    sensor.tuning.general.focal_length = 1500;
    sensor.tuning.general.minimal_total_margin = 0.1f;
    sensor.tuning.general.gyro_noise_floor = 0.005f;
    Camera camera;
    camera.common = built_in_common();
    camera.sensors.push_back(sensor);
    camera.has_gyro_frequency.push_back(false);
    return camera;
}

void adapt_camera(Camera& camera, double gyro_hz, double fps) {
    if (!camera.has_frame_fps) {
        constexpr uint16_t kRates[] = {24, 30, 60};
        camera.common.frame_fps = *std::min_element(
            std::begin(kRates), std::end(kRates),
            [fps](uint16_t a, uint16_t b) { return std::abs(fps - a) < std::abs(fps - b); });
    }
    for (size_t i = 0; i < camera.sensors.size(); ++i) {
        if (!camera.has_gyro_frequency[i]) {
            camera.sensors[i].tuning.top.gyro_frequency =
                static_cast<uint32_t>(std::lround(std::clamp(gyro_hz, 1.0, 1e6)));
        }
    }
}

AxisMap camera_axes(const is_init_sensor_data& sensor) {
    // Both were checked when the camera was read.
    return device_to_camera(sensor.camera_position, sensor.sensor_mount_angle).value_or(AxisMap{});
}

bool full_frame_windows(const Camera& camera, size_t sensor_idx, is_window_regions& windows) {
    const is_init_sensor_data& sensor = camera.sensors[sensor_idx];
    const float margin = sensor.tuning.general.minimal_total_margin;
    is_margin_query query{};
    query.output_width = camera.common.output_width;
    query.output_height = camera.common.output_height;
    query.do_virtual_upscale_in_transform = camera.common.do_virtual_upscale_in_transform;
    query.input_width = sensor.input_width;
    query.input_height = sensor.input_height;
    query.total_margin_x = margin;
    query.total_margin_y = margin;
    double ratio_x = 0.0;
    double ratio_y = 0.0;
    if (eis2_get_stabilization_crop_ratio_ex(&query, &ratio_x, &ratio_y) != EIS_SUCCESS ||
        !(ratio_x > 0.0 && ratio_x <= 1.0 && ratio_y > 0.0 && ratio_y <= 1.0)) {
        return false;
    }
    const auto width = static_cast<float>(sensor.input_width);
    const auto height = static_cast<float>(sensor.input_height);
    const auto crop_width = static_cast<float>(std::round(ratio_x * sensor.input_width));
    const auto crop_height = static_cast<float>(std::round(ratio_y * sensor.input_height));
    const is_crop_window full = {width, height, width, height, 0.0f, 0.0f};
    windows.eis_pre_crop_vIN = full;
    windows.eis_pre_crop_vOUT = full;
    windows.output_crop_fov = {width,
                               height,
                               crop_width,
                               crop_height,
                               (width - crop_width) * 0.5f,
                               (height - crop_height) * 0.5f};
    windows.image_sensor_crop =
        has_crop(sensor.image_sensor_crop) ? sensor.image_sensor_crop : full;
    return true;
}

}  // namespace steadywarp::tool
