// SPDX-License-Identifier: Apache-2.0
#include "support/records.hpp"

namespace steadywarp::test {

is_init_common_data valid_common() {
    is_init_common_data common{};
    common.is_type = IS_TYPE_EIS_2_0;
    common.operation_mode = IS_OPT_REGULAR;
    common.deployment_type = DEP_TYPE_ICA_V30;
    common.output_width = kWidth;
    common.output_height = kHeight;
    common.frame_fps = 30;
    common.buffer_delay = 1;
    return common;
}

is_init_sensor_data valid_sensor() {
    is_init_sensor_data sensor{};
    sensor.ife_input_frame_width = kWidth;
    sensor.ife_input_frame_height = kHeight;
    sensor.ife_input_frame_undistorted_width = kWidth;
    sensor.ife_input_frame_undistorted_height = kHeight;
    sensor.input_width = kWidth;
    sensor.input_height = kHeight;
    sensor.sensor_mount_angle = 180;
    sensor.tuning.top.gyro_frequency = 500;
    sensor.tuning.general.minimal_total_margin = kMargin;
    sensor.tuning.general.focal_length = kFocalLength;
    sensor.tuning.general.gyro_noise_floor = 0.003f;
    return sensor;
}

void set_linear_model(is_tessaline_info_s& tuning, float x, float y) {
    eis_tuning_set_ois(&tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X, kWidth);
    eis_tuning_set_ois(&tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y, kHeight);
    for (const uint32_t base : {0u, 48u}) {
        const float sign = base == 0 ? -1.0f : 1.0f;
        const auto set = [&](uint32_t element, uint32_t power, float value) {
            eis_tuning_set_general_model_parameter(&tuning, base + 6 * element + power, value);
        };
        set(0, 0, 1.0f);
        set(4, 0, 1.0f);
        set(2, 1, sign * x);
        set(5, 2, sign * y);
    }
}

void set_identity_grids(is_init_sensor_data& sensor) {
    is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    ldc.ldc_grid_enable = 1;
    ldc.ldc_calib_domain = 2;
    ldc.image_size_distorted_x = ldc.image_size_undistorted_x = sensor.input_width;
    ldc.image_size_distorted_y = ldc.image_size_undistorted_y = sensor.input_height;
    for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
        // 256 virtual units from node to node, the middle one in the middle.
        const float x = 256.0f * (static_cast<float>(i % EIS_GRID_COLUMNS) - 17.0f);
        const float y = 256.0f * (static_cast<float>(i / EIS_GRID_COLUMNS) - 13.0f);
        ldc.distorted_input_to_undistorted_ldc_grid_x_tab[i] = x;
        ldc.distorted_input_to_undistorted_ldc_grid_y_tab[i] = y;
        ldc.undistorted_to_distorted_input_ldc_grid_x_tab[i] = x;
        ldc.undistorted_to_distorted_input_ldc_grid_y_tab[i] = y;
    }
}

is_window_regions centred_windows(uint32_t width, uint32_t height, uint32_t crop_width,
                                  uint32_t crop_height) {
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);
    const float cw = static_cast<float>(crop_width);
    const float ch = static_cast<float>(crop_height);
    const is_crop_window full = {w, h, w, h, 0.0f, 0.0f};
    return {full, full, full, {w, h, cw, ch, (w - cw) / 2.0f, (h - ch) / 2.0f}};
}

OutputMemory::OutputMemory() {
    output.distortion_correction_grid.grid = distortion_grid.data();
    output.stabilization_transform.grid.grid = transform_grid.data();
    output.stabilization_transform.matrices.perspMatrices = &transform;
    output.alignment_matrix_domain_undistorted.perspMatrices = &alignment_undistorted;
    output.alignment_matrix_domain_stabilized.perspMatrices = &alignment_stabilized;
}

is_output_distortion_correction OutputMemory::first_pass() {
    is_output_distortion_correction first{};
    first.distortion_correction_grid.grid = distortion_grid.data();
    first.alignment_matrix_domain_undistorted.perspMatrices = &alignment_undistorted;
    return first;
}

is_output_stabilize OutputMemory::second_pass() {
    is_output_stabilize second{};
    second.distortion_correction_grid.grid = distortion_grid.data();
    second.stabilization_transform.grid.grid = transform_grid.data();
    second.stabilization_transform.matrices.perspMatrices = &transform;
    second.alignment_matrix_domain_undistorted.perspMatrices = &alignment_undistorted;
    second.alignment_matrix_domain_stabilized.perspMatrices = &alignment_stabilized;
    return second;
}

Instance::Instance(const is_init_common_data& common,
                   const std::vector<is_init_sensor_data>& sensors)
    : _status(eis2_initialize(&_context, &common, sensors.data(),
                              static_cast<uint32_t>(sensors.size()))) {}

Instance::~Instance() {
    if (_context != nullptr) {
        eis2_deinitialize(&_context);
    }
}

size_t count_of(const std::string& log, const std::string& text) {
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
        ++count;
    }
    return count;
}

}  // namespace steadywarp::test
