// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/resample.hpp"

#include <cstddef>

#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/nclib_log.hpp"

namespace {

bool Exceeds(const NcLibROI& window) {
    return window.offset.x + window.size.x > 1.0f || window.offset.y + window.size.y > 1.0f;
}

int32_t CheckWindow(const NcLibROI& window, const char* name) {
    NC_LIB_REQUIRE(nclib::HasNoNegative(window), NC_LIB_INVALID_INPUT, "Invalid %s zoom window",
                   name);
    NC_LIB_REQUIRE(!Exceeds(window), NC_LIB_INVALID_INPUT, "%s exceeds the grid", name);
    return NC_LIB_SUCCESS;
}

int32_t CheckResampling(const NcLibIcaGrid* in, const NcLibROI* undistorted, const NcLibROI* ife,
                        const NcLibIcaGrid* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    NC_LIB_REQUIRE_NOT_NULL(ife, "ifeZoomWindow");
    NC_LIB_REQUIRE_NOT_NULL(undistorted, "undistortedIfeZoomWindow");
    int32_t status = CheckWindow(*undistorted, "undistortedIfeZoomWindow");
    if (status == NC_LIB_SUCCESS) {
        status = CheckWindow(*ife, "ifeZoomWindow");
    }
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    NC_LIB_REQUIRE(nclib::IsVirtualSize(in->transformDefinedOn), NC_LIB_INVALID_INPUT,
                   "Grid is not in virtual domain");
    NC_LIB_REQUIRE(in != out, NC_LIB_INVALID_INPUT,
                   "The function cannot run inplace, in grid must be different from out grid");
    return NC_LIB_SUCCESS;
}

// Put the nodes of a grid where they stand on a window of the frame. Positions are summed up step
// by step, in single precision.
void PlaceNodes(const NcLibROI& window, NcLibWarpGrid& grid) {
    const bool has_ring = grid.extrapolateType == EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    const uint32_t ends = has_ring ? 3 : 1;
    const float step_x =
        window.size.x * nclib::kVirtualWidth / static_cast<float>(grid.numColumns - ends);
    const float step_y =
        window.size.y * nclib::kVirtualHeight / static_cast<float>(grid.numRows - ends);
    float left = window.offset.x * nclib::kVirtualWidth - nclib::kVirtualHalfWidth;
    float y = window.offset.y * nclib::kVirtualHeight - nclib::kVirtualHalfHeight;
    if (has_ring) {
        left -= step_x;
        y -= step_y;
    }
    NcLibWarpGridCoord* node = grid.grid;
    for (uint32_t row = 0; row < grid.numRows; ++row, y += step_y) {
        float x = left;
        for (uint32_t column = 0; column < grid.numColumns; ++column, x += step_x) {
            *node++ = {x, y};
        }
    }
}

void RescaleIntoWindow(const NcLibROI& window, NcLibWarpGrid& grid) {
    const float per_width = 1.0f / window.size.x;
    const float per_height = 1.0f / window.size.y;
    const float shift_x =
        (window.offset.x * nclib::kVirtualWidth - nclib::kVirtualHalfWidth) * per_width +
        nclib::kVirtualHalfWidth;
    const float shift_y =
        (window.offset.y * nclib::kVirtualHeight - nclib::kVirtualHalfHeight) * per_height +
        nclib::kVirtualHalfHeight;
    for (size_t i = 0; i < size_t{grid.numRows} * grid.numColumns; ++i) {
        grid.grid[i] = {grid.grid[i].x * per_width - shift_x,
                        grid.grid[i].y * per_height - shift_y};
    }
}

}  // namespace

namespace nclib {

NcLibROI ToFractions(const NcLibZoomWindow& window) {
    const float width = static_cast<float>(window.fullWidth);
    const float height = static_cast<float>(window.fullHeight);
    return {{static_cast<float>(window.x) / width, static_cast<float>(window.y) / height},
            {static_cast<float>(window.width) / width, static_cast<float>(window.height) / height}};
}

bool HasNoNegative(const NcLibROI& window) {
    return window.offset.x >= 0.0f && window.offset.y >= 0.0f && window.size.x >= 0.0f &&
           window.size.y >= 0.0f;
}

bool HasFullSize(const NcLibZoomWindow& window) {
    NC_LIB_REQUIRE(window.fullWidth != 0 && window.fullHeight != 0, false,
                   "Invalid zoom window full size %u, %u", window.fullWidth, window.fullHeight);
    return true;
}

}  // namespace nclib

int32_t NcLibResampleGridFloat(const NcLibIcaGrid* in, const NcLibROI* undistortedIfeZoomWindow,
                               const NcLibROI* ifeZoomWindow, NcLibIcaGrid* out) {
    const int32_t checked = CheckResampling(in, undistortedIfeZoomWindow, ifeZoomWindow, out);
    if (checked != NC_LIB_SUCCESS) {
        return checked;
    }
    NcLibWarpGrid from;
    NC_LIB_REQUIRE(nclib::ViewIcaGrid(*in, from), NC_LIB_INVALID_INPUT,
                   "NcLibIcaGridToWarpGridRef failed");
    NcLibWarpGrid to = from;
    to.grid = out->grid;
    to.gridExtrapolate = out->gridExtrapolate;
    PlaceNodes(*undistortedIfeZoomWindow, to);
    const NcLibInternalWarpTopology stage = {&from, nullptr, REGULAR};
    const int32_t status = NcLibInternalApplyTopologyOnPoints(
        &stage, 1, to.grid, to.numRows * to.numColumns, true, to.grid);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Grid warp points failed");
    RescaleIntoWindow(*ifeZoomWindow, to);
    if (to.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS) {
        NcLibCalcExtrapolationPointsInternal(&to);
    }
    NC_LIB_REQUIRE(NcLibWarpGridToIcaGridMeta(&to, out), NC_LIB_GENERAL_ERROR,
                   "NcLibInternalApplyTopologyOnPoints - Unsupported output grid");
    return NC_LIB_SUCCESS;
}

int32_t NcLibResampleGrid(const NcLibIcaGrid* in, const NcLibZoomWindow* undistortedIfeZoomWindow,
                          const NcLibZoomWindow* ifeZoomWindow, NcLibIcaGrid* out) {
    NC_LIB_REQUIRE_NOT_NULL(ifeZoomWindow, "ifeZoomWindow");
    NC_LIB_REQUIRE_NOT_NULL(undistortedIfeZoomWindow, "undistortedIfeZoomWindow");
    if (!nclib::HasFullSize(*undistortedIfeZoomWindow) || !nclib::HasFullSize(*ifeZoomWindow)) {
        return NC_LIB_INVALID_INPUT;
    }
    const NcLibROI undistorted = nclib::ToFractions(*undistortedIfeZoomWindow);
    const NcLibROI ife = nclib::ToFractions(*ifeZoomWindow);
    return NcLibResampleGridFloat(in, &undistorted, &ife, out);
}
