// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "filter/breach_control.hpp"
#include "filter/polygon.hpp"
#include "support/records.hpp"

namespace steadywarp {
namespace {

using test::count_of;
using test::log_of;

// A border that leaves `room` pixels around the window from 96 to 1823 and 54 to 1025.
BoundingBox border(double room) {
    BoundingBox box;
    const double l = 96 - room, t = 54 - room, r = 1823 + room, b = 1025 + room;
    for (uint32_t i = 0; i < 4; ++i) {
        const double part = i / 4.0;
        box.points[i] = {l + (r - l) * part, t};
        box.points[4 + i] = {r, t + (b - t) * part};
        box.points[8 + i] = {r - (r - l) * part, b};
        box.points[12 + i] = {l, b - (b - t) * part};
    }
    return box;
}

TEST(CheckBreach, WantsMoreThanTwoPixelsOfRoom) {
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    FilterInput input;
    input.windows = compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
    BoundingBox elsewhere = border(-400.0);
    for (Point2& point : elsewhere.points) {
        point.x += 5000.0;
    }
    struct Row {
        const char* what;
        BoundingBox box;
        Vec3<double> correction;
        bool fits;
    };
    const Row kRows[] = {
        {"room", border(10.0), {}, true},
        {"exactly two pixels touch", border(2.0), {}, false},
        {"a little more", border(2.01), {}, true},
        {"too narrow", border(-5.0), {}, false},
        {"the polygon inside the window, no side crosses", border(-100.0), {}, false},
        {"the polygon elsewhere", elsewhere, {}, false},
        // 10 px of room less 2; 865 px off the centre a turn moves 2000 px a radian: 4 mrad.
        {"a small turn", border(10.0), {0.0, 0.003, 0.0}, true},
        {"a turn too far", border(10.0), {0.0, 0.005, 0.0}, false},
        {"a roll", border(10.0), {0.0, 0.0, 0.02}, false},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(check_breach(row.box, row.correction, input, camera), row.fits) << row.what;
    }
    // Half a turn is an angle like any other; above it the filter has gone wrong.
    constexpr double kPi = 3.141592653589793;
    EXPECT_EQ(log_of([&] { check_breach(border(10.0), {0.0, 0.0, kPi}, input, camera); }), "");
    const std::string log = log_of([&] {
        EXPECT_FALSE(check_breach(border(1e5), {0.0, 3.15, 0.0}, input, camera));
    });
    EXPECT_EQ(count_of(log,
                       "Major filter error, correction angle (0.000000, 3.150000, 0.000000) is "
                       "crazy, filter has issue."),
              1u);
}

TEST(SegmentsIntersect, KnowsEveryWayToTouch) {
    struct Row {
        const char* what;
        SegmentF a, b;
        int expected;
    };
    constexpr Row kRows[] = {
        {"crossing", {{0, 0}, {4, 4}}, {{0, 4}, {4, 0}}, 1},
        {"apart", {{0, 0}, {4, 0}}, {{0, 2}, {4, 2}}, 0},
        {"an end on the other", {{0, 0}, {4, 0}}, {{2, 0}, {2, 3}}, 2},
        {"overlap on a line", {{0, 0}, {4, 0}}, {{3, 0}, {9, 0}}, 3},
        {"apart on a line", {{0, 0}, {4, 0}}, {{5, 0}, {9, 0}}, 0},
        {"a shared end", {{0, 0}, {4, 0}}, {{4, 0}, {4, 4}}, 3},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(segments_intersect(row.a, row.b), row.expected) << row.what;
        EXPECT_EQ(segments_intersect(row.b, row.a), row.expected) << row.what;
    }
}

TEST(Quadrangle, ContainsItsSides) {
    const Quadrangle square({Point2{0, 0}, {10, 0}, {10, 6}, {0, 6}});
    EXPECT_DOUBLE_EQ(square.area(), 120.0);
    EXPECT_DOUBLE_EQ(square.max_x(), 10.0);
    EXPECT_TRUE(square.is_inside({5, 3}));
    EXPECT_TRUE(square.is_inside({10, 3}));
    EXPECT_TRUE(square.is_inside({0, 0}));
    EXPECT_FALSE(square.is_inside({10.1, 3}));
    EXPECT_FALSE(square.is_inside({-1, 6}));
}

}  // namespace
}  // namespace steadywarp
