// SPDX-License-Identifier: Apache-2.0
/// @file scene_detection.hpp
/// What the user is doing with the device, told from raw gyroscope rates.
#pragma once

#include <cstdint>

#include "base/ring_buffer.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// A scene word: the low 16 bits are the IS_SCENE_* type, bits 28 to 30 mark panning about the
/// device's x, y and z axis.
using SceneWord = uint32_t;

constexpr uint32_t scene_type(SceneWord word) {
    return word & 0xFFFFu;
}

/// The word as it leaves the library; the bits count for the two panning scenes only.
is_scene_detection to_scene_detection(SceneWord word);

class SceneDetection {
  public:
    /// @param tuning of sensor 0.
    /// @param status set to EIS_ERROR_NO_MEMORY on failure.
    SceneDetection(const is_tessaline_info_s& tuning, uint32_t& status);

    /// Take one frame's batch, which must hold at least one sample.
    ///
    /// @param dropped_frames frames lost ahead of this one.
    void update(const is_sample_array& samples, uint32_t dropped_frames, bool sensor_switched);

    /// Forget everything but the thresholds.
    void reset();

    SceneWord scene() const { return _scene; }

    /// The scene rests on a full window of samples, or is not ordinary motion.
    bool is_settled() const { return _samples.is_full() || scene_type(_scene) != IS_SCENE_MOTION; }

  private:
    struct BatchActivity {
        uint32_t first_new = 0;  // index of the first sample not seen before; the count if none
        uint32_t active = 0;     // new samples that reach the noise floor
        uint32_t strong = 0;     // of these, samples that reach the hand-held threshold
    };
    BatchActivity scan(const is_sample_array& samples);
    void update_by_activity(const BatchActivity& activity, uint32_t num_new);
    void update_by_classification();
    void decay_holds();

    RingBuffer<_sample_data_s> _samples;
    double _noise_floor;
    double _handheld_th;
    uint32_t _still_frames = 0;
    uint32_t _handheld_frames = 0;
    uint64_t _last_ts = 0;
    SceneWord _scene = IS_SCENE_UNKNOWN;
    SceneWord _pan_word = IS_SCENE_MOTION;
    // Kept for the tuning's sake: the classification decides by constants of its own.
    [[maybe_unused]] double _panning_th;
    [[maybe_unused]] double _strong_panning_th;
    int32_t _shake_hold = 0;
    int32_t _axis_hold = 0;
    int32_t _pan_hold = 0;
};

/// Classify a window of raw samples, oldest first in the ring.
///
/// @return 1 (no axis turns and few move), 2 (all axes move), or a panning scene word.
SceneWord classify_scene(const RingBuffer<_sample_data_s>& samples);

}  // namespace steadywarp
