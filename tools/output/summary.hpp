// SPDX-License-Identifier: Apache-2.0
/// @file summary.hpp
/// The figures of one run, as JSON and as a table for people.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "input/camera.hpp"
#include "input/recording.hpp"
#include "output/picture_sink.hpp"

namespace steadywarp::tool {

/// RMS orientation above one frequency; nothing where the stream is too short to tell.
struct ShakeFigure {
    double cut_hz = 0.0;
    std::array<std::optional<double>, 3> before;  ///< radians about camera x, y, z
    std::array<std::optional<double>, 3> after;
};

/// Distribution of the library's time per frame, microseconds.
struct TimeFigure {
    double mean = 0.0;
    double median = 0.0;
    double p99 = 0.0;
    double max = 0.0;
};

/// Everything a run has to tell.
struct Summary {
    std::string source;  ///< gyro file, or what was simulated
    std::string camera;  ///< camera file, or "built-in phone camera"
    const Camera* settings = nullptr;
    is_window_regions windows{};
    size_t frames_in = 0;           ///< frames the recording has
    size_t frames_outside_log = 0;  ///< left out at its ends
    size_t frames_out = 0;
    size_t frames_dropped = 0;  ///< given to the library, but no warp came out
    size_t gyro_samples = 0;
    uint32_t repeated_stamps = 0;
    GyroSpacing spacing;
    std::array<ShakeFigure, 2> shake;
    std::optional<double> largest_overshoot_px;
    size_t frames_with_corner_outside = 0;
    std::map<uint32_t, size_t> scenes;  ///< frames by scene type
    TimeFigure time;
    std::optional<PixelFigures> pixels;  ///< where there was a video
};

/// Name of a scene type in the figures.
std::string scene_name(uint32_t scene_type);

/// The figures as JSON text, ended by a line end; what is not known is null.
std::string summary_json(const Summary& summary);

/// The figures as an aligned table, ended by a line end; what is not known is a dash.
std::string summary_table(const Summary& summary);

/// Make a time figure of times in seconds; sorts them.
TimeFigure time_figure(std::vector<double>& seconds);

}  // namespace steadywarp::tool
