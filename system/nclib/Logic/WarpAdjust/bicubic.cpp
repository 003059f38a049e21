// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/bicubic.hpp"

#include <algorithm>

void getCoefsFromLut(uint32_t index, float* coefs) {
    NC_LIB_ASSERT_TEXT(index <= nclib::kCoefSteps, "index <= 128");
    std::copy_n(nclib::kCoefLut[index].data(), 3, coefs);
}

void getInterpolatedCoefs(uint32_t fraction, int bits, float* coefs) {
    const nclib::Coefs interpolated = nclib::InterpolatedCoefs(fraction, bits);
    std::copy_n(interpolated.data(), 3, coefs);
}

void bicubicInterpolation(const NcLibWarpGridCoord (*nodes)[4], uint32_t fractionX,
                          uint32_t fractionY, int bits, NcLibWarpGridCoord* result) {
    *result = nclib::InterpolateRows({nodes[0], nodes[1], nodes[2], nodes[3]},
                                     nclib::InterpolatedCoefs(fractionX, bits),
                                     nclib::InterpolatedCoefs(fractionY, bits));
}
