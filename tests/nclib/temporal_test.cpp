// SPDX-License-Identifier: Apache-2.0
// Motion between crops, motion of a part of a batch, choice between two motions, and what the
// hardware can fetch.
#include <cstring>

#include "steadywarp/nclib_temporal.h"
#include "support/frame_fixtures.hpp"

namespace {

using namespace warp_test;

// A pixel of a crop, told from the crop's centre and stretched to the full size, in pixels of the
// full frame from the frame's centre; and back.
P OutOfCrop(const NcLibZoomWindow& w, P p) {
    return {p.x * w.width / w.fullWidth + w.x + w.width / 2.0 - w.fullWidth / 2.0,
            p.y * w.height / w.fullHeight + w.y + w.height / 2.0 - w.fullHeight / 2.0};
}
P IntoCrop(const NcLibZoomWindow& w, P p) {
    return {(p.x - w.x - w.width / 2.0 + w.fullWidth / 2.0) * w.fullWidth / w.width,
            (p.y - w.y - w.height / 2.0 + w.fullHeight / 2.0) * w.fullHeight / w.height};
}

TEST(Gmo, IsTheAlignmentSeenFromTheCrops) {
    Rng rng(41);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(rng.Seed());
        const auto window = [&] {
            NcLibZoomWindow w = {1920, 1080, 0, 0, 600 + rng.Below(1320), 400 + rng.Below(680)};
            w.x = static_cast<int32_t>(rng.Below(1921 - w.width));
            w.y = static_cast<int32_t>(rng.Below(1081 - w.height));
            return w;
        };
        const NcLibZoomWindow curr = window(), prev = window();
        Matrices motion;
        motion.Shake(rng, 1.0f);
        const bool is_centered = rng.Below(2) != 0;
        NcLibPerspTransformSingle gmo;
        ASSERT_EQ(NcLibGenerateGMO(motion.array.data(), is_centered, &curr, &prev, &gmo),
                  NC_LIB_SUCCESS);
        EXPECT_EQ(gmo.T[8], 1.0f);
        for (int i = 0; i < 20; ++i) {
            const P in_crop = ToP(rng.Point(960, 540));
            P p = OutOfCrop(curr, in_crop);
            // The first pixel's centre lies at 0 for a matrix that is not centred.
            const P origin = is_centered ? P{0, 0} : P{1919 / 2.0, 1079 / 2.0};
            p = Apply(motion.array[0], {p.x + origin.x, p.y + origin.y});
            const P expected = IntoCrop(prev, {p.x - origin.x, p.y - origin.y});
            EXPECT_LT(Distance(Apply(gmo, in_crop), expected), 0.02);
        }
    }
}

TEST(GmoStatistics, SumUpDisplacementsInPixels) {
    NcLibChipInfo::Set(kChip30, 0);
    NcLibGenerateGMOStatisticsIn in{};
    in.outputSize = {1024, 768};
    in.zoomWindow = {2000, 1000, 300, 100, 1000, 250};
    NcLibGenerateGMOStatisticsOut out;
    // No motion at all.
    ASSERT_EQ(NcLibGenerateGMOStatistics(&in, &out), NC_LIB_SUCCESS);
    EXPECT_EQ(out.absDisplacementSumX, 0.0f);
    EXPECT_EQ(out.numSamples, 49u);
    EXPECT_EQ(out.gmoMatrix.T[0], 1.0f);
    // A stretch by 1.1 and 1.2 about the centre: the lattice spans half of the width and a quarter
    // of the height, wherever the window lies. Per axis the seven positions' magnitudes sum up to
    // 4 times the outermost one.
    Matrices stretch;
    stretch.array[0] = {{1.1f, 0, 0, 0, 1.2f, 0, 0, 0, 1}};
    in.alignmentTransform.matrices = stretch.record;
    ASSERT_EQ(NcLibGenerateGMOStatistics(&in, &out), NC_LIB_SUCCESS);
    EXPECT_NEAR(out.absDisplacementSumX, 7 * 4 * 256 * 0.1, 0.05);
    EXPECT_NEAR(out.absDisplacementSumY, 7 * 4 * 96 * 0.2, 0.05);
    EXPECT_EQ(out.gmoMatrix.T[0], 1.1f);
    // The same motion and a shift, in a grid behind the matrix: 80 units are 10 pixels.
    const auto shift = GridOf([](P p) { return P{p.x + 80, p.y - 160}; });
    in.alignmentTransform.grid = shift->record;
    ASSERT_EQ(NcLibGenerateGMOStatistics(&in, &out), NC_LIB_SUCCESS);
    EXPECT_EQ(out.numSamples, 49u);
    for (const P p : {P{0, 0}, P{400, -300}, P{-200, 100}}) {
        EXPECT_LT(Distance(Apply(out.gmoMatrix, p), {p.x * 1.1 + 10, p.y * 1.2 - 20}), 0.05);
    }
    // A horizon through the middle column of the lattice: it is left out of all.
    stretch.array[0] = {{1, 0, 0, 0, 1, 0, 1e-3f, 0, 0}};
    in.alignmentTransform.matrices = stretch.record;
    ASSERT_EQ(NcLibGenerateGMOStatistics(&in, &out), NC_LIB_SUCCESS);
    EXPECT_EQ(out.numSamples, 42u);
    EXPECT_TRUE(std::isfinite(out.absDisplacementSumX));
    EXPECT_NE(out.gmoMatrix.T[8], 0.0f);
}

TEST(Hfr, PartsMakeUpTheWholeToFirstOrder) {
    Rng rng(42);
    for (const uint32_t frames : {2u, 4u, 8u}) {
        Matrices whole, part;
        whole.array[0] = AsSingle({1.004, 0.003, 40, -0.003, 0.998, -25, 1e-7, -2e-7, 1});
        const NcLibWarp batch = {whole.record, {}, OUT_2_IN};
        NcLibWarp hfr = {part.record, {}, IN_2_OUT};
        hfr.matrices.confidence = 1;
        ASSERT_EQ(NcLibGenerateHfr(&batch, frames, &hfr), NC_LIB_SUCCESS);
        EXPECT_EQ(hfr.matrices.confidence, 256u);
        EXPECT_EQ(hfr.direction, uint32_t{OUT_2_IN});
        EXPECT_TRUE(hfr.matrices.perspMatrices == part.array.data());
        for (int i = 0; i < 20; ++i) {
            const P start = ToP(rng.Point(4096, 3072));
            P p = start;
            for (uint32_t step = 0; step < frames; ++step) {
                p = Apply(part.array[0], p);
            }
            // Half the square of the motion's slopes (0.005) times the distance it acts on.
            EXPECT_LT(Distance(p, Apply(whole.array[0], start)), 0.5 * 5e-3 * 5e-3 * 5120 + 0.3);
            EXPECT_GT(Distance(Apply(part.array[0], start), start) + 1e-3,
                      Distance(Apply(whole.array[0], start), start) / frames * 0.98);
        }
    }
    // Two halves of every distance.
    Matrices whole;
    whole.array[0] = {{1.5f, 0.25f, 8, -0.5f, 0.5f, 6, 0.125f, 2, 1}};
    NcLibWarp in_place = {whole.record, {}, OUT_2_IN};
    ASSERT_EQ(NcLibGenerateHfr(&in_place, 2, &in_place), NC_LIB_SUCCESS);
    const float expected[9] = {1.25f, 0.125f, 4, -0.25f, 0.75f, 3, 0.0625f, 1, 1};
    EXPECT_EQ(0, std::memcmp(whole.array[0].T, expected, sizeof expected));
}

TEST(Hfr, MovesNodesPartOfTheirWay) {
    struct Row {
        uint32_t chip, rows, columns;
        NcLibWarpGridExtrapolationType type;
    };
    constexpr Row kRows[] = {
        {kChip30, 27, 35, kRing}, {kChip30, 51, 67, kRing}, {kChip10, 25, 33, kCorners}};
    for (const Row& row : kRows) {
        NcLibChipInfo::Set(row.chip, 0);
        Grid own(row.rows, row.columns, row.type), moved(row.rows, row.columns, row.type);
        // Pixels of a frame of 4096 by 1536: half and a quarter of the virtual domain.
        const auto to_pixels = [](NcLibWarpGridCoord p) {
            return NcLibWarpGridCoord{p.x / 2, p.y / 4};
        };
        own.Change_(to_pixels);
        moved.Change_(to_pixels).Change_([](NcLibWarpGridCoord p) {
            return NcLibWarpGridCoord{p.x * 1.25f + 40, p.y - 0.125f * p.x};
        });
        moved.record.transformDefinedOn = {4096, 1536};
        const NcLibWarp batch = {{}, moved.record, OUT_2_IN};
        WarpRoom room;
        ASSERT_EQ(NcLibGenerateHfr(&batch, 4, &room.record), NC_LIB_SUCCESS);
        EXPECT_TRUE(room.record.grid.grid == room.nodes.data());
        EXPECT_EQ(room.record.grid.numColumns, row.columns);
        const auto quarter = [](NcLibWarpGridCoord p) {
            return NcLibWarpGridCoord{p.x * 1.0625f + 10, p.y - 0.03125f * p.x};
        };
        for (size_t i = 0; i < own.nodes.size(); ++i) {
            ASSERT_LT(Distance(room.nodes[i], quarter(own.nodes[i])), 2e-3f) << i;
        }
        for (size_t i = 0; row.type == kCorners && i < 4; ++i) {
            EXPECT_LT(Distance(room.corners[i], quarter(own.corners[i])), 2e-2f) << i;
        }
    }
}

TEST(Fusion, KeepsAndChangesItsChoice) {
    constexpr uint32_t kNobody = NC_LIB_FUSION_NONE;
    // What the candidates hold: nothing (-1), a grid (1000), or matrices with this confidence.
    struct Row {
        const char* what;
        uint32_t mode;
        int first, second;
        uint32_t state, count;  // before
        uint32_t expected_state, expected_count;
        bool is_disabled = false, is_forced = false;
    };
    // Thresholds 100 and 50, hold count 5.
    const Row kRows[] = {
        {"first only", 0, 200, 200, 0, 7, 0, 8},
        {"first only, after the second", 0, 1, 200, 1, 7, 0, 0},
        {"first only, not usable", 0, 0, 200, 0, 7, 2, 0},
        {"first only, disabled", 0, 200, 200, 2, 7, 2, 8, true},
        {"second only", 1, 200, 200, 1, 7, 1, 8},
        {"second only, not there", 1, 200, -1, 1, 7, 2, 0},
        {"forced", 0, 200, 200, 0, 7, 1, 0, false, true},
        {"forced, not usable", 2, 200, 0, 0, 1, 2, 0, false, true},
        {"held, whatever comes", 2, 10, 200, 0, 4, 0, 5},
        {"held without a candidate", 2, -1, -1, 1, 4, 1, 5},
        {"none is not held", 2, 200, 200, 2, 1, 0, 0},
        {"hold over, first falls below", 2, 49, 200, 0, 5, 1, 0},
        {"hold over, first at the low threshold", 2, 50, 200, 0, 5, 0, 6},
        {"second stays below the high threshold", 2, 99, 200, 1, 9, 1, 10},
        {"first comes back at it", 2, 100, 200, 1, 9, 0, 0},
        {"a grid counts as sure", 2, 1000, 200, 1, 9, 0, 0},
        {"a grid for a second", 2, 49, 1000, 0, 9, 1, 0},
        {"neither", 2, 0, -1, 1, 9, 2, 0},
        {"first alone, unsure", 2, 1, 0, 1, 9, 0, 0},
        {"second alone", 2, -1, 30, 0, 9, 1, 0},
        {"any other mode", 77, 49, 200, 0, 5, 1, 0},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        NcLibWarp first{}, second{};
        const auto fill = [](int holds, NcLibWarp& warp) -> const NcLibWarp* {
            warp.grid.enable = holds == 1000;
            warp.matrices.enable = holds >= 0 && holds < 1000;
            warp.matrices.confidence = static_cast<uint32_t>(std::max(holds, 0));
            return holds < 0 ? nullptr : &warp;
        };
        NcLibAlignmentFusionIn in{};
        in.firstAlignment = fill(row.first, first);
        in.secondAlignment = fill(row.second, second);
        in.mode = row.mode;
        in.disableFirst = row.is_disabled;
        in.highConfidenceThreshold = 100;
        in.lowConfidenceThreshold = 50;
        in.holdCount = 5;
        in.forceCountLimit = 3;
        in.forceLevelLimit = 0.5f;
        // Only both together force.
        in.forceCount = row.is_forced ? 4 : row.count % 2 != 0 ? 3 : 4;
        in.forceLevel = row.is_forced || row.count % 2 != 0 ? 0.75f : 0.5f;
        in.previousState = row.state;
        in.previousCount = row.count;
        NcLibAlignmentFusionOut out;
        ASSERT_EQ(NcLibAlignmentFusion(&in, &out), NC_LIB_SUCCESS);
        EXPECT_EQ(out.state, row.expected_state);
        EXPECT_EQ(out.count, row.expected_count);
        const NcLibWarp* const candidates[] = {in.firstAlignment, in.secondAlignment, nullptr};
        EXPECT_TRUE(out.alignment == candidates[row.expected_state]);
    }
    // A low threshold that nothing can reach below leaves the second only for a sure first.
    NcLibWarp second{};
    second.grid.enable = true;
    NcLibAlignmentFusionIn in{};
    in.secondAlignment = &second;
    in.mode = NC_LIB_FUSION_ADAPTIVE;
    in.lowConfidenceThreshold = -1;
    in.previousState = kNobody;
    NcLibAlignmentFusionOut out;
    ASSERT_EQ(NcLibAlignmentFusion(&in, &out), NC_LIB_SUCCESS);
    EXPECT_EQ(out.state, kNobody);
}

struct Check {
    NcLibWarp warp{};
    NcLibCheckIcaTransformValidityIn in{
        &warp, {1920, 1080, 0, 0, 1920, 1080}, {1920, 1080, 0, 0, 1920, 1080}};
    std::vector<NcLibWarpGridCoord> scratch =
        std::vector<NcLibWarpGridCoord>(NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES / 8 + 1);
    NcLibIcaTransformValidityInternalOut measured{};

    bool IsValid(bool coarse = false) {
        NcLibChipInfo::Set(kChip30, 0);
        int valid = 7;
        EXPECT_EQ(NcLibCheckIcaTransformValidity(&in, coarse, scratch.data(), &valid, &measured),
                  NC_LIB_SUCCESS);
        int again = 7;
        EXPECT_EQ(NcLibCheckIcaTransformValidity(&in, coarse, scratch.data(), &again, nullptr),
                  NC_LIB_SUCCESS);
        EXPECT_EQ(valid, again);
        EXPECT_TRUE(valid == 0 || valid == 1);
        return valid == 1;
    }
    // A matrix given in pixels.
    bool IsValid(const H& pixels) {
        Matrices m;
        m.array[0] = AsSingle(pixels);
        convertMatrixCoordinates(&m.array[0], {1920, 1080}, nclib::kVirtualSize, &m.array[0]);
        warp.matrices = m.record;
        return IsValid();
    }
};

TEST(IcaValidity, HoldsStretchSlopeAndSpan) {
    Check check;
    EXPECT_TRUE(check.IsValid());
    EXPECT_NEAR(check.measured.stretchSquared, 1.0, 1e-3);
    EXPECT_NEAR(check.measured.spanRatio, 1.0, 1e-3);
    EXPECT_NEAR(check.measured.slope, 0.0, 1e-3);
    // Rows far apart; columns far apart, where a span of 336 pixels allows less.
    EXPECT_TRUE(check.IsValid(H{1, 0, 0, 0, 1.59, 0, 0, 0, 1}));
    EXPECT_FALSE(check.IsValid(H{1, 0, 0, 0, 1.61, 0, 0, 0, 1}));
    EXPECT_TRUE(check.IsValid(H{1.29, 0, 0, 0, 1, 0, 0, 0, 1}));
    EXPECT_NEAR(check.measured.stretchSquared, 1.29 * 1.29, 1e-3);
    EXPECT_NEAR(check.measured.spanRatio, 1.29, 1e-3);
    EXPECT_FALSE(check.IsValid(H{1.31, 0, 0, 0, 1, 0, 0, 0, 1}));
    // A row that rises by 0.239 has a stretch of sqrt(1 + 0.239^2) = 1.0282, which leaves
    // 0.249328 - 0.1088 * 0.0282 / 0.32 = 0.2397; with 0.241 it leaves 0.2396.
    EXPECT_TRUE(check.IsValid(H{1, 0, 0, 0.239, 1, 0, 0, 0, 1}));
    EXPECT_NEAR(check.measured.slope, 0.239, 1e-3);
    EXPECT_FALSE(check.IsValid(H{1, 0, 0, 0.241, 1, 0, 0, 0, 1}));
    // With the picture squeezed there is no more to gain, with it stretched by 1.32 all is lost.
    EXPECT_TRUE(check.IsValid(H{0.5, 0, 0, 0.124, 0.5, 0, 0, 0, 1}));
    EXPECT_FALSE(check.IsValid(H{0.5, 0, 0, 0.126, 0.5, 0, 0, 0, 1}));
    EXPECT_TRUE(check.IsValid(H{1, 0, 0, 0.140, 1.33, 0, 0, 0, 1}));
    EXPECT_FALSE(check.IsValid(H{1, 0, 0, 0.142, 1.33, 0, 0, 0, 1}));
    // Rows on end, and a horizon in the picture.
    EXPECT_FALSE(check.IsValid(H{0, 1, 0, -1, 0, 0, 0, 0, 1}));
    EXPECT_EQ(check.measured.slope, 999.0f);
    EXPECT_FALSE(check.IsValid(H{1, 0, 0, 0, 1, 0, 0.002, 0, 1}));
    EXPECT_FALSE(check.IsValid(H{1, 0, std::nan(""), 0, 1, 0, 0, 0, 1}));
}

TEST(IcaValidity, MeasuresInPixelsOfTheWindows) {
    // The same virtual warp reads twice as many pixels of a frame with twice as many.
    Check check;
    check.in.inputWindow = {3840, 1080, 0, 0, 3840, 1080};
    EXPECT_FALSE(check.IsValid());
    EXPECT_NEAR(check.measured.stretchSquared, 4.0, 1e-2);
    EXPECT_NEAR(check.measured.spanRatio, 2.0, 1e-2);
    // A bump in the lower right corner counts only if the output shows it.
    Check corner;
    const auto bump = GridOf([](P p) { return p.x > 2000 && p.y > 1500 ? P{p.x * 1.6, p.y} : p; });
    corner.warp.grid = bump->record;
    EXPECT_FALSE(corner.IsValid());
    corner.in.outputWindow = {1920, 1080, 0, 0, 960, 540};
    corner.in.inputWindow = {1920, 1080, 10, 20, 960, 540};
    EXPECT_TRUE(corner.IsValid());
    // Half a window on 64 steps of 15 pixels: the span is 22 of them, 330 pixels.
    EXPECT_NEAR(corner.scratch[1].x - corner.scratch[0].x, 15.0, 0.1);
    EXPECT_NEAR(corner.scratch[0].x, -10.0, 0.1);
    EXPECT_NEAR(corner.scratch[0].y, -20.0, 0.1);
}

TEST(IcaValidity, LooksAtTheOutermostLines) {
    for (const double sign : {-1.0, 1.0}) {
        // Columns are stretched the more the nearer to one side they stand, by 1.5 on it and by
        // less than 1.494 a step of 30 pixels inside; so are the rows, by 1.3 and by less
        // than 1.296.
        const auto tall = GridOf([&](P p) {
            return P{p.x, p.y * (1.3 + sign * 0.2 * p.x / 4096)};
        });
        const auto wide = GridOf([&](P p) {
            return P{p.x * (1.2 + sign * 0.1 * p.y / 3072), p.y};
        });
        Check check;
        check.warp.grid = tall->record;
        check.IsValid();
        EXPECT_NEAR(check.measured.stretchSquared, 1.5 * 1.5, 5e-3);
        check.warp.grid = wide->record;
        check.IsValid();
        EXPECT_NEAR(check.measured.stretchSquared, 1.3 * 1.3, 5e-3);
        EXPECT_NEAR(check.measured.spanRatio, 1.3, 2e-3);
    }
}

TEST(IcaValidity, LooksAtSpansOf336Pixels) {
    // Columns 1.5 times as far apart over a part of the row. Steps are 15 pixels, so a span is 330:
    // of 120 pixels it makes (180 + 210) / 330 = 1.18, of 240 pixels (360 + 90) / 330 = 1.36.
    for (const double pixels : {120.0, 240.0}) {
        const double width = pixels * 8192 / 1920;
        const auto wide = GridOf(
            [&](P p) {
                return P{p.x + 0.5 * std::clamp(p.x + 512, 0.0, width), p.y};
            },
            true);
        Check check;
        check.warp.grid = wide->record;
        EXPECT_EQ(check.IsValid(), pixels < 200);
        EXPECT_NEAR(check.measured.spanRatio, 1 + 0.5 * pixels / 330, 0.02);
    }
}

TEST(IcaValidity, IsTwiceAsDenseAsTheHardwareUnlessToldNotTo) {
    const auto fine = GridOf([](P p) { return p; }, true), plain = GridOf([](P p) { return p; });
    struct Row {
        const Grid* grid;
        bool coarse;
        size_t points;
    };
    const Row kRows[] = {{fine.get(), false, 129 * 97},
                         {fine.get(), true, 65 * 49},
                         {plain.get(), false, 65 * 49},
                         {plain.get(), true, 65 * 49}};
    for (const Row& row : kRows) {
        Check check;
        check.warp.grid = row.grid->record;
        std::fill(check.scratch.begin(), check.scratch.end(), NcLibWarpGridCoord{-777, -777});
        EXPECT_TRUE(check.IsValid(row.coarse));
        EXPECT_NE(check.scratch[row.points - 1].x, -777.0f);
        EXPECT_EQ(check.scratch[row.points].x, -777.0f);
        // The last point stands in the window's corner.
        EXPECT_NEAR(check.scratch[row.points - 1].x, 1920, 0.1);
        EXPECT_NEAR(check.scratch[row.points - 1].y, 1080, 0.1);
    }
}

}  // namespace
