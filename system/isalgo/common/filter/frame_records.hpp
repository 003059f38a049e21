// SPDX-License-Identifier: Apache-2.0
/// @file frame_records.hpp
/// What the two passes of a frame hand to each other, one entry per frame.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

#include "base/vec3.hpp"
#include "sensors/scene_detection.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Points around the border of a frame, clockwise from the top left, five a side with the corners
/// shared: 0, 4, 8 and 12 are the corners.
inline constexpr uint32_t kBorderPoints = 16;
using BorderPoints = std::array<Point2, kBorderPoints>;

/// A frame's crops as numbers. Pixels of the stabilizer's input, counted from the centre of its
/// top-left pixel; right and bottom are the last pixel inside. All NaN while not computed.
struct frame_geometry_windows {
    static constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();

    double scale = kUnset;  ///< part of the picture that the crop ahead leaves, on the output side
    double input_top = kUnset;
    double input_bottom = kUnset;
    double input_left = kUnset;
    double input_right = kUnset;
    double in_ratio_x = kUnset;  ///< the same part, on the input side
    double in_ratio_y = kUnset;
    bool in_cropped = false;
    double out_top = kUnset;
    double out_bottom = kUnset;
    double out_left = kUnset;
    double out_right = kUnset;
    double out_ratio_x = kUnset;
    double out_ratio_y = kUnset;
    bool out_cropped = false;
    double output_top = kUnset;  ///< the window that the output shows
    double output_bottom = kUnset;
    double output_left = kUnset;
    double output_right = kUnset;
    double output_ratio_x = kUnset;
    double output_ratio_y = kUnset;
    bool output_cropped = false;
    double widest_top = kUnset;  ///< the output's window, widened to a least part of the frame
    double widest_bottom = kUnset;
    double widest_left = kUnset;
    double widest_right = kUnset;
    double widest_ratio_x = kUnset;
    double widest_ratio_y = kUnset;
    bool widest_cropped = false;
};

/// Reduce a frame's windows to numbers.
///
/// @param width,height of the stabilizer's input, pixels.
/// @param cropping_factor 1 minus the least part of the frame that `widest_*` covers.
frame_geometry_windows compute_frame_geometry_windows(const is_window_regions& regions,
                                                      uint32_t width, uint32_t height,
                                                      double cropping_factor);

/// One frame, as the first pass leaves it to the second.
struct FilterInput {
    frame_geometry_windows windows;
    uint32_t sensor = 0;
    uint32_t readout_duration = 0;  ///< microseconds that the crop's rows take to read
    uint32_t exposure_time = 0;     ///< microseconds
    uint32_t frame_time = 0;        ///< microseconds
    uint64_t first_ts = 0;          ///< time of the crop's first row
    uint64_t last_ts = 0;           ///< time of the crop's last row
    uint32_t frame_id = 0;
    uint32_t dropped_frames = 0;     ///< frames missing before this one
    uint32_t focus_distance_cm = 0;  ///< 100000000: as good as infinite
    SceneWord scene = IS_SCENE_UNKNOWN;
    Vec3<double> ois_rotation;      ///< mean lens shift of the frame as angles; zero without OIS
    BorderPoints pre_align_points;  ///< pixels
    bool pre_align_valid = false;   ///< pre_align_points count
    bool scene_settled = false;
};

/// The border of a frame behind its correction: the polygon in which the crop must stay.
struct BoundingBox {
    BorderPoints points;
    double extent_top = 0.0;  ///< largest downward shift along the top side, pixels
    double extent_bottom = 0.0;
    double extent_left = 0.0;
    double extent_right = 0.0;
};

}  // namespace steadywarp
