// SPDX-License-Identifier: Apache-2.0
/// @file gyro_handler.hpp
/// The gyroscope: one for the device, whatever the number of cameras.
#pragma once

#include <cstdint>

#include "sensors/multi_sensor_data_buffer.hpp"
#include "sensors/sensor_data_handler.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Samples that `frequency_hz` needs in the orientation ring.
uint32_t gyro_buffer_capacity(uint32_t frequency_hz);

/// Turns rates into a running orientation.
///
/// The ring holds integrated angles about the camera's axes in radians, counted from the stream's
/// first sample; only their differences mean anything.
class GyroHandler : public SensorDataHandler, public MultiSensorDataBuffer {
  public:
    GyroHandler(const SensorInitInfo& info, uint32_t& status);

    /// Take the samples of a batch that are newer than the last one taken.
    ///
    /// angle += (rate before + rate now) * dt / 2. A sample that is not finite is logged and
    /// passed over: one bad word must not spoil the orientation for the rest of the stream.
    ///
    /// @param is_still the device does not move: its rates count as zero.
    void integrate_gyro(const is_sample_array& samples, bool is_still);

    /// Forget orientation and last sample; keeps the measured rate.
    void reset();

    const char* name() const { return SensorDataHandler::name(); }
};

}  // namespace steadywarp
