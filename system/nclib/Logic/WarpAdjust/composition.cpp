// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/composition.hpp"

#include <algorithm>

#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/fused.hpp"

namespace {

using nclib::IsSingleMatrix;

int32_t CheckPart(const NcLibWarpGrid& grid, const char* message) {
    const int32_t status = grid.enable ? checkVirtualNcLibWarpGrid(&grid) : NC_LIB_SUCCESS;
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "%s", message);
    return status;
}

int32_t CheckPart(const NcLibWarpMatrices& matrices, const char* message) {
    const int32_t status =
        matrices.enable ? checkVirtualNcLibWarpMatrices(&matrices) : NC_LIB_SUCCESS;
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "%s", message);
    return status;
}

// The arrays that the composition will write.
int32_t CheckOutputArrays(const NcLibWarp& first, const NcLibWarp& second,
                          const NcLibWarp& output) {
    const bool has_matrices = first.matrices.enable || second.matrices.enable;
    const bool is_sampled = first.matrices.enable && second.matrices.enable &&
                            !(IsSingleMatrix(first.matrices) && IsSingleMatrix(second.matrices));
    const bool has_grid = first.grid.enable || second.grid.enable || is_sampled;
    if (has_matrices) {
        NC_LIB_REQUIRE_NOT_NULL(output.matrices.perspMatrices, "output->matrices.perspMatrices");
    }
    if (has_grid) {
        NC_LIB_REQUIRE_NOT_NULL(output.grid.grid, "output->grid.grid");
    }
    return NC_LIB_SUCCESS;
}

// Carry the nodes of a grid, and its four corners if it has them, through the enabled parts.
int32_t ApplyToGrid(const NcLibWarpMatrices* matrices, const NcLibWarpGrid* grid,
                    NcLibWarpGrid& nodes) {
    NcLibInternalWarpTopology stages[2];
    uint32_t count = 0;
    if (matrices != nullptr && matrices->enable) {
        stages[count++] = {nullptr, matrices, REGULAR};
    }
    if (grid->enable) {
        stages[count++] = {grid, nullptr, REGULAR};
    }
    int32_t status = NcLibInternalApplyTopologyOnPoints(
        stages, count, nodes.grid, nodes.numRows * nodes.numColumns, true, nodes.grid);
    if (status == NC_LIB_SUCCESS && nodes.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        status = NcLibInternalApplyTopologyOnPoints(stages, count, nodes.gridExtrapolate, 4, true,
                                                    nodes.gridExtrapolate);
    }
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "NcLibInternalApplyTopologyOnPoints failed");
    return NC_LIB_SUCCESS;
}

void MultiplySingles(const NcLibWarpMatrices& first, const NcLibWarpMatrices& second,
                     NcLibWarpMatrices& output) {
    NcLibPerspTransformSingle product;
    NcLibInternalMatrixProduct(first.perspMatrices[0].T, second.perspMatrices[0].T, product.T);
    NcLibPerspTransformSingle* const array = output.perspMatrices;
    array[0] = product;
    output = {
        true, nclib::kVirtualSize, CENTERED, std::min(first.confidence, second.confidence), 1, 1,
        array};
}

// The second warp has no grid of its own: out = second's matrices, then what the first one does.
int32_t ComposeOntoMatrices(const NcLibWarp& first, const NcLibWarp& second, NcLibWarp& output) {
    if (!first.matrices.enable) {
        memcpyMatrices(&output.matrices, &second.matrices);
        memcpyGrid(&output.grid, &first.grid);
        return NC_LIB_SUCCESS;
    }
    if (IsSingleMatrix(first.matrices) && IsSingleMatrix(second.matrices)) {
        MultiplySingles(first.matrices, second.matrices, output.matrices);
        memcpyGrid(&output.grid, &first.grid);
        return NC_LIB_SUCCESS;
    }
    memcpyMatrices(&output.matrices, &second.matrices);
    NcLibInternalResamplePerspectiveToGrid(&first.matrices, ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH,
                                           ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT,
                                           EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER, false,
                                           &output.grid);
    return first.grid.enable ? ApplyToGrid(nullptr, &first.grid, output.grid) : NC_LIB_SUCCESS;
}

}  // namespace

namespace nclib {

int32_t CheckComposition(const NcLibWarp* firstWarp, const NcLibWarp* secondWarp,
                         const NcLibWarp* output) {
    NC_LIB_REQUIRE_NOT_NULL(firstWarp, "firstWarp");
    NC_LIB_REQUIRE_NOT_NULL(secondWarp, "secondWarp");
    NC_LIB_REQUIRE_NOT_NULL(output, "output");
    int32_t status = CheckPart(firstWarp->grid, "Invalid firstWarp grid");
    if (status == NC_LIB_SUCCESS) {
        status = CheckPart(firstWarp->matrices, "Invalid firstWarp matrices");
    }
    if (status == NC_LIB_SUCCESS) {
        status = CheckPart(secondWarp->grid, "Invalid secondWarp grid");
    }
    if (status == NC_LIB_SUCCESS) {
        status = CheckPart(secondWarp->matrices, "Invalid secondWarp matrices");
    }
    return status;
}

}  // namespace nclib

int32_t NcLibWarpComposition(const NcLibWarp* firstWarp, const NcLibWarp* secondWarp,
                             NcLibWarp* output) {
    int32_t status = nclib::CheckComposition(firstWarp, secondWarp, output);
    if (status == NC_LIB_SUCCESS) {
        status = CheckOutputArrays(*firstWarp, *secondWarp, *output);
    }
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    output->matrices.enable = false;
    output->grid.enable = false;
    if (!secondWarp->grid.enable) {
        if (secondWarp->matrices.enable) {
            return ComposeOntoMatrices(*firstWarp, *secondWarp, *output);
        }
        memcpyMatrices(&output->matrices, &firstWarp->matrices);
        memcpyGrid(&output->grid, &firstWarp->grid);
        return NC_LIB_SUCCESS;
    }
    memcpyMatrices(&output->matrices, &secondWarp->matrices);
    memcpyGrid(&output->grid, &secondWarp->grid);
    if (!firstWarp->matrices.enable && !firstWarp->grid.enable) {
        return NC_LIB_SUCCESS;
    }
    return ApplyToGrid(&firstWarp->matrices, &firstWarp->grid, output->grid);
}

void NcLibInternalResamplePerspectiveToGrid(const NcLibWarpMatrices* in, uint32_t numColumns,
                                            uint32_t numRows, NcLibWarpGridExtrapolationType type,
                                            bool fine, NcLibWarpGrid* out) {
    NC_LIB_ASSERT(in->centerType == CENTERED);
    NC_LIB_ASSERT(numRows > 1);
    NC_LIB_ASSERT(numColumns > 1);
    const nclib::NodeLattice lattice = nclib::GetNodeLattice(type, fine);
    const float step_x = lattice.spanX / static_cast<float>(numColumns - 1);
    const float step_y = lattice.spanY / static_cast<float>(numRows - 1);
    for (uint32_t row = 0; row < numRows; ++row) {
        const float y = platform::Fused(static_cast<float>(row), step_y, lattice.startY);
        for (uint32_t column = 0; column < numColumns; ++column) {
            const float x = platform::Fused(static_cast<float>(column), step_x, lattice.startX);
            perspectiveTransform({static_cast<double>(x), static_cast<double>(y)}, in,
                                 &out->grid[size_t{row} * numColumns + column]);
        }
    }
    out->enable = true;
    out->transformDefinedOn = nclib::kVirtualSize;
    out->numRows = numRows;
    out->numColumns = numColumns;
    out->extrapolateType = type;
}

#define NB_LIB_WARP_SUCCEEDED(status) ((status) == NC_LIB_SUCCESS)

int32_t NcLibWarpBuildAssistGrid(const NcLibWarpBuildAssistGridIn* in,
                                 NcLibWarpBuildAssistGridOut* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(in->in, "in->in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    NC_LIB_REQUIRE_NOT_NULL(out->assistGrid, "out->assistGrid");
    if (in->in->matrices.enable) {
        NC_LIB_REQUIRE(in->numColumns >= 2 && in->numRows >= 2, NC_LIB_INVALID_INPUT,
                       "Invalid numColumns: %u, numRows: %u", in->numColumns, in->numRows);
        if (in->in->grid.enable) {
            NC_LIB_ASSERT(NB_LIB_WARP_SUCCEEDED(checkInputNcLibWarpGrid(&in->in->grid)));
        }
        NC_LIB_ASSERT(NB_LIB_WARP_SUCCEEDED(checkInputNcLibWarpMatrices(&in->in->matrices)));
        NC_LIB_ASSERT(in->in->direction == OUT_2_IN);
        NcLibInternalResamplePerspectiveToGrid(&in->in->matrices, in->numColumns, in->numRows,
                                               EXTRAPOLATION_TYPE_NONE, false, out->assistGrid);
    } else {
        out->assistGrid->enable = false;
    }
    if (out->inputWarp != nullptr && out->inputWarp != in->in) {
        memcpyWarp(out->inputWarp, in->in);
    }
    return NC_LIB_SUCCESS;
}
