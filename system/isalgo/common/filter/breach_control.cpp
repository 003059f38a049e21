// SPDX-License-Identifier: Apache-2.0
#include "filter/breach_control.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/eis_log.hpp"
#include "filter/polygon.hpp"
#include "nclib/Logic/WarpAdjust/mesh_tests.hpp"

namespace steadywarp {
namespace {

constexpr double kPi = 3.141592653589793;

// Pixels that the window keeps away from the border.
constexpr double kGuardPx = 2.0;

using Corners = std::array<NcLibWarpGridCoord, 4>;
using BorderF = std::array<NcLibWarpGridCoord, kBorderPoints>;

NcLibWarpGridCoord to_float(const Point2& point) {
    return {static_cast<float>(point.x), static_cast<float>(point.y)};
}

// The grown window's corners, clockwise from the top left, where the correction takes them.
Corners turned_window(const FilterInput& input, const Vec3<double>& correction,
                      const Camera& camera) {
    const frame_geometry_windows& crop = input.windows;
    const double left = crop.output_left - kGuardPx;
    const double right = crop.output_right + kGuardPx;
    const double top = crop.output_top - kGuardPx;
    const double bottom = crop.output_bottom + kGuardPx;
    const Matrix3 turn = rotation_to_homography(camera, -correction, crop.scale);
    return {to_float(map_point(turn, {left, top})), to_float(map_point(turn, {right, top})),
            to_float(map_point(turn, {right, bottom})), to_float(map_point(turn, {left, bottom}))};
}

// Whether a side of the window touches the border. Two ends of a border side that lie clearly on
// the same side of the window's line make no contact; most do, so the full test is left to the
// rest.
bool side_touches(const SegmentF& side, const BorderF& border) {
    std::array<int, kBorderPoints> lies;
    for (uint32_t b = 0; b < kBorderPoints; ++b) {
        lies[b] = orientation(side.p, side.q, border[b]);
    }
    for (uint32_t b = 0; b < kBorderPoints; ++b) {
        const uint32_t next = (b + 1) % kBorderPoints;
        const bool is_clear = lies[b] == lies[next] && lies[b] != 0;
        if (!is_clear && segments_intersect(side, {border[b], border[next]}) != 0) {
            return true;
        }
    }
    return false;
}

bool touches(const Corners& corners, const BorderF& border) {
    for (uint32_t c = 0; c < corners.size(); ++c) {
        if (side_touches({corners[c], corners[(c + 1) % corners.size()]}, border)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool check_breach(const BoundingBox& box, const Vec3<double>& correction, const FilterInput& input,
                  const Camera& camera) {
    if (std::fabs(correction.x) > kPi || std::fabs(correction.y) > kPi ||
        std::fabs(correction.z) > kPi) {
        EIS_ERR("IS0002",
                "Major filter error, correction angle (%f, %f, %f) is crazy, filter has issue.",
                correction.x, correction.y, correction.z);
        return false;
    }
    const Corners corners = turned_window(input, correction, camera);
    BorderF border;
    std::transform(box.points.begin(), box.points.end(), border.begin(), to_float);
    if (touches(corners, border)) {
        return false;
    }
    float max_x = border[0].x;
    for (const NcLibWarpGridCoord& point : border) {
        max_x = std::max(max_x, point.x);
    }
    return !NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(border.data(), kBorderPoints,
                                                                      corners[0], max_x);
}

}  // namespace steadywarp
