// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/regular_grid.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "nclib/Logic/WarpAdjust/bicubic.hpp"
#include "nclib/Logic/WarpAdjust/fixed_point.hpp"
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/lanes.hpp"
#include "steadywarp/nclib_chip.hpp"

namespace {

using Neighbourhood = NcLibWarpGridCoord[4][4];

constexpr NcLibWarpGridCoord kNotANumber = {std::numeric_limits<float>::quiet_NaN(),
                                            std::numeric_limits<float>::quiet_NaN()};

const NcLibWarpGridCoord& NodeAt(const NcLibWarpGrid& grid, int64_t row, int64_t column) {
    return grid.grid[row * grid.numColumns + column];
}

NcLibWarpGridCoord ContinueLine(const NcLibWarpGridCoord& edge, const NcLibWarpGridCoord& inner) {
    return {2.0f * edge.x - inner.x, 2.0f * edge.y - inner.y};
}

// The node one step inward from an index outside 0 .. last; an axis of one node has no other.
int64_t InnerIndex(int64_t outside, int64_t last) {
    return outside < 0 ? std::min<int64_t>(1, last) : std::max<int64_t>(last - 1, 0);
}

NcLibWarpGridCoord FourCornersNode(const NcLibWarpGrid& grid, int64_t row, int64_t column) {
    const int64_t last_row = int64_t{grid.numRows} - 1;
    const int64_t last_column = int64_t{grid.numColumns} - 1;
    const int64_t edge_row = std::clamp<int64_t>(row, 0, last_row);
    const int64_t edge_column = std::clamp<int64_t>(column, 0, last_column);
    const bool is_row_outside = row != edge_row;
    const bool is_column_outside = column != edge_column;
    if (is_row_outside && is_column_outside) {
        return grid.gridExtrapolate[(row < 0 ? 0 : 2) + (column < 0 ? 0 : 1)];
    }
    const NcLibWarpGridCoord& edge = NodeAt(grid, edge_row, edge_column);
    if (is_row_outside) {
        return ContinueLine(edge, NodeAt(grid, InnerIndex(row, last_row), column));
    }
    if (is_column_outside) {
        return ContinueLine(edge, NodeAt(grid, row, InnerIndex(column, last_column)));
    }
    return edge;
}

void FillFromFourCorners(const NcLibWarpGrid& grid, int32_t column, int32_t row,
                         Neighbourhood& neighbourhood) {
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            neighbourhood[r][c] = FourCornersNode(grid, int64_t{row} + r, int64_t{column} + c);
        }
    }
}

// A value as a plane over column c and row r: a*c + b*r + d.
struct Plane {
    float a = 0, b = 0, d = 0;

    float At(int32_t column, int32_t row) const {
        return static_cast<float>(row) * b + a * static_cast<float>(column) + d;
    }
};

// The anchor first, then two nodes beside it, inward where the anchor is the first or the last.
std::array<int32_t, 3> ThreeFromAnchor(int32_t first, int32_t count) {
    const int32_t last = count - 1;
    const int32_t anchor = first + 3 > last ? last : std::max(first, 0);
    if (anchor == 0) {
        return {0, 1, 2};
    }
    return {anchor, anchor - 1, anchor == last ? anchor - 2 : anchor + 1};
}

// Inverse of the normal matrix of a plane fit over three rows by three columns.
int32_t InvertNormalMatrix(const std::array<int32_t, 3>& columns,
                           const std::array<int32_t, 3>& rows, double* inverse) {
    double cc = 0, cr = 0, c_sum = 0, rr = 0, r_sum = 0;
    for (const double r : rows) {
        for (const double c : columns) {
            cc += c * c;
            cr += c * r;
            c_sum += c;
            rr += r * r;
            r_sum += r;
        }
    }
    const double normal[9] = {cc, cr, c_sum, cr, rr, r_sum, c_sum, r_sum, 9.0};
    return NcLibInternalMatrixInverseDouble(normal, inverse);
}

Plane FitPlane(const NcLibWarpGrid& grid, const std::array<int32_t, 3>& columns,
               const std::array<int32_t, 3>& rows, const double* inverse,
               float NcLibWarpGridCoord::*coordinate) {
    float cv = 0, rv = 0, v_sum = 0;
    for (const int32_t r : rows) {
        for (const int32_t c : columns) {
            const float value = NodeAt(grid, r, c).*coordinate;
            cv += static_cast<float>(c) * value;
            rv += static_cast<float>(r) * value;
            v_sum += value;
        }
    }
    const auto solve = [=](const double* line) {
        return static_cast<float>(line[0] * static_cast<double>(cv) +
                                  line[1] * static_cast<double>(rv) +
                                  line[2] * static_cast<double>(v_sum));
    };
    return {solve(inverse), solve(inverse + 3), solve(inverse + 6)};
}

// Where the transform of a point starts from: the grid and how positions on it are counted.
struct GridView {
    const NcLibWarpGrid* grid;
    nclib::FixedPointFormat format;
    bool is_ring;
};

[[gnu::noinline]] NcLibWarpGridCoord InterpolateAtEdge(const GridView& view, int32_t column,
                                                       int32_t row, const nclib::Coefs& across,
                                                       const nclib::Coefs& down) {
    Neighbourhood nodes;
    if (view.is_ring) {
        gridPlaneExtrapolation(view.grid, column, row, nodes);
    } else {
        FillFromFourCorners(*view.grid, column, row, nodes);
    }
    return nclib::InterpolateRows({nodes[0], nodes[1], nodes[2], nodes[3]}, across, down);
}

[[gnu::always_inline]] inline NcLibWarpGridCoord MapPoint(const GridView& view,
                                                          const NcLibWarpGridCoord& point) {
    if (std::isnan(point.x) || std::isnan(point.y)) {
        return kNotANumber;
    }
    const nclib::FixedPointFormat& format = view.format;
    const auto x = nclib::Locate(point.x, format, format.column_offset);
    const auto y = nclib::Locate(point.y, format, format.row_offset);
    // The offsets count from the frame; the first column and row of a ring lie one outside it.
    const int32_t column = view.is_ring ? x.cell : x.cell - 1;
    const int32_t row = view.is_ring ? y.cell : y.cell - 1;
    const nclib::Coefs across = nclib::InterpolatedCoefs(x.fraction, format.bits);
    const nclib::Coefs down = nclib::InterpolatedCoefs(y.fraction, format.bits);
    const NcLibWarpGrid& grid = *view.grid;
    const bool is_inside = column >= 0 && row >= 0 && int64_t{column} + 3 < grid.numColumns &&
                           int64_t{row} + 3 < grid.numRows;
    if (!is_inside) [[unlikely]] {
        return InterpolateAtEdge(view, column, row, across, down);
    }
    const NcLibWarpGridCoord* first = &NodeAt(grid, row, column);
    const size_t stride = grid.numColumns;
    return nclib::InterpolateRows({first, first + stride, first + 2 * stride, first + 3 * stride},
                                  across, down);
}

// A row of the table of weights, and the way to the next one; the fourth lane is not used.
struct WeightStep {
    float row[4];
    float to_next[4];
};
constexpr std::array<WeightStep, nclib::kCoefSteps> kWeightSteps = [] {
    std::array<WeightStep, nclib::kCoefSteps> steps{};
    for (size_t i = 0; i < nclib::kCoefSteps; ++i) {
        for (size_t k = 0; k < 3; ++k) {
            steps[i].row[k] = nclib::kCoefLut[i][k];
            steps[i].to_next[k] = nclib::kCoefLut[i + 1][k] - nclib::kCoefLut[i][k];
        }
    }
    return steps;
}();

// What the kernel needs to know of a grid; pairs are x and y, twice over.
struct InsideView {
    const NcLibWarpGridCoord* nodes;
    size_t stride;
    float scale;
    int bits;
    float per_share;
    int32_t offset[4];
    uint32_t cells[4];  // numbers of columns and rows that 4x4 nodes can start at
};

InsideView InsideOf(const GridView& view) {
    const NcLibWarpGrid& grid = *view.grid;
    const nclib::FixedPointFormat& format = view.format;
    InsideView inside = {grid.grid, grid.numColumns, format.scale, format.bits, 0, {}, {}};
    inside.per_share = 1.0f / static_cast<float>(1 << (format.bits - 7));
    // Below 2^31, so that a negative cell, taken without its sign, is beyond them.
    constexpr uint32_t kMost = std::numeric_limits<int32_t>::max();
    const auto starts = [=](uint32_t nodes) {
        return nodes > 3 ? std::min<uint32_t>(nodes - 3, kMost) : 0;
    };
    for (int i = 0; i < 4; i += 2) {
        inside.offset[i] = format.column_offset - (view.is_ring ? 0 : 1);
        inside.offset[i + 1] = format.row_offset - (view.is_ring ? 0 : 1);
        inside.cells[i] = starts(grid.numColumns);
        inside.cells[i + 1] = starts(grid.numRows);
    }
    return inside;
}

#define STEADYWARP_KERNEL "nclib/Logic/WarpAdjust/regular_grid_kernel.inc"
#include "platform/forms.inc"

void MapWithView(const GridView& view, const NcLibWarpGridCoord* in, uint32_t count,
                 NcLibWarpGridCoord* out) {
    STEADYWARP_BEST(MapPoints)(view, InsideOf(view), in, count, out);
}

}  // namespace

namespace nclib {

FixedPointFormat GetFixedPointFormat(bool fine) {
    if (NcLibGetIpeIcaVersion() / 10 < 3) {
        return {8.0f, 11, 16, 12};
    }
    return fine ? FixedPointFormat{16.0f, 11, 32, 24} : FixedPointFormat{16.0f, 12, 16, 12};
}

}  // namespace nclib

void transformRegularGrid(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* in,
                          uint32_t numPoints, NcLibWarpGridCoord* out) {
    const bool is_ring = grid->extrapolateType == EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    const bool is_fine = is_ring && grid->numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT;
    if (is_ring) {
        NC_LIB_ASSERT(NcLibIsGridSizeWarpSupported(grid->numRows, grid->numColumns));
    }
    if (grid->extrapolateType != EXTRAPOLATION_TYPE_NONE) {
        MapWithView({grid, nclib::GetFixedPointFormat(is_fine), is_ring}, in, numPoints, out);
        return;
    }
    NC_LIB_ASSERT_TEXT(NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners(),
                       "NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners");
    NcLibWarpGridCoord corners[4];
    NcLibWarpGrid with_corners = *grid;
    with_corners.extrapolateType = EXTRAPOLATION_TYPE_FOUR_CORNERS;
    with_corners.gridExtrapolate = corners;
    NcLibCalcExtrapolationPointsInternal(&with_corners);
    MapWithView({&with_corners, nclib::GetFixedPointFormat(false), false}, in, numPoints, out);
}

void gridPlaneExtrapolation(const NcLibWarpGrid* grid, int32_t column, int32_t row,
                            NcLibWarpGridCoord (*neighbourhood)[4]) {
    const int32_t num_columns = static_cast<int32_t>(grid->numColumns);
    const int32_t num_rows = static_cast<int32_t>(grid->numRows);
    const auto columns = ThreeFromAnchor(column, num_columns);
    const auto rows = ThreeFromAnchor(row, num_rows);
    double inverse[9];
    const bool has_plane = InvertNormalMatrix(columns, rows, inverse) == NC_LIB_SUCCESS;
    Plane x_plane, y_plane;
    if (has_plane) {
        x_plane = FitPlane(*grid, columns, rows, inverse, &NcLibWarpGridCoord::x);
        y_plane = FitPlane(*grid, columns, rows, inverse, &NcLibWarpGridCoord::y);
    } else {
        NC_LIB_ERROR("NcLibInternalMatrixInverseDouble failed");
    }
    for (int i = 0; i < 16; ++i) {
        const int32_t c = column + i % 4;
        const int32_t r = row + i / 4;
        const int32_t nearest_column = std::clamp(c, 0, num_columns - 1);
        const int32_t nearest_row = std::clamp(r, 0, num_rows - 1);
        const bool is_node = c == nearest_column && r == nearest_row;
        neighbourhood[i / 4][i % 4] = is_node || !has_plane
                                          ? NodeAt(*grid, nearest_row, nearest_column)
                                          : NcLibWarpGridCoord{x_plane.At(c, r), y_plane.At(c, r)};
    }
}

void NcLibCalcExtrapolationPointsInternal(NcLibWarpGrid* grid) {
    NC_LIB_ASSERT(EXTRAPOLATION_TYPE_FOUR_CORNERS == grid->extrapolateType);
    const int64_t last_row = int64_t{grid->numRows} - 1;
    const int64_t last_column = int64_t{grid->numColumns} - 1;
    const auto continued = [](float a, float b, float c, float d) {
        return std::clamp(4.0f * a - 2.0f * b - 2.0f * c + d, -8192.0f, 8191.875f);
    };
    for (int corner = 0; corner < 4; ++corner) {
        const bool is_bottom = corner / 2 != 0;
        const bool is_right = corner % 2 != 0;
        const int64_t row = is_bottom ? last_row : 0;
        const int64_t column = is_right ? last_column : 0;
        const int64_t inner_row = InnerIndex(is_bottom ? last_row + 1 : -1, last_row);
        const int64_t inner_column = InnerIndex(is_right ? last_column + 1 : -1, last_column);
        const NcLibWarpGridCoord& a = NodeAt(*grid, row, column);
        const NcLibWarpGridCoord& b = NodeAt(*grid, row, inner_column);
        const NcLibWarpGridCoord& c = NodeAt(*grid, inner_row, column);
        const NcLibWarpGridCoord& d = NodeAt(*grid, inner_row, inner_column);
        grid->gridExtrapolate[corner] = {continued(a.x, b.x, c.x, d.x),
                                         continued(a.y, b.y, c.y, d.y)};
    }
}
