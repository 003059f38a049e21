// SPDX-License-Identifier: Apache-2.0
#include "sensors/scene_detection.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kWindow = 10;
constexpr uint32_t kStillFramesNeeded = 25;
constexpr uint32_t kHandheldFramesNeeded = 25;
constexpr float kActiveFraction = 0.25f;
constexpr uint32_t kLeastSamplesPerFrame = 3;

constexpr double kDefaultHandheldTh = 0.135;
constexpr double kDefaultPanningTh = 0.175;
constexpr double kDefaultStrongPanningTh = 0.35;

// The most that each hold can reach, in frames.
constexpr int32_t kShakeHoldLimit = 30;
constexpr int32_t kAxisHoldLimit = 30;
constexpr int32_t kPanHoldLimit = 12;

bool is_panning(SceneWord word) {
    return scene_type(word) == IS_SCENE_PANNING || scene_type(word) == IS_SCENE_STRONG_PANNING;
}

bool any_axis_reaches(const _sample_data_s& sample, double threshold) {
    return std::fabs(sample.data[0]) >= threshold || std::fabs(sample.data[1]) >= threshold ||
           std::fabs(sample.data[2]) >= threshold;
}

int32_t raised(int32_t hold, int32_t limit) {
    return std::min(hold, limit - 1) + 1;
}

int32_t lowered(int32_t hold, int32_t by) {
    return std::max(hold, by) - by;
}

double tuned_or(const is_tessaline_info_s& tuning, uint32_t slot, double fallback) {
    const bool is_tuned =
        eis_tuning_get_behaviour(&tuning, EIS_TUNING_MOTION_DETECTION_PARAMETER_MODE) != 0.0f;
    return is_tuned ? static_cast<double>(eis_tuning_get_behaviour(&tuning, slot)) : fallback;
}

}  // namespace

is_scene_detection to_scene_detection(SceneWord word) {
    is_scene_detection out{};
    out.scene_type = scene_type(word);
    if (is_panning(word)) {
        out.is_panning[0] = (word >> 30 & 1u) != 0;
        out.is_panning[1] = (word >> 29 & 1u) != 0;
        out.is_panning[2] = (word >> 28 & 1u) != 0;
    }
    return out;
}

SceneDetection::SceneDetection(const is_tessaline_info_s& tuning, uint32_t& status)
    : _samples(kWindow),
      _noise_floor(static_cast<double>(tuning.general.gyro_noise_floor)),
      _handheld_th(tuned_or(tuning, EIS_TUNING_MOTION_DETECTION_HANDHELD_TH, kDefaultHandheldTh)),
      _panning_th(tuned_or(tuning, EIS_TUNING_MOTION_DETECTION_PANNING_TH, kDefaultPanningTh)),
      _strong_panning_th(tuned_or(tuning, EIS_TUNING_MOTION_DETECTION_STRONG_PANNING_TH,
                                  kDefaultStrongPanningTh)) {
    if (!_samples.is_allocated()) {
        status = EIS_ERROR_NO_MEMORY;
    }
}

void SceneDetection::reset() {
    _samples.clear();
    _still_frames = 0;
    _handheld_frames = 0;
    _last_ts = 0;
    _scene = IS_SCENE_UNKNOWN;
    _pan_word = IS_SCENE_MOTION;
    _shake_hold = 0;
    _axis_hold = 0;
    _pan_hold = 0;
}

SceneDetection::BatchActivity SceneDetection::scan(const is_sample_array& samples) {
    BatchActivity activity;
    activity.first_new = samples.num_elements;
    for (uint32_t i = 0; i < samples.num_elements; ++i) {
        const _sample_data_s& sample = samples.samples[i];
        if (sample.ts <= _last_ts) {
            continue;
        }
        activity.first_new = std::min(activity.first_new, i);
        if (any_axis_reaches(sample, _noise_floor)) {
            ++activity.active;
            activity.strong += any_axis_reaches(sample, _handheld_th) ? 1 : 0;
        }
        _last_ts = sample.ts;
    }
    return activity;
}

void SceneDetection::update(const is_sample_array& samples, uint32_t dropped_frames,
                            bool sensor_switched) {
    const BatchActivity activity = scan(samples);
    const uint32_t num_new = samples.num_elements - activity.first_new;
    const uint64_t frames = uint64_t{dropped_frames} + 1;
    const uint32_t per_frame = static_cast<uint32_t>(num_new / frames);
    if (per_frame < kLeastSamplesPerFrame) {
        if (sensor_switched) {
            EIS_HIGH("IS0530",
                     "Sensor switch was detected and not enough gyro samples were supplied to "
                     "detect scene. using previous decision");
        } else {
            EIS_ERR("IS0003", "Gyro data drop is heavy for scene detection!");
            _scene = IS_SCENE_UNKNOWN;
        }
        return;
    }
    update_by_activity(activity, num_new);
    const uint32_t start = std::min(activity.first_new, samples.num_elements - 1);
    for (uint64_t frame = 0; frame < frames; ++frame) {
        _samples.push(samples.samples[start + frame * per_frame]);
    }
    if (_samples.is_full() && _scene > IS_SCENE_HANDHELD) {
        update_by_classification();
    } else {
        decay_holds();
    }
}

void SceneDetection::update_by_activity(const BatchActivity& activity, uint32_t num_new) {
    const float limit = static_cast<float>(num_new) * kActiveFraction;
    if (static_cast<float>(activity.active) <= limit) {
        ++_still_frames;
        _handheld_frames = 0;
        if (_scene == IS_SCENE_UNKNOWN || _still_frames >= kStillFramesNeeded) {
            _scene = IS_SCENE_STILL;
        }
    } else if (static_cast<float>(activity.strong) <= limit) {
        ++_handheld_frames;
        _still_frames = 0;
        if (_scene == IS_SCENE_UNKNOWN || _handheld_frames >= kHandheldFramesNeeded) {
            _scene = IS_SCENE_HANDHELD;
        }
    } else {
        _still_frames = 0;
        _handheld_frames = 0;
        _scene = IS_SCENE_MOTION;
    }
}

void SceneDetection::update_by_classification() {
    const SceneWord result = classify_scene(_samples);
    if (is_panning(result)) {
        _pan_word = result;
        _pan_hold = raised(_pan_hold, kPanHoldLimit);
    } else {
        _pan_hold = lowered(_pan_hold, 1);
    }
    // The classifier knows no result 3 today; the hold is kept for the day it does.
    _axis_hold = result == 3 ? raised(_axis_hold, kAxisHoldLimit) : lowered(_axis_hold, 1);
    _scene = IS_SCENE_MOTION;
    if (result == IS_SCENE_SHAKE) {
        _shake_hold = raised(_shake_hold, kShakeHoldLimit);
    } else if (result == IS_SCENE_HANDHELD) {
        _shake_hold = lowered(_shake_hold, 4);
        _scene = IS_SCENE_HANDHELD;
    } else {
        _shake_hold = lowered(_shake_hold, 1);
    }
    if (_shake_hold > 0 && _pan_hold < _shake_hold) {
        _scene = IS_SCENE_SHAKE;
    } else if (_shake_hold > 0 || _pan_hold > 0) {
        _scene = is_panning(result) ? result : _pan_word;
    }
}

void SceneDetection::decay_holds() {
    _shake_hold = lowered(_shake_hold, 4);
    _axis_hold = lowered(_axis_hold, 1);
    _pan_hold = lowered(_pan_hold, 1);
}

}  // namespace steadywarp
