// SPDX-License-Identifier: Apache-2.0
#include "command/recording_source.hpp"

#include <algorithm>
#include <cstdio>

#include "input/frames_reader.hpp"
#include "input/gyro_reader.hpp"
#include "simulator/capture.hpp"

namespace steadywarp::tool {
namespace {

constexpr double kDefaultFps = 30.0;

std::optional<Fault> simulate(const StabilizeOptions& options, RecordingSource& source) {
    const uint64_t seed = options.seed.value_or(1);
    CaptureTiming timing;
    timing.fps = options.fps.value_or(kDefaultFps);
    timing.gyro_hz = source.camera.sensors[0].tuning.top.gyro_frequency;
    timing.frame.exposure_us = options.exposure_us;
    timing.frame.readout_us = options.readout_us.value_or(timing.frame.readout_us);
    if (!(timing.gyro_hz >= 10.0 && timing.gyro_hz <= 1e5)) {
        return Fault{options.camera, 0, "expected a gyro_frequency from 10 to 100000 to simulate"};
    }
    Result<Capture> capture = simulate_capture(Motion(hand_held_walk(seed)), timing,
                                               camera_axes(source.camera.sensors[0]));
    if (!capture.ok()) {
        return capture.fault();
    }
    source.name = "simulated hand-held walk, seed " + std::to_string(seed);
    source.gyro = std::move(capture.value().gyro);
    source.frames = std::move(capture.value().frames);
    return std::nullopt;
}

std::optional<Fault> load_files(const StabilizeOptions& options, RecordingSource& source) {
    Result<GyroRecording> gyro = read_gyro(options.gyro);
    if (!gyro.ok()) {
        return gyro.fault();
    }
    source.name = options.gyro;
    source.gyro = std::move(gyro.value());
    to_device_axes(source.gyro, camera_axes(source.camera.sensors[0]));
    FrameDefaults defaults;
    defaults.exposure_us = options.exposure_us;
    defaults.readout_us = options.readout_us.value_or(source.gyro.readout_us.value_or(0));
    Result<FrameSequence> frames =
        options.frames.empty()
            ? make_even_frames(source.gyro.samples.front().t_us, source.gyro.samples.back().t_us,
                               options.fps.value_or(kDefaultFps), defaults)
            : read_frames(options.frames, defaults);
    if (!frames.ok()) {
        return frames.fault();
    }
    source.frames = std::move(frames.value());
    if (source.gyro.readout_direction != ReadoutDirection::kTopDown) {
        std::fputs(
            "steadywarp: note: the log's frames are not read from top to bottom; rolling shutter "
            "is left as it is\n",
            stderr);
        read_at_once(source.frames);
    }
    return std::nullopt;
}

/// Move both time lines so that every time a frame can ask for is above 0.
void shift_clock(RecordingSource& source) {
    constexpr int64_t kEarliest = 10000000;
    const int64_t first =
        std::min(source.gyro.samples.front().t_us, source.frames.frames.front().sof_us);
    source.clock_shift_us = first < kEarliest ? kEarliest - first : 0;
    for (GyroSample& sample : source.gyro.samples) {
        sample.t_us += source.clock_shift_us;
    }
    for (Frame& frame : source.frames.frames) {
        frame.sof_us += source.clock_shift_us;
    }
}

/// This command has samples of the gyroscope alone.
bool needs_other_streams(const Camera& camera) {
    const is_tessaline_info_s& tuning = camera.sensors[0].tuning;
    return (camera.common.is_ois_enabled && tuning.top.ois_frequency != 0) ||
           (camera.common.is_ifovc_enabled && tuning.top.ifovc_frequency != 0 &&
            tuning.z_lens_pos.enable == 1);
}

}  // namespace

Result<RecordingSource> load_source(const StabilizeOptions& options) {
    Result<Camera> camera =
        options.camera.empty() ? Result<Camera>(built_in_camera()) : read_camera(options.camera);
    if (!camera.ok()) {
        return camera.fault();
    }
    RecordingSource source;
    source.camera = std::move(camera.value());
    if (needs_other_streams(source.camera)) {
        return Fault{options.camera, 0,
                     "expected a camera without lens-shift and lens-position streams"};
    }
    if (auto fault =
            options.gyro.empty() ? simulate(options, source) : load_files(options, source)) {
        return *fault;
    }
    shift_clock(source);
    source.spacing = measure_spacing(source.gyro.samples);
    adapt_camera(source.camera, source.spacing.rate_hz, 1e6 / source.frames.period_us);
    source.inside = frames_inside(source.frames, source.gyro.samples,
                                  source.camera.sensors[0].tuning.timing.s3d_offset);
    if (source.inside.first == source.inside.end) {
        return Fault{options.frames.empty() ? options.gyro : options.frames, 0,
                     "expected frames inside the time of the gyroscope log, found none"};
    }
    return source;
}

}  // namespace steadywarp::tool
