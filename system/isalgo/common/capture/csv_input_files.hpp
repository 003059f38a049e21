// SPDX-License-Identifier: Apache-2.0
/// @file csv_input_files.hpp
/// The CSV files of what goes into the stabilizer, but for warps.
///
/// Where the digits of a row do not give a number back to its last bit, the row's remark has its
/// bits; so a replay feeds what was fed.
#pragma once

#include "capture/csv_file.hpp"

namespace steadywarp {

/// A number of rows that a frame has in another file.
struct RowCount {
    CaptureFile file;
    uint32_t rows;
};

/// Frame times, windows and focus; one row a frame.
///
/// The remark tells which record the row comes from (`record=is_input`) and how many rows the frame
/// has in every other file (`gyro=18`), so that a reader notices what is missing.
class CsvFrameFile : public CsvFile {
  public:
    CsvFrameFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    uint32_t write(const is_input& input, const RowCount* counts, size_t num_counts);
    uint32_t write(const is_input_distortion_correction& input, const RowCount* counts,
                   size_t num_counts);

  private:
    template <typename Input>
    uint32_t write_record(const char* record, const Input& input, const RowCount* counts,
                          size_t num_counts);
};

/// Frame times of the second pass.
class CsvInputStabilizeFile : public CsvFile {
  public:
    CsvInputStabilizeFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    uint32_t write(const is_input_stabilize& input);
};

/// One sample stream; a row a sample.
class CsvSamplesFile : public CsvFile {
  public:
    CsvSamplesFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    /// @return the number of failures. Samples whose pointer is NULL are left out.
    uint32_t write(uint32_t frame_id, const is_sample_array& samples);
};

/// Motion vectors with the alignment beside them; the buffer's words stand in the remark.
class CsvMotionVectorsFile : public CsvFile {
  public:
    CsvMotionVectorsFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    uint32_t write(uint32_t frame_id, const is_motion_vectors_input& input);
};

}  // namespace steadywarp
