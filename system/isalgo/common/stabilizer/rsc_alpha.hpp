// SPDX-License-Identifier: Apache-2.0
/// @file rsc_alpha.hpp
/// Scales the rolling-shutter correction of a front camera down, where all of it distorts faces.
#pragma once

#include <cstdint>

#include "base/ring_buffer.hpp"
#include "sensors/scene_detection.hpp"
#include "steadywarp/eis_tuning.h"

namespace steadywarp {

class RscAlpha {
  public:
    /// Whether a sensor in this position with this tuning has one at all.
    static bool is_wanted(uint32_t camera_position, const is_tessaline_info_s& tuning);

    /// @param status set to EIS_ERROR_NO_MEMORY on failure.
    RscAlpha(const is_tessaline_info_s& tuning, uint32_t& status);

    /// Take in one frame.
    ///
    /// @param turn_over_frame sum over the axes of how far the camera turned from the frame's
    ///        first to its last row, radians.
    /// @return the factor for this frame's row angles, 0 to 1.
    float update(double turn_over_frame, bool scene_settled, SceneWord scene, uint32_t frame_id,
                 uint64_t first_ts, uint64_t last_ts);

    /// Forget the history; the factor is 1 again.
    void reset();

    float alpha() const { return _alpha; }
    bool uses_defaults() const { return _using_defaults != 0; }

  private:
    struct Entry {
        float value = 1.0f;
        uint32_t frame_id = 0;
        uint64_t first_ts = 0;
        uint64_t last_ts = 0;
    };
    float target(float turn_over_frame, bool scene_settled, SceneWord scene) const;

    float _alpha = 1.0f;
    RingBuffer<Entry> _history;
    uint32_t _using_defaults = 1;
    float _angle_delta_th_low = 0.015f;  // radians
    float _angle_delta_th_high = 0.04f;  // radians
    float _factor_high = 0.01f;
    float _kernel_decrease = 0.25f;  // weight of an entry above the present factor
    float _kernel_increase = 2.0f;   // weight of any other entry
};

}  // namespace steadywarp
