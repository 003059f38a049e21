// SPDX-License-Identifier: Apache-2.0
// Faces and points of the noise reduction, carried into the output: against the same point taken
// through the lens and the hand step by step.
#include <algorithm>
#include <iterator>
#include <limits>

#include "nclib/Logic/WarpAdjust/frame_geometries.hpp"
#include "support/frame_fixtures.hpp"

namespace {

using namespace warp_test;

constexpr uint32_t kWidth = 1920, kHeight = 1440;

P FromPixel(double x, double y) {
    return {x * 8192 / kWidth - 4096, y * 6144 / kHeight - 3072};
}
P ToPixel(P p) {
    return {(p.x + 4096) * kWidth / 8192, (p.y + 3072) * kHeight / 6144};
}

// A frame and the one before it, with a window of the output in the input.
struct Scene {
    Frame now{2e-9, kHandNow}, before{1e-9, kHandBefore};
    Alignment alignment{kMotion};
    FD_CONFIG_CONTEXT found{3, {500, 960, 1500}, {400, 720, 1100}, {7, 8, 9}};
    FD_CONFIG_CONTEXT carried{};
    NcLibWarpGeomIn in{};
    NcLibWarpGeomOut out{};

    explicit Scene(uint32_t zones = 1)
        : now(2e-9, kHandNow, zones), before(1e-9, kHandBefore, zones) {
        NcLibChipInfo::Set(kChip30, 0);
        in.inputSize = {kWidth, kHeight};
        in.eisFOV = {kWidth, kHeight, 100, 60, 1700, 1300};
        in.frameWarps = {UNDISTORTED_IMAGE_DOMAIN, &alignment.warp, &now.record,
                         &before.record,           &now.lens,       &before.lens};
        in.fdConfig = &found;
        in.lnrDomain = UNDISTORTED_IMAGE_DOMAIN;
        for (uint32_t i = 0; i < 5; ++i) {
            in.lnrPoints[i] = {4000 + 2000 * i, 12000 - 1500 * i};
        }
        out.fdConfig = &carried;
    }
};

// D, S: lens and hand of this frame; d, s those of the frame before; A the motion. Upper and lower
// case of the table below stand for what is undone; '+' in front means done instead.
P Walk(const Scene& scene, const char* steps, P p) {
    for (; *steps != 0; ++steps) {
        switch (*steps) {
            case 'D':
                p = scene.now.Undistort(p);
                break;
            case 'S':
                p = scene.now.Steady(p);
                break;
            case 'd':
                p = scene.before.Undistort(p);
                break;
            case 's':
                p = scene.before.Steady(p);
                break;
            case 'A':
                p = Apply(Inverse(kMotion), p);
                break;
            case '+':
                ++steps;
                p = scene.before.Distort(p);
                break;
        }
    }
    return p;
}

TEST(Faces, GoThroughTheWarpsOfTheirDomain) {
    struct Row {
        bool from_previous;
        uint32_t alignment_domain, face_domain;
        const char* steps;
    };
    constexpr uint32_t kD = DISTORTED_IMAGE_DOMAIN, kU = UNDISTORTED_IMAGE_DOMAIN,
                       kS = STABILIZED_IMAGE_DOMAIN;
    constexpr Row kRows[] = {
        {false, kU, kD, "DS"}, {false, kU, kU, "S"},    {true, kU, kD, "dAS"}, {true, kU, kU, "AS"},
        {true, kD, kD, "ADS"}, {true, kD, kU, "+dADS"}, {true, kS, kD, "dsA"}, {true, kS, kU, "sA"},
    };
    // With zone matrices a coarser grid stands in for the hand.
    for (const uint32_t zones : {1u, 3u}) {
        for (const Row& row : kRows) {
            SCOPED_TRACE(row.steps);
            Scene scene(zones);
            scene.in.fdFromPreviousFrame = row.from_previous;
            scene.in.frameWarps.alignmentDomain = row.alignment_domain;
            scene.in.fdDomain = row.face_domain;
            ASSERT_EQ(NcLibWarpGeometries(&scene.in, &scene.out), NC_LIB_SUCCESS);
            ASSERT_EQ(scene.carried.faceNum, 3u);
            for (uint32_t i = 0; i < 3; ++i) {
                const P p = ToPixel(
                    Walk(scene, row.steps,
                         FromPixel(scene.found.faceCenterX[i], scene.found.faceCenterY[i])));
                // Cut to whole pixels; a third of one for the grids.
                EXPECT_NEAR(scene.carried.faceCenterX[i] + 0.5, p.x - 100, 0.85);
                EXPECT_NEAR(scene.carried.faceCenterY[i] + 0.5, p.y - 60, 0.85);
                EXPECT_EQ(scene.carried.faceProperty[i], scene.found.faceProperty[i]);
            }
        }
    }
}

TEST(Faces, AreHeldInTheWindowAndDroppedWhenTheyAreNoNumbers) {
    Scene scene;
    scene.in.fdDomain = UNDISTORTED_IMAGE_DOMAIN;
    scene.now.matrices.array[0] = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    scene.found.faceCenterX[0] = 5;
    scene.found.faceCenterX[2] = 1919;
    scene.found.faceCenterY[2] = 1439;
    // In place, too.
    scene.out.fdConfig = &scene.found;
    ASSERT_EQ(NcLibWarpGeometries(&scene.in, &scene.out), NC_LIB_SUCCESS);
    EXPECT_EQ(scene.found.faceNum, 3u);
    EXPECT_EQ(scene.found.faceCenterX[0], 0u);
    EXPECT_EQ(scene.found.faceCenterX[1], 860u);
    EXPECT_EQ(scene.found.faceCenterX[2], 1699u);
    EXPECT_EQ(scene.found.faceCenterY[2], 1299u);
    // A hole in the lens of the frame before, and no grid afterwards that would take the nearest
    // node: the others close up.
    Scene torn;
    torn.in.fdFromPreviousFrame = true;
    torn.in.fdDomain = UNDISTORTED_IMAGE_DOMAIN;
    torn.in.frameWarps.alignmentDomain = DISTORTED_IMAGE_DOMAIN;
    torn.now.lens.grid.enable = false;
    torn.before.lens_grid->nodes[13 * 35 + 17].x = std::numeric_limits<float>::quiet_NaN();
    ASSERT_EQ(NcLibWarpGeometries(&torn.in, &torn.out), NC_LIB_SUCCESS);
    EXPECT_EQ(torn.carried.faceNum, 2u);
    EXPECT_EQ(torn.carried.faceProperty[0], 7u);
    EXPECT_EQ(torn.carried.faceProperty[1], 9u);
    // Without a face nothing is asked of the frame before.
    torn.found.faceNum = 0;
    torn.in.frameWarps.alignment = nullptr;
    ASSERT_EQ(NcLibWarpGeometries(&torn.in, &torn.out), NC_LIB_SUCCESS);
    EXPECT_EQ(torn.carried.faceNum, 0u);
}

TEST(NoiseReduction, PointsGoThroughTheCropAndTheWarps) {
    for (const bool has_crop : {false, true}) {
        for (const uint32_t domain : {0u, 1u, 2u}) {
            SCOPED_TRACE(domain);
            Scene scene;
            scene.in.lnrDomain = domain;
            if (has_crop) {
                scene.in.ifeZoomWindow = {1000, 800, 50, 40, 900, 720};
            }
            ASSERT_EQ(NcLibWarpGeometries(&scene.in, &scene.out), NC_LIB_SUCCESS);
            for (uint32_t i = 0; i < 5; ++i) {
                double u = scene.in.lnrPoints[i].x / 16384.0, v = scene.in.lnrPoints[i].y / 16384.0;
                if (has_crop) {
                    u = (u * 1000 - 50) / 900;
                    v = (v * 800 - 40) / 720;
                }
                const P p = ToPixel(
                    Walk(scene, domain == 1 ? "S" : "DS", FromPixel(u * kWidth, v * kHeight)));
                // A quarter of a pixel for the grid, and the cut to whole units.
                EXPECT_NEAR(scene.out.lnrPoints[i].x + 0.5, (p.x - 100) * 16384 / 1700, 3.0);
                EXPECT_NEAR(scene.out.lnrPoints[i].y + 0.5, (p.y - 60) * 16384 / 1300, 3.0);
            }
        }
    }
    // Beyond the window a point is held one past its last pixel. The last unit is still a point.
    Scene scene;
    scene.in.lnrPoints[2] = {NC_LIB_LNR_UNITS, NC_LIB_LNR_UNITS};
    scene.in.eisFOV = {kWidth, kHeight, 900, 700, 20, 20};
    ASSERT_EQ(NcLibWarpGeometries(&scene.in, &scene.out), NC_LIB_SUCCESS);
    EXPECT_EQ(scene.out.lnrPoints[0].x, 0u);
    EXPECT_EQ(scene.out.lnrPoints[0].y, 16384u);
}

TEST(FaceRectangles, AreCarriedByTheirCorners) {
    NcLibChipInfo::Set(kChip30, 0);
    const auto grid = GridOf(Barrel(2e-9));
    Alignment hand(kHandNow);
    const NcLibWarp warp = {hand.matrices.record, grid->record, OUT_2_IN};
    const NcLibImageSize detector = {640, 480}, full = {4000, 3000};
    // The others have one corner outside of the detector's picture, by one side: it is scaled only.
    const NcLibFdRoi found[] = {{100, 80, 120, 90}, {0, 0, 640, 480},    {600, 300, 50, 90},
                                {400, 400, 50, 90}, {-20, 200, 100, 90}, {200, -20, 100, 90},
                                {600, 400, 50, 90}};
    constexpr uint32_t kFaces = std::size(found);
    NcLibFdRoi carried[kFaces];
    ASSERT_EQ(NcLibTranslateFdDomains(found, kFaces, &detector, &warp, &full, carried),
              NC_LIB_SUCCESS);
    const auto carry = [&](double x, double y) {
        if (x < 0 || x > 640 || y < 0 || y > 480) {
            return P{x * 4000 / 640, y * 3000 / 480};
        }
        const P p = Barrel(2e-9)(Apply(kHandNow, {x * 8192 / 640 - 4096, y * 6144 / 480 - 3072}));
        return P{(p.x + 4096) * 4000 / 8192, (p.y + 3072) * 3000 / 6144};
    };
    for (uint32_t i = 0; i < kFaces; ++i) {
        const P tl = carry(found[i].x, found[i].y);
        const P br = carry(found[i].x + found[i].width, found[i].y + found[i].height);
        EXPECT_NEAR(carried[i].x, std::trunc(tl.x), 1);
        EXPECT_NEAR(carried[i].y, std::trunc(tl.y), 1);
        EXPECT_NEAR(carried[i].width, br.x - tl.x, 0.5 + 0.2);  // rounded, and the grid's steps
        EXPECT_NEAR(carried[i].height, br.y - tl.y, 0.5 + 0.2);
    }
    // Without any part of the warp: a scale, cut and rounded; in place.
    const NcLibWarp nothing = {{}, {}, OUT_2_IN};
    const NcLibImageSize third = {213, 160};
    NcLibFdRoi rois[] = {{10, 20, 30, 40}, {-9, -8, 5, 5}};
    ASSERT_EQ(NcLibTranslateFdDomains(rois, 2, &detector, &nothing, &third, rois), NC_LIB_SUCCESS);
    const NcLibFdRoi expected[] = {{3, 6, 10, 13}, {-2, -2, 2, 2}};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(rois[i].x, expected[i].x);
        EXPECT_EQ(rois[i].y, expected[i].y);
        EXPECT_EQ(rois[i].width, expected[i].width);
        EXPECT_EQ(rois[i].height, expected[i].height);
    }
}

TEST(DownscalePasses, FollowTheSizeThatIsLeft) {
    struct Row {
        NcLibImageSize input, margins;
        float ratio;
        uint32_t by_flow, expected;
    };
    constexpr Row kRows[] = {
        {{1920, 1080}, {0, 0}, 1.0f, 4, 3},   // 480x270, 120x68, 30x18
        {{4096, 3072}, {0, 0}, 1.0f, 4, 4},   // the third level is 64x48
        {{4096, 3072}, {0, 0}, 1.0f, 2, 2},   // the flow allows no more
        {{2048, 1792}, {0, 0}, 1.0f, 4, 4},   // the third level is 32x28, just enough
        {{2048, 1728}, {0, 0}, 1.0f, 4, 4},   // 432, 108, 27 rounded up to 28
        {{2048, 1708}, {0, 0}, 1.0f, 4, 4},   // 427 is rounded up to 428, 107 to 108, 27 to 28
        {{2048, 1664}, {0, 0}, 1.0f, 4, 3},   // 416, 104, 26
        {{2048, 1728}, {0, 64}, 1.0f, 4, 3},  // the same, by the margin
        {{64, 60}, {32, 32}, 1.0f, 4, 1},     // 32x28
        {{64, 60}, {33, 32}, 1.0f, 4, 0},     // 31x28
        {{64, 60}, {33, 32}, 1.1f, 4, 1},     // 34x30
    };
    for (const Row& row : kRows) {
        uint32_t passes = 99;
        EXPECT_EQ(NcLibGetMaxNumOfPasses(&row.input, &row.margins, row.ratio, row.by_flow, &passes),
                  NC_LIB_SUCCESS);
        EXPECT_EQ(passes, row.expected) << row.input.widthPixels << "x" << row.input.heightLines;
    }
}

}  // namespace
