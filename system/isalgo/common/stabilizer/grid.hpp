// SPDX-License-Identifier: Apache-2.0
/// @file grid.hpp
/// A warp sampled on a regular lattice of 35 columns by 27 rows.
///
/// Pixels are counted from the centre of the top-left pixel. The frame, from -0.5 to size - 0.5,
/// spans 32 by 24 cells; one more column and row of nodes lies outside each side. Row j of nodes
/// stands where time row j of a frame is read.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/numeric.hpp"
#include "base/vec3.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

inline constexpr uint32_t kGridColumns = EIS_GRID_COLUMNS;
inline constexpr uint32_t kGridRows = EIS_GRID_ROWS;

struct Grid {
    std::array<double, kGridColumns> x{};  ///< node positions
    std::array<double, kGridRows> y{};
    std::array<Point2, EIS_GRID_POINTS> points{};  ///< where each node maps to, row by row
    uint32_t width = 0;                            ///< of the picture, pixels
    uint32_t height = 0;
    double cell_x = 0.0;
    double cell_y = 0.0;
    double origin_x = 0.0;  ///< position of column 0
    double origin_y = 0.0;  ///< position of row 0
    double inv_cell_x = 0.0;
    double inv_cell_y = 0.0;
    double inv_origin_x = 0.0;  ///< position 0 in cells from column 0
    double inv_origin_y = 0.0;

    Grid() = default;
    /// Lay the nodes for a picture of this size; all points are 0.
    Grid(uint32_t picture_width, uint32_t picture_height);

    /// Map every node to itself.
    void set_identity();

    /// Take over a warp sampled by the warp hardware's grids, whose nodes are those of this lattice
    /// or of one inside it.
    ///
    /// With 35 columns every node is taken. With 33 the nodes span the frame alone, with 67 they
    /// stand twice as dense and every second one inside the frame is taken; the ring outside is
    /// then continued by polynomials of degree 5 through the six nearest nodes, along the row, the
    /// column, or at a corner the diagonal.
    ///
    /// @param source row by row, counted from the centre of a picture of `size_x` by `size_y`.
    void uniform_poly_extarp(const NcLibWarpGridCoord* source, uint32_t rows, uint32_t columns,
                             uint32_t size_x, uint32_t size_y);

    /// The warp at `point`, bilinear between the four nodes around it; beyond the lattice the
    /// border cell goes on.
    Point2 lookup(const Point2& point) const {
        const double gx = inv_origin_x + inv_cell_x * point.x;
        const double gy = inv_origin_y + inv_cell_y * point.y;
        const uint32_t ix = cell_of(gx, kGridColumns - 2);
        const uint32_t iy = cell_of(gy, kGridRows - 2);
        const Point2* node = &points[iy * kGridColumns + ix];
        const Point2 top = mix(node[0], node[1], gx - ix);
        const Point2 bottom = mix(node[kGridColumns], node[kGridColumns + 1], gx - ix);
        return mix(top, bottom, gy - iy);
    }

  private:
    // Index of the cell that answers for a position in cells; `last` is the last cell.
    static uint32_t cell_of(double position, int32_t last) {
        return static_cast<uint32_t>(std::clamp(cut_to_i32(position), 0, last));
    }

    static Point2 mix(const Point2& a, const Point2& b, double weight) {
        return {a.x + (b.x - a.x) * weight, a.y + (b.y - a.y) * weight};
    }
};

}  // namespace steadywarp
