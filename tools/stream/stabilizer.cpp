// SPDX-License-Identifier: Apache-2.0
#include "stream/stabilizer.hpp"

#include <algorithm>
#include <chrono>

namespace steadywarp::tool {
namespace {

/// Matrices and grids that the library writes to, beside the FrameWarp.
struct OutputMemory {
    NcLibPerspTransformSingle stabilization{};
    NcLibPerspTransformSingle undistorted{};
    NcLibPerspTransformSingle stabilized{};
    std::array<NcLibWarpGridCoord, EIS_GRID_POINTS> stabilization_grid{};
};

constexpr std::array<float, 9> kNoTransform = {1, 0, 0, 0, 1, 0, 0, 0, 1};

std::array<float, 9> numbers(const NcLibWarpMatrices& matrices,
                             const NcLibPerspTransformSingle& memory) {
    return matrices.enable ? std::to_array(memory.T) : kNoTransform;
}

is_frame_times frame_times(const Frame& frame, uint32_t period_us) {
    return {static_cast<uint64_t>(frame.sof_us), period_us, frame.exposure_us, frame.readout_us};
}

/// The part of a log inside an interval, both ends included.
template <class Sample>
std::span<const Sample> samples_in(std::span<const Sample> log, const is_time_interval& interval) {
    const auto before = [](const Sample& sample, uint64_t t) {
        return static_cast<uint64_t>(sample.t_us) < t;
    };
    const auto first = std::lower_bound(log.begin(), log.end(), interval.first_ts, before);
    const auto end = std::lower_bound(first, log.end(), interval.last_ts + 1, before);
    return {first, end};
}

/// Fill a batch with what a log of the lens has inside an interval.
void gather(std::span<const LensSample> log, const is_time_interval& interval,
            std::vector<_sample_data_s>& batch) {
    batch.clear();
    if (interval.last_ts == 0) {
        return;
    }
    for (const LensSample& sample : samples_in(log, interval)) {
        batch.push_back({{sample.value[0], sample.value[1], 0.0, 0.0, 0.0, 0.0},
                         static_cast<uint64_t>(sample.t_us)});
    }
}

is_sample_array array_of(const std::vector<_sample_data_s>& batch) {
    return {batch.data(), static_cast<uint32_t>(batch.size())};
}

}  // namespace

std::unique_ptr<Stabilizer> Stabilizer::create(const Camera& camera) {
    eis_context* context = nullptr;
    if (eis2_initialize(&context, &camera.common, camera.sensors.data(),
                        static_cast<uint32_t>(camera.sensors.size())) != EIS_SUCCESS) {
        return nullptr;
    }
    std::unique_ptr<Stabilizer> out(new Stabilizer);
    out->context_.reset(context);
    out->has_stabilizer_ = camera.common.is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY;
    if (!full_frame_windows(camera, 0, out->windows_)) {
        return nullptr;
    }
    return out;
}

bool Stabilizer::restart(const Camera& camera) {
    const std::unique_ptr<Stabilizer> fresh = create(camera);
    if (!fresh) {
        return false;
    }
    std::swap(context_, fresh->context_);
    windows_ = fresh->windows_;
    return true;
}

void Stabilizer::record(eis_utils_log_data& data) {
    if (capture_ != nullptr) {
        data.is_time_intervals = &intervals_;
        capture_->write(data);
    }
}

bool Stabilizer::process_both(is_input& input, FrameWarp& out) {
    OutputMemory memory;
    is_output result{};
    result.distortion_correction_grid.grid = out.grid.data();
    result.stabilization_transform.grid.grid = memory.stabilization_grid.data();
    result.stabilization_transform.matrices.perspMatrices = &memory.stabilization;
    result.alignment_matrix_domain_undistorted.perspMatrices = &memory.undistorted;
    result.alignment_matrix_domain_stabilized.perspMatrices = &memory.stabilized;
    const uint32_t status = eis2_process(context_.get(), &input, &result);
    eis_utils_log_data data{};
    data.is_input = &input;
    data.is_output = &result;
    record(data);
    if (status != EIS_SUCCESS || !result.output_valid) {
        return false;
    }
    out.sensor = result.active_sensor_idx;
    out.stabilization = numbers(result.stabilization_transform.matrices, memory.stabilization);
    out.alignment_undistorted =
        numbers(result.alignment_matrix_domain_undistorted, memory.undistorted);
    out.alignment_stabilized =
        numbers(result.alignment_matrix_domain_stabilized, memory.stabilized);
    out.cvp_motion_index = result.cvp_motion_index_raw;
    out.scene = result.scene_detection;
    return true;
}

bool Stabilizer::process_distortion(const is_input& input, FrameWarp& out) {
    is_input_distortion_correction part{};
    part.frame_id = input.frame_id;
    part.active_sensor_idx = input.active_sensor_idx;
    part.frame_time_input = input.frame_time_input;
    part.gyro = input.gyro;
    part.ois = input.ois;
    part.ifovc = input.ifovc;
    part.window_regions = input.window_regions;
    NcLibPerspTransformSingle undistorted{};
    is_output_distortion_correction result{};
    result.distortion_correction_grid.grid = out.grid.data();
    result.alignment_matrix_domain_undistorted.perspMatrices = &undistorted;
    const uint32_t status =
        eis_internal_process_distortion_correction(context_.get(), &part, &result);
    eis_utils_log_data data{};
    data.is_input_distortion_correction = &part;
    data.is_output_distortion_correction = &result;
    record(data);
    if (status != EIS_SUCCESS || !result.output_valid) {
        return false;
    }
    out.sensor = result.active_sensor_idx;
    out.stabilization = kNoTransform;
    out.alignment_undistorted = numbers(result.alignment_matrix_domain_undistorted, undistorted);
    out.alignment_stabilized = out.alignment_undistorted;
    out.cvp_motion_index = result.cvp_motion_index_raw;
    out.scene = result.scene_detection;
    return true;
}

bool Stabilizer::process(const Frame& frame, const is_frame_times& times, FrameWarp& out) {
    is_input input{};
    input.frame_id = frame.id;
    input.frame_time_input = times;
    input.gyro = array_of(batch_);
    input.ois = array_of(shift_batch_);
    input.ifovc = array_of(position_batch_);
    input.window_regions = windows_;
    return has_stabilizer_ ? process_both(input, out) : process_distortion(input, out);
}

FrameWarp Stabilizer::run(const Frame& frame, uint32_t period_us, const SampleStreams& streams) {
    using Clock = std::chrono::steady_clock;
    const is_frame_times times = frame_times(frame, period_us);
    FrameWarp out;
    const auto asked = Clock::now();
    const uint32_t status = eis2_get_time_intervals(context_.get(), &times, 0, &intervals_);
    const auto answered = Clock::now();
    out.seconds = std::chrono::duration<double>(answered - asked).count();
    if (status != EIS_SUCCESS) {
        return out;
    }
    batch_.clear();
    for (const GyroSample& sample : samples_in(streams.gyro, intervals_.gyro)) {
        batch_.push_back({{sample.rate[0], sample.rate[1], sample.rate[2], 0.0, 0.0, 0.0},
                          static_cast<uint64_t>(sample.t_us)});
    }
    gather(streams.lens_shift, intervals_.ois, shift_batch_);
    gather(streams.lens_position, intervals_.ifovc, position_batch_);
    out.samples = static_cast<uint32_t>(batch_.size());
    const auto handed_over = Clock::now();
    out.valid = process(frame, times, out);
    out.seconds += std::chrono::duration<double>(Clock::now() - handed_over).count();
    return out;
}

void Stabilizer::end_stream(const Frame& last, uint32_t period_us) {
    Frame frame = last;
    frame.id += 1;
    frame.sof_us += period_us;
    run(frame, period_us, {});
}

}  // namespace steadywarp::tool
