// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/forward_mapping.hpp"

#include <algorithm>
#include <cmath>

#include "base/numeric.hpp"
#include "filter/polygon.hpp"

namespace steadywarp {
namespace {

// A row of nodes in the output, with one point far out at each end.
constexpr uint32_t kLinePoints = kGridColumns + 2;
using Line = std::array<Point2, kLinePoints>;

// Nodes that a box reaches on one axis, both ends included; none if last is below first.
struct NodeRange {
    int32_t first;
    int32_t last;
};

// How far outside a quadrangle a node may lie that no other has claimed, pixels: several times what
// single precision, in which the sides are tested, makes of a pixel.
constexpr double kSlackPx = 1e-3;

// The optics with the two ways through the lens as the frame's crop has them.
struct CroppedOptics {
    explicit CroppedOptics(const ForwardOptics& optics)
        : undistortion(DistortionInCrop::undistorting(optics.distortion, optics.windows)),
          distortion(DistortionInCrop::distorting(optics.distortion, optics.windows)),
          lens(optics.lens),
          scale_center(optics.scale_center) {}

    DistortionInCrop undistortion;
    DistortionInCrop distortion;
    const OISOperator* lens;
    Point2 scale_center;
};

// The grid that is being filled.
struct Filling {
    CroppedOptics optics;
    Grid& grid;
    std::array<bool, EIS_GRID_POINTS> is_claimed{};
};

Point2 mix(const Point2& a, const Point2& b, double weight_of_a) {
    return {weight_of_a * a.x + (1.0 - weight_of_a) * b.x,
            weight_of_a * a.y + (1.0 - weight_of_a) * b.y};
}

double reach_of(const Grid& grid) {
    return 2.0 * (static_cast<double>(grid.width) + grid.height);
}

Point2 forward(const Point2& node, const ForwardRow& row, const CroppedOptics& optics) {
    Point2 p = scaled_about(optics.scale_center, node, row.scale);
    if (optics.lens != nullptr) {
        p = optics.lens->apply(p, row.shift);
    }
    return map_point(row.to_middle, optics.undistortion.apply(p));
}

Line line_of_row(const Grid& grid, uint32_t r, const ForwardRow& row, const CroppedOptics& optics) {
    Line line;
    for (uint32_t i = 0; i < kGridColumns; ++i) {
        line[i + 1] = forward({grid.x[i], grid.y[r]}, row, optics);
    }
    line.front() = {line[1].x - reach_of(grid), line[1].y};
    line.back() = {line[kGridColumns].x + reach_of(grid), line[kGridColumns].y};
    return line;
}

Line moved_down(Line line, double by) {
    for (Point2& point : line) {
        point.y += by;
    }
    return line;
}

// Twice the area of the triangle that a point makes with a side; positive clockwise, y being down.
double signed_area_with(const Point2& a, const Point2& b, const Point2& p) {
    return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

double area_with(const Point2& a, const Point2& b, const Point2& p) {
    return std::fabs(signed_area_with(a, b, p));
}

double length(const Point2& a, const Point2& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    return std::sqrt(dx * dx + dy * dy);
}

// 0 on the upper side of the quadrangle, 1 on the lower one.
double part_below(const std::array<Point2, 4>& q, const Point2& p) {
    const double upper_length = length(q[0], q[1]);
    const double lower_length = length(q[3], q[2]);
    const double from_upper = area_with(q[0], q[1], p) * lower_length;
    const double from_lower = area_with(q[3], q[2], p) * upper_length;
    const double sum = from_upper + from_lower;
    return sum > 0.0 ? from_upper / sum : 0.0;
}

Point2 back(const Point2& p, double t, const ForwardRow& upper, const ForwardRow& lower,
            const CroppedOptics& optics) {
    const Point2 ideal = mix(map_point(lower.from_middle, p), map_point(upper.from_middle, p), t);
    Point2 raw = optics.distortion.apply(ideal);
    if (optics.lens != nullptr) {
        raw = optics.lens->remove(raw, mix(lower.shift, upper.shift, t));
    }
    const double scale = t * lower.scale + (1.0 - t) * upper.scale;
    return scaled_about(optics.scale_center, raw, 1.0 / scale);
}

// A little wider than the box, for a node on its side.
NodeRange nodes_within(double low, double high, double inv_origin, double inv_cell, int32_t count) {
    constexpr double kSlack = 1e-4;
    const double from =
        std::clamp(inv_origin + inv_cell * low - kSlack, 0.0, static_cast<double>(count));
    const double to = std::clamp(inv_origin + inv_cell * high + kSlack, -1.0, count - 1.0);
    // Up and down to a whole number; not by the C library, which is called where the processor
    // cannot be relied on to have it.
    const int32_t first = cut_to_i32(from);
    const int32_t last = cut_to_i32(to);
    return {first + (first < from ? 1 : 0), last - (last > to ? 1 : 0)};
}

// Whether a node lies in a quadrangle that is not folded, or beside it by less than the slack.
bool is_nearly_inside(const std::array<Point2, 4>& q, const Point2& node) {
    for (uint32_t i = 0; i < 4; ++i) {
        const Point2& a = q[i];
        const Point2& b = q[(i + 1) % 4];
        if (!(signed_area_with(a, b, node) >= -kSlackPx * length(a, b))) {
            return false;
        }
    }
    return true;
}

// Map the nodes of the quadrangle between points k and k + 1 of the two lines. A node on a side can
// be lost by both neighbours, one in some 500000; it then goes to the first that nearly has it.
void map_quadrangle(const Line& above, const Line& below, uint32_t k, const ForwardRow& upper,
                    const ForwardRow& lower, Filling& filling) {
    Grid& grid = filling.grid;
    const Quadrangle quadrangle({above[k], above[k + 1], below[k + 1], below[k]});
    const std::array<Point2, 4>& q = quadrangle.points;
    const double left = std::min(std::min(q[0].x, q[1].x), std::min(q[2].x, q[3].x));
    const double right = quadrangle.max_x();
    const double top = std::min(std::min(q[0].y, q[1].y), std::min(q[2].y, q[3].y));
    const double bottom = std::max(std::max(q[0].y, q[1].y), std::max(q[2].y, q[3].y));
    const NodeRange rows = nodes_within(top, bottom, grid.inv_origin_y, grid.inv_cell_y, kGridRows);
    const NodeRange columns =
        nodes_within(left, right, grid.inv_origin_x, grid.inv_cell_x, kGridColumns);
    for (int32_t j = rows.first; j <= rows.last; ++j) {
        for (int32_t i = columns.first; i <= columns.last; ++i) {
            const Point2 node = {grid.x[i], grid.y[j]};
            const uint32_t index =
                static_cast<uint32_t>(j) * kGridColumns + static_cast<uint32_t>(i);
            const bool is_inside = quadrangle.is_inside(node);
            if (is_inside || (!filling.is_claimed[index] && is_nearly_inside(q, node))) {
                grid.points[index] = back(node, part_below(q, node), upper, lower, filling.optics);
                filling.is_claimed[index] = true;
            }
        }
    }
}

}  // namespace

void map_forward(const ForwardRows& rows, const ForwardOptics& optics, Grid& grid) {
    Filling filling = {CroppedOptics(optics), grid, {}};
    Line below = line_of_row(grid, 0, rows[0], filling.optics);
    Line above = moved_down(below, -reach_of(grid));
    for (uint32_t band = 0; band <= kTimeRows; ++band) {
        const ForwardRow& upper = rows[band == 0 ? 0 : band - 1];
        const ForwardRow& lower = rows[std::min(band, kTimeRows - 1)];
        if (band != 0) {
            above = below;
            below = band < kTimeRows ? line_of_row(grid, band, lower, filling.optics)
                                     : moved_down(above, reach_of(grid));
        }
        for (uint32_t k = 0; k + 1 < kLinePoints; ++k) {
            map_quadrangle(above, below, k, upper, lower, filling);
        }
    }
}

}  // namespace steadywarp
