// SPDX-License-Identifier: Apache-2.0
// A grid reduced to one homography for each of nine horizontal strips.
#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "steadywarp/eis_utility.h"

namespace steadywarp {
namespace {

constexpr uint32_t kPointsOfStrip = 4;
constexpr uint32_t kFullConfidence = 256;
// The ring on both sides and one cell, on either axis; and a row of cells for each strip.
constexpr uint32_t kLeastColumns = 4;
constexpr uint32_t kLeastRows = EIS_GRID_STRIPS + 2;

bool has_strips(const NcLibWarpGrid& grid) {
    return grid.numRows >= kLeastRows && grid.numColumns >= kLeastColumns;
}

// First row of a strip.
uint32_t first_row_of(uint32_t strip, uint32_t num_rows) {
    const int32_t rows_apart = static_cast<int32_t>((num_rows - 3) / 8);
    const int32_t center = 1 + static_cast<int32_t>(strip) * rows_apart;
    return static_cast<uint32_t>(std::max(center - rows_apart / 2, 0));
}

// Fit a strip to its first two rows, one column inside either end.
bool fit_strip(const NcLibWarpGrid& grid, uint32_t strip, float* matrix) {
    // Node positions are whole steps, even where the picture's size is no multiple of the cells.
    const uint32_t step_x = grid.transformDefinedOn.widthPixels / (grid.numColumns - 3);
    const uint32_t step_y = grid.transformDefinedOn.heightLines / (grid.numRows - 3);
    const float left = -static_cast<float>(grid.transformDefinedOn.widthPixels) / 2.0f -
                       static_cast<float>(step_x);
    const float top = -static_cast<float>(grid.transformDefinedOn.heightLines) / 2.0f -
                      static_cast<float>(step_y);
    NcLibWarpGridCoord from[kPointsOfStrip];
    NcLibWarpGridCoord to[kPointsOfStrip];
    uint32_t count = 0;
    const uint32_t first_row = first_row_of(strip, grid.numRows);
    for (uint32_t row = first_row; row < first_row + 2; ++row) {
        for (const uint32_t column : {1u, grid.numColumns - 2}) {
            from[count] = {left + static_cast<float>(column * step_x),
                           top + static_cast<float>(row * step_y)};
            to[count++] = grid.grid[row * grid.numColumns + column];
        }
    }
    constexpr uint16_t kAll[kPointsOfStrip] = {0, 1, 2, 3};
    const bcvCorrespondences points = {&from[0].x, &to[0].x,      2, 2, kPointsOfStrip,
                                       kAll,       kPointsOfStrip};
    bcvGeomHomographyFitf32(&points, matrix);
    return matrix[8] != 0.0f &&
           std::all_of(matrix, matrix + 9, [](float element) { return std::isfinite(element); });
}

}  // namespace
}  // namespace steadywarp

void NcLibWarpGrid_to_NcLibWarpMatrices(const NcLibWarpGrid* grid, NcLibWarpMatrices* matrices) {
    if (!grid->enable || !steadywarp::has_strips(*grid)) {
        return;
    }
    for (uint32_t strip = 0; strip < EIS_GRID_STRIPS; ++strip) {
        if (!steadywarp::fit_strip(*grid, strip, matrices->perspMatrices[strip].T)) {
            matrices->enable = false;
            return;
        }
    }
    NcLibPerspTransformSingle* const array = matrices->perspMatrices;
    *matrices = {true,
                 grid->transformDefinedOn,
                 NOT_CENTERED,
                 steadywarp::kFullConfidence,
                 EIS_GRID_STRIPS,
                 1,
                 array};
}

uint32_t eis_utility_convert_grid_to_matrices(const NcLibWarpGrid* grid,
                                              NcLibWarpMatrices* matrices) {
    if (grid == nullptr || matrices == nullptr || grid->grid == nullptr ||
        matrices->perspMatrices == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (matrices->enable) {
        EIS_ERR("IS0003", "matrices composition is not supported");
        return EIS_ERROR_INVALID_INPUT;
    }
    if (grid->extrapolateType != EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER) {
        EIS_ERR("IS0003", "Grid extrapolation type is not supported: %u",
                static_cast<unsigned>(grid->extrapolateType));
        return EIS_ERROR_INVALID_INPUT;
    }
    if (grid->enable && !steadywarp::has_strips(*grid)) {
        EIS_ERR("IS0003", "Invalid number of grid points (numRows, numColumns): (%u, %u)",
                grid->numRows, grid->numColumns);
        return EIS_ERROR_INVALID_INPUT;
    }
    NcLibWarpGrid_to_NcLibWarpMatrices(grid, matrices);
    if (grid->enable && !matrices->enable) {
        EIS_ERR("IS0002", "A strip of the grid determines no matrix");
        return EIS_ERROR_GENERAL;
    }
    return EIS_SUCCESS;
}
