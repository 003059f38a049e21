// SPDX-License-Identifier: Apache-2.0
#include "filter/filter_params.hpp"

#include "base/numeric.hpp"

namespace steadywarp {

BlurMaskingParams make_blur_masking_params(const is_tessaline_blur_masking& tuning,
                                           uint32_t input_width) {
    constexpr float kTuningWidth = 1920.0f;
    const float width = static_cast<float>(input_width);
    BlurMaskingParams params;
    params.enable = tuning.enable != 0;
    params.exposure_time_th = cut_to_u32(static_cast<double>(tuning.exposure_time_th) * 1e6);
    params.start_decrease_at_blur = tuning.start_decrease_at_blur * width / kTuningWidth;
    params.end_decrease_at_blur = tuning.end_decrease_at_blur * width / kTuningWidth;
    params.min_strength = tuning.min_strength;
    params.pan_min_threshold = tuning.pan_min_threshold;
    params.pan_max_threshold = tuning.pan_max_threshold;
    return params;
}

float least_alpha_for_blur(const BlurMaskingParams& params, float blur, uint32_t exposure_time) {
    const float start = params.start_decrease_at_blur;
    const float end = params.end_decrease_at_blur;
    const float min_strength = params.min_strength;
    if (!params.enable || exposure_time < params.exposure_time_th || !(min_strength < 1.0f) ||
        start > end) {
        return 0.0f;
    }
    if (start == end) {
        return blur > end ? 1.0f - min_strength : 0.0f;
    }
    // The strength falls on a line from 1 at `start` to min_strength at `end`.
    const float slope = (min_strength - 1.0f) / (end - start);
    const float strength = 1.0f - slope * start + slope * blur;
    if (strength >= 1.0f) {
        return 0.0f;
    }
    return strength > min_strength ? 1.0f - strength : 1.0f - min_strength;
}

}  // namespace steadywarp
