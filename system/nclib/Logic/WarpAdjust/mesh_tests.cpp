// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/mesh_tests.hpp"

#include <algorithm>

namespace {

// Two ends closer than this coincide; squared distance.
constexpr float kCoincidence = 1e-10f;

// (b.y-a.y)(c.x-b.x) - (c.y-b.y)(b.x-a.x): positive when a, b, c turn clockwise on the screen's
// axes turned upside down, zero when they lie on one line.
float Orient(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b,
             const NcLibWarpGridCoord& c) {
    return (b.y - a.y) * (c.x - b.x) - (c.y - b.y) * (b.x - a.x);
}

int OrientSign(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b,
               const NcLibWarpGridCoord& c) {
    const float orient = Orient(a, b, c);
    if (orient <= -NC_LIB_ORIENTATION_BAND) {
        return -1;
    }
    return orient >= NC_LIB_ORIENTATION_BAND ? 1 : 0;
}

// How often the ray from `point` to `ray_end` crosses the polygon. Each vertex
// is placed against the ray once, and only sides that change sides of it are asked where they do.
// @return false if a vertex lies on the ray or the point or the ray's end on a side, within the
//         band: then the test of two segments has to tell what that means.
bool CountClearCrossings(const NcLibWarpGridCoord* polygon, uint32_t count,
                         const NcLibWarpGridCoord& point, const NcLibWarpGridCoord& ray_end,
                         uint32_t& crossings) {
    crossings = 0;
    const NcLibWarpGridCoord* from = &polygon[count - 1];
    int from_sign = OrientSign(point, ray_end, *from);
    for (uint32_t i = 0; i < count; ++i) {
        const NcLibWarpGridCoord* to = &polygon[i];
        const int to_sign = OrientSign(point, ray_end, *to);
        if (from_sign == 0 || to_sign == 0) {
            return false;
        }
        if (from_sign != to_sign) {
            const int at_point = OrientSign(*from, *to, point);
            const int at_end = OrientSign(*from, *to, ray_end);
            if (at_point == 0 || at_end == 0) {
                return false;
            }
            crossings += at_point != at_end ? 1 : 0;
        }
        from = to;
        from_sign = to_sign;
    }
    return true;
}

bool LiesInBoundingBox(const NcLibWarpGridCoord& point, NcLibSegment segment) {
    return point.x >= std::min(segment.p->x, segment.q->x) &&
           point.x <= std::max(segment.p->x, segment.q->x) &&
           point.y >= std::min(segment.p->y, segment.q->y) &&
           point.y <= std::max(segment.p->y, segment.q->y);
}

}  // namespace

uint32_t NcLibInternalIntersectTest(NcLibSegment first, NcLibSegment second) {
    const int o1 = OrientSign(*first.p, *first.q, *second.p);
    const int o2 = OrientSign(*first.p, *first.q, *second.q);
    if (o1 == o2 && o1 != 0) {  // clearly on one side: the common case
        return 0;
    }
    const int o3 = OrientSign(*second.p, *second.q, *first.p);
    const int o4 = OrientSign(*second.p, *second.q, *first.q);

    if (o1 == 0 && o2 == 0 && o3 == 0 && o4 == 0) {
        const bool overlap =
            LiesInBoundingBox(*second.p, first) || LiesInBoundingBox(*second.q, first) ||
            LiesInBoundingBox(*first.p, second) || LiesInBoundingBox(*first.q, second);
        return overlap ? 3 : 0;
    }
    if (o1 == o2 || o3 == o4) {
        return 0;
    }
    const bool second_has_end_on_first = o1 == 0 || o2 == 0;
    const bool first_has_end_on_second = o3 == 0 || o4 == 0;
    if (!second_has_end_on_first && !first_has_end_on_second) {
        return 1;
    }
    if (!second_has_end_on_first) {
        return 2;
    }
    if (!first_has_end_on_second) {
        return 3;
    }
    const NcLibWarpGridCoord& end_of_second = o1 == 0 ? *second.p : *second.q;
    const NcLibWarpGridCoord& end_of_first = o3 == 0 ? *first.p : *first.q;
    const float dx = end_of_second.x - end_of_first.x;
    const float dy = end_of_second.y - end_of_first.y;
    return dx * dx + dy * dy <= kCoincidence ? 3 : 0;
}

bool NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(const NcLibWarpGridCoord* polygon,
                                                               uint32_t count,
                                                               NcLibWarpGridCoord point,
                                                               float max_x) {
    if (count == 0) {
        return true;
    }
    for (const float tilt : {0.0f, 1.0f}) {
        const NcLibWarpGridCoord ray_end = {max_x + 1.0f, point.y + tilt};
        uint32_t crossings = 0;
        if (CountClearCrossings(polygon, count, point, ray_end, crossings)) {
            return crossings % 2 == 0;
        }
        crossings = 0;
        bool is_ambiguous = false;
        for (uint32_t i = 0; i < count; ++i) {
            const NcLibSegment side = {&polygon[i], &polygon[i + 1 < count ? i + 1 : 0]};
            switch (NcLibInternalIntersectTest({&point, &ray_end}, side)) {
                case 1:
                    ++crossings;
                    break;
                case 2:
                    return true;
                case 3:
                    is_ambiguous = true;
                    break;
                default:
                    break;
            }
        }
        if (!is_ambiguous) {
            return crossings % 2 == 0;
        }
    }
    return false;
}
