// SPDX-License-Identifier: Apache-2.0
/// @file resampling.hpp
/// A stream's value at the time of each grid row: search, linear interpolation, and an account of
/// every row that had to be extrapolated.
#pragma once

#include <cstdint>

#include "base/vec3.hpp"
#include "sensors/multi_sensor_data_buffer.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Report of one resampling call.
struct InterpStats {
    uint32_t num_processed = 0;    ///< rows that got a value, extrapolated or not
    uint32_t num_exrap_start = 0;  ///< rows before the first usable sample
    uint32_t num_exrap_end = 0;    ///< rows behind the last usable sample
    int32_t num_error = 0;         ///< extrapolated rows that matter
};

/// Where and for whom a stream is resampled.
struct InterpRequest {
    uint64_t first_ts = 0;  ///< time of row 1, microseconds
    uint64_t last_ts = 0;   ///< time of row n - 2
    uint32_t num_rows = 0;
    uint32_t sensor = 0;  ///< whose samples are wanted
    uint32_t frame_id = 0;
    bool first_frame = false;
    bool is_quiet = false;  ///< no message about extrapolated rows
};

/// What find_index() gives when the buffer holds no sample of the sensor.
inline constexpr uint32_t kNoSample = 0xFFFFFFFFu;

/// Find the logical index of a sample of `sensor` next to `ts`: of the bracketing pair where there
/// is one, of the end sample outside.
uint32_t find_index(const MultiSensorDataBuffer& buffer, uint64_t ts, uint32_t sensor);

/// Resample to `request.num_rows` rows, whose times are those of timestamp_interpolation().
///
/// Two samples more than 200 ms apart are never bridged: a row between them repeats the row before
/// it. An empty buffer gives zeros, all of them counted as errors.
///
/// @param out room for num_rows entries; Vec3<double> takes three axes, Point2 two.
InterpStats get_interp(const MultiSensorDataBuffer& buffer, const InterpRequest& request,
                       Vec3<double>* out);
InterpStats get_interp(const MultiSensorDataBuffer& buffer, const InterpRequest& request,
                       Point2* out);

}  // namespace steadywarp
