// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/grid.hpp"

#include <algorithm>

#include "base/numeric.hpp"

namespace steadywarp {
namespace {

// Index of the cell that answers for a position in cells; `last` is the last cell.
uint32_t cell_of(double position, int32_t last) {
    return static_cast<uint32_t>(std::clamp(cut_to_i32(position), 0, last));
}

Point2 mix(const Point2& a, const Point2& b, double weight) {
    return {a.x + (b.x - a.x) * weight, a.y + (b.y - a.y) * weight};
}

}  // namespace

Grid::Grid(uint32_t picture_width, uint32_t picture_height)
    : width(picture_width),
      height(picture_height),
      cell_x(width * 0.03125),
      cell_y(height / 24.0),
      origin_x(-0.5 - cell_x),
      origin_y(-0.5 - cell_y),
      inv_cell_x(1.0 / cell_x),
      inv_cell_y(1.0 / cell_y),
      inv_origin_x(-origin_x / cell_x),
      inv_origin_y(-origin_y / cell_y) {
    for (uint32_t i = 0; i < kGridColumns; ++i) {
        x[i] = cell_x * i + origin_x;
    }
    for (uint32_t j = 0; j < kGridRows; ++j) {
        y[j] = cell_y * j + origin_y;
    }
}

void Grid::set_identity() {
    for (uint32_t j = 0; j < kGridRows; ++j) {
        for (uint32_t i = 0; i < kGridColumns; ++i) {
            points[j * kGridColumns + i] = {x[i], y[j]};
        }
    }
}

Point2 Grid::lookup(const Point2& point) const {
    const double gx = inv_origin_x + inv_cell_x * point.x;
    const double gy = inv_origin_y + inv_cell_y * point.y;
    const uint32_t ix = cell_of(gx, kGridColumns - 2);
    const uint32_t iy = cell_of(gy, kGridRows - 2);
    const Point2* node = &points[iy * kGridColumns + ix];
    const Point2 top = mix(node[0], node[1], gx - ix);
    const Point2 bottom = mix(node[kGridColumns], node[kGridColumns + 1], gx - ix);
    return mix(top, bottom, gy - iy);
}

}  // namespace steadywarp
