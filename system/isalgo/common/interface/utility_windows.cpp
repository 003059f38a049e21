// SPDX-License-Identifier: Apache-2.0
// Windows from crop settings, and the bias that a caller can ask for.
#include "base/eis_log.hpp"
#include "sensors/bias_estimator.hpp"
#include "steadywarp/eis_utility.h"

namespace steadywarp {
namespace {

bool is_ratio(double value) {
    return value >= 0.0 && value <= 1.0;
}

// A zoom crop as fractions of its full picture.
struct Fractions {
    float left, top, width, height;

    explicit Fractions(const is_crop_rect& crop)
        : left(static_cast<float>(crop.window_left) / static_cast<float>(crop.full_width)),
          top(static_cast<float>(crop.window_top) / static_cast<float>(crop.full_height)),
          width(static_cast<float>(crop.window_width) / static_cast<float>(crop.full_width)),
          height(static_cast<float>(crop.window_height) / static_cast<float>(crop.full_height)) {}
};

is_crop_window as_window(const is_crop_rect& crop) {
    return {static_cast<float>(crop.full_width),   static_cast<float>(crop.full_height),
            static_cast<float>(crop.window_width), static_cast<float>(crop.window_height),
            static_cast<float>(crop.window_left),  static_cast<float>(crop.window_top)};
}

// The part `zoom` of the window that the stabilizer leaves in the middle of the output.
is_crop_window field_of_view(uint32_t output_width, uint32_t output_height, double ratio_x,
                             double ratio_y, const Fractions& zoom) {
    const float width = static_cast<float>(output_width);
    const float height = static_cast<float>(output_height);
    const float crop_width = static_cast<float>(output_width * ratio_x);
    const float crop_height = static_cast<float>(output_height * ratio_y);
    return {width,
            height,
            zoom.width * crop_width,
            zoom.height * crop_height,
            (width - crop_width) * 0.5f + crop_width * zoom.left,
            (height - crop_height) * 0.5f + crop_height * zoom.top};
}

// The part `zoom` of a sensor crop.
is_crop_window zoomed(const is_crop_window& sensor, const Fractions& zoom) {
    return {sensor.fullWidth,
            sensor.fullHeight,
            zoom.width * sensor.windowWidth,
            zoom.height * sensor.windowHeight,
            sensor.windowLeft + sensor.windowWidth * zoom.left,
            sensor.windowTop + sensor.windowHeight * zoom.top};
}

constexpr is_crop_rect kWholeCrop = {1, 1, 0, 0, 1, 1};

}  // namespace
}  // namespace steadywarp

uint32_t eis_utility_get_estimated_bias(_sample_data_s* bias) {
    if (bias == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    *bias = {};
    const auto& estimator = steadywarp::BiasEstimatorSingleton::instance(nullptr);
    if (const auto* rotate = estimator.rotate.load()) {
        *bias = {{estimator.bias[0], estimator.bias[1], estimator.bias[2]}, estimator.ts};
        rotate->rotate(*bias);
    }
    return EIS_SUCCESS;
}

uint32_t eis_utility_convert_to_window_regions_deployment(
    const is_crop_rect* sensor_crop, const is_crop_rect* zoom_crop, uint32_t output_width,
    uint32_t output_height, uint32_t deployment_type, is_window_regions* regions,
    double stabilization_crop_ratio_x, double stabilization_crop_ratio_y) {
    using namespace steadywarp;
    if (sensor_crop == nullptr || zoom_crop == nullptr || regions == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (!is_ratio(stabilization_crop_ratio_x)) {
        EIS_ERR("IS0003", "Invalid stabilization_crop_ratio_x");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (!is_ratio(stabilization_crop_ratio_y)) {
        EIS_ERR("IS0003", "Invalid stabilization_crop_ratio_y");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (zoom_crop->full_width == 0 || zoom_crop->full_height == 0) {
        EIS_ERR("IS0010", "Un-initialized crop window");
        return EIS_ERROR_INVALID_INPUT;
    }
    const is_crop_window sensor = as_window(*sensor_crop);
    const Fractions zoom(*zoom_crop);
    switch (deployment_type) {
        case DEP_TYPE_ICA_V20:
        case DEP_TYPE_ICA_V30:
        case DEP_TYPE_GPU_PRE:
            regions->eis_pre_crop_vIN = sensor;
            regions->output_crop_fov =
                field_of_view(output_width, output_height, stabilization_crop_ratio_x,
                              stabilization_crop_ratio_y, zoom);
            break;
        case DEP_TYPE_GPU_POST:
            regions->eis_pre_crop_vIN = zoomed(sensor, zoom);
            regions->output_crop_fov =
                field_of_view(output_width, output_height, stabilization_crop_ratio_x,
                              stabilization_crop_ratio_y, Fractions(kWholeCrop));
            break;
        default:
            EIS_ERR("IS0003", "deployment_type %d doesn't exist",
                    static_cast<int>(deployment_type));
            return EIS_ERROR_INVALID_INPUT;
    }
    regions->eis_pre_crop_vOUT = regions->eis_pre_crop_vIN;
    return EIS_SUCCESS;
}

uint32_t eis_utility_convert_to_window_regions(const is_crop_rect* sensor_crop,
                                               const is_crop_rect* zoom_crop, uint32_t output_width,
                                               uint32_t output_height, is_window_regions* regions,
                                               double stabilization_crop_ratio_x,
                                               double stabilization_crop_ratio_y) {
    EIS_ERR("IS0002",
            "Deprecated API use eis_utility_convert_to_window_regions_deployment() instead");
    return eis_utility_convert_to_window_regions_deployment(
        sensor_crop, zoom_crop, output_width, output_height, DEP_TYPE_ICA_V20, regions,
        stabilization_crop_ratio_x, stabilization_crop_ratio_y);
}
