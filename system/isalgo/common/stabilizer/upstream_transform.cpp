// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/upstream_transform.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/eis_log.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "steadywarp/eis.h"
#include "steadywarp/nclib_chip.hpp"

namespace steadywarp {
namespace {

// The image processor whose grids the stabilizer reads.
constexpr uint32_t kChipVersion = 0x50800;
constexpr uint32_t kHardwareVersion = 10;

constexpr float kHalfWidth = VIRTUAL_DOMAIN_WIDTH / 2.0f;
constexpr float kHalfHeight = VIRTUAL_DOMAIN_HEIGHT / 2.0f;

using VirtualPoints = std::array<NcLibWarpGridCoord, kBorderPoints>;

// Clockwise from the top left in steps of a quarter side.
VirtualPoints virtual_border() {
    constexpr uint32_t kSteps = kBorderPoints / 4;
    VirtualPoints border;
    for (uint32_t i = 0; i < kSteps; ++i) {
        const float part = static_cast<float>(i) / kSteps;
        const float x = 2.0f * kHalfWidth * part - kHalfWidth;
        const float y = 2.0f * kHalfHeight * part - kHalfHeight;
        border[i] = {x, -kHalfHeight};
        border[kSteps + i] = {kHalfWidth, y};
        border[2 * kSteps + i] = {-x, kHalfHeight};
        border[3 * kSteps + i] = {-kHalfWidth, -y};
    }
    return border;
}

// The warp library ends the process on a grid that the chip cannot take.
bool is_grid_supported(const NcLibWarpGrid& grid) {
    if (checkVirtualNcLibWarpGrid(&grid) != NC_LIB_SUCCESS) {
        return false;
    }
    switch (grid.extrapolateType) {
        case EXTRAPOLATION_TYPE_FOUR_CORNERS:
            return NcLibIsGridSizeMatchesIcaHw(grid.numRows, grid.numColumns, 10);
        case EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER:
            return NcLibIsGridSizeWarpSupported(grid.numRows, grid.numColumns);
        default:
            return false;
    }
}

int32_t map_border(const NcLibWarp& warp, VirtualPoints& points) {
    NcLibChipInfo::Set(kChipVersion, kHardwareVersion);
    if (warp.grid.enable && !is_grid_supported(warp.grid)) {
        return NC_LIB_INVALID_INPUT;
    }
    NcLibInternalWarpTopology stages[2];
    uint32_t num_stages = 0;
    if (warp.matrices.enable) {
        stages[num_stages++] = {nullptr, &warp.matrices, REGULAR};
    }
    if (warp.grid.enable) {
        stages[num_stages++] = {&warp.grid, nullptr, REGULAR};
    }
    points = virtual_border();
    const int32_t status = NcLibInternalApplyTopologyOnPoints(stages, num_stages, points.data(),
                                                              kBorderPoints, false, points.data());
    const bool are_numbers = std::none_of(
        points.begin(), points.end(),
        [](const NcLibWarpGridCoord& point) { return std::isnan(point.x) || std::isnan(point.y); });
    return status == NC_LIB_SUCCESS && !are_numbers ? NC_LIB_GENERAL_ERROR : status;
}

}  // namespace

uint32_t calc_pre_aling_warp_input_points(const NcLibWarp& warp, uint32_t width, uint32_t height,
                                          BorderPoints& points) {
    VirtualPoints mapped;
    const int32_t status = map_border(warp, mapped);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002", "NcLibInternalApplyTopologyOnPoints() failed: 0x%08x",
                static_cast<uint32_t>(status));
        return EIS_ERROR_GENERAL;
    }
    for (uint32_t i = 0; i < kBorderPoints; ++i) {
        const double x = static_cast<double>(std::clamp(mapped[i].x, -kHalfWidth, kHalfWidth));
        const double y = static_cast<double>(std::clamp(mapped[i].y, -kHalfHeight, kHalfHeight));
        points[i] = {x * width / VIRTUAL_DOMAIN_WIDTH + width / 2.0,
                     y * height / VIRTUAL_DOMAIN_HEIGHT + height / 2.0};
    }
    return EIS_SUCCESS;
}

}  // namespace steadywarp
