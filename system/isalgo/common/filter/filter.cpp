// SPDX-License-Identifier: Apache-2.0
#include "filter/filter.hpp"

#include <algorithm>

#include "base/eis_log.hpp"
#include "filter/breach_control.hpp"
#include "platform/fused.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

// Frames lost in a row beyond which the view has moved so far that the way back is eased.
constexpr uint32_t kManyDroppedFrames = 2;
constexpr uint32_t kSettleFrames = 3;
// 0.3 in single precision, widened.
constexpr double kSettleWeight = 0.30000001192092896;

// f + alpha * (alternative - f) - orientation, fused where the factor multiplies.
Vec3<double> blended_correction(const Vec3<double>& filtered, const Vec3<double>& alternative,
                                double alpha, const Vec3<double>& orientation) {
    const Vec3<double> away = alternative - filtered;
    return {platform::Fused(alpha, away.x, filtered.x) - orientation.x,
            platform::Fused(alpha, away.y, filtered.y) - orientation.y,
            platform::Fused(alpha, away.z, filtered.z) - orientation.z};
}

}  // namespace

Filter::Filter(const Camera* cameras, const BlurMaskingParams* blur, uint32_t num_sensors,
               const BlendParams& blend, const BlendParams& blend_blur, uint32_t buffer_size,
               uint32_t& status)
    : _buffer_size(buffer_size),
      _line(buffer_size),
      _future_size(buffer_size),
      _alpha_kernel(make_alpha_kernel(blend.sigma)),
      _min_alpha_history(buffer_size),
      _alpha_history(buffer_size),
      _blend(blend),
      _blend_blur(blend_blur),
      _cameras(cameras) {
    if (!_min_alpha_history.is_allocated() || !_alpha_history.is_allocated()) {
        EIS_ERR("IS0004", "Ring buffers");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    _blur_params = allocate_array<BlurMaskingParams>(num_sensors);
    if (_blur_params == nullptr) {
        EIS_ERR("IS0004", "Out of memory");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    std::copy_n(blur, num_sensors, _blur_params.get());
}

void Filter::reset() {
    _line.reset();
    _output_kind = DelayLine::kNone;
    _future_alpha.fill(0.0);
    _filtered.fill({});
    _alternative.fill({});
    _feasible = 1.0;
    _settle_frames = 0;
    _min_alpha_history.clear();
    _alpha_history.clear();
}

uint32_t Filter::step_state() {
    return _line.add_frame() ? EIS_SUCCESS : EIS_ERROR_GENERAL;
}

float Filter::blur_rule(const InputRing& inputs, const RingBuffer<float>& blur) const {
    const FilterInput& input = inputs.newest();
    return least_alpha_for_blur(_blur_params[input.sensor], blur.newest(), input.exposure_time);
}

void Filter::decide_output(const FrameRings& rings) {
    _output_kind = _line.take_output();
    if (_output_kind == DelayLine::kCore) {
        filter_core(rings);
    } else if (_output_kind == DelayLine::kHistory) {
        filter_history(rings);
    }
}

Vec3<double> Filter::process(const FrameRings& rings, const RingBuffer<float>& blur,
                             bool& feasible) {
    _last_blur = blur.newest();
    _last_min_alpha = blur_rule(rings.inputs, blur);
    _min_alpha_history.push(_last_min_alpha);

    decide_output(rings);
    if (_output_kind == DelayLine::kNone) {
        return {};
    }
    if (rings.inputs.oldest().dropped_frames > kManyDroppedFrames) {
        _settle_frames = kSettleFrames;
    }
    Vec3<double> correction;
    feasible = fix_breach(rings, correction);
    _feasible = feasible ? 1.0 : 0.0;
    return correction;
}

// Walk the factor up from `alpha` until the frame's crop fits.
// @return false when it never does; `alpha` is then 1, or what it came with if that was more.
bool Filter::search_alpha(const FrameRings& rings, uint32_t index, bool use_stored_alternative,
                          double step, double& alpha) const {
    const FilterInput& input = rings.inputs[index];
    const Vec3<double>& orientation = rings.angles[index];
    const Vec3<double> alternative = use_stored_alternative
                                         ? _alternative[index]
                                         : orientation + rings.inputs.oldest().ois_rotation;
    if (!(alpha < 1.0)) {
        return false;
    }
    while (alpha < 1.0) {
        const Vec3<double> correction =
            blended_correction(_filtered[index], alternative, alpha, orientation);
        if (check_breach(rings.boxes[index], correction, input, _cameras[input.sensor])) {
            return true;
        }
        alpha += step;
    }
    alpha = 1.0;
    return false;
}

bool Filter::calc_future_alpha(const FrameRings& rings, const BlendParams& blend,
                               bool use_stored_alternative, bool& any_blur_limit) {
    // Slot i + 1 is read for slot i, so the last slot is never searched.
    const uint32_t wanted = _buffer_size > blend.lookahead ? blend.lookahead : _buffer_size;
    const uint32_t n = std::min(wanted, kFutureFrames - 1);
    any_blur_limit = false;
    for (uint32_t i = 0; i < n; ++i) {
        if (_output_kind != DelayLine::kCore &&
            i >= _line.pending() + _future_size - _buffer_size) {
            _future_alpha[i] = 0.0;
            continue;
        }
        // The last frame's value of the next slot, relaxed by two steps.
        double alpha = std::max(_future_alpha[i + 1] - 2.0 * blend.step, 0.0);
        const double least = static_cast<double>(_min_alpha_history[i]);
        alpha = std::max(alpha, least);
        any_blur_limit = any_blur_limit || least > 0.0;
        const bool fits = search_alpha(rings, i, use_stored_alternative, blend.step, alpha);
        _future_alpha[i] = alpha;
        if (!fits) {
            return false;
        }
    }
    return true;
}

bool Filter::fix_breach(const FrameRings& rings, Vec3<double>& correction) {
    const FilterInput& input = rings.inputs.oldest();
    bool any_blur_limit = false;
    const bool ok = calc_future_alpha(rings, _blend, true, any_blur_limit);
    if (!ok && !calc_future_alpha(rings, _blend, false, any_blur_limit)) {
        EIS_ERR("IS0530", "frame_id %u: calc_future_alpha() Failed to get blend with alternative",
                input.frame_id);
    }
    const double alpha = smooth_blend(any_blur_limit ? _blend_blur : _blend, _alpha_history,
                                      _future_alpha, _alpha_kernel);
    _alpha_history.push(alpha);

    const Vec3<double>& orientation = rings.angles.oldest();
    const Vec3<double> alternative = ok ? _alternative[0] : orientation + input.ois_rotation;
    correction = blended_correction(_filtered[0], alternative, alpha, orientation);
    if (_settle_frames != 0) {
        correction = _previous_correction + (correction - _previous_correction) * kSettleWeight;
        --_settle_frames;
    }
    _previous_correction = correction;

    if (alpha == 1.0 &&
        !check_breach(rings.boxes.oldest(), correction, input, _cameras[input.sensor])) {
        EIS_ERR("IS0530", "frame_id %u: No feasible solution can be found due to severe shake.",
                input.frame_id);
        return false;
    }
    return true;
}

}  // namespace steadywarp
