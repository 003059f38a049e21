// SPDX-License-Identifier: Apache-2.0
// Reversal of a mesh: its triangles are scattered onto a lattice, and the rest is filled.
#include <algorithm>
#include <cmath>
#include <limits>

#include "nclib/Logic/WarpAdjust/grid_boundary.hpp"
#include "nclib/Logic/WarpAdjust/reverse_fill.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"
#include "platform/memory.hpp"

namespace {

using nclib::ReversalView;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Where three weights may lie for a point to count as in a triangle.
constexpr float kLeastWeight = -1e-7f;
constexpr float kGreatestWeight = 1.0000001f;

bool IsWeight(float weight) {
    return weight >= kLeastWeight && weight <= kGreatestWeight;
}

struct SourceNode {
    int32_t column, row;
};

// A triangle of the mesh's image, with the displacements source - destination at its corners.
struct Triangle {
    NcLibWarpGridCoord p[3];
    NcLibWarpGridCoord d[3];
    float den;

    Triangle(const ReversalView& view, const SourceNode (&nodes)[3]) {
        for (int i = 0; i < 3; ++i) {
            p[i] = view.Destination(nodes[i].row, nodes[i].column);
            const NcLibWarpGridCoord from = view.Source(nodes[i].row, nodes[i].column);
            d[i] = {from.x - p[i].x, from.y - p[i].y};
        }
        den = (p[0].y - p[2].y) * (p[2].x - p[1].x) + (p[0].x - p[2].x) * (p[1].y - p[2].y);
    }

    // Interpolate the displacement at a position; false if it lies outside.
    bool DisplacementAt(const NcLibWarpGridCoord& position, NcLibWarpGridCoord& result) const {
        const NcLibWarpGridCoord q = {position.x - p[2].x, position.y - p[2].y};
        const float w1 = ((p[2].x - p[1].x) * q.y + q.x * (p[1].y - p[2].y)) / den;
        const float w2 = ((p[2].y - p[0].y) * q.x + q.y * (p[0].x - p[2].x)) / den;
        const float w3 = 1.0f - w1 - w2;
        if (!IsWeight(w1) || !IsWeight(w2) || !IsWeight(w3)) {
            return false;
        }
        result = {w2 * d[1].x + w1 * d[0].x + w3 * d[2].x, w2 * d[1].y + w1 * d[0].y + w3 * d[2].y};
        return true;
    }
};

// Lattice indices, both included, that a stretch of one axis may touch.
struct IndexRange {
    int32_t low, high;
};

IndexRange TouchedIndices(float a, float b, float c, float start, float step, int32_t count) {
    const float inverse = step != 0.0f ? 1.0f / step : 0.0f;
    const float min = std::min({a, b, c});
    const float max = std::max({a, b, c});
    int32_t low = nclib::TruncateToInt32(static_cast<double>((min - start) * inverse));
    int32_t high = nclib::TruncateToInt32(static_cast<double>((max - start) * inverse));
    if (step < 0.0f) {
        std::swap(low, high);
    }
    return {std::max(low, 0), std::min(high, count - 1)};
}

// Give the triangle's displacements to the nodes that it is the first to cover.
void FillTriangle(const ReversalView& view, const SourceNode (&nodes)[3]) {
    const Triangle triangle(view, nodes);
    const auto& p = triangle.p;
    const IndexRange columns = TouchedIndices(p[0].x, p[1].x, p[2].x, view.In().dstGridStartX,
                                              view.StepX(), view.Columns());
    const IndexRange rows =
        TouchedIndices(p[0].y, p[1].y, p[2].y, view.In().dstGridStartY, view.StepY(), view.Rows());
    for (int32_t row = rows.low; row <= rows.high; ++row) {
        for (int32_t column = columns.low; column <= columns.high; ++column) {
            NcLibWarpGridCoord displacement;
            if (view.IsHole(row, column) &&
                triangle.DisplacementAt(view.Position(row, column), displacement)) {
                view.At(row, column) = displacement;
            }
        }
    }
}

bool IsCutFromTopLeft(int32_t triangulation, int32_t column, int32_t row) {
    return triangulation == 1 || (triangulation == 2 && ((column ^ row) & 1) != 0);
}

void ScatterCells(const ReversalView& view) {
    for (int32_t r = 0; r + 1 < view.SourceRows(); ++r) {
        for (int32_t c = 0; c + 1 < view.SourceColumns(); ++c) {
            if (IsCutFromTopLeft(view.In().triangulation, c, r)) {
                FillTriangle(view, {{c, r}, {c + 1, r + 1}, {c, r + 1}});
                FillTriangle(view, {{c, r}, {c + 1, r}, {c + 1, r + 1}});
            } else {
                FillTriangle(view, {{c, r}, {c + 1, r}, {c, r + 1}});
                FillTriangle(view, {{c, r + 1}, {c + 1, r}, {c + 1, r + 1}});
            }
        }
    }
}

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
        ScatterCells(view);
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
