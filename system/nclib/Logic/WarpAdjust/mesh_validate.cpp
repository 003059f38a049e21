// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/mesh_validate.hpp"

#include <algorithm>

#include "nclib/Logic/WarpAdjust/grid_boundary.hpp"
#include "nclib/Logic/WarpAdjust/mesh_tests.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/fused.hpp"

namespace {

// As far below zero as three points must turn to count as turning clockwise on the screen.
constexpr double kTurn = -1e-5;

// (q.y-p.y)(r.x-q.x) - (r.y-q.y)(q.x-p.x), the first product fused.
double Orient(const NcLibWarpGridCoord& p, const NcLibWarpGridCoord& q,
              const NcLibWarpGridCoord& r) {
    const double second = (static_cast<double>(r.y) - static_cast<double>(q.y)) *
                          (static_cast<double>(q.x) - static_cast<double>(p.x));
    return platform::Fused(static_cast<double>(q.y) - static_cast<double>(p.y),
                           static_cast<double>(r.x) - static_cast<double>(q.x), -second);
}

bool TurnsClockwise(const NcLibWarpGridCoord& p, const NcLibWarpGridCoord& q,
                    const NcLibWarpGridCoord& r) {
    return Orient(p, q, r) <= kTurn;
}

uint32_t CountBoundaryEdges(const NcLibWarpGrid& grid) {
    return 2 * (grid.numColumns - 1) + 2 * (grid.numRows - 1);
}

NcLibSegment BoundaryEdge(const NcLibWarpGrid& grid, uint32_t index) {
    uint32_t nodes[2];
    getNextBoundaryEdge(index, grid.numRows, grid.numColumns, nodes);
    return {&grid.grid[nodes[0]], &grid.grid[nodes[1]]};
}

bool IsOutlineSimple(const NcLibWarpGrid& grid) {
    const uint32_t count = CountBoundaryEdges(grid);
    for (uint32_t i = 0; i < count; ++i) {
        const NcLibSegment edge = BoundaryEdge(grid, i);
        // The last edge shares a node with the first.
        const uint32_t end = i == 0 ? count - 1 : count;
        for (uint32_t j = i + 2; j < end; ++j) {
            if (NcLibInternalIntersectTest(edge, BoundaryEdge(grid, j)) != 0) {
                return false;
            }
        }
    }
    return true;
}

bool IsInteriorUnfolded(const NcLibWarpGrid& grid) {
    for (uint32_t row = 0; row + 1 < grid.numRows; ++row) {
        for (uint32_t column = 0; column + 1 < grid.numColumns; ++column) {
            const NcLibWarpGridCoord* top = &grid.grid[size_t{row} * grid.numColumns + column];
            const NcLibWarpGridCoord &a = top[0], &b = top[1];
            const NcLibWarpGridCoord &d = top[grid.numColumns], &c = top[grid.numColumns + 1];
            if (!TurnsClockwise(a, b, c) || !TurnsClockwise(c, d, a) || !TurnsClockwise(a, b, d) ||
                !TurnsClockwise(b, c, d)) {
                return false;
            }
        }
    }
    return true;
}

bool AreCornersUnfolded(const NcLibWarpGrid& grid) {
    // The size of the first mesh that comes here holds for the whole process: a pipeline has one
    // size of meshes with four corners. A smaller one that comes later is cut to its own size, so
    // that nothing is read behind its nodes.
    static const uint32_t first_last_column = grid.numColumns - 1;
    static const uint32_t first_last_row = grid.numRows - 1;
    const uint32_t last_column = std::min(first_last_column, grid.numColumns - 1);
    const uint32_t last_row = std::min(first_last_row, grid.numRows - 1);
    if (grid.numColumns < 2 || grid.numRows < 2 || last_column == 0 || last_row == 0) {
        return false;
    }
    const auto at = [&](uint32_t row, uint32_t column) { return row * grid.numColumns + column; };
    const CornerNodes corners[4] = {
        {at(0, 0), at(0, 1), at(1, 0)},
        {at(0, last_column), at(1, last_column), at(0, last_column - 1)},
        {at(last_row, 0), at(last_row - 1, 0), at(last_row, 1)},
        {at(last_row, last_column), at(last_row, last_column - 1), at(last_row - 1, last_column)},
    };
    for (int i = 0; i < 4; ++i) {
        if (!checkExtrapPoint(&grid, &grid.gridExtrapolate[i], &corners[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool checkExtrapPoint(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* corner,
                      const CornerNodes* nodes) {
    const NcLibWarpGridCoord* b = &grid->grid[nodes->b];
    if (!TurnsClockwise(*corner, grid->grid[nodes->a], *b) ||
        !TurnsClockwise(*b, grid->grid[nodes->d], *corner)) {
        return false;
    }
    const NcLibWarpGridCoord* const edge[2] = {corner, b};
    const uint32_t count = CountBoundaryEdges(*grid);
    for (uint32_t i = 0; i < count; ++i) {
        const NcLibSegment other = BoundaryEdge(*grid, i);
        if (other.p == b || other.q == b) {
            continue;
        }
        const NcLibWarpGridCoord* const otherEdge[2] = {other.p, other.q};
        NC_LIB_ASSERT((otherEdge[0] != edge[0]) && (otherEdge[1] != edge[0]));
        if (NcLibInternalIntersectTest({corner, b}, other) != 0) {
            return false;
        }
    }
    return true;
}

bool NcLibWarpDebugNcLibWarpGridValidate(const NcLibWarpGrid* grid) {
    if (grid == nullptr) {
        return false;
    }
    if (!grid->enable) {
        return true;
    }
    if (grid->grid == nullptr || grid->numColumns == 0 || grid->numRows == 0 ||
        grid->transformDefinedOn.heightLines == 0 || grid->transformDefinedOn.widthPixels == 0) {
        return false;
    }
    NC_LIB_REQUIRE(grid->extrapolateType < EXTRAPOLATION_TYPE_MAX_VAL, false,
                   "Invalid extrapolateType");
    if (!IsOutlineSimple(*grid) || !IsInteriorUnfolded(*grid)) {
        return false;
    }
    if (grid->extrapolateType != EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        return true;
    }
    return grid->gridExtrapolate != nullptr && AreCornersUnfolded(*grid);
}
