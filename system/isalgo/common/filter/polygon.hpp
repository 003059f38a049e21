// SPDX-License-Identifier: Apache-2.0
/// @file polygon.hpp
/// Small polygons and whether segments touch, in the tolerances of the breach control.
#pragma once

#include <array>
#include <cstdint>

#include "base/vec3.hpp"
#include "steadywarp/nclib.h"

namespace steadywarp {

/// Half width of the band in which a cross product counts as zero; squared pixels.
inline constexpr double kCrossProductBand = 1e-5;

/// A segment of float vertices.
struct SegmentF {
    NcLibWarpGridCoord p;
    NcLibWarpGridCoord q;
};

/// The side of the line from `a` to `b` that `c` lies on: -1 or 1, and 0 within the band. Computed
/// in double precision.
inline int orientation(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b,
                       const NcLibWarpGridCoord& c) {
    const double ax = static_cast<double>(a.x);
    const double ay = static_cast<double>(a.y);
    const double bx = static_cast<double>(b.x);
    const double by = static_cast<double>(b.y);
    const double cx = static_cast<double>(c.x);
    const double cy = static_cast<double>(c.y);
    const double cross = (by - ay) * (cx - bx) - (cy - by) * (bx - ax);
    return (cross >= kCrossProductBand ? 1 : 0) - (cross <= -kCrossProductBand ? 1 : 0);
}

/// Test whether two segments touch. Computed in double precision.
///
/// @return 0: no contact; 1: they cross; 2: an end of one lies on the other; 3: they overlap on
///         one line or share an end.
int segments_intersect(const SegmentF& a, const SegmentF& b);

/// A polygon of N vertices in order around it, pixels.
template <uint32_t N>
class Polygon_t {
  public:
    explicit Polygon_t(const std::array<Point2, N>& vertices) : points(vertices) {}
    virtual ~Polygon_t() = default;

    /// Whether `point` lies inside or on a side.
    virtual bool is_inside(const Point2& point) const = 0;
    /// Twice the signed area.
    virtual double area() const = 0;
    /// The largest x of the vertices.
    virtual double max_x() const = 0;

    std::array<Point2, N> points;
};

class Quadrangle final : public Polygon_t<4> {
  public:
    using Polygon_t<4>::Polygon_t;
    bool is_inside(const Point2& point) const override;
    double area() const override;
    double max_x() const override;
};

}  // namespace steadywarp
