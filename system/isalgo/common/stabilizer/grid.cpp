// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/grid.hpp"

#include <algorithm>
#include <cstddef>

namespace steadywarp {
namespace {

// The polynomial of degree 5 through values at 1 to 6, at 0.
constexpr double kContinuation[] = {6.0, -15.0, 20.0, -15.0, 6.0, -1.0};

// The node before `first` on the line of nodes that goes on by `stride`.
Point2 continued(const Point2* first, std::ptrdiff_t stride) {
    Point2 sum;
    for (std::ptrdiff_t k = 0; k < 6; ++k) {
        sum.x += kContinuation[k] * first[k * stride].x;
        sum.y += kContinuation[k] * first[k * stride].y;
    }
    return sum;
}

// The outermost nodes from those inside.
void continue_to_ring(std::array<Point2, EIS_GRID_POINTS>& points) {
    constexpr std::ptrdiff_t kDown = kGridColumns;
    const auto fill = [&](uint32_t row, uint32_t column, std::ptrdiff_t inward) {
        Point2* node = &points[row * kGridColumns + column];
        *node = continued(node + inward, inward);
    };
    constexpr uint32_t kLastColumn = kGridColumns - 1;
    constexpr uint32_t kLastRow = kGridRows - 1;
    for (uint32_t row = 1; row < kLastRow; ++row) {
        fill(row, 0, 1);
        fill(row, kLastColumn, -1);
    }
    for (uint32_t column = 1; column < kLastColumn; ++column) {
        fill(0, column, kDown);
        fill(kLastRow, column, -kDown);
    }
    fill(0, 0, kDown + 1);
    fill(0, kLastColumn, kDown - 1);
    fill(kLastRow, 0, -kDown + 1);
    fill(kLastRow, kLastColumn, -kDown - 1);
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

void Grid::uniform_poly_extarp(const NcLibWarpGridCoord* source, uint32_t rows, uint32_t columns,
                               uint32_t size_x, uint32_t size_y) {
    // Cells of a virtual picture of 32 by 24, whose centre is 17 and 13 columns and rows from
    // the first ones here.
    constexpr double kVirtualCell = 256.0;
    const auto to_pixels = [&](const NcLibWarpGridCoord& v) {
        const double virtual_x = static_cast<double>(v.x) * VIRTUAL_DOMAIN_WIDTH / size_x;
        const double virtual_y = static_cast<double>(v.y) * VIRTUAL_DOMAIN_HEIGHT / size_y;
        return Point2{(virtual_x / kVirtualCell + 17.0) * cell_x + origin_x,
                      (virtual_y / kVirtualCell + 13.0) * cell_y + origin_y};
    };
    if (rows == kGridRows && columns == kGridColumns) {
        std::transform(source, source + EIS_GRID_POINTS, points.begin(), to_pixels);
        return;
    }
    // Where the frame's first node stands in the source, and how many of its nodes make a step.
    const bool is_fine = columns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH;
    const uint32_t begin = is_fine ? 1 : 0;
    const uint32_t step = is_fine ? 2 : 1;
    for (uint32_t j = 1; j + 1 < kGridRows; ++j) {
        for (uint32_t i = 1; i + 1 < kGridColumns; ++i) {
            const uint32_t row = begin + step * (j - 1);
            const uint32_t column = begin + step * (i - 1);
            points[j * kGridColumns + i] = to_pixels(source[row * columns + column]);
        }
    }
    continue_to_ring(points);
}

}  // namespace steadywarp
