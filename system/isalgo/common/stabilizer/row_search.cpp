// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/row_search.hpp"

#include <algorithm>
#include <cmath>

namespace steadywarp {
namespace {

constexpr uint32_t kLastRow = kTimeRows - 1;
constexpr uint32_t kFirstBracket = 3;
// A shorter normal has no direction to speak of.
constexpr double kLeastNormal = 1e-6;

// a x + b y + c in output coordinates: the signed distance by which a point's image lies below the
// line that the time row reads.
struct Line {
    double a;
    double b;
    double c;

    double at(const Point2& p) const { return a * p.x + b * p.y + c; }
};

// l = M[1] - y M[2]
Line line_of_row(const Matrix3& m, double y) {
    Line line = {m[3] - y * m[6], m[4] - y * m[7], m[5] - y * m[8]};
    const double length = std::sqrt(line.a * line.a + line.b * line.b);
    if (length > kLeastNormal) {
        line = {line.a / length, line.b / length, line.c / length};
    }
    return line;
}

// Two time rows; the point's image should lie at or below the line of `low` and at or above that
// of `high`.
struct Bracket {
    uint32_t low;
    uint32_t high;
};

using Lines = std::array<Line, kTimeRows>;

void widen(const Lines& lines, const Point2& p, Bracket& bracket) {
    for (uint32_t step = 1; bracket.low > 0 && !(lines[bracket.low].at(p) >= 0.0); step *= 2) {
        bracket.low -= std::min(step, bracket.low);
    }
    for (uint32_t step = 1; bracket.high < kLastRow && !(lines[bracket.high].at(p) <= 0.0);
         step *= 2) {
        bracket.high += std::min(step, kLastRow - bracket.high);
    }
}

void bisect(const Lines& lines, const Point2& p, Bracket& bracket) {
    while (bracket.high - bracket.low >= 2) {
        const uint32_t middle = bracket.low + (bracket.high - bracket.low) / 2;
        if (lines[middle].at(p) >= 0.0) {
            bracket.low = middle;
        } else {
            bracket.high = middle;
        }
    }
}

Point2 map_between(const RowHomographies& rows, const Lines& lines, const Point2& p,
                   const Bracket& bracket) {
    const double below_low = lines[bracket.low].at(p);
    if (!(below_low > 0.0)) {
        return map_point(rows[bracket.low], p);
    }
    const Point2 by_high = map_point(rows[bracket.high], p);
    const double below_high = lines[bracket.high].at(p);
    if (!(below_high < 0.0)) {
        return by_high;
    }
    const Point2 by_low = map_point(rows[bracket.low], p);
    const double weight = -below_high / (below_low - below_high);
    return {by_high.x + (by_low.x - by_high.x) * weight,
            by_high.y + (by_low.y - by_high.y) * weight};
}

}  // namespace

void map_by_row_search(const RowHomographies& rows, Grid& grid) {
    Lines lines;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        lines[r] = line_of_row(rows[r], grid.y[r]);
    }
    for (uint32_t j = 0; j < kGridRows; ++j) {
        // The bracket starts near the node's own row and is carried from column to column.
        Bracket bracket = {j, std::min(j + kFirstBracket, kLastRow)};
        for (uint32_t i = 0; i < kGridColumns; ++i) {
            const Point2 node = {grid.x[i], grid.y[j]};
            widen(lines, node, bracket);
            bisect(lines, node, bracket);
            grid.points[j * kGridColumns + i] = map_between(rows, lines, node, bracket);
        }
    }
}

}  // namespace steadywarp
