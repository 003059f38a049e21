// SPDX-License-Identifier: Apache-2.0
// The two outputs of the stabilizer folded into one grid.
#include <algorithm>
#include <cstring>

#include "base/eis_log.hpp"
#include "base/matrix3.hpp"
#include "base/numeric.hpp"
#include "interface/utility_grids.hpp"
#include "stabilizer/grid.hpp"
#include "steadywarp/eis_utility.h"

namespace steadywarp {
namespace {

static_assert(EIS_GRID_POINTS * sizeof(NcLibWarpGridCoord) <= EIS_SINGLE_GRID_WORK_BYTES);

// Bilinear look-up in a grid of any size, pixels from the centre of the top-left pixel, like Grid.
class GridReader {
  public:
    explicit GridReader(const NcLibWarpGrid& grid)
        : _grid(grid),
          _center{(grid.transformDefinedOn.widthPixels - 1.0) / 2.0,
                  (grid.transformDefinedOn.heightLines - 1.0) / 2.0},
          _has_ring(grid.extrapolateType == EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER),
          _cell{cell_of(grid.transformDefinedOn.widthPixels, grid.numColumns),
                cell_of(grid.transformDefinedOn.heightLines, grid.numRows)} {}

    // Beyond the nodes the border cell goes on.
    Point2 at(const Point2& point) const {
        const double ring = _has_ring ? 1.0 : 0.0;
        const double gx = (point.x + 0.5) / _cell.x + ring;
        const double gy = (point.y + 0.5) / _cell.y + ring;
        const uint32_t ix = index_of(gx, _grid.numColumns);
        const uint32_t iy = index_of(gy, _grid.numRows);
        const Point2 top = mix(node(ix, iy), node(ix + 1, iy), gx - ix);
        const Point2 bottom = mix(node(ix, iy + 1), node(ix + 1, iy + 1), gx - ix);
        return mix(top, bottom, gy - iy);
    }

    const Point2& center() const { return _center; }

  private:
    double cell_of(uint32_t length, uint32_t nodes) const {
        return static_cast<double>(length) / (nodes - (_has_ring ? 3 : 1));
    }
    static uint32_t index_of(double position, uint32_t nodes) {
        return static_cast<uint32_t>(
            std::clamp(cut_to_i32(position), 0, static_cast<int32_t>(nodes) - 2));
    }
    static Point2 mix(const Point2& a, const Point2& b, double weight) {
        return {a.x + (b.x - a.x) * weight, a.y + (b.y - a.y) * weight};
    }
    Point2 node(uint32_t column, uint32_t row) const {
        const NcLibWarpGridCoord& value = _grid.grid[size_t{row} * _grid.numColumns + column];
        return {static_cast<double>(value.x) + _center.x, static_cast<double>(value.y) + _center.y};
    }

    const NcLibWarpGrid& _grid;
    Point2 _center;
    bool _has_ring;
    Point2 _cell;
};

bool has_size(const NcLibImageSize& size) {
    return size.widthPixels != 0 && size.heightLines != 0;
}

bool is_valid_input(const NcLibWarpGrid* distortion, const NcLibWarp* transform,
                    const void* work_buffer, uint64_t work_buffer_size, const NcLibWarpGrid* out) {
    if (distortion == nullptr || transform == nullptr || work_buffer == nullptr || out == nullptr ||
        distortion->grid == nullptr || out->grid == nullptr ||
        (transform->matrices.enable && transform->matrices.perspMatrices == nullptr) ||
        (transform->grid.enable && transform->grid.grid == nullptr)) {
        EIS_ERR("IS0003", "NULL Input");
        return false;
    }
    if (work_buffer_size < EIS_SINGLE_GRID_WORK_BYTES) {
        EIS_ERR("IS0003", "work buffer is too small, expected size: %u",
                EIS_SINGLE_GRID_WORK_BYTES);
        return false;
    }
    if (!distortion->enable) {
        EIS_ERR("IS0003", "distortion correction grid is disabled, invalid SW flow");
        return false;
    }
    if (!transform->matrices.enable && !transform->grid.enable) {
        EIS_ERR("IS0003", "stabilization transforms are both disabled, invalid SW flow");
        return false;
    }
    if (transform->matrices.enable &&
        (transform->matrices.numRows != 1 || transform->matrices.numColumns != 1)) {
        EIS_ERR("IS0003",
                "Too many matrices were defined, current implementation only supports single "
                "matrix. (numRows, numColumns): (%u, %u)",
                transform->matrices.numRows, transform->matrices.numColumns);
        return false;
    }
    if (transform->grid.enable) {
        return is_ring_grid(*distortion) && is_ring_grid(transform->grid);
    }
    const bool has_cells = std::min(distortion->numRows, distortion->numColumns) >= 4;
    if (!has_cells) {
        EIS_ERR("IS0003", "Invalid number of grid points (numRows, numColumns): (%u, %u)",
                distortion->numRows, distortion->numColumns);
    }
    const bool has_sizes = has_size(distortion->transformDefinedOn) &&
                           has_size(transform->matrices.transformDefinedOn);
    if (!has_sizes) {
        EIS_ERR("IS0003", "Warps are defined on an empty picture");
    }
    return has_cells && has_sizes;
}

// A matrix that works relative to the centre of a picture of this size.
Matrix3 centered_matrix(const NcLibWarpMatrices& matrices, const NcLibImageSize& size) {
    // Warps of both domains are centred; only their scale can differ.
    const double to_size_x =
        static_cast<double>(size.widthPixels) / matrices.transformDefinedOn.widthPixels;
    const double to_size_y =
        static_cast<double>(size.heightLines) / matrices.transformDefinedOn.heightLines;
    Matrix3 matrix;
    std::copy_n(matrices.perspMatrices[0].T, 9, matrix.begin());
    const Matrix3 to_size = {to_size_x, 0.0, 0.0, 0.0, to_size_y, 0.0, 0.0, 0.0, 1.0};
    const Matrix3 from_size = {1.0 / to_size_x, 0.0, 0.0, 0.0, 1.0 / to_size_y, 0.0, 0.0, 0.0, 1.0};
    return multiply(multiply(to_size, matrix), from_size);
}

// Write matrix(grid(p)) at each node of the lattice; `out` may be `grid`, since all is read before
// anything is written.
void fold_matrix(const NcLibWarpGrid& grid, const Matrix3& matrix, void* work_buffer,
                 NcLibWarpGrid& out) {
    const GridReader reader(grid);
    const NcLibImageSize size = grid.transformDefinedOn;
    const Grid lattice(size.widthPixels, size.heightLines);
    auto* const folded = static_cast<unsigned char*>(work_buffer);
    for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
        const Point2 corner_based =
            reader.at({lattice.x[i % kGridColumns], lattice.y[i / kGridColumns]});
        const Point2 point = map_point(
            matrix, {corner_based.x - reader.center().x, corner_based.y - reader.center().y});
        const NcLibWarpGridCoord value = {static_cast<float>(point.x), static_cast<float>(point.y)};
        std::memcpy(folded + i * sizeof value, &value, sizeof value);
    }
    std::memcpy(out.grid, folded, EIS_GRID_POINTS * sizeof(NcLibWarpGridCoord));
    out.enable = true;
    out.transformDefinedOn = size;
    out.numRows = kGridRows;
    out.numColumns = kGridColumns;
    out.extrapolateType = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
}

// The distortion grid behind the transform's grid, both virtual.
uint32_t compose_grids(NcLibWarpGrid& distortion, NcLibWarp& transform, NcLibWarp& composed) {
    set_utility_chip();
    int32_t status = to_virtual_domain(distortion);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002",
                "NcLibWarpConvertToVirtualDomain() had failed (0x%08x) for distortion correction "
                "grid",
                static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    status = NcLibWarpConvertToVirtualDomain(&transform, &transform);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002",
                "NcLibWarpConvertToVirtualDomain() had failed (0x%08x) for stabilization transform",
                static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    const NcLibWarp distortion_warp = {{}, distortion, OUT_2_IN};
    status = NcLibWarpComposition(&distortion_warp, &transform, &composed);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002", "NcLibWarpComposition() had failed (0x%08x)",
                static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    return EIS_SUCCESS;
}

}  // namespace
}  // namespace steadywarp

uint32_t eis_utility_convert_output_stabilize_to_single_grid(
    NcLibWarpGrid* distortion_correction_grid, NcLibWarp* stabilization_transform,
    void* work_buffer, uint64_t work_buffer_size, NcLibWarpGrid* single_grid) {
    using namespace steadywarp;
    if (!is_valid_input(distortion_correction_grid, stabilization_transform, work_buffer,
                        work_buffer_size, single_grid)) {
        return EIS_ERROR_INVALID_INPUT;
    }
    NcLibWarp& transform = *stabilization_transform;
    if (!transform.grid.enable) {
        fold_matrix(
            *distortion_correction_grid,
            centered_matrix(transform.matrices, distortion_correction_grid->transformDefinedOn),
            work_buffer, *single_grid);
        return EIS_SUCCESS;
    }
    NcLibPerspTransformSingle matrix{};
    NcLibWarp composed = {{}, *single_grid, OUT_2_IN};
    composed.matrices.perspMatrices = &matrix;
    const uint32_t status = compose_grids(*distortion_correction_grid, transform, composed);
    if (status != EIS_SUCCESS) {
        return status;
    }
    if (transform.matrices.enable) {
        fold_matrix(composed.grid,
                    centered_matrix(composed.matrices, composed.grid.transformDefinedOn),
                    work_buffer, *single_grid);
    } else {
        *single_grid = composed.grid;
    }
    return EIS_SUCCESS;
}
