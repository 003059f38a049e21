// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/frame_warps.hpp"

#include "nclib/Logic/WarpAdjust/warp_checks.hpp"

namespace nclib {

bool NeedsAssistGrid(const NcLibWarp& warp) {
    return warp.matrices.enable && !IsSingleMatrix(warp.matrices);
}

int32_t AddStabilizationBackward(const NcLibWarpBuildAssistGridOut& stabilization,
                                 const char* assist_name, StageChain& chain) {
    const NcLibWarp& warp = *stabilization.inputWarp;
    chain.Add(warp.grid, INVERSE);
    if (!NeedsAssistGrid(warp)) {
        chain.Add(warp.matrices, INVERSE);
        return NC_LIB_SUCCESS;
    }
    NC_LIB_REQUIRE_NOT_NULL(stabilization.assistGrid, assist_name);
    chain.Add(*stabilization.assistGrid, INVERSE);
    return NC_LIB_SUCCESS;
}

}  // namespace nclib
