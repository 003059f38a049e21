// SPDX-License-Identifier: Apache-2.0
/// @file trace.hpp
/// Everything the report draws, frame by frame: trace.json. docs/stabilize.md tells its columns.
#pragma once

#include <string>
#include <vector>

#include "analysis/orientation.hpp"
#include "output/picture_sink.hpp"
#include "stream/stabilizer.hpp"

namespace steadywarp::tool {

/// One frame given to the library.
struct TraceFrame {
    uint32_t id = 0;
    double t_us = 0.0;  ///< middle row, on the recording's clock
    bool valid = false;
    Vector3 before{};      ///< camera's orientation, radians
    Vector3 correction{};  ///< what the warp adds
    Vector3 wanted{};      ///< what it would add with endless margins
    double overshoot_px = 0.0;
    double margin_use = 0.0;  ///< part of the margin on the tightest side; above 1: a breach
    bool feasible = false;
    bool rows_left = false;  ///< rolling shutter was left as it was
    uint32_t scene = 0;
    bool panning[3] = {};
    double blur_px = 0.0;  ///< how far the picture moves during the exposure
    uint32_t samples = 0;
    double longest_step_us = 0.0;
    double library_us = 0.0;
    float motion_px = 0.0f;
    /// Every other node of the grid, its offset from the regular place in sixteenths of a pixel.
    std::vector<int16_t> mesh;
};

/// How much of a wanted correction was held back, from 0 to 1: the part of it that is missing
/// along its own direction.
double held_back(const Vector3& wanted, const Vector3& given);

/// Offsets of every other node of a grid, x and y in turn; offsets beyond 2047 pixels saturate.
std::vector<int16_t> thin_mesh(const FrameWarp& warp, uint32_t width, uint32_t height);

/// Bytes as base64.
std::string base64(const void* bytes, size_t count);

/// The trace as JSON text, with spectra of the orientation before and after.
///
/// @param paths,film may be empty.
std::string trace_json(const std::vector<TraceFrame>& frames, double period_us,
                       const ContentPaths& paths, const std::vector<FilmPicture>& film);

}  // namespace steadywarp::tool
