// SPDX-License-Identifier: Apache-2.0
#include "simulator/recording_files.hpp"

#include <charconv>
#include <nlohmann/json.hpp>

#include "steadywarp/eis.h"
#include "stream/frame_plan.hpp"

namespace steadywarp::tool {
namespace {

/// Raw units of the lens-shift log for a pixel at a width of 1920.
constexpr double kRawPerPixel = 20.0;
/// Rates of the lens's own logs, a second.
constexpr double kShiftHz = 500.0;
constexpr double kPositionHz = 500.0;

void put(std::string& out, double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    out.append(text, end);
}

void put_row(std::string& out, int64_t t_us, std::initializer_list<double> values) {
    out += std::to_string(t_us);
    for (const double value : values) {
        out += ',';
        put(out, value);
    }
    out += '\n';
}

/// Seconds of the motion at a time of the log.
double seconds_at(const SimulatedRecording& r, double t_us) {
    return (t_us - static_cast<double>(r.timing.start_us)) * 1e-6;
}

/// Call `row(t_us)` at an even rate over the span of the gyroscope's log.
template <class Row>
void at_rate(const SimulatedRecording& r, double hz, const Row& row) {
    const int64_t first = r.capture.gyro.samples.front().t_us;
    const int64_t last = r.capture.gyro.samples.back().t_us;
    for (int64_t i = 0;; ++i) {
        const int64_t t_us = first + std::llround(static_cast<double>(i) * 1e6 / hz);
        if (t_us > last) {
            return;
        }
        row(t_us);
    }
}

bool lens_shifts(const SimulatedRecording& r) {
    return r.lens.motion().follow != 0.0;
}

bool focus_breathes(const SimulatedRecording& r) {
    return r.lens.motion().breathing != 0.0;
}

/// A grid of the distortion on the stabilizer's 27 by 35 nodes, as two lines of a camera file.
template <class Map>
void put_grid(std::string& out, const std::string& prefix, const LensModel& lens, const Map& map) {
    const double middle_x = (lens.width - 1.0) * 0.5;
    const double middle_y = (lens.height - 1.0) * 0.5;
    std::string xs;
    std::string ys;
    for (uint32_t j = 0; j < EIS_GRID_ROWS; ++j) {
        for (uint32_t i = 0; i < EIS_GRID_COLUMNS; ++i) {
            const Point2 p = map(lens, {middle_x + (i - 17.0) * lens.width / 32.0,
                                        middle_y + (j - 13.0) * lens.height / 24.0});
            // Virtual units: 8192 by 6144 over the frame, whatever its size.
            const auto x = static_cast<float>((p.x - middle_x) * 8192.0 / lens.width);
            const auto y = static_cast<float>((p.y - middle_y) * 6144.0 / lens.height);
            put(xs += ' ', static_cast<double>(x));
            put(ys += ' ', static_cast<double>(y));
        }
    }
    out += prefix + "x =" + xs + '\n' + prefix + "y =" + ys + '\n';
}

}  // namespace

std::string gyro_csv(const SimulatedRecording& r) {
    std::string out = "t_us,gx,gy,gz\n";
    for (const GyroSample& sample : r.capture.gyro.samples) {
        put_row(out, sample.t_us, {sample.rate[0], sample.rate[1], sample.rate[2]});
    }
    return out;
}

std::string frames_csv(const SimulatedRecording& r) {
    std::string out = "frame,sof_us,exposure_us,readout_us\n";
    for (const Frame& frame : r.capture.frames.frames) {
        out += std::to_string(frame.id) + ',' + std::to_string(frame.sof_us) + ',' +
               std::to_string(frame.exposure_us) + ',' + std::to_string(frame.readout_us) + '\n';
    }
    return out;
}

std::string ois_csv(const SimulatedRecording& r) {
    std::string out = "t_us,x,y\n";
    const double raw = kRawPerPixel * 1920.0 / r.lens.model().width;
    at_rate(r, kShiftHz, [&](int64_t t_us) {
        const LensState state = r.lens.at(seconds_at(r, static_cast<double>(t_us)));
        put_row(out, t_us, {state.shift.x * raw, state.shift.y * raw});
    });
    return out;
}

std::string lens_position_csv(const SimulatedRecording& r) {
    std::string out = "t_us,position,scale\n";
    at_rate(r, kPositionHz, [&](int64_t t_us) {
        const double t = seconds_at(r, static_cast<double>(t_us));
        put_row(out, t_us, {r.lens.position(t), r.lens.at(t).scale});
    });
    return out;
}

std::string camera_ini(const SimulatedRecording& r) {
    const LensModel& lens = r.lens.model();
    std::string out = "; The camera of a simulated recording.\n[common]\n";
    const auto key = [&out](const char* name, double value) {
        out += name;
        put(out += " = ", value);
        out += '\n';
    };
    key("is_ois_enabled", lens_shifts(r) ? 1 : 0);
    key("is_ifovc_enabled", focus_breathes(r) ? 1 : 0);
    out += "[sensor_data\\idx0]\n";
    key("input_width", lens.width);
    key("input_height", lens.height);
    key("sensor_mount_angle", 90);
    out += "[sensor_data\\idx0\\top]\n";
    key("gyro_frequency", r.timing.gyro_hz);
    key("ois_frequency", lens_shifts(r) ? kShiftHz : 0);
    key("ifovc_frequency", focus_breathes(r) ? kPositionHz : 0);
    out += "[sensor_data\\idx0\\general]\n";
    key("focal_length", std::round(lens.focal_px * 1920.0 / lens.width));
    key("minimal_total_margin", 0.1);
    if (lens_shifts(r)) {
        out += "[sensor_data\\idx0\\ois]\nmodule_type = 0\n";
        const std::string step = " " + std::to_string(1.0 / kRawPerPixel);
        out += "data_conversion_x = 0" + step + " 0 0 0 0 0 0 0 0\n";
        out += "data_conversion_y = 0 0" + step + " 0 0 0 0 0 0 0\n";
    }
    if (focus_breathes(r)) {
        out +=
            "[sensor_data\\idx0\\z_lens_position]\nenable = 1\nscale_source = 0\n"
            "min_scale_limit = 0.91\n";
    }
    if (lens.distortion_px != 0.0) {
        out +=
            "[sensor_data\\idx0\\lens_distortion_correction]\nldc_grid_source = 0\n"
            "ldc_grid_enable = 1\nldc_calib_domain = 2\n";
        key("image_size_distorted_x", lens.width);
        key("image_size_distorted_y", lens.height);
        key("image_size_undistorted_x", lens.width);
        key("image_size_undistorted_y", lens.height);
        put_grid(out, "distorted_input_to_undistorted_ldc_grid_", lens, undistort);
        put_grid(out, "undistorted_to_distorted_input_ldc_grid_", lens, distort);
    }
    return out;
}

std::string truth_csv(const SimulatedRecording& r) {
    std::string out =
        "frame,middle_us,c00,c01,c02,c10,c11,c12,c20,c21,c22,place_x_m,place_y_m,place_z_m,"
        "shift_x_px,shift_y_px,scale\n";
    for (const Frame& frame : r.capture.frames.frames) {
        const double middle = middle_time(frame, 0);
        const double t = seconds_at(r, middle);
        out += std::to_string(frame.id) + ',';
        put(out, middle);
        for (const double value : r.motion.orientation(t)) {
            put(out += ',', value);
        }
        for (const double value : r.motion.position(t)) {
            put(out += ',', value);
        }
        const LensState state = r.lens.at(t);
        for (const double value : {state.shift.x, state.shift.y, state.scale}) {
            put(out += ',', value);
        }
        out += '\n';
    }
    return out;
}

std::string truth_json(const SimulatedRecording& r) {
    const LensModel& lens = r.lens.model();
    const nlohmann::ordered_json json = {{"profile", r.profile},
                                         {"seed", r.seed},
                                         {"frames", r.capture.frames.frames.size()},
                                         {"size", {lens.width, lens.height}},
                                         {"focal_length_px", lens.focal_px},
                                         {"readout_us", r.capture.frames.frames[0].readout_us},
                                         {"distortion_corner_px", lens.distortion_px},
                                         {"lens_follow", r.lens.motion().follow},
                                         {"breathing", r.lens.motion().breathing}};
    return json.dump(2) + "\n";
}

}  // namespace steadywarp::tool
