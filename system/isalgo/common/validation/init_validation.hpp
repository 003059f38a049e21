// SPDX-License-Identifier: Apache-2.0
/// @file init_validation.hpp
/// All tests of a configuration, before anything is allocated. Every test runs and every fault is
/// logged, so that one call shows all that is wrong.
#pragma once

#include <cstdint>

#include "steadywarp/eis.h"
#include "validation/fault_counts.hpp"

namespace steadywarp {

/// @return EIS_SUCCESS, also with warnings; EIS_ERROR_INVALID_INPUT on any error.
uint32_t is_valid_init_input(eis_context* const* context, const is_init_common_data* common,
                             const is_init_sensor_data* sensors, uint32_t num_sensors);

/// Run the whole list.
FaultCounts is_valid_init_input_internal(const is_init_common_data& common,
                                         const is_init_sensor_data* sensors, uint32_t num_sensors);

/// The list's sections, in the order in which they run for each sensor.
void is_valid_init_common(const is_init_common_data& common, uint32_t num_sensors,
                          FaultCounts& counts);
void is_valid_init_sensor(const is_init_common_data& common, const is_init_sensor_data& sensor,
                          const is_init_sensor_data& first_sensor, uint32_t index,
                          FaultCounts& counts);
void is_valid_init_ois(const is_tessaline_info_s& tuning, uint32_t index, FaultCounts& counts);
void is_valid_init_ifovc(const is_tessaline_info_s& tuning, uint32_t index, FaultCounts& counts);
/// @param first_sensor its parameter mode decides for all.
void is_valid_init_dis(const is_tessaline_info_s& tuning, const is_tessaline_info_s& first_sensor,
                       uint32_t index, FaultCounts& counts);

}  // namespace steadywarp
