// SPDX-License-Identifier: Apache-2.0
/// @file csv_warp_files.hpp
/// The CSV files of warps: grids and matrices, of inputs and of outputs.
///
/// A row's remark holds what has no column: the warp's direction, the origin of matrices, explicit
/// corners of a grid, and for inputs the bits of all numbers, since their digits do not give them
/// back. A warp that is not enabled has no row.
#pragma once

#include "capture/csv_file.hpp"

namespace steadywarp {

/// Whose a row is.
struct WarpOwner {
    uint32_t frame_id;
    uint32_t active_sensor_idx;
    uint32_t direction = OUT_2_IN;
};

class CsvGridFile : public CsvFile {
  public:
    CsvGridFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    /// @return the number of failures. A grid without memory, or of more points than grids have,
    ///         gives a row without points.
    uint32_t write(const WarpOwner& owner, const NcLibWarpGrid& grid);

  private:
    bool _has_bits;
};

class CsvMatricesFile : public CsvFile {
  public:
    CsvMatricesFile(const CaptureTarget& target, CaptureFile file, uint32_t& status);
    /// @return the number of failures. Matrices without memory, or more than there can be, give a
    ///         row without elements.
    uint32_t write(const WarpOwner& owner, const NcLibWarpMatrices& matrices);

  private:
    bool _has_bits;
};

}  // namespace steadywarp
