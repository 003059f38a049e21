// SPDX-License-Identifier: Apache-2.0
/// @file frame_warps.hpp
/// A frame's stabilization as stages of a chain.
#pragma once

#include "nclib/Logic/WarpAdjust/stage_chain.hpp"
#include "steadywarp/nclib_geometries.h"

namespace nclib {

/// Tell whether a warp can only be taken backward with the grid that stands in for its matrices.
bool NeedsAssistGrid(const NcLibWarp& warp);

/// Add a stabilization, output to input, backward: its grid, then its single matrix or the grid
/// that stands in for more.
///
/// @param assist_name what the caller knows `assistGrid` by.
/// @return NC_LIB_INVALID_INPUT if that grid is needed and missing.
int32_t AddStabilizationBackward(const NcLibWarpBuildAssistGridOut& stabilization,
                                 const char* assist_name, StageChain& chain);

/// What the log calls the members of a record whose field is `in->frameWarps`.
inline constexpr char kCurrAssistGrid[] = "in->frameWarps.currStabilization->assistGrid";
inline constexpr char kPrevAssistGrid[] = "in->frameWarps.prevStabilization->assistGrid";

}  // namespace nclib
