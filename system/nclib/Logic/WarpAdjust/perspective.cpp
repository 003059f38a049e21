// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/perspective.hpp"

#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/lanes.hpp"

namespace {

constexpr uint32_t kMaxZones = 9;

// Zone centres of one axis, and the reciprocal of their spacing.
struct ZoneAxis {
    double per_spacing;
    double centres[kMaxZones];
};

// By number of zones. The small asymmetries are those of the hardware's zoning. A single zone has
// no centres to stand between.
// clang-format off
constexpr ZoneAxis kColumnZones[kMaxZones + 1] = {
    {}, {},
    {1.0 / 4096, {-2048.5, 2047.5}},
    {1.0 / 2731, {-2731, 0, 2731}},
    {1.0 / 2048, {-3072.5, -1024.5, 1023.5, 3071.5}},
    {1.0 / 1639, {-3277, -1638, 1, 1640, 3279}},
    {1.0 / 1366, {-3413.5, -2047.5, -681.5, 684.5, 2050.5, 3416.5}},
    {1.0 / 1171, {-3511, -2340, -1169, 2, 1173, 2344, 3515}},
    {1.0 / 1024, {-3584.5, -2560.5, -1536.5, -512.5, 511.5, 1535.5, 2559.5, 3583.5}},
    {1.0 / 911,  {-3641, -2730, -1819, -908, 3, 914, 1825, 2736, 3647}},
};
constexpr ZoneAxis kRowZones[kMaxZones + 1] = {
    {}, {},
    {1.0 / 3072, {-1536.5, 1535.5}},
    {1.0 / 2048, {-2048.5, -0.5, 2047.5}},
    {1.0 / 1536, {-2304.5, -768.5, 767.5, 2303.5}},
    {1.0 / 1229, {-2458, -1229, 0, 1229, 2458}},
    {1.0 / 1024, {-2560.5, -1536.5, -512.5, 511.5, 1535.5, 2559.5}},
    {1.0 / 878,  {-2633.5, -1755.5, -877.5, 0.5, 878.5, 1756.5, 2634.5}},
    {1.0 / 768,  {-2688.5, -1920.5, -1152.5, -384.5, 383.5, 1151.5, 1919.5, 2687.5}},
    {1.0 / 683,  {-2731, -2048, -1365, -682, 1, 684, 1367, 2050, 2733}},
};
// clang-format on

// Where a point stands among the zones of one axis: between `low` and `high` with a weight, or in
// the one zone that both name.
struct ZoneSpan {
    uint32_t low;
    uint32_t high;
    double weight;
};

ZoneSpan FindZones(double position, const ZoneAxis& axis, uint32_t count) {
    uint32_t next = 0;
    while (next < count && !(position < axis.centres[next])) {
        ++next;
    }
    if (count == 1 || next == 0) {
        return {0, 0, 0.0};
    }
    if (next == count) {
        return {count - 1, count - 1, 0.0};
    }
    return {next - 1, next, (position - axis.centres[next - 1]) * axis.per_spacing};
}

Coord Apply(const NcLibPerspTransformSingle& matrix, Coord point) {
    const float* m = matrix.T;
    const double w = static_cast<double>(m[6]) * point.x + static_cast<double>(m[7]) * point.y +
                     static_cast<double>(m[8]);
    return {(static_cast<double>(m[0]) * point.x + static_cast<double>(m[1]) * point.y +
             static_cast<double>(m[2])) /
                w,
            (static_cast<double>(m[3]) * point.x + static_cast<double>(m[4]) * point.y +
             static_cast<double>(m[5])) /
                w};
}

Coord Blend(Coord from, Coord to, double weight) {
    return {from.x + weight * (to.x - from.x), from.y + weight * (to.y - from.y)};
}

NcLibWarpGridCoord Rounded(Coord point) {
    return {static_cast<float>(point.x), static_cast<float>(point.y)};
}

Coord ApplyZones(const NcLibWarpMatrices& matrices, Coord point) {
    const ZoneSpan column =
        FindZones(point.x, kColumnZones[matrices.numColumns], matrices.numColumns);
    const ZoneSpan row = FindZones(point.y, kRowZones[matrices.numRows], matrices.numRows);
    const auto through = [&](uint32_t r, uint32_t c) {
        const uint32_t index = r * matrices.numColumns + c;
        NC_LIB_ASSERT_TEXT(index < kMaxZones, "transform_ind[0] < 9");
        return Apply(matrices.perspMatrices[index], point);
    };
    const auto blend_rows = [&](uint32_t c) {
        return row.low == row.high ? through(row.low, c)
                                   : Blend(through(row.low, c), through(row.high, c), row.weight);
    };
    return column.low == column.high
               ? blend_rows(column.low)
               : Blend(blend_rows(column.low), blend_rows(column.high), column.weight);
}

#define STEADYWARP_KERNEL "nclib/Logic/WarpAdjust/perspective_kernel.inc"
#include "platform/forms.inc"

void ApplyToAll(const NcLibPerspTransformSingle& matrix, const NcLibWarpGridCoord* in,
                uint32_t count, NcLibWarpGridCoord* out) {
    const uint32_t fours = count / 4;
    STEADYWARP_BEST(ApplyToFours)(matrix.T, in, fours, out);
    for (uint32_t i = 4 * fours; i < count; ++i) {
        out[i] =
            Rounded(Apply(matrix, {static_cast<double>(in[i].x), static_cast<double>(in[i].y)}));
    }
}

}  // namespace

void perspectiveTransform(Coord point, const NcLibWarpMatrices* matrices,
                          NcLibWarpGridCoord* result) {
    const uint64_t count = uint64_t{matrices->numRows} * matrices->numColumns;
    NC_LIB_ASSERT_TEXT(count >= 1 && count <= kMaxZones, "(Mx*Nx >= 1) && (Mx*Nx <= 9)");
    *result = Rounded(count == 1 ? Apply(matrices->perspMatrices[0], point)
                                 : ApplyZones(*matrices, point));
}

void transformRegularMatrices(const NcLibWarpMatrices* matrices, const NcLibWarpGridCoord* in,
                              uint32_t numPoints, NcLibWarpGridCoord* out) {
    if (matrices->numRows == 1 && matrices->numColumns == 1) {
        ApplyToAll(matrices->perspMatrices[0], in, numPoints, out);
        return;
    }
    for (uint32_t i = 0; i < numPoints; ++i) {
        perspectiveTransform({static_cast<double>(in[i].x), static_cast<double>(in[i].y)}, matrices,
                             &out[i]);
    }
}

int32_t transformInverseMatrix(const NcLibWarpMatrices* matrices, const NcLibWarpGridCoord* in,
                               uint32_t numPoints, NcLibWarpGridCoord* out) {
    NC_LIB_ASSERT_TEXT(1 == matrices->numColumns && 1 == matrices->numRows,
                       "(1 == matrix->numColumns) && (1 == matrix->numRows)");
    NcLibPerspTransformSingle inverse;
    const int32_t status = NcLibInternalMatrixInverse(matrices->perspMatrices[0].T, inverse.T);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Cannot inverse matrix");
    ApplyToAll(inverse, in, numPoints, out);
    return NC_LIB_SUCCESS;
}
