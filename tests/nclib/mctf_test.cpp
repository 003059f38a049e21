// SPDX-License-Identifier: Apache-2.0
// Motion between two frames in the domain of a temporal filter: against the same motion composed by
// hand, point by point.
#include "steadywarp/nclib_temporal.h"
#include "support/frame_fixtures.hpp"

namespace {

using namespace warp_test;

constexpr uint32_t kD = DISTORTED_IMAGE_DOMAIN, kU = UNDISTORTED_IMAGE_DOMAIN,
                   kS = STABILIZED_IMAGE_DOMAIN;

struct Scene {
    Frame now, before;
    Alignment alignment{kMotion};
    NcLibImageSize size{1920, 1440};
    NcLibCalcMctfIn in{};
    WarpRoom room;
    NcLibWarp& out = room.record;

    Scene(uint32_t out_domain, uint32_t alignment_domain, bool has_lens, uint32_t zones = 1)
        : now(2e-9, kHandNow, zones), before(1e-9, kHandBefore, zones) {
        NcLibChipInfo::Set(kChip30, 0);
        now.lens.grid.enable = before.lens.grid.enable = has_lens;
        in.inputSize = &size;
        in.eisFOV = {1920, 1440, 0, 0, 1920, 1440};
        in.frameWarps = {alignment_domain, &alignment.warp, &now.record,
                         &before.record,   &now.lens,       &before.lens};
        in.outDomain = out_domain;
        out.grid.numRows = 27;
        out.grid.numColumns = 35;
    }
    int32_t Run() { return NcLibCalcMctfTransform(&in, &out); }
};

void ExpectMatrix(const Scene& scene, const Map& expected, double tolerance) {
    const NcLibWarpMatrices& m = scene.out.matrices;
    EXPECT_TRUE(m.enable && !scene.out.grid.enable);
    EXPECT_EQ(scene.out.direction, uint32_t{OUT_2_IN});
    EXPECT_EQ(m.centerType, uint32_t{NOT_CENTERED});
    EXPECT_EQ(m.confidence, 200u);
    EXPECT_EQ(m.numRows * m.numColumns, 1u);
    EXPECT_TRUE(nclib::IsVirtualSize(m.transformDefinedOn));
    for (double x = -4000; x <= 4000; x += 2000) {
        for (double y = -3000; y <= 3000; y += 1500) {
            EXPECT_LT(Distance(Apply(m.perspMatrices[0], {x, y}), expected({x, y})), tolerance)
                << x << " " << y;
        }
    }
}

TEST(Mctf, ReturnsTheAlignmentWhereNothingLiesBetweenTheDomains) {
    struct Row {
        uint32_t out_domain, alignment_domain;
        bool has_lens, has_hand;
    };
    constexpr Row kRows[] = {
        {kS, kS, true, true},   {kD, kD, true, true},  {kD, kU, false, true},
        {kD, kS, false, false}, {kS, kU, true, false}, {kS, kD, false, false},
    };
    for (const Row& row : kRows) {
        Scene scene(row.out_domain, row.alignment_domain, row.has_lens);
        scene.now.stabilization.matrices.enable = row.has_hand;
        scene.before.stabilization.matrices.enable = row.has_hand;
        ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
        EXPECT_EQ(scene.out.matrices.centerType, uint32_t{CENTERED});
        EXPECT_EQ(scene.out.matrices.confidence, 200u);
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(scene.room.matrices[0].T[i], scene.alignment.matrices.array[0].T[i]);
        }
    }
    // Whatever it holds.
    const auto grid = GridOf(Barrel(3e-9));
    Scene scene(kS, kS, true);
    scene.alignment.warp.grid = grid->record;
    ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
    EXPECT_TRUE(scene.out.grid.enable);
    EXPECT_TRUE(SameBits(scene.room.nodes[100], grid->nodes[100]));
}

TEST(Mctf, MultipliesMatricesWithoutGrids) {
    for (const uint32_t domain : {kD, kU}) {
        Scene scene(kS, domain, false);
        ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
        ExpectMatrix(
            scene, [&](P p) { return scene.before.Steady(Apply(kMotion, scene.now.Shake(p))); },
            0.05);
    }
    // As the formula has it: into the frame before, along the motion, back out of this frame.
    Scene scene(kD, kS, false);
    ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
    ExpectMatrix(
        scene, [&](P p) { return scene.now.Steady(Apply(kMotion, scene.before.Shake(p))); }, 0.05);
}

TEST(Mctf, LaysAGridOverTheDistortedFrame) {
    struct Row {
        const char* what;
        uint32_t zones;
        bool is_fine, is_forward;
        NcLibZoomWindow fov;
    };
    const Row kRows[] = {
        {"one matrix", 1, false, false, {1920, 1440, 0, 0, 1920, 1440}},
        {"fine grid", 1, true, false, {1920, 1440, 0, 0, 1920, 1440}},
        {"zone matrices", 3, false, false, {1920, 1440, 0, 0, 1920, 1440}},
        {"current warps given forward", 1, false, true, {1920, 1440, 0, 0, 1920, 1440}},
        {"part of the frame", 1, false, false, {1920, 1440, 240, 180, 1440, 1080}},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        Scene scene(kD, kS, true, row.zones);
        scene.in.eisFOV = row.fov;
        if (row.is_fine) {
            scene.out.grid.numRows = 51;
            scene.out.grid.numColumns = 67;
        }
        const auto forward_lens = GridOf(Unbarrel(2e-9));
        if (row.is_forward) {
            scene.now.lens = {{}, forward_lens->record, IN_2_OUT};
            scene.now.matrices.array[0] = AsSingle(Inverse(kHandNow));
            scene.now.stabilization.direction = IN_2_OUT;
        }
        ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
        const NcLibWarpGrid& grid = scene.out.grid;
        ASSERT_TRUE(grid.enable && !scene.out.matrices.enable);
        EXPECT_EQ(grid.extrapolateType, kRing);
        EXPECT_TRUE(nclib::IsVirtualSize(grid.transformDefinedOn));
        EXPECT_EQ(scene.out.direction, uint32_t{OUT_2_IN});
        // The field of view is stretched onto the virtual domain.
        const double part = row.fov.width / 1920.0;
        const uint32_t columns = grid.numColumns, rows = grid.numRows;
        // A grid backward is linear in its triangles: 256^2/8 * 6 k r is up to 0.4 on each axis.
        // The outermost nodes can leave the mesh of the lens, where the nearest node answers.
        for (uint32_t r = 4; r + 4 < rows; ++r) {
            for (uint32_t c = 4; c + 4 < columns; ++c) {
                const P node = {(c - columns / 2.0 + 0.5) * 8192 / (columns - 3) * part,
                                (r - rows / 2.0 + 0.5) * 6144 / (rows - 3) * part};
                const P steady = scene.now.Steady(scene.now.Undistort(node));
                const P expected = scene.before.Distort(scene.before.Shake(Apply(kMotion, steady)));
                ASSERT_LT(Distance(ToP(grid.grid[r * columns + c]),
                                   {expected.x / part, expected.y / part}),
                          1.0)
                    << r << " " << c;
            }
        }
    }
}

TEST(Mctf, FitsAMatrixToWhatIsNoProduct) {
    // A lens that is a homography itself, as a grid: the whole remains one.
    constexpr H kTilt = {1.02, 0, 40, 0.01, 0.98, -30, 1e-6, 1e-6, 1};
    const auto tilt = GridOf(Of(kTilt)), same = GridOf([](P p) { return p; });
    for (const uint32_t zones : {1u, 3u}) {
        Scene scene(kS, kD, true, zones);
        scene.now.lens.grid = scene.before.lens.grid = tilt->record;
        scene.now.stabilization.grid = scene.before.stabilization.grid = same->record;
        ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
        ExpectMatrix(
            scene,
            [&](P p) {
                p = Apply(kTilt, scene.now.Shake(p));
                return scene.before.Steady(Apply(Inverse(kTilt), Apply(kMotion, p)));
            },
            1.0);
    }
    Scene scene(kS, kU, true);
    scene.now.stabilization.grid = scene.before.stabilization.grid = same->record;
    scene.in.eisFOV = {1920, 1440, 480, 360, 960, 720};
    ASSERT_EQ(scene.Run(), NC_LIB_SUCCESS);
    ExpectMatrix(
        scene, [&](P p) { return scene.before.Steady(Apply(kMotion, scene.now.Shake(p))); }, 1.0);
}

TEST(Mctf, SaysWhenTooLittleIsLeftToFitTo) {
    // The lens of the frame before is moved so far that only some of the samples lie on it: rows
    // stand every 682.67 units from -2730.5 on, columns at about -1365 and 1365.
    struct Row {
        float dx, dy;
        uint32_t confidence;
        bool has_alignment;
    };
    constexpr Row kRows[] = {
        {0, 4400, 200, true},   // three rows, six samples
        {0, 5000, 200, false},  // two rows, four samples
        {4352, 0, 200, false},  // a column of nine
        {9000, 0, 200, false},  // none
        {0, 0, 0, false},       // all, but the alignment is not trusted
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.dx + row.dy);
        Scene scene(kS, kD, true);
        scene.alignment.matrices.array[0] = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
        scene.alignment.warp.matrices.confidence = row.confidence;
        scene.now.matrices.array[0] = scene.before.matrices.array[0] =
            scene.alignment.matrices.array[0];
        const auto still = GridOf([](P p) { return p; });
        const auto moved = GridOf([&](P p) {
            return P{p.x + static_cast<double>(row.dx), p.y + static_cast<double>(row.dy)};
        });
        scene.now.lens.grid = still->record;
        scene.before.lens.grid = moved->record;
        EXPECT_EQ(scene.Run(), row.has_alignment ? NC_LIB_SUCCESS : NC_LIB_MCTF_NO_ALIGNMENT);
        EXPECT_EQ(scene.out.matrices.confidence, row.has_alignment ? 200u : 0u);
        EXPECT_EQ(scene.out.matrices.centerType, uint32_t{NOT_CENTERED});
        const P at = Apply(scene.room.matrices[0], {0, 2000});
        const double dx = row.has_alignment ? -static_cast<double>(row.dx) : 0;
        const double dy = row.has_alignment ? -static_cast<double>(row.dy) : 0;
        EXPECT_LT(Distance(at, {dx, 2000 + dy}), 0.5);
    }
}

TEST(Mfnr, TakesTheInverseOfTheAlignment) {
    Alignment alignment(kMotion);
    const auto grid = GridOf(Barrel(2e-9));
    Matrices own(3, 1);
    NcLibWarp transform = {own.record, grid->record, OUT_2_IN};
    transform.matrices.confidence = 31;
    WarpRoom room;
    ASSERT_EQ(NcLibCalcMfnrTransform(&transform, &alignment.warp, &room.record), NC_LIB_SUCCESS);
    EXPECT_EQ(room.record.matrices.numRows, 1u);
    EXPECT_EQ(room.record.matrices.confidence, 200u);
    EXPECT_TRUE(room.record.matrices.perspMatrices == room.matrices.data());
    EXPECT_TRUE(SameBits(room.nodes[500], grid->nodes[500]));
    for (const P p : {P{0, 0}, P{3000, -2000}, P{-4000, 1000}}) {
        EXPECT_LT(Distance(Apply(kMotion, Apply(room.matrices[0], p)), p), 0.05);
    }
    // Without an alignment a copy; in place as well.
    alignment.warp.matrices.enable = false;
    ASSERT_EQ(NcLibCalcMfnrTransform(&transform, &alignment.warp, &room.record), NC_LIB_SUCCESS);
    EXPECT_EQ(room.record.matrices.numRows, 3u);
    EXPECT_EQ(room.record.matrices.confidence, 31u);
    alignment.warp.matrices.enable = true;
    ASSERT_EQ(NcLibCalcMfnrTransform(&transform, &alignment.warp, &transform), NC_LIB_SUCCESS);
    EXPECT_TRUE(transform.matrices.perspMatrices == own.array.data());
    EXPECT_LT(Distance(Apply(kMotion, Apply(own.array[0], {100, 100})), {100, 100}), 0.05);
}

}  // namespace
