// SPDX-License-Identifier: Apache-2.0
#include "filter/non_future_looking_filter.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

constexpr double kPi = 3.141592653589793;

// Frames shorter than this come at twice the usual rate or more: windows count twice the frames.
constexpr uint32_t kFastFrameTimeUs = 25000;

struct WindowTargets {
    uint32_t history_length;
    uint32_t window_min;
    uint32_t window_max;
};
constexpr WindowTargets kTargets = {60, 14, 44};
constexpr WindowTargets kFastTargets = {120, 28, 88};

// Weight of the way back to no correction on the first frame of a stream.
constexpr double kFade = 0.9;

// Frames over which the motion rule looks for changes of direction: all, and the newest half.
constexpr uint32_t kMostFrames = 120;
constexpr uint32_t kLeastFrames = 10;
// So many changes mean shake, which is worth a longer window.
constexpr uint32_t kShakeChanges = 4;
// A single change means a slow sweep that the view should follow.
constexpr uint32_t kSweepChanges = 1;
constexpr uint32_t kWindowStep = 2;

uint32_t one_step_toward(uint32_t value, uint32_t target) {
    if (value == target) {
        return value;
    }
    return value < target ? value + 1 : value - 1;
}

// How far a breach of the margins shortens the window.
uint32_t breach_shrink(double alpha) {
    if (alpha > 0.5) {
        return 8;
    }
    return alpha > 0.2 ? 6 : 4;
}

}  // namespace

NonFutureLookingFilter_TimeVaryingWin::NonFutureLookingFilter_TimeVaryingWin(
    const Camera* cameras, const BlurMaskingParams* blur, unsigned int num_sensors,
    const FilterNFL_TimeVaryingW_Params* params, uint32_t& status)
    : Filter(cameras, blur, num_sensors, params->blend, params->blend_blur, params->buffer_size,
             status),
      _params(*params),
      _orientation_history(kHistoryCapacity) {
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0005", "Invalid status value");
        return;
    }
    if (_params.buffer_size > 1) {
        EIS_ERR("IS0003", "Buffer size too big");
        status = EIS_ERROR_INVALID_INPUT;
        return;
    }
    if (!_orientation_history.is_allocated()) {
        EIS_ERR("IS0004", "Ring buffers");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    // The falling half of a Hamming window of 2 L - 1 taps: newest frame first, the oldest at 0.08
    // of it.
    _kernel[0][0] = 1.0f;
    for (uint32_t length = 2; length <= kMaxWindow; ++length) {
        Kernel& kernel = _kernel[length - 1];
        double sum = 0.0;
        for (uint32_t j = 0; j < length; ++j) {
            const double phase = (length - 1 + j) * (2.0 * kPi) / (2 * length - 2);
            kernel[j] = static_cast<float>(0.54 - (1.0 - 0.54) * std::cos(phase));
            sum += static_cast<double>(kernel[j]);
        }
        for (uint32_t j = 0; j < length; ++j) {
            kernel[j] = static_cast<float>(static_cast<double>(kernel[j]) / sum);
        }
    }
}

void NonFutureLookingFilter_TimeVaryingWin::set_first_frame() {
    reset();
    _orientation_history.clear();
}

uint32_t NonFutureLookingFilter_TimeVaryingWin::update(const FrameRings& rings) {
    _orientation_history.push(rings.angles.newest());
    return step_state();
}

void NonFutureLookingFilter_TimeVaryingWin::follow_frame_rate(uint32_t frame_time_us) {
    const WindowTargets& targets = frame_time_us < kFastFrameTimeUs ? kFastTargets : kTargets;
    if (_params.first_use) {
        _params.first_use = false;
        _params.history_length = targets.history_length;
        _params.window_min = targets.window_min;
        _params.window_max = targets.window_max;
        return;
    }
    // One frame a frame, so that a change of rate glides.
    _params.history_length = one_step_toward(_params.history_length, targets.history_length);
    _params.window_min = one_step_toward(_params.window_min, targets.window_min);
    _params.window_max = one_step_toward(_params.window_max, targets.window_max);
}

uint32_t NonFutureLookingFilter_TimeVaryingWin::count_sign_changes(uint32_t axis,
                                                                   uint32_t num_frames) const {
    const uint32_t n = std::min(num_frames, _orientation_history.size());
    const uint32_t newest = _orientation_history.size() - 1;
    std::array<float, kMostFrames> values{};
    float sum = 0.0f;
    for (uint32_t i = 0; i < n; ++i) {
        values[i] = static_cast<float>(_orientation_history[newest - i][axis]);
        sum += values[i];
    }
    const float mean = sum / static_cast<float>(n);
    uint32_t changes = 0;
    for (uint32_t i = 0; i + 1 < n; ++i) {
        const float a = values[i] - mean;
        const float b = values[i + 1] - mean;
        changes += (a <= 0.0f && b > 0.0f) || (a >= 0.0f && b < 0.0f) ? 1 : 0;
    }
    return changes;
}

void NonFutureLookingFilter_TimeVaryingWin::update_window(uint32_t axis) {
    uint32_t& window = _window[axis];
    if (is_starting()) {
        window = std::min(frame_counter() + 1, _params.window_min);
        return;
    }
    if (_future_alpha[0] > 1.0) {
        const uint32_t shrink = breach_shrink(_future_alpha[0]);
        window = std::max({window - std::min(window, shrink), _params.window_floor, 1u});
        return;
    }
    const uint32_t history = _params.history_length;
    const bool is_long = history >= kMostFrames;
    const uint32_t all = is_long ? kMostFrames : std::max(history, kLeastFrames);
    const uint32_t half = is_long ? kMostFrames / 2 : std::max(history, kLeastFrames) / 2;
    const uint32_t changes =
        std::max(count_sign_changes(axis, all), count_sign_changes(axis, half));
    if (changes >= kShakeChanges) {
        window = std::min(window + kWindowStep, _params.window_max);
    } else if (changes == kSweepChanges && window >= _params.window_min + kWindowStep) {
        window = std::max({window - kWindowStep, _params.window_min, 1u});
    }
}

double NonFutureLookingFilter_TimeVaryingWin::average(uint32_t axis) const {
    const uint32_t window = std::min(_window[axis], _orientation_history.size());
    if (window == 0) {
        return 0.0;
    }
    const Kernel& kernel = _kernel[_window[axis] - 1];
    const uint32_t newest = _orientation_history.size() - 1;
    double sum = 0.0;
    for (uint32_t j = 0; j < window; ++j) {
        sum += static_cast<double>(kernel[j]) * _orientation_history[newest - j][axis];
    }
    return sum;
}

uint32_t NonFutureLookingFilter_TimeVaryingWin::filter_core(const FrameRings& rings) {
    follow_frame_rate(rings.inputs.oldest().frame_time);
    for (uint32_t axis = 0; axis < 3; ++axis) {
        update_window(axis);
        double output = average(axis);
        if (is_starting()) {
            const float part = static_cast<float>(frame_counter()) /
                               (static_cast<float>(_params.history_length) - 1.0f);
            const double fade = kFade * static_cast<double>(1.0f - part);
            if (fade > 0.0) {
                output *= 1.0 - fade;
            }
        }
        _filtered[0][axis] = output;
    }
    _alternative[0] = rings.angles.newest() + rings.inputs.newest().ois_rotation;
    return EIS_SUCCESS;
}

}  // namespace steadywarp
