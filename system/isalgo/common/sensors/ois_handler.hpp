// SPDX-License-Identifier: Apache-2.0
/// @file ois_handler.hpp
/// The lens-shift streams of all sensors.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/vec3.hpp"
#include "sensors/multi_sensor_data_buffer.hpp"
#include "sensors/multi_sensor_data_handler.hpp"
#include "sensors/ois_filter.hpp"
#include "sensors/resampling.hpp"

namespace steadywarp {

/// Longest half length of the window that lens-shift samples are averaged under.
inline constexpr uint32_t kOisMaxHalf = 5;

class OISInitInfo final : public MultiSensorInitInfo {
  public:
    OISInitInfo(const is_init_common_data& common_data, const is_init_sensor_data* sensor_data,
                uint32_t sensor_count);
    uint32_t get_frequency(uint32_t sensor) const override {
        return sensors[sensor].tuning.top.ois_frequency;
    }
    float get_noise_floor(uint32_t sensor) const override {
        return sensors[sensor].tuning.general.ois_noise_floor;
    }
};

/// Choose the mapping that takes raw lens-shift axes to the picture's.
///
/// @param axis_x,axis_y 1, -1, 2 or -2: which raw axis, with which sign, feeds x and y.
/// @param status set to EIS_ERROR_INVALID_INPUT if there is no such mapping.
const AxisMap& lens_axes(int32_t axis_x, int32_t axis_y, uint32_t& status);

class OISHandler : public MultiSensorDataHandler, public MultiSensorDataBuffer {
  public:
    /// @param max_half longest half length of the averaging window.
    OISHandler(const OISInitInfo& info, uint32_t max_half, uint32_t& status);

    /// Judge a batch; false is an error of the frame.
    bool is_valid(const is_sample_array& samples, uint32_t sensor, uint32_t frame_id,
                  bool first_frame, bool sensor_switched) const;

    /// Take the samples of a batch that are newer than the sensor's last one.
    /// @param ois_offset microseconds, subtracted from their times.
    void process_input(const is_sample_array& samples, uint32_t sensor, int32_t ois_offset);

    /// Choose every sensor's window for a frame of this period, microseconds.
    void retune(uint32_t frame_time);

    /// Resample both axes of the request's sensor, which must have the stream.
    InterpStats interp(const InterpRequest& request, Point2* out) const;

    /// Forget all samples.
    void reset();

  private:
    void update_rotate_axes(const OISInitInfo& info, uint32_t& status);

    std::array<std::unique_ptr<OISFilter>, EIS_MAX_NUM_SENSORS> _filters;  ///< by slot
};

}  // namespace steadywarp
