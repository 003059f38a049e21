// SPDX-License-Identifier: Apache-2.0
// Reversal of a mesh: its triangles are scattered onto a lattice, and the rest is filled.
#include <algorithm>
#include <cmath>
#include <limits>

#include "nclib/Logic/WarpAdjust/grid_boundary.hpp"
#include "nclib/Logic/WarpAdjust/reverse_fill.hpp"
#include "nclib/Logic/WarpAdjust/reverse_scatter.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/memory.hpp"

namespace {

using nclib::ReversalView;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Turn displacements into source coordinates; what is no number on one axis is none on both.
int64_t MakeAbsolute(const ReversalView& view) {
    int64_t holes = 0;
    for (int64_t row = 0; row < view.Rows(); ++row) {
        for (int64_t column = 0; column < view.Columns(); ++column) {
            NcLibWarpGridCoord& node = view.At(row, column);
            const NcLibWarpGridCoord position = view.Position(row, column);
            node = {node.x + position.x, node.y + position.y};
            if (std::isnan(node.x) || std::isnan(node.y)) {
                node = {kNan, kNan};
                ++holes;
            }
        }
    }
    return holes;
}

// The outline of the mesh's image. NULL if it has no nodes, too many, or memory is short.
NcLibWarpGridCoord* AllocateOutline(const NcLibWarpReverseGridIn& in, uint32_t& count) {
    if (in.srcGridNumRows < 1 || in.srcGridNumColumns < 1) {
        return nullptr;
    }
    const int64_t points = 2 * (int64_t{in.srcGridNumRows} + in.srcGridNumColumns - 2);
    if (points > std::numeric_limits<int32_t>::max()) {
        return nullptr;
    }
    count = static_cast<uint32_t>(points);
    // A mesh of one node has an outline of none; the block then only tells success.
    const size_t bytes = std::max<size_t>(count, 1) * sizeof(NcLibWarpGridCoord);
    return static_cast<NcLibWarpGridCoord*>(
        ZelmCalloc(bytes, alignof(NcLibWarpGridCoord), ZelmMemoryType::kGeneral));
}

void FillHoles(const ReversalView& view, int64_t holes, const NcLibWarpGridCoord* polygon,
               uint32_t polygon_count) {
    const int64_t left = view.In().extrapolation < 2
                             ? nclib::FillFromNearestOuterNode(view, polygon, polygon_count)
                             : nclib::FillByPropagation(view, holes);
    if (left > 0) {
        NC_LIB_ERROR("Corner case in reverse grid calc");
        nclib::FillFromNearestNode(view);
    }
}

}  // namespace

int32_t NcLibWarpReverseGridDirection(const NcLibWarpReverseGridIn* in,
                                      NcLibWarpGridCoord* outputGrid, float* uncoveredPercent) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(in->dstCoords, "in->dstCoords");
    NC_LIB_REQUIRE_NOT_NULL(in->srcGridRowCoords, "in->srcGridRowCoords");
    NC_LIB_REQUIRE_NOT_NULL(in->srcGridColumnCoords, "in->srcGridColumnCoords");
    NC_LIB_REQUIRE_NOT_NULL(outputGrid, "outputGrid");
    uint32_t polygon_count = 0;
    NcLibWarpGridCoord* const polygon = AllocateOutline(*in, polygon_count);
    NC_LIB_REQUIRE_NOT_NULL(polygon, "gridExternalPoints");
    CreatePolygonFromExternalPointsOfGrid(
        in->dstCoords, static_cast<uint32_t>(in->srcGridNumColumns),
        static_cast<uint32_t>(in->srcGridNumRows), polygon_count, polygon);

    float percent = 0.0f;
    if (in->dstGridNumRows > 0 && in->dstGridNumColumns > 0) {
        const ReversalView view(*in, outputGrid);
        std::fill_n(outputGrid, view.Count(), NcLibWarpGridCoord{kNan, kNan});
        nclib::ScatterCells(view);
        const int64_t holes = MakeAbsolute(view);
        FillHoles(view, holes, polygon, polygon_count);
        percent = static_cast<float>(holes) * 100.0f / static_cast<float>(view.Count());
    }
    if (uncoveredPercent != nullptr) {
        *uncoveredPercent = percent;
    }
    ZelmFree(polygon, ZelmMemoryType::kGeneral);
    return NC_LIB_SUCCESS;
}
