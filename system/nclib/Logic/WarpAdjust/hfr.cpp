// SPDX-License-Identifier: Apache-2.0
// The motion of one frame out of a batch of frames.
#include <cstddef>

#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_chip.hpp"
#include "steadywarp/nclib_temporal.h"

namespace {

// Position of a grid's first node and distance between nodes on one axis, from the centre of an
// image of `length`.
struct Axis {
    float first;
    float step;
};

Axis AxisOf(uint32_t length, uint32_t count, bool has_ring) {
    const float size = static_cast<float>(length);
    const float step = size / static_cast<float>(count - (has_ring ? 3 : 1));
    return {-size / 2.0f - (has_ring ? step : 0.0f), step};
}

int32_t CheckMatrices(const NcLibWarpMatrices& batch, const NcLibWarpMatrices& out) {
    NC_LIB_REQUIRE(batch.perspMatrices != nullptr && out.perspMatrices != nullptr,
                   NC_LIB_INVALID_INPUT,
                   "matrices pointer should be different from NULL when matrices are enabled");
    NC_LIB_REQUIRE(nclib::IsSingleMatrix(batch), NC_LIB_INVALID_INPUT,
                   "only one matrix is supported fro HFR");
    NC_LIB_REQUIRE(batch.perspMatrices->T[8] == 1.0f, NC_LIB_INVALID_INPUT,
                   "invalid matrices.perspMatrices->T[8]: value %f, should be 1.0",
                   static_cast<double>(batch.perspMatrices->T[8]));
    return NC_LIB_SUCCESS;
}

int32_t CheckGrid(const NcLibWarpGrid& batch, const NcLibWarpGrid& out) {
    NC_LIB_REQUIRE_NOT_NULL(batch.grid, "batchGrid->grid");
    NC_LIB_REQUIRE_NOT_NULL(out.grid, "hfrTransform->grid.grid");
    if (batch.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        NC_LIB_ASSERT_TEXT(NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners(),
                           "NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners");
        NC_LIB_REQUIRE_NOT_NULL(out.gridExtrapolate, "hfrTransform->grid.gridExtrapolate");
    }
    return NC_LIB_SUCCESS;
}

int32_t CheckHfr(const NcLibWarp* batchedAlignmentTransform, uint32_t numOfFramesInBatch,
                 const NcLibWarp* hfrTransform) {
    NC_LIB_REQUIRE_NOT_NULL(batchedAlignmentTransform, "batchedAlignmentTransform");
    NC_LIB_REQUIRE_NOT_NULL(hfrTransform, "hfrTransform");
    const NcLibWarp& batch = *batchedAlignmentTransform;
    NC_LIB_REQUIRE(numOfFramesInBatch != 0, NC_LIB_INVALID_INPUT,
                   "numOfFramesInBatch should be bigger than zero");
    NC_LIB_REQUIRE(numOfFramesInBatch != 1, NC_LIB_INVALID_INPUT,
                   "NcLibGenerateHfr has no effect when numOfFramesInBatch is set to one");
    NC_LIB_REQUIRE(!(batch.grid.enable && batch.matrices.enable), NC_LIB_INVALID_INPUT,
                   "NcLibGenerateHfr support grid.enable or matrices.enable, but not both");
    NC_LIB_REQUIRE(batch.grid.enable || batch.matrices.enable, NC_LIB_INVALID_INPUT,
                   "grid.enable or matrices.enable should be enabled");
    return batch.matrices.enable ? CheckMatrices(batch.matrices, hfrTransform->matrices)
                                 : CheckGrid(batch.grid, hfrTransform->grid);
}

// All but the arrays.
void TakeHeaders(const NcLibWarp& batch, NcLibWarp& out) {
    const NcLibWarp own = out;
    out = batch;
    out.matrices.perspMatrices = own.matrices.perspMatrices;
    out.grid.grid = own.grid.grid;
    out.grid.gridExtrapolate = own.grid.gridExtrapolate;
}

void SpreadMatrix(const float* whole, float frames, float* part) {
    for (int i = 0; i < 8; ++i) {
        const bool is_diagonal = i == 0 || i == 4;
        part[i] = is_diagonal ? (whole[i] - 1.0f) / frames + 1.0f : whole[i] / frames;
    }
    part[8] = 1.0f;
}

void SpreadGrid(const NcLibWarpGrid& batch, float frames, NcLibWarpGrid& part) {
    const bool has_corners = batch.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS;
    const Axis x = AxisOf(batch.transformDefinedOn.widthPixels, batch.numColumns, !has_corners);
    const Axis y = AxisOf(batch.transformDefinedOn.heightLines, batch.numRows, !has_corners);
    for (uint32_t row = 0; row < batch.numRows; ++row) {
        const float at_y = y.first + static_cast<float>(row) * y.step;
        for (uint32_t column = 0; column < batch.numColumns; ++column) {
            const float at_x = x.first + static_cast<float>(column) * x.step;
            const size_t node = size_t{row} * batch.numColumns + column;
            part.grid[node] = {at_x + (batch.grid[node].x - at_x) / frames,
                               at_y + (batch.grid[node].y - at_y) / frames};
        }
    }
    if (has_corners) {
        NcLibCalcExtrapolationPointsInternal(&part);
    }
}

}  // namespace

int32_t NcLibGenerateHfr(const NcLibWarp* batchedAlignmentTransform, uint32_t numOfFramesInBatch,
                         NcLibWarp* hfrTransform) {
    const int32_t status = CheckHfr(batchedAlignmentTransform, numOfFramesInBatch, hfrTransform);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    const NcLibWarp batch = *batchedAlignmentTransform;
    TakeHeaders(batch, *hfrTransform);
    const float frames = static_cast<float>(numOfFramesInBatch);
    if (batch.matrices.enable) {
        SpreadMatrix(batch.matrices.perspMatrices->T, frames,
                     hfrTransform->matrices.perspMatrices->T);
    } else {
        SpreadGrid(batch.grid, frames, hfrTransform->grid);
    }
    return NC_LIB_SUCCESS;
}
