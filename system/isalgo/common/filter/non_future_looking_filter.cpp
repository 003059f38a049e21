// SPDX-License-Identifier: Apache-2.0
#include "filter/non_future_looking_filter.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

using platform::Double2;
using platform::Double4;
using platform::Float4;
using platform::Int4;

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
constexpr int32_t kShakeChanges = 4;
// A single change means a slow sweep that the view should follow.
constexpr int32_t kSweepChanges = 1;
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

// Add the values before `end` in their order, all axes side by side.
void add_up(const Float4* values, const Float4* end, Float4& sum) {
    const Float4* const end_of_fours = end - (end - values) % 4;
    Float4 total = sum;
    for (; values != end_of_fours; values += 4) {
        total = total + values[0] + values[1] + values[2] + values[3];
    }
    for (; values != end; ++values) {
        total += *values;
    }
    sum = total;
}

// Which lanes lie above and below their mean; a lane that is true is -1.
struct Sides {
    Int4 above;
    Int4 below;

    Sides(const Float4& value, const Float4& mean) : above(value > mean), below(value < mean) {}
    // The lanes that came to one of the sides since `before`.
    [[gnu::always_inline]] void add_arrivals(const Sides& before, Int4& changes) const {
        changes -= (above & ~before.above) | (below & ~before.below);
    }
};

// How often the values of each axis go from one side of their mean to the other, or leave it.
void count_sign_changes(const Float4* values, uint32_t n, const Float4& mean, Int4& changes) {
    const Float4* const end = values + n;
    changes = Int4{};
    Sides last(*values++, mean);
    const Float4* const end_of_fours = values + (n - 1) / 4 * 4;
    for (; values != end_of_fours; values += 4) {
        const Sides first(values[0], mean);
        const Sides second(values[1], mean);
        const Sides third(values[2], mean);
        first.add_arrivals(last, changes);
        second.add_arrivals(first, changes);
        third.add_arrivals(second, changes);
        last = Sides(values[3], mean);
        last.add_arrivals(third, changes);
    }
    for (; values != end; ++values) {
        const Sides next(*values, mean);
        next.add_arrivals(last, changes);
        last = next;
    }
    // Values that are out of range have no mean to lie about; nothing changes then.
    const Float4 none = mean - mean;
    changes &= none == none;
}

// x and y, z and 0 of the sum.
[[gnu::always_inline]] inline void add_product(const OrientationHistory::Lanes& angles,
                                               double weight, Double2 (&sum)[2]) {
    for (uint32_t half = 0; half < 2; ++half) {
        Double2 products;
        platform::LoadLanes(&angles[2 * half], products);
        products *= weight;
        sum[half] += products;
    }
}

bool all_shake(const Int4& changes) {
    return std::min({changes[0], changes[1], changes[2]}) >= kShakeChanges;
}

}  // namespace

NonFutureLookingFilter_TimeVaryingWin::NonFutureLookingFilter_TimeVaryingWin(
    const Camera* cameras, const BlurMaskingParams* blur, unsigned int num_sensors,
    const FilterNFL_TimeVaryingW_Params* params, uint32_t& status)
    : Filter(cameras, blur, num_sensors, params->blend, params->blend_blur, params->buffer_size,
             status),
      _params(*params) {
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

// The larger number of changes among all frames looked at and among their newest half, which is not
// asked where all of them have enough.
std::array<int32_t, 3> NonFutureLookingFilter_TimeVaryingWin::most_sign_changes() const {
    const uint32_t history = _params.history_length;
    const uint32_t wanted = history >= kMostFrames ? kMostFrames : std::max(history, kLeastFrames);
    const uint32_t all = std::min(wanted, _orientation_history.size());
    const uint32_t half = std::min(wanted / 2, _orientation_history.size());
    const Float4* values = _orientation_history.singles();
    Float4 sum{};
    add_up(values, values + half, sum);
    const Float4 mean_of_half = sum / static_cast<float>(half);
    add_up(values + half, values + all, sum);
    Int4 changes;
    count_sign_changes(values, all, sum / static_cast<float>(all), changes);
    Int4 changes_of_half = changes;
    if (!all_shake(changes)) {
        count_sign_changes(values, half, mean_of_half, changes_of_half);
    }
    std::array<int32_t, 3> most;
    for (uint32_t axis = 0; axis < 3; ++axis) {
        most[axis] = std::max(changes[axis], changes_of_half[axis]);
    }
    return most;
}

void NonFutureLookingFilter_TimeVaryingWin::update_windows() {
    if (is_starting()) {
        _window.fill(std::min(frame_counter() + 1, _params.window_min));
        return;
    }
    if (_future_alpha[0] > 1.0) {
        const uint32_t shrink = breach_shrink(_future_alpha[0]);
        for (uint32_t& window : _window) {
            window = std::max({window - std::min(window, shrink), _params.window_floor, 1u});
        }
        return;
    }
    const std::array<int32_t, 3> changes = most_sign_changes();
    for (uint32_t axis = 0; axis < 3; ++axis) {
        uint32_t& window = _window[axis];
        if (changes[axis] >= kShakeChanges) {
            window = std::min(window + kWindowStep, _params.window_max);
        } else if (changes[axis] == kSweepChanges && window >= _params.window_min + kWindowStep) {
            window = std::max({window - kWindowStep, _params.window_min, 1u});
        }
    }
}

// The average of every axis under one window, products added newest first.
Vec3<double> NonFutureLookingFilter_TimeVaryingWin::average(uint32_t window) const {
    if (window == 0) {
        return {};
    }
    const float* kernel = _kernel[window - 1].data();
    const OrientationHistory::Lanes* angles = _orientation_history.angles();
    const uint32_t frames = std::min(window, _orientation_history.size());
    const float* const end = kernel + frames;
    const float* const end_of_fours = end - frames % 4;
    Double2 sum[2] = {};
    for (; kernel != end_of_fours; kernel += 4, angles += 4) {
        Float4 narrow;
        platform::LoadLanes(kernel, narrow);
        const Double4 weights = __builtin_convertvector(narrow, Double4);
        add_product(angles[0], weights[0], sum);
        add_product(angles[1], weights[1], sum);
        add_product(angles[2], weights[2], sum);
        add_product(angles[3], weights[3], sum);
    }
    for (; kernel != end; ++kernel, ++angles) {
        add_product(*angles, static_cast<double>(*kernel), sum);
    }
    return {sum[0][0], sum[0][1], sum[1][0]};
}

uint32_t NonFutureLookingFilter_TimeVaryingWin::filter_core(const FrameRings& rings) {
    follow_frame_rate(rings.inputs.oldest().frame_time);
    update_windows();
    double kept = 1.0;
    if (is_starting()) {
        const float part = static_cast<float>(frame_counter()) /
                           (static_cast<float>(_params.history_length) - 1.0f);
        const double fade = kFade * static_cast<double>(1.0f - part);
        kept = fade > 0.0 ? 1.0 - fade : 1.0;
    }
    Vec3<double> averages;
    for (uint32_t axis = 0; axis < 3; ++axis) {
        // Mostly all axes have one window, and then one pass.
        if (axis == 0 || _window[axis] != _window[axis - 1]) {
            averages = average(_window[axis]);
        }
        _filtered[0][axis] = averages[axis] * kept;
    }
    _alternative[0] = rings.angles.newest() + rings.inputs.newest().ois_rotation;
    return EIS_SUCCESS;
}

}  // namespace steadywarp
