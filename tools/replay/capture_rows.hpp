// SPDX-License-Identifier: Apache-2.0
/// @file capture_rows.hpp
/// Reading a CSV file of a capture row by row: cells and remarks, each checked where it is asked
/// for, and the first thing wrong kept with its line.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "input/result.hpp"
#include "input/text_file.hpp"

namespace steadywarp::tool {

/// One row. Views point into the text of the file.
class CaptureRow {
  public:
    uint64_t line() const { return line_; }
    uint32_t frame_id() const { return frame_id_; }
    /// The cells ahead of the remark, the frame number included.
    std::span<const std::string_view> cells() const { return cells_; }
    bool has_remark() const { return !remarks_.empty(); }
    /// The value of a remark; nothing if there is none of this name.
    std::optional<std::string_view> remark(std::string_view name) const;

  private:
    friend class CaptureRows;

    uint64_t line_ = 0;
    uint32_t frame_id_ = 0;
    std::vector<std::string_view> cells_;
    std::vector<std::pair<std::string_view, std::string_view>> remarks_;
};

/// Walks the rows of a file. The row at hand is the next one that nobody has taken yet.
class CaptureRows {
  public:
    /// An absent file: no rows.
    CaptureRows() = default;
    /// @param path serves messages only; both must outlive the object.
    CaptureRows(std::string_view text, const std::string& path);

    /// Move to the first row. @return what is wrong with the file, if anything.
    std::optional<Fault> open();

    /// The row at hand; NULL at the end.
    const CaptureRow* row() const { return has_row_ ? &row_ : nullptr; }

    /// Move on. @return what is wrong with the row that follows, if anything.
    std::optional<Fault> next();

    /// A fault at the row at hand, or at the last line.
    Fault fault(std::string expected) const;

    const std::string& path() const { return *path_; }

  private:
    /// Move to the next line that is not blank. @return false at the end and on a fault.
    bool next_line(std::optional<Fault>& fault);
    std::optional<Fault> parse();

    static const std::string kNoPath;
    const std::string* path_ = &kNoPath;
    std::string_view rest_;
    std::string_view line_;
    uint64_t number_ = 0;  ///< of the line
    CaptureRow row_;
    bool has_row_ = false;
};

/// Takes the cells of a row one after the other. After the first that does not fit, the values are
/// 0 and the fault stays.
class CellReader {
  public:
    CellReader(const CaptureRow& row, const CaptureRows& rows) : row_(row), rows_(rows) {}

    uint32_t u32(const char* what);
    uint64_t u64(const char* what);
    double real(const char* what);
    float real32(const char* what) { return static_cast<float>(real(what)); }
    bool flag(const char* what);

    /// Cells not yet taken.
    size_t left() const { return row_.cells().size() - at_; }
    /// Keep a fault of the caller's, unless there is one already.
    void refuse(std::string expected);
    /// Every cell must have been taken.
    void expect_end();
    const std::optional<Fault>& fault() const { return fault_; }

  private:
    std::string_view cell(const char* what);
    void refuse_cell(const char* what, const char* kind, std::string_view cell);

    const CaptureRow& row_;
    const CaptureRows& rows_;
    size_t at_ = 0;
    std::optional<Fault> fault_;
};

/// Read words of hexadecimal digits with colons between them, all of `digits` digits.
std::optional<std::vector<uint64_t>> parse_hex_words(std::string_view text, size_t digits);

/// Read a number as a capture writes it, "nan" and "inf" with any sign included.
std::optional<double> parse_any_number(std::string_view cell);

/// Write a number with so many digits behind the point, as a capture does.
std::string fixed_text(double value, int decimals);

}  // namespace steadywarp::tool
