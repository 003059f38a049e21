// SPDX-License-Identifier: Apache-2.0
#include "replay/output_comparison.hpp"

#include <charconv>
#include <cmath>
#include <limits>

namespace steadywarp::tool {
namespace {

/// How a number is printed: digits behind the point, and whether it has an exponent.
struct NumberFormat {
    int decimals = 0;
    bool has_exponent = false;
    double unit = 1.0;  ///< of the last printed digit
};

NumberFormat format_of(std::string_view text) {
    NumberFormat format;
    const size_t exponent = text.find_first_of("eE");
    format.has_exponent = exponent != std::string_view::npos;
    const std::string_view mantissa = text.substr(0, exponent);
    const size_t point = mantissa.find('.');
    if (point != std::string_view::npos) {
        format.decimals = static_cast<int>(std::min<size_t>(mantissa.size() - point - 1, 30));
    }
    format.unit = std::pow(10.0, -format.decimals);
    if (format.has_exponent) {
        const std::string_view digits = text.substr(exponent + 1);
        format.unit *= std::pow(
            10.0,
            parse_any_number(digits.starts_with('+') ? digits.substr(1) : digits).value_or(0.0));
    }
    return format;
}

std::string print(double value, const NumberFormat& format) {
    char digits[400];
    const auto style =
        format.has_exponent ? std::chars_format::scientific : std::chars_format::fixed;
    const auto result =
        std::to_chars(std::begin(digits), std::end(digits), value, style, format.decimals);
    return {digits, result.ptr};
}

/// "-0.0000" and "0.0000" are the same, and so are "-nan" and "nan": which sign an operation
/// without an answer gives is the processor's own.
bool is_same_text(const std::string& replayed, std::string_view recorded) {
    if (replayed == recorded) {
        return true;
    }
    const auto was = parse_any_number(recorded);
    const auto is = parse_any_number(replayed);
    return was && is && ((*was == 0.0 && *is == 0.0) || (std::isnan(*was) && std::isnan(*is)));
}

constexpr double wide(float value) {
    return static_cast<double>(value);
}

constexpr const char* kMetadataFields[] = {"Mind_margins_blender_geolib", "cvp_motion_index_raw",
                                           "ois_mode"};
constexpr const char* kIntervalFields[] = {"gyro.first_ts", "gyro.last_ts",   "ois.first_ts",
                                           "ois.last_ts",   "ifovc.first_ts", "ifovc.last_ts"};

/// What the cells of a row must be: 'u' an integer, 'r' a number.
std::string_view pattern_of(CaptureKind kind) {
    switch (kind) {
        case CaptureKind::kMetadata:
            return "uurruurrrruuuuu";
        case CaptureKind::kMetadataStabilize:
            return "uuurrrrurrrruuuu";
        case CaptureKind::kTimeIntervals:
            return "uuuuuuu";
        default:
            return "uuuuuuu";
    }
}

}  // namespace

OutputComparison::OutputComparison(const CaptureTexts& texts, double threshold)
    : threshold_(threshold) {
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        if (kCaptureFiles[i].is_output && texts.files[i].text) {
            rows_[i] = CaptureRows(*texts.files[i].text, texts.files[i].path);
            is_compared_[i] = true;
        }
    }
}

std::optional<Fault> OutputComparison::open() {
    for (CaptureRows& rows : rows_) {
        if (auto fault = rows.open()) {
            return fault;
        }
    }
    return std::nullopt;
}

std::optional<Fault> OutputComparison::check_row(CaptureKind kind, CaptureRows& rows) {
    CellReader cells(*rows.row(), rows);
    for (const char cell : pattern_of(kind)) {
        if (cell == 'u') {
            cells.u64("a column");
        } else {
            cells.real("a column");
        }
    }
    if (kind == CaptureKind::kGrid || kind == CaptureKind::kMatrices) {
        while (cells.left() != 0 && !cells.fault()) {
            cells.real("a coordinate or element");
        }
    }
    cells.expect_end();
    return cells.fault();
}

std::optional<Fault> OutputComparison::check_rows(size_t index, uint64_t counted) {
    CaptureRows& file = rows_[index];
    if (!is_compared_[index]) {
        return std::nullopt;
    }
    uint64_t count = 0;
    for (; file.row() != nullptr; ++count) {
        if (auto fault = check_row(kCaptureFiles[index].kind, file)) {
            return fault;
        }
        if (auto fault = file.next()) {
            return fault;
        }
    }
    if (count < counted) {
        return file.fault("expected " + std::to_string(counted) +
                          " rows, as frame.csv counts them, found " + std::to_string(count));
    }
    return std::nullopt;
}

size_t OutputComparison::figure_index(CaptureFile file, const std::string& field) {
    const std::string name = std::string(stem_of(file)) + "." + field;
    const auto [entry, is_new] = index_.try_emplace(name, figures_.size());
    if (is_new) {
        figures_.push_back({});
        figures_.back().name = name;
    }
    return entry->second;
}

void OutputComparison::note(FieldFigure& figure, uint32_t frame_id, double difference,
                            bool is_failure) {
    ++figure.different;
    figure.failed += is_failure ? 1 : 0;
    figure.largest = std::max(figure.largest, difference);
    figure.first_frame = figure.first_frame.value_or(frame_id);
}

void OutputComparison::compare_real(FieldFigure& figure, uint32_t frame_id,
                                    std::string_view recorded, double replayed) {
    ++figure.compared;
    const NumberFormat format = format_of(recorded);
    const std::string text = print(replayed, format);
    if (is_same_text(text, recorded)) {
        return;
    }
    const double a = parse_any_number(recorded).value_or(0.0);
    const double b = parse_any_number(text).value_or(0.0);
    const double difference = std::abs(a - b);
    if (!std::isfinite(difference)) {
        note(figure, frame_id, std::numeric_limits<double>::infinity(), true);
        return;
    }
    // Both texts are decimal; the sum of their roundings to binary is far below a tenth of a unit.
    note(figure, frame_id, difference, difference > (threshold_ + 0.1) * format.unit);
}

void OutputComparison::compare_integer(FieldFigure& figure, uint32_t frame_id,
                                       std::string_view recorded, uint64_t replayed) {
    ++figure.compared;
    if (recorded != std::to_string(replayed)) {
        const double was = parse_any_number(recorded).value_or(0.0);
        note(figure, frame_id, std::abs(was - static_cast<double>(replayed)), true);
    }
}

void OutputComparison::miss_row(CaptureFile file, uint32_t frame_id) {
    FieldFigure& rows_of_file = figure(file, "rows");
    ++rows_of_file.compared;
    note(rows_of_file, frame_id, 1.0, true);
}

bool OutputComparison::begin(CaptureFile file, uint32_t frame_id) {
    if (!is_compared_[static_cast<size_t>(file)]) {
        return false;
    }
    CaptureRows& recorded = rows(file);
    // Rows of earlier frames that the replay did not give.
    while (recorded.row() != nullptr && recorded.row()->frame_id() < frame_id) {
        miss_row(file, recorded.row()->frame_id());
        end(file);
    }
    if (recorded.row() == nullptr || recorded.row()->frame_id() != frame_id) {
        miss_row(file, frame_id);
        return false;
    }
    ++figure(file, "rows").compared;
    return true;
}

void OutputComparison::end(CaptureFile file) {
    // The rows were read once before the replay began.
    if (rows(file).next()) {
        is_compared_[static_cast<size_t>(file)] = false;
    }
}

/// The cells of the row at hand, compared one after the other.
class OutputComparison::Fields {
  public:
    Fields(OutputComparison& owner, CaptureFile file, uint32_t frame_id)
        : owner_(owner), file_(file), frame_id_(frame_id), row_(*owner.rows(file).row()) {}

    Fields& integer(const std::string& field, uint64_t replayed) {
        owner_.compare_integer(owner_.figure(file_, field), frame_id_, cell(), replayed);
        return *this;
    }
    Fields& real(const std::string& field, double replayed) {
        return real(owner_.figure_index(file_, field), replayed);
    }
    /// For long rows: the figure found once.
    Fields& real(size_t figure, double replayed) {
        owner_.compare_real(owner_.figures_[figure], frame_id_, cell(), replayed);
        return *this;
    }
    Fields& orientation(const char* name, const _sample_data_s& sample) {
        integer(std::string(name) + ".ts", sample.ts);
        for (size_t i = 0; i < 4; ++i) {
            real(std::string(name) + ".data", sample.data[i]);
        }
        return *this;
    }
    Fields& scene(const is_scene_detection& scene) {
        integer("scene_type", scene.scene_type);
        for (const bool is_panning : scene.is_panning) {
            integer("is_panning", is_panning ? 1 : 0);
        }
        return *this;
    }
    /// What a row of a grid and a row of matrices have in common.
    template <typename Warp>
    Fields& warp_head(uint32_t sensor, const Warp& warp) {
        integer("active_sensor_idx", sensor);
        integer("widthPixels", warp.transformDefinedOn.widthPixels);
        integer("heightLines", warp.transformDefinedOn.heightLines);
        integer("numRows", warp.numRows);
        integer("numColumns", warp.numColumns);
        return *this;
    }
    Fields& remark(const char* name, uint64_t replayed) {
        if (const auto recorded = row_.remark(name)) {
            owner_.compare_integer(owner_.figure(file_, name), frame_id_, *recorded, replayed);
        }
        return *this;
    }
    size_t left() const { return row_.cells().size() - at_; }

  private:
    std::string_view cell() {
        return at_ < row_.cells().size() ? row_.cells()[at_++] : std::string_view();
    }

    OutputComparison& owner_;
    CaptureFile file_;
    uint32_t frame_id_;
    const CaptureRow& row_;
    size_t at_ = 1;  // the frame number found the row
};

void OutputComparison::compare_grid(CaptureFile file, uint32_t frame_id, uint32_t sensor,
                                    const NcLibWarpGrid& grid, uint32_t direction) {
    if (!grid.enable || !begin(file, frame_id)) {
        return;
    }
    Fields fields(*this, file, frame_id);
    fields.warp_head(sensor, grid)
        .integer("extrapolateType", static_cast<uint32_t>(grid.extrapolateType));
    const size_t count = size_t{grid.numRows} * grid.numColumns;
    if (fields.left() != 2 * count) {
        note(figure(file, "grid"), frame_id, std::numeric_limits<double>::infinity(), true);
    } else {
        const size_t points = figure_index(file, "grid");
        for (size_t i = 0; i < count; ++i) {
            fields.real(points, wide(grid.grid[i].x)).real(points, wide(grid.grid[i].y));
        }
    }
    fields.remark("direction", direction);
    end(file);
}

void OutputComparison::compare_matrices(CaptureFile file, uint32_t frame_id, uint32_t sensor,
                                        const NcLibWarpMatrices& matrices, uint32_t direction) {
    if (!matrices.enable || !begin(file, frame_id)) {
        return;
    }
    Fields fields(*this, file, frame_id);
    fields.warp_head(sensor, matrices).integer("confidence", matrices.confidence);
    const size_t count = size_t{matrices.numRows} * matrices.numColumns;
    if (fields.left() != 9 * count) {
        note(figure(file, "perspMatrices"), frame_id, std::numeric_limits<double>::infinity(),
             true);
    } else {
        const size_t elements = figure_index(file, "perspMatrices");
        for (size_t i = 0; i < count; ++i) {
            for (const float element : matrices.perspMatrices[i].T) {
                fields.real(elements, wide(element));
            }
        }
    }
    fields.remark("direction", direction).remark("center", matrices.centerType);
    end(file);
}

void OutputComparison::compare_first_pass(uint32_t frame_id, uint32_t sensor,
                                          const NcLibWarpGrid& grid,
                                          const NcLibWarpMatrices& alignment) {
    compare_grid(CaptureFile::kDistortionCorrectionGrid, frame_id, sensor, grid, OUT_2_IN);
    compare_matrices(CaptureFile::kAlignmentUndistorted, frame_id, sensor, alignment, OUT_2_IN);
}

template <class Output>
void OutputComparison::compare_second_pass(const Output& output) {
    const NcLibWarp& warp = output.stabilization_transform;
    compare_grid(CaptureFile::kStabilizationGrid, output.frame_id, output.active_sensor_idx,
                 warp.grid, warp.direction);
    compare_matrices(CaptureFile::kStabilizationMatrices, output.frame_id, output.active_sensor_idx,
                     warp.matrices, warp.direction);
    compare_matrices(CaptureFile::kAlignmentStabilized, output.frame_id, output.active_sensor_idx,
                     output.alignment_matrix_domain_stabilized, OUT_2_IN);
}

void OutputComparison::compare(const is_output& output) {
    if (!output.output_valid) {
        return;
    }
    if (begin(CaptureFile::kOutputMetadata, output.frame_id)) {
        Fields(*this, CaptureFile::kOutputMetadata, output.frame_id)
            .integer("active_sensor_idx", output.active_sensor_idx)
            .real(kMetadataFields[0], wide(output.Mind_margins_blender_geolib))
            .real(kMetadataFields[1], wide(output.cvp_motion_index_raw))
            .integer(kMetadataFields[2], output.ois_mode)
            .orientation("frame_orientation_domain_undistorted", {})
            .integer("mof_gyro_time", 0)
            .scene(output.scene_detection);
        end(CaptureFile::kOutputMetadata);
    }
    compare_first_pass(output.frame_id, output.active_sensor_idx, output.distortion_correction_grid,
                       output.alignment_matrix_domain_undistorted);
    compare_second_pass(output);
}

void OutputComparison::compare(const is_output_distortion_correction& output) {
    if (!output.output_valid) {
        return;
    }
    if (begin(CaptureFile::kOutputMetadata, output.frame_id)) {
        Fields(*this, CaptureFile::kOutputMetadata, output.frame_id)
            .integer("active_sensor_idx", output.active_sensor_idx)
            .real(kMetadataFields[0], wide(output.Mind_margins_blender_geolib))
            .real(kMetadataFields[1], wide(output.cvp_motion_index_raw))
            .integer(kMetadataFields[2], output.ois_mode)
            .orientation("frame_orientation_domain_undistorted",
                         output.frame_orientation_domain_undistorted)
            .integer("mof_gyro_time", output.mof_gyro_time)
            .scene(output.scene_detection);
        end(CaptureFile::kOutputMetadata);
    }
    compare_first_pass(output.frame_id, output.active_sensor_idx, output.distortion_correction_grid,
                       output.alignment_matrix_domain_undistorted);
}

void OutputComparison::compare(const is_output_stabilize& output) {
    if (!output.output_valid) {
        return;
    }
    if (begin(CaptureFile::kOutputMetadataStabilize, output.frame_id)) {
        Fields(*this, CaptureFile::kOutputMetadataStabilize, output.frame_id)
            .integer("active_sensor_idx", output.active_sensor_idx)
            .orientation("frame_orientation_domain_undistorted",
                         output.frame_orientation_domain_undistorted)
            .orientation("frame_orientation_domain_stabilized",
                         output.frame_orientation_domain_stabilized)
            .scene(output.scene_detection);
        end(CaptureFile::kOutputMetadataStabilize);
    }
    compare_second_pass(output);
}

void OutputComparison::compare(uint32_t frame_id, const is_time_intervals& intervals) {
    if (!begin(CaptureFile::kTimeIntervals, frame_id)) {
        return;
    }
    Fields fields(*this, CaptureFile::kTimeIntervals, frame_id);
    size_t at = 0;
    for (const is_time_interval* interval : {&intervals.gyro, &intervals.ois, &intervals.ifovc}) {
        fields.integer(kIntervalFields[at], interval->first_ts);
        fields.integer(kIntervalFields[at + 1], interval->last_ts);
        at += 2;
    }
    end(CaptureFile::kTimeIntervals);
}

void OutputComparison::finish() {
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        const auto file = static_cast<CaptureFile>(i);
        while (is_compared_[i] && rows_[i].row() != nullptr) {
            miss_row(file, rows_[i].row()->frame_id());
            end(file);
        }
    }
}

bool OutputComparison::has_failed() const {
    for (const FieldFigure& figure : figures_) {
        if (figure.failed != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace steadywarp::tool
