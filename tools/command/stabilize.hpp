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
inline constexpr int kExitCheckFailed = 1;  ///< it ran, but no frame came out valid
inline constexpr int kExitBadInput = 2;

/// What the user asked for. Empty or missing: the default.
struct StabilizeOptions {
    std::string gyro;    ///< empty: simulate a hand-held walk
    std::string frames;  ///< empty: even frames
    std::string camera;  ///< empty: the built-in phone camera
    std::string out;     ///< folder for the results
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
int stabilize(const StabilizeOptions& options);

}  // namespace steadywarp::tool
