// SPDX-License-Identifier: Apache-2.0
/// @file recording_files.hpp
/// The text files beside a simulated video. docs/simulate.md tells their columns.
#pragma once

#include <string>

#include "simulator/capture.hpp"
#include "simulator/optics.hpp"

namespace steadywarp::tool {

/// What the simulator knows about a recording when it writes its files.
struct SimulatedRecording {
    const Capture& capture;
    const Motion& motion;
    const Lens& lens;
    const CaptureTiming& timing;
    std::string profile;
    uint64_t seed = 0;
};

/// `t_us,gx,gy,gz`, device axes.
std::string gyro_csv(const SimulatedRecording& recording);

/// `frame,sof_us,exposure_us,readout_us`.
std::string frames_csv(const SimulatedRecording& recording);

/// `t_us,x,y`: raw lens shift, in the units of the camera file's polynomial.
std::string ois_csv(const SimulatedRecording& recording);

/// `t_us,position,scale`.
std::string lens_position_csv(const SimulatedRecording& recording);

/// The camera that took it, as the command's readers want it.
std::string camera_ini(const SimulatedRecording& recording);

/// A row a frame: the camera's true orientation, place and lens at the frame's middle.
std::string truth_csv(const SimulatedRecording& recording);

/// The options of the recording.
std::string truth_json(const SimulatedRecording& recording);

}  // namespace steadywarp::tool
