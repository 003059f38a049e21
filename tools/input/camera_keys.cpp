// SPDX-License-Identifier: Apache-2.0
#include "input/camera_keys.hpp"

#include <cstring>
#include <limits>
#include <string>

#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

#define COMMON(field) offsetof(is_init_common_data, field)
#define SENSOR(field) offsetof(is_init_sensor_data, field)

// clang-format off
constexpr CameraKey kKeys[] = {
    // group, key, kind, offset or slot, least and most words where not one
    {"common", "is_type", KeyKind::kU32, COMMON(is_type)},
    {"common", "operation_mode", KeyKind::kU32, COMMON(operation_mode)},
    {"common", "deployment_type", KeyKind::kU32, COMMON(deployment_type)},
    {"common", "output_width", KeyKind::kU32, COMMON(output_width)},
    {"common", "output_height", KeyKind::kU32, COMMON(output_height)},
    {"common", "frame_fps", KeyKind::kU16, COMMON(frame_fps)},
    {"common", "do_virtual_upscale_in_transform", KeyKind::kBool, COMMON(do_virtual_upscale_in_transform)},
    {"common", "force_split_grid_matrix", KeyKind::kBool, COMMON(force_split_grid_matrix)},
    {"common", "unify_undistortion_grid", KeyKind::kBool, COMMON(unify_undistortion_grid)},
    {"common", "is_sat_enabled", KeyKind::kBool, COMMON(is_sat_enabled)},
    {"common", "is_mag_enabled", KeyKind::kBool, COMMON(is_mag_enabled)},
    {"common", "is_acc_enabled", KeyKind::kBool, COMMON(is_acc_enabled)},
    {"common", "is_ois_enabled", KeyKind::kBool, COMMON(is_ois_enabled)},
    {"common", "is_ifovc_enabled", KeyKind::kBool, COMMON(is_ifovc_enabled)},
    {"common", "is_dis_enabled", KeyKind::kBool, COMMON(is_dis_enabled)},
    {"common", "is_linear_acc_enabled", KeyKind::kBool, COMMON(is_linear_acc_enabled)},
    {"common", "is_abs_orientation_enabled", KeyKind::kBool, COMMON(is_abs_orientation_enabled)},
    {"common", "is_rel_orientation_enabled", KeyKind::kBool, COMMON(is_rel_orientation_enabled)},
    {"common", "buffer_delay", KeyKind::kU16, COMMON(buffer_delay)},
    {"sensor", "image_sensor_crop_fullWidth", KeyKind::kF32, SENSOR(image_sensor_crop.fullWidth)},
    {"sensor", "image_sensor_crop_fullHeight", KeyKind::kF32, SENSOR(image_sensor_crop.fullHeight)},
    {"sensor", "image_sensor_crop_windowWidth", KeyKind::kF32, SENSOR(image_sensor_crop.windowWidth)},
    {"sensor", "image_sensor_crop_windowHeight", KeyKind::kF32, SENSOR(image_sensor_crop.windowHeight)},
    {"sensor", "image_sensor_crop_windowLeft", KeyKind::kF32, SENSOR(image_sensor_crop.windowLeft)},
    {"sensor", "image_sensor_crop_windowTop", KeyKind::kF32, SENSOR(image_sensor_crop.windowTop)},
    {"sensor", "ife_input_frame_width", KeyKind::kU32, SENSOR(ife_input_frame_width)},
    {"sensor", "ife_input_frame_height", KeyKind::kU32, SENSOR(ife_input_frame_height)},
    {"sensor", "ife_input_frame_undistorted_width", KeyKind::kU32, SENSOR(ife_input_frame_undistorted_width)},
    {"sensor", "ife_input_frame_undistorted_height", KeyKind::kU32, SENSOR(ife_input_frame_undistorted_height)},
    {"sensor", "input_width", KeyKind::kU32, SENSOR(input_width)},
    {"sensor", "input_height", KeyKind::kU32, SENSOR(input_height)},
    {"sensor", "sensor_mount_angle", KeyKind::kU32, SENSOR(sensor_mount_angle)},
    {"sensor", "camera_position", KeyKind::kU32, SENSOR(camera_position)},
    {"sensor", "optical_center_x", KeyKind::kF32, SENSOR(optical_center_x)},
    {"sensor", "optical_center_y", KeyKind::kF32, SENSOR(optical_center_y)},
    {"sensor", "sensor_width_millimeter", KeyKind::kF32, SENSOR(sensor_width_millimeter)},
    {"sensor", "sensor_height_millimeter", KeyKind::kF32, SENSOR(sensor_height_millimeter)},
    {"sensor", "ldc_calib_domain", KeyKind::kU32, SENSOR(ldc_calib_domain)},
    {"top", "requested_total_margins_x_fhd_30", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_fhd_30)},
    {"top", "requested_total_margins_y_fhd_30", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_fhd_30)},
    {"top", "requested_total_margins_x_fhd_60", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_fhd_60)},
    {"top", "requested_total_margins_y_fhd_60", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_fhd_60)},
    {"top", "requested_total_margins_x_fhd_120", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_fhd_120)},
    {"top", "requested_total_margins_y_fhd_120", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_fhd_120)},
    {"top", "requested_total_margins_x_4k_30", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_4k_30)},
    {"top", "requested_total_margins_y_4k_30", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_4k_30)},
    {"top", "requested_total_margins_x_4k_60", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_4k_60)},
    {"top", "requested_total_margins_y_4k_60", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_4k_60)},
    {"top", "requested_total_margins_x_4k_120", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_4k_120)},
    {"top", "requested_total_margins_y_4k_120", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_4k_120)},
    {"top", "requested_total_margins_x_8k_30", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_8k_30)},
    {"top", "requested_total_margins_y_8k_30", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_8k_30)},
    {"top", "requested_total_margins_x_8k_60", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_8k_60)},
    {"top", "requested_total_margins_y_8k_60", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_8k_60)},
    {"top", "requested_total_margins_x_8k_120", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_x_8k_120)},
    {"top", "requested_total_margins_y_8k_120", KeyKind::kF32, SENSOR(tuning.top.requested_total_margins_y_8k_120)},
    {"top", "future_buffer_size_fhd_30", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_fhd_30)},
    {"top", "future_buffer_size_fhd_60", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_fhd_60)},
    {"top", "future_buffer_size_fhd_120", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_fhd_120)},
    {"top", "future_buffer_size_4k_30", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_4k_30)},
    {"top", "future_buffer_size_4k_60", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_4k_60)},
    {"top", "future_buffer_size_4k_120", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_4k_120)},
    {"top", "future_buffer_size_8k_30", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_8k_30)},
    {"top", "future_buffer_size_8k_60", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_8k_60)},
    {"top", "future_buffer_size_8k_120", KeyKind::kU32, SENSOR(tuning.top.future_buffer_size_8k_120)},
    {"top", "gyro_frequency", KeyKind::kU32, SENSOR(tuning.top.gyro_frequency)},
    {"top", "ois_frequency", KeyKind::kU32, SENSOR(tuning.top.ois_frequency)},
    {"top", "acc_frequency", KeyKind::kU32, SENSOR(tuning.top.acc_frequency)},
    {"top", "mag_frequency", KeyKind::kU32, SENSOR(tuning.top.mag_frequency)},
    {"top", "ifovc_frequency", KeyKind::kU32, SENSOR(tuning.top.ifovc_frequency)},
    {"top", "ois_delay_to_display_ms", KeyKind::kU32, SENSOR(tuning.top.ois_delay_to_display_ms)},
    {"top", "lens_pos_orientation_axis_x", KeyKind::kI32, SENSOR(tuning.top.lens_pos_orientation_axis_x)},
    {"top", "lens_pos_orientation_axis_y", KeyKind::kI32, SENSOR(tuning.top.lens_pos_orientation_axis_y)},
    {"top", "lens_pos_orientation_axis_z", KeyKind::kI32, SENSOR(tuning.top.lens_pos_orientation_axis_z)},
    {"general", "minimal_total_margin", KeyKind::kF32, SENSOR(tuning.general.minimal_total_margin)},
    {"general", "focal_length", KeyKind::kU32, SENSOR(tuning.general.focal_length)},
    {"general", "gyro_noise_floor", KeyKind::kF32, SENSOR(tuning.general.gyro_noise_floor)},
    {"general", "ois_noise_floor", KeyKind::kF32, SENSOR(tuning.general.ois_noise_floor)},
    {"general", "acc_noise_floor", KeyKind::kF32, SENSOR(tuning.general.acc_noise_floor)},
    {"general", "mag_noise_floor", KeyKind::kF32, SENSOR(tuning.general.mag_noise_floor)},
    {"general", "output_grid_precision", KeyKind::kU32, SENSOR(tuning.general.output_grid_precision)},
    {"timing", "s3d_offset", KeyKind::kI32, SENSOR(tuning.timing.s3d_offset)},
    {"timing", "ois_offset", KeyKind::kI32, SENSOR(tuning.timing.ois_offset)},
    {"timing", "acc_offset", KeyKind::kI32, SENSOR(tuning.timing.acc_offset)},
    {"timing", "mag_offset", KeyKind::kI32, SENSOR(tuning.timing.mag_offset)},
    {"timing", "ifovc_offset", KeyKind::kI32, SENSOR(tuning.timing.ifovc_offset)},
    {"blur_masking", "enable", KeyKind::kU32, SENSOR(tuning.blur_masking.enable)},
    {"blur_masking", "min_strength", KeyKind::kF32, SENSOR(tuning.blur_masking.min_strength)},
    {"blur_masking", "exposure_time_th", KeyKind::kF32, SENSOR(tuning.blur_masking.exposure_time_th)},
    {"blur_masking", "start_decrease_at_blur", KeyKind::kF32, SENSOR(tuning.blur_masking.start_decrease_at_blur)},
    {"blur_masking", "end_decrease_at_blur", KeyKind::kF32, SENSOR(tuning.blur_masking.end_decrease_at_blur)},
    {"blur_masking", "pan_min_threshold", KeyKind::kF32, SENSOR(tuning.blur_masking.pan_min_threshold)},
    {"blur_masking", "pan_max_threshold", KeyKind::kF32, SENSOR(tuning.blur_masking.pan_max_threshold)},
    {"blur_masking", "blur_masking_res1", KeyKind::kF32, SENSOR(tuning.blur_masking.blur_masking_res1)},
    {"blur_masking", "blur_masking_res2", KeyKind::kF32, SENSOR(tuning.blur_masking.blur_masking_res2)},
    {"ois", "module_type", KeyKind::kU32, SENSOR(tuning.ois.module_type)},
    {"ois", "data_conversion_x", KeyKind::kF32, SENSOR(tuning.ois.data_conversion_x_tab), 10, 10},
    {"ois", "data_conversion_y", KeyKind::kF32, SENSOR(tuning.ois.data_conversion_y_tab), 10, 10},
    {"ois", "general_model_parameters", KeyKind::kGeneralModel, 0, 96, 96},
    {"ois", "general_model_transform_defined_on_x", KeyKind::kOis, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X},
    {"ois", "general_model_transform_defined_on_y", KeyKind::kOis, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y},
    {"ois", "raw_offset", KeyKind::kOis, EIS_TUNING_OIS_RAW_OFFSET},
    {"ois", "filter_mode", KeyKind::kOis, EIS_TUNING_OIS_FILTER_MODE},
    {"ois", "ois_center_command_enable", KeyKind::kU32, SENSOR(tuning.ois.center_command_enable)},
    {"ois", "ois_center_exposure_time_th", KeyKind::kU32, SENSOR(tuning.ois.center_exposure_time_th)},
    {"ois", "ois_center_response_time_ms", KeyKind::kU32, SENSOR(tuning.ois.center_response_time_ms)},
    {"dis", "enable", KeyKind::kU32, SENSOR(tuning.dis.enable)},
    {"dis", "robustness_threshold", KeyKind::kI32, SENSOR(tuning.dis.robustness_threshold)},
    {"dis", "confidence_threshold", KeyKind::kU32, SENSOR(tuning.dis.confidence_threshold)},
    {"dis", "parameter_mode", KeyKind::kDis, EIS_TUNING_DIS_PARAMETER_MODE},
    {"dis", "exposure_time_threshold", KeyKind::kDis, EIS_TUNING_DIS_EXPOSURE_TIME_THRESHOLD},
    {"dis", "focus_distance_threshold", KeyKind::kDis, EIS_TUNING_DIS_FOCUS_DISTANCE_THRESHOLD},
    {"selfie", "face_distortion_prevention_parameter_mode", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_PARAMETER_MODE},
    {"selfie", "face_distortion_prevention_enable", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_ENABLE},
    {"selfie", "face_distortion_prevention_angle_delta_th_low", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_LOW},
    {"selfie", "face_distortion_prevention_angle_delta_th_high", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_HIGH},
    {"selfie", "face_distortion_prevention_factor_high", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_FACTOR_HIGH},
    {"selfie", "face_distortion_prevention_kernel_decrease", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_DECREASE},
    {"selfie", "face_distortion_prevention_kernel_increase", KeyKind::kBehaviour, EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_INCREASE},
    {"motion_detection", "motion_detection_parameter_mode", KeyKind::kBehaviour, EIS_TUNING_MOTION_DETECTION_PARAMETER_MODE},
    {"motion_detection", "motion_detection_handheld_th", KeyKind::kBehaviour, EIS_TUNING_MOTION_DETECTION_HANDHELD_TH},
    {"motion_detection", "motion_detection_panning_th", KeyKind::kBehaviour, EIS_TUNING_MOTION_DETECTION_PANNING_TH},
    {"motion_detection", "motion_detection_strong_panning_th", KeyKind::kBehaviour, EIS_TUNING_MOTION_DETECTION_STRONG_PANNING_TH},
    {"z_lens_position", "enable", KeyKind::kU32, SENSOR(tuning.z_lens_pos.enable)},
    {"z_lens_position", "scale_source", KeyKind::kU32, SENSOR(tuning.z_lens_pos.scale_source)},
    {"z_lens_position", "min_scale_limit", KeyKind::kF32, SENSOR(tuning.z_lens_pos.min_scale_limit)},
    {"z_lens_position", "z_lens_pos_noise_floor", KeyKind::kF32, SENSOR(tuning.z_lens_pos.z_lens_pos_noise_floor)},
    {"z_lens_position", "z_lens_pos_source", KeyKind::kU32, SENSOR(tuning.z_lens_pos.z_lens_pos_source)},
    {"z_lens_position", "lut_len", KeyKind::kU32, SENSOR(tuning.z_lens_pos.lut_len)},
    {"z_lens_position", "lut_z_lens_pos", KeyKind::kF32, SENSOR(tuning.z_lens_pos.lut_z_lens_pos_tab), 1, 16},
    {"z_lens_position", "lut_scale_vs_z_lens_pos", KeyKind::kF32, SENSOR(tuning.z_lens_pos.lut_scale_vs_z_lens_pos_tab), 1, 16},
    {"lens_distortion_correction", "ldc_grid_source", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.ldc_grid_source)},
    {"lens_distortion_correction", "ldc_grid_enable", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.ldc_grid_enable)},
    {"lens_distortion_correction", "ldc_calib_domain", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.ldc_calib_domain)},
    {"lens_distortion_correction", "distorted_input_to_undistorted_ldc_grid_geometry", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_geometry)},
    {"lens_distortion_correction", "distorted_input_to_undistorted_ldc_grid_x", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_x_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES},
    {"lens_distortion_correction", "distorted_input_to_undistorted_ldc_grid_y", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_y_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES},
    {"lens_distortion_correction", "undistorted_to_distorted_input_ldc_grid_geometry", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.undistorted_to_distorted_input_ldc_grid_geometry)},
    {"lens_distortion_correction", "undistorted_to_distorted_input_ldc_grid_x", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.undistorted_to_distorted_input_ldc_grid_x_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES},
    {"lens_distortion_correction", "undistorted_to_distorted_input_ldc_grid_y", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.undistorted_to_distorted_input_ldc_grid_y_tab), EIS_TUNING_GRID_POINTS_LOW_RES, EIS_TUNING_GRID_POINTS_HI_RES},
    {"lens_distortion_correction", "ldc_model_type", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.ldc_model_type)},
    {"lens_distortion_correction", "model_parameters", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.model_parameters_tab), 32, 32},
    {"lens_distortion_correction", "focal_length_x", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.focal_length_x)},
    {"lens_distortion_correction", "focal_length_y", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.focal_length_y)},
    {"lens_distortion_correction", "optical_center_x", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.optical_center_x)},
    {"lens_distortion_correction", "optical_center_y", KeyKind::kF32, SENSOR(tuning.lens_distortion_correction.optical_center_y)},
    {"lens_distortion_correction", "image_size_distorted_x", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.image_size_distorted_x)},
    {"lens_distortion_correction", "image_size_distorted_y", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.image_size_distorted_y)},
    {"lens_distortion_correction", "image_size_undistorted_x", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.image_size_undistorted_x)},
    {"lens_distortion_correction", "image_size_undistorted_y", KeyKind::kU32, SENSOR(tuning.lens_distortion_correction.image_size_undistorted_y)},
};
// clang-format on

#undef COMMON
#undef SENSOR

/// Put a value at its place in a record; the place has the type T by the table above.
template <class T>
void put(void* record, size_t offset, T value) {
    std::memcpy(static_cast<unsigned char*>(record) + offset, &value, sizeof value);
}

bool fits(double value, double least, double most) {
    return value >= least && value <= most &&
           value == static_cast<double>(static_cast<int64_t>(value));
}

bool store_integer(const CameraKey& key, double value, void* record) {
    switch (key.kind) {
        case KeyKind::kBool:
            put(record, key.offset, value != 0.0);
            return fits(value, 0, 1);
        case KeyKind::kU16:
            if (fits(value, 0, UINT16_MAX)) {
                put(record, key.offset, static_cast<uint16_t>(value));
                return true;
            }
            return false;
        case KeyKind::kU32:
            if (fits(value, 0, UINT32_MAX)) {
                put(record, key.offset, static_cast<uint32_t>(value));
                return true;
            }
            return false;
        default:
            if (fits(value, INT32_MIN, INT32_MAX)) {
                put(record, key.offset, static_cast<int32_t>(value));
                return true;
            }
            return false;
    }
}

void store_float(const CameraKey& key, size_t index, float value, void* record,
                 is_tessaline_info_s& tuning) {
    const auto slot = static_cast<uint32_t>(key.offset);
    switch (key.kind) {
        case KeyKind::kGeneralModel:
            eis_tuning_set_general_model_parameter(&tuning, static_cast<uint32_t>(index), value);
            break;
        case KeyKind::kOis:
            eis_tuning_set_ois(&tuning, slot, value);
            break;
        case KeyKind::kBehaviour:
            eis_tuning_set_behaviour(&tuning, slot, value);
            break;
        case KeyKind::kDis:
            eis_tuning_set_dis(&tuning, slot, value);
            break;
        default:
            put(record, key.offset + index * sizeof(float), value);
            break;
    }
}

bool is_integer_kind(KeyKind kind) {
    return kind <= KeyKind::kI32;
}

bool is_grid(const CameraKey& key) {
    return key.most == EIS_TUNING_GRID_POINTS_HI_RES;
}

bool count_fits(const CameraKey& key, size_t count) {
    return is_grid(key) ? count == key.least || count == key.most
                        : count >= key.least && count <= key.most;
}

}  // namespace

std::span<const CameraKey> camera_keys() {
    return kKeys;
}

const CameraKey* find_camera_key(std::string_view group, std::string_view name) {
    for (const CameraKey& key : kKeys) {
        if (key.group == group && key.name == name) {
            return &key;
        }
    }
    return nullptr;
}

bool store_words(const CameraKey& key, std::span<const std::string_view> words,
                 is_init_common_data& common, is_init_sensor_data& sensor) {
    if (!count_fits(key, words.size())) {
        return false;
    }
    void* const record = key.group == "common" ? static_cast<void*>(&common) : &sensor;
    for (size_t i = 0; i < words.size(); ++i) {
        const auto value = parse_number(words[i]);
        if (!value || std::abs(*value) > static_cast<double>(std::numeric_limits<float>::max())) {
            return false;
        }
        if (is_integer_kind(key.kind)) {
            return store_integer(key, *value, record);
        }
        store_float(key, i, static_cast<float>(*value), record, sensor.tuning);
    }
    return true;
}

std::string words_wanted(const CameraKey& key) {
    switch (key.kind) {
        case KeyKind::kBool:
            return "0 or 1";
        case KeyKind::kU16:
            return "an integer from 0 to 65535";
        case KeyKind::kU32:
            return "an integer from 0 to 4294967295";
        case KeyKind::kI32:
            return "an integer from -2147483648 to 2147483647";
        default:
            break;
    }
    if (key.most == 1) {
        return "a number";
    }
    if (key.least == key.most) {
        return std::to_string(key.most) + " numbers";
    }
    return std::to_string(key.least) + (is_grid(key) ? " or " : " to ") + std::to_string(key.most) +
           " numbers";
}

}  // namespace steadywarp::tool
