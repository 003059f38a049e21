// SPDX-License-Identifier: Apache-2.0
#include "sensors/multi_sensor_data_handler.hpp"

#include <cstdio>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"

namespace steadywarp {

MultiSensorDataHandler::MultiSensorDataHandler(const MultiSensorInitInfo& info, const char* name,
                                               uint32_t& status)
    : _num_sensors(info.num_sensors) {
    _enabled_sensors.fill(kNoSlot);
    _sensor_to_slot.fill(kNoSlot);
    if (_num_sensors > EIS_MAX_NUM_SENSORS) {
        EIS_ERR("IS0003", "_num_sensors %u exceeds EIS_MAX_NUM_SENSORS %d", _num_sensors,
                static_cast<int>(EIS_MAX_NUM_SENSORS));
        status = EIS_ERROR_INVALID_INPUT;
        EIS_ERR("IS0004", "%s: Constructor failed - %d", name, static_cast<int>(status));
        _num_sensors = 0;
        return;
    }
    for (uint32_t sensor = 0; sensor < _num_sensors; ++sensor) {
        if (info.get_frequency(sensor) == 0) {
            continue;
        }
        SensorInitInfo own = info;
        own.frequency = static_cast<float>(info.get_frequency(sensor));
        own.noise_floor = info.get_noise_floor(sensor);
        own.sensor_mount_angle = info.sensors[sensor].sensor_mount_angle;
        own.camera_position = info.sensors[sensor].camera_position;
        char own_name[SensorDataHandler::kNameCapacity];
        std::snprintf(own_name, sizeof own_name, "%s_#%u", name, sensor);

        const uint32_t slot = _num_enabled;
        uint32_t own_status = EIS_SUCCESS;
        _handlers[slot] = allocate<SensorDataHandler>(own, own_name, true, own_status);
        if (_handlers[slot] == nullptr) {
            EIS_ERR("IS0004", "%s: Out of memory", "SensorDataHandler");
            status = EIS_ERROR_NO_MEMORY;
            return;
        }
        if (own_status != EIS_SUCCESS) {
            EIS_ERR("IS0004", "%s: Constructor failed - %d", own_name,
                    static_cast<int>(own_status));
            status = own_status;
            return;
        }
        _enabled_sensors[slot] = sensor;
        _sensor_to_slot[sensor] = slot;
        ++_num_enabled;
    }
}

bool MultiSensorDataHandler::is_valid(const is_sample_array& samples, uint32_t sensor,
                                      uint32_t frame_id, bool first_frame, const char* name,
                                      bool sensor_switched) const {
    const SensorDataHandler* own = handler(sensor);
    if (own == nullptr) {
        if (samples.num_elements != 0) {
            EIS_ERR("IS0003",
                    "%s: frame_id %u : Sensor #%u is disabled but %u samples were received. "
                    "Samples will be ignored",
                    name, frame_id, sensor, samples.num_elements);
        }
        return true;
    }
    if (!own->is_valid(samples, frame_id, first_frame, sensor_switched)) {
        EIS_ERR("IS0002", "%s: frame_id %u : Invalid data from sensor #%u", name, frame_id, sensor);
        return false;
    }
    return true;
}

}  // namespace steadywarp
