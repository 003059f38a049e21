// SPDX-License-Identifier: Apache-2.0
// The grid form of NcLibCalcMctfTransform().
#include <cmath>

#include "nclib/Logic/WarpAdjust/frame_warps.hpp"
#include "nclib/Logic/WarpAdjust/mctf.hpp"
#include "nclib/numeric.hpp"
#include "steadywarp/nclib_chip.hpp"

namespace {

using nclib::StageChain;

// A grid of this size can be laid and the chip knows what to do with it.
bool CanHoldGrid(const NcLibWarpGrid& grid) {
    return NcLibChipInfo::GetCapabilities().IcaHighResGrid() && grid.grid != nullptr &&
           (grid.numColumns == ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH ||
            grid.numColumns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH) &&
           (grid.numRows == ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT ||
            grid.numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT);
}

void AssertGridCase(const NcLibCalcMctfIn* in, const NcLibWarp* out) {
    NC_LIB_ASSERT(STABILIZED_IMAGE_DOMAIN == in->frameWarps.alignmentDomain);
    NC_LIB_ASSERT_TEXT(CanHoldGrid(out->grid),
                       "NcLibChipInfo::GetCapabilities().IcaHighResGrid && (NULL != "
                       "out->grid.grid) && (out->grid.numColumns == "
                       "ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH || out->grid.numColumns == "
                       "ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH) && (out->grid.numRows == "
                       "ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT || out->grid.numRows == "
                       "ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT)");
    NC_LIB_ASSERT(true == in->frameWarps.currDistCorrection->grid.enable);
    NC_LIB_ASSERT((true == in->frameWarps.alignment->matrices.enable) &&
                  (false == in->frameWarps.alignment->grid.enable));
    NC_LIB_ASSERT(OUT_2_IN == in->frameWarps.prevStabilization->inputWarp->direction);
}

constexpr uint32_t TowardsOutput(const NcLibWarp& warp) {
    return warp.direction == IN_2_OUT ? REGULAR : INVERSE;
}

// From the distorted current frame into its stabilized picture.
int32_t AddCurrentFrame(const NcLibCalcMctfIn* in, StageChain& chain) {
    const NcLibWarp& distortion = *in->frameWarps.currDistCorrection;
    const NcLibWarp& stabilization = *in->frameWarps.currStabilization->inputWarp;
    chain.Add(distortion.grid, TowardsOutput(distortion));
    const uint32_t direction = TowardsOutput(stabilization);
    chain.Add(stabilization.grid, direction);
    if (!nclib::NeedsAssistGrid(stabilization) || stabilization.direction == IN_2_OUT) {
        chain.Add(stabilization.matrices, direction);
        return NC_LIB_SUCCESS;
    }
    NC_LIB_REQUIRE_NOT_NULL(in->frameWarps.currStabilization->assistGrid, nclib::kCurrAssistGrid);
    NC_LIB_ASSERT(true == in->frameWarps.currStabilization->assistGrid->enable);
    chain.Add(*in->frameWarps.currStabilization->assistGrid, direction);
    return NC_LIB_SUCCESS;
}

// Nodes on the field of view with one more outside each side; positions are summed up step by step.
void PlaceNodes(const nclib::VirtualSpan& span, NcLibWarpGrid& grid) {
    const float step_x = span.width / static_cast<float>(grid.numColumns - 3);
    const float step_y = span.height / static_cast<float>(grid.numRows - 3);
    const float left = -static_cast<float>(grid.numColumns / 2) * step_x;
    float y = -static_cast<float>(grid.numRows / 2) * step_y;
    NcLibWarpGridCoord* node = grid.grid;
    for (uint32_t row = 0; row < grid.numRows; ++row, y += step_y) {
        float x = left;
        for (uint32_t column = 0; column < grid.numColumns; ++column, x += step_x) {
            *node++ = {x, y};
        }
    }
}

}  // namespace

namespace nclib {

int32_t CalcMctfGrid(const NcLibCalcMctfIn* in, const VirtualSpan& span, NcLibWarp* out) {
    AssertGridCase(in, out);
    StageChain chain;
    int32_t retVal = AddCurrentFrame(in, chain);
    if (retVal != NC_LIB_SUCCESS) {
        return retVal;
    }
    chain.Add(in->frameWarps.alignment->matrices, REGULAR);
    chain.AddForward(*in->frameWarps.prevStabilization->inputWarp);
    chain.Add(in->frameWarps.prevDistCorrection->grid, REGULAR);
    PlaceNodes(span, out->grid);
    const bool is_searched = in->frameWarps.currDistCorrection->direction != IN_2_OUT ||
                             in->frameWarps.currStabilization->inputWarp->direction != IN_2_OUT;
    const uint32_t count = out->grid.numRows * out->grid.numColumns;
    retVal = chain.Apply(out->grid.grid, count, is_searched);
    NC_LIB_REQUIRE(retVal == NC_LIB_SUCCESS, retVal, "NcLibInternalApplyTopologyOnPoints failed");
    for (uint32_t idx = 0; idx < count; ++idx) {
        NC_LIB_ASSERT_TEXT(!std::isnan(out->grid.grid[idx].x) && !std::isnan(out->grid.grid[idx].y),
                           "!isnan(out->grid.grid[idx].x) && !isnan(out->grid.grid[idx].y)");
    }
    out->matrices.enable = false;
    out->grid.enable = true;
    out->grid.extrapolateType = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    out->grid.transformDefinedOn = {TruncateToUint32(static_cast<double>(span.width)),
                                    TruncateToUint32(static_cast<double>(span.height))};
    out->direction = OUT_2_IN;
    retVal = NcLibWarpConvertToVirtualDomain(out, out);
    NC_LIB_ASSERT((NC_LIB_SUCCESS == retVal));
    return NC_LIB_SUCCESS;
}

}  // namespace nclib
