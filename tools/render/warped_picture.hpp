// SPDX-License-Identifier: Apache-2.0
/// @file warped_picture.hpp
/// A frame seen through its warp, and both side by side.
#pragma once

#include "render/sampling.hpp"
#include "render/warp_map.hpp"

namespace steadywarp::tool {

/// Draw the output of a frame: every output pixel of every plane is read from the input where the
/// map says, by all cores.
///
/// @param in a picture of the frame's input size.
/// @param out takes the output size; pixels without a counterpart in the input are black.
/// @return how many pixels (of brightness) have no counterpart.
uint64_t draw_warped(const Picture& in, const FrameWarp& warp, const WarpFrame& frame,
                     Sampling sampling, Picture& out);

/// The outline of the output in the input frame, clockwise from its top left, `per_side` points a
/// side; positions count from the centre of the top-left pixel.
std::vector<std::array<float, 2>> crop_outline(const FrameWarp& warp, const WarpFrame& frame,
                                               uint32_t per_side);

/// Draw a closed line over a picture: light with a dark rim, so that it shows on anything.
///
/// @param thickness of the light part, pixels.
void draw_outline(Picture& picture, const std::vector<std::array<float, 2>>& points,
                  float thickness);

/// Two pictures of one height beside each other, `gap` black columns between; even sizes.
Picture beside(const Picture& left, const Picture& right, uint32_t gap);

}  // namespace steadywarp::tool
