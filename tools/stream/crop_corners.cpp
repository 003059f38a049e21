// SPDX-License-Identifier: Apache-2.0
#include "stream/crop_corners.hpp"

#include <algorithm>
#include <cmath>

namespace steadywarp::tool {
namespace {

/// Cell of the grid that holds `position`, in cells from the first node; NaN goes to the first.
size_t cell_index(double position, size_t last) {
    return position > 0.0 ? static_cast<size_t>(std::min(position, static_cast<double>(last))) : 0;
}

}  // namespace

NcLibWarpGridCoord to_input(const FrameWarp& warp, NcLibWarpGridCoord point, uint32_t width,
                            uint32_t height) {
    Matrix3 m{};
    std::copy(warp.stabilization.begin(), warp.stabilization.end(), m.begin());
    const Vector3 image =
        multiply(m, Vector3{static_cast<double>(point.x), static_cast<double>(point.y), 1.0});
    const double x = image[0] / image[2];
    const double y = image[1] / image[2];
    // Nodes 1 to 33 and 1 to 25 span the frame from edge to edge in 32 by 24 cells, so the centre
    // is at node 17 and 13; one more ring of nodes lies outside.
    const double column = x * 32.0 / width + 17.0;
    const double row = y * 24.0 / height + 13.0;
    const size_t i = cell_index(column, EIS_GRID_COLUMNS - 2);
    const size_t j = cell_index(row, EIS_GRID_ROWS - 2);
    const double u = column - static_cast<double>(i);
    const double v = row - static_cast<double>(j);
    const NcLibWarpGridCoord* const node = &warp.grid[j * EIS_GRID_COLUMNS + i];
    const auto blend = [&](auto part) {
        const double top = part(node[0]) * (1.0 - u) + part(node[1]) * u;
        const double bottom =
            part(node[EIS_GRID_COLUMNS]) * (1.0 - u) + part(node[EIS_GRID_COLUMNS + 1]) * u;
        return static_cast<float>(top * (1.0 - v) + bottom * v);
    };
    return {blend([](const NcLibWarpGridCoord& p) { return static_cast<double>(p.x); }),
            blend([](const NcLibWarpGridCoord& p) { return static_cast<double>(p.y); })};
}

double corner_overshoot(const FrameWarp& warp, const Camera& camera,
                        const is_window_regions& windows) {
    const is_init_sensor_data& sensor = camera.sensors[warp.sensor];
    const bool upscaled = camera.common.do_virtual_upscale_in_transform;
    const float half_width = ((upscaled ? static_cast<float>(camera.common.output_width)
                                        : windows.output_crop_fov.windowWidth) -
                              1.0f) *
                             0.5f;
    const float half_height = ((upscaled ? static_cast<float>(camera.common.output_height)
                                         : windows.output_crop_fov.windowHeight) -
                               1.0f) *
                              0.5f;
    double worst = -HUGE_VAL;
    for (const float right : {-1.0f, 1.0f}) {
        for (const float down : {-1.0f, 1.0f}) {
            const NcLibWarpGridCoord p = to_input(warp, {right * half_width, down * half_height},
                                                  sensor.input_width, sensor.input_height);
            worst = std::max(
                {worst, std::abs(static_cast<double>(p.x)) - (sensor.input_width - 1.0) * 0.5,
                 std::abs(static_cast<double>(p.y)) - (sensor.input_height - 1.0) * 0.5});
        }
    }
    return worst;
}

}  // namespace steadywarp::tool
