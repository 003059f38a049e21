// SPDX-License-Identifier: Apache-2.0
// Tuning modules of the stabilizer, of every version, to the one record that it takes.
#include <cmath>
#include <cstddef>
#include <cstring>

#include "platform/eis_log.hpp"
#include "steadywarp/eis.h"
#include "steadywarp/eis_tuning.h"
#include "steadywarp/tuning/modules/eis_1_1_0.h"
#include "steadywarp/tuning/modules/eis_1_2_0.h"
#include "steadywarp/tuning/modules/eis_1_3_0.h"

namespace {

using Record = is_tessaline_info_s;
using Values11 = eis_1_1_0::tessaline_eis11Type;
using Values12 = eis_1_2_0::tessaline_eis12Type;
using Values13 = eis_1_3_0::tessaline_eis13Type;

// Callers pass these sizes; a layout that moves must not pass unseen.
static_assert(sizeof(Values11) == 480 && offsetof(Values11, tessaline_eis11_reserve) == 40);
static_assert(sizeof(Values12) == 55532 && offsetof(Values12, tessaline_eis12_reserve) == 20);
static_assert(sizeof(Values13) == 56128 && offsetof(Values13, tessaline_eis13_reserve) == 40);
static_assert(sizeof(Values13::tessaline_eis13_reserve) == sizeof(Record));

using Reserve13 = eis_1_3_0::tessaline_eis13_reserveType;
static_assert(offsetof(Reserve13, general) == offsetof(Record, general));
static_assert(offsetof(Reserve13, timing) == offsetof(Record, timing));
static_assert(offsetof(Reserve13, blur_masking) == offsetof(Record, blur_masking));
static_assert(offsetof(Reserve13, lens_distortion_correction) ==
              offsetof(Record, lens_distortion_correction));
static_assert(offsetof(Reserve13, ois) == offsetof(Record, ois));
static_assert(offsetof(Reserve13, dis) == offsetof(Record, dis));
static_assert(offsetof(Reserve13, z_lens_pos) == offsetof(Record, z_lens_pos));

// Grids of version 1.2.0 are in units of 1/16, of which 8192 span the picture.
constexpr double kGridUnit = 0.0625;
constexpr float kGridSpan = 0.00012207031f;
static_assert(kGridSpan * 8192.0f == 1.0f);

// The first steps of every conversion: is there anything to convert, and of the right size?
template <typename Values>
bool Begin(void const* moduleData, unsigned long size, Record* out, char const* function) {
    if (moduleData == nullptr || out == nullptr) {
        steadywarp::eis_log("[ERR] ", "IS0003", function, __LINE__, "NULL Input");
        return false;
    }
    if (size != sizeof(Values)) {
        steadywarp::eis_log("[ERR] ", "IS0003", function, __LINE__,
                            "Invalid input struct size (expected, received): (%zu, %zu)",
                            sizeof(Values), static_cast<size_t>(size));
        return false;
    }
    std::memset(out, 0, sizeof *out);
    return true;
}

// Cut toward zero; 0 for what is no number in range.
int32_t AsI32(float value) {
    return value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int32_t>(value) : 0;
}

template <typename To, typename From>
void CopyTable(To& to, From const& from) {
    static_assert(sizeof to == sizeof from);
    std::memcpy(&to, &from, sizeof to);
}

template <typename General>
void CopyReservedSettings(is_tessaline_general& out, General const& in) {
    out.res_param_1 = in.res_param_1;
    out.res_param_2 = in.res_param_2;
    out.res_param_3 = in.res_param_3;
    out.res_param_4 = in.res_param_4;
    out.res_param_5 = in.res_param_5;
    out.res_param_6 = in.res_param_6;
    out.res_param_7 = in.res_param_7;
    out.res_param_8 = in.res_param_8;
    out.res_param_9 = in.res_param_9;
    out.res_param_10 = in.res_param_10;
    CopyTable(out.res_lut_param_1_tab, in.res_lut_param_1_tab);
    CopyTable(out.res_lut_param_2_tab, in.res_lut_param_2_tab);
    CopyTable(out.res_lut_param_3_tab, in.res_lut_param_3_tab);
}

void ConvertTop(is_tessaline_top& out, eis_1_2_0::tessaline_eis12_reserveType const& reserve) {
    auto const& in = reserve.top;
    out.requested_total_margins_y_fhd_30 = in.requested_total_margins_y_fhd_30;
    out.requested_total_margins_y_fhd_60 = in.requested_total_margins_y_fhd_60;
    out.requested_total_margins_y_fhd_120 = in.requested_total_margins_y_fhd_120;
    out.requested_total_margins_y_4k_30 = in.requested_total_margins_y_4k_30;
    out.requested_total_margins_y_4k_60 = in.requested_total_margins_y_4k_60;
    out.requested_total_margins_y_4k_120 = in.requested_total_margins_y_4k_120;
    out.requested_total_margins_y_8k_30 = in.requested_total_margins_y_8k_30;
    out.requested_total_margins_y_8k_60 = in.requested_total_margins_y_8k_60;
    out.requested_total_margins_y_8k_120 = in.requested_total_margins_y_8k_120;
    out.future_buffer_size_fhd_30 = in.future_buffer_size_fhd_30;
    out.future_buffer_size_fhd_60 = in.future_buffer_size_fhd_60;
    out.future_buffer_size_fhd_120 = in.future_buffer_size_fhd_120;
    out.future_buffer_size_4k_30 = in.future_buffer_size_4k_30;
    out.future_buffer_size_4k_60 = in.future_buffer_size_4k_60;
    out.future_buffer_size_4k_120 = in.future_buffer_size_4k_120;
    out.future_buffer_size_8k_30 = in.future_buffer_size_8k_30;
    out.future_buffer_size_8k_60 = in.future_buffer_size_8k_60;
    out.future_buffer_size_8k_120 = in.future_buffer_size_8k_120;
    out.gyro_frequency = in.gyro_frequency;
    out.ois_frequency = in.ois_frequency;
    out.acc_frequency = in.acc_frequency;
    out.mag_frequency = in.mag_frequency;
    out.ifovc_frequency = reserve.general.res_lut_param_3_tab.res_lut_param_3[0];
    float const* axes = in.res_lut_param_0_tab.res_lut_param_0;
    out.lens_pos_orientation_axis_x = AsI32(axes[0]);
    out.lens_pos_orientation_axis_y = AsI32(axes[1]);
    out.lens_pos_orientation_axis_z = AsI32(axes[2]);
    CopyTable(out.res_lut_param_0_tab, in.res_lut_param_0_tab);
}

void ConvertGeneral(is_tessaline_general& out,
                    eis_1_2_0::tessaline_eis12_reserveType const& reserve) {
    auto const& in = reserve.general;
    out.minimal_total_margin = reserve.top.minimal_total_margin;
    out.focal_length = in.focal_length;
    out.gyro_noise_floor = in.gyro_noise_floor;
    out.ois_noise_floor = in.res_lut_param_1_tab.res_lut_param_1[7];
    out.output_grid_precision = in.output_grid_precision;
    CopyReservedSettings(out, in);
}

template <typename Timing>
void ConvertTiming(is_tessaline_timing& out, Timing const& in, float ifovcOffset) {
    out.s3d_offset = in.s3d_offset;
    out.ois_offset = in.ois_offset;
    out.acc_offset = in.acc_offset;
    out.mag_offset = in.mag_offset;
    out.ifovc_offset = AsI32(ifovcOffset);
}

template <typename BlurMasking>
void ConvertBlurMasking(is_tessaline_blur_masking& out, BlurMasking const& in) {
    out.enable = in.enable != 0 ? 1 : 0;
    out.min_strength = in.min_strength;
    out.exposure_time_th = in.exposure_time_th;
    out.start_decrease_at_blur = in.start_decrease_at_blur;
    out.end_decrease_at_blur = in.end_decrease_at_blur;
}

// `settings` is the reserved table that carries what version 1.2.0 had no fields for.
void ConvertOis(is_tessaline_ois& out, float const* settings, uint32_t focalLength) {
    out.center_command_enable = eis_tuning_as_u32(settings[4]);
    out.center_exposure_time_th = eis_tuning_as_u32(settings[5]);
    out.center_response_time_ms = eis_tuning_as_u32(settings[6]);
    const auto focal = static_cast<float>(focalLength);
    out.data_conversion_x_tab[1] = focal * settings[2] * settings[1] / 1000.0f / settings[0];
    out.data_conversion_y_tab[1] = focal * settings[3] * settings[1] / 1000.0f / settings[0];
}

void ConvertGrid(float* out, int32_t const* in, uint32_t geometry, uint32_t size) {
    const uint32_t points =
        geometry == 0 ? EIS_TUNING_GRID_POINTS_LOW_RES : EIS_TUNING_GRID_POINTS_HI_RES;
    const auto scale = static_cast<float>(size);
    for (uint32_t i = 0; i < points; ++i) {
        out[i] = static_cast<float>(static_cast<double>(in[i]) * kGridUnit) * scale * kGridSpan;
    }
}

template <typename Distortion>
void ConvertDistortion(is_tessaline_lens_distortion_correction& out, Distortion const& in) {
    out.ldc_grid_source = in.ldc_grid_source;
    out.ldc_grid_enable = in.ldc_grid_enable;
    if (in.ldc_grid_source != 0 || in.ldc_grid_enable == 0) {
        return;
    }
    out.ldc_calib_domain = in.ldc_calib_domain;
    out.undistorted_to_distorted_input_ldc_grid_geometry =
        in.undistorted_to_distorted_input_ldc_grid_geometry;
    out.distorted_input_to_undistorted_ldc_grid_geometry =
        in.distorted_input_to_undistorted_ldc_grid_geometry;
    ConvertGrid(
        out.distorted_input_to_undistorted_ldc_grid_x_tab,
        in.distorted_input_to_undistorted_ldc_grid_x_tab.distorted_input_to_undistorted_ldc_grid_x,
        in.distorted_input_to_undistorted_ldc_grid_geometry, in.image_size_undistorted_x);
    ConvertGrid(
        out.distorted_input_to_undistorted_ldc_grid_y_tab,
        in.distorted_input_to_undistorted_ldc_grid_y_tab.distorted_input_to_undistorted_ldc_grid_y,
        in.distorted_input_to_undistorted_ldc_grid_geometry, in.image_size_undistorted_y);
    // Both by the height: files of this version are made for that.
    ConvertGrid(
        out.undistorted_to_distorted_input_ldc_grid_x_tab,
        in.undistorted_to_distorted_input_ldc_grid_x_tab.undistorted_to_distorted_input_ldc_grid_x,
        in.undistorted_to_distorted_input_ldc_grid_geometry, in.image_size_distorted_y);
    ConvertGrid(
        out.undistorted_to_distorted_input_ldc_grid_y_tab,
        in.undistorted_to_distorted_input_ldc_grid_y_tab.undistorted_to_distorted_input_ldc_grid_y,
        in.undistorted_to_distorted_input_ldc_grid_geometry, in.image_size_distorted_y);
    out.ldc_model_type = in.ldc_model_type;
    CopyTable(out.model_parameters_tab, in.model_parameters_tab);
    out.image_size_distorted_x = in.image_size_distorted_x;
    out.image_size_distorted_y = in.image_size_distorted_y;
    out.image_size_undistorted_x = in.image_size_undistorted_x;
    out.image_size_undistorted_y = in.image_size_undistorted_y;
    out.focal_length_x = in.focal_length_x;
    out.focal_length_y = in.focal_length_y;
    out.optical_center_x = in.optical_center_x;
    out.optical_center_y = in.optical_center_y;
}

uint32_t eis_zelm_utility_v1_1_0_to_is_tessaline_info_internal(void const* moduleData,
                                                               unsigned long size, Record* out) {
    if (!Begin<Values11>(moduleData, size, out, __func__)) {
        return EIS_ERROR_INVALID_INPUT;
    }
    auto const& in = static_cast<Values11 const*>(moduleData)->tessaline_eis11_reserve;
    const float margin = in.general.minimal_total_margin_y;
    out->general.minimal_total_margin = in.general.minimal_total_margin_x;
    out->top.requested_total_margins_y_fhd_30 = margin;
    out->top.requested_total_margins_y_fhd_60 = margin;
    out->top.requested_total_margins_y_fhd_120 = margin;
    out->top.requested_total_margins_y_4k_30 = margin;
    out->top.requested_total_margins_y_4k_60 = margin;
    out->top.requested_total_margins_y_4k_120 = margin;
    out->top.requested_total_margins_y_8k_30 = margin;
    out->top.requested_total_margins_y_8k_60 = margin;
    out->top.requested_total_margins_y_8k_120 = margin;
    out->top.gyro_frequency = in.general.gyro_frequency;
    out->general.focal_length = in.general.focal_length;
    out->general.gyro_noise_floor = in.general.gyro_noise_floor;
    CopyReservedSettings(out->general, in.general);
    out->timing.s3d_offset = in.timing.s3d_offset_1;
    ConvertBlurMasking(out->blur_masking, in.blur_masking);
    out->blur_masking.pan_min_threshold = in.blur_masking.blur_masking_res1;
    out->blur_masking.pan_max_threshold = in.blur_masking.blur_masking_res2;
    out->lens_distortion_correction.ldc_grid_source = 1;
    return EIS_SUCCESS;
}

uint32_t eis_zelm_utility_v1_2_0_to_is_tessaline_info_internal(void const* moduleData,
                                                               unsigned long size, Record* out) {
    if (!Begin<Values12>(moduleData, size, out, __func__)) {
        return EIS_ERROR_INVALID_INPUT;
    }
    auto const& in = static_cast<Values12 const*>(moduleData)->tessaline_eis12_reserve;
    float const* settings = in.general.res_lut_param_1_tab.res_lut_param_1;
    ConvertTop(out->top, in);
    ConvertGeneral(out->general, in);
    ConvertTiming(out->timing, in.timing, settings[9]);
    ConvertBlurMasking(out->blur_masking, in.blur_masking);
    out->blur_masking.pan_min_threshold = in.blur_masking.pan_min_threshold;
    out->blur_masking.pan_max_threshold = in.blur_masking.pan_max_threshold;
    out->blur_masking.blur_masking_res1 = in.blur_masking.blur_masking_res1;
    out->blur_masking.blur_masking_res2 = in.blur_masking.blur_masking_res2;
    ConvertOis(out->ois, settings, in.general.focal_length);
    ConvertDistortion(out->lens_distortion_correction, in.lens_distortion_correction);
    return EIS_SUCCESS;
}

uint32_t eis_zelm_utility_v1_3_0_to_is_tessaline_info_internal(void const* moduleData,
                                                               unsigned long size, Record* out) {
    if (!Begin<Values13>(moduleData, size, out, __func__)) {
        return EIS_ERROR_INVALID_INPUT;
    }
    CopyTable(*out, static_cast<Values13 const*>(moduleData)->tessaline_eis13_reserve);
    return EIS_SUCCESS;
}

}  // namespace

uint32_t eis_zelm_utility_v1_1_0_to_is_tessaline_info(void* moduleData, unsigned long size,
                                                      is_tessaline_info_s* out) {
    return eis_zelm_utility_v1_1_0_to_is_tessaline_info_internal(moduleData, size, out);
}

uint32_t eis_zelm_utility_v1_2_0_to_is_tessaline_info(void* moduleData, unsigned long size,
                                                      is_tessaline_info_s* out) {
    return eis_zelm_utility_v1_2_0_to_is_tessaline_info_internal(moduleData, size, out);
}

uint32_t eis_zelm_utility_v1_3_0_to_is_tessaline_info(void* moduleData, unsigned long size,
                                                      is_tessaline_info_s* out) {
    return eis_zelm_utility_v1_3_0_to_is_tessaline_info_internal(moduleData, size, out);
}
