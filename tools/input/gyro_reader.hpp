// SPDX-License-Identifier: Apache-2.0
/// @file gyro_reader.hpp
/// Gyroscope logs from files, in either of two text formats told apart by the first line.
///
/// - CSV: header `t_us,gx,gy,gz`, then integer microseconds and rad/s about the device's axes.
/// - Gyro log (.gcsv): a magic line, `key,value` lines with the scales and the orientation of the
///   log's axes, a column header, then rows. Its rates come out in camera axes.
///
/// A row that repeats the time of the row before is left out and counted; a row that goes back in
/// time, a cell that is no finite number and a rate beyond 1000 rad/s are faults at their line.
#pragma once

#include <string>
#include <string_view>

#include "input/recording.hpp"
#include "input/result.hpp"

namespace steadywarp::tool {

/// Read a gyroscope log of either format.
Result<GyroRecording> read_gyro(const std::string& path);

/// As read_gyro(), from a text in memory; `path` serves messages only.
Result<GyroRecording> parse_gyro(std::string_view text, const std::string& path);

}  // namespace steadywarp::tool
