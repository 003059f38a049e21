// SPDX-License-Identifier: Apache-2.0
#include "capture/csv_input_files.hpp"

#include <algorithm>
#include <cmath>

namespace steadywarp {
namespace {

constexpr uint32_t kFrameBuffer = 64 << 10;
constexpr uint32_t kSamplesBuffer = 64 << 10;
constexpr uint32_t kMotionVectorsBuffer = 256 << 10;

#define WINDOW_COLUMNS(window)                                                           \
    ", " #window ".fullWidth, " #window ".fullHeight, " #window ".windowWidth, " #window \
    ".windowHeight, " #window ".windowLeft, " #window ".windowTop"

constexpr const char* kFrameHeader =
    "; frame_id,active_sensor_idx, frame_time, sensor_rolling_shutter_skew, exposure_time, sof"
    ", focus_distance" WINDOW_COLUMNS(eis_pre_crop_vIN) WINDOW_COLUMNS(eis_pre_crop_vOUT)
        WINDOW_COLUMNS(output_crop_fov)
            WINDOW_COLUMNS(image_sensor_crop) ", effective_focal_length_mm\n";

#undef WINDOW_COLUMNS

constexpr const char* kInputStabilizeHeader =
    "; frame_id, active_sensor_idx, sof, frame_time, exposure_time, sensor_rolling_shutter_skew\n";

constexpr const char* kSamplesHeader =
    "; frame_id, data[0], data[1], data[2], data[3], data[4], data[5], ts\n";

constexpr const char* kMotionVectorsHeader =
    "; frame_id, motion_vectors_input_image_width, motion_vectors_input_image_height, "
    "alignment_matrix.enable, alignment_matrix.transformDefinedOn.widthPixels, "
    "alignment_matrix.transformDefinedOn.heightLines, alignment_matrix.centerType, "
    "alignment_matrix.confidence, alignment_matrix.numRows, alignment_matrix.numColumns, "
    "alignment_matrix.perspMatrices.T[0], alignment_matrix.perspMatrices.T[1], "
    "alignment_matrix.perspMatrices.T[2], alignment_matrix.perspMatrices.T[3], "
    "alignment_matrix.perspMatrices.T[4], alignment_matrix.perspMatrices.T[5], "
    "alignment_matrix.perspMatrices.T[6], alignment_matrix.perspMatrices.T[7], "
    "alignment_matrix.perspMatrices.T[8], motion_vectors_buff_size_byte, motion_vectors[]\n";

// Fifteen decimals give a float back from 2^-24 up: neighbours are then 7e-15 apart, the text is
// 5e-16 off at most. What is no number reads back as none.
bool reads_back(float value) {
    return !std::isfinite(value) || value == 0.0f || std::fabs(value) >= 0x1p-24f;
}

// The same for a double: from 8 up neighbours are 1.7e-15 apart.
bool reads_back(double value) {
    return !std::isfinite(value) || value == 0.0 || std::fabs(value) >= 8.0;
}

// Puts down the floats of a frame and keeps them for the remark.
class FloatCells {
  public:
    explicit FloatCells(RowText& row) : _row(row) {}

    void add(float value) {
        _row.precise(static_cast<double>(value));
        _needs_bits |= !reads_back(value);
        _values[_count++] = value;
    }
    void add(const is_crop_window& window) {
        add(window.fullWidth);
        add(window.fullHeight);
        add(window.windowWidth);
        add(window.windowHeight);
        add(window.windowLeft);
        add(window.windowTop);
    }
    void remark() const {
        if (_needs_bits) {
            _row.remark_bits(_values, _count);
        }
    }

  private:
    RowText& _row;
    float _values[kFrameCells - 6] = {};
    size_t _count = 0;
    bool _needs_bits = false;
};

}  // namespace

CsvFrameFile::CsvFrameFile(const CaptureTarget& target, CaptureFile file, uint32_t& status)
    : CsvFile(target, file, kFrameBuffer, kFrameHeader, status) {}

template <typename Input>
uint32_t CsvFrameFile::write_record(const char* record, const Input& input, const RowCount* counts,
                                    size_t num_counts) {
    RowText& row = start_row();
    row.number(input.frame_id);
    row.number(input.active_sensor_idx);
    row.number(input.frame_time_input.frame_time);
    row.number(input.frame_time_input.sensor_rolling_shutter_skew);
    row.number(input.frame_time_input.exposure_time);
    row.number(input.frame_time_input.sof);
    FloatCells cells(row);
    cells.add(input.focus_distance);
    cells.add(input.window_regions.eis_pre_crop_vIN);
    cells.add(input.window_regions.eis_pre_crop_vOUT);
    cells.add(input.window_regions.output_crop_fov);
    cells.add(input.window_regions.image_sensor_crop);
    cells.add(input.effective_focal_length_mm);
    row.remark("record", record);
    for (size_t i = 0; i < num_counts; ++i) {
        if (counts[i].rows != 0) {
            row.remark(stem_of(counts[i].file), counts[i].rows);
        }
    }
    cells.remark();
    return append_row();
}

uint32_t CsvFrameFile::write(const is_input& input, const RowCount* counts, size_t num_counts) {
    return write_record("is_input", input, counts, num_counts);
}

uint32_t CsvFrameFile::write(const is_input_distortion_correction& input, const RowCount* counts,
                             size_t num_counts) {
    return write_record("is_input_distortion_correction", input, counts, num_counts);
}

CsvInputStabilizeFile::CsvInputStabilizeFile(const CaptureTarget& target, CaptureFile file,
                                             uint32_t& status)
    : CsvFile(target, file, kFrameBuffer, kInputStabilizeHeader, status) {}

uint32_t CsvInputStabilizeFile::write(const is_input_stabilize& input) {
    RowText& row = start_row();
    row.number(input.frame_id);
    row.number(input.active_sensor_idx);
    row.number(input.frame_time_input.sof);
    row.number(input.frame_time_input.frame_time);
    row.number(input.frame_time_input.exposure_time);
    row.number(input.frame_time_input.sensor_rolling_shutter_skew);
    return append_row();
}

CsvSamplesFile::CsvSamplesFile(const CaptureTarget& target, CaptureFile file, uint32_t& status)
    : CsvFile(target, file, kSamplesBuffer, kSamplesHeader, status) {}

uint32_t CsvSamplesFile::write(uint32_t frame_id, const is_sample_array& samples) {
    uint32_t failed = 0;
    const uint32_t count = samples.samples == nullptr ? 0 : samples.num_elements;
    for (uint32_t i = 0; i < count; ++i) {
        const _sample_data_s& sample = samples.samples[i];
        RowText& row = start_row();
        row.number(frame_id);
        size_t words = 0;
        for (size_t k = 0; k < std::size(sample.data); ++k) {
            row.precise(sample.data[k]);
            words = reads_back(sample.data[k]) ? words : k + 1;
        }
        row.number(sample.ts);
        if (words != 0) {
            row.remark_bits(sample.data, words);
        }
        failed += append_row();
    }
    return failed;
}

CsvMotionVectorsFile::CsvMotionVectorsFile(const CaptureTarget& target, CaptureFile file,
                                           uint32_t& status)
    : CsvFile(target, file, kMotionVectorsBuffer, kMotionVectorsHeader, status) {}

uint32_t CsvMotionVectorsFile::write(uint32_t frame_id, const is_motion_vectors_input& input) {
    RowText& row = start_row();
    row.number(frame_id);
    row.number(input.motion_vectors_input_image_width);
    row.number(input.motion_vectors_input_image_height);
    const NcLibWarpMatrices& alignment = input.alignment_matrix;
    row.number(alignment.enable ? 1 : 0);
    row.number(alignment.transformDefinedOn.widthPixels);
    row.number(alignment.transformDefinedOn.heightLines);
    row.number(alignment.centerType);
    row.number(alignment.confidence);
    row.number(alignment.numRows);
    row.number(alignment.numColumns);
    const bool has_matrix = alignment.enable && alignment.perspMatrices != nullptr;
    NcLibPerspTransformSingle matrix{};
    if (has_matrix) {
        matrix = alignment.perspMatrices[0];
    }
    for (const float element : matrix.T) {
        row.element(element);
    }
    row.number(input.motion_vectors_buff_size_byte);
    if (input.motion_vectors != nullptr) {
        const uint32_t words = input.motion_vectors_buff_size_byte / 4;
        row.remark_words("words", input.motion_vectors, std::min(words, kMostMotionVectorWords));
    }
    if (has_matrix) {
        row.remark_bits(matrix.T, std::size(matrix.T));
    }
    return append_row();
}

}  // namespace steadywarp
