// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"

#include <algorithm>

#include "nclib/Logic/WarpAdjust/grid_geometry.hpp"
#include "nclib/nclib_log.hpp"

namespace {

constexpr uint32_t kMaxMatrices = 9;

}  // namespace

void memcpyGrid(NcLibWarpGrid* out, const NcLibWarpGrid* in) {
    if (out == in) {
        return;
    }
    NcLibWarpGridCoord* const nodes = out->grid;
    NcLibWarpGridCoord* const corners = out->gridExtrapolate;
    *out = *in;
    out->grid = nodes;
    out->gridExtrapolate = corners;
    if (in->enable) {
        std::copy_n(in->grid, size_t{in->numRows} * in->numColumns, out->grid);
    }
    if (in->extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        NC_LIB_ASSERT(out->gridExtrapolate);
        NC_LIB_ASSERT(in->gridExtrapolate);
        std::copy_n(in->gridExtrapolate, 4, out->gridExtrapolate);
    }
}

void memcpyMatrices(NcLibWarpMatrices* out, const NcLibWarpMatrices* in) {
    if (out == in) {
        return;
    }
    if (!in->enable) {
        out->enable = false;
        return;
    }
    NcLibPerspTransformSingle* const matrices = out->perspMatrices;
    *out = *in;
    out->perspMatrices = matrices;
    std::copy_n(in->perspMatrices, size_t{in->numRows} * in->numColumns, out->perspMatrices);
}

void memcpyWarp(NcLibWarp* out, const NcLibWarp* in) {
    out->direction = in->direction;
    memcpyMatrices(&out->matrices, &in->matrices);
    memcpyGrid(&out->grid, &in->grid);
}

bool NcLibIcaGridToWarpGridRef(const NcLibIcaGrid& icaGrid, NcLibWarpGrid& warpGrid,
                               bool ignoreErrors) {
    warpGrid.enable = icaGrid.enable != 0;
    warpGrid.transformDefinedOn = icaGrid.transformDefinedOn;
    // The view is written through only where the caller owns the record it looks at.
    warpGrid.grid = const_cast<NcLibWarpGridCoord*>(icaGrid.grid);
    warpGrid.gridExtrapolate = const_cast<NcLibWarpGridCoord*>(icaGrid.gridExtrapolate);
    if (icaGrid.geometry >= nclib::kGeometryCount) {
        return true;
    }
    const nclib::GridGeometry& geometry = nclib::kGridGeometries[icaGrid.geometry];
    warpGrid.numRows = geometry.num_rows;
    warpGrid.numColumns = geometry.num_columns;
    if (geometry.has_ring) {
        NC_LIB_ASSERT(ignoreErrors || !icaGrid.extrapolatedCorners);
        warpGrid.extrapolateType = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    } else {
        warpGrid.extrapolateType = icaGrid.extrapolatedCorners != 0
                                       ? EXTRAPOLATION_TYPE_FOUR_CORNERS
                                       : EXTRAPOLATION_TYPE_NONE;
    }
    return true;
}

bool NcLibWarpGridToIcaGridMeta(const NcLibWarpGrid* warpGrid, NcLibIcaGrid* icaGrid) {
    icaGrid->enable = warpGrid->enable ? 1 : 0;
    icaGrid->transformDefinedOn = warpGrid->transformDefinedOn;
    for (uint32_t code = 0; code < nclib::kGeometryCount; ++code) {
        if (warpGrid->numRows == nclib::kGridGeometries[code].num_rows &&
            warpGrid->numColumns == nclib::kGridGeometries[code].num_columns) {
            icaGrid->geometry = code;
        }
    }
    icaGrid->extrapolatedCorners =
        warpGrid->extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS ? 1 : 0;
    return true;
}

bool NcLibWarpGridToIcaGrid(const NcLibWarpGrid* warpGrid, NcLibIcaGrid* icaGrid) {
    NcLibWarpGridToIcaGridMeta(warpGrid, icaGrid);
    const size_t count = size_t{warpGrid->numRows} * warpGrid->numColumns;
    if (warpGrid->grid != nullptr && count != 0) {
        NC_LIB_ASSERT_TEXT(count <= NC_LIB_ICA_GRID_MAX_POINTS,
                           "numRows * numColumns <= NC_LIB_ICA_GRID_MAX_POINTS");
        std::copy_n(warpGrid->grid, count, icaGrid->grid);
    }
    if (warpGrid->gridExtrapolate != nullptr) {
        std::copy_n(warpGrid->gridExtrapolate, 4, icaGrid->gridExtrapolate);
    }
    return true;
}

bool NcLibIcaMatricesToWarpMatrices(const NcLibIcaMatrices* icaMatrices,
                                    NcLibWarpMatrices* warpMatrices) {
    warpMatrices->enable = icaMatrices->enable != 0;
    warpMatrices->numRows = icaMatrices->numRows;
    warpMatrices->numColumns = icaMatrices->numColumns;
    warpMatrices->confidence = icaMatrices->confidence;
    warpMatrices->transformDefinedOn = icaMatrices->transformDefinedOn;
    warpMatrices->centerType = CENTERED;
    const uint64_t count = uint64_t{icaMatrices->numRows} * icaMatrices->numColumns;
    NC_LIB_ASSERT_TEXT(count <= kMaxMatrices, "numRows * numColumns <= 9");
    std::copy_n(icaMatrices->T, count, warpMatrices->perspMatrices);
    return true;
}
