// SPDX-License-Identifier: Apache-2.0
// Reversal of meshes: what covers a lattice, and what fills the rest.
#include <limits>

#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

// A source mesh on whole steps of `step` from (start, start), landing where it stands.
struct Mesh {
    std::vector<float> rows, columns;
    std::vector<Point> landing;
    NcLibWarpReverseGridIn in = {};

    Mesh(int32_t num_rows, int32_t num_columns, float start, float step) {
        for (int32_t r = 0; r < num_rows; ++r) {
            rows.push_back(start + step * static_cast<float>(r));
        }
        for (int32_t c = 0; c < num_columns; ++c) {
            columns.push_back(start + step * static_cast<float>(c));
        }
        for (const float y : rows) {
            for (const float x : columns) {
                landing.push_back({x, y});
            }
        }
        in.srcGridNumRows = num_rows;
        in.srcGridNumColumns = num_columns;
        in.srcGridRowCoords = rows.data();
        in.srcGridColumnCoords = columns.data();
        in.dstCoords = landing.data();
    }
    Mesh(const Mesh&) = delete;

    Mesh& Lattice(int32_t num_rows, int32_t num_columns, float start, float end) {
        in.dstGridNumRows = num_rows;
        in.dstGridNumColumns = num_columns;
        in.dstGridStartX = in.dstGridStartY = start;
        in.dstGridEndX = in.dstGridEndY = end;
        return *this;
    }
    std::vector<Point> Reversed(float* percent = nullptr) const {
        std::vector<Point> out(static_cast<size_t>(in.dstGridNumRows * in.dstGridNumColumns));
        EXPECT_EQ(NcLibWarpReverseGridDirection(&in, out.data(), percent), NC_LIB_SUCCESS);
        return out;
    }
};

TEST(Reversal, OfAMeshOnTheLatticeGivesSourceCoordinatesInEveryCut) {
    for (const int32_t triangulation : {0, 1, 2}) {
        Mesh mesh(5, 5, 0, 10);
        mesh.in.triangulation = triangulation;
        for (Point& p : mesh.landing) {
            p = {p.x + 100, 2 * p.y + 100};
        }
        mesh.Lattice(5, 5, 100, 140);
        mesh.in.dstGridEndY = 180;
        float percent = -1;
        const auto out = mesh.Reversed(&percent);
        EXPECT_EQ(percent, 0);
        for (int i = 0; i < 25; ++i) {
            EXPECT_NEAR(out[i].x, i % 5 * 10.0, 1e-4) << i;
            EXPECT_NEAR(out[i].y, i / 5 * 10.0, 1e-4) << i;
        }
    }
}

TEST(Reversal, CutsACellAsAsked) {
    // One corner of a single cell lands elsewhere; the centre of the lattice tells which diagonal
    // the cell was cut along. By hand: the centre of a diagonal that the corner is not on stays.
    struct Row {
        int32_t triangulation;
        int corner;
        bool stays;
    };
    constexpr Row kRows[] = {
        {1, 1, true}, {1, 0, false}, {0, 1, false}, {0, 0, true}, {2, 0, true}};
    for (const Row& row : kRows) {
        Mesh mesh(2, 2, 0, 10);
        mesh.in.triangulation = row.triangulation;
        mesh.landing[row.corner].y -= 4;
        const auto out = mesh.Lattice(3, 3, 0, 10).Reversed();
        EXPECT_EQ(std::fabs(out[4].y - 5) < 1e-4f, row.stays)
            << row.triangulation << " corner " << row.corner << " gives " << out[4].y;
    }
}

TEST(Reversal, FillsBeyondTheMeshAsAsked) {
    // The mesh covers 10 .. 30 of a lattice 0 .. 40 and is shifted by (+3, 0) on the way.
    struct Row {
        uint32_t extrapolation;
        Point left, right;  // expected at lattice nodes (0, 20) and (40, 20)
    };
    // Source node 0 stands at (7, 10); the left side is nearest at (7, 20), the right at (27, 20).
    constexpr Row kRows[] = {{0, {7, 20}, {27, 20}},
                             {1, {-3, 20}, {37, 20}},
                             {2, {-3, 20}, {37, 20}},
                             {7, {-3, 20}, {37, 20}}};
    for (const Row& row : kRows) {
        Mesh mesh(3, 3, 10, 10);
        for (float& x : mesh.columns) {
            x -= 3;
        }
        mesh.in.extrapolation = row.extrapolation;
        float percent = 0;
        const auto out = mesh.Lattice(5, 5, 0, 40).Reversed(&percent);
        EXPECT_EQ(percent, 64.0f);  // 16 of 25
        EXPECT_LT(Distance(out[2 * 5], row.left), 1e-4f) << row.extrapolation;
        EXPECT_LT(Distance(out[2 * 5 + 4], row.right), 1e-4f) << row.extrapolation;
        EXPECT_LT(Distance(out[2 * 5 + 2], {17, 20}), 1e-4f) << row.extrapolation;
        if (row.extrapolation >= 1) {
            EXPECT_LT(Distance(out[24], {37, 40}), 1e-4f) << row.extrapolation;
        }
    }
}

TEST(Reversal, CoversATenMillionthBeyondAnEdge) {
    // Left of a cell of 8 by 8 a node has a weight of minus an eighth of its distance.
    for (const int32_t triangulation : {0, 1}) {
        for (const float weight : {0.75e-7f, 1.25e-7f}) {
            Mesh mesh(2, 2, 0, 8);
            mesh.in.triangulation = triangulation;
            mesh.Lattice(2, 2, 3, 5);
            mesh.in.dstGridStartX = -8 * weight;
            float percent = -1;
            mesh.Reversed(&percent);
            EXPECT_EQ(percent, weight < 1e-7f ? 0.0f : 50.0f) << triangulation;
        }
    }
}

TEST(Reversal, PropagationTakesTheMeanOfTwoSides) {
    // Two strips cover columns 0, 1 and 3, 4; what lies between lands nowhere. The hole is met by
    // 2*1 - 0 = 2 from the left and by 2*9 - 10 = 8 from the right.
    Mesh broken(2, 5, 0, 1);
    broken.in.extrapolation = 2;
    const float columns[5] = {0, 1, 0, 9, 10};
    for (int i = 0; i < 10; ++i) {
        broken.landing[i] = {static_cast<float>(i % 5), i < 5 ? 0.0f : 1.0f};
        broken.columns[i % 5] = columns[i % 5];
        if (i % 5 == 2) {
            broken.landing[i].x = std::numeric_limits<float>::quiet_NaN();
        }
    }
    broken.Lattice(2, 5, 0, 4);
    broken.in.dstGridEndY = 1;
    float percent = 0;
    const auto filled = broken.Reversed(&percent);
    EXPECT_EQ(percent, 20.0f);
    EXPECT_NEAR(filled[2].x, (2.0f + 8.0f) / 2, 1e-4);
    EXPECT_NEAR(filled[7].y, 1, 1e-4);
}

TEST(Reversal, PropagationNeedsTwoNodesOnASide) {
    // Columns 0, 2 and 3 are covered. Column 1 has one node to its left and two to its right, which
    // give 2*7 - 9 = 5.
    Mesh broken(2, 5, 0, 1);
    broken.in.extrapolation = 2;
    const float columns[5] = {-0.5f, 0.5f, 0, 7, 9};
    const float landing[5] = {-0.5f, 0.5f, std::numeric_limits<float>::quiet_NaN(), 2, 3};
    for (int i = 0; i < 10; ++i) {
        broken.columns[i % 5] = columns[i % 5];
        broken.landing[i] = {landing[i % 5], i < 5 ? 0.0f : 1.0f};
    }
    broken.Lattice(2, 4, 0, 3);
    broken.in.dstGridEndY = 1;
    float percent = 0;
    const auto filled = broken.Reversed(&percent);
    EXPECT_EQ(percent, 25.0f);
    EXPECT_NEAR(filled[1].x, 5, 1e-4);
    EXPECT_NEAR(filled[5].x, 5, 1e-4);
}

TEST(Reversal, AHoleInsideTheMeshIsACornerCaseOfTheBoundaryTest) {
    for (const bool tests_boundary : {false, true}) {
        Mesh mesh(9, 9, 0, 10);
        // A hole in the middle of the mesh.
        mesh.landing[4 * 9 + 4].x = std::numeric_limits<float>::quiet_NaN();
        mesh.in.extrapolation = 1;
        mesh.in.useBoundaryTest = tests_boundary;
        LogCapture log;
        const auto out = mesh.Lattice(9, 9, 0, 80).Reversed();
        EXPECT_EQ(log.Messages(), tests_boundary ? "Corner case in reverse grid calc" : "");
        // Every displacement is zero, so any of them carried over gives the position.
        EXPECT_LT(Distance(out[4 * 9 + 4], {40, 40}), 1e-4f);
    }
}

TEST(Reversal, TwiceGivesTheMeshBack) {
    Rng rng(13);
    for (int i = 0; i < 20; ++i) {
        const float bend = rng.Uniform(-1e-5f, 1e-5f);
        const float turn = rng.Uniform(-0.02f, 0.02f);
        const auto land = [=](Point p) {
            return Point{p.x + bend * p.x * p.y - turn * p.y, p.y + bend * p.y * p.y + turn * p.x};
        };
        Mesh mesh(27, 35, -1000, 60);
        mesh.in.triangulation = i % 3;
        mesh.in.extrapolation = 2;
        for (Point& p : mesh.landing) {
            p = land(p);
        }
        const auto reversed = mesh.Lattice(27, 27, -800, 500).Reversed();
        Mesh back(27, 27, -800, 50);
        back.landing = reversed;
        back.in.dstCoords = back.landing.data();
        back.in.triangulation = i % 3;
        back.in.extrapolation = 1;
        const auto again = back.Lattice(9, 9, -500, 300).Reversed();
        for (int k = 0; k < 81; ++k) {
            const Point source = {static_cast<float>(-500 + k % 9 * 100),
                                  static_cast<float>(-500 + k / 9 * 100)};
            // Linear interpolation of a bend over cells of 60: bend * 60^2 / 8 each way and axis.
            EXPECT_LT(Distance(again[k], land(source)), 0.02f) << k << " seed " << rng.Seed();
        }
    }
}

TEST(Reversal, OfHostileMeshesFillsItsLatticeAndNothingElse) {
    Rng rng(14);
    const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                         std::numeric_limits<float>::infinity(),
                         -1e30f,
                         1e30f,
                         0,
                         5};
    const LogCapture quiet;
    for (int i = 0; i < 300; ++i) {
        const int32_t rows = 1 + static_cast<int32_t>(rng.Below(5));
        const int32_t columns = 1 + static_cast<int32_t>(rng.Below(5));
        Mesh mesh(rows, columns, 0, 10);
        for (Point& p : mesh.landing) {
            if (rng.Below(4) == 0) {
                p = {odd[rng.Below(6)], odd[rng.Below(6)]};
            }
        }
        mesh.in.triangulation = static_cast<int32_t>(rng.Below(4));
        mesh.in.extrapolation = rng.Below(4);
        mesh.in.useBoundaryTest = rng.Below(2) != 0;
        mesh.Lattice(1 + static_cast<int32_t>(rng.Below(6)), 1 + static_cast<int32_t>(rng.Below(6)),
                     odd[rng.Below(6)], odd[rng.Below(6)]);
        float percent = -1;
        mesh.Reversed(&percent);
        EXPECT_GE(percent, 0);
        EXPECT_LE(percent, 100);
    }
    Mesh nothing(2, 2, 0, 1);
    Point untouched = {1, 2};
    float percent = -1;
    EXPECT_EQ(NcLibWarpReverseGridDirection(&nothing.in, &untouched, &percent), NC_LIB_SUCCESS);
    EXPECT_EQ(untouched.x, 1);
    EXPECT_EQ(percent, 0);
}

}  // namespace
