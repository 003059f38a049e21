// SPDX-License-Identifier: Apache-2.0
/// @file breach_guard.hpp
/// Guards against a warp that reads outside the frame, by probes along the outline of a crop.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Try to keep a virtual ring grid inside the frame with one reach of the dilution.
///
/// @param margin share of the frame outside the crop, on both sides together.
/// @param reach how many margins, from the edge inward, the dilution fades over.
/// @param dilution receives the share kept at the edge; not NULL.
/// @return true if no probe is outside, before or after a dilution; the grid is rewritten only in
///         the second case. Precondition: a size that the chip takes.
bool NcLibWarpVerifyGrid_NoBreachInternal(NcLibWarpGrid* grid, float margin, int32_t reach,
                                          float* dilution);
