// SPDX-License-Identifier: Apache-2.0
/// @file pack.hpp
/// Warp records in the number formats of the warp hardware; nclib_ica.h describes them.
#pragma once

#include <cstdint>

#include "steadywarp/nclib_ica.h"

/// Give mantissa and exponent of a value: value = mantissa * 2^(exponent - m) to within half a step
/// of the mantissa, with m = 15 or 17.
///
/// Values from 2^31 on saturate, with a line in the log; below 2^-33, and for what is no number,
/// both are 0.
void ICA_CalcMantissaExp(float value, uint32_t icaVersion, int32_t* mantissa, int32_t* exponent);

/// Pack the nodes of a grid as fixed-point virtual coordinates, rounded and held in range.
///
/// @param inGrid nothing happens if it is disabled. Preconditions: a size that the version takes, a
///        ring on any version but 10, a size of its domain above zero.
/// @param gridX,gridY room for the nodes; on version 10 for four corners more, which are computed
///        if the grid has none.
/// @param isHighResolution receives 1 for 51 rows of 67 columns on versions 30 and 40, else 0; may
///        be NULL.
int32_t NcLibIcaPackGrid(const NcLibWarpGrid* inGrid, int32_t* gridX, int32_t* gridY,
                         uint32_t* isHighResolution, uint32_t icaVersion);

/// Pack matrices, brought to the virtual domain and divided by their last element, as eight
/// mantissas and exponents each.
///
/// @param persp nothing happens if it is disabled. Preconditions: not NULL, at most nine matrices,
///        more than one only CENTERED, a domain above zero, last elements that are not 0.
int32_t NcLibIcaPackMatrices(const NcLibWarpMatrices* persp, int32_t* CTC_PERSPECTIVE_PARAMS_M,
                             int32_t* CTC_PERSPECTIVE_PARAMS_E, uint32_t icaVersion);

namespace nclib {

/// Bits of a mantissa without its sign.
constexpr int MantissaBits(uint32_t icaVersion) {
    return icaVersion == 30 || icaVersion == 40 ? 17 : 15;
}

/// Whether the version takes grids of four fractional bits.
constexpr bool HasFineFormat(uint32_t icaVersion) {
    return icaVersion == 30 || icaVersion == 40;
}

/// A value as one word: the exponent's low six bits above the mantissa.
uint32_t PackedWord(float value, uint32_t icaVersion);

}  // namespace nclib
