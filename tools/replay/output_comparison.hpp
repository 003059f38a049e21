// SPDX-License-Identifier: Apache-2.0
/// @file output_comparison.hpp
/// Holds what a replay computes against the output files of a capture, number by number.
///
/// A replayed number is put into the format of the recorded one. The same text is no difference;
/// another text differs by the distance of the replayed text from the recorded one, and fails when
/// that is more than `threshold` units of the last printed digit. Integers must be equal.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "replay/capture_rows.hpp"
#include "replay/capture_set.hpp"

namespace steadywarp::tool {

/// How one field of the outputs came out, over all frames.
struct FieldFigure {
    std::string name;  ///< file without its ending, field
    uint64_t compared = 0;
    uint64_t different = 0;  ///< numbers whose text is another
    uint64_t failed = 0;
    double largest = 0.0;  ///< difference; infinite where only one of both is a number
    std::optional<uint32_t> first_frame;  ///< that differs
};

class OutputComparison {
  public:
    /// @param texts must outlive the object.
    OutputComparison(const CaptureTexts& texts, double threshold);

    /// Move to the first rows.
    std::optional<Fault> open();

    /// Read all rows to see whether they can be compared. Use an object of its own for it.
    ///
    /// @param counted tells how many rows frame.csv counts in a file.
    template <class Counted>
    std::optional<Fault> check_all(const Counted& counted) {
        for (size_t i = 0; i < kNumCaptureFiles; ++i) {
            if (auto fault = check_rows(i, counted(static_cast<CaptureFile>(i)))) {
                return fault;
            }
        }
        return std::nullopt;
    }

    void compare(const is_output& output);
    void compare(const is_output_distortion_correction& output);
    void compare(const is_output_stabilize& output);
    void compare(uint32_t frame_id, const is_time_intervals& intervals);

    /// Count the rows that nothing was compared with.
    void finish();

    bool has_failed() const;
    /// The fields in the order of the files and columns.
    const std::vector<FieldFigure>& figures() const { return figures_; }

  private:
    class Fields;

    CaptureRows& rows(CaptureFile file) { return rows_[static_cast<size_t>(file)]; }
    std::optional<Fault> check_rows(size_t index, uint64_t counted);
    std::optional<Fault> check_row(CaptureKind kind, CaptureRows& rows);
    bool begin(CaptureFile file, uint32_t frame_id);
    void end(CaptureFile file);
    void miss_row(CaptureFile file, uint32_t frame_id);
    size_t figure_index(CaptureFile file, const std::string& field);
    FieldFigure& figure(CaptureFile file, const std::string& field) {
        return figures_[figure_index(file, field)];
    }
    void compare_real(FieldFigure& figure, uint32_t frame_id, std::string_view recorded,
                      double replayed);
    void compare_integer(FieldFigure& figure, uint32_t frame_id, std::string_view recorded,
                         uint64_t replayed);
    void note(FieldFigure& figure, uint32_t frame_id, double difference, bool is_failure);
    void compare_grid(CaptureFile file, uint32_t frame_id, uint32_t sensor,
                      const NcLibWarpGrid& grid, uint32_t direction);
    void compare_matrices(CaptureFile file, uint32_t frame_id, uint32_t sensor,
                          const NcLibWarpMatrices& matrices, uint32_t direction);
    void compare_first_pass(uint32_t frame_id, uint32_t sensor, const NcLibWarpGrid& grid,
                            const NcLibWarpMatrices& alignment);
    template <class Output>
    void compare_second_pass(const Output& output);

    double threshold_;
    std::array<CaptureRows, kNumCaptureFiles> rows_;
    std::array<bool, kNumCaptureFiles> is_compared_{};
    std::vector<FieldFigure> figures_;
    std::map<std::string, size_t> index_;
};

}  // namespace steadywarp::tool
