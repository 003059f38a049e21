// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "nclib/Logic/WarpAdjust/mesh_tests.hpp"

namespace {

using Point = NcLibWarpGridCoord;

TEST(NcLibInternalIntersectTest, ClassifiesEveryWayTwoSegmentsMeet) {
    struct Row {
        const char* what;
        Point p, q, r, s;
        uint32_t expected;
    };
    constexpr Row kRows[] = {
        {"proper crossing", {0, 0}, {4, 4}, {0, 4}, {4, 0}, 1},
        {"apart", {0, 0}, {4, 0}, {0, 2}, {4, 2}, 0},
        {"the lines cross, the segments do not", {0, 0}, {1, 1}, {0, 4}, {4, 0}, 0},
        {"first ends on the second", {2, 2}, {2, 0}, {0, 0}, {4, 0}, 2},
        {"second ends on the first", {0, 0}, {4, 0}, {2, 0}, {2, 3}, 3},
        {"one line, overlapping", {0, 0}, {4, 0}, {3, 0}, {9, 0}, 3},
        {"one line, second inside the first", {0, 0}, {9, 0}, {3, 0}, {4, 0}, 3},
        {"one line, apart", {0, 0}, {4, 0}, {5, 0}, {9, 0}, 0},
        {"a common end", {0, 0}, {4, 0}, {4, 0}, {4, 4}, 3},
        {"a common end, other order", {4, 0}, {0, 0}, {4, 4}, {4, 0}, 3},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(NcLibInternalIntersectTest({&row.p, &row.q}, {&row.r, &row.s}), row.expected)
            << row.what;
    }
}

TEST(NcLibInternalIntersectTest, TakesACrossProductInsideTheBandForZero) {
    const Point p = {0, 0};
    const Point q = {1, 0};
    const Point r = {0.5f, 0.9e-5f};
    const Point s = {0.5f, 1.0f};
    EXPECT_EQ(NcLibInternalIntersectTest({&p, &q}, {&r, &s}), 3u);
    const Point above_the_band = {0.5f, 1.1e-5f};
    EXPECT_EQ(NcLibInternalIntersectTest({&p, &q}, {&above_the_band, &s}), 0u);
}

TEST(PointOutsidePolygon, AnswersForASquareAndItsBoundary) {
    const std::vector<Point> square = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    struct Row {
        Point point;
        bool outside;
    };
    constexpr Row kRows[] = {
        {{5, 5}, false},
        {{1, 9}, false},
        {{-1, 5}, true},
        {{11, 5}, true},
        {{5, -0.5f}, true},
        {{10, 5}, true},
        {{0, 5}, true},
        {{5, 0}, true},
        // The ray to the right runs along the lower side: the tilted ray decides.
        {{-3, 10}, true},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(square.data(), 4,
                                                                            row.point, 10.0f),
                  row.outside)
            << row.point.x << ", " << row.point.y;
    }
    EXPECT_TRUE(
        NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(square.data(), 0, {5, 5}, 10.0f));
}

TEST(PointOutsidePolygon, AVertexOnTheRayIsDecidedByTheTiltedRay) {
    // A diamond: the level ray from inside meets the right vertex.
    const std::vector<Point> diamond = {{0, -5}, {5, 0}, {0, 5}, {-5, 0}};
    EXPECT_FALSE(
        NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(diamond.data(), 4, {0, 0}, 5.0f));
    EXPECT_TRUE(NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(diamond.data(), 4,
                                                                          {-9, 0}, 5.0f));
}

}  // namespace
