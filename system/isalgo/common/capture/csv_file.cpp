// SPDX-License-Identifier: Apache-2.0
#include "capture/csv_file.hpp"

#include "base/eis_log.hpp"

namespace steadywarp {

CsvFile::CsvFile(const CaptureTarget& target, CaptureFile file, uint32_t buffer_size,
                 const char* header, uint32_t& status)
    : _file(target.prefix, target.is_type, info_of(file).name, buffer_size, status),
      _row(target.row) {
    if (status != EIS_SUCCESS) {
        return;
    }
    const uint32_t failed = _file.print_line("%s", header);
    if (failed != 0) {
        EIS_ERR("IS0002", "Failed to write %u lines to file: %s", failed, _file.path());
        status = EIS_ERROR_CAPTURE_FILE;
    }
}

RowText& CsvFile::start_row() {
    _row.start();
    return _row;
}

uint32_t CsvFile::append_row() {
    const char* const text = _row.text();
    if (text == nullptr) {
        EIS_ERR("IS0002", "failed to write line");
        return 1;
    }
    const uint32_t failed = _file.print_line("%s\n", text);
    _rows += 1;
    return failed;
}

}  // namespace steadywarp
