// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_chip.hpp"

namespace {

constexpr uint32_t kMaxConfidence = 256;

// The one chip that takes the grids of the two oldest hardware versions alike.
constexpr uint32_t kTwoGridChip = 0x10500;

constexpr int32_t StatusOf(bool is_valid) {
    return is_valid ? NC_LIB_SUCCESS : NC_LIB_INVALID_INPUT;
}

constexpr bool IsEmpty(const NcLibImageSize& size) {
    return size.widthPixels == 0 || size.heightLines == 0;
}

bool IsUsable(const NcLibWarpGrid& grid) {
    const bool lacks_corners =
        grid.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS && grid.gridExtrapolate == nullptr;
    return grid.numColumns != 0 && grid.numRows != 0 && grid.grid != nullptr &&
           !IsEmpty(grid.transformDefinedOn) && !lacks_corners;
}

bool IsUsable(const NcLibWarpMatrices& matrices) {
    return matrices.numRows != 0 && matrices.numColumns != 0 && matrices.perspMatrices != nullptr &&
           !IsEmpty(matrices.transformDefinedOn) && matrices.centerType <= NOT_CENTERED &&
           matrices.confidence <= kMaxConfidence;
}

}  // namespace

int32_t checkInputNcLibWarpGrid(const NcLibWarpGrid* grid) {
    return StatusOf(IsUsable(*grid));
}

int32_t checkInputNcLibWarpMatrices(const NcLibWarpMatrices* matrices) {
    return StatusOf(IsUsable(*matrices));
}

int32_t checkVirtualNcLibWarpGrid(const NcLibWarpGrid* grid) {
    return StatusOf(IsUsable(*grid) && nclib::IsVirtualSize(grid->transformDefinedOn));
}

int32_t checkVirtualNcLibWarpMatrices(const NcLibWarpMatrices* matrices) {
    return StatusOf(IsUsable(*matrices) && nclib::IsVirtualSize(matrices->transformDefinedOn) &&
                    matrices->centerType == CENTERED);
}

bool NcLibIsGridSizeWarpSupported(uint32_t numRows, uint32_t numColumns) {
    const uint32_t version = NcLibChipInfo::GetOrlokVersion();
    NC_LIB_ASSERT_TEXT(version != NcLibChipInfo::INVALID_ORLOK_VERSION,
                       "s_orlokVersion != INVALID_ORLOK_VERSION");
    if (version == kTwoGridChip) {
        return NcLibIsGridSizeMatchesIcaHw(numRows, numColumns, 10) ||
               NcLibIsGridSizeMatchesIcaHw(numRows, numColumns, 20);
    }
    return NcLibIsGridSizeMatchesIcaHw(numRows, numColumns, NcLibGetIpeIcaVersion());
}
