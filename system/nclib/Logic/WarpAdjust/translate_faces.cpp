// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/translate_faces.hpp"

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/numeric.hpp"

namespace {

bool IsInside(const NcLibWarpGridCoord& point, const NcLibImageSize& size) {
    return point.x >= 0.0f && point.x <= static_cast<float>(size.widthPixels) && point.y >= 0.0f &&
           point.y <= static_cast<float>(size.heightLines);
}

bool IsEmpty(const NcLibImageSize& size) {
    return size.widthPixels == 0 || size.heightLines == 0;
}

int32_t Cut(float value) {
    return nclib::TruncateToInt32(static_cast<double>(value));
}

int32_t TranslateFace(const NcLibFdRoi& roi, const NcLibImageSize& from_size,
                      const NcLibImageSize& to_size, const nclib::StageChain& topology,
                      NcLibFdRoi& out) {
    NcLibWarpGridCoord top_left = {static_cast<float>(roi.x), static_cast<float>(roi.y)};
    NcLibWarpGridCoord bottom_right = {static_cast<float>(int64_t{roi.x} + roi.width),
                                       static_cast<float>(int64_t{roi.y} + roi.height)};
    int32_t status = translateCoord(top_left, from_size, to_size, topology);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "translateCoord faceTL failed");
    status = translateCoord(bottom_right, from_size, to_size, topology);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "translateCoord faceBR failed");
    out = {Cut(top_left.x), Cut(top_left.y), Cut(bottom_right.x - top_left.x + 0.5f),
           Cut(bottom_right.y - top_left.y + 0.5f)};
    return NC_LIB_SUCCESS;
}

}  // namespace

void warpToRegTopology(const NcLibWarp* warp, nclib::StageChain& topology) {
    NC_LIB_ASSERT(warp->direction == OUT_2_IN);
    if (warp->matrices.enable) {
        topology.Add(warp->matrices, REGULAR);
    }
    if (warp->grid.enable) {
        topology.Add(warp->grid, REGULAR);
    }
}

int32_t translateCoord(NcLibWarpGridCoord& point, const NcLibImageSize& from_size,
                       const NcLibImageSize& to_size, const nclib::StageChain& topology) {
    if (!IsInside(point, from_size)) {
        point = {point.x * static_cast<float>(to_size.widthPixels) /
                     static_cast<float>(from_size.widthPixels),
                 point.y * static_cast<float>(to_size.heightLines) /
                     static_cast<float>(from_size.heightLines)};
        return NC_LIB_SUCCESS;
    }
    point = nclib::ConvertPixelToVirtual(point, from_size);
    const int32_t status = topology.Apply(&point, 1, true);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "NcLibInternalApplyTopologyOnPoints failed");
    convertVirtualToPixel(&point, &to_size, &point);
    return NC_LIB_SUCCESS;
}

int32_t NcLibTranslateFdDomains(const NcLibFdRoi* fdRois, uint32_t count,
                                const NcLibImageSize* fdDimensions, const NcLibWarp* warp,
                                const NcLibImageSize* fullSize, NcLibFdRoi* fdOutRois) {
    NC_LIB_REQUIRE_NOT_NULL(fdRois, "fdRois");
    NC_LIB_REQUIRE_NOT_NULL(fdDimensions, "fdDimensions");
    NC_LIB_REQUIRE_NOT_NULL(warp, "warp");
    NC_LIB_REQUIRE_NOT_NULL(fullSize, "fullSize");
    NC_LIB_REQUIRE_NOT_NULL(fdOutRois, "fdOutRois");
    NC_LIB_REQUIRE(!IsEmpty(*fdDimensions) && !IsEmpty(*fullSize), NC_LIB_INVALID_INPUT,
                   "Invalid dimensions: FD size %ux%u, full size %ux%u", fdDimensions->widthPixels,
                   fdDimensions->heightLines, fullSize->widthPixels, fullSize->heightLines);
    if (count == 0) {
        return NC_LIB_SUCCESS;
    }
    nclib::StageChain topology;
    warpToRegTopology(warp, topology);
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t status =
            TranslateFace(fdRois[i], *fdDimensions, *fullSize, topology, fdOutRois[i]);
        if (status != NC_LIB_SUCCESS) {
            return status;
        }
    }
    return NC_LIB_SUCCESS;
}
