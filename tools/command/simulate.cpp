// SPDX-License-Identifier: Apache-2.0
#include "command/simulate.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "command/interrupt.hpp"
#include "command/progress.hpp"
#include "command/stabilize.hpp"
#include "input/text_file.hpp"
#include "output/staged_files.hpp"
#include "simulator/profiles.hpp"
#include "simulator/recording_files.hpp"
#include "simulator/renderer.hpp"
#include "video/video_writer.hpp"

namespace steadywarp::tool {
namespace {

int report(const Fault& fault) {
    std::fprintf(stderr, "steadywarp: %s\n", fault.text().c_str());
    return kExitBadInput;
}

std::string known_profiles() {
    std::string out;
    for (const std::string_view name : profile_names()) {
        out += (out.empty() ? "" : ", ") + std::string(name);
    }
    return out;
}

std::optional<Fault> read_size(const std::string& text, LensModel& lens) {
    const auto parts = split(text, 'x');
    const auto width = parts.size() == 2 ? parse_u32(parts[0]) : std::nullopt;
    const auto height = parts.size() == 2 ? parse_u32(parts[1]) : std::nullopt;
    const auto fits = [](const std::optional<uint32_t>& side) {
        return side && *side >= 64 && *side <= 4096 && *side % 2 == 0;
    };
    if (!fits(width) || !fits(height)) {
        return Fault{{}, 0, "--size: expected WIDTHxHEIGHT, even numbers from 64 to 4096"};
    }
    lens.width = *width;
    lens.height = *height;
    return std::nullopt;
}

std::vector<FrameTiming> picture_times(const CaptureTiming& timing, const FrameSequence& frames) {
    std::vector<FrameTiming> out;
    for (const Frame& frame : frames.frames) {
        const double start = static_cast<double>(frame.sof_us - timing.start_us);
        out.push_back({(start - frame.exposure_us * 0.5) * 1e-6, frame.readout_us * 1e-6});
    }
    return out;
}

std::optional<Fault> write_text(StagedFiles& files, const std::string& name,
                                const std::string& text) {
    std::optional<Fault> fault;
    if (std::FILE* const file = files.add(name, fault)) {
        std::fwrite(text.data(), 1, text.size(), file);
    }
    return fault;
}

std::optional<Fault> write_logs(StagedFiles& files, const SimulatedRecording& recording) {
    const struct {
        const char* name;
        std::string (*make)(const SimulatedRecording&);
    } logs[] = {{"gyro.csv", gyro_csv},     {"frames.csv", frames_csv},
                {"ois.csv", ois_csv},       {"lens_position.csv", lens_position_csv},
                {"camera.ini", camera_ini}, {"truth.csv", truth_csv},
                {"truth.json", truth_json}};
    std::optional<Fault> fault;
    for (const auto& log : logs) {
        if (!fault) {
            fault = write_text(files, log.name, log.make(recording));
        }
    }
    return fault;
}

/// Take all pictures and write them.
std::optional<Fault> write_video(const std::string& path, const SimulatedRecording& recording) {
    const LensModel& lens = recording.lens.model();
    const auto times = picture_times(recording.timing, recording.capture.frames);
    VideoFormat format;
    format.width = lens.width;
    format.height = lens.height;
    format.fps = recording.timing.fps;
    auto writer = VideoWriter::open(path, "mp4", format);
    if (!writer.ok()) {
        return writer.fault();
    }
    const auto face_size = static_cast<uint32_t>(std::clamp(lens.focal_px, 128.0, 2048.0)) * 2;
    const PoseSource poses = poses_of(recording.motion);
    const Scene scene = draw_scene(recording.seed, face_size, faces_seen(poses, lens, times));
    Picture picture;
    Progress progress(times.size());
    const int64_t first = recording.capture.frames.frames[0].sof_us;
    for (size_t i = 0; i < times.size() && !was_interrupted(); ++i) {
        take_picture(scene, poses, recording.lens, times[i], picture);
        if (auto fault =
                writer.value()->add(picture, recording.capture.frames.frames[i].sof_us - first)) {
            return fault;
        }
        progress.step(i + 1);
    }
    return writer.value()->finish();
}

}  // namespace

int simulate(const SimulateOptions& options) {
    const auto names = profile_names();
    if (std::find(names.begin(), names.end(), options.profile) == names.end()) {
        return report({{}, 0, "--profile: expected one of " + known_profiles()});
    }
    LensModel model;
    if (auto fault = read_size(options.size, model)) {
        return report(*fault);
    }
    model.focal_px = std::round(options.focal_px) * model.width / 1920.0;
    model.distortion_px = options.distortion_px;
    CaptureTiming timing;
    timing.seconds = options.seconds;
    timing.fps = options.fps;
    timing.gyro_hz = options.gyro_hz;
    timing.jitter = options.jitter;
    timing.seed = options.seed;
    timing.frame = {options.exposure_us, options.readout_us};
    const Motion motion(motion_profile(options.profile, options.seed, options.seconds));
    LensMotion lens_motion;
    lens_motion.follow = options.lens_follow;
    lens_motion.breathing = options.breathing;
    const Lens lens(model, lens_motion, motion);
    const Result<Capture> capture = simulate_capture(motion, timing, *device_to_camera(0, 90));
    if (!capture.ok()) {
        return report(capture.fault());
    }
    const SimulatedRecording recording{capture.value(), motion,          lens,
                                       timing,          options.profile, options.seed};
    note_interrupts();
    const auto begun = std::chrono::steady_clock::now();
    StagedFiles files(options.out);
    std::optional<Fault> fault = files.open();
    std::string video;
    if (!fault) {
        video = files.add_path("video.mp4", fault);
    }
    if (!fault) {
        fault = write_logs(files, recording);
    }
    if (!fault) {
        fault = write_video(video, recording);
    }
    if (!fault && was_interrupted()) {
        return kExitStopped;
    }
    if (!fault) {
        fault = files.commit();
    }
    if (fault) {
        return report(*fault);
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
    std::printf("%zu frames of %s into %s, %.1f times as fast as real time\n",
                capture.value().frames.frames.size(), options.profile.c_str(), options.out.c_str(),
                options.seconds / taken.count());
    return kExitDone;
}

}  // namespace steadywarp::tool
