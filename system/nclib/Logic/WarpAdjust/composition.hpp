// SPDX-License-Identifier: Apache-2.0
/// @file composition.hpp
/// Warps made of warps, and matrices turned into grids. Everything is virtual, centred.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Sample matrices at the node positions of a grid.
///
/// @param in centred matrices; another `centerType` is a failed assertion.
/// @param numColumns,numRows above 1; that is an assertion.
/// @param fine for a ring grid, whether its spacing is 128 units; it is 256 otherwise.
/// @param out has room for the nodes; its header is set, its pointers stay.
void NcLibInternalResamplePerspectiveToGrid(const NcLibWarpMatrices* in, uint32_t numColumns,
                                            uint32_t numRows, NcLibWarpGridExtrapolationType type,
                                            bool fine, NcLibWarpGrid* out);

/// Build a grid that stands in for a warp's matrices, and copy the warp if asked to.
///
/// @param in the enabled parts of its warp must be usable and its direction OUT_2_IN; those are
///        assertions, as far as the matrices are enabled.
/// @param out `assistGrid` has room for the nodes and is disabled when the warp has no matrices;
///        `inputWarp` may be NULL.
/// @return NC_LIB_INVALID_INPUT for a NULL argument or less than two columns or rows.
int32_t NcLibWarpBuildAssistGrid(const NcLibWarpBuildAssistGridIn* in,
                                 NcLibWarpBuildAssistGridOut* out);

namespace nclib {

/// What both compositions refuse: NULL warps, and enabled parts that are unusable or not virtual.
int32_t CheckComposition(const NcLibWarp* firstWarp, const NcLibWarp* secondWarp,
                         const NcLibWarp* output);

}  // namespace nclib
