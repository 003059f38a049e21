// SPDX-License-Identifier: Apache-2.0
#include "command/run.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "analysis/high_pass.hpp"
#include "command/interrupt.hpp"
#include "command/progress.hpp"
#include "output/warp_tables.hpp"
#include "render/warp_map.hpp"
#include "stream/crop_corners.hpp"

namespace steadywarp::tool {
namespace {

constexpr double kShakeCuts[] = {0.5, 2.0};

/// Sends standard error nowhere for as long as it lives.
class Silence {
  public:
    Silence() : kept_(dup(STDERR_FILENO)) {
        std::fflush(stderr);
        const int nowhere = open("/dev/null", O_WRONLY);
        if (nowhere >= 0) {
            dup2(nowhere, STDERR_FILENO);
            close(nowhere);
        }
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() {
        std::fflush(stderr);
        if (kept_ >= 0) {
            dup2(kept_, STDERR_FILENO);
            close(kept_);
        }
    }

  private:
    int kept_;
};

SampleStreams streams_of(const RecordingSource& source) {
    return {source.gyro.samples, source.lens_shift, source.lens_position};
}

/// Whether a grid is the regular one, the sign that the library left the rows as they were.
bool is_regular(const std::vector<int16_t>& mesh) {
    return std::all_of(mesh.begin(), mesh.end(), [](int16_t v) { return v == 0; });
}

/// Longest step between gyroscope samples around a frame, microseconds.
double longest_step(const std::vector<GyroSample>& gyro, double first_us, double last_us) {
    const auto after = [](double t, const GyroSample& sample) {
        return t < static_cast<double>(sample.t_us);
    };
    auto i = std::upper_bound(gyro.begin(), gyro.end(), first_us, after);
    double longest = 0.0;
    for (; i != gyro.end() && i != gyro.begin(); ++i) {
        longest = std::max(longest, static_cast<double>(i->t_us - (i - 1)->t_us));
        if (static_cast<double>(i->t_us) > last_us) {
            break;
        }
    }
    return longest;
}

}  // namespace

std::vector<Vector3> unlimited_corrections(const RecordingSource& source) {
    // A window of three tenths of the frame; what it may move is more than a hand ever shakes.
    constexpr float kEndless = 0.7f;
    Camera camera;
    camera.common = source.camera.common;
    camera.sensors = source.camera.sensors;
    for (is_init_sensor_data& sensor : camera.sensors) {
        sensor.tuning.general.minimal_total_margin = kEndless;
    }
    const Silence silence;
    const std::unique_ptr<Stabilizer> stabilizer = Stabilizer::create(camera);
    if (!stabilizer) {
        return {};
    }
    std::vector<Vector3> out(source.frames.frames.size());
    for (size_t i = source.inside.first; i < source.inside.end && !was_interrupted(); ++i) {
        const FrameWarp warp =
            stabilizer->run(source.frames.frames[i], source.frames.period_us, streams_of(source));
        if (warp.valid) {
            out[i] = correction_angles(warp.stabilization, camera, warp.sensor);
        }
    }
    return out;
}

void Run::FrameTracks::add(double t_us, const Vector3& orientation, const Vector3& correction) {
    for (size_t axis = 0; axis < 3; ++axis) {
        before[axis].t_us.push_back(t_us);
        before[axis].value.push_back(orientation[axis]);
        after[axis].t_us.push_back(t_us);
        after[axis].value.push_back(orientation[axis] + correction[axis]);
    }
}

ShakeFigure Run::FrameTracks::figure(double period_us, double cut_hz) const {
    ShakeFigure out{cut_hz, {}, {}};
    for (size_t axis = 0; axis < 3; ++axis) {
        out.before[axis] = rms_above(before[axis], period_us, cut_hz);
        out.after[axis] = rms_above(after[axis], period_us, cut_hz);
    }
    return out;
}

Run::Run(const RecordingSource& source, Stabilizer& stabilizer, const RunOutputs& outputs,
         LiveTuning* live)
    : source_(source),
      stabilizer_(stabilizer),
      outputs_(outputs),
      live_(live),
      streams_(streams_of(source)),
      orientation_(source.gyro.samples, camera_axes(source.camera.sensors[0])),
      wanted_(live != nullptr ? std::vector<Vector3>() : unlimited_corrections(source)),
      free_margin_px_(free_margin_px()) {}

double Run::free_margin_px() const {
    return -corner_overshoot(no_warp(source_.camera, stabilizer_.windows()), source_.camera,
                             stabilizer_.windows());
}

void Run::keep_pace(const Frame& frame) {
    if (live_ == nullptr) {
        return;
    }
    live_->wait_for(frame);
    if (live_->take_changes(frame)) {
        free_margin_px_ = free_margin_px();
        if (outputs_.pictures != nullptr) {
            outputs_.pictures->retune(source_.camera, stabilizer_.windows());
        }
    }
}

std::optional<Fault> Run::all_frames() {
    write_warps_header(outputs_.warps);
    write_grids_header(outputs_.grids);
    const FrameSpan& span = source_.inside;
    const size_t count = source_.frames.frames.size();
    Progress progress(count);
    for (size_t i = 0; i < count && !was_interrupted(); ++i) {
        keep_pace(source_.frames.frames[i]);
        if (was_interrupted()) {
            break;
        }
        const bool inside = i >= span.first && i < span.end;
        if (auto fault = inside ? one_frame(i) : show(i, nullptr, false)) {
            return fault;
        }
        progress.step(i + 1);
    }
    stabilizer_.end_stream(source_.frames.frames[span.end - 1], source_.frames.period_us);
    return outputs_.pictures != nullptr && !was_interrupted() ? outputs_.pictures->finish()
                                                              : std::nullopt;
}

std::optional<Fault> Run::show(size_t index, const FrameWarp* warp, bool feasible) {
    return outputs_.pictures != nullptr
               ? outputs_.pictures->add(on_users_clock(source_.frames.frames[index]), warp,
                                        feasible)
               : std::nullopt;
}

Summary Run::summary(const std::string& camera_name) {
    figures_.source = source_.name;
    figures_.camera = camera_name;
    figures_.settings = &source_.camera;
    figures_.windows = stabilizer_.windows();
    figures_.frames_in = source_.frames.frames.size();
    figures_.frames_outside_log = figures_.frames_in - (source_.inside.end - source_.inside.first);
    figures_.frames_dropped =
        figures_.frames_in - figures_.frames_outside_log - figures_.frames_out;
    figures_.gyro_samples = source_.gyro.samples.size();
    figures_.repeated_stamps = source_.gyro.repeated_stamps;
    figures_.spacing = source_.spacing;
    for (size_t i = 0; i < std::size(kShakeCuts); ++i) {
        figures_.shake[i] = tracks_.figure(source_.frames.period_us, kShakeCuts[i]);
    }
    figures_.time = time_figure(seconds_);
    if (outputs_.pictures != nullptr) {
        figures_.pixels = outputs_.pictures->figures();
    }
    return figures_;
}

std::optional<Fault> Run::one_frame(size_t index) {
    const Frame& frame = source_.frames.frames[index];
    const FrameWarp warp = stabilizer_.run(frame, source_.frames.period_us, streams_);
    seconds_.push_back(warp.seconds);
    double overshoot = 0.0;
    if (warp.valid) {
        overshoot = corner_overshoot(warp, source_.camera, stabilizer_.windows());
        count(warp, overshoot);
        write_grids_row(outputs_.grids, on_users_clock(frame), warp);
    }
    add_trace(index, warp, overshoot);
    if (live_ != nullptr) {
        live_->tell(trace_.back());
    }
    write_warps_row(outputs_.warps, on_users_clock(frame), warp, overshoot);
    return show(index, warp.valid ? &warp : nullptr, overshoot <= 0.0);
}

void Run::count(const FrameWarp& warp, double overshoot) {
    ++figures_.frames_out;
    ++figures_.scenes[warp.scene.scene_type];
    figures_.largest_overshoot_px =
        std::max(figures_.largest_overshoot_px.value_or(overshoot), overshoot);
    figures_.frames_with_corner_outside += overshoot > 0.0 ? 1 : 0;
}

void Run::add_trace(size_t index, const FrameWarp& warp, double overshoot) {
    const Frame& frame = source_.frames.frames[index];
    const is_init_sensor_data& sensor = source_.camera.sensors[warp.sensor];
    const double middle = middle_time(frame, sensor.tuning.timing.s3d_offset);
    TraceFrame out;
    out.id = frame.id;
    out.t_us = middle - static_cast<double>(source_.clock_shift_us);
    out.valid = warp.valid;
    out.before = orientation_.at(middle);
    out.samples = warp.samples;
    out.library_us = warp.seconds * 1e6;
    const double half = frame.readout_us * 0.5;
    out.longest_step_us = longest_step(source_.gyro.samples, middle - half, middle + half);
    // The picture moves by focal length times angle; about z only its edges do.
    const Vector3 open = orientation_.at(middle - frame.exposure_us * 0.5);
    const Vector3 shut = orientation_.at(middle + frame.exposure_us * 0.5);
    const double turn_x = shut[0] - open[0];
    const double turn_y = shut[1] - open[1];
    out.blur_px = focal_length_px(sensor) * std::sqrt(turn_x * turn_x + turn_y * turn_y);
    if (warp.valid) {
        out.correction = correction_angles(warp.stabilization, source_.camera, warp.sensor);
        out.wanted = wanted_.empty() ? out.correction : wanted_[index];
        out.overshoot_px = overshoot;
        out.margin_use = free_margin_px_ > 0.0 ? 1.0 + overshoot / free_margin_px_ : 0.0;
        out.feasible = overshoot <= 0.0;
        out.scene = warp.scene.scene_type;
        std::copy_n(warp.scene.is_panning, 3, out.panning);
        out.motion_px = warp.cvp_motion_index;
        out.mesh = thin_mesh(warp, sensor.input_width, sensor.input_height);
        out.rows_left = frame.readout_us != 0 && is_regular(out.mesh);
        tracks_.add(middle, out.before, out.correction);
    }
    trace_.push_back(std::move(out));
}

Frame Run::on_users_clock(Frame frame) const {
    frame.sof_us -= source_.clock_shift_us;
    return frame;
}

}  // namespace steadywarp::tool
