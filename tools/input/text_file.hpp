// SPDX-License-Identifier: Apache-2.0
/// @file text_file.hpp
/// Reading text line by line and cell by cell, strictly: nothing that is no number becomes one.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "input/result.hpp"

namespace steadywarp::tool {

/// Read a whole file.
Result<std::string> read_file(const std::string& path);

/// Walks the lines of a text; blank lines are counted and passed over, and a carriage return at
/// the end of a line and a byte order mark at the start of the text are not part of it.
class LineCursor {
  public:
    explicit LineCursor(std::string_view text);

    /// Move to the next line that is not blank. @return false at the end.
    bool next();

    /// The line, without blanks at its ends; valid as long as the text.
    std::string_view line() const { return line_; }

    /// Its number, counted from 1; at the end, that of the last line of the text.
    uint64_t number() const { return number_; }

  private:
    std::string_view rest_;
    std::string_view line_;
    uint64_t number_ = 0;
};

/// Cut blanks and tabs from both ends.
std::string_view trim(std::string_view text);

/// Cut a line at each `separator`; cells come trimmed, and an empty line is one empty cell.
std::vector<std::string_view> split(std::string_view line, char separator);

/// Cut a line at blanks; no cell is empty.
std::vector<std::string_view> split_blanks(std::string_view line);

/// Read a decimal integer that fills the cell; nothing if it does not or does not fit.
std::optional<int64_t> parse_i64(std::string_view cell);
std::optional<uint32_t> parse_u32(std::string_view cell);

/// Read a finite number that fills the cell.
std::optional<double> parse_number(std::string_view cell);

/// A text as it may stand in a message: unprintable bytes as '?', cut at `longest` bytes.
std::string printable(std::string_view text, size_t longest);

/// A cell as it may stand in a message: quoted, printable, cut at 32 bytes.
std::string quoted(std::string_view cell);

}  // namespace steadywarp::tool
