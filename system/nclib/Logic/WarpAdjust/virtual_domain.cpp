// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"

#include <cstddef>

#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/nclib_log.hpp"

namespace {

void ConvertMatrices(const NcLibWarpMatrices& in, NcLibWarpMatrices& out) {
    NC_LIB_ASSERT((in.numColumns >= 1) && (in.numColumns <= 9));
    NC_LIB_ASSERT((in.numRows >= 1) && (in.numRows <= 9));
    NC_LIB_ASSERT(in.numColumns * in.numRows <= 9);
    out.enable = true;
    if (nclib::IsVirtualSize(in.transformDefinedOn)) {
        memcpyMatrices(&out, &in);
        return;
    }
    // The confidence stays what the output record held.
    out.centerType = in.centerType;
    out.numRows = in.numRows;
    out.numColumns = in.numColumns;
    const NcLibImageSize from = in.transformDefinedOn;
    for (uint32_t i = 0; i < in.numRows * in.numColumns; ++i) {
        convertMatrixCoordinates(&in.perspMatrices[i], from, nclib::kVirtualSize,
                                 &out.perspMatrices[i]);
    }
    out.transformDefinedOn = nclib::kVirtualSize;
}

void ScalePoints(const NcLibWarpGridCoord* in, size_t count, const NcLibImageSize& from,
                 NcLibWarpGridCoord* out) {
    const float width = static_cast<float>(from.widthPixels);
    const float height = static_cast<float>(from.heightLines);
    for (size_t i = 0; i < count; ++i) {
        out[i] = {in[i].x * nclib::kVirtualWidth / width, in[i].y * nclib::kVirtualHeight / height};
    }
}

void ConvertGrid(const NcLibWarpGrid& in, NcLibWarpGrid& out) {
    NC_LIB_ASSERT_TEXT(NcLibIsGridSizeWarpSupported(in.numRows, in.numColumns),
                       "NcLibIsGridSizeWarpSupported(in->grid.numRows, in->grid.numColumns)");
    NC_LIB_ASSERT_TEXT(in.extrapolateType < EXTRAPOLATION_TYPE_MAX_VAL,
                       "in->grid.extrapolateType < EXTRAPOLATION_TYPE_MAX_VAL");
    out.enable = true;
    if (nclib::IsVirtualSize(in.transformDefinedOn)) {
        memcpyGrid(&out, &in);
        return;
    }
    out.numRows = in.numRows;
    out.numColumns = in.numColumns;
    out.extrapolateType = in.extrapolateType;
    const NcLibImageSize from = in.transformDefinedOn;
    ScalePoints(in.grid, size_t{in.numRows} * in.numColumns, from, out.grid);
    if (in.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        NC_LIB_ASSERT_TEXT(out.gridExtrapolate != nullptr, "out->gridExtrapolate");
        ScalePoints(in.gridExtrapolate, 4, from, out.gridExtrapolate);
    }
    out.transformDefinedOn = nclib::kVirtualSize;
}

int32_t CheckConversion(const NcLibWarp* in, const NcLibWarp* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    NC_LIB_REQUIRE(in->direction <= IN_2_OUT, NC_LIB_INVALID_INPUT, "Invalid input direction: %d",
                   static_cast<int>(in->direction));
    if (in->matrices.enable) {
        NC_LIB_REQUIRE(checkInputNcLibWarpMatrices(&in->matrices) == NC_LIB_SUCCESS,
                       NC_LIB_INVALID_INPUT, "Invalid matrices input");
    }
    if (in->grid.enable) {
        NC_LIB_REQUIRE(checkInputNcLibWarpGrid(&in->grid) == NC_LIB_SUCCESS, NC_LIB_INVALID_INPUT,
                       "Invalid grid input");
    }
    NC_LIB_REQUIRE(!in->matrices.enable || out->matrices.perspMatrices != nullptr,
                   NC_LIB_INVALID_INPUT,
                   "wrong settings, in->matrices.enable = true, but out->matrices.perspMatrices "
                   "is NULL");
    NC_LIB_REQUIRE(!in->grid.enable || out->grid.grid != nullptr, NC_LIB_INVALID_INPUT,
                   "wrong settings, in->grid.enable = true, but out->grid.grid is NULL");
    return NC_LIB_SUCCESS;
}

}  // namespace

int32_t NcLibWarpConvertToVirtualDomain(const NcLibWarp* in, NcLibWarp* out) {
    const int32_t status = CheckConversion(in, out);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    NcLibWarpDebugPrintNcLibWarp(in, "ToVirtualInput.txt");
    out->direction = in->direction;
    if (in->matrices.enable) {
        ConvertMatrices(in->matrices, out->matrices);
    } else {
        out->matrices.enable = false;
    }
    if (in->grid.enable) {
        ConvertGrid(in->grid, out->grid);
    } else {
        out->grid.enable = false;
    }
    NcLibWarpDebugPrintNcLibWarp(out, "ToVirtualOutput.txt");
    return NC_LIB_SUCCESS;
}

void convertVirtualToPixel(const NcLibWarpGridCoord* virtual_point,
                           const NcLibImageSize* transformDefinedOn,
                           NcLibWarpGridCoord* pixel_point) {
    NC_LIB_ASSERT((transformDefinedOn->widthPixels > 0) && (transformDefinedOn->heightLines > 0));
    const float width = static_cast<float>(transformDefinedOn->widthPixels);
    const float height = static_cast<float>(transformDefinedOn->heightLines);
    *pixel_point = {
        (virtual_point->x + nclib::kVirtualHalfWidth) * width / nclib::kVirtualWidth,
        (virtual_point->y + nclib::kVirtualHalfHeight) * height / nclib::kVirtualHeight};
}

void convertMatrixCoordinates(const NcLibPerspTransformSingle* in, NcLibImageSize from,
                              NcLibImageSize to, NcLibPerspTransformSingle* out) {
    NC_LIB_ASSERT(in->T[8] != 0.0f);
    const double sx = static_cast<double>(to.widthPixels) / from.widthPixels;
    const double sy = static_cast<double>(to.heightLines) / from.heightLines;
    const double per_sx = 1.0 / sx;
    const double per_sy = 1.0 / sy;
    const auto scaled = [in](int i, double by) {
        return static_cast<float>(static_cast<double>(in->T[i]) * by);
    };
    const auto scaled_twice = [in](int i, double by, double then_by) {
        return static_cast<float>(static_cast<double>(in->T[i]) * by * then_by);
    };
    *out = {{in->T[0], scaled_twice(1, per_sy, sx), scaled(2, sx), scaled_twice(3, per_sx, sy),
             in->T[4], scaled(5, sy), scaled(6, per_sx), scaled(7, per_sy), in->T[8]}};
}
