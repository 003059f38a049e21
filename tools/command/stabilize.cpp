// SPDX-License-Identifier: Apache-2.0
#include "command/stabilize.hpp"

#include <algorithm>
#include <cstdio>

#include "analysis/high_pass.hpp"
#include "analysis/orientation.hpp"
#include "command/interrupt.hpp"
#include "command/progress.hpp"
#include "command/recording_source.hpp"
#include "output/staged_files.hpp"
#include "output/summary.hpp"
#include "output/warp_tables.hpp"
#include "stream/crop_corners.hpp"

namespace steadywarp::tool {
namespace {

constexpr double kShakeCuts[] = {0.5, 2.0};

int report(const Fault& fault) {
    std::fprintf(stderr, "steadywarp: %s\n", fault.text().c_str());
    return kExitBadInput;
}

/// The three files of a run, not yet in place.
struct Outputs {
    explicit Outputs(const std::string& folder) : files(folder) {}

    std::optional<Fault> open() {
        std::optional<Fault> fault = files.open();
        if (!fault) {
            warps = files.add("warps.csv", fault);
        }
        if (!fault) {
            grids = files.add("grids.csv", fault);
        }
        if (!fault) {
            summary = files.add("summary.json", fault);
        }
        return fault;
    }

    StagedFiles files;
    std::FILE* warps = nullptr;
    std::FILE* grids = nullptr;
    std::FILE* summary = nullptr;
};

/// Orientation of the frames that came out, an angle per signal.
struct FrameTracks {
    std::array<Signal, 3> before;
    std::array<Signal, 3> after;

    void add(double t_us, const Vector3& orientation, const Vector3& correction) {
        for (size_t axis = 0; axis < 3; ++axis) {
            before[axis].t_us.push_back(t_us);
            before[axis].value.push_back(orientation[axis]);
            after[axis].t_us.push_back(t_us);
            after[axis].value.push_back(orientation[axis] + correction[axis]);
        }
    }

    ShakeFigure figure(double period_us, double cut_hz) const {
        ShakeFigure out{cut_hz, {}, {}};
        for (size_t axis = 0; axis < 3; ++axis) {
            out.before[axis] = rms_above(before[axis], period_us, cut_hz);
            out.after[axis] = rms_above(after[axis], period_us, cut_hz);
        }
        return out;
    }
};

/// Takes every frame through the library and keeps the figures.
class Run {
  public:
    Run(const RecordingSource& source, Stabilizer& stabilizer, Outputs& outputs)
        : source_(source),
          stabilizer_(stabilizer),
          outputs_(outputs),
          orientation_(source.gyro.samples, camera_axes(source.camera.sensors[0])) {}

    void all_frames() {
        write_warps_header(outputs_.warps);
        write_grids_header(outputs_.grids);
        const FrameSpan& span = source_.inside;
        Progress progress(span.end - span.first);
        for (size_t i = span.first; i < span.end && !was_interrupted(); ++i) {
            one_frame(source_.frames.frames[i]);
            progress.step(i + 1 - span.first);
        }
        stabilizer_.end_stream(source_.frames.frames[span.end - 1], source_.frames.period_us);
    }

    Summary summary(const StabilizeOptions& options) {
        figures_.source = source_.name;
        figures_.camera = options.camera.empty() ? "built-in phone camera" : options.camera;
        figures_.settings = &source_.camera;
        figures_.windows = stabilizer_.windows();
        figures_.frames_in = source_.frames.frames.size();
        figures_.frames_outside_log =
            figures_.frames_in - (source_.inside.end - source_.inside.first);
        figures_.frames_dropped =
            figures_.frames_in - figures_.frames_outside_log - figures_.frames_out;
        figures_.gyro_samples = source_.gyro.samples.size();
        figures_.repeated_stamps = source_.gyro.repeated_stamps;
        figures_.spacing = source_.spacing;
        for (size_t i = 0; i < std::size(kShakeCuts); ++i) {
            figures_.shake[i] = tracks_.figure(source_.frames.period_us, kShakeCuts[i]);
        }
        figures_.time = time_figure(seconds_);
        return figures_;
    }

  private:
    void one_frame(const Frame& frame) {
        const FrameWarp warp =
            stabilizer_.run(frame, source_.frames.period_us, source_.gyro.samples);
        seconds_.push_back(warp.seconds);
        double overshoot = 0.0;
        if (warp.valid) {
            overshoot = corner_overshoot(warp, source_.camera, stabilizer_.windows());
            count(frame, warp, overshoot);
            write_grids_row(outputs_.grids, on_users_clock(frame), warp);
        }
        write_warps_row(outputs_.warps, on_users_clock(frame), warp, overshoot);
    }

    void count(const Frame& frame, const FrameWarp& warp, double overshoot) {
        ++figures_.frames_out;
        ++figures_.scenes[warp.scene.scene_type];
        figures_.largest_overshoot_px =
            std::max(figures_.largest_overshoot_px.value_or(overshoot), overshoot);
        figures_.frames_with_corner_outside += overshoot > 0.0 ? 1 : 0;
        const is_init_sensor_data& sensor = source_.camera.sensors[warp.sensor];
        const double middle = middle_time(frame, sensor.tuning.timing.s3d_offset);
        tracks_.add(middle, orientation_.at(middle),
                    correction_angles(warp.stabilization, source_.camera, warp.sensor));
    }

    Frame on_users_clock(Frame frame) const {
        frame.sof_us -= source_.clock_shift_us;
        return frame;
    }

    const RecordingSource& source_;
    Stabilizer& stabilizer_;
    Outputs& outputs_;
    OrientationTrack orientation_;
    FrameTracks tracks_;
    std::vector<double> seconds_;
    Summary figures_;
};

}  // namespace

int stabilize(const StabilizeOptions& options) {
    const Result<RecordingSource> loaded = load_source(options);
    if (!loaded.ok()) {
        return report(loaded.fault());
    }
    const RecordingSource& source = loaded.value();
    const std::unique_ptr<Stabilizer> stabilizer = Stabilizer::create(source.camera);
    if (!stabilizer) {
        return report({options.camera, 0,
                       "expected a camera that the library accepts; its log lines above tell what "
                       "it refused"});
    }
    note_interrupts();
    Outputs outputs(options.out);
    if (auto fault = outputs.open()) {
        return report(*fault);
    }
    Run run(source, *stabilizer, outputs);
    run.all_frames();
    if (was_interrupted()) {
        return kExitStopped;
    }
    const Summary summary = run.summary(options);
    const std::string json = summary_json(summary);
    std::fwrite(json.data(), 1, json.size(), outputs.summary);
    if (auto fault = outputs.files.commit()) {
        return report(*fault);
    }
    std::fputs(summary_table(summary).c_str(), stdout);
    if (summary.frames_out == 0) {
        std::fputs("steadywarp: check failed: no frame came out valid\n", stderr);
        return kExitCheckFailed;
    }
    return kExitDone;
}

}  // namespace steadywarp::tool
