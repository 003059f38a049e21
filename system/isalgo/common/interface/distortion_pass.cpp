// SPDX-License-Identifier: Apache-2.0
// The first pass of a frame: takes the samples, places the frame in time row by row, and builds
// the distortion grid and the alignment with the frame before.
#include <algorithm>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "interface/context_check.hpp"
#include "interface/eis_context.hpp"
#include "interface/mode_output.hpp"
#include "interface/stream_control.hpp"
#include "interface/warp_output.hpp"
#include "sensors/resampling.hpp"
#include "stabilizer/upstream_transform.hpp"
#include "validation/frame_validation.hpp"
#include "validation/pass_validation.hpp"

namespace steadywarp {
namespace {

// 1 minus the least part of the frame that the widest window covers.
constexpr double kCroppingFactor = 0.67;

// Above this rate focus distances may be left out of every other frame.
constexpr double kHighFps = 33.0;
constexpr int32_t kInfinityCm = 100000000;

// What a stored output is marked with until a frame's own numbers are in it.
constexpr uint32_t kUnusedFrameMark = 0xBAD00BAD;

// Where a frame's crop lies in time, microseconds.
struct FrameTiming {
    uint64_t first_ts;
    uint64_t last_ts;
    uint64_t middle_ts;
    uint32_t readout_duration;
};

FrameTiming frame_timing(const is_frame_times& times, const is_crop_window& crop,
                         int32_t s3d_offset) {
    const float skew = static_cast<float>(times.sensor_rolling_shutter_skew);
    const float readout = skew * crop.windowHeight / crop.fullHeight;
    const float above_crop = skew * crop.windowTop / crop.fullHeight;
    // The frame's middle row is seen half way through its exposure. A window of nonsense makes the
    // sum wrap like the clock.
    uint64_t middle_us = times.sof;
    for (const int64_t step :
         {cut_to_i64(static_cast<double>(above_crop)), -cut_to_i64(times.exposure_time * 0.5),
          cut_to_i64(static_cast<double>(readout * 0.5f)), int64_t{s3d_offset}}) {
        middle_us = static_cast<uint64_t>(moved_us(middle_us, step));
    }
    const double middle = static_cast<double>(static_cast<int64_t>(middle_us));
    const double half_readout = static_cast<double>(readout) * 0.5;
    FrameTiming timing{};
    timing.first_ts = cut_to_u64(middle - half_readout);
    timing.last_ts = cut_to_u64(middle + half_readout);
    timing.middle_ts =
        timestamp_interpolation(timing.first_ts, timing.last_ts, kTimeRows, kMiddleRow);
    timing.readout_duration = cut_to_u32(static_cast<double>(readout));
    return timing;
}

// Frames lost between the last one and this. At least one period passed is one frame.
uint32_t count_dropped_frames(const eis_context& context, const is_frame_times& times,
                              bool sensor_switched) {
    if (context.first_frame || sensor_switched || times.sof <= context.prev_sof) {
        return 0;
    }
    const uint64_t delta = times.sof - context.prev_sof;
    if (!is_frame_drop(delta, times.frame_time) || context.prev_frame_time == 0) {
        return 0;
    }
    const uint64_t periods = std::max<uint64_t>(delta / context.prev_frame_time, 1);
    // The count travels as a signed 32-bit number.
    return static_cast<uint32_t>(std::min<uint64_t>(periods - 1, 0x7FFFFFFFu));
}

void update_focus_distance(eis_context& context, const is_input_distortion_correction& input) {
    const double fps = 1000000.0 / input.frame_time_input.frame_time;
    const float distance = input.focus_distance;
    if (distance == 0.0f && fps > kHighFps) {
        return;
    }
    context.focus_distance_cm =
        distance < 1e-6f ? kInfinityCm : cut_to_i32(static_cast<double>(100.0f / distance));
}

void resample_gyro(eis_context& context, const is_input_distortion_correction& input,
                   const FrameTiming& timing) {
    InterpRequest request;
    request.first_ts = timing.first_ts;
    request.last_ts = timing.last_ts;
    request.num_rows = kTimeRows;
    request.sensor = input.active_sensor_idx;
    request.frame_id = input.frame_id;
    request.first_frame = context.first_frame;
    const InterpStats stats =
        get_interp(context._samplers.gyro, request, context._samplers._angles.get());
    if (stats.num_processed != 0) {
        ++context.frames_with_gyro;
    }
}

// The lens's shift at the frame's rows. @return NULL for a sensor without the stream.
const Point2* resample_ois(eis_context& context, const is_input_distortion_correction& input,
                           const FrameTiming& timing) {
    eis_context_samplers& samplers = context._samplers;
    if (samplers.ois == nullptr) {
        return nullptr;
    }
    samplers.ois->retune(input.frame_time_input.frame_time);
    if (!samplers.has_ois(input.active_sensor_idx)) {
        return nullptr;
    }
    InterpRequest request;
    request.first_ts = timing.first_ts;
    request.last_ts = timing.last_ts;
    request.num_rows = kTimeRows;
    request.sensor = input.active_sensor_idx;
    request.frame_id = input.frame_id;
    const InterpStats stats = samplers.ois->interp(request, samplers._ois_samples.get());
    if (stats.num_error != 0) {
        EIS_ERR("IS0018",
                "OIS samples are invalid, total number of missing points (from all axis): %u",
                static_cast<uint32_t>(stats.num_error));
    }
    return samplers._ois_samples.get();
}

// The field of view's scale at the frame's rows. @return NULL for a sensor without the stream.
const double* resample_ifovc(eis_context& context, const is_input_distortion_correction& input,
                             const FrameTiming& timing) {
    eis_context_samplers& samplers = context._samplers;
    if (!samplers.has_ifovc(input.active_sensor_idx)) {
        return nullptr;
    }
    InterpRequest request;
    request.first_ts = timing.first_ts;
    request.last_ts = timing.last_ts;
    request.num_rows = kTimeRows;
    request.sensor = input.active_sensor_idx;
    request.frame_id = input.frame_id;
    request.first_frame = context.first_frame;
    samplers.ifovc->get_scales(request, input.frame_time_input.frame_time,
                               samplers._ifovc_scales.get());
    return samplers._ifovc_scales.get();
}

// A gimbal or a prism turns the picture beside the device.
void add_gimbal_angles(const sensor_runtime_record& sensor, const Point2* shifts,
                       Vec3<double>* angles) {
    if (shifts == nullptr || !turns_by_gimbal(sensor.lens_module.type)) {
        return;
    }
    for (uint32_t row = 0; row < kTimeRows; ++row) {
        angles[row] = angles[row] + process_gimbal_ois(shifts[row], sensor.lens_module);
    }
}

// Centre the lens where exposure is short, let it work where it is long.
void update_ois_mode(eis_context& context, const is_input_distortion_correction& input) {
    const is_frame_times& times = input.frame_time_input;
    for (uint32_t i = 0; i < context.sensors.size(); ++i) {
        sensor_runtime_record& sensor = context.sensors[i];
        if (!sensor.ois_centring_enabled) {
            continue;
        }
        const bool is_short =
            static_cast<float>(times.exposure_time) <= sensor.ois_centring_exposure_th;
        const uint32_t wanted = is_short ? kOisCentre : kOisNormal;
        if (i == input.active_sensor_idx && wanted != sensor.ois_mode &&
            sensor.ois_time_in_mode > sensor.ois_response_time) {
            sensor.ois_mode = wanted;
            sensor.ois_time_in_mode = 0;
        } else {
            sensor.ois_time_in_mode += times.frame_time;
        }
    }
}

FilterInput make_filter_input(const eis_context& context,
                              const is_input_distortion_correction& input,
                              const FrameTiming& timing, uint32_t dropped_frames) {
    const sensor_runtime_record& sensor = context.sensors[input.active_sensor_idx];
    FilterInput frame;
    frame.windows = compute_frame_geometry_windows(input.window_regions, sensor.input_width,
                                                   sensor.input_height, kCroppingFactor);
    frame.sensor = input.active_sensor_idx;
    frame.readout_duration = timing.readout_duration;
    frame.exposure_time = input.frame_time_input.exposure_time;
    frame.frame_time = input.frame_time_input.frame_time;
    frame.first_ts = timing.first_ts;
    frame.last_ts = timing.last_ts;
    frame.frame_id = input.frame_id;
    frame.dropped_frames = dropped_frames;
    frame.focus_distance_cm = static_cast<uint32_t>(context.focus_distance_cm);
    frame.scene = context._samplers.scene.scene();
    frame.scene_settled = context._samplers.scene.is_settled();
    return frame;
}

// Where an upstream transform leaves the frame's border.
void take_upstream_transform(const is_input_distortion_correction& input,
                             const sensor_runtime_record& sensor, FilterInput& frame) {
    const NcLibWarp* warp = input.pre_eis_transform_margins_reduction;
    if (warp != nullptr && find_upstream_faults(*warp) == 0) {
        frame.pre_align_valid =
            calc_pre_aling_warp_input_points(*warp, sensor.input_width, sensor.input_height,
                                             frame.pre_align_points) == EIS_SUCCESS;
    }
}

// Measure the rates of a stream that opens.
void update_freq_first_frame(eis_context& context, const is_input_distortion_correction& input) {
    context._samplers.gyro.update_frequency(input.gyro);
    if (context._samplers.has_ois(input.active_sensor_idx)) {
        context._samplers.ois->handler(input.active_sensor_idx)->update_frequency(input.ois);
    } else if (input.ois.num_elements != 0) {
        EIS_ERR("IS0003",
                "Input mismatch received (%u) OIS samples but sensor #%u has no OIS module",
                input.ois.num_elements, input.active_sensor_idx);
        if (context.operation_mode != IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST) {
            return;
        }
    }
    if (context._samplers.has_ifovc(input.active_sensor_idx)) {
        context._samplers.ifovc->handler(input.active_sensor_idx)->update_frequency(input.ifovc);
    }
}

// Keep this frame's output until the second pass asks for it.
void store_output(eis_context& context, const is_output_distortion_correction& output) {
    StoredOutputRing* ring = context.distortion.grid_buffer.get();
    if (ring == nullptr) {
        return;
    }
    StoredOutput* stored = ring->push_slot();
    stored->is_filled = output.output_valid;
    stored->output = {};
    stored->output.frame_id = kUnusedFrameMark;
    stored->output.active_sensor_idx = kUnusedFrameMark;
    if (!output.output_valid) {
        return;
    }
    stored->output = output;
    stored->output.distortion_correction_grid.grid = stored->grid;
    stored->output.alignment_matrix_domain_undistorted.perspMatrices = &stored->alignment;
    copy_grid(output.distortion_correction_grid, stored->output.distortion_correction_grid);
    copy_matrix(output.alignment_matrix_domain_undistorted,
                stored->output.alignment_matrix_domain_undistorted);
}

void write_output(const eis_context& context, const is_input_distortion_correction& input,
                  const FrameTiming& timing, is_output_distortion_correction& output) {
    const StabilizerDistortionCorrection& stage = context.distortion.stage;
    const sensor_runtime_record& sensor = context.sensors[input.active_sensor_idx];
    const FirstPassParts parts = first_pass_parts(context.operation_mode);
    output.frame_id = input.frame_id;
    output.active_sensor_idx = input.active_sensor_idx;
    write_grid(stage.distortion_grid(), output.distortion_correction_grid);
    output.distortion_correction_grid.enable = parts.grid;
    write_matrix(stage.alignment(), sensor.input_width, sensor.input_height,
                 output.alignment_matrix_domain_undistorted);
    output.alignment_matrix_domain_undistorted.enable = parts.alignment;
    output.mof_gyro_time = timing.middle_ts;
    output.frame_orientation_domain_undistorted = {};
    output.Mind_margins_blender_geolib = 0.0f;
    const bool tells_of_motion = context.operation_mode != IS_OPT_IFOVC_LDC_ONLY;
    output.cvp_motion_index_raw = tells_of_motion ? stage.cvp_motion_index_raw() : 0.0f;
    output.ois_mode = tells_of_motion ? sensor.ois_mode : uint32_t{kOisNoCommand};
    output.scene_detection = to_scene_detection(context._samplers.scene.scene());
    output.output_valid = parts.valid;
}

// A frame without samples: repeat the last one for those who still wait in the delay line.
void terminate_frame(eis_context& context, const is_input_distortion_correction& input,
                     is_output_distortion_correction& output) {
    ++context.frames_without_gyro;
    if (context.distortion.stage.update_in_termination_mode(input.frame_id) != EIS_SUCCESS) {
        EIS_ERR("IS0002", "context->stabilizer.update_in_termination_mode()");
    }
    if (context._samplers.ifovc != nullptr) {
        context._samplers.ifovc->process_input({}, input.active_sensor_idx, 0);
    }
    output.frame_id = input.frame_id;
    output.active_sensor_idx = input.active_sensor_idx;
    output.output_valid = false;
    store_output(context, output);
}

void process_frame(eis_context& context, const is_input_distortion_correction& input,
                   is_output_distortion_correction& output) {
    eis_context_samplers& samplers = context._samplers;
    sensor_runtime_record& sensor = context.sensors[input.active_sensor_idx];
    StabilizerDistortionCorrection& stage = context.distortion.stage;
    const is_frame_times& times = input.frame_time_input;

    const bool sensor_switched = context.is_sensor_switch(input.active_sensor_idx);
    const uint32_t dropped_frames = count_dropped_frames(context, times, sensor_switched);
    samplers.scene.update(input.gyro, dropped_frames, sensor_switched);
    samplers.gyro.integrate_gyro(input.gyro, samplers.scene.scene() == IS_SCENE_STILL);

    if (samplers.ois != nullptr) {
        samplers.ois->process_input(input.ois, input.active_sensor_idx, sensor.ois_offset);
    }
    if (samplers.ifovc != nullptr) {
        samplers.ifovc->process_input(input.ifovc, input.active_sensor_idx, sensor.ifovc_offset);
    }

    const FrameTiming timing =
        frame_timing(times, input.window_regions.eis_pre_crop_vIN, sensor.s3d_offset);
    sensor.readout_duration = timing.readout_duration;
    resample_gyro(context, input, timing);
    const Point2* shifts = resample_ois(context, input, timing);
    const double* scales = resample_ifovc(context, input, timing);
    add_gimbal_angles(sensor, shifts, samplers._angles.get());
    update_focus_distance(context, input);

    FilterInput frame = make_filter_input(context, input, timing, dropped_frames);
    if (const OISOperator* lens = stage.prepare_lens(frame.sensor, frame.windows);
        lens != nullptr && shifts != nullptr) {
        frame.ois_rotation = lens->get_rotation(shifts, kTimeRows);
    }
    take_upstream_transform(input, sensor, frame);
    stage.filter_inputs().push(frame);
    stage.update(samplers._angles.get(), shifts, scales, frame.scene_settled, frame.scene);
    stage.update_rsc_alpha_by_margins();
    if (stage.dist_correction_process(sensor.input_width, sensor.input_height, sensor_switched) !=
        EIS_SUCCESS) {
        EIS_ERR("IS0002", "dist_correction_process() failed");
    }
    update_ois_mode(context, input);
    write_output(context, input, timing, output);
    store_output(context, output);
}

// Without a second pass this one closes the frame.
void finish_frame(eis_context& context, const is_input_distortion_correction& input) {
    if (context._stabilize == nullptr) {
        context.prev_sof = input.frame_time_input.sof;
        context.prev_frame_time = input.frame_time_input.frame_time;
        context.prev_sensor_idx = input.active_sensor_idx;
        context.first_frame = false;
    }
    context._prev_frame_id_dist_corr = input.frame_id;
}

}  // namespace
}  // namespace steadywarp

uint32_t eis_internal_process_distortion_correction(eis_context* context,
                                                    const is_input_distortion_correction* input,
                                                    is_output_distortion_correction* output) {
    if (output != nullptr) {
        output->output_valid = false;
    }
    EIS_CHECK_ENTRY(context, input != nullptr && output != nullptr);
    if (!context->first_frame) {
        steadywarp::eis3_pause_resume_or_new_stream(*context, *input);
    }
    if (context->first_frame) {
        const uint32_t status = steadywarp::is_valid_first_frame(*context, *input);
        if (status != EIS_SUCCESS && !context->is_robust_mode()) {
            return EIS_ERROR_INVALID_INPUT;
        }
        steadywarp::update_freq_first_frame(*context, *input);
    }
    const uint32_t status = steadywarp::is_valid_process_input_dist_corr(*context, *input, *output);
    if (status != EIS_SUCCESS && !context->is_robust_mode()) {
        return status;
    }
    if (context->is_robust_mode()) {
        steadywarp::write_robust_first_output(*input, *output);
        return EIS_SUCCESS;
    }
    if (input->gyro.num_elements == 0) {
        steadywarp::terminate_frame(*context, *input, *output);
    } else {
        steadywarp::process_frame(*context, *input, *output);
    }
    steadywarp::finish_frame(*context, *input);
    return EIS_SUCCESS;
}
