// SPDX-License-Identifier: Apache-2.0
/// @file csv_file.hpp
/// What all CSV files of a capture have in common: a header, rows, and a count of both.
#pragma once

#include "capture/file_buffer.hpp"
#include "capture/format/capture_files.hpp"
#include "capture/row_text.hpp"

namespace steadywarp {

/// Where the files of a capture go, and the block in which their rows are put together.
struct CaptureTarget {
    const char* prefix;
    uint32_t is_type;
    RowText& row;
};

class CsvFile {
  public:
    /// Rows handed over since the start, lost ones included.
    uint32_t rows() const { return _rows; }
    /// Write out what is in memory. @return the number of failures.
    uint32_t flush() { return _file.flush_buffer(); }
    /// PREFIX_TYPE_NAME.
    const char* name() const { return _file.name(); }

  protected:
    /// Create the file and write its header, a line with its end.
    CsvFile(const CaptureTarget& target, CaptureFile file, uint32_t buffer_size, const char* header,
            uint32_t& status);
    ~CsvFile() = default;

    /// The empty row to fill, then append_row().
    RowText& start_row();
    /// @return the number of failures, 0 or 1.
    uint32_t append_row();

  private:
    FileBuffer _file;
    RowText& _row;
    uint32_t _rows = 0;
};

}  // namespace steadywarp
