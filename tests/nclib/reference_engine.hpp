// SPDX-License-Identifier: Apache-2.0
/// @file reference_engine.hpp
/// A grid taken forward, one point at a time and as plainly as it can be told. Anything faster is
/// held against this bit by bit. It shares no code with the library; its table of weights is the
/// one that was worked out with exact fractions.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "steadywarp/nclib.h"

namespace reference {

struct LutRow {
    int c[3];
};
struct BicubicRow {
    float nodes[16];
    uint32_t fraction_x, fraction_y;
    int bits;
    float expected;
    double exact;
};
struct MatrixRow {
    float a[9], b[9], product[9], inverse[9];
};
struct HomographyRow {
    float m[9];
    float x, y, expected_x, expected_y;
};
struct BarycentricRow {
    float c[2], a[2], b[2], p[2];
    double w[3];
};
struct PlaneRow {
    int first_column, first_row, column, row;
    float x, y;
};
// clang-format off
#include "nclib/reference/tables.inc"
// clang-format on

using Point = NcLibWarpGridCoord;

/// How positions are counted on the grid at hand.
struct Format {
    float scale;
    int bits;
    int column_offset, row_offset;
};

inline Format FormatOf(uint32_t hardware_version, bool fine) {
    if (hardware_version < 30) {
        return {8, 11, 16, 12};
    }
    return fine ? Format{16, 11, 32, 24} : Format{16, 12, 16, 12};
}

inline void LutAt(int index, float* c) {
    if (index == 0 || index == 128) {
        c[0] = 0;
        c[1] = index == 0 ? 1.0f : 0.0f;
        c[2] = index == 0 ? 0.0f : 1.0f;
    } else if (index == 64) {
        c[0] = -0.0625f;
        c[1] = c[2] = 0.5625f;
    } else if (index < 64) {
        for (int i = 0; i < 3; ++i) {
            c[i] = static_cast<float>(kLut[index - 1].c[i]) / 65536.0f;
        }
    } else {
        const int* row = kLut[128 - index - 1].c;
        c[0] = static_cast<float>(65536 - row[0] - row[1] - row[2]) / 65536.0f;
        c[1] = static_cast<float>(row[2]) / 65536.0f;
        c[2] = static_cast<float>(row[1]) / 65536.0f;
    }
}

inline void Weights(int fraction, int bits, float* c) {
    const int per_step = 1 << (bits - 7);
    const float share = static_cast<float>(fraction % per_step) / static_cast<float>(per_step);
    float low[3], high[3];
    LutAt(fraction / per_step, low);
    LutAt(fraction / per_step + 1, high);
    for (int i = 0; i < 3; ++i) {
        c[i] = low[i] + share * (high[i] - low[i]);
    }
}

inline float Reduce(const float* a, const float* c) {
    float sum = a[3];
    for (int i = 0; i < 3; ++i) {
        sum = std::fma(a[i] - a[3], c[i], sum);
    }
    return sum;
}

inline int64_t Position(float coordinate, float scale) {
    const double steps = std::floor(double{std::fma(coordinate, scale, 0.5f)});
    return static_cast<int64_t>(std::clamp(steps, -2147483648.0, 2147483647.0));
}

inline Point CornerGridNode(const NcLibWarpGrid& g, int64_t r, int64_t c) {
    const int64_t rows = g.numRows, columns = g.numColumns;
    const auto at = [&](int64_t row, int64_t column) { return g.grid[row * columns + column]; };
    const auto line = [](Point edge, Point inner) {
        return Point{2 * edge.x - inner.x, 2 * edge.y - inner.y};
    };
    const bool inside = c >= 0 && c < columns;
    if (r < 0) {
        return c < 0    ? g.gridExtrapolate[0]
               : inside ? line(at(0, c), at(1, c))
                        : g.gridExtrapolate[1];
    }
    if (r >= rows) {
        return c < 0    ? g.gridExtrapolate[2]
               : inside ? line(at(rows - 1, c), at(rows - 2, c))
                        : g.gridExtrapolate[3];
    }
    if (c < 0) {
        return line(at(r, 0), at(r, 1));
    }
    return inside ? at(r, c) : line(at(r, columns - 1), at(r, columns - 2));
}

/// One point through one matrix, in double precision, rounded at the end.
inline Point MapByMatrix(const float* m, Point p) {
    const double x = double{p.x}, y = double{p.y};
    const double w = double{m[6]} * x + double{m[7]} * y + double{m[8]};
    return {static_cast<float>((double{m[0]} * x + double{m[1]} * y + double{m[2]}) / w),
            static_cast<float>((double{m[3]} * x + double{m[4]} * y + double{m[5]}) / w)};
}

/// Three nodes of an axis that a plane is fitted over.
inline void Three(int64_t first, int64_t count, int64_t* nodes) {
    const int64_t a = first + 3 > count - 1 ? count - 1 : std::max<int64_t>(first, 0);
    nodes[0] = a;
    nodes[1] = a == 0 ? 1 : a - 1;
    nodes[2] = a == 0 ? 2 : a == count - 1 ? a - 2 : a + 1;
}

inline float PlaneAt(const NcLibWarpGrid& g, int64_t first_column, int64_t first_row, int64_t c,
                     int64_t r, float Point::*coordinate) {
    int64_t columns[3], rows[3];
    Three(first_column, g.numColumns, columns);
    Three(first_row, g.numRows, rows);
    double cc = 0, cr = 0, sc = 0, rr = 0, sr = 0;
    float cv = 0, rv = 0, sv = 0;
    for (const int64_t row : rows) {
        for (const int64_t column : columns) {
            const double dc = static_cast<double>(column), dr = static_cast<double>(row);
            const float value = g.grid[row * g.numColumns + column].*coordinate;
            cc += dc * dc, cr += dc * dr, sc += dc, rr += dr * dr, sr += dr;
            cv += static_cast<float>(column) * value;
            rv += static_cast<float>(row) * value;
            sv += value;
        }
    }
    const double det = cc * (rr * 9 - sr * sr) - cr * (cr * 9 - sr * sc) + sc * (cr * sr - rr * sc);
    const auto element = [=](double v) { return v / det; };
    const auto sum = [=](double i, double j, double k) {
        return static_cast<float>(element(i) * double{cv} + element(j) * double{rv} +
                                  element(k) * double{sv});
    };
    const float a = sum(rr * 9 - sr * sr, sc * sr - cr * 9, cr * sr - sc * rr);
    const float b = sum(sr * sc - cr * 9, cc * 9 - sc * sc, sc * cr - cc * sr);
    const float d = sum(cr * sr - rr * sc, cr * sc - cc * sr, cc * rr - cr * cr);
    return static_cast<float>(r) * b + a * static_cast<float>(c) + d;
}

inline Point RingNode(const NcLibWarpGrid& g, int64_t first_column, int64_t first_row, int64_t r,
                      int64_t c) {
    if (r >= 0 && r < g.numRows && c >= 0 && c < g.numColumns) {
        return g.grid[r * g.numColumns + c];
    }
    return {PlaneAt(g, first_column, first_row, c, r, &Point::x),
            PlaneAt(g, first_column, first_row, c, r, &Point::y)};
}

/// Map one point forward. The grid has four corners or a ring.
inline Point MapPoint(const NcLibWarpGrid& g, const Format& f, Point p) {
    if (std::isnan(p.x) || std::isnan(p.y)) {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        return {nan, nan};
    }
    const int64_t x = Position(p.x, f.scale), y = Position(p.y, f.scale);
    const int64_t unit = int64_t{1} << f.bits;
    const bool ring = g.extrapolateType == EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    const int64_t column = (x >> f.bits) + f.column_offset - (ring ? 0 : 1);
    const int64_t row = (y >> f.bits) + f.row_offset - (ring ? 0 : 1);
    float across[3], down[3], result[2];
    Weights(static_cast<int>(x & (unit - 1)), f.bits, across);
    Weights(static_cast<int>(y & (unit - 1)), f.bits, down);
    for (int axis = 0; axis < 2; ++axis) {
        float by_column[4];
        for (int c = 0; c < 4; ++c) {
            float values[4];
            for (int r = 0; r < 4; ++r) {
                const Point node = ring ? RingNode(g, column, row, row + r, column + c)
                                        : CornerGridNode(g, row + r, column + c);
                values[r] = axis == 0 ? node.x : node.y;
            }
            by_column[c] = Reduce(values, down);
        }
        result[axis] = Reduce(by_column, across);
    }
    return {result[0], result[1]};
}

}  // namespace reference
