// SPDX-License-Identifier: Apache-2.0
// The tests of one sensor's record: optics, grids and frame sizes.
#include <array>

#include "base/eis_log.hpp"
#include "validation/init_validation.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kCalibDomainIfeInput = 1;

void is_valid_init_focal_length(uint32_t focal_length, uint32_t index, FaultCounts& counts) {
    if (focal_length < 300 || focal_length > 15000) {
        EIS_ERR("IS0003", "Invalid focal length value for sensor #%u: %u", index, focal_length);
        ++counts.errors;
    } else if (focal_length < 501 || focal_length > 8999) {
        EIS_ERR("IS0003", "Warning focal length value for sensor #%u might be invalid: %u", index,
                focal_length);
        ++counts.warnings;
    }
}

bool is_supported_grid_size(const NcLibWarpGrid& grid) {
    return (grid.numColumns == ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH &&
            grid.numRows == ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT) ||
           (grid.numColumns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH &&
            grid.numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT);
}

void is_valid_init_ldc(const is_init_sensor_data& sensor, uint32_t index, FaultCounts& counts) {
    const NcLibWarpGrid* in2out = sensor.ldc_in2out;
    const NcLibWarpGrid* out2in = sensor.ldc_out2in;
    if ((in2out == nullptr) != (out2in == nullptr)) {
        EIS_ERR("IS0017", "LDC configuration mismatch - sensor #%u", index);
        ++counts.errors;
    }
    if (in2out != nullptr && out2in != nullptr) {
        const bool differs =
            in2out->enable != out2in->enable ||
            (in2out->enable &&
             (in2out->gridExtrapolate != out2in->gridExtrapolate ||
              in2out->numColumns != out2in->numColumns || in2out->numRows != out2in->numRows));
        if (differs) {
            EIS_ERR("IS0017", "LDC configuration types mismatch - sensor #%u", index);
            ++counts.errors;
        }
    }
    const bool any_enabled =
        (in2out != nullptr && in2out->enable) || (out2in != nullptr && out2in->enable);
    if (any_enabled && in2out != nullptr && !is_supported_grid_size(*in2out)) {
        EIS_ERR("IS0017", "LDC in2out configuration not supported, numColumns %u- sensor #%u",
                in2out->numColumns, index);
        EIS_ERR("IS0017", "LDC in2out configuration not supported, numRows %u- sensor #%u",
                in2out->numRows, index);
        ++counts.errors;
    }
    if (any_enabled && out2in != nullptr && !is_supported_grid_size(*out2in)) {
        EIS_ERR("IS0017", "LDC out2in configuration not supported, numColumns %u- sensor #%u",
                out2in->numColumns, index);
        EIS_ERR("IS0017", "LDC out2in configuration not supported, numRows %u- sensor #%u",
                out2in->numRows, index);
        ++counts.errors;
    }
}

// Whether the grids in use are given on the frame that enters the front end.
bool needs_ife_sizes(const is_init_sensor_data& sensor) {
    const is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    if (ldc.ldc_grid_source == 0) {
        return ldc.ldc_grid_enable == 1 && ldc.ldc_calib_domain == kCalibDomainIfeInput;
    }
    return ldc.ldc_grid_source == 1 && sensor.ldc_in2out != nullptr &&
           sensor.ldc_out2in != nullptr && sensor.ldc_calib_domain == kCalibDomainIfeInput;
}

void is_valid_init_ife_sizes(const is_init_sensor_data& sensor, uint32_t index,
                             FaultCounts& counts) {
    struct Size {
        const char* name;
        uint32_t value;
    };
    const std::array<Size, 4> sizes = {{
        {"ife_input_frame_height", sensor.ife_input_frame_height},
        {"ife_input_frame_width", sensor.ife_input_frame_width},
        {"ife_input_frame_undistorted_height", sensor.ife_input_frame_undistorted_height},
        {"ife_input_frame_undistorted_width", sensor.ife_input_frame_undistorted_width},
    }};
    const bool are_needed = needs_ife_sizes(sensor);
    for (const Size& size : sizes) {
        if (size.value != 0) {
            continue;
        }
        EIS_ERR(are_needed ? "IS0017" : "IS0530", "Invalid %s %u - sensor #%u", size.name,
                size.value, index);
        ++(are_needed ? counts.errors : counts.warnings);
    }
}

}  // namespace

void is_valid_init_sensor(const is_init_common_data& common, const is_init_sensor_data& sensor,
                          const is_init_sensor_data& first_sensor, uint32_t index,
                          FaultCounts& counts) {
    const is_tessaline_info_s& tuning = sensor.tuning;
    is_valid_init_focal_length(tuning.general.focal_length, index, counts);
    if (tuning.top.ois_frequency != 0 && !common.is_ois_enabled) {
        EIS_ERR("IS0003",
                "OIS configuration mismatch. is_ois_enabled is false but OIS frequency is not zero "
                "- %u",
                tuning.top.ois_frequency);
        ++counts.errors;
    }
    if (tuning.top.ifovc_frequency != 0 && !common.is_ifovc_enabled) {
        EIS_HIGH("IS1026",
                 "iFOVC configuration mismatch. is_ifovc_enabled is false but iFOVC frequency is "
                 "not zero - %u",
                 tuning.top.ifovc_frequency);
        ++counts.infos;
    }
    if (sensor.camera_position != first_sensor.camera_position) {
        EIS_ERR("IS0017",
                "Cannot change camera position between sensors - #%u is different from sensor 0",
                index);
        ++counts.infos;
    }
    is_valid_init_ldc(sensor, index, counts);
    if (sensor.input_width == 0 || sensor.input_height == 0) {
        EIS_ERR("IS0017", "Invalid input frame dimension (%u, %u) - sensor #%u", sensor.input_width,
                sensor.input_height, index);
        ++counts.errors;
    }
    if (tuning.general.minimal_total_margin == 0.0f) {
        EIS_ERR("IS0017", "Invalid minimal total margins %lf - sensor #%u",
                static_cast<double>(tuning.general.minimal_total_margin), index);
        ++counts.errors;
    }
    is_valid_init_ife_sizes(sensor, index, counts);
}

}  // namespace steadywarp
