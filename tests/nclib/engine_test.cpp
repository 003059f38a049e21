// SPDX-License-Identifier: Apache-2.0
// Chains of transforms: zones, stages, searches, outlines, and the soundness of a mesh.
#include <limits>
#include <memory>
#include <utility>

#include "nclib/Logic/WarpAdjust/grid_boundary.hpp"
#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"
#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

// Matrix i of the array shifts x by i, so the result tells which zones took part and how much.
Point ThroughNumberedZones(uint32_t rows, uint32_t columns, Point point) {
    Matrices matrices(rows, columns);
    for (size_t i = 0; i < matrices.array.size(); ++i) {
        matrices.array[i].T[2] = static_cast<float>(i);
    }
    Point result;
    perspectiveTransform({point.x, point.y}, &matrices.record, &result);
    return {result.x - point.x, result.y - point.y};
}

TEST(PerspectiveZones, BlendTheMatricesAroundAPoint) {
    struct Row {
        const char* what;
        uint32_t rows, columns;
        Point point;
        float expected;  // blend of zone numbers, by hand from the centres
    };
    const Row kRows[] = {
        {"first corner", 3, 3, {-4000, -3000}, 0},
        {"second corner", 3, 3, {4000, -3000}, 2},
        {"third corner", 3, 3, {-4000, 3000}, 6},
        {"last corner", 3, 3, {4000, 3000}, 8},
        {"on a column centre, above all rows", 3, 3, {0, -3000}, 1},
        {"above all rows, half way between columns", 3, 3, {-1365.5f, -3000}, 0.5f},
        {"below all rows, half way between columns", 3, 3, {1365.5f, 3000}, 7.5f},
        {"left of all columns, half way between rows", 3, 3, {-4000, 1023.5f}, 4.5f},
        {"right of all columns, a quarter between rows", 3, 3, {4000, -1536.5f}, 2.75f},
        {"inside, quarter and half", 3, 3, {-682.75f, 1023.5f}, 0.75f + 4.5f},
        {"two rows, one column", 2, 1, {0, -0.5f}, 0.5f},
        {"one row, two columns", 1, 2, {-0.5f, 0}, 0.5f},
        {"one row, nine columns, in the fourth", 1, 9, {-452.5f, 0}, 3.5f},
        {"nine rows, in the last", 9, 1, {0, 2733}, 8},
        {"five columns, off their middle", 1, 5, {1, 0}, 2},
        {"seven columns", 1, 7, {2 + 585.5f, 0}, 3.5f},
        {"seven rows", 7, 1, {0, 0.5f + 439}, 3.5f},
    };
    for (const Row& row : kRows) {
        EXPECT_NEAR(ThroughNumberedZones(row.rows, row.columns, row.point).x, row.expected, 1e-3)
            << row.what;
    }
}

TEST(PerspectiveZones, AreExactAtTheirCentres) {
    // The hardware's centres by number of zones, columns first.
    const std::vector<std::vector<float>> columns = {
        {-2048.5f, 2047.5f},
        {-2731, 0, 2731},
        {-3072.5f, -1024.5f, 1023.5f, 3071.5f},
        {-3277, -1638, 1, 1640, 3279},
        {-3413.5f, -2047.5f, -681.5f, 684.5f, 2050.5f, 3416.5f},
        {-3511, -2340, -1169, 2, 1173, 2344, 3515},
        {-3584.5f, -2560.5f, -1536.5f, -512.5f, 511.5f, 1535.5f, 2559.5f, 3583.5f},
        {-3641, -2730, -1819, -908, 3, 914, 1825, 2736, 3647}};
    const std::vector<std::vector<float>> rows = {
        {-1536.5f, 1535.5f},
        {-2048.5f, -0.5f, 2047.5f},
        {-2304.5f, -768.5f, 767.5f, 2303.5f},
        {-2458, -1229, 0, 1229, 2458},
        {-2560.5f, -1536.5f, -512.5f, 511.5f, 1535.5f, 2559.5f},
        {-2633.5f, -1755.5f, -877.5f, 0.5f, 878.5f, 1756.5f, 2634.5f},
        {-2688.5f, -1920.5f, -1152.5f, -384.5f, 383.5f, 1151.5f, 1919.5f, 2687.5f},
        {-2731, -2048, -1365, -682, 1, 684, 1367, 2050, 2733}};
    for (size_t i = 0; i < columns.size(); ++i) {
        const uint32_t zones = static_cast<uint32_t>(i) + 2;
        for (uint32_t z = 0; z < zones; ++z) {
            const float number = static_cast<float>(z);
            EXPECT_NEAR(ThroughNumberedZones(1, zones, {columns[i][z], 0}).x, number, 1e-4);
            EXPECT_NEAR(ThroughNumberedZones(zones, 1, {0, rows[i][z]}).x, number, 1e-4);
        }
    }
}

TEST(PerspectiveZones, AreContinuousAcrossTheFrame) {
    for (const auto& [rows, columns] : {std::pair{3u, 3u},
                                        {1u, 9u},
                                        {9u, 1u},
                                        {2u, 4u},
                                        {1u, 6u},
                                        {8u, 1u},
                                        {4u, 2u},
                                        {1u, 8u},
                                        {6u, 1u},
                                        {5u, 1u}}) {
        Rng rng(3);
        for (int i = 0; i < 2000; ++i) {
            const Point p = rng.Point(4096, 3072);
            const Point a = ThroughNumberedZones(rows, columns, p);
            const Point b = ThroughNumberedZones(rows, columns, {p.x + 0.5f, p.y + 0.5f});
            // Zone numbers grow by `columns` over at least 683 units and by 1 over at least 911;
            // the centres are off the spacing by at most one unit.
            ASSERT_LT(std::fabs(a.x - b.x), 0.01f)
                << rows << "x" << columns << " at " << p.x << ", " << p.y << " seed " << rng.Seed();
        }
    }
}

TEST(Topology, RunsItsStagesInOrderAndSkipsDisabledOnes) {
    NcLibChipInfo::Set(kChip30, 0);
    Matrices shift, twice;
    shift.array[0].T[2] = 100;
    twice.array[0].T[0] = 2;
    Grid identity(27, 35, kRing);
    Matrices disabled(5, 5);  // a size that no enabled array may have
    disabled.record.enable = false;
    const NcLibInternalWarpTopology chain[] = {{nullptr, &shift.record, REGULAR},
                                               {nullptr, &disabled.record, INVERSE},
                                               {nullptr, &twice.record, REGULAR},
                                               {&identity.record, nullptr, REGULAR},
                                               {nullptr, &shift.record, INVERSE}};
    const Point in[2] = {{0, 0}, {-500, 200}};
    Point out[2];
    ASSERT_EQ(NcLibInternalApplyTopologyOnPoints(chain, 5, in, 2, false, out), NC_LIB_SUCCESS);
    // (x + 100) * 2 - 100
    EXPECT_TRUE(SameBits(out[0], {100, 0}));
    EXPECT_TRUE(SameBits(out[1], {-900, 200}));
    EXPECT_EQ(NcLibInternalApplyTopologyOnPoints(nullptr, 0, in, 2, false, out), NC_LIB_SUCCESS);
    EXPECT_TRUE(SameBits(out[1], in[1]));
    Point in_place[1] = {{7, 8}};
    EXPECT_EQ(NcLibInternalApplyTopologyOnPoints(chain, 1, in_place, 1, false, in_place), 0);
    EXPECT_TRUE(SameBits(in_place[0], {107, 8}));
}

TEST(InverseGrid, AnswersNodesBoundariesAndStrangers) {
    Grid grid(25, 33, kNone);
    Rng rng(4);
    grid.Shake(rng, 40.0f);
    const Grid regular(25, 33, kNone);
    std::vector<Point> out(grid.nodes.size());
    const NcLibInternalWarpTopology stage = {&grid.record, nullptr, INVERSE};
    NcLibInternalApplyTopologyOnPoints(&stage, 1, grid.nodes.data(), 825, false, out.data());
    for (size_t i = 0; i < out.size(); ++i) {
        ASSERT_LT(Distance(out[i], regular.nodes[i]), 0.01f) << i;
    }
    struct Row {
        Point point;
        bool nearest;
        bool placed;
        Point expected;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Row kRows[] = {
        {{-9000, -9000}, true, true, {-4096, -3072}},  // the corner node itself
        {{9000, 9000}, true, true, {4096, 3072}},
        {{-9000, -9000}, false, false, {}},
        {{nan, 0}, false, false, {}},
    };
    for (const Row& row : kRows) {
        Point result;
        NcLibInternalApplyTopologyOnPoints(&stage, 1, &row.point, 1, row.nearest, &result);
        if (row.placed) {
            EXPECT_TRUE(SameBits(result, row.expected)) << result.x << ", " << result.y;
        } else {
            EXPECT_TRUE(std::isnan(result.x) && std::isnan(result.y));
        }
    }
}

TEST(InverseGrid, FindsAPointThatTheDescentMisses) {
    // A pit of values far from the point lies between the start and the node that holds it.
    Grid grid(9, 9, kNone);
    for (uint32_t i = 0; i < 81; ++i) {
        if (i % 9 == 6) {
            grid.nodes[i] = {-30000, -30000};
        }
    }
    const Point target = {grid.nodes[4 * 9 + 8].x - 10, grid.nodes[4 * 9 + 8].y + 5};
    const NcLibInternalWarpTopology stage = {&grid.record, nullptr, INVERSE};
    Point found;
    NcLibInternalApplyTopologyOnPoints(&stage, 1, &target, 1, false, &found);
    EXPECT_LT(Distance(found, target), 0.01f) << found.x << ", " << found.y;
}

TEST(IcaGridPoints, GoThroughARecordThatHasAGeometry) {
    NcLibChipInfo::Set(kChip30, 0);
    Grid shifted(27, 35, kRing);
    for (Point& node : shifted.nodes) {
        node = {node.x + 10, node.y - 20};
    }
    auto grid = std::make_unique<NcLibIcaGrid>();
    ASSERT_TRUE(NcLibWarpGridToIcaGrid(&shifted.record, grid.get()));
    Point point = {100, 200};
    ASSERT_EQ(NcLibInternalApplyGridOnPoints(grid.get(), &point, 1, true, &point), NC_LIB_SUCCESS);
    EXPECT_LT(Distance(point, {110, 180}), 1e-3f);
    grid->geometry = 3;
    LogCapture log;
    EXPECT_EQ(NcLibInternalApplyGridOnPoints(grid.get(), &point, 1, true, &point),
              NC_LIB_GENERAL_ERROR);
    EXPECT_EQ(log.Messages(), "NcLibIcaGridToWarpGridRef failed");
}

TEST(GridBoundary, WalksClockwiseFromTheTopLeft) {
    // 0 1 2
    // 3 4 5
    constexpr uint32_t kWalk[6][2] = {{0, 1}, {1, 2}, {2, 5}, {5, 4}, {4, 3}, {3, 0}};
    for (uint32_t i = 0; i < 6; ++i) {
        uint32_t nodes[2];
        getNextBoundaryEdge(i, 2, 3, nodes);
        EXPECT_EQ(nodes[0], kWalk[i][0]) << i;
        EXPECT_EQ(nodes[1], kWalk[i][1]) << i;
    }
    const Point nodes[6] = {{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}};
    Point polygon[6];
    CreatePolygonFromExternalPointsOfGrid(nodes, 3, 2, 6, polygon);
    for (uint32_t i = 0; i < 6; ++i) {
        EXPECT_TRUE(SameBits(polygon[i], nodes[kWalk[i][0]])) << i;
    }
}

// A point inside of a triangle.
Point Mixed(Point a, Point b, Point c) {
    return {(a.x + b.x + c.x) / 3, (a.y + b.y + c.y) / 3};
}

TEST(GridValidate, TellsSoundMeshesFromFoldedOnes) {
    struct Row {
        const char* what;
        NcLibWarpGridExtrapolationType type;
        void (*spoil)(Grid&);
        bool expected;
    };
    const Row kRows[] = {
        {"identity", kNone, [](Grid&) {}, true},
        {"identity with corners", kCorners, [](Grid&) {}, true},
        {"disabled", kNone, [](Grid& g) { g.record.enable = false, g.record.grid = nullptr; },
         true},
        {"no nodes", kNone, [](Grid& g) { g.record.grid = nullptr; }, false},
        {"no rows", kNone, [](Grid& g) { g.record.numRows = 0; }, false},
        {"no width", kNone, [](Grid& g) { g.record.transformDefinedOn.widthPixels = 0; }, false},
        {"unknown type", EXTRAPOLATION_TYPE_MAX_VAL, [](Grid&) {}, false},
        {"an inner node over its neighbour", kNone, [](Grid& g) { g.nodes[5 * 33 + 5].x += 300; },
         false},
        {"a flat cell", kNone, [](Grid& g) { g.nodes[5 * 33 + 5] = g.nodes[5 * 33 + 6]; }, false},
        // The corner of a mesh past its cell's diagonal turns one of the cell's triangles alone.
        {"top left past", kNone,
         [](Grid& g) { g.nodes[0] = Mixed(g.nodes[1], g.nodes[33], g.nodes[34]); }, false},
        {"top right past", kNone,
         [](Grid& g) { g.nodes[32] = Mixed(g.nodes[31], g.nodes[65], g.nodes[64]); }, false},
        {"bottom left past", kNone,
         [](Grid& g) { g.nodes[792] = Mixed(g.nodes[793], g.nodes[759], g.nodes[760]); }, false},
        {"bottom right past", kNone,
         [](Grid& g) { g.nodes[824] = Mixed(g.nodes[823], g.nodes[791], g.nodes[790]); }, false},
        {"an outline that crosses itself", kNone, [](Grid& g) { g.nodes[10].y += 7000; }, false},
        {"mirrored", kNone, [](Grid& g) { g.Change_([](Point p) {
                                              return Point{-p.x, p.y};
                                          }); },
         false},
        {"corners missing", kCorners, [](Grid& g) { g.record.gridExtrapolate = nullptr; }, false},
        {"first corner inside", kCorners,
         [](Grid& g) {
             g.corners[0] = {-4000, -3000};
         },
         false},
        {"second corner inside", kCorners,
         [](Grid& g) {
             g.corners[1] = {4000, -3000};
         },
         false},
        {"third corner inside", kCorners,
         [](Grid& g) {
             g.corners[2] = {-4000, 3000};
         },
         false},
        {"last corner inside", kCorners,
         [](Grid& g) {
             g.corners[3] = {4000, 3000};
         },
         false},
    };
    LogCapture log;
    for (const Row& row : kRows) {
        Grid grid(25, 33, kNone);
        grid.record.extrapolateType = row.type;
        row.spoil(grid);
        EXPECT_EQ(NcLibWarpDebugNcLibWarpGridValidate(&grid.record), row.expected) << row.what;
    }
    EXPECT_FALSE(NcLibWarpDebugNcLibWarpGridValidate(nullptr));
    EXPECT_EQ(log.Messages(), "Invalid extrapolateType");
}

TEST(GridValidate, LaterMeshesUseTheFirstOnesSizeAtTheirCornersAndStayInTheirMemory) {
    Grid first(25, 33, kCorners);
    EXPECT_TRUE(NcLibWarpDebugNcLibWarpGridValidate(&first.record));
    Grid smaller(5, 5, kCorners);
    EXPECT_TRUE(NcLibWarpDebugNcLibWarpGridValidate(&smaller.record));
    // Its own last row and column are what a corner is held against.
    const Point right = std::exchange(smaller.corners[1], {4000, -3080});
    EXPECT_FALSE(NcLibWarpDebugNcLibWarpGridValidate(&smaller.record));
    smaller.corners[1] = right;
    smaller.corners[2] = {-4100, 3000};
    EXPECT_FALSE(NcLibWarpDebugNcLibWarpGridValidate(&smaller.record));
    // The corner of a larger mesh is looked for where the first mesh ended: its middle.
    Grid larger(49, 65, kCorners);
    EXPECT_FALSE(NcLibWarpDebugNcLibWarpGridValidate(&larger.record));
}

}  // namespace
