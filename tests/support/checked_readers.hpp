// SPDX-License-Identifier: Apache-2.0
/// @file checked_readers.hpp
/// Every reader of the command's input texts, with what it promises: a value that keeps its rules,
/// or one line that names a place in the text.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "input/camera.hpp"
#include "input/frames_reader.hpp"
#include "input/gyro_reader.hpp"
#include "input/lens_reader.hpp"

namespace steadywarp::test {

/// A broken promise ends the program, for a fuzzer and for a test.
inline void promise(bool is_kept, const char* what, const std::string& text) {
    if (!is_kept) {
        std::fprintf(stderr, "broken: %s, by\n%s\n", what, text.c_str());
        std::abort();
    }
}

inline std::optional<tool::Fault> checked_gyro(const std::string& text) {
    const auto result = tool::parse_gyro(text, "f");
    if (!result.ok()) {
        return result.fault();
    }
    const auto& samples = result.value().samples;
    promise(samples.size() >= 2, "two samples", text);
    for (size_t i = 0; i < samples.size(); ++i) {
        promise(i == 0 || samples[i].t_us > samples[i - 1].t_us, "times increase", text);
        for (const double rate : samples[i].rate) {
            promise(std::abs(rate) <= tool::kLargestRate, "rates are believable", text);
        }
    }
    promise(tool::measure_spacing(samples).rate_hz > 0.0, "a rate can be measured", text);
    return std::nullopt;
}

inline std::optional<tool::Fault> checked_frames(const std::string& text) {
    const auto result = tool::parse_frames(text, "f", {});
    if (!result.ok()) {
        return result.fault();
    }
    const auto& frames = result.value().frames;
    promise(!frames.empty(), "a frame", text);
    for (size_t i = 0; i < frames.size(); ++i) {
        promise(
            i == 0 || (frames[i].sof_us > frames[i - 1].sof_us && frames[i].id > frames[i - 1].id),
            "times and ids increase", text);
        promise(frames[i].readout_us < result.value().period_us, "a read-out ends in time", text);
    }
    return std::nullopt;
}

inline std::optional<tool::Fault> checked_lens_log(const std::string& text,
                                                   std::string_view header) {
    const auto result = tool::parse_lens_log(text, "f", header);
    if (!result.ok()) {
        return result.fault();
    }
    const auto& samples = result.value();
    promise(!samples.empty(), "a sample", text);
    for (size_t i = 0; i < samples.size(); ++i) {
        promise(i == 0 || samples[i].t_us > samples[i - 1].t_us, "times increase", text);
        promise(std::isfinite(samples[i].value[0]) && std::isfinite(samples[i].value[1]),
                "values are finite", text);
    }
    return std::nullopt;
}

inline std::optional<tool::Fault> checked_camera(const std::string& text) {
    const auto result = tool::parse_camera(text, "f");
    if (!result.ok()) {
        return result.fault();
    }
    const tool::Camera& camera = result.value();
    promise(!camera.sensors.empty() && camera.sensors.size() <= EIS_MAX_NUM_SENSORS,
            "1 to 16 sensors", text);
    for (const is_init_sensor_data& sensor : camera.sensors) {
        promise(
            tool::device_to_camera(sensor.camera_position, sensor.sensor_mount_angle).has_value(),
            "the camera's place is known", text);
    }
    for (const auto& owned : camera.grids) {
        promise(owned->points.size() == size_t{owned->grid.numRows} * owned->grid.numColumns,
                "a grid has its points", text);
    }
    return std::nullopt;
}

/// One reader with a text that it takes.
struct CheckedReader {
    const char* name;
    std::string text;
    std::optional<tool::Fault> (*read)(const std::string& text);
};

inline const CheckedReader kCheckedReaders[] = {
    {"gyro csv",
     "t_us,gx,gy,gz\n1000,0.1,-2e-3,3\n2000,0.5,1,2\n3500,-1,1e2,0\n3500,-1,1e2,0\n9000,1,1,1\n",
     checked_gyro},
    {"gyro log",
     "CAMERA IMU LOG\nversion,1.3\nid,x\norientation,yxz\nframe_readout_time,16.5\n"
     "frame_readout_direction,1\ntscale,0.001\ngscale,0.01\nt,gx,gy,gz\n0,1,2,3\n2.5,-4,5e1,6\n",
     checked_gyro},
    {"frames", "frame,sof_us,exposure_us,readout_us\n1,1000,,\n2,34000,5000,20000\n3,67000,,1\n",
     checked_frames},
    {"lens shift", "t_us,x,y\n1000,0.5,-1e1\n3000,7,8\n",
     [](const std::string& text) { return checked_lens_log(text, tool::kLensShiftHeader); }},
    {"lens position", "t_us,position,scale\n-5,0.5,0.97\n3000,7,1\n",
     [](const std::string& text) { return checked_lens_log(text, tool::kLensPositionHeader); }},
    {"camera",
     "; comment\n[common]\nis_type = 4\nframe_fps = 60\n[sensor_data]\nnum_sensors = 2\n"
     "[sensor_data\\idx0]\nsensor_mount_angle = 270\nldc_in2out_width = 8\n"
     "ldc_in2out_height = 6\nldc_in2out_num_rows = 2\nldc_in2out_num_cols = 1\n"
     "ldc_in2out_extrapolate_type = 0\nldc_in2out_grid_x = 1 2\nldc_in2out_grid_y = 3 -4\n"
     "[sensor_data\\idx1\\ois]\ndata_conversion_x = 1 2 3 4 5 6 7 8 9 10\nraw_offset = 0.5\n"
     "[test]\nAPI_version = 1.3.2\n",
     checked_camera},
};

/// A fault names a line that the text has, in a message of one printable line.
inline void promise_one_line(const tool::Fault& fault, const std::string& text) {
    const auto lines = static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
    promise(fault.line >= 1 && fault.line <= lines + 1, "a fault has a line of the text", text);
    for (const char c : fault.text()) {
        promise(c >= ' ' && c <= '~', "a fault is printable", text);
    }
}

}  // namespace steadywarp::test
