// SPDX-License-Identifier: Apache-2.0
/// @file simulate.hpp
/// The command `steadywarp simulate`: a shaky video of a made-up town, with everything a camera
/// would log beside it, and the truth.
#pragma once

#include <cstdint>
#include <string>

namespace steadywarp::tool {

/// What the user asked for.
struct SimulateOptions {
    std::string out;
    std::string profile = "walking";
    uint64_t seed = 1;
    double seconds = 10.0;
    double fps = 30.0;
    /// Frame intervals wander by this part of their length, as phones' do; 0: constant rate.
    double jitter = 0.0;
    std::string size = "1280x720";
    uint32_t readout_us = 20000;
    uint32_t exposure_us = 4000;
    double gyro_hz = 500.0;
    double focal_px = 1500.0;  ///< at a width of 1920
    double distortion_px = 0.0;
    double lens_follow = 0.0;
    double breathing = 0.0;
};

/// Run the command. @return an exit status, as stabilize() does.
int simulate(const SimulateOptions& options);

}  // namespace steadywarp::tool
