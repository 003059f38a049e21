// SPDX-License-Identifier: Apache-2.0
#include "interface/eis_context.hpp"

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "sensors/bias_estimator.hpp"

namespace steadywarp {
namespace {

// Hardware that takes grid and matrix apart ends here.
constexpr uint32_t kLastSplittingDeployment = DEP_TYPE_ICA_V30;

bool effective_force_split(const is_init_common_data& common) {
    if (common.deployment_type > kLastSplittingDeployment) {
        return false;
    }
    return common.is_sat_enabled || common.force_split_grid_matrix;
}

}  // namespace

uint32_t effective_operation_mode(const is_init_common_data& common) {
    switch (common.operation_mode) {
        case IS_OPT_CALIBRATION_SYMMETRIC:
        case IS_OPT_CALIBRATION_ASYMMETRIC:
        case IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST:
        case IS_OPT_UNDISTORTION_ONLY:
            return common.is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY ? uint32_t{IS_OPT_REGULAR}
                                                                        : common.operation_mode;
        default:
            return common.operation_mode;
    }
}

uint32_t calc_num_needed_buffers(uint32_t is_type, uint32_t buffer_delay) {
    switch (is_type) {
        case IS_TYPE_EIS_2_0:
        case IS_TYPE_EIS_3_0:
            return buffer_delay;
        case IS_TYPE_DISTORTION_CORRECTION_ONLY:
            return 0;
        default:
            EIS_ERR("IS0003", "Invalid is_type: %u", is_type);
            return 0;
    }
}

eis_context_distortion_correction::eis_context_distortion_correction(
    const is_init_common_data& common, const is_init_sensor_data* sensors, uint32_t num_sensors,
    uint32_t& status, uint32_t own_status)
    : stage(common, sensors, num_sensors, own_status) {
    const uint32_t num_buffers = calc_num_needed_buffers(common.is_type, common.buffer_delay);
    if (num_buffers != 0) {
        grid_buffer = allocate<StoredOutputRing>(num_buffers);
        if (grid_buffer == nullptr || !grid_buffer->is_allocated()) {
            EIS_ERR("IS0004", "Failed to allocate grid buffer");
            own_status = EIS_ERROR_NO_MEMORY;
        }
    }
    if (own_status != EIS_SUCCESS) {
        status = own_status;
        return;
    }
    _start_guard = kStartGuard;
    _end_guard = kEndGuard;
}

eis_context_stabilize::eis_context_stabilize(const is_init_common_data& common,
                                             const is_init_sensor_data* sensors,
                                             uint32_t num_sensors,
                                             const StabilizerDistortionCorrection& stage,
                                             uint32_t& status)
    : dis_delay(calc_dis_delay(common, sensors, num_sensors)),
      eis(common, sensors, num_sensors, dis_delay, stage, status) {
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "_eis constructor has failed");
        return;
    }
    if (dis_delay != 0) {
        _dis = allocate<DisStabilizer>(dis_delay);
        if (_dis == nullptr) {
            EIS_ERR("IS0004", "DisStabilizer() constructor has failed");
            return;
        }
    }
    status = init_mode(common);
    if (status != EIS_SUCCESS) {
        return;
    }
    _start_guard = kStartGuard;
    _end_guard = kEndGuard;
}

void eis_context_stabilize::reset() {
    eis.reset();
    if (_dis != nullptr) {
        _dis->reset();
    }
    if (test_borders != nullptr) {
        test_borders->reset();
    }
}

uint32_t eis_context_stabilize::init_mode(const is_init_common_data& common) {
    if (common.operation_mode == IS_OPT_TEST_MARGINS_LIMITS) {
        test_borders = allocate<TestModeBorders>();
        if (test_borders == nullptr) {
            EIS_ERR("IS0004", "TestModeBorders() constructor has failed");
            return EIS_ERROR_GENERAL;
        }
    }
    if (is_robust_operation_mode(common.operation_mode)) {
        _buffer_calib_mode_robust = allocate<RobustRing>(common.buffer_delay);
        if (_buffer_calib_mode_robust == nullptr || !_buffer_calib_mode_robust->is_allocated()) {
            EIS_ERR("IS0004", "Failed to allocate _buffer_calib_mode_robust");
            return EIS_ERROR_NO_MEMORY;
        }
    }
    return EIS_SUCCESS;
}

}  // namespace steadywarp

eis_context::eis_context(const is_init_common_data& common, const is_init_sensor_data* sensor_data,
                         uint32_t num_sensors, uint32_t& status)
    : do_virtual_upscale_in_transform(common.do_virtual_upscale_in_transform),
      force_split_grid_matrix(steadywarp::effective_force_split(common)),
      is_sat_enabled(common.is_sat_enabled),
      operation_mode(steadywarp::effective_operation_mode(common)),
      deployment_type(common.deployment_type),
      is_type(common.is_type),
      buffer_delay(common.buffer_delay),
      sensors(common, sensor_data, num_sensors, status),
      output_height(common.output_height),
      output_width(common.output_width),
      _samplers(common, sensor_data, num_sensors, status),
      distortion(common, sensor_data, num_sensors, status) {
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis_context constructor failed");
        return;
    }
    if (is_type == IS_TYPE_EIS_2_0 || is_type == IS_TYPE_EIS_3_0) {
        _stabilize = steadywarp::allocate<steadywarp::eis_context_stabilize>(
            common, sensor_data, num_sensors, distortion.stage, status);
        if (_stabilize == nullptr) {
            status = EIS_ERROR_NO_MEMORY;
        }
        if (status != EIS_SUCCESS) {
            EIS_ERR("IS0002", "eis_context_stabilize constructor failed");
        }
    }
    if (!sensors.is_allocated()) {
        EIS_ERR("IS0002", "sensor data constructor failed");
        status = EIS_ERROR_NO_MEMORY;
    }
    if (status != EIS_SUCCESS) {
        return;
    }
    steadywarp::BiasEstimatorSingleton::instance(&_samplers.gyro.axis_map());
    _start_guard = steadywarp::kStartGuard;
    _end_guard = steadywarp::kEndGuard;
}

bool eis_context::is_intact() const {
    if (_start_guard != steadywarp::kStartGuard || _end_guard != steadywarp::kEndGuard) {
        return false;
    }
    return _samplers.is_intact() && distortion.is_intact() &&
           (_stabilize == nullptr || _stabilize->is_intact());
}
