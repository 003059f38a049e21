// SPDX-License-Identifier: Apache-2.0
#include "replay/output_bits.hpp"

#include <bit>
#include <cinttypes>

namespace steadywarp::tool {
namespace {

/// Collects the rows of one record.
class RecordRows {
  public:
    RecordRows(std::vector<BitRow>& rows, uint32_t frame_id, const char* record)
        : rows_(rows), frame_id_(frame_id), record_(record) {}

    RecordRows& integers(const char* field, std::vector<uint64_t> values) {
        rows_.push_back({frame_id_, record_, field, BitKind::kInteger, std::move(values)});
        return *this;
    }
    RecordRows& real(const char* field, float value) {
        rows_.push_back({frame_id_, record_, field, BitKind::kFloat, {bits(value)}});
        return *this;
    }
    RecordRows& orientation(const char* field, const _sample_data_s& sample) {
        std::vector<uint64_t> numbers;
        for (const double value : sample.data) {
            numbers.push_back(std::bit_cast<uint64_t>(value));
        }
        rows_.push_back({frame_id_, record_, field, BitKind::kDouble, std::move(numbers)});
        return *this;
    }
    RecordRows& grid(const char* field, const NcLibWarpGrid& grid) {
        if (grid.enable) {
            std::vector<uint64_t> numbers;
            for (size_t i = 0; i < size_t{grid.numRows} * grid.numColumns; ++i) {
                numbers.push_back(bits(grid.grid[i].x));
                numbers.push_back(bits(grid.grid[i].y));
            }
            rows_.push_back({frame_id_, record_, field, BitKind::kFloat, std::move(numbers)});
        }
        return *this;
    }
    RecordRows& matrices(const char* field, const NcLibWarpMatrices& matrices) {
        if (matrices.enable) {
            std::vector<uint64_t> numbers;
            for (size_t i = 0; i < size_t{matrices.numRows} * matrices.numColumns; ++i) {
                for (const float element : matrices.perspMatrices[i].T) {
                    numbers.push_back(bits(element));
                }
            }
            rows_.push_back({frame_id_, record_, field, BitKind::kFloat, std::move(numbers)});
        }
        return *this;
    }
    /// What all outputs have; further fields stand only in one that is valid.
    template <class Output>
    bool begin(const Output& output) {
        integers("output_valid", {output.output_valid});
        if (!output.output_valid) {
            return false;
        }
        const is_scene_detection& scene = output.scene_detection;
        integers("active_sensor_idx", {output.active_sensor_idx});
        integers("scene_detection",
                 {scene.scene_type, scene.is_panning[0], scene.is_panning[1], scene.is_panning[2]});
        grid("distortion_correction_grid", output.distortion_correction_grid);
        matrices("alignment_matrix_domain_undistorted", output.alignment_matrix_domain_undistorted);
        return true;
    }
    template <class Output>
    RecordRows& figures(const Output& output) {
        return real("Mind_margins_blender_geolib", output.Mind_margins_blender_geolib)
            .real("cvp_motion_index_raw", output.cvp_motion_index_raw)
            .integers("ois_mode", {output.ois_mode});
    }
    template <class Output>
    RecordRows& second_pass(const Output& output) {
        return grid("stabilization_transform.grid", output.stabilization_transform.grid)
            .matrices("stabilization_transform.matrices", output.stabilization_transform.matrices)
            .matrices("alignment_matrix_domain_stabilized",
                      output.alignment_matrix_domain_stabilized);
    }

  private:
    static uint64_t bits(float value) { return std::bit_cast<uint32_t>(value); }

    std::vector<BitRow>& rows_;
    uint32_t frame_id_;
    const char* record_;
};

uint32_t frame_of(const eis_utils_log_data& records) {
    return records.is_input != nullptr ? records.is_input->frame_id
           : records.is_input_distortion_correction != nullptr
               ? records.is_input_distortion_correction->frame_id
               : 0;
}

}  // namespace

std::vector<BitRow> bit_rows(const eis_utils_log_data& records) {
    std::vector<BitRow> rows;
    // Frames come out later than they go in, and of an invalid output nothing but that is written:
    // rows are named by the frame that was given.
    const uint32_t frame_id = frame_of(records);
    if (const is_time_intervals* spans = records.is_time_intervals) {
        RecordRows(rows, frame_id, "is_time_intervals")
            .integers("gyro", {spans->gyro.first_ts, spans->gyro.last_ts})
            .integers("ois", {spans->ois.first_ts, spans->ois.last_ts})
            .integers("ifovc", {spans->ifovc.first_ts, spans->ifovc.last_ts});
    }
    if (const is_output* output = records.is_output) {
        RecordRows record(rows, frame_id, "is_output");
        if (record.begin(*output)) {
            record.integers("frame_id", {output->frame_id}).figures(*output).second_pass(*output);
        }
    }
    if (const is_output_distortion_correction* output = records.is_output_distortion_correction) {
        RecordRows record(rows, frame_id, "is_output_distortion_correction");
        if (record.begin(*output)) {
            record.integers("frame_id", {output->frame_id})
                .figures(*output)
                .integers("mof_gyro_time", {output->mof_gyro_time});
        }
    }
    if (const is_output_stabilize* output = records.is_output_stabilize) {
        RecordRows record(rows, frame_id, "is_output_stabilize");
        if (record.begin(*output)) {
            record.integers("frame_id", {output->frame_id})
                .second_pass(*output)
                .integers("frame_orientations.ts", {output->frame_orientation_domain_undistorted.ts,
                                                    output->frame_orientation_domain_stabilized.ts})
                .orientation("frame_orientation_domain_undistorted",
                             output->frame_orientation_domain_undistorted)
                .orientation("frame_orientation_domain_stabilized",
                             output->frame_orientation_domain_stabilized);
        }
    }
    return rows;
}

void write_bits_header(std::FILE* file) {
    std::fputs("frame,record,field,kind,numbers\n", file);
}

void write_bits(std::FILE* file, const BitRow& row) {
    constexpr const char* kKinds[] = {"int", "float", "double"};
    std::fprintf(file, "%" PRIu32 ",%s,%s,%s", row.frame_id, row.record, row.field,
                 kKinds[static_cast<size_t>(row.kind)]);
    for (const uint64_t number : row.numbers) {
        switch (row.kind) {
            case BitKind::kInteger:
                std::fprintf(file, ",%" PRIu64, number);
                break;
            case BitKind::kFloat:
                std::fprintf(file, ",%08" PRIx64, number);
                break;
            case BitKind::kDouble:
                std::fprintf(file, ",%016" PRIx64, number);
                break;
        }
    }
    std::fputc('\n', file);
}

}  // namespace steadywarp::tool
