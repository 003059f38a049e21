// SPDX-License-Identifier: Apache-2.0
// The public names. Each is the function behind it under another name; the two deprecated ones say
// so first.
#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace {

// The line carries the name of the function that was called.
void log_deprecated(const char* function, int line) {
    steadywarp::eis_log("[ERR] ", "IS0530", function, line,
                        "Deprecated API. Use eis2_get_time_intervals() instead");
}

}  // namespace

uint32_t eis2_initialize(eis_context** context, const is_init_common_data* common,
                         const is_init_sensor_data* sensors, uint32_t num_sensors) {
    return eis_internal_init(context, common, sensors, num_sensors);
}

uint32_t eis2_deinitialize(eis_context** context) {
    return eis_internal_destroy(context);
}

uint32_t eis2_get_stabilization_margin_ex(const is_margin_query* query, is_margins* margins) {
    return eis_internal_get_stabilization_margin_ex(query, margins);
}

uint32_t eis2_get_stabilization_crop_ratio_ex(const is_margin_query* query, double* ratio_x,
                                              double* ratio_y) {
    return eis_internal_get_stabilization_crop_ratio_ex(query, ratio_x, ratio_y);
}

uint32_t eis2_get_stabilization_margin(eis_context* context, uint32_t sensor_idx,
                                       is_margins* margins) {
    return eis_internal_get_stabilization_margin(context, sensor_idx, margins);
}

uint32_t eis2_get_time_intervals(eis_context* context, const is_frame_times* frame_times,
                                 uint32_t sensor_idx, is_time_intervals* intervals) {
    return eis_internal_get_time_intervals(context, frame_times, sensor_idx, intervals);
}

uint32_t eis2_process(eis_context* context, const is_input* input, is_output* output) {
    return eis_internal_process(context, input, output);
}

uint32_t eis2_get_gyro_time_interval(eis_context* context, const is_frame_times* frame_times,
                                     uint32_t sensor_idx, is_time_interval* gyro) {
    log_deprecated(__func__, __LINE__);
    return eis_internal_get_gyro_samples_time_interval(context, frame_times, sensor_idx, gyro);
}

uint32_t eis2_get_gyro_ois_time_interval(eis_context* context, const is_frame_times* frame_times,
                                         uint32_t sensor_idx, is_time_interval* gyro,
                                         is_time_interval* ois) {
    log_deprecated(__func__, __LINE__);
    return eis_internal_get_gyro_ois_samples_time_interval(context, frame_times, sensor_idx, gyro,
                                                           ois);
}
