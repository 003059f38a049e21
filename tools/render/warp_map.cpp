// SPDX-License-Identifier: Apache-2.0
#include "render/warp_map.hpp"

#include <algorithm>

namespace steadywarp::tool {
namespace {

/// Cell of the grid that holds `position`, in cells from the first node; NaN goes to the first.
int cell_of(float position, int last) {
    return position > 0.0f ? static_cast<int>(std::min(position, static_cast<float>(last))) : 0;
}

}  // namespace

WarpFrame warp_frame(const Camera& camera, const is_window_regions& windows) {
    const is_init_sensor_data& sensor = camera.sensors[0];
    WarpFrame out;
    out.input_width = sensor.input_width;
    out.input_height = sensor.input_height;
    out.output_width = camera.common.output_width;
    out.output_height = camera.common.output_height;
    if (!camera.common.do_virtual_upscale_in_transform) {
        out.step_x = static_cast<double>(windows.output_crop_fov.windowWidth) / out.output_width;
        out.step_y = static_cast<double>(windows.output_crop_fov.windowHeight) / out.output_height;
    }
    return out;
}

FrameWarp no_warp(const Camera& camera, const is_window_regions& windows) {
    const is_init_sensor_data& sensor = camera.sensors[0];
    float scale_x = 1.0f;
    float scale_y = 1.0f;
    if (camera.common.do_virtual_upscale_in_transform) {
        scale_x =
            windows.output_crop_fov.windowWidth / static_cast<float>(camera.common.output_width);
        scale_y =
            windows.output_crop_fov.windowHeight / static_cast<float>(camera.common.output_height);
    }
    FrameWarp out;
    out.stabilization = {scale_x, 0, 0, 0, scale_y, 0, 0, 0, 1};
    for (uint32_t j = 0; j < EIS_GRID_ROWS; ++j) {
        for (uint32_t i = 0; i < EIS_GRID_COLUMNS; ++i) {
            out.grid[j * EIS_GRID_COLUMNS + i] = {
                (static_cast<float>(i) - 17.0f) * static_cast<float>(sensor.input_width) / 32.0f,
                (static_cast<float>(j) - 13.0f) * static_cast<float>(sensor.input_height) / 24.0f};
        }
    }
    return out;
}

WarpMap::WarpMap(const FrameWarp& warp, const WarpFrame& frame)
    : warp_(warp),
      frame_(frame),
      last_x_(static_cast<float>(frame.input_width - 1)),
      last_y_(static_cast<float>(frame.input_height - 1)) {}

void WarpMap::row(double y, double first, double step, std::span<float> xs,
                  std::span<float> ys) const {
    const auto& m = warp_.stabilization;
    const auto centred_y =
        static_cast<float>((y - (frame_.output_height - 1) * 0.5) * frame_.step_y);
    const auto start =
        static_cast<float>((first - (frame_.output_width - 1) * 0.5) * frame_.step_x);
    const auto advance = static_cast<float>(step * frame_.step_x);
    // Nodes 1 to 33 and 1 to 25 span the frame from edge to edge; the centre is at node 17 and 13.
    const float columns_per_pixel = 32.0f / static_cast<float>(frame_.input_width);
    const float rows_per_pixel = 24.0f / static_cast<float>(frame_.input_height);
    constexpr int kColumns = EIS_GRID_COLUMNS;
    for (size_t i = 0; i < xs.size(); ++i) {
        const float x = start + static_cast<float>(i) * advance;
        const float inverse = 1.0f / (m[6] * x + m[7] * centred_y + m[8]);
        const float column =
            (m[0] * x + m[1] * centred_y + m[2]) * inverse * columns_per_pixel + 17.0f;
        const float row = (m[3] * x + m[4] * centred_y + m[5]) * inverse * rows_per_pixel + 13.0f;
        const int left = cell_of(column, kColumns - 2);
        const int top = cell_of(row, static_cast<int>(EIS_GRID_ROWS) - 2);
        const float u = column - static_cast<float>(left);
        const float v = row - static_cast<float>(top);
        const NcLibWarpGridCoord* const node =
            &warp_.grid[static_cast<size_t>(top * kColumns + left)];
        const float w00 = (1.0f - u) * (1.0f - v);
        const float w01 = u * (1.0f - v);
        const float w10 = (1.0f - u) * v;
        const float w11 = u * v;
        xs[i] = node[0].x * w00 + node[1].x * w01 + node[kColumns].x * w10 +
                node[kColumns + 1].x * w11 + last_x_ * 0.5f;
        ys[i] = node[0].y * w00 + node[1].y * w01 + node[kColumns].y * w10 +
                node[kColumns + 1].y * w11 + last_y_ * 0.5f;
    }
}

}  // namespace steadywarp::tool
