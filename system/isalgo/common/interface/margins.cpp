// SPDX-License-Identifier: Apache-2.0
// How much of the input frame an output leaves free.
#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "interface/context_check.hpp"
#include "interface/eis_context.hpp"

namespace {

// An output this little too large, as a fraction, fits as it is.
constexpr double kLeastShrink = 1e-6;

uint32_t nearest_even(double size) {
    return steadywarp::cut_to_u32(2.0 * std::round(size * 0.5));
}

uint32_t free_pixels(uint32_t input, uint32_t crop) {
    // Rounding to even can take a crop one pixel beyond an odd frame.
    return input - std::min(input, crop);
}

}  // namespace

void eis_internal_get_crop_size(uint32_t input_height, uint32_t input_width, uint32_t output_height,
                                uint32_t output_width, uint32_t* crop_height, uint32_t* crop_width,
                                float margin_y, float margin_x) {
    if (crop_height == nullptr || crop_width == nullptr) {
        return;
    }
    double height = output_height;
    double width = output_width;
    const double over_y = height / input_height / (1.0 - static_cast<double>(margin_y));
    const double over_x = width / input_width / (1.0 - static_cast<double>(margin_x));
    const double shrink = std::max(over_y - 1.0, over_x - 1.0);
    if (shrink >= kLeastShrink) {
        height /= 1.0 + shrink;
        width /= 1.0 + shrink;
    }
    *crop_height = nearest_even(height);
    *crop_width = nearest_even(width);
}

uint32_t eis_internal_get_stabilization_margin_ex(const is_margin_query* query,
                                                  is_margins* margins) {
    if (query == nullptr || margins == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    uint32_t crop_height = 0;
    uint32_t crop_width = 0;
    eis_internal_get_crop_size(query->input_height, query->input_width, query->output_height,
                               query->output_width, &crop_height, &crop_width,
                               query->total_margin_y, query->total_margin_x);
    margins->margin_x = free_pixels(query->input_width, crop_width);
    margins->margin_y = free_pixels(query->input_height, crop_height);
    return EIS_SUCCESS;
}

uint32_t eis_internal_get_stabilization_crop_ratio_ex(const is_margin_query* query, double* ratio_x,
                                                      double* ratio_y) {
    if (query == nullptr || ratio_x == nullptr || ratio_y == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    is_margins margins{};
    if (eis_internal_get_stabilization_margin_ex(query, &margins) != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Failed to get stabilization margins");
        return EIS_ERROR_INVALID_INPUT;
    }
    *ratio_x = static_cast<double>(query->input_width - margins.margin_x) / query->input_width;
    *ratio_y = static_cast<double>(query->input_height - margins.margin_y) / query->input_height;
    return EIS_SUCCESS;
}

uint32_t eis_internal_get_stabilization_margin(eis_context* context, uint32_t sensor_idx,
                                               is_margins* margins) {
    EIS_CHECK_ENTRY(context, margins != nullptr);
    if (sensor_idx >= context->sensors.size()) {
        EIS_ERR("IS0003", "Invalid num sensors");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (context->is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY) {
        EIS_ERR("IS0530",
                "Invalid SW flow. eis_internal_get_stabilization_margin() was called with "
                "IS_TYPE_DISTORTION_CORRECTION_ONLY context");
    }
    const steadywarp::sensor_runtime_record& sensor = context->sensors[sensor_idx];
    is_margin_query query{};
    query.output_height = context->output_height;
    query.output_width = context->output_width;
    query.do_virtual_upscale_in_transform = context->do_virtual_upscale_in_transform;
    query.input_height = sensor.input_height;
    query.input_width = sensor.input_width;
    query.total_margin_x = sensor.minimal_total_margin_x;
    query.total_margin_y = sensor.minimal_total_margin_y;
    return eis_internal_get_stabilization_margin_ex(&query, margins);
}
