// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

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

// Every side of the turned window against every side of the border, all orientations worked out.
bool plain_contact(const SegmentF& a, const SegmentF& b) {
    const auto lies = [](const SegmentF& s, const NcLibWarpGridCoord& c) {
        const double px = s.p.x, py = s.p.y, qx = s.q.x, qy = s.q.y;
        const double cross = (qy - py) * (c.x - qx) - (c.y - qy) * (qx - px);
        return cross <= -1e-5 ? -1 : cross >= 1e-5 ? 1 : 0;
    };
    const auto in_box = [](const NcLibWarpGridCoord& c, const SegmentF& s) {
        return c.x >= std::min(s.p.x, s.q.x) && c.x <= std::max(s.p.x, s.q.x) &&
               c.y >= std::min(s.p.y, s.q.y) && c.y <= std::max(s.p.y, s.q.y);
    };
    const int o1 = lies(a, b.p), o2 = lies(a, b.q), o3 = lies(b, a.p), o4 = lies(b, a.q);
    if (o1 == 0 && o2 == 0 && o3 == 0 && o4 == 0) {
        return in_box(b.p, a) || in_box(b.q, a) || in_box(a.p, b) || in_box(a.q, b);
    }
    if (o1 == o2 || o3 == o4) {
        return false;
    }
    if ((o1 == 0 || o2 == 0) && (o3 == 0 || o4 == 0)) {
        const NcLibWarpGridCoord& r = o1 == 0 ? b.p : b.q;
        const NcLibWarpGridCoord& s = o3 == 0 ? a.p : a.q;
        const double dx = double{r.x} - s.x, dy = double{r.y} - s.y;
        return dx * dx + dy * dy <= 1.0000000000000002e-10;
    }
    return true;
}

// Even-odd, for a point away from the border.
bool is_enclosed(const NcLibWarpGridCoord& p, const NcLibWarpGridCoord (&sides)[kBorderPoints]) {
    bool inside = false;
    for (uint32_t i = 0; i < kBorderPoints; ++i) {
        const NcLibWarpGridCoord& a = sides[i];
        const NcLibWarpGridCoord& b = sides[(i + 1) % kBorderPoints];
        if ((a.y > p.y) != (b.y > p.y)) {
            const double x = a.x + (double{p.y} - a.y) * (double{b.x} - a.x) / (double{b.y} - a.y);
            inside = p.x < x ? !inside : inside;
        }
    }
    return inside;
}

TEST(CheckBreach, DecidesAsTheTestOfAllPairsOfSides) {
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    FilterInput input;
    input.windows = compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
    const int rounds = std::getenv("STEADYWARP_ATTACK_ROUNDS") != nullptr ? 10000000 : 100000;
    std::mt19937 random(5);
    const auto uniform = [&](double low, double high) {
        return low + (high - low) * (static_cast<double>(random()) / 4294967296.0);
    };
    int fitting = 0;
    for (int i = 0; i < rounds; ++i) {
        // Corners of the border on whole and half pixels meet those of an unturned window exactly.
        BoundingBox box = border(i % 3 == 0 ? 2.0 : uniform(0.0, 12.0));
        for (uint32_t k = 0; k < kBorderPoints; ++k) {
            if (random() % 4 == 0) {
                box.points[k].x += uniform(-3.0, 3.0);
                box.points[k].y += random() % 2 == 0 ? 0.0 : uniform(-1e-6, 1e-6);
            }
        }
        const double turn = i % 4 == 0 ? 0.0 : uniform(0.0, 0.006);
        const Vec3<double> correction = {turn * uniform(-1, 1), turn * uniform(-1, 1),
                                         turn * uniform(-1, 1)};
        const Matrix3 h = rotation_to_homography(camera, -correction, input.windows.scale);
        NcLibWarpGridCoord window[4], sides[kBorderPoints];
        const Point2 corners[4] = {{94, 52}, {1825, 52}, {1825, 1027}, {94, 1027}};
        for (int k = 0; k < 4; ++k) {
            const Point2 p = map_point(h, corners[k]);
            window[k] = {static_cast<float>(p.x), static_cast<float>(p.y)};
        }
        for (uint32_t k = 0; k < kBorderPoints; ++k) {
            sides[k] = {static_cast<float>(box.points[k].x), static_cast<float>(box.points[k].y)};
        }
        bool contact = false;
        for (int a = 0; a < 4; ++a) {
            for (uint32_t b = 0; b < kBorderPoints; ++b) {
                contact |= plain_contact({window[a], window[(a + 1) % 4]},
                                         {sides[b], sides[(b + 1) % kBorderPoints]});
            }
        }
        const bool fits = check_breach(box, correction, input, camera);
        ASSERT_EQ(fits, !contact && is_enclosed(window[0], sides)) << "round " << i;
        fitting += fits ? 1 : 0;
    }
    EXPECT_GT(fitting, rounds / 10);
    EXPECT_LT(fitting, rounds - rounds / 10);
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
