// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/Process_ICA/pack.hpp"

#include <algorithm>
#include <cmath>

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"

namespace {

constexpr int32_t kMaxExponent = 31;
constexpr int32_t kMinExponent = -32;
constexpr float kLn2 = 0.6931472f;
constexpr uint32_t kCornerlessVersion = 10;

// How a virtual coordinate is written.
struct GridFormat {
    float scale;
    int32_t lowest, highest;

    explicit GridFormat(uint32_t icaVersion)
        : scale(nclib::HasFineFormat(icaVersion) ? 16.0f : 8.0f),
          lowest(nclib::HasFineFormat(icaVersion) ? -0x20000 : -0x10000),
          highest(-lowest - 1) {}

    int32_t Hold(int32_t steps) const { return std::clamp(steps, lowest, highest); }
    // Rounded to the nearest step; `to_virtual` brings the coordinate to the virtual domain.
    int32_t Pack(float coordinate, float to_virtual) const {
        const float steps = std::floor(scale * to_virtual * coordinate + 0.5f);
        return Hold(nclib::TruncateToInt32(static_cast<double>(steps)));
    }
};

// Exponent of a value, one too high or too low next to a power of two.
int32_t ExponentOf(float value) {
    return nclib::TruncateToInt32(
        static_cast<double>(std::floor(std::log(std::fabs(value)) / kLn2 + 1.0f)));
}

int32_t Saturated(float value, int32_t limit) {
    return value < 0.0f ? -(limit - 1) : limit - 1;
}

// The corners of a packed grid of 25 rows by 33 columns, continued from the 2x2 nodes there.
void PackComputedCorners(const NcLibWarpGrid& grid, const GridFormat& format, int32_t* packed) {
    const uint32_t columns = grid.numColumns;
    const uint32_t nodes = grid.numRows * columns;
    for (uint32_t corner = 0; corner < 4; ++corner) {
        const bool is_bottom = corner / 2 != 0;
        const bool is_right = corner % 2 != 0;
        const int32_t* a =
            packed + (is_bottom ? nodes - columns : 0) + (is_right ? columns - 1 : 0);
        const int32_t along = is_right ? -1 : 1;
        const int32_t inward = static_cast<int32_t>(columns) * (is_bottom ? -1 : 1);
        const int32_t b = a[along];
        const int32_t c = a[inward];
        const int32_t d = a[along + inward];
        packed[nodes + corner] = format.Hold(2 * (2 * *a - b - c) + d);
    }
}

void PackCorners(const NcLibWarpGrid* inGrid, const GridFormat& format, float to_virtual_x,
                 float to_virtual_y, int32_t* gridX, int32_t* gridY) {
    if (inGrid->extrapolateType != EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        PackComputedCorners(*inGrid, format, gridX);
        PackComputedCorners(*inGrid, format, gridY);
        return;
    }
    NC_LIB_ASSERT(NULL != inGrid->gridExtrapolate);
    const uint32_t nodes = inGrid->numRows * inGrid->numColumns;
    for (uint32_t i = 0; i < 4; ++i) {
        gridX[nodes + i] = format.Pack(inGrid->gridExtrapolate[i].x, to_virtual_x);
        gridY[nodes + i] = format.Pack(inGrid->gridExtrapolate[i].y, to_virtual_y);
    }
}

void AssertPackable(const NcLibWarpMatrices* persp) {
    NC_LIB_ASSERT(persp->numColumns >= 1);
    NC_LIB_ASSERT(persp->numColumns <= 9);
    NC_LIB_ASSERT(persp->numRows >= 1);
    NC_LIB_ASSERT(persp->numRows <= 9);
    NC_LIB_ASSERT(persp->numColumns * persp->numRows <= 9);
    NC_LIB_ASSERT(persp->transformDefinedOn.widthPixels > 0);
    NC_LIB_ASSERT(persp->transformDefinedOn.heightLines > 0);
    NC_LIB_ASSERT(((persp->numRows * persp->numColumns) == 1) || (CENTERED == persp->centerType));
}

}  // namespace

void ICA_CalcMantissaExp(float value, uint32_t icaVersion, int32_t* mantissa, int32_t* exponent) {
    const int mantissaBitDepthMinus1 = nclib::MantissaBits(icaVersion);
    const int32_t limit = 1 << mantissaBitDepthMinus1;
    int32_t e = ExponentOf(value);
    // Neither end needs a mantissa; rounding can lift an exponent by one, not more.
    if (std::isnan(value) || e < kMinExponent - 1) {
        *mantissa = 0;
        *exponent = 0;
        return;
    }
    int32_t m = Saturated(value, limit);
    if (e <= kMaxExponent) {
        const float scale = std::ldexp(1.0f, mantissaBitDepthMinus1 - e);
        m = nclib::TruncateToInt32(static_cast<double>(std::floor(std::fma(value, scale, 0.5f))));
        NC_LIB_ASSERT(m >= -(1 << mantissaBitDepthMinus1) && m <= (1 << mantissaBitDepthMinus1));
        if (m == limit || m == -limit) {
            m >>= 1;
            ++e;
        }
    }
    if (e > kMaxExponent) {
        NC_LIB_ERROR("Exponent %d is greater than 31, value %f", e, static_cast<double>(value));
        e = kMaxExponent;
        m = Saturated(value, limit);
    } else if (e < kMinExponent) {
        m = 0;
        e = 0;
    }
    *mantissa = m;
    *exponent = e;
}

int32_t NcLibIcaPackGrid(const NcLibWarpGrid* inGrid, int32_t* gridX, int32_t* gridY,
                         uint32_t* isHighResolution, uint32_t icaVersion) {
    NC_LIB_REQUIRE_NOT_NULL(inGrid, "inGrid");
    if (!inGrid->enable) {
        return NC_LIB_SUCCESS;
    }
    NC_LIB_REQUIRE_NOT_NULL(inGrid->grid, "inGrid->grid");
    NC_LIB_ASSERT(NcLibIsGridSizeMatchesIcaHw(inGrid->numRows, inGrid->numColumns, icaVersion));
    if (icaVersion != kCornerlessVersion) {
        NC_LIB_ASSERT(EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER == inGrid->extrapolateType);
    }
    NC_LIB_ASSERT(inGrid->transformDefinedOn.heightLines > 0);
    NC_LIB_ASSERT(inGrid->transformDefinedOn.widthPixels > 0);
    const GridFormat format(icaVersion);
    const float to_virtual_x =
        nclib::kVirtualWidth / static_cast<float>(inGrid->transformDefinedOn.widthPixels);
    const float to_virtual_y =
        nclib::kVirtualHeight / static_cast<float>(inGrid->transformDefinedOn.heightLines);
    const uint32_t nodes = inGrid->numRows * inGrid->numColumns;
    for (uint32_t i = 0; i < nodes; ++i) {
        gridX[i] = format.Pack(inGrid->grid[i].x, to_virtual_x);
        gridY[i] = format.Pack(inGrid->grid[i].y, to_virtual_y);
    }
    if (icaVersion == kCornerlessVersion) {
        PackCorners(inGrid, format, to_virtual_x, to_virtual_y, gridX, gridY);
    }
    if (isHighResolution != nullptr) {
        *isHighResolution = nclib::HasFineFormat(icaVersion) &&
                                    inGrid->numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT
                                ? 1
                                : 0;
    }
    return NC_LIB_SUCCESS;
}

int32_t NcLibIcaPackMatrices(const NcLibWarpMatrices* persp, int32_t* CTC_PERSPECTIVE_PARAMS_M,
                             int32_t* CTC_PERSPECTIVE_PARAMS_E, uint32_t icaVersion) {
    NC_LIB_ASSERT(NULL != persp);
    if (!persp->enable) {
        return NC_LIB_SUCCESS;
    }
    NC_LIB_REQUIRE_NOT_NULL(persp->perspMatrices, "persp->perspMatrices");
    NC_LIB_REQUIRE_NOT_NULL(CTC_PERSPECTIVE_PARAMS_M, "CTC_PERSPECTIVE_PARAMS_M");
    NC_LIB_REQUIRE_NOT_NULL(CTC_PERSPECTIVE_PARAMS_E, "CTC_PERSPECTIVE_PARAMS_E");
    AssertPackable(persp);
    const float sx =
        nclib::kVirtualWidth / static_cast<float>(persp->transformDefinedOn.widthPixels);
    const float sy =
        nclib::kVirtualHeight / static_cast<float>(persp->transformDefinedOn.heightLines);
    for (uint32_t i = 0; i < persp->numRows * persp->numColumns; ++i) {
        const float* T = persp->perspMatrices[i].T;
        const float P9 = T[8];
        NC_LIB_ASSERT(P9 != 0.0f);
        // S T S^-1 with S = diag(sx, sy, 1).
        const float coefficients[ICA_PERSPECTIVE_COEFFICIENTS] = {T[0] / P9,
                                                                  T[1] * (1.0f / sy) * sx / P9,
                                                                  T[2] * sx / P9,
                                                                  T[3] * (1.0f / sx) * sy / P9,
                                                                  T[4] / P9,
                                                                  T[5] * sy / P9,
                                                                  T[6] * (1.0f / sx) / P9,
                                                                  T[7] * (1.0f / sy) / P9};
        for (const float coefficient : coefficients) {
            ICA_CalcMantissaExp(coefficient, icaVersion, CTC_PERSPECTIVE_PARAMS_M++,
                                CTC_PERSPECTIVE_PARAMS_E++);
        }
    }
    return NC_LIB_SUCCESS;
}

namespace nclib {

uint32_t PackedWord(float value, uint32_t icaVersion) {
    int32_t mantissa;
    int32_t exponent;
    ICA_CalcMantissaExp(value, icaVersion, &mantissa, &exponent);
    const int bits = MantissaBits(icaVersion) + 1;
    const uint32_t mantissa_mask = (1u << bits) - 1;
    return (static_cast<uint32_t>(exponent) & 0x3F) << bits |
           (static_cast<uint32_t>(mantissa) & mantissa_mask);
}

}  // namespace nclib
