// SPDX-License-Identifier: Apache-2.0
// A raw calibration mesh of doubles, sampled at the nodes of a hardware grid.
#include <algorithm>
#include <array>
#include <cmath>

#include "nclib/Logic/WarpAdjust/grid_geometry.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"

namespace {

// Nodes first to end-1 of one axis of the hardware grid, out of `count`.
struct NodeRange {
    int64_t first;
    int64_t end;
    int64_t count;

    // Linear continuation needs three nodes to start from; one more keeps it off the far edge.
    bool CanBeContinued() const { return first + 3 < count && first + 3 < end; }
};

// One axis: from nodes of the hardware grid to positions on the raw mesh.
struct AxisMap {
    double cells_per_pixel;
    double area_start, area_size;  // pixels of the full frame
    double intervals;              // of the raw mesh over the area

    NodeRange Covered(int64_t count) const {
        const double start = std::ceil(area_start * cells_per_pixel) + 1.0;
        const double end = std::trunc((area_start + area_size) * cells_per_pixel) + 3.0;
        return {std::max<int64_t>(nclib::TruncateToInt32(start), 0),
                std::clamp<int64_t>(nclib::TruncateToInt32(end), 0, count), count};
    }

    double ToRaw(int64_t node) const {
        return static_cast<double>(node - 1) * intervals / (cells_per_pixel * area_size) -
               area_start * intervals / area_size;
    }
};

float Kernel(float offset) {
    const float d = std::fabs(offset);
    return d < 1.0f ? (9.0f * d * d * d - 15.0f * d * d + 6.0f) / 6.0f
                    : (-3.0f * d * d * d + 15.0f * d * d - 24.0f * d + 12.0f) / 6.0f;
}

// Four nodes of one axis of the raw mesh, from `first` on, and their weights.
struct Taps {
    int64_t first;
    std::array<float, 4> weights;
};

Taps TapsAt(double position) {
    const int32_t whole = nclib::TruncateToInt32(position);
    const float f = static_cast<float>(position - whole);
    const float w0 = Kernel(f + 1.0f), w1 = Kernel(f), w2 = Kernel(f - 1.0f);
    return {int64_t{whole} - 1, {w0, w1, w2, 1.0f - (w0 + w1 + w2)}};
}

float WeightedSum(const std::array<float, 4>& values, const std::array<float, 4>& weights) {
    return values[0] * weights[0] + values[1] * weights[1] + values[2] * weights[2] +
           values[3] * weights[3];
}

// The raw mesh of one coordinate, continued linearly beyond its edges.
class RawMesh {
  public:
    RawMesh(const double* values, const NcLibGridSize& size)
        : values_(values), columns_(size.numColumns), rows_(size.numRows) {}

    float Sample(const Taps& across, const Taps& down) const {
        std::array<float, 4> by_row;
        for (int r = 0; r < 4; ++r) {
            std::array<float, 4> row;
            for (int c = 0; c < 4; ++c) {
                row[c] = static_cast<float>(At(across.first + c, down.first + r));
            }
            by_row[r] = WeightedSum(row, across.weights);
        }
        return WeightedSum(by_row, down.weights);
    }

  private:
    double NodeAt(int64_t column, int64_t row) const { return values_[row * columns_ + column]; }

    double At(int64_t column, int64_t row) const {
        const int64_t c = std::clamp<int64_t>(column, 0, columns_ - 1);
        const int64_t r = std::clamp<int64_t>(row, 0, rows_ - 1);
        double value = NodeAt(c, r);
        if (column != c) {
            const int64_t inner = c == 0 ? 1 : columns_ - 2;
            value += (NodeAt(c, r) - NodeAt(inner, r)) * static_cast<double>(std::abs(column - c));
        }
        if (row != r) {
            const int64_t inner = r == 0 ? 1 : rows_ - 2;
            value += (NodeAt(c, r) - NodeAt(c, inner)) * static_cast<double>(std::abs(row - r));
        }
        return value;
    }

    const double* values_;
    int64_t columns_;
    int64_t rows_;
};

// Continue the values of one line, `stride` apart, linearly to both ends of it.
void ContinueLine(NcLibWarpGridCoord* line, int64_t stride, const NodeRange& range) {
    const auto continued = [](const NcLibWarpGridCoord& near, const NcLibWarpGridCoord& far) {
        return NcLibWarpGridCoord{2.0f * near.x - far.x, 2.0f * near.y - far.y};
    };
    for (int64_t i = range.first - 1; i >= 0; --i) {
        line[i * stride] = continued(line[(i + 1) * stride], line[(i + 2) * stride]);
    }
    for (int64_t i = range.end; i < range.count; ++i) {
        line[i * stride] = continued(line[(i - 1) * stride], line[(i - 2) * stride]);
    }
}

bool extrapolateGrid(const NodeRange& columns, const NodeRange& rows, NcLibWarpGridCoord* grid) {
    NC_LIB_REQUIRE(columns.CanBeContinued() && rows.CanBeContinued(), false,
                   "too much extrapolation required: start %u, %u, end %u, %u",
                   static_cast<uint32_t>(columns.first), static_cast<uint32_t>(rows.first),
                   static_cast<uint32_t>(columns.end), static_cast<uint32_t>(rows.end));
    for (int64_t row = rows.first; row < rows.end; ++row) {
        ContinueLine(grid + row * columns.count, 1, columns);
    }
    for (int64_t column = 0; column < columns.count; ++column) {
        ContinueLine(grid + column, columns.count, rows);
    }
    return true;
}

int32_t CheckRawGrid(const double* rawGridX, const double* rawGridY, const NcLibGridSize* gridSize,
                     const NcLibZoomWindow* gridArea, uint32_t geometry,
                     const NcLibIcaGrid* icaGrid) {
    NC_LIB_REQUIRE_NOT_NULL(rawGridX, "rawGridX");
    NC_LIB_REQUIRE_NOT_NULL(rawGridY, "rawGridY");
    NC_LIB_REQUIRE_NOT_NULL(icaGrid, "icaGrid");
    NC_LIB_REQUIRE_NOT_NULL(gridSize, "gridSize");
    NC_LIB_REQUIRE_NOT_NULL(gridArea, "gridArea");
    NC_LIB_REQUIRE(gridSize->numColumns >= 3 && gridSize->numRows >= 3, NC_LIB_INVALID_INPUT,
                   "Invalid gridSize %u, %u", gridSize->numColumns, gridSize->numRows);
    NC_LIB_REQUIRE(gridArea->fullWidth != 0 && gridArea->fullHeight != 0, NC_LIB_INVALID_INPUT,
                   "Invalid gridArea full size %u, %u", gridArea->fullWidth, gridArea->fullHeight);
    NC_LIB_REQUIRE(geometry == 1 || geometry == 2, NC_LIB_INVALID_INPUT,
                   "Unsupported grid geometry %d", static_cast<int>(geometry));
    return NC_LIB_SUCCESS;
}

AxisMap MakeAxisMap(uint32_t hardware_nodes, uint32_t raw_nodes, uint32_t flags, uint32_t full,
                    int32_t start, uint32_t size) {
    const bool ends_on_pixel = (flags & NC_LIB_RAW_GRID_ENDS_ON_LAST_PIXEL) != 0;
    return {static_cast<double>(hardware_nodes - 3) / full, static_cast<double>(start),
            static_cast<double>(size),
            static_cast<double>(ends_on_pixel ? raw_nodes - 1 : raw_nodes)};
}

void MoveIntoVirtualDomain(const NcLibZoomWindow& area, uint32_t flags, size_t count,
                           NcLibWarpGridCoord* grid) {
    const bool is_centred = (flags & NC_LIB_RAW_GRID_UNCENTERED) == 0;
    const float offset_x = is_centred ? -nclib::kVirtualHalfWidth : 0.0f;
    const float offset_y = is_centred ? -nclib::kVirtualHalfHeight : 0.0f;
    const float scale_x = nclib::kVirtualWidth / static_cast<float>(area.fullWidth);
    const float scale_y = nclib::kVirtualHeight / static_cast<float>(area.fullHeight);
    for (size_t i = 0; i < count; ++i) {
        grid[i] = {offset_x + scale_x * grid[i].x, offset_y + scale_y * grid[i].y};
    }
}

}  // namespace

int32_t NcLibResampleGridForIca(const double* rawGridX, const double* rawGridY,
                                const NcLibGridSize* gridSize, uint32_t flags,
                                const NcLibZoomWindow* gridArea, uint32_t geometry,
                                NcLibIcaGrid* icaGrid) {
    const int32_t status = CheckRawGrid(rawGridX, rawGridY, gridSize, gridArea, geometry, icaGrid);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    const nclib::GridGeometry& nodes = nclib::kGridGeometries[geometry];
    const AxisMap across = MakeAxisMap(nodes.num_columns, gridSize->numColumns, flags,
                                       gridArea->fullWidth, gridArea->x, gridArea->width);
    const AxisMap down = MakeAxisMap(nodes.num_rows, gridSize->numRows, flags, gridArea->fullHeight,
                                     gridArea->y, gridArea->height);
    const NodeRange columns = across.Covered(nodes.num_columns);
    const NodeRange rows = down.Covered(nodes.num_rows);
    const RawMesh mesh_x(rawGridX, *gridSize);
    const RawMesh mesh_y(rawGridY, *gridSize);
    for (int64_t row = rows.first; row < rows.end; ++row) {
        const Taps down_taps = TapsAt(down.ToRaw(row));
        for (int64_t column = columns.first; column < columns.end; ++column) {
            const Taps across_taps = TapsAt(across.ToRaw(column));
            icaGrid->grid[row * columns.count + column] = {mesh_x.Sample(across_taps, down_taps),
                                                           mesh_y.Sample(across_taps, down_taps)};
        }
    }
    NC_LIB_REQUIRE(extrapolateGrid(columns, rows, icaGrid->grid), NC_LIB_GENERAL_ERROR,
                   "extrapolation failed");
    MoveIntoVirtualDomain(*gridArea, flags, size_t{nodes.num_rows} * nodes.num_columns,
                          icaGrid->grid);
    icaGrid->enable = 1;
    icaGrid->extrapolatedCorners = 0;
    icaGrid->geometry = geometry;
    icaGrid->transformDefinedOn = nclib::kVirtualSize;
    return NC_LIB_SUCCESS;
}
