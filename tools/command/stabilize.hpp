// SPDX-License-Identifier: Apache-2.0
/// @file stabilize.hpp
/// The command `steadywarp stabilize`: a recording in, a warp per frame and the figures out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace steadywarp::tool {

/// Exit statuses of the command.
inline constexpr int kExitDone = 0;
inline constexpr int kExitCheckFailed = 1;  ///< it ran, but what came out is not right or not whole
inline constexpr int kExitBadInput = 2;

/// What the user asked for. Empty or missing: the default.
struct StabilizeOptions {
    /// Folder of a recording: whatever of gyro.csv, frames.csv, camera.ini, ois.csv,
    /// lens_position.csv and video.mp4 is in it, unless named on its own.
    std::string recording;
    std::string gyro;    ///< empty: simulate a hand-held walk
    std::string frames;  ///< empty: even frames
    std::string camera;  ///< empty: the built-in phone camera
    std::string tuning;  ///< tuning file; empty: the camera's own tuning
    std::string mode = "Default";
    bool serve = false;                     ///< live tuning while it runs, at the camera's pace
    bool serve_network = false;             ///< also to other machines
    std::string out;                        ///< folder for the results
    std::string capture;                    ///< prefix of a capture of the run; empty: none
    std::string lens_shift;                 ///< log of the lens's raw shift; empty: none
    std::string lens_position;              ///< log of its position and scale; empty: none
    std::string video;                      ///< empty: none
    std::optional<int64_t> video_start_us;  ///< of the first picture; else the first sample
    bool compare = false;
    bool no_tracking = false;
    bool bilinear = false;
    std::optional<double> fps;
    std::optional<uint32_t> exposure_us;
    std::optional<uint32_t> readout_us;
    std::optional<uint64_t> seed;  ///< of the simulated walk
};

/// Run the command: results into the folder, the summary to standard output, one line about bad
/// input to standard error.
///
/// @return an exit status, kExitStopped after an interrupt. On bad input and after an interrupt
/// nothing is left behind.
int stabilize(StabilizeOptions options);

}  // namespace steadywarp::tool
