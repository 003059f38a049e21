// SPDX-License-Identifier: Apache-2.0
/// @file translate_faces.hpp
/// The steps of NcLibTranslateFdDomains().
#pragma once

#include "nclib/Logic/WarpAdjust/stage_chain.hpp"
#include "steadywarp/nclib_geometries.h"

/// Make the stages of a warp taken forward: matrices, then grid, as far as they are enabled. A warp
/// that is not OUT_2_IN is a failed assertion.
void warpToRegTopology(const NcLibWarp* warp, nclib::StageChain& topology);

/// Carry a point in pixels of `from_size` through virtual stages into pixels of `to_size`. A point
/// outside its image is only scaled.
/// @return the status of the chain.
int32_t translateCoord(NcLibWarpGridCoord& point, const NcLibImageSize& from_size,
                       const NcLibImageSize& to_size, const nclib::StageChain& topology);
