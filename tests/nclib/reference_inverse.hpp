// SPDX-License-Identifier: Apache-2.0
/// @file reference_inverse.hpp
/// A grid taken backward as plainly as it can be told: descent, eight triangles, full scan.
#pragma once

#include <cmath>
#include <limits>

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "steadywarp/nclib.h"

namespace reference {

class InverseSearch {
  public:
    explicit InverseSearch(const NcLibWarpGrid& grid)
        : g_(grid),
          x_(static_cast<int>(grid.numColumns) / 2),
          y_(static_cast<int>(grid.numRows) / 2) {}

    /// Find one point; the next search starts where this one ended, if it found something.
    NcLibWarpGridCoord Find(NcLibWarpGridCoord p, bool allow_nearest) {
        int x = x_, y = y_;
        Descend(p, x, y);
        NcLibWarpGridCoord result;
        if (!Place(p, x, y, allow_nearest, result)) {
            Scan(p, x, y);
            if (!Place(p, x, y, allow_nearest, result)) {
                const float nan = std::numeric_limits<float>::quiet_NaN();
                return {nan, nan};
            }
        }
        x_ = x, y_ = y;
        return result;
    }

  private:
    static constexpr int kStep[8][2] = {{1, 0},  {1, 1},   {0, 1},  {-1, 1},
                                        {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};

    bool Has(int x, int y) const {
        return x >= 0 && y >= 0 && x < static_cast<int>(g_.numColumns) &&
               y < static_cast<int>(g_.numRows);
    }
    NcLibWarpGridCoord At(int x, int y) const {
        return g_.grid[y * static_cast<int>(g_.numColumns) + x];
    }
    float Distance(NcLibWarpGridCoord p, int x, int y) const {
        const float dx = At(x, y).x - p.x, dy = At(x, y).y - p.y;
        return dx * dx + dy * dy;
    }
    void Descend(NcLibWarpGridCoord p, int& x, int& y) const {
        float best = Distance(p, x, y);
        for (bool moved = true; moved;) {
            moved = false;
            const int cx = x, cy = y;
            for (const auto& step : kStep) {
                const int nx = cx + step[0], ny = cy + step[1];
                if (Has(nx, ny) && Distance(p, nx, ny) < best) {
                    best = Distance(p, nx, ny);
                    x = nx, y = ny;
                    moved = true;
                }
            }
        }
    }
    void Scan(NcLibWarpGridCoord p, int& x, int& y) const {
        x = y = 0;
        float best = Distance(p, 0, 0);
        for (int r = 0; r < static_cast<int>(g_.numRows); ++r) {
            for (int c = 0; c < static_cast<int>(g_.numColumns); ++c) {
                if (Distance(p, c, r) < best) {
                    best = Distance(p, c, r);
                    x = c, y = r;
                }
            }
        }
    }
    bool Place(NcLibWarpGridCoord p, int x, int y, bool allow_nearest,
               NcLibWarpGridCoord& result) const {
        const auto good = [](double w) { return w >= -1e-5 && w <= 1.00001; };
        for (int i = 0; i < 8; ++i) {
            const int ax = x + kStep[i][0], ay = y + kStep[i][1];
            const int bx = x + kStep[(i + 1) % 8][0], by = y + kStep[(i + 1) % 8][1];
            if (!Has(ax, ay) || !Has(bx, by)) {
                continue;
            }
            const auto a = At(ax, ay), b = At(bx, by), c = At(x, y);
            const float den = (a.y - b.y) * (c.x - b.x) + (c.y - b.y) * (b.x - a.x);
            const float w0 = ((a.y - b.y) * (p.x - b.x) + (b.x - a.x) * (p.y - b.y)) / den;
            const float w1 = ((p.x - b.x) * (b.y - c.y) + (p.y - b.y) * (c.x - b.x)) / den;
            const double w2 = 1.0 - (double{w0} + double{w1});
            if (good(w0) && good(w1) && good(w2)) {
                result = {Sum(w0, x, w1, ax, w2, bx, true), Sum(w0, y, w1, ay, w2, by, false)};
                return true;
            }
        }
        if (allow_nearest) {
            result = {Sum(1, x, 0, x, 0, x, true), Sum(1, y, 0, y, 0, y, false)};
        }
        return allow_nearest;
    }
    float Sum(double w0, int i0, double w1, int i1, double w2, int i2, bool is_x) const {
        const auto lattice = nclib::GetNodeLattice(g_.extrapolateType, g_.numColumns == 67);
        const double start = is_x ? lattice.startX : lattice.startY;
        const double span = is_x ? lattice.spanX : lattice.spanY;
        const uint32_t count = is_x ? g_.numColumns : g_.numRows;
        const auto at = [=](int i) { return count > 1 ? start + i * span / (count - 1) : start; };
        double sum = 0;
        sum += w0 * at(i0);
        sum += w1 * at(i1);
        sum += w2 * at(i2);
        return static_cast<float>(sum);
    }

    const NcLibWarpGrid& g_;
    int x_, y_;
};

}  // namespace reference
