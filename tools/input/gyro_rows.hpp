// SPDX-License-Identifier: Apache-2.0
/// @file gyro_rows.hpp
/// What both gyro log formats share: adding a row to a recording, with its checks.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "input/recording.hpp"
#include "input/result.hpp"

namespace steadywarp::tool {

class LineCursor;

/// How the cells of a row become microseconds and rad/s.
struct RowScale {
    double rate = 1.0;
    AxisMap axes;  ///< from the log's axes to those of the recording
};

/// Add the sample of one row.
///
/// @param rates three cells.
/// @param where file and line, in case of a fault.
std::optional<Fault> add_row(GyroRecording& recording, int64_t t_us,
                             std::span<const std::string_view> rates, const RowScale& scale,
                             Fault where);

/// Read the rest of a gyro log behind its first line.
Result<GyroRecording> parse_gyro_log(LineCursor& cursor, const std::string& path);

}  // namespace steadywarp::tool
