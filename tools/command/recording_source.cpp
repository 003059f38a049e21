// SPDX-License-Identifier: Apache-2.0
#include "command/recording_source.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "input/frames_reader.hpp"
#include "input/gyro_reader.hpp"
#include "input/lens_reader.hpp"
#include "simulator/capture.hpp"
#ifdef STEADYWARP_VIDEO
#include "video/video_reader.hpp"
#endif

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

/// Frames from a file, from the times in the video, or even ones.
Result<FrameSequence> frames_of(const StabilizeOptions& options, const RecordingSource& source,
                                const FrameDefaults& defaults) {
    const std::vector<GyroSample>& gyro = source.gyro.samples;
    if (!options.frames.empty()) {
        return read_frames(options.frames, defaults);
    }
#ifdef STEADYWARP_VIDEO
    if (!options.video.empty() && !options.fps) {
        const Result<std::vector<int64_t>> times = video_times(options.video);
        if (!times.ok()) {
            return times.fault();
        }
        return make_frames(options.video_start_us.value_or(gyro.front().t_us), times.value(),
                           options.video, defaults);
    }
#endif
    return make_even_frames(gyro.front().t_us, gyro.back().t_us, options.fps.value_or(kDefaultFps),
                            defaults);
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
    Result<FrameSequence> frames = frames_of(options, source, defaults);
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
    int64_t first = std::min(source.gyro.samples.front().t_us, source.frames.frames.front().sof_us);
    for (const auto* const log : {&source.lens_shift, &source.lens_position}) {
        first = log->empty() ? first : std::min(first, log->front().t_us);
    }
    source.clock_shift_us = first < kEarliest ? kEarliest - first : 0;
    for (GyroSample& sample : source.gyro.samples) {
        sample.t_us += source.clock_shift_us;
    }
    for (Frame& frame : source.frames.frames) {
        frame.sof_us += source.clock_shift_us;
    }
    for (auto* const log : {&source.lens_shift, &source.lens_position}) {
        for (LensSample& sample : *log) {
            sample.t_us += source.clock_shift_us;
        }
    }
}

/// Load a log of the lens if the camera has such a stream; then there must be one.
std::optional<Fault> load_lens_log(const std::string& path, std::string_view header, bool needed,
                                   const StabilizeOptions& options,
                                   std::vector<LensSample>& samples) {
    if (!needed) {
        return std::nullopt;
    }
    if (path.empty()) {
        return Fault{
            options.tuning.empty() ? options.camera : options.tuning, 0,
            "expected a camera without this stream, or its log, a CSV " + std::string(header)};
    }
    Result<std::vector<LensSample>> log = read_lens_log(path, header);
    if (!log.ok()) {
        return log.fault();
    }
    samples = std::move(log.value());
    return std::nullopt;
}

bool has_lens_shift(const Camera& camera) {
    return camera.common.is_ois_enabled && camera.sensors[0].tuning.top.ois_frequency != 0;
}

bool has_lens_position(const Camera& camera) {
    const is_tessaline_info_s& tuning = camera.sensors[0].tuning;
    return camera.common.is_ifovc_enabled && tuning.top.ifovc_frequency != 0 &&
           tuning.z_lens_pos.enable == 1;
}

std::optional<Fault> load_lens_logs(const StabilizeOptions& options, RecordingSource& source) {
    auto fault = load_lens_log(options.lens_shift, kLensShiftHeader, has_lens_shift(source.camera),
                               options, source.lens_shift);
    if (!fault) {
        fault = load_lens_log(options.lens_position, kLensPositionHeader,
                              has_lens_position(source.camera), options, source.lens_position);
    }
    return fault;
}

std::optional<Fault> load_tuning(const StabilizeOptions& options, RecordingSource& source) {
    if (options.tuning.empty()) {
        return std::nullopt;
    }
    auto file = TuningFile::open(options.tuning, options.mode,
                                 !options.serve          ? TuningService::kOff
                                 : options.serve_network ? TuningService::kNetwork
                                                         : TuningService::kLoopback);
    if (!file.ok()) {
        return file.fault();
    }
    source.tuning = std::move(file.value());
    use_tuning(source);
    return std::nullopt;
}

/// Fill in what a recording's folder holds and the options leave open.
StabilizeOptions with_folder(const StabilizeOptions& options) {
    StabilizeOptions out = options;
    if (options.recording.empty()) {
        return out;
    }
    const struct {
        const char* name;
        std::string& path;
    } files[] = {
        {"gyro.csv", out.gyro},
        {"frames.csv", out.frames},
        {"camera.ini", out.camera},
        {"ois.csv", out.lens_shift},
        {"lens_position.csv", out.lens_position},
#ifdef STEADYWARP_VIDEO
        {"video.mp4", out.video},
#endif
    };
    for (const auto& file : files) {
        const std::string path = options.recording + "/" + file.name;
        if (file.path.empty() && access(path.c_str(), R_OK) == 0) {
            file.path = path;
        }
    }
    return out;
}

}  // namespace

void use_tuning(RecordingSource& source) {
    Camera& camera = source.camera;
    is_tessaline_info_s& tuning = camera.sensors[0].tuning;
    tuning = source.tuning->record();
    camera.has_gyro_frequency[0] = tuning.top.gyro_frequency != 0;
    if (!camera.has_gyro_frequency[0]) {
        // Until the recording is loaded nothing is measured, and a simulation takes this rate.
        tuning.top.gyro_frequency = built_in_camera().sensors[0].tuning.top.gyro_frequency;
    }
    if (source.spacing.rate_hz > 0.0) {
        adapt_camera(camera, source.spacing.rate_hz, 1e6 / source.frames.period_us);
    }
}

bool lacks_lens_log(const RecordingSource& source) {
    return (has_lens_shift(source.camera) && source.lens_shift.empty()) ||
           (has_lens_position(source.camera) && source.lens_position.empty());
}

Result<RecordingSource> load_source(StabilizeOptions& options) {
    options = with_folder(options);
    if (!options.recording.empty() && options.gyro.empty()) {
        return Fault{options.recording, 0, "expected a folder with a gyro.csv"};
    }
    Result<Camera> camera =
        options.camera.empty() ? Result<Camera>(built_in_camera()) : read_camera(options.camera);
    if (!camera.ok()) {
        return camera.fault();
    }
    RecordingSource source;
    source.camera = std::move(camera.value());
    if (auto fault = load_tuning(options, source)) {
        return *fault;
    }
    if (auto fault = load_lens_logs(options, source)) {
        return *fault;
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
