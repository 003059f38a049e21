// SPDX-License-Identifier: Apache-2.0
#include "interface/utility_grids.hpp"

#include "base/eis_log.hpp"
#include "steadywarp/nclib_chip.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kUtilityChip = 0x50800;
constexpr uint32_t kUtilityHardware = 10;

}  // namespace

void set_utility_chip() {
    NcLibChipInfo::Set(kUtilityChip, kUtilityHardware);
}

bool is_ring_grid_size(const NcLibWarpGrid& grid) {
    if ((grid.numRows == ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT &&
         grid.numColumns == ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH) ||
        (grid.numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT &&
         grid.numColumns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH)) {
        return true;
    }
    EIS_ERR("IS0003", "Invalid number of grid points (numRows, numColumns): (%u, %u)", grid.numRows,
            grid.numColumns);
    return false;
}

bool is_ring_grid(const NcLibWarpGrid& grid) {
    if (!is_ring_grid_size(grid)) {
        return false;
    }
    if (grid.extrapolateType != EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER) {
        EIS_ERR("IS0003", "Grid extrapolation type is not supported: %u",
                static_cast<unsigned>(grid.extrapolateType));
        return false;
    }
    return true;
}

int32_t to_virtual_domain(NcLibWarpGrid& grid) {
    NcLibWarp warp = {{}, grid, OUT_2_IN};
    const int32_t status = NcLibWarpConvertToVirtualDomain(&warp, &warp);
    if (status == NC_LIB_SUCCESS) {
        grid = warp.grid;
    }
    return status;
}

}  // namespace steadywarp
