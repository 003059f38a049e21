// SPDX-License-Identifier: Apache-2.0
/// @file mctf.hpp
/// The parts of NcLibCalcMctfTransform().
#pragma once

#include "nclib/Logic/WarpAdjust/stage_chain.hpp"
#include "steadywarp/nclib_temporal.h"

/// Tell whether at most one stage of a chain does anything. A stage without any record is a failed
/// assertion.
bool isMctfTopologyTrivial(const NcLibInternalWarpTopology* topology, uint32_t numStages);

namespace nclib {

/// Width and height of the output's field of view, virtual units.
struct VirtualSpan {
    float width;
    float height;
};

/// Everything that NcLibCalcMctfTransform() refuses or ends the process for, whatever the result.
int32_t CheckMctf(const NcLibCalcMctfIn* in, const NcLibWarp* out);

/// Lay a grid over the field of view and carry it from the distorted current frame into the
/// distorted previous one. The alignment is stabilized, distortion grids are enabled.
int32_t CalcMctfGrid(const NcLibCalcMctfIn* in, const VirtualSpan& span, NcLibWarp* out);

/// Fit a matrix to a chain over 18 points of the field of view, and write it as CalcMctfMatrix()
/// does.
///
/// @return NC_LIB_MCTF_NO_ALIGNMENT, with the identity, if the points determine no matrix.
int32_t FitMctfMatrix(const StageChain& chain, const VirtualSpan& span, uint32_t confidence,
                      NcLibWarp* out);

/// Write the header of a matrix result; the matrix itself is in place.
void WriteMctfMatrixHeader(uint32_t confidence, NcLibWarp* out);

}  // namespace nclib
