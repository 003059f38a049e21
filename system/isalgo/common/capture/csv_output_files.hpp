// SPDX-License-Identifier: Apache-2.0
/// @file csv_output_files.hpp
/// The CSV files of what comes out of the stabilizer beside warps.
#pragma once

#include "capture/csv_file.hpp"

namespace steadywarp {

/// Figures of the first pass, or of both in one call; fields that a record lacks are 0.
class CsvOutputMetadataFile : public CsvFile {
  public:
    CsvOutputMetadataFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    uint32_t write(const is_output& output);
    uint32_t write(const is_output_distortion_correction& output);
};

/// Figures of the second pass.
class CsvOutputMetadataStabilizeFile : public CsvFile {
  public:
    CsvOutputMetadataStabilizeFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    uint32_t write(const is_output_stabilize& output);
};

/// The samples that a frame asked for.
class CsvOutputTimeIntervalFile : public CsvFile {
  public:
    CsvOutputTimeIntervalFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    uint32_t write(uint32_t frame_id, const is_time_intervals& intervals);
};

}  // namespace steadywarp
