// SPDX-License-Identifier: Apache-2.0
// The frame of the list and its common tests.
#include "validation/init_validation.hpp"

#include <algorithm>
#include <array>

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

// Hardware that can split a transform in grid and matrix ends here.
constexpr uint32_t kLastSplittingDeployment = DEP_TYPE_ICA_V30;
constexpr uint32_t kLeastLookAhead = 5;

bool is_known_type(uint32_t is_type) {
    return is_type == IS_TYPE_EIS_2_0 || is_type == IS_TYPE_EIS_3_0 ||
           is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY;
}

bool is_known_operation_mode(uint32_t mode) {
    constexpr std::array<uint32_t, 9> kModes = {
        IS_OPT_REGULAR,
        IS_OPT_CALIBRATION_SYMMETRIC,
        IS_OPT_CALIBRATION_ASYMMETRIC,
        IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST,
        IS_OPT_UNDISTORTION_ONLY,
        IS_OPT_IDENTITY_ONLY_ROBUST,
        IS_OPT_IFOVC_LDC_ONLY,
        IS_OPT_TEST_SAT_PASS_THROUGH,
        IS_OPT_TEST_MARGINS_LIMITS,
    };
    return std::find(kModes.begin(), kModes.end(), mode) != kModes.end();
}

void is_valid_operation_mode(const is_init_common_data& common, FaultCounts& counts) {
    const uint32_t mode = common.operation_mode;
    const bool is_distortion_only = common.is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY;
    if (!is_known_operation_mode(mode)) {
        EIS_ERR("IS0017", "Unrecognized EIS operation_mode, %u", mode);
        ++counts.errors;
    }
    if (mode == IS_OPT_CALIBRATION_SYMMETRIC) {
        EIS_HIGH("IS1026", "Deprecated operation_mode, %u", mode);
        ++counts.infos;
    }
    if (is_distortion_only && mode >= IS_OPT_CALIBRATION_SYMMETRIC &&
        mode <= IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST) {
        EIS_HIGH("IS1026",
                 "is_type IS_TYPE_DISTORTION_CORRECTION_ONLY but operation_mode is %u. Value will "
                 "be treated as IS_OPT_REGULAR",
                 mode);
        ++counts.infos;
    }
    if (is_distortion_only && mode == IS_OPT_TEST_DISTORTION_CORRECTION_ONLY) {
        EIS_HIGH("IS1026",
                 "is_type IS_TYPE_DISTORTION_CORRECTION_ONLY but operation_mode is "
                 "IS_OPT_TEST_DISTORTION_CORRECTION_ONLY. Value will be treated as IS_OPT_REGULAR");
        ++counts.infos;
    }
}

void is_valid_buffer_delay(const is_init_common_data& common, FaultCounts& counts) {
    constexpr char kMismatch[] =
        "Configuration mismatch - buffer delay (%u) and algorithm type (%s, %u)";
    const uint32_t delay = common.buffer_delay;
    if (delay == 0) {
        EIS_ERR("IS0003", "buffer_delay is 0");
        ++counts.errors;
    }
    if (common.is_type == IS_TYPE_EIS_2_0 && delay != 1) {
        EIS_ERR("IS0003", kMismatch, delay, "IS_TYPE_EIS_NFL", common.is_type);
        ++counts.errors;
    }
    if (common.is_type == IS_TYPE_EIS_3_0 && delay != 0 && delay < kLeastLookAhead) {
        EIS_ERR("IS0003", kMismatch, delay, "IS_TYPE_EIS_FL", common.is_type);
        ++counts.errors;
    }
    if (common.is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY && delay != 1) {
        EIS_HIGH("IS1026", kMismatch, delay, "IS_TYPE_DISTORTION_CORRECTION_ONLY", common.is_type);
        ++counts.infos;
    }
}

void is_valid_deployment(const is_init_common_data& common, FaultCounts& counts) {
    const uint32_t deployment = common.deployment_type;
    if (common.force_split_grid_matrix && deployment > kLastSplittingDeployment) {
        EIS_ERR("IS0017",
                "Configuration mismatch, force_split_grid_matrix is enabled but deployment type is "
                "not supported %u",
                deployment);
        ++counts.errors;
    }
    if (deployment == DEP_TYPE_GPU_POST && !common.do_virtual_upscale_in_transform) {
        EIS_ERR("IS0017",
                "Configuration mismatch, deployment_type is DEP_TYPE_GPU_POST but "
                "do_virtual_upscale_in_transform is false. There is no upscaler after Post ISP "
                "GPU.");
        ++counts.errors;
    }
    if (common.is_sat_enabled && !common.force_split_grid_matrix &&
        deployment <= kLastSplittingDeployment) {
        EIS_ERR("IS1026",
                "Configuration mismatch, SAT is enabled, force_split_grid_matrix is disabled but "
                "deployment type (%u) supports splitting. Overriding force_split_grid_matrix value "
                "to true",
                deployment);
    }
}

// Tests over all sensors, behind those of each.
void is_valid_init_streams(const is_init_common_data& common, const is_init_sensor_data* sensors,
                           uint32_t num_sensors, FaultCounts& counts) {
    const is_init_sensor_data* end = sensors + num_sensors;
    const auto none_has = [&](auto&& has) { return std::none_of(sensors, end, has); };
    if (common.is_ois_enabled && none_has([](const is_init_sensor_data& sensor) {
            return sensor.tuning.top.ois_frequency != 0;
        })) {
        EIS_HIGH("IS1026",
                 "Invalid OIS init data. is_ois_enabled is true but for all sensors OIS frequency "
                 "is set to zero. OIS data will not be used");
        ++counts.infos;
    }
    if (common.is_ifovc_enabled && none_has([](const is_init_sensor_data& sensor) {
            return sensor.tuning.top.ifovc_frequency != 0;
        })) {
        EIS_HIGH("IS0003",
                 "Invalid iFOVC init data. is_ifovc_enabled is true but for all sensors iFOVC "
                 "frequency is set to zero. iFOVC data will not be used");
        ++counts.infos;
    }
    if (common.is_dis_enabled &&
        none_has([](const is_init_sensor_data& sensor) { return sensor.tuning.dis.enable != 0; })) {
        EIS_HIGH("IS0003",
                 "Invalid DIS init data. is_dis_enabled is true but for all sensors DIS enable bit "
                 "is set to zero. DIS data will not be used");
        ++counts.infos;
    }
    const float noise_floor = sensors[0].tuning.general.gyro_noise_floor;
    if (!none_has([=](const is_init_sensor_data& sensor) {
            return sensor.tuning.general.gyro_noise_floor != noise_floor;
        })) {
        EIS_HIGH("IS1026",
                 "Invalid noise floor. Noise floor should be the same in all sensors. Using sensor "
                 "#0 value: %lf",
                 static_cast<double>(noise_floor));
    }
}

}  // namespace

void is_valid_init_common(const is_init_common_data& common, uint32_t num_sensors,
                          FaultCounts& counts) {
    is_valid_operation_mode(common, counts);
    if (common.output_width == 0 || common.output_height == 0) {
        EIS_ERR("IS0017", "Invalid output frame dimension (%u, %u)", common.output_width,
                common.output_height);
        ++counts.errors;
    }
    if (common.frame_fps != 24 && common.frame_fps != 30 && common.frame_fps != 60) {
        EIS_ERR("IS0017", "Invalid frame_fps. Only 24, 30, 60 are supported, %u", common.frame_fps);
        ++counts.warnings;
    }
    if (num_sensors > EIS_MAX_NUM_SENSORS) {
        EIS_ERR("IS0017", "num_sensors %u exceeds EIS_MAX_NUM_SENSORS %d", num_sensors,
                static_cast<int>(EIS_MAX_NUM_SENSORS));
        ++counts.errors;
    }
    is_valid_buffer_delay(common, counts);
    if (common.is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY) {
        is_valid_deployment(common, counts);
    }
}

FaultCounts is_valid_init_input_internal(const is_init_common_data& common,
                                         const is_init_sensor_data* sensors, uint32_t num_sensors) {
    FaultCounts counts;
    is_valid_init_common(common, num_sensors, counts);
    for (uint32_t i = 0; i < num_sensors; ++i) {
        const is_tessaline_info_s& tuning = sensors[i].tuning;
        is_valid_init_sensor(common, sensors[i], sensors[0], i, counts);
        if (common.is_ois_enabled && tuning.top.ois_frequency != 0) {
            is_valid_init_ois(tuning, i, counts);
        }
        if (common.is_ifovc_enabled) {
            is_valid_init_ifovc(tuning, i, counts);
        }
        if (common.is_dis_enabled && tuning.dis.enable != 0) {
            is_valid_init_dis(tuning, sensors[0].tuning, i, counts);
        }
    }
    is_valid_init_streams(common, sensors, num_sensors, counts);
    return counts;
}

uint32_t is_valid_init_input(eis_context* const* context, const is_init_common_data* common,
                             const is_init_sensor_data* sensors, uint32_t num_sensors) {
    if (context == nullptr || common == nullptr || sensors == nullptr || num_sensors == 0) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (!is_known_type(common->is_type)) {
        EIS_ERR("IS0003", "Invalid input");
        return EIS_ERROR_INVALID_INPUT;
    }
    const FaultCounts counts = is_valid_init_input_internal(*common, sensors, num_sensors);
    if (counts.errors != 0) {
        EIS_ERR("IS0003",
                "Invalid input structs for algorithm initialization (# errors, # warnings # info) "
                ": (%u, %u, %u)",
                counts.errors, counts.warnings, counts.infos);
        EIS_ERR("IS0003", "Validation functions failed");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (counts.warnings + counts.infos != 0) {
        EIS_HIGH("IS1026",
                 "Input structs for algorithm initialization are sub-optimal (# errors, # warnings "
                 "# info) : (%u, %u, %u)",
                 counts.errors, counts.warnings, counts.infos);
    }
    return EIS_SUCCESS;
}

}  // namespace steadywarp
