// SPDX-License-Identifier: Apache-2.0
// init_data.ini: the keys that it must have, and every value of a configuration back from it.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>

#include "input/camera.hpp"
#include "steadywarp/eis_capture.h"
#include "support/records.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::test {
namespace {

/// Typed from the format's description: sections and keys in their order.
constexpr const char* kExpectedKeys = R"([common] is_type operation_mode deployment_type
output_width output_height frame_fps do_virtual_upscale_in_transform force_split_grid_matrix
unify_undistortion_grid is_sat_enabled is_mag_enabled is_acc_enabled is_ois_enabled
is_ifovc_enabled is_dis_enabled is_linear_acc_enabled is_abs_orientation_enabled
is_rel_orientation_enabled buffer_delay
[sensor_data] num_sensors
[sensor_data\idx0] image_sensor_crop_fullWidth image_sensor_crop_fullHeight
image_sensor_crop_windowWidth image_sensor_crop_windowHeight image_sensor_crop_windowLeft
image_sensor_crop_windowTop ife_input_frame_width ife_input_frame_height
ife_input_frame_undistorted_width ife_input_frame_undistorted_height input_width input_height
sensor_mount_angle camera_position optical_center_x optical_center_y sensor_width_millimeter
sensor_height_millimeter ldc_calib_domain ldc_in2out_width ldc_in2out_height ldc_in2out_num_rows
ldc_in2out_num_cols ldc_in2out_extrapolate_type ldc_in2out_grid_x ldc_in2out_grid_y
ldc_out2in_width ldc_out2in_height ldc_out2in_num_rows ldc_out2in_num_cols
ldc_out2in_extrapolate_type ldc_out2in_grid_x ldc_out2in_grid_y
[sensor_data\idx0\top] requested_total_margins_x_fhd_30 requested_total_margins_y_fhd_30
requested_total_margins_x_fhd_60 requested_total_margins_y_fhd_60
requested_total_margins_x_fhd_120 requested_total_margins_y_fhd_120
requested_total_margins_x_4k_30 requested_total_margins_y_4k_30 requested_total_margins_x_4k_60
requested_total_margins_y_4k_60 requested_total_margins_x_4k_120 requested_total_margins_y_4k_120
requested_total_margins_x_8k_30 requested_total_margins_y_8k_30 requested_total_margins_x_8k_60
requested_total_margins_y_8k_60 requested_total_margins_x_8k_120 requested_total_margins_y_8k_120
future_buffer_size_fhd_30 future_buffer_size_fhd_60 future_buffer_size_fhd_120
future_buffer_size_4k_30 future_buffer_size_4k_60 future_buffer_size_4k_120
future_buffer_size_8k_30 future_buffer_size_8k_60 future_buffer_size_8k_120 gyro_frequency
ois_frequency acc_frequency mag_frequency ifovc_frequency ois_delay_to_display_ms
lens_pos_orientation_axis_x lens_pos_orientation_axis_y lens_pos_orientation_axis_z
[sensor_data\idx0\general] minimal_total_margin focal_length gyro_noise_floor ois_noise_floor
acc_noise_floor mag_noise_floor output_grid_precision
[sensor_data\idx0\timing] s3d_offset ois_offset acc_offset mag_offset ifovc_offset
[sensor_data\idx0\blur_masking] enable min_strength exposure_time_th start_decrease_at_blur
end_decrease_at_blur pan_min_threshold pan_max_threshold blur_masking_res1 blur_masking_res2
[sensor_data\idx0\ois] module_type data_conversion_x data_conversion_y general_model_parameters
general_model_transform_defined_on_x general_model_transform_defined_on_y raw_offset filter_mode
ois_center_command_enable ois_center_exposure_time_th ois_center_response_time_ms
[sensor_data\idx0\dis] enable robustness_threshold confidence_threshold parameter_mode
exposure_time_threshold focus_distance_threshold
[sensor_data\idx0\selfie] face_distortion_prevention_parameter_mode
face_distortion_prevention_enable face_distortion_prevention_angle_delta_th_low
face_distortion_prevention_angle_delta_th_high face_distortion_prevention_factor_high
face_distortion_prevention_kernel_decrease face_distortion_prevention_kernel_increase
[sensor_data\idx0\motion_detection] motion_detection_parameter_mode motion_detection_handheld_th
motion_detection_panning_th motion_detection_strong_panning_th
[sensor_data\idx0\z_lens_position] enable scale_source min_scale_limit z_lens_pos_noise_floor
z_lens_pos_source lut_len lut_z_lens_pos lut_scale_vs_z_lens_pos
[sensor_data\idx0\lens_distortion_correction] ldc_grid_source ldc_grid_enable ldc_calib_domain
distorted_input_to_undistorted_ldc_grid_geometry distorted_input_to_undistorted_ldc_grid_x
distorted_input_to_undistorted_ldc_grid_y undistorted_to_distorted_input_ldc_grid_geometry
undistorted_to_distorted_input_ldc_grid_x undistorted_to_distorted_input_ldc_grid_y ldc_model_type
model_parameters focal_length_x focal_length_y optical_center_x optical_center_y
image_size_distorted_x image_size_distorted_y image_size_undistorted_x image_size_undistorted_y
[test] API_version build_id frame_filename gyro_filename)";

/// Settings that belong to some part of the lens, at the end of a section.
const std::set<std::string> kLensPositionKeys = {"lut_len", "lut_z_lens_pos",
                                                 "lut_scale_vs_z_lens_pos"};

std::vector<std::string> words_of(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// Section lines and keys of an INI text up to `last`.
std::vector<std::string> keys_of(const std::string& ini, const std::string& last) {
    std::vector<std::string> keys;
    std::istringstream stream(ini);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.front() != ';') {
            keys.push_back(line.substr(0, line.find(" = ")));
            if (keys.back() == last) {
                break;
            }
        }
    }
    return keys;
}

std::string ini_of(const is_init_common_data& common, const is_init_sensor_data& sensor) {
    const ScratchFolder folder;
    const eis_utils_log_config config = {&common, &sensor, 1, IS_UTILS_FLAG_ALL, "run"};
    eis_utils_log* log = nullptr;
    EXPECT_EQ(eis_utils_log_init(&log, &config), EIS_SUCCESS);
    EXPECT_EQ(eis_utils_log_open(log, nullptr), EIS_SUCCESS);
    eis_utils_log_destroy(&log);
    return read_text(folder.captures() / "run_eis2_init_data.ini");
}

/// Every 32-bit word of a sensor another number, each readable as a float too.
is_init_sensor_data numbered_sensor() {
    is_init_sensor_data sensor{};
    const auto number = [](void* record, size_t size, float first) {
        for (size_t word = 0; word < size / 4; ++word) {
            const float value = first + static_cast<float>(word) * 1.0009765625f / 3.0f;
            std::memcpy(static_cast<char*>(record) + 4 * word, &value, 4);
        }
    };
    constexpr size_t kHead = offsetof(is_init_sensor_data, ldc_calib_domain);
    number(&sensor.ldc_calib_domain, offsetof(is_init_sensor_data, tuning) - kHead, 0.1f);
    number(&sensor.tuning, sizeof sensor.tuning, 100.3f);
    sensor.tuning.lens_distortion_correction.ldc_grid_source = 0;
    return sensor;
}

/// Words of the tuning that the format has no key for.
bool is_reserved(size_t offset) {
    const auto in = [offset](size_t first, size_t words) {
        return offset >= first && offset < first + 4 * words;
    };
    constexpr size_t kOis = offsetof(is_tessaline_info_s, ois);
    constexpr size_t kGeneral = offsetof(is_tessaline_info_s, general);
    return in(kGeneral + offsetof(is_tessaline_general, res_param_1), 10) ||
           in(kGeneral + offsetof(is_tessaline_general, res_lut_param_3_tab), 16) ||
           in(kOis + offsetof(is_tessaline_ois, ois_res_lut_param_1_tab) + 4 * 4, 12) ||
           in(kOis + offsetof(is_tessaline_ois, ois_res_lut_param_2_tab) + 4 * 11, 5) ||
           in(offsetof(is_tessaline_info_s, dis) +
                  offsetof(is_tessaline_dis, dis_res_lut_param_tab) + 4 * 3,
              29);
}

TEST(CaptureSetup, HasTheKeysOfTheFormatInTheirOrder) {
    std::vector<NcLibWarpGridCoord> points(EIS_GRID_POINTS, {1.0f / 3.0f, -2e-7f});
    const NcLibWarpGrid grid = {
        true,   {1920, 1080}, 27, 35, points.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
        nullptr};
    is_init_sensor_data sensor = numbered_sensor();
    sensor.ldc_in2out = &grid;
    sensor.ldc_out2in = &grid;
    EXPECT_EQ(keys_of(ini_of(valid_common(), sensor), "gyro_filename"), words_of(kExpectedKeys));

    // What is off has no keys of its own.
    const std::string ini = ini_of(valid_common(), valid_sensor());
    std::vector<std::string> expected;
    bool is_in_grids = false;
    for (const std::string& word : words_of(kExpectedKeys)) {
        is_in_grids = word == "[test]" ? false : is_in_grids;
        if (!is_in_grids && !kLensPositionKeys.contains(word) && !word.starts_with("ldc_in2out") &&
            !word.starts_with("ldc_out2in")) {
            expected.push_back(word);
        }
        is_in_grids |= word == "ldc_grid_enable";
    }
    EXPECT_EQ(keys_of(ini, "gyro_filename"), expected);
    EXPECT_NE(ini.find("\nAPI_version = 1.3.2\nbuild_id = 19172\n"), std::string::npos);
    EXPECT_NE(ini.find("\n; check_margin_breach = 1\n"), std::string::npos);
    EXPECT_NE(ini.find("\n; fail_error_threshold = 4\n"), std::string::npos);
    EXPECT_NE(ini.find("\noutput_metadata_filename = run_eis2_output_metadata.csv\n"),
              std::string::npos);
}

TEST(CaptureSetup, GivesEveryValueBack) {
    std::vector<NcLibWarpGridCoord> points(EIS_GRID_POINTS);
    for (size_t i = 0; i < points.size(); ++i) {
        points[i] = {static_cast<float>(i) / 7.0f, -1e-9f * static_cast<float>(i)};
    }
    const NcLibWarpGrid grid = {
        true,   {1920, 1080}, 27, 35, points.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
        nullptr};
    is_init_sensor_data sensor = numbered_sensor();
    sensor.ldc_out2in = &grid;
    is_init_common_data common = valid_common();
    common.operation_mode = 4294967295u;
    common.frame_fps = 65535;
    common.buffer_delay = 40000;
    common.is_sat_enabled = common.is_dis_enabled = common.is_rel_orientation_enabled = true;
    const auto camera =
        tool::parse_camera(ini_of(common, sensor), "ini", tool::CameraFileKind::kCapture);
    ASSERT_TRUE(camera.ok()) << camera.fault().text();
    EXPECT_EQ(std::memcmp(&camera.value().common, &common, sizeof common), 0);
    const is_init_sensor_data& back = camera.value().sensors[0];
    constexpr size_t kHead = offsetof(is_init_sensor_data, ldc_calib_domain);
    EXPECT_EQ(std::memcmp(&back.ldc_calib_domain, &sensor.ldc_calib_domain,
                          offsetof(is_init_sensor_data, tuning) - kHead),
              0);
    size_t compared = 0;
    for (size_t offset = 0; offset < sizeof sensor.tuning; offset += 4) {
        const auto* a = reinterpret_cast<const char*>(&sensor.tuning) + offset;
        const auto* b = reinterpret_cast<const char*>(&back.tuning) + offset;
        if (!is_reserved(offset)) {
            ASSERT_EQ(std::memcmp(a, b, 4), 0) << "word at " << offset;
            ++compared;
        }
    }
    EXPECT_EQ(compared, sizeof sensor.tuning / 4 - 72);
    EXPECT_EQ(back.ldc_in2out, nullptr);
    ASSERT_NE(back.ldc_out2in, nullptr);
    EXPECT_EQ(back.ldc_out2in->numRows, 27u);
    EXPECT_EQ(std::memcmp(back.ldc_out2in->grid, points.data(), points.size() * sizeof points[0]),
              0);
}

}  // namespace
}  // namespace steadywarp::test
