// SPDX-License-Identifier: Apache-2.0
/// @file multi_sensor_data_buffer.hpp
/// The time-ordered store of one stream across all image sensors.
#pragma once

#include <cstdint>
#include <memory>

#include "base/ring_buffer.hpp"
#include "sensors/sensor_data_handler.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Which sensor a stored sample came from, and how many in a row up to it did.
struct SampleRun {
    uint32_t sensor = 0;
    uint32_t run_length = 0;  ///< this sample included; at most the ring's capacity
};

/// Samples of all sensors in one ring, in the order of their arrival.
///
/// With more than one sensor a second ring in lockstep labels each sample with its sensor, so that
/// a reader can keep the streams apart.
class MultiSensorDataBuffer {
  public:
    /// @param status set to EIS_ERROR_NO_MEMORY on failure or a capacity of 0.
    MultiSensorDataBuffer(uint32_t num_axes, uint32_t capacity, uint32_t num_sensors,
                          const char* name, uint32_t& status);

    /// Store a sample of `sensor`.
    void push(const _sample_data_s& sample, uint32_t sensor) {
        if (_sample_data_s* slot = push_slot(sensor); slot != nullptr) {
            *slot = sample;
        }
    }
    /// The same, but give the slot, which still holds what was in it; NULL without memory.
    _sample_data_s* push_slot(uint32_t sensor) {
        if (_runs != nullptr) {
            push_run(sensor);
        }
        return _samples.push_slot();
    }
    void clear();

    uint32_t num_axes() const { return _num_axes; }
    const char* name() const { return _name; }
    const RingBuffer<_sample_data_s>& samples() const { return _samples; }
    /// NULL when one sensor alone feeds the buffer.
    const RingBuffer<SampleRun>* runs() const { return _runs.get(); }

  private:
    void push_run(uint32_t sensor);

    uint32_t _num_axes;
    RingBuffer<_sample_data_s> _samples;
    std::unique_ptr<RingBuffer<SampleRun>> _runs;
    char _name[SensorDataHandler::kNameCapacity];
};

}  // namespace steadywarp
