// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/rsc_alpha.hpp"

#include <algorithm>

#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

constexpr uint32_t kHistory = 20;
constexpr uint32_t kFrontCamera = 1;

float setting(const is_tessaline_info_s& tuning, uint32_t slot) {
    return eis_tuning_get_behaviour(&tuning, slot);
}

}  // namespace

bool RscAlpha::is_wanted(uint32_t camera_position, const is_tessaline_info_s& tuning) {
    const float mode = setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_PARAMETER_MODE);
    const bool is_enabled = setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_ENABLE) != 0.0f;
    return camera_position == kFrontCamera && (mode == 0.0f || (mode == 1.0f && is_enabled));
}

RscAlpha::RscAlpha(const is_tessaline_info_s& tuning, uint32_t& status) : _history(kHistory) {
    if (!_history.is_allocated()) {
        EIS_ERR("IS0004", "Out of Memory");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    if (setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_PARAMETER_MODE) == 0.0f) {
        return;
    }
    _using_defaults = 0;
    _angle_delta_th_low = setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_LOW);
    _angle_delta_th_high =
        setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_HIGH);
    _factor_high = setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_FACTOR_HIGH);
    _kernel_decrease = setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_DECREASE);
    _kernel_increase = setting(tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_INCREASE);
}

void RscAlpha::reset() {
    _history.clear();
    _alpha = 1.0f;
}

float RscAlpha::target(float turn_over_frame, bool scene_settled, SceneWord scene) const {
    const uint32_t type = scene_type(scene);
    if (scene_settled && type < IS_SCENE_PANNING) {
        return 1.0f;
    }
    if (scene_settled && type == IS_SCENE_STRONG_PANNING) {
        return _factor_high;
    }
    // On a line from 1 at the low threshold to factor_high at the high one.
    const float slope = (_factor_high - 1.0f) / (_angle_delta_th_high - _angle_delta_th_low);
    const float on_line = (1.0f - _angle_delta_th_low * slope) + turn_over_frame * slope;
    const float limited = std::max(std::min(on_line, 1.0f), _factor_high);
    return type == IS_SCENE_PANNING ? std::max(limited * 0.5f, _factor_high) : limited;
}

float RscAlpha::update(double turn_over_frame, bool scene_settled, SceneWord scene,
                       uint32_t frame_id, uint64_t first_ts, uint64_t last_ts) {
    _history.push({target(static_cast<float>(turn_over_frame), scene_settled, scene), frame_id,
                   first_ts, last_ts});
    float sum = 0.0f;
    float total_weight = 0.0f;
    for (uint32_t i = 0; i < _history.size(); ++i) {
        const float value = _history[i].value;
        const float weight = value > _alpha ? _kernel_decrease : _kernel_increase;
        sum += weight * value;
        total_weight += weight;
    }
    // Weights that cancel out leave the factor where it is.
    if (total_weight != 0.0f) {
        _alpha = sum / total_weight;
    }
    return _alpha;
}

}  // namespace steadywarp
