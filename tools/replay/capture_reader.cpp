// SPDX-License-Identifier: Apache-2.0
#include "replay/capture_reader.hpp"

#include <algorithm>
#include <bit>
#include <cmath>

namespace steadywarp::tool {
namespace {

/// Longer buffers of motion vectors than any that hardware writes.
constexpr uint32_t kLargestVectorBuffer = 64 << 20;

bool is_of_second_pass(CaptureFile file) {
    return file == CaptureFile::kInputStabilize || file == CaptureFile::kMotionVectors ||
           file == CaptureFile::kSatGrid || file == CaptureFile::kSatMatrices;
}

bool is_input_file(size_t index) {
    const CaptureFileInfo& info = kCaptureFiles[index];
    return !info.is_output && info.kind != CaptureKind::kInit;
}

/// Put the bits of a remark in place of what the digits gave. The digits must say the same.
///
/// @param first index of the first cell that the bits are of.
template <class Word, class Value>
void apply_bits(const CaptureRow& row, CellReader& cells, size_t first, int decimals,
                std::span<Value* const> values, size_t least_words) {
    const auto remark = row.remark("bits");
    if (!remark || cells.fault()) {
        return;
    }
    const auto words = parse_hex_words(*remark, 2 * sizeof(Word));
    if (!words || words->size() > values.size() || words->size() < least_words) {
        cells.refuse("expected the remark bits as " + std::to_string(values.size()) + " words of " +
                     std::to_string(2 * sizeof(Word)) + " digits");
        return;
    }
    for (size_t i = 0; i < words->size(); ++i) {
        const auto exact = std::bit_cast<Value>(static_cast<Word>((*words)[i]));
        const std::string_view digits = row.cells()[first + i];
        if (trim(fixed_text(static_cast<double>(exact), decimals)) != digits) {
            cells.refuse("expected " + fixed_text(static_cast<double>(exact), decimals) +
                         " as the remark's bits have it, found " + quoted(digits) +
                         "; remove the remark to use the digits");
            return;
        }
        *values[i] = exact;
    }
}

void take_window(CellReader& cells, is_crop_window& window, std::vector<float*>& values) {
    const struct {
        const char* what;
        float& value;
    } fields[] = {
        {"fullWidth", window.fullWidth},     {"fullHeight", window.fullHeight},
        {"windowWidth", window.windowWidth}, {"windowHeight", window.windowHeight},
        {"windowLeft", window.windowLeft},   {"windowTop", window.windowTop},
    };
    for (const auto& field : fields) {
        field.value = cells.real32(field.what);
        values.push_back(&field.value);
    }
}

/// What a row of a grid and a row of matrices have in common, from the first cell on.
template <class Warp>
void take_warp_head(CellReader& cells, Warp& warp) {
    warp.enable = true;
    cells.u32("frame_id");
    cells.u32("active_sensor_idx");
    warp.transformDefinedOn.widthPixels = cells.u32("transformDefinedOn.widthPixels");
    warp.transformDefinedOn.heightLines = cells.u32("transformDefinedOn.heightLines");
    warp.numRows = cells.u32("numRows");
    warp.numColumns = cells.u32("numColumns");
}

/// The remark `name` as an integer, else a default.
uint32_t remark_u32(const CaptureRow& row, CellReader& cells, const char* name, uint32_t missing) {
    const auto text = row.remark(name);
    if (!text) {
        return missing;
    }
    const auto value = parse_u32(*text);
    if (!value) {
        cells.refuse(std::string("expected the remark ") + name + " as an integer, found " +
                     quoted(*text));
    }
    return value.value_or(0);
}

}  // namespace

CaptureReader::CaptureReader(const CaptureTexts& texts, const CaptureSetup& setup)
    : texts_(texts),
      has_stabilizer_(setup.camera.common.is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY) {
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        const CaptureTexts::Text& file = texts.files[i];
        const bool is_read =
            is_input_file(i) || static_cast<CaptureFile>(i) == CaptureFile::kTimeIntervals;
        if (is_read && file.text) {
            rows_[i] = CaptureRows(*file.text, file.path);
        }
    }
}

std::optional<Fault> CaptureReader::open() {
    for (CaptureRows& rows : rows_) {
        if (auto fault = rows.open()) {
            return fault;
        }
    }
    if (rows(CaptureFile::kFrame).row() == nullptr) {
        return rows(CaptureFile::kFrame).fault("expected a frame behind the header");
    }
    return std::nullopt;
}

Result<bool> CaptureReader::next(CapturedFrame& frame) {
    frame = {};
    if (rows(CaptureFile::kFrame).row() == nullptr) {
        if (auto fault = expect_ends()) {
            return *fault;
        }
        return false;
    }
    if (auto fault = take_frame_row(frame)) {
        return *fault;
    }
    for (size_t stream = 0; stream < kNumStreams; ++stream) {
        if (auto fault = take_samples(stream, frame)) {
            return *fault;
        }
    }
    if (auto fault = take_warp(CaptureFile::kPreEisGrid, CaptureFile::kPreEisMatrix, frame.frame_id,
                               frame.upstream)) {
        return *fault;
    }
    if (auto fault = take_warp(CaptureFile::kSatGrid, CaptureFile::kSatMatrices, frame.frame_id,
                               frame.sat)) {
        return *fault;
    }
    if (auto fault = take_second_pass(frame)) {
        return *fault;
    }
    if (auto fault = take_intervals(frame)) {
        return *fault;
    }
    return true;
}

std::optional<Fault> CaptureReader::take_counts(const CaptureRow& row) {
    has_counts_ = row.remark("record").has_value();
    counts_ = {};
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        const auto text = row.remark(stem_of(static_cast<CaptureFile>(i)));
        if (!text) {
            continue;
        }
        const auto value = parse_u32(*text);
        if (!value) {
            return rows(CaptureFile::kFrame)
                .fault("expected the remark " + std::string(stem_of(static_cast<CaptureFile>(i))) +
                       " as a number of rows, found " + quoted(*text));
        }
        counts_[i] = *value;
        counted_[i] += *value;
    }
    return std::nullopt;
}

std::optional<Fault> CaptureReader::take_frame_row(CapturedFrame& frame) {
    CaptureRows& file = rows(CaptureFile::kFrame);
    const CaptureRow& row = *file.row();
    CellReader cells(row, file);
    frame.line = row.line();
    frame.frame_id = cells.u32("frame_id");
    frame.active_sensor_idx = cells.u32("active_sensor_idx");
    frame.times.frame_time = cells.u32("frame_time");
    frame.times.sensor_rolling_shutter_skew = cells.u32("sensor_rolling_shutter_skew");
    frame.times.exposure_time = cells.u32("exposure_time");
    frame.times.sof = cells.u64("sof");
    frame.focus_distance = cells.real32("focus_distance");
    std::vector<float*> values = {&frame.focus_distance};
    take_window(cells, frame.windows.eis_pre_crop_vIN, values);
    take_window(cells, frame.windows.eis_pre_crop_vOUT, values);
    take_window(cells, frame.windows.output_crop_fov, values);
    take_window(cells, frame.windows.image_sensor_crop, values);
    frame.effective_focal_length_mm = cells.real32("effective_focal_length_mm");
    values.push_back(&frame.effective_focal_length_mm);
    cells.expect_end();
    apply_bits<uint32_t, float>(row, cells, 6, 15, values, values.size());
    if (cells.fault()) {
        return cells.fault();
    }
    if (auto fault = take_counts(row)) {
        return fault;
    }
    const auto record = row.remark("record");
    if (record && *record != "is_input" && *record != "is_input_distortion_correction") {
        return file.fault(
            "expected the remark record=is_input or "
            "record=is_input_distortion_correction, found " +
            quoted(*record));
    }
    const CaptureRow* const second = rows(CaptureFile::kInputStabilize).row();
    const bool was_split = second != nullptr && second->frame_id() == frame.frame_id;
    frame.is_combined = has_stabilizer_ && (record ? *record == "is_input" : !was_split);
    is_split_ = !frame.is_combined;
    return file.next();
}

Result<bool> CaptureReader::has_row(CaptureFile which, uint32_t frame_id, uint64_t taken) {
    CaptureRows& file = rows(which);
    const CaptureRow* const row = file.row();
    const bool is_its = row != nullptr && row->frame_id() == frame_id;
    if (!has_counts_) {
        return is_its;
    }
    const uint64_t count = counts_[static_cast<size_t>(which)];
    if (taken == count) {
        // The second pass may have been recorded by a call of its own, which no count tells of.
        return is_split_ && is_of_second_pass(which) && count == 0 && is_its;
    }
    if (!texts_.of(which).text) {
        return Fault{texts_.of(which).path, 0, "expected this file, which frame.csv counts on"};
    }
    if (!is_its) {
        return file.fault(
            "expected " + std::to_string(count - taken) + " more of " + std::to_string(count) +
            " rows of frame " + std::to_string(frame_id) + ", found " +
            (row == nullptr ? "the end of the file" : "frame " + std::to_string(row->frame_id())));
    }
    return true;
}

std::optional<Fault> CaptureReader::take_samples(size_t stream, CapturedFrame& frame) {
    CaptureRows& file = rows(kStreams[stream]);
    std::vector<_sample_data_s>& samples = frame.streams[stream];
    for (;;) {
        const Result<bool> more = has_row(kStreams[stream], frame.frame_id, samples.size());
        if (!more.ok()) {
            return more.fault();
        }
        if (!more.value()) {
            return std::nullopt;
        }
        const CaptureRow& row = *file.row();
        CellReader cells(row, file);
        _sample_data_s sample{};
        cells.u32("frame_id");
        double* values[std::size(sample.data)];
        for (size_t i = 0; i < std::size(sample.data); ++i) {
            sample.data[i] = cells.real("a sample's data");
            values[i] = &sample.data[i];
        }
        sample.ts = cells.u64("ts");
        cells.expect_end();
        apply_bits<uint64_t, double>(row, cells, 1, 15, values, 1);
        if (cells.fault()) {
            return cells.fault();
        }
        samples.push_back(sample);
        if (auto fault = file.next()) {
            return fault;
        }
    }
}

std::optional<Fault> CaptureReader::take_warp(CaptureFile grid, CaptureFile matrices,
                                              uint32_t frame_id, CapturedWarp& warp) {
    if (auto fault = take_grid(grid, frame_id, warp)) {
        return fault;
    }
    return take_matrices(matrices, frame_id, warp);
}

std::optional<Fault> CaptureReader::take_grid(CaptureFile which, uint32_t frame_id,
                                              CapturedWarp& warp) {
    const Result<bool> has = has_row(which, frame_id, 0);
    if (!has.ok()) {
        return has.fault();
    }
    if (!has.value()) {
        return std::nullopt;
    }
    CaptureRows& file = rows(which);
    const CaptureRow& row = *file.row();
    CellReader cells(row, file);
    NcLibWarpGrid& grid = warp.warp.grid;
    warp.is_present = true;
    take_warp_head(cells, grid);
    // Any value can be in a record; the library is what judges it.
    const uint32_t type = cells.u32("extrapolateType");
    grid.extrapolateType = static_cast<NcLibWarpGridExtrapolationType>(
        std::min(type, static_cast<uint32_t>(EXTRAPOLATION_TYPE_MAX_VAL)));
    const uint64_t count = uint64_t{grid.numRows} * grid.numColumns;
    if (cells.left() != 0 && (count > kMostGridPoints || cells.left() != 2 * count)) {
        cells.refuse("expected a grid of " + std::to_string(grid.numRows) + " times " +
                     std::to_string(grid.numColumns) + " points, found " +
                     std::to_string(cells.left()) + " coordinates");
    } else {
        warp.points.resize(cells.left() / 2);
    }
    std::vector<float*> values;
    for (NcLibWarpGridCoord& point : warp.points) {
        point.x = cells.real32("grid");
        point.y = cells.real32("grid");
        values.insert(values.end(), {&point.x, &point.y});
    }
    apply_bits<uint32_t, float>(row, cells, kWarpCells, 4, values, values.size());
    warp.warp.direction = remark_u32(row, cells, "direction", OUT_2_IN);
    if (const auto remark = row.remark("corners")) {
        const auto words = parse_hex_words(*remark, 8);
        if (!words || words->size() != 8) {
            cells.refuse("expected the remark corners as 8 words of 8 digits");
        } else {
            for (size_t i = 0; i < 4; ++i) {
                warp.corners.push_back(
                    {std::bit_cast<float>(static_cast<uint32_t>((*words)[2 * i])),
                     std::bit_cast<float>(static_cast<uint32_t>((*words)[2 * i + 1]))});
            }
        }
    }
    return cells.fault() ? cells.fault() : file.next();
}

std::optional<Fault> CaptureReader::take_matrices(CaptureFile which, uint32_t frame_id,
                                                  CapturedWarp& warp) {
    const Result<bool> has = has_row(which, frame_id, 0);
    if (!has.ok()) {
        return has.fault();
    }
    if (!has.value()) {
        return std::nullopt;
    }
    CaptureRows& file = rows(which);
    const CaptureRow& row = *file.row();
    CellReader cells(row, file);
    NcLibWarpMatrices& matrices = warp.warp.matrices;
    warp.is_present = true;
    take_warp_head(cells, matrices);
    matrices.confidence = cells.u32("confidence");
    const uint64_t count = uint64_t{matrices.numRows} * matrices.numColumns;
    if (cells.left() != 0 && (count > kMostMatrices || cells.left() != 9 * count)) {
        cells.refuse("expected " + std::to_string(matrices.numRows) + " times " +
                     std::to_string(matrices.numColumns) + " matrices of 9 elements, found " +
                     std::to_string(cells.left()) + " elements");
    } else {
        warp.matrices.resize(cells.left() / 9);
    }
    std::vector<float*> values;
    for (NcLibPerspTransformSingle& matrix : warp.matrices) {
        for (float& element : matrix.T) {
            element = cells.real32("perspMatrices");
            values.push_back(&element);
        }
    }
    apply_bits<uint32_t, float>(row, cells, kWarpCells, 6, values, values.size());
    warp.warp.direction = remark_u32(row, cells, "direction", OUT_2_IN);
    matrices.centerType = remark_u32(row, cells, "center", CENTERED);
    return cells.fault() ? cells.fault() : file.next();
}

std::optional<Fault> CaptureReader::take_second_pass(CapturedFrame& frame) {
    const Result<bool> has = has_row(CaptureFile::kInputStabilize, frame.frame_id, 0);
    if (!has.ok()) {
        return has.fault();
    }
    if (!has.value()) {
        return std::nullopt;
    }
    CaptureRows& file = rows(CaptureFile::kInputStabilize);
    CellReader cells(*file.row(), file);
    CapturedSecondPass second;
    cells.u32("frame_id");
    second.active_sensor_idx = cells.u32("active_sensor_idx");
    second.times.sof = cells.u64("sof");
    second.times.frame_time = cells.u32("frame_time");
    second.times.exposure_time = cells.u32("exposure_time");
    second.times.sensor_rolling_shutter_skew = cells.u32("sensor_rolling_shutter_skew");
    cells.expect_end();
    if (cells.fault()) {
        return cells.fault();
    }
    if (auto fault = take_vectors(frame.frame_id, second)) {
        return fault;
    }
    frame.second = std::move(second);
    return file.next();
}

std::optional<Fault> CaptureReader::take_vectors(uint32_t frame_id, CapturedSecondPass& second) {
    const Result<bool> has = has_row(CaptureFile::kMotionVectors, frame_id, 0);
    if (!has.ok()) {
        return has.fault();
    }
    if (!has.value()) {
        return std::nullopt;
    }
    CaptureRows& file = rows(CaptureFile::kMotionVectors);
    const CaptureRow& row = *file.row();
    CellReader cells(row, file);
    CapturedVectors vectors;
    is_motion_vectors_input& record = vectors.record;
    NcLibWarpMatrices& alignment = record.alignment_matrix;
    cells.u32("frame_id");
    record.motion_vectors_input_image_width = cells.u32("motion_vectors_input_image_width");
    record.motion_vectors_input_image_height = cells.u32("motion_vectors_input_image_height");
    alignment.enable = cells.flag("alignment_matrix.enable");
    alignment.transformDefinedOn.widthPixels = cells.u32("transformDefinedOn.widthPixels");
    alignment.transformDefinedOn.heightLines = cells.u32("transformDefinedOn.heightLines");
    alignment.centerType = cells.u32("centerType");
    alignment.confidence = cells.u32("confidence");
    alignment.numRows = cells.u32("numRows");
    alignment.numColumns = cells.u32("numColumns");
    NcLibPerspTransformSingle matrix{};
    float* values[9];
    for (size_t i = 0; i < 9; ++i) {
        matrix.T[i] = cells.real32("perspMatrices.T");
        values[i] = &matrix.T[i];
    }
    record.motion_vectors_buff_size_byte = cells.u32("motion_vectors_buff_size_byte");
    cells.expect_end();
    apply_bits<uint32_t, float>(row, cells, 10, 6, values, 9);
    if (row.remark("bits") || (alignment.enable && !row.has_remark())) {
        vectors.alignment = matrix;
    }
    if (const auto remark = row.remark("words")) {
        const auto words = parse_hex_words(*remark, 8);
        const uint32_t size = record.motion_vectors_buff_size_byte;
        if (!words || words->size() != std::min(size / 4, kMostMotionVectorWords) ||
            size > kLargestVectorBuffer) {
            cells.refuse(
                "expected the remark words as motion_vectors_buff_size_byte / 4 words of "
                "8 digits, 3075 at most, of a buffer of 64 MiB at most");
        } else {
            vectors.has_words = true;
            vectors.words.assign(words->begin(), words->end());
            vectors.words.resize(std::max<size_t>((size_t{size} + 3) / 4, 1));
        }
    }
    if (cells.fault()) {
        return cells.fault();
    }
    second.vectors = std::move(vectors);
    return file.next();
}

std::optional<Fault> CaptureReader::take_intervals(CapturedFrame& frame) {
    if (!texts_.of(CaptureFile::kTimeIntervals).text) {
        return std::nullopt;  // not recorded: the order of calls says that it was asked
    }
    // Its numbers are read where they are compared.
    CaptureRows& file = rows(CaptureFile::kTimeIntervals);
    frame.asks_intervals = file.row() != nullptr && file.row()->frame_id() == frame.frame_id;
    return frame.asks_intervals ? file.next() : std::nullopt;
}

std::optional<Fault> CaptureReader::expect_ends() {
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        if (is_input_file(i) && rows_[i].row() != nullptr) {
            return rows_[i].fault(
                "expected no row behind the last frame of frame.csv, found "
                "frame " +
                std::to_string(rows_[i].row()->frame_id()));
        }
    }
    return std::nullopt;
}

}  // namespace steadywarp::tool
