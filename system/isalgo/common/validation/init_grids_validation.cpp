// SPDX-License-Identifier: Apache-2.0
#include "validation/init_grids_validation.hpp"

#include <cmath>

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

// How far the aspect of a grid's picture may be off that of the input.
constexpr float kAspectTolerance = 0.001f;

bool is_enabled(const NcLibWarpGrid* grid) {
    return grid != nullptr && grid->enable;
}

// A size of nothing has no aspect and matches none.
bool has_aspect(float aspect, uint32_t width, uint32_t height) {
    const float own = static_cast<float>(height) / static_cast<float>(width);
    return std::fabs(aspect - own) <= kAspectTolerance;
}

uint32_t is_valid_tuned_grids(const is_init_sensor_data& sensor, uint32_t width, uint32_t height,
                              bool& no_grid) {
    const is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    const bool only_one = (sensor.ldc_in2out == nullptr) != (sensor.ldc_out2in == nullptr);
    if (only_one || is_enabled(sensor.ldc_in2out) || is_enabled(sensor.ldc_out2in)) {
        EIS_ERR("IS1026",
                "ICA LDC grids - ldc_in2out, ldc_out2in - are enabled but ldc_grid_source is set "
                "to 0 (local EIS grids)");
    }
    if (ldc.ldc_grid_enable == 0) {
        no_grid = true;
        return EIS_SUCCESS;
    }
    const uint32_t forward = ldc.distorted_input_to_undistorted_ldc_grid_geometry;
    const uint32_t back = ldc.undistorted_to_distorted_input_ldc_grid_geometry;
    if (forward != back) {
        EIS_HIGH("IS1026", "Tessaline grids geometries mismatch");
    }
    if (forward != 0 || back != 0 || ldc.ldc_model_type != 0) {
        EIS_ERR("IS0003", "Grid geometry not supported");
        return EIS_ERROR_INVALID_INPUT;
    }
    const float aspect = static_cast<float>(height) / static_cast<float>(width);
    if (!has_aspect(aspect, ldc.image_size_distorted_x, ldc.image_size_distorted_y) ||
        !has_aspect(aspect, ldc.image_size_undistorted_x, ldc.image_size_undistorted_y)) {
        EIS_ERR("IS0002",
                "grid defined on image_size with a different ratio then input size to EIS.");
        return EIS_ERROR_INVALID_INPUT;
    }
    return EIS_SUCCESS;
}

}  // namespace

uint32_t is_valid_init_input_grids(const is_init_sensor_data& sensor, uint32_t width,
                                   uint32_t height, bool& no_grid) {
    no_grid = false;
    const is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    if (ldc.ldc_grid_source == 0) {
        return is_valid_tuned_grids(sensor, width, height, no_grid);
    }
    if (ldc.ldc_grid_enable != 0) {
        EIS_ERR("IS1026",
                "LDC grids - ldc_grid_enable - is enabled but ldc_grid_source is not set to 0");
    }
    if (!is_enabled(sensor.ldc_in2out) || !is_enabled(sensor.ldc_out2in)) {
        EIS_HIGH("IS1026", "LDC support was enabled with ICA grid, but grid are disabled");
        no_grid = true;
    }
    return EIS_SUCCESS;
}

}  // namespace steadywarp
