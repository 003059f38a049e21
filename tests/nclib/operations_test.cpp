// SPDX-License-Identifier: Apache-2.0
// Compositions, breach guards, resampling and windows: by hand where one can, by what must hold
// over random meshes and matrices elsewhere.
#include <memory>
#include <optional>

#include "nclib/Logic/WarpAdjust/breach_guard.hpp"
#include "nclib/Logic/WarpAdjust/composition.hpp"
#include "nclib/Logic/WarpAdjust/resample.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/Logic/WarpAdjust/windows.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

// A warp with parts of its own, either of which may be off.
struct OwnWarp {
    Matrices matrices;
    Grid grid;
    NcLibWarp record;

    OwnWarp(Rng& rng, uint32_t array, bool has_grid, NcLibWarpGridExtrapolationType type = kRing)
        : matrices(std::max(array, 1u), std::max(array, 1u)),
          grid(type == kRing ? 27 : 25, type == kRing ? 35 : 33, type) {
        matrices.Shake(rng, array > 1 ? 0.1f : 0.5f);
        // A smooth mesh: bends of some units over the frame.
        const float bend = rng.Uniform(-2e-6f, 2e-6f);
        grid.Change_([=](Point p) {
            return Point{p.x + bend * p.x * p.y, p.y - bend * p.x * p.x + 1e-6f * p.y * p.y};
        });
        record = {matrices.record, grid.record, OUT_2_IN};
        record.matrices.enable = array > 0;
        record.grid.enable = has_grid;
    }

    Point Map(Point p) const {
        const NcLibInternalWarpTopology chain[2] = {{nullptr, &record.matrices, REGULAR},
                                                    {&record.grid, nullptr, REGULAR}};
        NcLibInternalApplyTopologyOnPoints(chain, 2, &p, 1, true, &p);
        return p;
    }
};

Point MapThrough(const NcLibWarp& warp, Point p) {
    const NcLibInternalWarpTopology chain[2] = {{nullptr, &warp.matrices, REGULAR},
                                                {&warp.grid, nullptr, REGULAR}};
    NcLibInternalApplyTopologyOnPoints(chain, 2, &p, 1, true, &p);
    return p;
}

TEST(Composition, EqualsBothWarpsInOrderForEveryMixOfParts) {
    NcLibChipInfo::Set(kChip30, 0);
    Rng rng(6);
    for (const uint32_t m1 : {0u, 1u, 3u}) {
        for (const uint32_t m2 : {0u, 1u, 3u}) {
            for (int grids = 0; grids < 4; ++grids) {
                const OwnWarp first(rng, m1, (grids & 1) != 0);
                const OwnWarp second(rng, m2, (grids & 2) != 0);
                WarpRoom out;
                ASSERT_EQ(NcLibWarpComposition(&first.record, &second.record, &out.record), 0);
                EXPECT_EQ(out.record.matrices.enable, m2 > 0 || (m1 > 0 && (grids & 2) == 0));
                for (int i = 0; i < 50; ++i) {
                    const Point p = rng.Point(3500, 2500);
                    // Positions on a grid are rounded to 1/16: up to 0.045 for each of the at
                    // most three grids passed. A zone array has a kink at each zone border:
                    // neighbours differ by up to 80 over 2048 units, so the slope jumps by up to
                    // 0.08, and at a jump bicubic interpolation over steps of 256 is off by up to
                    // 0.19 * 256 of it.
                    const float allowed = m1 == 3 || m2 == 3 ? 4.0f : 0.15f;
                    EXPECT_LT(Distance(MapThrough(out.record, p), first.Map(second.Map(p))),
                              allowed)
                        << "matrices " << m1 << ", " << m2 << " grids " << grids << " at " << p.x
                        << ", " << p.y << " seed " << rng.Seed();
                }
            }
        }
    }
}

TEST(Composition, TellsTheLowerConfidenceAndTakesCornersAlong) {
    NcLibChipInfo::Set(kChip10, 0);
    Rng rng(7);
    OwnWarp first(rng, 1, false), second(rng, 1, false);
    first.record.matrices.confidence = 100;
    second.record.matrices.confidence = 200;
    WarpRoom out;
    ASSERT_EQ(NcLibWarpComposition(&first.record, &second.record, &out.record), NC_LIB_SUCCESS);
    EXPECT_EQ(out.record.matrices.confidence, 100u);
    EXPECT_EQ(out.record.matrices.numRows * out.record.matrices.numColumns, 1u);
    EXPECT_FALSE(out.record.grid.enable);

    const OwnWarp cornered(rng, 0, true, kCorners);
    ASSERT_EQ(NcLibWarpComposition(&first.record, &cornered.record, &out.record), NC_LIB_SUCCESS);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(SameBits(out.corners[i], first.Map(cornered.grid.corners[i]))) << i;
    }
    first.record.matrices.enable = false;
    second.record.matrices.enable = false;
    ASSERT_EQ(NcLibWarpComposition(&first.record, &second.record, &out.record), NC_LIB_SUCCESS);
    EXPECT_FALSE(out.record.matrices.enable || out.record.grid.enable);
}

TEST(Composition, DilutesTheMatrixUntilTheCropStaysInside) {
    NcLibChipInfo::Set(kChip30, 0);
    const NcLibCropWindow crop = {1000, 1000, 800, 800, 100, 100};
    struct Row {
        const char* what;
        float shift;     // of x, virtual units; the crop leaves 819.2 on each side
        float dilution;  // by hand: the greatest 1 - i*0.05 that keeps shift below 819.2
    };
    const Row kRows[] = {{"inside", 819, 1.0f},
                         {"just outside", 830, 0.95f},
                         {"twice as far", 1638, 0.5f},
                         {"hopeless", 1e6f, 0.0f}};
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        Rng rng(8);
        OwnWarp first(rng, 3, false), second(rng, 0, false);
        first.matrices.array[0] = {{1, 0, row.shift, 0, 1, 0, 0, 0, 1}};
        WarpRoom out;
        float dilution = -1;
        ASSERT_EQ(NcLibWarpComposition_MFHDR_NoBreach(&first.record, &second.record, &crop,
                                                      &out.record, &dilution),
                  NC_LIB_SUCCESS);
        EXPECT_NEAR(dilution, row.dilution, 1e-5);
        EXPECT_EQ(out.record.matrices.enable, row.dilution > 0);
        if (row.dilution > 0) {
            EXPECT_EQ(out.record.matrices.numRows * out.record.matrices.numColumns, 1u);
            EXPECT_NEAR(out.matrices[0].T[2], row.shift * row.dilution, 0.1);
        }
    }
}

TEST(BreachGuard, LeavesNoProbeOutsideAndTouchesNothingWithoutABreach) {
    const LogCapture quiet;
    NcLibChipInfo::Set(kChip30, 0);
    Rng rng(9);
    int untouched = 0, diluted = 0, failed = 0;
    for (int i = 0; i < 300; ++i) {
        const bool fine = i % 3 == 0;
        Grid grid(fine ? 51 : 27, fine ? 67 : 35, kRing);
        const Point shift = rng.Point(700, 500);
        grid.Change_([=](Point p) { return Point{p.x + shift.x, p.y + shift.y}; });
        const auto before = grid.nodes;
        const float margin = rng.Uniform(0.05f, 0.2f);
        float dilution = -1;
        const int32_t status = NcLibWarpVerifyGrid_NoBreach(&grid.record, margin, &dilution);
        bool same = true;
        for (size_t k = 0; k < before.size(); ++k) {
            same = same && SameBits(before[k], grid.nodes[k]);
        }
        if (status != NC_LIB_SUCCESS) {
            EXPECT_EQ(status, NC_LIB_GENERAL_ERROR);
            EXPECT_TRUE(same);
            ++failed;
            continue;
        }
        EXPECT_EQ(same, dilution == 1.0f);
        ++(same ? untouched : diluted);
        float again = -1;
        EXPECT_EQ(NcLibWarpVerifyGrid_NoBreach(&grid.record, margin, &again), NC_LIB_SUCCESS);
        EXPECT_EQ(again, 1.0f) << "shift " << shift.x << ", " << shift.y << " margin " << margin
                               << " seed " << rng.Seed();
    }
    // The classes that the loop is about all occurred.
    EXPECT_GT(untouched, 10);
    EXPECT_GT(diluted, 10);
    RecordProperty("failed", failed);
}

TEST(BreachGuard, FadesFromTheBreachedSideByHand) {
    NcLibChipInfo::Set(kChip30, 0);
    Grid grid(27, 35, kRing);
    grid.Change_([](Point p) { return Point{p.x + 500, p.y}; });
    float dilution = 0;
    // Margin 0.1: the crop ends 409.6 inside, so it breaches on the right by 90.4. The last 3.5
    // columns are drawn back fully, and the right probes fall among them: 500 * d <= 409.6.
    ASSERT_TRUE(NcLibWarpVerifyGrid_NoBreachInternal(&grid.record, 0.1f, 3, &dilution));
    EXPECT_NEAR(dilution, 0.8f, 0.011);
    const Grid identity(27, 35, kRing);
    const auto shift = [&](uint32_t column) {
        return grid.nodes[13 * 35 + column].x - identity.nodes[13 * 35 + column].x;
    };
    EXPECT_NEAR(shift(0), 500, 1e-2);
    EXPECT_NEAR(shift(24), 500, 1e-2);  // the fade begins above 35 - 3 * 3.5 = 24.5
    EXPECT_NEAR(shift(28), 500 * (1 - 0.5 * (1 - dilution)), 1e-2);  // half way to 31.5
    EXPECT_NEAR(shift(34), 500 * dilution, 1e-2);
}

TEST(BreachGuard, FadesFromEachSideByTheSameRule) {
    NcLibChipInfo::Set(kChip30, 0);
    const Grid identity(27, 35, kRing);
    // A node fully drawn back, one half way down the fade, and one beyond it. For rows the band is
    // 2.7 nodes and the fade ends at 8.1, so row 5 keeps (8.1 - 5) / 5.4 of the dilution.
    struct Row {
        Point shift;
        uint32_t full, faded, free;  // node indices
        double share;
    };
    const Row kRows[] = {{{-500, 0}, 13 * 35, 13 * 35 + 7, 13 * 35 + 11, 0.5},
                         {{0, -400}, 17, 5 * 35 + 17, 9 * 35 + 17, 3.1 / 5.4},
                         {{0, 400}, 26 * 35 + 17, 22 * 35 + 17, 18 * 35 + 17, 3.1 / 5.4}};
    for (const Row& row : kRows) {
        Grid grid(27, 35, kRing);
        grid.Change_([&](Point p) { return Point{p.x + row.shift.x, p.y + row.shift.y}; });
        float kept = 0;
        ASSERT_TRUE(NcLibWarpVerifyGrid_NoBreachInternal(&grid.record, 0.1f, 3, &kept));
        EXPECT_LT(kept, 1.0f);
        const float length = std::fabs(row.shift.x + row.shift.y);
        const auto moved = [&](uint32_t i) { return Distance(grid.nodes[i], identity.nodes[i]); };
        EXPECT_NEAR(moved(row.full), length * kept, 0.01);
        // Row 22 counts from 27 - 8.1 = 18.9 upward: the same 3.1 nodes.
        EXPECT_NEAR(moved(row.faded), length * (1 - row.share * (1 - kept)), 0.01);
        EXPECT_NEAR(moved(row.free), length, 0.01);
    }
}

TEST(BreachGuard, FindsABulgeBetweenTheCorners) {
    NcLibChipInfo::Set(kChip30, 0);
    // With a margin of 0.1 the crop ends at 3686.4 and 2764.8; a bulge of 600 about one of the
    // three inner points of a side leaves the frame there, and has faded long before the next
    // point.
    for (const float along : {-0.5f, 0.0f, 0.5f}) {
        for (const Point& side : {Point{-1, along}, {1, along}, {along, -1}, {along, 1}}) {
            const Point at = {side.x * 3686.4f, side.y * 2764.8f};
            const bool sideways = std::fabs(side.x) == 1.0f;
            Grid grid(27, 35, kRing);
            grid.Change_([&](Point p) {
                const float d = Distance(p, at) / 500.0f;
                const float by = 600.0f * std::exp(-d * d);
                return sideways ? Point{p.x + side.x * by, p.y} : Point{p.x, p.y + side.y * by};
            });
            float kept = 0;
            EXPECT_TRUE(NcLibWarpVerifyGrid_NoBreachInternal(&grid.record, 0.1f, 3, &kept));
            EXPECT_LT(kept, 0.8f) << side.x << ", " << side.y;
        }
    }
}

std::unique_ptr<NcLibIcaGrid> Fixed(const Grid& grid) {
    auto fixed = std::make_unique<NcLibIcaGrid>();
    NcLibWarpGridToIcaGrid(&grid.record, fixed.get());
    return fixed;
}

TEST(Resampling, ToTheFullWindowGivesTheGridBackAndToACropRescalesIt) {
    Rng rng(10);
    for (const auto& [chip, rows, columns, type] : {std::tuple{kChip10, 25u, 33u, kCorners},
                                                    {kChip30, 27u, 35u, kRing},
                                                    {kChip30, 51u, 67u, kRing}}) {
        NcLibChipInfo::Set(chip, 0);
        Grid grid(rows, columns, type);
        grid.Change_([](Point p) { return Point{p.x + 1e-5f * p.y * p.y, p.y - 20}; });
        const auto in = Fixed(grid);
        auto out = std::make_unique<NcLibIcaGrid>();
        const NcLibZoomWindow full = {4000, 3000, 0, 0, 4000, 3000};
        ASSERT_EQ(NcLibResampleGrid(in.get(), &full, &full, out.get()), NC_LIB_SUCCESS);
        EXPECT_EQ(out->enable, 1u);
        EXPECT_EQ(out->geometry, in->geometry);
        EXPECT_EQ(out->extrapolatedCorners, in->extrapolatedCorners);
        EXPECT_TRUE(nclib::IsVirtualSize(out->transformDefinedOn));
        for (uint32_t i = 0; i < rows * columns; ++i) {
            ASSERT_LT(Distance(out->grid[i], in->grid[i]), 0.01f) << rows << " node " << i;
        }
        // An identity seen from the window that it is applied to is an identity again.
        const Grid identity(rows, columns, type);
        const auto plain = Fixed(identity);
        const NcLibZoomWindow crop = {4000, 3000, 1000, 600, 2000, 1800};
        ASSERT_EQ(NcLibResampleGrid(plain.get(), &crop, &crop, out.get()), NC_LIB_SUCCESS);
        for (uint32_t i = 0; i < rows * columns; ++i) {
            // Half a step of 1/8 on each axis, magnified by up to 2.
            ASSERT_LT(Distance(out->grid[i], identity.nodes[i]), 0.18f) << rows << " node " << i;
        }
    }
}

TEST(Resampling, ARawMeshOfPixelPositionsBecomesTheIdentity) {
    // A raw mesh of straight lines over the full frame: node c of n stands at c * width / n, or at
    // c * width / (n - 1) when its last node lies on the last pixel.
    for (const uint32_t flags :
         {0u, uint32_t{NC_LIB_RAW_GRID_ENDS_ON_LAST_PIXEL}, uint32_t{NC_LIB_RAW_GRID_UNCENTERED}}) {
        for (const uint32_t geometry : {1u, 2u}) {
            constexpr uint32_t kColumns = 17, kRows = 13;
            const double ends = (flags & NC_LIB_RAW_GRID_ENDS_ON_LAST_PIXEL) != 0 ? 1 : 0;
            std::vector<double> x(kColumns * kRows), y(kColumns * kRows);
            for (uint32_t i = 0; i < x.size(); ++i) {
                x[i] = i % kColumns * 4000.0 / (kColumns - ends);
                y[i] = i / kColumns * 3000.0 / (kRows - ends);
            }
            const NcLibGridSize size = {kColumns, kRows};
            const NcLibZoomWindow area = {4000, 3000, 0, 0, 4000, 3000};
            auto out = std::make_unique<NcLibIcaGrid>();
            ASSERT_EQ(NcLibResampleGridForIca(x.data(), y.data(), &size, flags, &area, geometry,
                                              out.get()),
                      NC_LIB_SUCCESS);
            EXPECT_EQ(out->geometry, geometry);
            const Grid expected(geometry == 1 ? 27 : 51, geometry == 1 ? 35 : 67, kRing);
            const bool centred = (flags & NC_LIB_RAW_GRID_UNCENTERED) == 0;
            for (size_t i = 0; i < expected.nodes.size(); ++i) {
                const Point node = {expected.nodes[i].x + (centred ? 0 : 4096.0f),
                                    expected.nodes[i].y + (centred ? 0 : 3072.0f)};
                ASSERT_LT(Distance(out->grid[i], node), 0.02f) << flags << " node " << i;
            }
        }
    }
}

TEST(Resampling, ContinuesARawMeshThatCoversAPartOfTheFrame) {
    // The mesh covers the middle half of each axis; straight lines go on beyond it.
    std::vector<double> x(81), y(81);
    for (uint32_t i = 0; i < 81; ++i) {
        x[i] = 1000 + i % 9 * 2000.0 / 9;
        y[i] = 750 + i / 9 * 1500.0 / 9;
    }
    const NcLibGridSize size = {9, 9};
    const NcLibZoomWindow area = {4000, 3000, 1000, 750, 2000, 1500};
    auto out = std::make_unique<NcLibIcaGrid>();
    ASSERT_EQ(NcLibResampleGridForIca(x.data(), y.data(), &size, 0, &area, 1, out.get()), 0);
    const Grid expected(27, 35, kRing);
    for (size_t i = 0; i < expected.nodes.size(); ++i) {
        ASSERT_LT(Distance(out->grid[i], expected.nodes[i]), 0.1f) << i;
    }
}

TEST(AssistGrid, StandsInForMatrices) {
    NcLibChipInfo::Set(kChip10, 0);
    Rng rng(11);
    OwnWarp warp(rng, 1, false);
    Grid assist(25, 33, kNone);
    WarpRoom copy;
    const NcLibWarpBuildAssistGridIn in = {&warp.record, 33, 25};
    NcLibWarpBuildAssistGridOut out = {&assist.record, &copy.record};
    ASSERT_EQ(NcLibWarpBuildAssistGrid(&in, &out), NC_LIB_SUCCESS);
    EXPECT_TRUE(SameBits(assist.nodes[0], warp.Map({-4096, -3072})));
    EXPECT_TRUE(SameBits(assist.nodes[824], warp.Map({4096, 3072})));
    EXPECT_TRUE(SameBits({copy.matrices[0].T[2], 0}, {warp.matrices.array[0].T[2], 0}));
    warp.record.matrices.enable = false;
    copy.record.direction = IN_2_OUT;
    ASSERT_EQ(NcLibWarpBuildAssistGrid(&in, &out), NC_LIB_SUCCESS);
    EXPECT_FALSE(assist.record.enable);
    EXPECT_EQ(copy.record.direction, uint32_t{OUT_2_IN});
}

TEST(Windows, GoThroughAnIdentityUnchangedAndThroughAShiftByIt) {
    NcLibChipInfo::Set(kChip30, 0);
    Grid grid(27, 35, kRing);
    const NcLibROI window = {{0.25f, 0.25f}, {0.5f, 0.5f}};
    NcLibROI result;
    const auto identity = Fixed(grid);
    ASSERT_EQ(NcLibCalcMinInputWindowFloat(&window, identity.get(), &result), NC_LIB_SUCCESS);
    EXPECT_NEAR(result.offset.x, 0.25, 1e-5);
    EXPECT_NEAR(result.size.y, 0.5, 1e-5);
    ASSERT_EQ(NcLibCalcMaxOutputWindowFloat(&window, &window, identity.get(), &result), 0);
    EXPECT_NEAR(result.offset.y, 0.25, 1e-5);
    EXPECT_NEAR(result.size.x, 0.5, 1e-5);
    grid.Change_([](Point p) { return Point{p.x + 819.2f, p.y}; });
    const auto shifted = Fixed(grid);
    ASSERT_EQ(NcLibCalcMinInputWindowFloat(&window, shifted.get(), &result), NC_LIB_SUCCESS);
    EXPECT_NEAR(result.offset.x, 0.35, 1e-4);
    EXPECT_NEAR(result.size.x, 0.5, 1e-4);
    // The left side now stands 1228.8 from the centre: 0.3 of the width on an aspect of 4:3.
    ASSERT_EQ(NcLibCalcMaxOutputWindowFloat(&window, &window, shifted.get(), &result), 0);
    EXPECT_NEAR(result.size.x, 0.3, 1e-4);
    EXPECT_NEAR(result.size.y, 0.3, 1e-4);
}

TEST(Windows, KeepTheirAspectWhereTheFrameEnds) {
    NcLibChipInfo::Set(kChip30, 0);
    Grid grid(27, 35, kRing);
    grid.Change_([](Point p) { return Point{p.x * 1.2f, p.y * 1.2f}; });
    const NcLibROI full = {{0, 0}, {1, 1}};
    struct Row {
        NcLibROI original, expected;
    };
    // By hand. The wide window: half the width is 4915, beyond the frame, so all 8192 are taken and
    // the height follows to 8192 / r = 3072 with r = 8/3. The tall one: r = 2/3 lets the height
    // reach 6144, and the width follows to 4096.
    constexpr Row kRows[] = {{{{0.1f, 0.3f}, {0.8f, 0.4f}}, {{0, 0.25f}, {1, 0.5f}}},
                             {{{0.3f, 0.1f}, {0.4f, 0.8f}}, {{0.25f, 0}, {0.5f, 1}}}};
    for (const Row& row : kRows) {
        NcLibROI out;
        ASSERT_EQ(NcLibCalcMaxOutputWindowFloat(&full, &row.original, Fixed(grid).get(), &out), 0);
        EXPECT_NEAR(out.offset.x, row.expected.offset.x, 1e-4);
        EXPECT_NEAR(out.offset.y, row.expected.offset.y, 1e-4);
        EXPECT_NEAR(out.size.x, row.expected.size.x, 1e-4);
        EXPECT_NEAR(out.size.y, row.expected.size.y, 1e-4);
    }
}

TEST(Windows, InWholePixelsAreCutToTheFrameAndNeverEmpty) {
    NcLibChipInfo::Set(kChip30, 0);
    struct Row {
        const char* what;
        float shift;
        NcLibZoomWindow in, expected;
    };
    const Row kRows[] = {
        // One pixel of slack absorbs the rounding of single precision before the cut.
        {"cut on the right",
         2048,
         {4096, 3072, 1024, 768, 2560, 1536},
         {4096, 3072, 2048, 768, 2048, 1536}},
        {"cut on the left",
         -2048,
         {4096, 3072, 512, 768, 2048, 1536},
         {4096, 3072, 0, 768, 1536, 1536}},
        {"empty becomes one pixel",
         0,
         {4096, 3072, 2000, 1000, 0, 0},
         {4096, 3072, 2000, 1000, 1, 1}},
        {"wholly outside",
         20000,
         {4096, 3072, 1024, 768, 512, 512},
         {4096, 3072, 4095, 768, 1, 512}},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        Grid grid(27, 35, kRing);
        grid.Change_([&](Point p) { return Point{p.x + row.shift, p.y}; });
        NcLibZoomWindow out;
        ASSERT_EQ(NcLibCalcMinInputWindow(&row.in, Fixed(grid).get(), &out), NC_LIB_SUCCESS);
        EXPECT_EQ(out.fullWidth, row.expected.fullWidth);
        EXPECT_NEAR(out.x, row.expected.x, 1);
        EXPECT_NEAR(out.y, row.expected.y, 1);
        EXPECT_NEAR(out.width, row.expected.width, 1);
        EXPECT_NEAR(out.height, row.expected.height, 1);
        EXPECT_GE(out.width, 1u);
        EXPECT_LE(out.x + out.width, out.fullWidth);
    }
    const NcLibZoomWindow half = {4000, 3000, 1000, 750, 2000, 1500};
    NcLibZoomWindow out;
    ASSERT_EQ(NcLibCalcMaxOutputWindow(&half, &half, Fixed(Grid(27, 35, kRing)).get(), &out), 0);
    EXPECT_NEAR(out.width, 2000, 1);
    EXPECT_NEAR(out.y, 750, 1);
}

TEST(Windows, MaxOutputThenMinInputStaysInsideTheInput) {
    NcLibChipInfo::Set(kChip30, 0);
    Rng rng(12);
    for (int i = 0; i < 100; ++i) {
        // Zoom by up to 10 %: the output window feeds on no more than the input window.
        const float zoom = rng.Uniform(0.9f, 1.1f);
        Grid forward(27, 35, kRing), backward(27, 35, kRing);
        forward.Change_([=](Point p) { return Point{p.x * zoom, p.y * zoom}; });
        backward.Change_([=](Point p) { return Point{p.x / zoom, p.y / zoom}; });
        const float size = rng.Uniform(0.3f, 0.8f);
        const NcLibROI in = {{0.5f - size / 2, 0.5f - size / 2}, {size, size}};
        NcLibROI out, back;
        ASSERT_EQ(NcLibCalcMaxOutputWindowFloat(&in, &in, Fixed(forward).get(), &out), 0);
        ASSERT_EQ(NcLibCalcMinInputWindowFloat(&out, Fixed(backward).get(), &back), 0);
        EXPECT_NEAR(back.size.x, in.size.x, 1e-4) << zoom << " " << size << " seed " << rng.Seed();
        EXPECT_NEAR(back.offset.y, in.offset.y, 1e-4);
    }
}

}  // namespace
