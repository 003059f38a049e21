// SPDX-License-Identifier: Apache-2.0
/// @file capture.hpp
/// A recording of a simulated motion: what a device's gyroscope and camera clock would have kept.
#pragma once

#include "input/frames_reader.hpp"
#include "simulator/motion.hpp"

namespace steadywarp::tool {

/// When samples and frames of a simulated recording are taken.
struct CaptureTiming {
    int64_t start_us = 1000000;  ///< clock at second 0 of the motion
    double seconds = 10.0;       ///< time covered by frames
    double fps = 30.0;
    double gyro_hz = 500.0;
    double jitter = 0.0;  ///< frames start up to half this part of a period early or late
    uint64_t seed = 1;    ///< of the jitter
    FrameDefaults frame = {std::nullopt, 25000};
};

/// A simulated recording.
struct Capture {
    GyroRecording gyro;  ///< device axes; samples reach past the frames on both sides
    FrameSequence frames;
};

/// Sample a motion perfectly: no noise, no bias, no jitter.
///
/// @param device_to_camera the axis table of the camera; the rates come out in device axes.
Result<Capture> simulate_capture(const Motion& motion, const CaptureTiming& timing,
                                 const AxisMap& device_to_camera);

}  // namespace steadywarp::tool
