// SPDX-License-Identifier: Apache-2.0
/// @file sensor_init_info.hpp
/// What a sample stream is told of its configuration, for one sensor and for all of them.
#pragma once

#include <cstdint>

#include "steadywarp/eis.h"

namespace steadywarp {

/// Parameters of one stream of one sensor.
struct SensorInitInfo {
    float frequency = 0.0f;    ///< Hz, as configured
    float noise_floor = 0.0f;  ///< in the stream's own unit
    uint32_t num_axes = 0;
    uint32_t sensor_mount_angle = 0;  ///< degrees
    uint32_t camera_position = 0;     ///< 0 rear, 1 front
    uint32_t buffer_size = 0;         ///< samples
};

/// Parameters of one stream across all sensors. The configuration is borrowed.
class MultiSensorInitInfo : public SensorInitInfo {
  public:
    MultiSensorInitInfo(const is_init_common_data& common_data,
                        const is_init_sensor_data* sensor_data, uint32_t sensor_count)
        : common(common_data), sensors(sensor_data), num_sensors(sensor_count) {}
    virtual ~MultiSensorInitInfo() = default;

    /// Hz; 0: this sensor does not have the stream.
    virtual uint32_t get_frequency(uint32_t sensor) const = 0;
    virtual float get_noise_floor(uint32_t sensor) const = 0;

    /// Sensors that have the stream.
    uint32_t num_enabled_sensors() const {
        uint32_t count = 0;
        for (uint32_t sensor = 0; sensor < num_sensors; ++sensor) {
            count += get_frequency(sensor) != 0 ? 1 : 0;
        }
        return count;
    }

    const is_init_common_data& common;
    const is_init_sensor_data* sensors;
    uint32_t num_sensors;
};

}  // namespace steadywarp
