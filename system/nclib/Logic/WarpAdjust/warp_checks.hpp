// SPDX-License-Identifier: Apache-2.0
/// @file warp_checks.hpp
/// What every public entry of the warp library runs on the records that it is given.
///
/// The checks log nothing; the caller knows what the record was for. They look at the header of a
/// record and never at its points or matrices. The record itself must not be NULL.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Tell whether a grid can be used: sizes and array present, four corners present where claimed.
/// @return NC_LIB_SUCCESS or NC_LIB_INVALID_INPUT.
int32_t checkInputNcLibWarpGrid(const NcLibWarpGrid* grid);

/// Tell whether matrices can be used: sizes and array present, known `centerType`, `confidence` at
/// most 256. The size of the array is a precondition of what uses it, not tested here.
int32_t checkInputNcLibWarpMatrices(const NcLibWarpMatrices* matrices);

/// As checkInputNcLibWarpGrid(), and the grid must be defined on the virtual domain.
int32_t checkVirtualNcLibWarpGrid(const NcLibWarpGrid* grid);

/// As checkInputNcLibWarpMatrices(), and the matrices must be centred on the virtual domain.
int32_t checkVirtualNcLibWarpMatrices(const NcLibWarpMatrices* matrices);

/// Tell whether the chip at hand takes a grid of this size; ends the process if none was chosen.
bool NcLibIsGridSizeWarpSupported(uint32_t numRows, uint32_t numColumns);

namespace nclib {

/// Tell whether matrices are an array of one. Enabled or not plays no role.
constexpr bool IsSingleMatrix(const NcLibWarpMatrices& matrices) {
    return matrices.numRows == 1 && matrices.numColumns == 1;
}

}  // namespace nclib
