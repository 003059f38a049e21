// SPDX-License-Identifier: Apache-2.0
#include "capture/is_log.hpp"

#include "base/allocation.hpp"
#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

// The widest row is that of the largest grid, with the bits of its points.
constexpr uint32_t kRowCapacity = 448 << 10;

constexpr size_t index_of(CaptureFile file) {
    return static_cast<size_t>(file);
}

// The number of the frame that the records are of. False if there is none.
bool frame_id_of(const eis_utils_log_data& data, uint32_t& frame_id) {
    if (data.is_input != nullptr) {
        frame_id = data.is_input->frame_id;
    } else if (data.is_input_distortion_correction != nullptr) {
        frame_id = data.is_input_distortion_correction->frame_id;
    } else if (data.is_input_stabilize != nullptr) {
        frame_id = data.is_input_stabilize->frame_id;
    } else if (data.is_output != nullptr) {
        frame_id = data.is_output->frame_id;
    } else if (data.is_output_distortion_correction != nullptr) {
        frame_id = data.is_output_distortion_correction->frame_id;
    } else if (data.is_output_stabilize != nullptr) {
        frame_id = data.is_output_stabilize->frame_id;
    } else {
        return false;
    }
    return true;
}

}  // namespace

IsLog::IsLog(const char* prefix, const InitData& data, uint32_t flags, uint32_t& status)
    : _is_type(data.common->is_type),
      _flags(flags),
      _row(kRowCapacity, status),
      _target{prefix, _is_type, _row} {
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0004", "Out of memory");
        return;
    }
    create_files(status);
    if (status == EIS_SUCCESS && (flags & IS_UTILS_FLAG_INIT) != 0) {
        write_init_ini(_target, data, flags, status);
    }
}

template <typename File>
void IsLog::create(std::unique_ptr<File>& file, CaptureFile which, uint32_t& status) {
    file = allocate<File>(_target, which, status);
    if (!file) {
        EIS_ERR("IS0004", "Out of memory");
        status = EIS_ERROR_NO_MEMORY;
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Cannot init %s", info_of(which).what);
    }
    _files[index_of(which)] = file.get();
}

void IsLog::create_files(uint32_t& status) {
    for (size_t i = 0; i < kNumCaptureFiles && status == EIS_SUCCESS; ++i) {
        const auto which = static_cast<CaptureFile>(i);
        if (!is_in_capture(kCaptureFiles[i], _flags, _is_type)) {
            continue;
        }
        switch (kCaptureFiles[i].kind) {
            case CaptureKind::kFrame:
                create(_frame, which, status);
                break;
            case CaptureKind::kInputStabilize:
                create(_input_stabilize, which, status);
                break;
            case CaptureKind::kSamples:
                create(_samples[i], which, status);
                break;
            case CaptureKind::kMotionVectors:
                create(_motion_vectors, which, status);
                break;
            case CaptureKind::kGrid:
                create(_grids[i], which, status);
                break;
            case CaptureKind::kMatrices:
                create(_matrices[i], which, status);
                break;
            case CaptureKind::kMetadata:
                create(_metadata, which, status);
                break;
            case CaptureKind::kMetadataStabilize:
                create(_metadata_stabilize, which, status);
                break;
            case CaptureKind::kTimeIntervals:
                create(_intervals, which, status);
                break;
            case CaptureKind::kInit:
                break;
        }
    }
}

uint32_t IsLog::write(const eis_utils_log_data& data) {
    uint32_t frame_id = 0;
    if (!frame_id_of(data, frame_id)) {
        EIS_ERR("IS0003", "All other inputs are NULL, could not get frame_id");
        return EIS_ERROR_INVALID_INPUT;
    }
    check_presence(data);
    std::array<uint32_t, kNumCaptureFiles> rows_before{};
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        rows_before[i] = _files[i] == nullptr ? 0 : _files[i]->rows();
    }
    uint32_t failed = write_inputs(data) + write_outputs(data);
    if (_intervals && data.is_time_intervals != nullptr) {
        failed += _intervals->write(frame_id, *data.is_time_intervals);
    }
    failed += write_frame(data, rows_before);
    if (failed != 0) {
        EIS_ERR("IS0002", "Frame id: %u, Could not write to files, number of errors: %u", frame_id,
                failed);
        return EIS_ERROR_CAPTURE_FILE;
    }
    return EIS_SUCCESS;
}

void IsLog::check_presence(const eis_utils_log_data& data) const {
    if (_is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY) {
        if (data.is_input != nullptr) {
            EIS_HIGH("IS1026",
                     "is_type is IS_TYPE_DISTORTION_CORRECTION_ONLY but NULL != data->is_input. "
                     "Ignoring data->is_input");
        }
        if (data.is_input_stabilize != nullptr) {
            EIS_HIGH("IS1026",
                     "is_type is IS_TYPE_DISTORTION_CORRECTION_ONLY but NULL != "
                     "data->is_input_stabilize. Ignoring data->is_input_stabilize");
        }
        if (data.is_output != nullptr) {
            EIS_HIGH("IS1026",
                     "is_type is IS_TYPE_DISTORTION_CORRECTION_ONLY but NULL != data->is_output. "
                     "Ignoring data->is_output");
        }
        if (data.is_output_stabilize != nullptr) {
            EIS_HIGH("IS1026",
                     "is_type is IS_TYPE_DISTORTION_CORRECTION_ONLY but NULL != "
                     "data->is_output_stabilize. Ignoring data->is_output_stabilize");
        }
    }
    if (_is_type == IS_TYPE_EIS_NFL) {
        if (data.is_input == nullptr) {
            EIS_HIGH("IS1026",
                     "is_type is IS_TYPE_EIS_NFL but NULL == data->is_input. Configuration "
                     "mismatch. Ignoring data->is_input");
        }
        if (data.is_output == nullptr) {
            EIS_HIGH("IS1026",
                     "is_type is IS_TYPE_EIS_NFL but NULL == data->is_output. Configuration "
                     "mismatch. Ignoring data->is_output");
        }
    }
}

template <typename Input>
uint32_t IsLog::write_samples(const Input& input) {
    const struct {
        CaptureFile file;
        const is_sample_array& samples;
    } streams[] = {
        {CaptureFile::kGyro, input.gyro},
        {CaptureFile::kMag, input.mag},
        {CaptureFile::kAcc, input.acc},
        {CaptureFile::kOis, input.ois},
        {CaptureFile::kIfovc, input.ifovc},
        {CaptureFile::kLinearAcc, input.linear_acc},
        {CaptureFile::kAbsOrientation, input.abs_orientation},
        {CaptureFile::kRelOrientation, input.rel_orientation},
    };
    uint32_t failed = 0;
    for (const auto& stream : streams) {
        CsvSamplesFile* const file = _samples[index_of(stream.file)].get();
        failed += file == nullptr ? 0 : file->write(input.frame_id, stream.samples);
    }
    return failed + write_warp(CaptureFile::kPreEisGrid, CaptureFile::kPreEisMatrix,
                               {input.frame_id, input.active_sensor_idx},
                               input.pre_eis_transform_margins_reduction);
}

uint32_t IsLog::write_grid(CaptureFile which, const WarpOwner& owner, const NcLibWarpGrid& grid) {
    CsvGridFile* const file = _grids[index_of(which)].get();
    return file == nullptr ? 0 : file->write(owner, grid);
}

uint32_t IsLog::write_matrices(CaptureFile which, const WarpOwner& owner,
                               const NcLibWarpMatrices& matrices) {
    CsvMatricesFile* const file = _matrices[index_of(which)].get();
    return file == nullptr ? 0 : file->write(owner, matrices);
}

uint32_t IsLog::write_warp(CaptureFile grid, CaptureFile matrices, const WarpOwner& owner,
                           const NcLibWarp* warp) {
    if (warp == nullptr) {
        return 0;
    }
    const WarpOwner directed = {owner.frame_id, owner.active_sensor_idx, warp->direction};
    return write_grid(grid, directed, warp->grid) +
           write_matrices(matrices, directed, warp->matrices);
}

uint32_t IsLog::write_inputs(const eis_utils_log_data& data) {
    const bool has_stabilizer = _is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY;
    uint32_t failed = 0;
    if (has_stabilizer && data.is_input != nullptr) {
        failed += write_samples(*data.is_input);
        failed += write_warp(CaptureFile::kSatGrid, CaptureFile::kSatMatrices,
                             {data.is_input->frame_id, data.is_input->active_sensor_idx},
                             data.is_input->sat);
    } else if (data.is_input_distortion_correction != nullptr) {
        failed += write_samples(*data.is_input_distortion_correction);
    }
    if (!has_stabilizer || data.is_input_stabilize == nullptr) {
        return failed;
    }
    const is_input_stabilize& second = *data.is_input_stabilize;
    failed += write_warp(CaptureFile::kSatGrid, CaptureFile::kSatMatrices,
                         {second.frame_id, second.active_sensor_idx}, second.sat);
    if (_input_stabilize) {
        failed += _input_stabilize->write(second);
    }
    if (_motion_vectors && second.dis_motion_vectors != nullptr) {
        failed += _motion_vectors->write(second.frame_id, *second.dis_motion_vectors);
    }
    return failed;
}

uint32_t IsLog::write_first_pass(const eis_utils_log_data& data) {
    const is_output_distortion_correction& output = *data.is_output_distortion_correction;
    if (!output.output_valid) {
        return 0;
    }
    const WarpOwner owner = {output.frame_id, output.active_sensor_idx};
    return (_metadata ? _metadata->write(output) : 0) +
           write_grid(CaptureFile::kDistortionCorrectionGrid, owner,
                      output.distortion_correction_grid) +
           write_matrices(CaptureFile::kAlignmentUndistorted, owner,
                          output.alignment_matrix_domain_undistorted);
}

uint32_t IsLog::write_second_pass(const eis_utils_log_data& data) {
    const is_output_stabilize& output = *data.is_output_stabilize;
    if (!output.output_valid) {
        return 0;
    }
    const WarpOwner owner = {output.frame_id, output.active_sensor_idx};
    return (_metadata_stabilize ? _metadata_stabilize->write(output) : 0) +
           write_warp(CaptureFile::kStabilizationGrid, CaptureFile::kStabilizationMatrices, owner,
                      &output.stabilization_transform) +
           write_matrices(CaptureFile::kAlignmentStabilized, owner,
                          output.alignment_matrix_domain_stabilized);
}

uint32_t IsLog::write_outputs(const eis_utils_log_data& data) {
    const bool has_stabilizer = _is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY;
    uint32_t failed = 0;
    if (data.is_output_distortion_correction != nullptr) {
        failed += write_first_pass(data);
    }
    if (has_stabilizer && data.is_output_stabilize != nullptr) {
        failed += write_second_pass(data);
    }
    if (!has_stabilizer || data.is_output == nullptr || !data.is_output->output_valid) {
        return failed;
    }
    const is_output& output = *data.is_output;
    const WarpOwner owner = {output.frame_id, output.active_sensor_idx};
    failed += _metadata ? _metadata->write(output) : 0;
    failed += write_grid(CaptureFile::kDistortionCorrectionGrid, owner,
                         output.distortion_correction_grid);
    failed += write_warp(CaptureFile::kStabilizationGrid, CaptureFile::kStabilizationMatrices,
                         owner, &output.stabilization_transform);
    failed += write_matrices(CaptureFile::kAlignmentUndistorted, owner,
                             output.alignment_matrix_domain_undistorted);
    return failed + write_matrices(CaptureFile::kAlignmentStabilized, owner,
                                   output.alignment_matrix_domain_stabilized);
}

uint32_t IsLog::write_frame(const eis_utils_log_data& data,
                            const std::array<uint32_t, kNumCaptureFiles>& rows_before) {
    if (!_frame) {
        return 0;
    }
    std::array<RowCount, kNumCaptureFiles> counts;
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        const uint32_t rows = _files[i] == nullptr ? 0 : _files[i]->rows() - rows_before[i];
        counts[i] = {static_cast<CaptureFile>(i), rows};
    }
    if (data.is_input != nullptr && _is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY) {
        return _frame->write(*data.is_input, counts.data(), counts.size());
    }
    if (data.is_input_distortion_correction != nullptr) {
        return _frame->write(*data.is_input_distortion_correction, counts.data(), counts.size());
    }
    return 0;
}

uint32_t IsLog::flush() {
    uint32_t failed = 0;
    for (CsvFile* file : _files) {
        failed += file == nullptr ? 0 : file->flush();
    }
    if (failed != 0) {
        EIS_ERR("IS0002", "Could not write to files, number of errors: %u", failed);
    }
    return failed;
}

}  // namespace steadywarp
