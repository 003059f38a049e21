// SPDX-License-Identifier: Apache-2.0
/// @file stream_frames.hpp
/// The figures of a running stream's newest frames, through command 8; see docs/live-tuning.md.
#pragma once

#include <array>
#include <optional>

#include "tune_connection.hpp"

namespace tune {

/// One frame that went through the stabilizer.
struct StreamFrame {
    uint32_t id = 0;
    bool valid = false;      ///< a warp came out; without one the figures say nothing
    bool restarted = false;  ///< the first one under a changed tuning
    int64_t t_us = 0;
    std::array<float, 3> before{};  ///< camera's orientation above 0.5 Hz about x, y, z, mrad
    std::array<float, 3> after{};   ///< the stabilized camera's
    float margin_use = 0.0f;        ///< 1: the crop touches the border
    uint32_t scene = 0;
    float margin = 0.0f;  ///< `minimal_total_margin` in force
};

/// What a stream tells at once.
struct StreamFigures {
    uint64_t stream = 0;  ///< differs from run to run
    uint64_t first = 0;   ///< number of the first frame, counted from the begin of the stream
    uint32_t period_us = 0;
    std::vector<StreamFrame> frames;
};

/// Ask for the frames from number `since` on, as far back as they are kept.
/// @return nothing if the service has no stream that tells.
std::optional<StreamFigures> AskFigures(Connection& connection, uint64_t since);

}  // namespace tune
