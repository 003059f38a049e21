// SPDX-License-Identifier: Apache-2.0
/// @file init_grids_validation.hpp
/// Whether the lens distortion grids of a sensor can be built. Runs behind the tests of the
/// configuration, while the instance is being built.
#pragma once

#include <cstdint>

#include "steadywarp/eis.h"

namespace steadywarp {

/// Test the source, shape and size of a sensor's distortion grids.
///
/// @param width,height of the sensor's input, pixels; not 0.
/// @param no_grid set to whether the sensor runs without distortion correction.
/// @return EIS_ERROR_INVALID_INPUT for grids that cannot be used.
uint32_t is_valid_init_input_grids(const is_init_sensor_data& sensor, uint32_t width,
                                   uint32_t height, bool& no_grid);

}  // namespace steadywarp
