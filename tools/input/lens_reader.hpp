// SPDX-License-Identifier: Apache-2.0
/// @file lens_reader.hpp
/// Logs of the lens: a time and two numbers a row.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "input/recording.hpp"
#include "input/result.hpp"

namespace steadywarp::tool {

inline constexpr std::string_view kLensShiftHeader = "t_us,x,y";
inline constexpr std::string_view kLensPositionHeader = "t_us,position,scale";

/// Read a CSV with one of the two headers above; times must increase, and there is at least one
/// row.
Result<std::vector<LensSample>> read_lens_log(const std::string& path, std::string_view header);

/// As read_lens_log(), from a text in memory; `path` serves messages only.
Result<std::vector<LensSample>> parse_lens_log(std::string_view text, const std::string& path,
                                               std::string_view header);

}  // namespace steadywarp::tool
