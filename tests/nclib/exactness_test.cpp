// SPDX-License-Identifier: Apache-2.0
// The engine's arithmetic, bit by bit: against figures from exact fractions, and against the plain
// form over millions of points.
#include <array>
#include <limits>

#include "nclib/Logic/WarpAdjust/bicubic.hpp"
#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"
#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/reference_engine.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(WarpExactness, TheWeightsAreThoseOfTheTable) {
    for (uint32_t index = 0; index <= 128; ++index) {
        float expected[3], coefs[3];
        reference::LutAt(static_cast<int>(index), expected);
        getCoefsFromLut(index, coefs);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(coefs[i], expected[i]) << index;
        }
    }
    // Of 10 bits the upper 7 say the row, and the lower 3 how far the next one is.
    float row[3], next[3], between[3];
    reference::LutAt(37, row);
    reference::LutAt(38, next);
    getInterpolatedCoefs(37 * 8 + 2, 10, between);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FLOAT_EQ(between[i], 0.75f * row[i] + 0.25f * next[i]);
    }
}

TEST(WarpExactness, BicubicInterpolationHasTheExactBitsAndIsCatmullRom) {
    for (const auto& row : reference::kBicubic) {
        Point nodes[4][4];
        for (int i = 0; i < 16; ++i) {
            nodes[i / 4][i % 4] = {row.nodes[i], -row.nodes[i]};
        }
        Point result;
        bicubicInterpolation(nodes, row.fraction_x, row.fraction_y, row.bits, &result);
        EXPECT_EQ(result.x, row.expected);
        EXPECT_EQ(result.y, -row.expected);
        // The weights are rounded to 2^-16 and interpolated over 1/128; values are up to 8192.
        EXPECT_NEAR(result.x, row.exact, 1.0);
    }
}

TEST(WarpExactness, ProductsAndInversesHaveTheExactBits) {
    for (const auto& row : reference::kMatrices) {
        float product[9], inverse[9];
        NcLibInternalMatrixProduct(row.a, row.b, product);
        EXPECT_EQ(NcLibInternalMatrixInverse(row.a, inverse), NC_LIB_SUCCESS);
        double wide[9];
        std::copy_n(row.a, 9, wide);
        EXPECT_EQ(NcLibInternalMatrixInverseDouble(wide, wide), NC_LIB_SUCCESS);
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(product[i], row.product[i]) << i;
            EXPECT_EQ(inverse[i], row.inverse[i]) << i;
            EXPECT_NEAR(wide[i], inverse[i], 1e-3 * std::fabs(wide[i]) + 1e-4) << i;
        }
    }
}

TEST(WarpExactness, AHomographyRoundsOnce) {
    for (const auto& row : reference::kHomographies) {
        Matrices matrix;
        std::copy_n(row.m, 9, matrix.array[0].T);
        Point result;
        perspectiveTransform({row.x, row.y}, &matrix.record, &result);
        EXPECT_EQ(result.x, row.expected_x);
        EXPECT_EQ(result.y, row.expected_y);
    }
}

TEST(WarpExactness, WeightsOfATriangleAreBarycentric) {
    for (const auto& row : reference::kBarycentric) {
        Grid grid(2, 2, kNone);
        // The first triangle of node (0, 0) is made of its east and its south-east neighbour.
        grid.nodes = {
            {row.c[0], row.c[1]}, {row.a[0], row.a[1]}, {-9e3f, 9e3f}, {row.b[0], row.b[1]}};
        grid.record.grid = grid.nodes.data();
        const GridPoint node = {0, 0};
        const Point point = {row.p[0], row.p[1]};
        Barycentric found;
        ASSERT_EQ(findBarycentricCoordinates(&grid.record, &node, &point, &found, false), 0u);
        EXPECT_EQ(found.nodes[1].x, 1u);
        EXPECT_EQ(found.nodes[2].y, 1u);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(found.w[i], row.w[i], 1e-6);
        }
    }
}

TEST(WarpExactness, PlanesBeyondARingHaveTheExactBits) {
    Grid grid(27, 35, kRing);
    for (uint32_t i = 0; i < grid.nodes.size(); ++i) {
        const uint32_t c = i % 35, r = i / 35;
        grid.nodes[i].x += static_cast<float>((c * 7 + r * 5) % 11) * 0.75f;
        grid.nodes[i].y += static_cast<float>((c * 7 + r * 5 + 3) % 11) * 0.75f;
    }
    for (const auto& row : reference::kPlane) {
        Point nodes[4][4];
        gridPlaneExtrapolation(&grid.record, row.first_column, row.first_row, nodes);
        const Point& node = nodes[row.row - row.first_row][row.column - row.first_column];
        EXPECT_EQ(node.x, row.x) << row.first_column;
        EXPECT_EQ(node.y, row.y) << row.first_column;
    }
}

struct GridKind {
    uint32_t chip, version, rows, columns;
    NcLibWarpGridExtrapolationType type;
};
constexpr GridKind kKinds[] = {
    {kChip10, 10, 25, 33, kCorners}, {kChip30, 30, 25, 33, kCorners},
    {kChip30, 30, 13, 17, kCorners}, {kChip20, 20, 27, 35, kRing},
    {kChip30, 30, 27, 35, kRing},    {kChip40, 40, 51, 67, kRing},
};

// Most points in the frame, some around it, few anywhere, and a few that are no numbers.
Point RandomPoint(Rng& rng) {
    const uint32_t kind = rng.Below(1000);
    if (kind < 980) {
        return rng.Point(4400, 3400);
    }
    if (kind < 995) {
        return rng.Point(20000, 20000);
    }
    if (kind < 999) {
        return {std::bit_cast<float>(static_cast<uint32_t>(rng.Bits())), rng.Uniform(-1e9f, 1e9f)};
    }
    constexpr float kOdd[] = {kNan, kInf, -kInf, 0.0f, -0.0f, 1.3e8f, -1.4e8f, 1e-40f};
    return {kOdd[rng.Below(8)], kOdd[rng.Below(8)]};
}

// 200 thousand points under the sanitizers, which take some hundred times as long, and a million
// where the processor is emulated or branches are counted.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kBatches = 40;
#elif defined(STEADYWARP_SLOW)
constexpr int kBatches = 210;
#else
constexpr int kBatches = 2100;
#endif

TEST(WarpExactness, TenMillionPointsEqualThePlainForm) {
    Rng rng(1);
    constexpr uint32_t kBatch = 5000;
    std::vector<Point> points(kBatch), mapped(kBatch);
    for (int batch = 0; batch < kBatches; ++batch) {
        const GridKind& kind = kKinds[batch % std::size(kKinds)];
        NcLibChipInfo::Set(kind.chip, 0);
        Grid grid(kind.rows, kind.columns, kind.type);
        grid.Shake(rng, 60.0f);
        for (Point& point : points) {
            point = RandomPoint(rng);
        }
        transformRegularGrid(&grid.record, points.data(), kBatch, mapped.data());
        const auto format =
            reference::FormatOf(kind.version, kind.type == kRing && kind.rows == 51);
        for (uint32_t i = 0; i < kBatch; ++i) {
            const Point expected = reference::MapPoint(grid.record, format, points[i]);
            ASSERT_TRUE(SameBits(mapped[i], expected))
                << "seed " << rng.Seed() << " batch " << batch << " point " << points[i].x << ", "
                << points[i].y << ": " << mapped[i].x << ", " << mapped[i].y << " instead of "
                << expected.x << ", " << expected.y;
        }
    }
}

TEST(WarpExactness, EveryCellBorderEqualsThePlainForm) {
    // Node positions, the steps of the fixed point beside them, and both outer edges.
    for (const GridKind& kind : kKinds) {
        NcLibChipInfo::Set(kind.chip, 0);
        Rng rng(2);
        Grid grid(kind.rows, kind.columns, kind.type);
        grid.Shake(rng, 60.0f);
        const auto format =
            reference::FormatOf(kind.version, kind.type == kRing && kind.rows == 51);
        std::vector<Point> points;
        for (float base = -4608; base <= 4608; base += 128) {
            for (const float by : {-0.0625f, -0.03125f, -0.03f, 0.0f, 0.03125f, 0.0625f, 64.0f}) {
                points.push_back({base + by, 0.75f * base});
                points.push_back({1000.0f, base + by});
                points.push_back({base + by, base - by});
            }
        }
        std::vector<Point> mapped(points.size());
        transformRegularGrid(&grid.record, points.data(), static_cast<uint32_t>(points.size()),
                             mapped.data());
        for (size_t i = 0; i < points.size(); ++i) {
            EXPECT_TRUE(SameBits(mapped[i], reference::MapPoint(grid.record, format, points[i])))
                << points[i].x << ", " << points[i].y;
        }
    }
}

TEST(WarpExactness, CornersOfAGridWithoutExtrapolationAreWorkedOutByHand) {
    Grid grid(2, 3, kCorners);
    grid.nodes = {{0, 0}, {10, 1}, {20, 0}, {0, 10}, {11, 12}, {5000, 5000}};
    grid.record.grid = grid.nodes.data();
    NcLibCalcExtrapolationPointsInternal(&grid.record);
    // 4a - 2b - 2c + d, each from the 2x2 nodes at its corner; the second and the last leave the
    // range of the hardware.
    const Point expected[4] = {{-9, -10}, {-8192, -8192}, {-12, 17}, {8191.875f, 8191.875f}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(SameBits(grid.corners[i], expected[i]))
            << i << ": " << grid.corners[i].x << ", " << grid.corners[i].y;
    }
    NcLibChipInfo::Set(kChip10, 0);
    Grid bare(25, 33, kNone);
    Grid explicit_corners(25, 33, kCorners);
    const Point points[3] = {{-4096, -3072}, {4200, 3100}, {-5000, 0}};
    Point from_bare[3], from_explicit[3];
    transformRegularGrid(&bare.record, points, 3, from_bare);
    transformRegularGrid(&explicit_corners.record, points, 3, from_explicit);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(SameBits(from_bare[i], from_explicit[i])) << i;
    }
}

TEST(WarpExactness, GridsOfOneRowOrColumnStayInsideTheirMemory) {
    NcLibChipInfo::Set(kChip10, 0);
    for (const auto& [rows, columns] : {std::pair{1u, 1u}, {1u, 7u}, {7u, 1u}}) {
        Grid grid(2, 8, kNone);
        grid.nodes.assign(rows * columns, {5, 5});
        grid.record.grid = grid.nodes.data();
        grid.record.numRows = rows;
        grid.record.numColumns = columns;
        Point points[3] = {{-4096, -3072}, {0, 0}, {1e9f, -1e9f}};
        transformRegularGrid(&grid.record, points, 3, points);
        for (const Point& point : points) {
            EXPECT_TRUE(SameBits(point, {5, 5})) << rows << " by " << columns;
        }
    }
}

}  // namespace
