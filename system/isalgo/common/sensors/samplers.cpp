// SPDX-License-Identifier: Apache-2.0
#include "sensors/samplers.hpp"

#include "base/allocation.hpp"
#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

// Rows that the finer warp hardware could take; the passes use kTimeRows whatever the hardware.
constexpr uint32_t kRowsOfFineHardware = 51;

// There is one gyroscope: sensor 0 speaks for it.
SensorInitInfo gyro_init_info(const is_init_sensor_data& sensor) {
    const uint32_t frequency = sensor.tuning.top.gyro_frequency;
    SensorInitInfo info;
    info.frequency = static_cast<float>(frequency);
    info.noise_floor = sensor.tuning.general.gyro_noise_floor;
    info.num_axes = 3;
    info.sensor_mount_angle = sensor.sensor_mount_angle;
    info.camera_position = sensor.camera_position;
    info.buffer_size = gyro_buffer_capacity(frequency);
    return info;
}

}  // namespace

eis_context_samplers::eis_context_samplers(const is_init_common_data& common,
                                           const is_init_sensor_data* sensors, uint32_t num_sensors,
                                           uint32_t& status, uint32_t own_status)
    : gyro(gyro_init_info(sensors[0]), own_status),
      scene(sensors[0].tuning, own_status),
      _num_interp_points(common.deployment_type == DEP_TYPE_ICA_V30 ? kRowsOfFineHardware
                                                                    : kTimeRows) {
    if (own_status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis_context_samplers failed");
        if (own_status == EIS_ERROR_NO_MEMORY) {
            EIS_ERR("IS0004", "Out of Memory");
        }
        status = own_status;
        return;
    }
    _angles = allocate_array<Vec3<double>>(_num_interp_points);
    if (_angles == nullptr) {
        EIS_ERR("IS0002", "Failed to allocate _angles");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    const IFOVCInitInfo ifovc_info(common, sensors, num_sensors);
    const OISInitInfo ois_info(common, sensors, num_sensors);
    const bool wants_ifovc = common.is_ifovc_enabled && ifovc_info.num_enabled_sensors() != 0;
    const bool wants_ois = common.is_ois_enabled && ois_info.num_enabled_sensors() != 0;
    if ((wants_ifovc && !build_ifovc(ifovc_info, status)) ||
        (wants_ois && !build_ois(ois_info, status))) {
        return;
    }
    _start_guard = kStartGuard;
    _end_guard = kEndGuard;
}

bool eis_context_samplers::build_ifovc(const IFOVCInitInfo& info, uint32_t& status) {
    uint32_t own_status = EIS_SUCCESS;
    ifovc = allocate<IFOVCHandler>(info, own_status);
    if (ifovc == nullptr || own_status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Failed to construct IFOVCDataHandler()");
        status = ifovc == nullptr ? uint32_t{EIS_ERROR_NO_MEMORY} : own_status;
        return false;
    }
    _ifovc_scales = allocate_array<double>(_num_interp_points);
    if (_ifovc_scales == nullptr) {
        EIS_ERR("IS0002", "Failed to allocate _ifovc_scales");
        status = EIS_ERROR_NO_MEMORY;
        return false;
    }
    return true;
}

bool eis_context_samplers::build_ois(const OISInitInfo& info, uint32_t& status) {
    uint32_t own_status = EIS_SUCCESS;
    ois = allocate<OISHandler>(info, kOisMaxHalf, own_status);
    if (ois == nullptr || own_status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Failed to construct OISShiftsDataHandler()");
        status = ois == nullptr ? uint32_t{EIS_ERROR_NO_MEMORY} : own_status;
        return false;
    }
    _ois_samples = allocate_array<Point2>(_num_interp_points);
    if (_ois_samples == nullptr) {
        EIS_ERR("IS0002", "Failed to allocate _ois_samples");
        status = EIS_ERROR_NO_MEMORY;
        return false;
    }
    return true;
}

void eis_context_samplers::reset() {
    gyro.reset();
    scene.reset();
    if (ois != nullptr) {
        ois->reset();
    }
    if (ifovc != nullptr) {
        ifovc->reset();
    }
}

}  // namespace steadywarp
