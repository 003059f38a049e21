// SPDX-License-Identifier: Apache-2.0
/// @file renderer.hpp
/// Takes pictures of the scene as the simulated camera would: every row at its own time.
#pragma once

#include <functional>

#include "simulator/optics.hpp"
#include "simulator/scene.hpp"

namespace steadywarp::tool {

/// When a frame is taken, seconds of the motion.
struct FrameTiming {
    double start = 0.0;     ///< middle of the exposure of the upper edge
    double readout = 0.02;  ///< from the upper edge to the lower; 0: all rows at once
};

/// The camera's body at one instant.
struct Pose {
    Matrix3 to_world;  ///< camera axes to world axes
    Vector3 position;  ///< metres in world axes
};

/// Where the camera is at any second of a recording; called from several threads.
using PoseSource = std::function<Pose(double seconds)>;

/// The poses of a motion, which must outlive the result.
PoseSource poses_of(const Motion& motion);

/// Which faces of the scene a camera meets at these times; a coarse look at the frame's border.
std::array<bool, 6> faces_seen(const PoseSource& poses, const LensModel& lens,
                               const std::vector<FrameTiming>& frames);

/// Take one picture, with all cores. Exposure is taken as an instant: nothing is blurred.
///
/// @param out takes the lens model's size.
void take_picture(const Scene& scene, const PoseSource& poses, const Lens& lens,
                  const FrameTiming& timing, Picture& out);

}  // namespace steadywarp::tool
