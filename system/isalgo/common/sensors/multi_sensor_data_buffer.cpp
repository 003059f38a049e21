// SPDX-License-Identifier: Apache-2.0
#include "sensors/multi_sensor_data_buffer.hpp"

#include <algorithm>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "platform/os_utils.hpp"

namespace steadywarp {

MultiSensorDataBuffer::MultiSensorDataBuffer(uint32_t num_axes, uint32_t capacity,
                                             uint32_t num_sensors, const char* name,
                                             uint32_t& status)
    : _num_axes(num_axes), _samples(capacity) {
    Zelm::OsUtils::StrLCpy(_name, name, sizeof _name);
    const bool wants_runs = num_sensors >= 2;
    if (wants_runs) {
        _runs = allocate<RingBuffer<SampleRun>>(capacity);
    }
    const bool has_runs = _runs != nullptr && _runs->is_allocated();
    if (!_samples.is_allocated() || has_runs != wants_runs) {
        EIS_ERR("IS0004", "%s: constructor failed. Out of memory", _name);
        EIS_ERR("IS0002", "%s: Constructor failed", _name);
        status = EIS_ERROR_NO_MEMORY;
    }
}

void MultiSensorDataBuffer::push_run(uint32_t sensor) {
    SampleRun run = {sensor, 1};
    if (!_runs->is_empty() && _runs->newest().sensor == sensor) {
        run.run_length = std::min(_runs->newest().run_length + 1, _runs->capacity());
    }
    _runs->push(run);
}

void MultiSensorDataBuffer::clear() {
    _samples.clear();
    if (_runs != nullptr) {
        _runs->clear();
    }
}

}  // namespace steadywarp
