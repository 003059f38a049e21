// SPDX-License-Identifier: Apache-2.0
/// @file init_keys.hpp
/// The keys under which a configuration is written as INI text, as data: which slot of the public
/// records each one holds. The capture writes them in this order; the command reads them.
///
/// This folder stands alone: it sees the public headers only, so that whoever reads or writes
/// such files can share it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "steadywarp/eis.h"

namespace steadywarp {

/// How a key's words are stored.
enum class KeyKind : uint8_t {
    kBool,  ///< 0 or 1
    kU16,
    kU32,
    kI32,
    kF32,           ///< also tables of float
    kGeneralModel,  ///< the lens-shift model's coefficients, by accessor
    kOis,           ///< `offset` is an EIS_TUNING_OIS_* slot
    kBehaviour,     ///< `offset` is a face distortion or motion detection slot
    kDis,           ///< `offset` is an EIS_TUNING_DIS_* slot
};

/// When a capture writes a key.
enum class KeyWritten : uint8_t {
    kAlways,
    kLensPosition,  ///< `z_lens_position` is enabled
    kOwnGrids,      ///< distortion grids are enabled and are those of the tuning
};

/// One key.
struct InitKey {
    std::string_view group;  ///< "common", "sensor", or the last part of the section's name
    std::string_view name;
    KeyKind kind;
    size_t offset;  ///< bytes into is_init_common_data or is_init_sensor_data, or a slot
    /// How many words the key takes: from `least` to `most`, for distortion grids one of the two.
    size_t least = 1;
    size_t most = 1;
    KeyWritten written = KeyWritten::kAlways;
};

/// Tell whether a key holds one coordinate of a distortion grid.
constexpr bool is_grid_table(const InitKey& key) {
    return key.most == EIS_TUNING_GRID_POINTS_HI_RES;
}

/// Tell whether a capture of this sensor has the key.
inline bool is_written(const InitKey& key, const is_tessaline_info_s& tuning) {
    switch (key.written) {
        case KeyWritten::kLensPosition:
            return tuning.z_lens_pos.enable != 0;
        case KeyWritten::kOwnGrids:
            return tuning.lens_distortion_correction.ldc_grid_enable != 0 &&
                   tuning.lens_distortion_correction.ldc_grid_source == 0;
        default:
            return true;
    }
}

namespace init_keys {

using enum KeyKind;
using enum KeyWritten;

#define IN_COMMON(field) offsetof(is_init_common_data, field)
#define IN_SENSOR(field) offsetof(is_init_sensor_data, field)

// clang-format off
inline constexpr InitKey kAll[] = {
    // group, key, kind, offset or slot, least and most words where not one, when written
    {"common", "is_type", kU32, IN_COMMON(is_type)},
    {"common", "operation_mode", kU32, IN_COMMON(operation_mode)},
    {"common", "deployment_type", kU32, IN_COMMON(deployment_type)},
    {"common", "output_width", kU32, IN_COMMON(output_width)},
    {"common", "output_height", kU32, IN_COMMON(output_height)},
    {"common", "frame_fps", kU16, IN_COMMON(frame_fps)},
    {"common", "do_virtual_upscale_in_transform", kBool, IN_COMMON(do_virtual_upscale_in_transform)},
    {"common", "force_split_grid_matrix", kBool, IN_COMMON(force_split_grid_matrix)},
    {"common", "unify_undistortion_grid", kBool, IN_COMMON(unify_undistortion_grid)},
    {"common", "is_sat_enabled", kBool, IN_COMMON(is_sat_enabled)},
    {"common", "is_mag_enabled", kBool, IN_COMMON(is_mag_enabled)},
    {"common", "is_acc_enabled", kBool, IN_COMMON(is_acc_enabled)},
    {"common", "is_ois_enabled", kBool, IN_COMMON(is_ois_enabled)},
    {"common", "is_ifovc_enabled", kBool, IN_COMMON(is_ifovc_enabled)},
    {"common", "is_dis_enabled", kBool, IN_COMMON(is_dis_enabled)},
    {"common", "is_linear_acc_enabled", kBool, IN_COMMON(is_linear_acc_enabled)},
    {"common", "is_abs_orientation_enabled", kBool, IN_COMMON(is_abs_orientation_enabled)},
    {"common", "is_rel_orientation_enabled", kBool, IN_COMMON(is_rel_orientation_enabled)},
    {"common", "buffer_delay", kU16, IN_COMMON(buffer_delay)},
    {"sensor", "image_sensor_crop_fullWidth", kF32, IN_SENSOR(image_sensor_crop.fullWidth)},
    {"sensor", "image_sensor_crop_fullHeight", kF32, IN_SENSOR(image_sensor_crop.fullHeight)},
    {"sensor", "image_sensor_crop_windowWidth", kF32, IN_SENSOR(image_sensor_crop.windowWidth)},
    {"sensor", "image_sensor_crop_windowHeight", kF32, IN_SENSOR(image_sensor_crop.windowHeight)},
    {"sensor", "image_sensor_crop_windowLeft", kF32, IN_SENSOR(image_sensor_crop.windowLeft)},
    {"sensor", "image_sensor_crop_windowTop", kF32, IN_SENSOR(image_sensor_crop.windowTop)},
    {"sensor", "ife_input_frame_width", kU32, IN_SENSOR(ife_input_frame_width)},
    {"sensor", "ife_input_frame_height", kU32, IN_SENSOR(ife_input_frame_height)},
    {"sensor", "ife_input_frame_undistorted_width", kU32, IN_SENSOR(ife_input_frame_undistorted_width)},
    {"sensor", "ife_input_frame_undistorted_height", kU32, IN_SENSOR(ife_input_frame_undistorted_height)},
    {"sensor", "input_width", kU32, IN_SENSOR(input_width)},
    {"sensor", "input_height", kU32, IN_SENSOR(input_height)},
    {"sensor", "sensor_mount_angle", kU32, IN_SENSOR(sensor_mount_angle)},
    {"sensor", "camera_position", kU32, IN_SENSOR(camera_position)},
    {"sensor", "optical_center_x", kF32, IN_SENSOR(optical_center_x)},
    {"sensor", "optical_center_y", kF32, IN_SENSOR(optical_center_y)},
    {"sensor", "sensor_width_millimeter", kF32, IN_SENSOR(sensor_width_millimeter)},
    {"sensor", "sensor_height_millimeter", kF32, IN_SENSOR(sensor_height_millimeter)},
    {"sensor", "ldc_calib_domain", kU32, IN_SENSOR(ldc_calib_domain)},
    {"top", "requested_total_margins_x_fhd_30", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_fhd_30)},
    {"top", "requested_total_margins_y_fhd_30", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_fhd_30)},
    {"top", "requested_total_margins_x_fhd_60", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_fhd_60)},
    {"top", "requested_total_margins_y_fhd_60", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_fhd_60)},
    {"top", "requested_total_margins_x_fhd_120", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_fhd_120)},
    {"top", "requested_total_margins_y_fhd_120", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_fhd_120)},
    {"top", "requested_total_margins_x_4k_30", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_4k_30)},
    {"top", "requested_total_margins_y_4k_30", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_4k_30)},
    {"top", "requested_total_margins_x_4k_60", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_4k_60)},
    {"top", "requested_total_margins_y_4k_60", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_4k_60)},
    {"top", "requested_total_margins_x_4k_120", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_4k_120)},
    {"top", "requested_total_margins_y_4k_120", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_4k_120)},
    {"top", "requested_total_margins_x_8k_30", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_8k_30)},
    {"top", "requested_total_margins_y_8k_30", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_8k_30)},
    {"top", "requested_total_margins_x_8k_60", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_8k_60)},
    {"top", "requested_total_margins_y_8k_60", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_8k_60)},
    {"top", "requested_total_margins_x_8k_120", kF32, IN_SENSOR(tuning.top.requested_total_margins_x_8k_120)},
    {"top", "requested_total_margins_y_8k_120", kF32, IN_SENSOR(tuning.top.requested_total_margins_y_8k_120)},
    {"top", "future_buffer_size_fhd_30", kU32, IN_SENSOR(tuning.top.future_buffer_size_fhd_30)},
    {"top", "future_buffer_size_fhd_60", kU32, IN_SENSOR(tuning.top.future_buffer_size_fhd_60)},
    {"top", "future_buffer_size_fhd_120", kU32, IN_SENSOR(tuning.top.future_buffer_size_fhd_120)},
    {"top", "future_buffer_size_4k_30", kU32, IN_SENSOR(tuning.top.future_buffer_size_4k_30)},
    {"top", "future_buffer_size_4k_60", kU32, IN_SENSOR(tuning.top.future_buffer_size_4k_60)},
    {"top", "future_buffer_size_4k_120", kU32, IN_SENSOR(tuning.top.future_buffer_size_4k_120)},
    {"top", "future_buffer_size_8k_30", kU32, IN_SENSOR(tuning.top.future_buffer_size_8k_30)},
    {"top", "future_buffer_size_8k_60", kU32, IN_SENSOR(tuning.top.future_buffer_size_8k_60)},
    {"top", "future_buffer_size_8k_120", kU32, IN_SENSOR(tuning.top.future_buffer_size_8k_120)},
    {"top", "gyro_frequency", kU32, IN_SENSOR(tuning.top.gyro_frequency)},
    {"top", "ois_frequency", kU32, IN_SENSOR(tuning.top.ois_frequency)},
    {"top", "acc_frequency", kU32, IN_SENSOR(tuning.top.acc_frequency)},
    {"top", "mag_frequency", kU32, IN_SENSOR(tuning.top.mag_frequency)},
    {"top", "ifovc_frequency", kU32, IN_SENSOR(tuning.top.ifovc_frequency)},
    {"top", "ois_delay_to_display_ms", kU32, IN_SENSOR(tuning.top.ois_delay_to_display_ms)},
    {"top", "lens_pos_orientation_axis_x", kI32, IN_SENSOR(tuning.top.lens_pos_orientation_axis_x)},
    {"top", "lens_pos_orientation_axis_y", kI32, IN_SENSOR(tuning.top.lens_pos_orientation_axis_y)},
    {"top", "lens_pos_orientation_axis_z", kI32, IN_SENSOR(tuning.top.lens_pos_orientation_axis_z)},
    {"general", "minimal_total_margin", kF32, IN_SENSOR(tuning.general.minimal_total_margin)},
    {"general", "focal_length", kU32, IN_SENSOR(tuning.general.focal_length)},
    {"general", "gyro_noise_floor", kF32, IN_SENSOR(tuning.general.gyro_noise_floor)},
    {"general", "ois_noise_floor", kF32, IN_SENSOR(tuning.general.ois_noise_floor)},
    {"general", "acc_noise_floor", kF32, IN_SENSOR(tuning.general.acc_noise_floor)},
    {"general", "mag_noise_floor", kF32, IN_SENSOR(tuning.general.mag_noise_floor)},
    {"general", "output_grid_precision", kU32, IN_SENSOR(tuning.general.output_grid_precision)},
    {"timing", "s3d_offset", kI32, IN_SENSOR(tuning.timing.s3d_offset)},
    {"timing", "ois_offset", kI32, IN_SENSOR(tuning.timing.ois_offset)},
    {"timing", "acc_offset", kI32, IN_SENSOR(tuning.timing.acc_offset)},
    {"timing", "mag_offset", kI32, IN_SENSOR(tuning.timing.mag_offset)},
    {"timing", "ifovc_offset", kI32, IN_SENSOR(tuning.timing.ifovc_offset)},
    {"blur_masking", "enable", kU32, IN_SENSOR(tuning.blur_masking.enable)},
    {"blur_masking", "min_strength", kF32, IN_SENSOR(tuning.blur_masking.min_strength)},
    {"blur_masking", "exposure_time_th", kF32, IN_SENSOR(tuning.blur_masking.exposure_time_th)},
    {"blur_masking", "start_decrease_at_blur", kF32, IN_SENSOR(tuning.blur_masking.start_decrease_at_blur)},
    {"blur_masking", "end_decrease_at_blur", kF32, IN_SENSOR(tuning.blur_masking.end_decrease_at_blur)},
    {"blur_masking", "pan_min_threshold", kF32, IN_SENSOR(tuning.blur_masking.pan_min_threshold)},
    {"blur_masking", "pan_max_threshold", kF32, IN_SENSOR(tuning.blur_masking.pan_max_threshold)},
    {"blur_masking", "blur_masking_res1", kF32, IN_SENSOR(tuning.blur_masking.blur_masking_res1)},
    {"blur_masking", "blur_masking_res2", kF32, IN_SENSOR(tuning.blur_masking.blur_masking_res2)},
    {"ois", "module_type", kU32, IN_SENSOR(tuning.ois.module_type)},
    {"ois", "data_conversion_x", kF32, IN_SENSOR(tuning.ois.data_conversion_x_tab), 10, 10},
    {"ois", "data_conversion_y", kF32, IN_SENSOR(tuning.ois.data_conversion_y_tab), 10, 10},
    {"ois", "general_model_parameters", kGeneralModel, 0, 96, 96},
    {"ois", "general_model_transform_defined_on_x", kOis, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X},
    {"ois", "general_model_transform_defined_on_y", kOis, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y},
    {"ois", "raw_offset", kOis, EIS_TUNING_OIS_RAW_OFFSET},
    {"ois", "filter_mode", kOis, EIS_TUNING_OIS_FILTER_MODE},
    {"ois", "ois_center_command_enable", kU32, IN_SENSOR(tuning.ois.center_command_enable)},
    {"ois", "ois_center_exposure_time_th", kU32, IN_SENSOR(tuning.ois.center_exposure_time_th)},
    {"ois", "ois_center_response_time_ms", kU32, IN_SENSOR(tuning.ois.center_response_time_ms)},
    {"dis", "enable", kU32, IN_SENSOR(tuning.dis.enable)},
    {"dis", "robustness_threshold", kI32, IN_SENSOR(tuning.dis.robustness_threshold)},
    {"dis", "confidence_threshold", kU32, IN_SENSOR(tuning.dis.confidence_threshold)},
    {"dis", "parameter_mode", kDis, EIS_TUNING_DIS_PARAMETER_MODE},
    {"dis", "exposure_time_threshold", kDis, EIS_TUNING_DIS_EXPOSURE_TIME_THRESHOLD},
    {"dis", "focus_distance_threshold", kDis, EIS_TUNING_DIS_FOCUS_DISTANCE_THRESHOLD},
    {"selfie", "face_distortion_prevention_parameter_mode", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_PARAMETER_MODE},
    {"selfie", "face_distortion_prevention_enable", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_ENABLE},
    {"selfie", "face_distortion_prevention_angle_delta_th_low", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_LOW},
    {"selfie", "face_distortion_prevention_angle_delta_th_high", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_HIGH},
    {"selfie", "face_distortion_prevention_factor_high", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_FACTOR_HIGH},
    {"selfie", "face_distortion_prevention_kernel_decrease", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_DECREASE},
    {"selfie", "face_distortion_prevention_kernel_increase", kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_INCREASE},
    {"motion_detection", "motion_detection_parameter_mode", kBehaviour, EIS_TUNING_MOTION_DETECTION_PARAMETER_MODE},
    {"motion_detection", "motion_detection_handheld_th", kBehaviour, EIS_TUNING_MOTION_DETECTION_HANDHELD_TH},
    {"motion_detection", "motion_detection_panning_th", kBehaviour, EIS_TUNING_MOTION_DETECTION_PANNING_TH},
    {"motion_detection", "motion_detection_strong_panning_th", kBehaviour, EIS_TUNING_MOTION_DETECTION_STRONG_PANNING_TH},
    {"z_lens_position", "enable", kU32, IN_SENSOR(tuning.z_lens_pos.enable)},
    {"z_lens_position", "scale_source", kU32, IN_SENSOR(tuning.z_lens_pos.scale_source)},
    {"z_lens_position", "min_scale_limit", kF32, IN_SENSOR(tuning.z_lens_pos.min_scale_limit)},
    {"z_lens_position", "z_lens_pos_noise_floor", kF32, IN_SENSOR(tuning.z_lens_pos.z_lens_pos_noise_floor)},
    {"z_lens_position", "z_lens_pos_source", kU32, IN_SENSOR(tuning.z_lens_pos.z_lens_pos_source)},
    {"z_lens_position", "lut_len", kU32, IN_SENSOR(tuning.z_lens_pos.lut_len), 1, 1, kLensPosition},
    {"z_lens_position", "lut_z_lens_pos", kF32, IN_SENSOR(tuning.z_lens_pos.lut_z_lens_pos_tab), 1, 16, kLensPosition},
    {"z_lens_position", "lut_scale_vs_z_lens_pos", kF32, IN_SENSOR(tuning.z_lens_pos.lut_scale_vs_z_lens_pos_tab), 1, 16, kLensPosition},
    {"lens_distortion_correction", "ldc_grid_source", kU32, IN_SENSOR(tuning.lens_distortion_correction.ldc_grid_source)},
    {"lens_distortion_correction", "ldc_grid_enable", kU32, IN_SENSOR(tuning.lens_distortion_correction.ldc_grid_enable)},
    {"lens_distortion_correction", "ldc_calib_domain", kU32, IN_SENSOR(tuning.lens_distortion_correction.ldc_calib_domain), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "distorted_input_to_undistorted_ldc_grid_geometry", kU32, IN_SENSOR(tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_geometry), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "distorted_input_to_undistorted_ldc_grid_x", kF32, IN_SENSOR(tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_x_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES, kOwnGrids},
    {"lens_distortion_correction", "distorted_input_to_undistorted_ldc_grid_y", kF32, IN_SENSOR(tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_y_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES, kOwnGrids},
    {"lens_distortion_correction", "undistorted_to_distorted_input_ldc_grid_geometry", kU32, IN_SENSOR(tuning.lens_distortion_correction.undistorted_to_distorted_input_ldc_grid_geometry), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "undistorted_to_distorted_input_ldc_grid_x", kF32, IN_SENSOR(tuning.lens_distortion_correction.undistorted_to_distorted_input_ldc_grid_x_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES, kOwnGrids},
    {"lens_distortion_correction", "undistorted_to_distorted_input_ldc_grid_y", kF32, IN_SENSOR(tuning.lens_distortion_correction.undistorted_to_distorted_input_ldc_grid_y_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES, kOwnGrids},
    {"lens_distortion_correction", "ldc_model_type", kU32, IN_SENSOR(tuning.lens_distortion_correction.ldc_model_type), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "model_parameters", kF32, IN_SENSOR(tuning.lens_distortion_correction.model_parameters_tab), 32, 32, kOwnGrids},
    {"lens_distortion_correction", "focal_length_x", kF32, IN_SENSOR(tuning.lens_distortion_correction.focal_length_x), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "focal_length_y", kF32, IN_SENSOR(tuning.lens_distortion_correction.focal_length_y), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "optical_center_x", kF32, IN_SENSOR(tuning.lens_distortion_correction.optical_center_x), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "optical_center_y", kF32, IN_SENSOR(tuning.lens_distortion_correction.optical_center_y), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "image_size_distorted_x", kU32, IN_SENSOR(tuning.lens_distortion_correction.image_size_distorted_x), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "image_size_distorted_y", kU32, IN_SENSOR(tuning.lens_distortion_correction.image_size_distorted_y), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "image_size_undistorted_x", kU32, IN_SENSOR(tuning.lens_distortion_correction.image_size_undistorted_x), 1, 1, kOwnGrids},
    {"lens_distortion_correction", "image_size_undistorted_y", kU32, IN_SENSOR(tuning.lens_distortion_correction.image_size_undistorted_y), 1, 1, kOwnGrids},
};
// clang-format on

#undef IN_COMMON
#undef IN_SENSOR

}  // namespace init_keys

/// All keys but those of a sensor's own distortion grids (`ldc_in2out_*`, `ldc_out2in_*`).
inline constexpr auto& kInitKeys = init_keys::kAll;

}  // namespace steadywarp
