// SPDX-License-Identifier: Apache-2.0
/// @file capture_reader.hpp
/// Takes the frames of a capture one after the other out of its input files.
#pragma once

#include <array>

#include "replay/capture_rows.hpp"
#include "replay/capture_set.hpp"
#include "replay/captured_frame.hpp"

namespace steadywarp::tool {

/// Reads the inputs frame by frame; memory does not grow with the length of the capture.
///
/// Rows of the other files belong to a frame by the counts in the remark of its row in frame.csv,
/// or, where there is no remark, as long as they have its number.
class CaptureReader {
  public:
    /// @param texts,setup must outlive the object.
    CaptureReader(const CaptureTexts& texts, const CaptureSetup& setup);

    /// Move to the first rows.
    std::optional<Fault> open();

    /// Read the next frame. @return false at the end of the capture.
    Result<bool> next(CapturedFrame& frame);

    /// Rows that frame.csv has counted in a file so far.
    uint64_t counted(CaptureFile file) const { return counted_[static_cast<size_t>(file)]; }

  private:
    CaptureRows& rows(CaptureFile file) { return rows_[static_cast<size_t>(file)]; }
    std::optional<Fault> take_frame_row(CapturedFrame& frame);
    std::optional<Fault> take_counts(const CaptureRow& row);
    /// Tell whether the row at hand of a file belongs to the frame, the `taken`-th so far.
    Result<bool> has_row(CaptureFile file, uint32_t frame_id, uint64_t taken);
    std::optional<Fault> take_samples(size_t stream, CapturedFrame& frame);
    std::optional<Fault> take_warp(CaptureFile grid, CaptureFile matrices, uint32_t frame_id,
                                   CapturedWarp& warp);
    std::optional<Fault> take_grid(CaptureFile file, uint32_t frame_id, CapturedWarp& warp);
    std::optional<Fault> take_matrices(CaptureFile file, uint32_t frame_id, CapturedWarp& warp);
    std::optional<Fault> take_second_pass(CapturedFrame& frame);
    std::optional<Fault> take_vectors(uint32_t frame_id, CapturedSecondPass& second);
    std::optional<Fault> take_intervals(CapturedFrame& frame);
    std::optional<Fault> expect_ends();

    const CaptureTexts& texts_;
    std::array<CaptureRows, kNumCaptureFiles> rows_;
    bool has_counts_ = false;  ///< of the frame at hand
    std::array<uint64_t, kNumCaptureFiles> counts_{};
    std::array<uint64_t, kNumCaptureFiles> counted_{};
    bool has_stabilizer_;
    bool is_split_ = false;  ///< the frame at hand was run by its two passes
};

}  // namespace steadywarp::tool
