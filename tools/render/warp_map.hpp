// SPDX-License-Identifier: Apache-2.0
/// @file warp_map.hpp
/// Where each pixel of the output lies in the input frame: crop, matrix and grid in one.
#pragma once

#include <span>

#include "stream/stabilizer.hpp"

namespace steadywarp::tool {

/// Sizes that a map needs beside the warp.
struct WarpFrame {
    uint32_t input_width = 0;
    uint32_t input_height = 0;
    uint32_t output_width = 0;
    uint32_t output_height = 0;
    double step_x = 1.0;  ///< pixels of the warp's domain per output pixel: crop over output size
    double step_y = 1.0;
};

/// The sizes of a camera's output video.
///
/// The output is the window `output_crop_fov` stretched to the output size; if the transform does
/// the upscale the steps are 1.
WarpFrame warp_frame(const Camera& camera, const is_window_regions& windows);

/// A warp that does nothing: what a frame without one is shown with, cropped like the others.
FrameWarp no_warp(const Camera& camera, const is_window_regions& windows);

/// The map of one frame. Positions count from the centre of the top-left pixel on both sides.
class WarpMap {
  public:
    WarpMap(const FrameWarp& warp, const WarpFrame& frame);

    /// Positions in the input of the output points (first + i * step, y), i from 0.
    void row(double y, double first, double step, std::span<float> xs, std::span<float> ys) const;

    /// Whether a position lies between the centres of the input's border pixels; the tolerance is
    /// what single precision leaves.
    bool has_pixels(float x, float y) const {
        constexpr float kTolerance = 1e-3f;
        return x >= -kTolerance && y >= -kTolerance && x <= last_x_ + kTolerance &&
               y <= last_y_ + kTolerance;
    }

  private:
    const FrameWarp& warp_;
    WarpFrame frame_;
    float last_x_;
    float last_y_;
};

}  // namespace steadywarp::tool
