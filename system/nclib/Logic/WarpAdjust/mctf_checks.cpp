// SPDX-License-Identifier: Apache-2.0
// What NcLibCalcMctfTransform() demands of its input.
#include "nclib/Logic/WarpAdjust/frame_warps.hpp"
#include "nclib/Logic/WarpAdjust/mctf.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"

namespace {

constexpr bool IsDirection(uint32_t direction) {
    return direction == OUT_2_IN || direction == IN_2_OUT;
}

int32_t CheckPointers(const NcLibCalcMctfIn* in, const NcLibWarp* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    const FrameWarps& warps = in->frameWarps;
    NC_LIB_REQUIRE_NOT_NULL(warps.alignment, "in->frameWarps.alignment");
    NC_LIB_REQUIRE_NOT_NULL(warps.currStabilization, "in->frameWarps.currStabilization");
    NC_LIB_REQUIRE_NOT_NULL(warps.currStabilization->inputWarp,
                            "in->frameWarps.currStabilization->inputWarp");
    NC_LIB_REQUIRE_NOT_NULL(warps.prevStabilization, "in->frameWarps.prevStabilization");
    NC_LIB_REQUIRE_NOT_NULL(warps.prevStabilization->inputWarp,
                            "in->frameWarps.prevStabilization->inputWarp");
    NC_LIB_REQUIRE_NOT_NULL(warps.currDistCorrection, "in->frameWarps.currDistCorrection");
    NC_LIB_REQUIRE_NOT_NULL(warps.prevDistCorrection, "in->frameWarps.prevDistCorrection");
    NC_LIB_REQUIRE_NOT_NULL(in->inputSize, "in->inputSize");
    NC_LIB_REQUIRE_NOT_NULL(out->matrices.perspMatrices, "out->matrices.perspMatrices");
    return NC_LIB_SUCCESS;
}

void AssertFramesAgree(const NcLibCalcMctfIn* in) {
    const NcLibWarp& curr = *in->frameWarps.currStabilization->inputWarp;
    const NcLibWarp& prev = *in->frameWarps.prevStabilization->inputWarp;
    NC_LIB_ASSERT(OUT_2_IN == in->frameWarps.alignment->direction);
    NC_LIB_ASSERT_TEXT(IsDirection(curr.direction),
                       "(OUT_2_IN == in->frameWarps.currStabilization->inputWarp->direction) || "
                       "(IN_2_OUT == in->frameWarps.currStabilization->inputWarp->direction)");
    NC_LIB_ASSERT_TEXT(IsDirection(prev.direction),
                       "(OUT_2_IN == in->frameWarps.prevStabilization->inputWarp->direction) || "
                       "(IN_2_OUT == in->frameWarps.prevStabilization->inputWarp->direction)");
    NC_LIB_ASSERT(in->frameWarps.alignmentDomain <= STABILIZED_IMAGE_DOMAIN);
    NC_LIB_ASSERT((DISTORTED_IMAGE_DOMAIN == in->outDomain) ||
                  (STABILIZED_IMAGE_DOMAIN == in->outDomain));
    NC_LIB_ASSERT(curr.grid.enable == prev.grid.enable);
    NC_LIB_ASSERT(curr.matrices.enable == prev.matrices.enable);
    NC_LIB_ASSERT(in->frameWarps.currDistCorrection->grid.enable ==
                  in->frameWarps.prevDistCorrection->grid.enable);
    NC_LIB_ASSERT(false == in->frameWarps.currDistCorrection->matrices.enable);
    NC_LIB_ASSERT(false == in->frameWarps.prevDistCorrection->matrices.enable);
    NC_LIB_ASSERT((in->inputSize->heightLines == in->eisFOV.fullHeight) &&
                  (in->inputSize->widthPixels == in->eisFOV.fullWidth));
}

}  // namespace

namespace nclib {

int32_t CheckMctf(const NcLibCalcMctfIn* in, const NcLibWarp* out) {
    const int32_t status = CheckPointers(in, out);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    const FrameWarps& warps = in->frameWarps;
    const bool currStabilizationSingleMatrix =
        !NeedsAssistGrid(*warps.currStabilization->inputWarp);
    const bool prevStabilizationSingleMatrix =
        !NeedsAssistGrid(*warps.prevStabilization->inputWarp);
    NC_LIB_ASSERT(currStabilizationSingleMatrix == prevStabilizationSingleMatrix);
    NC_LIB_REQUIRE(warps.prevStabilization->assistGrid != nullptr || prevStabilizationSingleMatrix,
                   NC_LIB_INVALID_INPUT, "NULL assist grid and non-single matrix input");
    AssertFramesAgree(in);
    return NC_LIB_SUCCESS;
}

}  // namespace nclib
