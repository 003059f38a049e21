// SPDX-License-Identifier: Apache-2.0
/// @file reference_reversal.hpp
/// What the triangles of a mesh cover of a lattice, triangle by triangle and node by node.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "steadywarp/nclib.h"

namespace reference {

/// One cut triangle: mesh columns and rows of its corners.
struct MeshTriangle {
    int c[3], r[3];
};

inline int32_t CutToInt(float value) {
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<int32_t>(std::clamp<double>(value, -2147483648.0, 2147483647.0));
}

inline void CoverByTriangle(const NcLibWarpReverseGridIn& in, const MeshTriangle& t,
                            std::vector<NcLibWarpGridCoord>& lattice) {
    const int rows = in.dstGridNumRows, columns = in.dstGridNumColumns;
    const float step_x =
        columns > 1 ? (in.dstGridEndX - in.dstGridStartX) / static_cast<float>(columns - 1) : 0;
    const float step_y =
        rows > 1 ? (in.dstGridEndY - in.dstGridStartY) / static_cast<float>(rows - 1) : 0;
    float px[3], py[3], dx[3], dy[3];
    for (int i = 0; i < 3; ++i) {
        const auto& landing = in.dstCoords[t.r[i] * in.srcGridNumColumns + t.c[i]];
        px[i] = landing.x, py[i] = landing.y;
        dx[i] = in.srcGridColumnCoords[t.c[i]] - px[i];
        dy[i] = in.srcGridRowCoords[t.r[i]] - py[i];
    }
    const auto range = [](const float* p, float start, float step, int count, int* low, int* high) {
        const float inverse = step != 0 ? 1.0f / step : 0.0f;
        *low = CutToInt((std::min({p[0], p[1], p[2]}) - start) * inverse);
        *high = CutToInt((std::max({p[0], p[1], p[2]}) - start) * inverse);
        if (step < 0) {
            std::swap(*low, *high);
        }
        *low = std::max(*low, 0);
        *high = std::min(*high, count - 1);
    };
    int c0, c1, r0, r1;
    range(px, in.dstGridStartX, step_x, columns, &c0, &c1);
    range(py, in.dstGridStartY, step_y, rows, &r0, &r1);
    const float den = (py[0] - py[2]) * (px[2] - px[1]) + (px[0] - px[2]) * (py[1] - py[2]);
    for (int r = r0; r <= r1; ++r) {
        for (int c = c0; c <= c1; ++c) {
            NcLibWarpGridCoord& node = lattice[static_cast<size_t>(r * columns + c)];
            const float qx = in.dstGridStartX + static_cast<float>(c) * step_x - px[2];
            const float qy = in.dstGridStartY + static_cast<float>(r) * step_y - py[2];
            const float w1 = ((px[2] - px[1]) * qy + qx * (py[1] - py[2])) / den;
            const float w2 = ((py[2] - py[0]) * qx + qy * (px[0] - px[2])) / den;
            const float w3 = 1.0f - w1 - w2;
            const auto good = [](float w) { return w >= -1e-7f && w <= 1.0000001f; };
            if (std::isnan(node.x) && good(w1) && good(w2) && good(w3)) {
                node = {w2 * dx[1] + w1 * dx[0] + w3 * dx[2], w2 * dy[1] + w1 * dy[0] + w3 * dy[2]};
            }
        }
    }
}

/// Displacements where a triangle covers a node, NaN elsewhere.
inline std::vector<NcLibWarpGridCoord> Cover(const NcLibWarpReverseGridIn& in) {
    const float nan = std::nanf("");
    std::vector<NcLibWarpGridCoord> lattice(
        static_cast<size_t>(in.dstGridNumRows * in.dstGridNumColumns), {nan, nan});
    for (int r = 0; r + 1 < in.srcGridNumRows; ++r) {
        for (int c = 0; c + 1 < in.srcGridNumColumns; ++c) {
            if (in.triangulation == 1 || (in.triangulation == 2 && ((c ^ r) & 1) != 0)) {
                CoverByTriangle(in, {{c, c + 1, c}, {r, r + 1, r + 1}}, lattice);
                CoverByTriangle(in, {{c, c + 1, c + 1}, {r, r, r + 1}}, lattice);
            } else {
                CoverByTriangle(in, {{c, c + 1, c}, {r, r, r + 1}}, lattice);
                CoverByTriangle(in, {{c, c + 1, c + 1}, {r + 1, r, r + 1}}, lattice);
            }
        }
    }
    return lattice;
}

}  // namespace reference
