// SPDX-License-Identifier: Apache-2.0
/// @file ini_file.hpp
/// INI text: `[section]` lines, `key = value` lines, comments from a semicolon to the line's end.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "input/result.hpp"

namespace steadywarp::tool {

/// One `key = value` line.
struct IniEntry {
    std::string section;  ///< without its brackets; empty ahead of the first section
    std::string key;
    std::string value;
    uint64_t line;
};

/// Read all entries in their order. A key that stands twice in its section is a fault.
Result<std::vector<IniEntry>> parse_ini(std::string_view text, const std::string& path);

}  // namespace steadywarp::tool
