// SPDX-License-Identifier: Apache-2.0
/// @file init_ini_file.hpp
/// init_data.ini: the whole configuration of an instance, and the names of a capture's files.
#pragma once

#include "capture/csv_file.hpp"

namespace steadywarp {

/// What an instance was initialized with.
struct InitData {
    const is_init_common_data* common;
    const is_init_sensor_data* sensors;
    uint32_t num_sensors;
};

/// Write the file and close it.
///
/// @param flags the groups of files that the capture has.
/// @param status set when the file could not be created or written, behind lines in the log; left
///        as it is on success.
void write_init_ini(const CaptureTarget& target, const InitData& data, uint32_t flags,
                    uint32_t& status);

}  // namespace steadywarp
