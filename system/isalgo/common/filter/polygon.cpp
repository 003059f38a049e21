// SPDX-License-Identifier: Apache-2.0
#include "filter/polygon.hpp"

#include <algorithm>

#include "nclib/Logic/WarpAdjust/mesh_tests.hpp"

namespace steadywarp {
namespace {

// Two ends within this squared distance are one point.
constexpr double kCoincidence = 1.0000000000000002e-10;

bool is_in_box_of(const NcLibWarpGridCoord& point, const SegmentF& segment) {
    return point.x >= std::min(segment.p.x, segment.q.x) &&
           point.x <= std::max(segment.p.x, segment.q.x) &&
           point.y >= std::min(segment.p.y, segment.q.y) &&
           point.y <= std::max(segment.p.y, segment.q.y);
}

NcLibWarpGridCoord to_float(const Point2& point) {
    return {static_cast<float>(point.x), static_cast<float>(point.y)};
}

}  // namespace

int segments_intersect(const SegmentF& a, const SegmentF& b) {
    const int o1 = orientation(a.p, a.q, b.p);
    const int o2 = orientation(a.p, a.q, b.q);
    if (o1 == o2 && o1 != 0) {
        return 0;
    }
    const int o3 = orientation(b.p, b.q, a.p);
    const int o4 = orientation(b.p, b.q, a.q);
    if (o1 == 0 && o2 == 0 && o3 == 0 && o4 == 0) {
        const bool overlap = is_in_box_of(b.p, a) || is_in_box_of(b.q, a) || is_in_box_of(a.p, b) ||
                             is_in_box_of(a.q, b);
        return overlap ? 3 : 0;
    }
    if (o1 == o2 || o3 == o4) {
        return 0;
    }
    const bool b_ends_on_a = o1 == 0 || o2 == 0;
    const bool a_ends_on_b = o3 == 0 || o4 == 0;
    if (!b_ends_on_a || !a_ends_on_b) {
        return b_ends_on_a || a_ends_on_b ? 2 : 1;
    }
    const NcLibWarpGridCoord& end_of_b = o1 == 0 ? b.p : b.q;
    const NcLibWarpGridCoord& end_of_a = o3 == 0 ? a.p : a.q;
    const double dx = static_cast<double>(end_of_b.x) - static_cast<double>(end_of_a.x);
    const double dy = static_cast<double>(end_of_b.y) - static_cast<double>(end_of_a.y);
    return dx * dx + dy * dy <= kCoincidence ? 3 : 0;
}

bool Quadrangle::is_inside(const Point2& point) const {
    NcLibWarpGridCoord vertices[4];
    for (uint32_t i = 0; i < 4; ++i) {
        vertices[i] = to_float(points[i]);
    }
    const NcLibWarpGridCoord p = to_float(point);
    const float right = static_cast<float>(max_x());
    if (!NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(vertices, 4, p, right)) {
        return true;
    }
    for (uint32_t i = 0; i < 4; ++i) {
        const SegmentF side = {vertices[i], vertices[(i + 1) % 4]};
        if (orientation(side.p, side.q, p) == 0 && is_in_box_of(p, side)) {
            return true;
        }
    }
    return false;
}

double Quadrangle::area() const {
    return (points[1].x - points[3].x) * (points[2].y - points[0].y) +
           (points[1].y - points[3].y) * (points[0].x - points[2].x);
}

double Quadrangle::max_x() const {
    return std::max(std::max(points[0].x, points[1].x), std::max(points[2].x, points[3].x));
}

}  // namespace steadywarp
