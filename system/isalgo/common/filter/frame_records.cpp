// SPDX-License-Identifier: Apache-2.0
#include "filter/frame_records.hpp"

#include <algorithm>
#include <cmath>

namespace steadywarp {
namespace {

// A ratio that differs from 1 by more than this is a crop.
constexpr double kRatioTolerance = 1e-6;

struct Ratio {
    double value;
    bool is_crop;
};

// The part of its full picture that a window covers; 1 for a window without a full size.
Ratio ratio_of(const is_crop_window& window) {
    if (window.fullWidth == 0.0f || window.fullHeight == 0.0f) {
        return {1.0, false};
    }
    const double value =
        static_cast<double>(window.windowWidth) / static_cast<double>(window.fullWidth);
    return {value, std::fabs(value - 1.0) > kRatioTolerance};
}

// One axis of a window, in pixels of a frame of `size`: first and last pixel inside.
struct Span {
    double first;
    double last;
};

Span span_of(double start, double length, double full, double size) {
    const double first = start * size / full;
    return {first, length * size / full + first - 1.0};
}

// The same axis, grown about its middle to at least `least_part` of the full picture.
Span widened_span_of(double start, double length, double full, double size, double least_part) {
    const double grown = std::max(length / full, least_part) * full;
    return span_of(start - (grown - length) * 0.5, grown, full, size);
}

}  // namespace

frame_geometry_windows compute_frame_geometry_windows(const is_window_regions& regions,
                                                      uint32_t width, uint32_t height,
                                                      double cropping_factor) {
    frame_geometry_windows out;
    const Ratio in = ratio_of(regions.eis_pre_crop_vIN);
    const Ratio ahead = ratio_of(regions.eis_pre_crop_vOUT);
    out.scale = ahead.value;
    out.input_top = out.out_top = 0.0;
    out.input_left = out.out_left = 0.0;
    out.input_bottom = out.out_bottom = height - 1.0;
    out.input_right = out.out_right = width - 1.0;
    out.in_ratio_x = out.in_ratio_y = in.value;
    out.in_cropped = in.is_crop;
    out.out_ratio_x = out.out_ratio_y = ahead.value;
    out.out_cropped = ahead.is_crop;

    const is_crop_window& fov = regions.output_crop_fov;
    const double full_width = static_cast<double>(fov.fullWidth);
    const double full_height = static_cast<double>(fov.fullHeight);
    const double left = static_cast<double>(fov.windowLeft);
    const double top = static_cast<double>(fov.windowTop);
    const double window_width = static_cast<double>(fov.windowWidth);
    const double window_height = static_cast<double>(fov.windowHeight);
    const Span x = span_of(left, window_width, full_width, width);
    const Span y = span_of(top, window_height, full_height, height);
    out.output_left = x.first;
    out.output_right = x.last;
    out.output_top = y.first;
    out.output_bottom = y.last;

    const double least_part = 1.0 - cropping_factor;
    const Span wide_x = widened_span_of(left, window_width, full_width, width, least_part);
    const Span wide_y = widened_span_of(top, window_height, full_height, height, least_part);
    out.widest_left = wide_x.first;
    out.widest_right = wide_x.last;
    out.widest_top = wide_y.first;
    out.widest_bottom = wide_y.last;
    out.output_ratio_x = out.output_ratio_y = 1.0;
    out.widest_ratio_x = out.widest_ratio_y = 1.0;
    return out;
}

}  // namespace steadywarp
