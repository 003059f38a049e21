// SPDX-License-Identifier: Apache-2.0
/// @file crop_corners.hpp
/// Where the corners of the output picture are read from, as a user of the warp sees it.
#pragma once

#include "stream/stabilizer.hpp"

namespace steadywarp::tool {

/// Carry a point of the output through the stabilization matrix and then the grid to the input.
///
/// @param point pixels relative to the centre of the output.
/// @param width,height size of the input frame the warp is defined on.
/// @return pixels relative to the centre of the input.
NcLibWarpGridCoord to_input(const FrameWarp& warp, NcLibWarpGridCoord point, uint32_t width,
                            uint32_t height);

/// How far the worst corner of the output reads beyond the centres of the input's border pixels.
///
/// The output is the window `output_crop_fov`, or the output size if the transform does the
/// upscale. Negative: all corners are inside, by that many pixels at least.
double corner_overshoot(const FrameWarp& warp, const Camera& camera,
                        const is_window_regions& windows);

}  // namespace steadywarp::tool
