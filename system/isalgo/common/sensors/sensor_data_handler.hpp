// SPDX-License-Identifier: Apache-2.0
/// @file sensor_data_handler.hpp
/// The gate of one sample stream of one sensor: measures its rate and judges each batch.
#pragma once

#include <cstdint>

#include "base/ring_buffer.hpp"
#include "sensors/axis_map.hpp"
#include "sensors/sensor_init_info.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Mean sample rate over the pairs of a batch whose time rises.
///
/// @param name stream name, for the message about a batch too short to tell.
/// @param frequency receives Hz, or 0 when there is no estimate.
void estimate_frequency(const is_sample_array& samples, const char* name, float& frequency);

class SensorDataHandler {
  public:
    static constexpr uint32_t kNameCapacity = 32;

    /// @param name cut to 31 bytes.
    /// @param tolerate_gaps whether a gap between two batches is only logged.
    /// @param status left alone on success.
    SensorDataHandler(const SensorInitInfo& info, const char* name, bool tolerate_gaps,
                      uint32_t& status);
    virtual ~SensorDataHandler() = default;
    SensorDataHandler(const SensorDataHandler&) = delete;
    SensorDataHandler& operator=(const SensorDataHandler&) = delete;

    /// Take the rate of a stream's first batch into the running average.
    void update_frequency(const is_sample_array& samples);

    /// Judge a batch before any of it is taken. An empty batch passes.
    ///
    /// @param first_frame the frame opens a stream.
    /// @param sensor_switched the frame before came from another sensor.
    bool is_valid(const is_sample_array& samples, uint32_t frame_id, bool first_frame,
                  bool sensor_switched) const;

    const char* name() const { return _name; }
    float noise_floor() const { return _noise_floor; }
    float average_frequency() const { return _average_frequency; }

    /// The measured rate, or the configured one while nothing was measured, Hz.
    float frequency() const {
        return _average_frequency > 0.0f ? _average_frequency : _requested_frequency;
    }

    /// Remember the interval that a caller was asked for.
    void set_requested_interval(const is_time_interval& interval) { _requested = interval; }
    const is_time_interval& requested_interval() const { return _requested; }

    /// The newest sample taken; all zero before the first.
    const _sample_data_s& last_sample() const { return _last_sample; }
    void set_last_sample(const _sample_data_s& sample) { _last_sample = sample; }

    /// From the device's axes to the camera's.
    const AxisMap& axis_map() const { return *_axis_map; }
    /// Use another mapping than that of the device; it must live on.
    void set_axis_map(const AxisMap& mapping) { _axis_map = &mapping; }
    void rotate(_sample_data_s& sample) const { _axis_map->rotate(sample); }

    /// Choose the rotation by the axis table in eis.h.
    void update_rotate(uint32_t sensor_mount_angle, uint32_t camera_position, uint32_t& status);

  private:
    float period_us() const { return 1e6f / _average_frequency; }
    bool is_valid_frequency(const is_sample_array& samples, uint32_t frame_id) const;
    bool is_valid_samples_spacings(const is_sample_array& samples, uint32_t frame_id) const;
    bool is_valid_frame_time(const is_sample_array& samples, uint32_t frame_id) const;
    bool is_vaild_samples(const is_sample_array& samples, uint32_t frame_id) const;

    uint32_t _max_frequency;
    bool _tolerate_gaps;
    char _name[kNameCapacity];
    RingBuffer<float> _frequency_history;
    float _noise_floor;
    float _average_frequency;
    float _requested_frequency;
    is_time_interval _requested{};
    _sample_data_s _last_sample{};
    const AxisMap* _axis_map = &kSameAxes;
};

/// Log a pair of neighbours whose time falls, or stands, with equal or other data.
/// @param name stream name.
void log_time_that_does_not_rise(const _sample_data_s& earlier, const _sample_data_s& later,
                                 const char* name, uint32_t frame_id);

/// Whether the time of two neighbours rises; logged if not.
inline bool check_time_rises(const _sample_data_s& earlier, const _sample_data_s& later,
                             const char* name, uint32_t frame_id) {
    if (later.ts > earlier.ts) {
        return true;
    }
    log_time_that_does_not_rise(earlier, later, name, frame_id);
    return false;
}

}  // namespace steadywarp
