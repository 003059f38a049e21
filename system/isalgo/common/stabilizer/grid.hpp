// SPDX-License-Identifier: Apache-2.0
/// @file grid.hpp
/// A warp sampled on a regular lattice of 35 columns by 27 rows.
///
/// Pixels are counted from the centre of the top-left pixel. The frame, from -0.5 to size - 0.5,
/// spans 32 by 24 cells; one more column and row of nodes lies outside each side. Row j of nodes
/// stands where time row j of a frame is read.
#pragma once

#include <array>
#include <cstdint>

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

    /// The warp at `point`, bilinear between the four nodes around it; beyond the lattice the
    /// border cell goes on.
    Point2 lookup(const Point2& point) const;
};

}  // namespace steadywarp
