// SPDX-License-Identifier: Apache-2.0
// The motion between two moments of two sensors.
#include "base/eis_log.hpp"
#include "interface/context_check.hpp"
#include "interface/device_rotation.hpp"
#include "steadywarp/eis_utility.h"
#include "validation/frame_validation.hpp"

namespace steadywarp {
namespace {

// Every test runs; the count of faults decides.
bool is_valid_input_get_device_rotation_delta(const eis_context& context,
                                              const is_alignment_request& request) {
    const uint64_t last_gyro_time = context._samplers.gyro.last_sample().ts;
    uint32_t errors = 0;
    if (request.src_mof_gyro_time > last_gyro_time) {
        EIS_ERR("IS0014", "src_mof_gyro_time: %lu is after last gyro time the instance got: %lu",
                request.src_mof_gyro_time, last_gyro_time);
        ++errors;
    }
    if (request.src_sensor_index >= context.sensors.size()) {
        EIS_ERR("IS0014", "Invalid src_sensor_index: %u", request.src_sensor_index);
        ++errors;
    }
    if (!is_valid_window_regions(request.src_window_regions)) {
        EIS_ERR("IS0014", "Invalid src_window_regions for sensor index: %u",
                request.src_sensor_index);
        ++errors;
    }
    if (request.dst_mof_gyro_time > last_gyro_time) {
        EIS_ERR("IS0014", "dst_mof_gyro_time: %lu is after last gyro time the instance got: %lu",
                request.dst_mof_gyro_time, last_gyro_time);
        ++errors;
    }
    if (request.dst_sensor_index >= context.sensors.size()) {
        EIS_ERR("IS0014", "Invalid dst_sensor_index: %u", request.dst_sensor_index);
        ++errors;
    }
    if (!is_valid_window_regions(request.dst_window_regions)) {
        EIS_ERR("IS0014", "Invalid dst_window_regions for sensor index: %u",
                request.dst_sensor_index);
        ++errors;
    }
    if (errors != 0) {
        EIS_ERR("IS0002", "Found %u errors", errors);
    }
    return errors == 0;
}

}  // namespace
}  // namespace steadywarp

uint32_t eis_internal_utility_calc_alignment_matrix(eis_context* context,
                                                    const is_alignment_request* request,
                                                    NcLibWarpMatrices* alignment) {
    EIS_CHECK_ENTRY(
        context, request != nullptr && alignment != nullptr && alignment->perspMatrices != nullptr);
    if (!steadywarp::is_valid_input_get_device_rotation_delta(*context, *request)) {
        EIS_ERR("IS0003", "Invalid input");
        return EIS_ERROR_INVALID_INPUT;
    }
    return steadywarp::get_device_rotation_delta(
        *context,
        {request->src_window_regions, request->src_mof_gyro_time, request->src_sensor_index},
        {request->dst_window_regions, request->dst_mof_gyro_time, request->dst_sensor_index},
        *alignment);
}

uint32_t eis_utility_calc_alignment_matrix(eis_context* context, uint32_t src_sensor,
                                           uint64_t src_time, const is_window_regions* src_regions,
                                           uint32_t dst_sensor, uint64_t dst_time,
                                           const is_window_regions* dst_regions,
                                           NcLibWarpMatrices* alignment) {
    if (context == nullptr || src_regions == nullptr || dst_regions == nullptr ||
        alignment == nullptr || alignment->perspMatrices == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    const is_alignment_request request = {*src_regions, src_time, src_sensor,
                                          *dst_regions, dst_time, dst_sensor};
    return eis_internal_utility_calc_alignment_matrix(context, &request, alignment);
}
