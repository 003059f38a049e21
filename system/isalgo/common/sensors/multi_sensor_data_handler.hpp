// SPDX-License-Identifier: Apache-2.0
/// @file multi_sensor_data_handler.hpp
/// One stream kind of all sensors: a gate for each sensor that has the stream.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "sensors/sensor_data_handler.hpp"
#include "sensors/sensor_init_info.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

class MultiSensorDataHandler {
  public:
    /// What sensor_to_slot() gives for a sensor without the stream.
    static constexpr uint32_t kNoSlot = 0xFFFFFFFFu;

    /// @param name stream name; a handler is called "<name>_#<sensor>".
    MultiSensorDataHandler(const MultiSensorInitInfo& info, const char* name, uint32_t& status);

    /// Judge a batch of `sensor`. Samples of a sensor without the stream are logged and pass.
    bool is_valid(const is_sample_array& samples, uint32_t sensor, uint32_t frame_id,
                  bool first_frame, const char* name, bool sensor_switched) const;

    uint32_t num_enabled() const { return _num_enabled; }
    uint32_t num_sensors() const { return _num_sensors; }
    uint32_t enabled_sensor(uint32_t slot) const { return _enabled_sensors[slot]; }
    uint32_t sensor_to_slot(uint32_t sensor) const {
        return sensor < _num_sensors ? _sensor_to_slot[sensor] : kNoSlot;
    }
    /// The gate of `sensor`; NULL if it does not have the stream.
    SensorDataHandler* handler(uint32_t sensor) const {
        const uint32_t slot = sensor_to_slot(sensor);
        return slot != kNoSlot ? _handlers[slot].get() : nullptr;
    }

  private:
    uint32_t _num_enabled = 0;
    uint32_t _num_sensors;
    std::array<uint32_t, EIS_MAX_NUM_SENSORS> _enabled_sensors;
    std::array<uint32_t, EIS_MAX_NUM_SENSORS> _sensor_to_slot;
    std::array<std::unique_ptr<SensorDataHandler>, EIS_MAX_NUM_SENSORS> _handlers;
};

}  // namespace steadywarp
