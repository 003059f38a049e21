// SPDX-License-Identifier: Apache-2.0
/// @file is_log.hpp
/// The open files of a capture, and the rows that a frame has in each.
#pragma once

#include <array>
#include <memory>

#include "capture/csv_input_files.hpp"
#include "capture/csv_output_files.hpp"
#include "capture/csv_warp_files.hpp"
#include "capture/init_ini_file.hpp"

namespace steadywarp {

class IsLog {
  public:
    /// Create the files that the flags ask for, each with its header, and write init_data.ini.
    ///
    /// @param prefix start of all names; must outlive the object.
    /// @param status set on failure, behind lines in the log; left as it is on success.
    IsLog(const char* prefix, const InitData& data, uint32_t flags, uint32_t& status);

    /// Write a frame's records. @return a status, as eis_utils_log_write().
    uint32_t write(const eis_utils_log_data& data);

    /// Write out what is in memory. @return the number of failures, behind a line if not 0.
    uint32_t flush();

  private:
    template <typename File>
    void create(std::unique_ptr<File>& file, CaptureFile which, uint32_t& status);
    void create_files(uint32_t& status);
    void check_presence(const eis_utils_log_data& data) const;
    uint32_t write_inputs(const eis_utils_log_data& data);
    template <typename Input>
    uint32_t write_samples(const Input& input);
    uint32_t write_warp(CaptureFile grid, CaptureFile matrices, const WarpOwner& owner,
                        const NcLibWarp* warp);
    uint32_t write_outputs(const eis_utils_log_data& data);
    uint32_t write_first_pass(const eis_utils_log_data& data);
    uint32_t write_second_pass(const eis_utils_log_data& data);
    uint32_t write_grid(CaptureFile which, const WarpOwner& owner, const NcLibWarpGrid& grid);
    uint32_t write_matrices(CaptureFile which, const WarpOwner& owner,
                            const NcLibWarpMatrices& matrices);
    uint32_t write_frame(const eis_utils_log_data& data,
                         const std::array<uint32_t, kNumCaptureFiles>& rows_before);

    template <typename File>
    using PerFile = std::array<std::unique_ptr<File>, kNumCaptureFiles>;

    uint32_t _is_type;
    uint32_t _flags;
    RowText _row;
    CaptureTarget _target;
    std::unique_ptr<CsvFrameFile> _frame;
    std::unique_ptr<CsvInputStabilizeFile> _input_stabilize;
    std::unique_ptr<CsvMotionVectorsFile> _motion_vectors;
    std::unique_ptr<CsvOutputMetadataFile> _metadata;
    std::unique_ptr<CsvOutputMetadataStabilizeFile> _metadata_stabilize;
    std::unique_ptr<CsvOutputTimeIntervalFile> _intervals;
    // By CaptureFile; those of other kinds stay empty.
    PerFile<CsvSamplesFile> _samples;
    PerFile<CsvGridFile> _grids;
    PerFile<CsvMatricesFile> _matrices;
    /// All of the above, by CaptureFile; NULL where there is none.
    std::array<CsvFile*, kNumCaptureFiles> _files{};
};

}  // namespace steadywarp
