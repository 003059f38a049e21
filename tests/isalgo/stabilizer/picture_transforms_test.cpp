// SPDX-License-Identifier: Apache-2.0
// What is done to a picture as a whole: spatial alignment, image-based correction, upstream
// transforms, and the walk around the margins.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "stabilizer/dis_stabilizer.hpp"
#include "stabilizer/eis_stabilizer.hpp"
#include "stabilizer/sat_entry.hpp"
#include "stabilizer/test_mode_borders.hpp"
#include "stabilizer/upstream_transform.hpp"
#include "support/records.hpp"

namespace steadywarp {
namespace {

using test::count_of;
using test::log_of;
using test::valid_common;
using test::valid_sensor;

// A warp of one matrix.
struct MatrixWarp {
    NcLibPerspTransformSingle matrix;
    NcLibWarp warp{};

    MatrixWarp(const NcLibPerspTransformSingle& elements, uint32_t width, uint32_t height)
        : matrix(elements) {
        warp.matrices.enable = true;
        warp.matrices.transformDefinedOn = {width, height};
        warp.matrices.numRows = warp.matrices.numColumns = 1;
        warp.matrices.perspMatrices = &matrix;
    }
};

constexpr Matrix3 translation(double x, double y) {
    return {1, 0, x, 0, 1, y, 0, 0, 1};
}
constexpr Matrix3 scale(double factor) {
    return {factor, 0, 0, 0, factor, 0, 0, 0, 1};
}

TEST(SatEntry, MovesPixelsAsItsMatrixMovesCentredPoints) {
    struct Row {
        const char* what;
        NcLibPerspTransformSingle matrix;
        uint32_t width, height;
    };
    const Row kRows[] = {
        {"a shift", {{1, 0, 10, 0, 1, -20, 0, 0, 1}}, 1920, 1080},
        {"a shift on half the size", {{1, 0, 10, 0, 1, -20, 0, 0, 1}}, 960, 540},
        {"a zoom and a turn", {{1.1f, 0.02f, 3, -0.02f, 1.1f, 5, 0, 0, 1}}, 1920, 1080},
        {"another aspect", {{1, 0.1f, 0, -0.2f, 1, 0, 1e-5f, -2e-5f, 1}}, 8192, 6144},
        {"not normalised", {{2, 0.1f, 4, -0.2f, 2, 8, 0, 0, 2}}, 1920, 1080},
    };
    for (const Row& row : kRows) {
        MatrixWarp sat(row.matrix, row.width, row.height);
        const SatEntry forward = make_sat_entry(&sat.warp, 1920, 1080, 1);
        sat.warp.direction = IN_2_OUT;
        const SatEntry backward = make_sat_entry(&sat.warp, 1920, 1080, 1);
        ASSERT_FALSE(forward.is_identity) << row.what;
        for (const Point2& p : {Point2{0, 0}, Point2{1919, 0}, Point2{300, 1079}}) {
            // Step by step: to the size of the matrix, about its centre, through it, and back.
            const double sx = 1920.0 / row.width;
            const double sy = 1080.0 / row.height;
            const double cx = (row.width - 1.0) / 2.0;
            const double cy = (row.height - 1.0) / 2.0;
            const double x = p.x / sx - cx;
            const double y = p.y / sy - cy;
            const float* T = row.matrix.T;
            const double w = T[6] * x + T[7] * y + T[8];
            const Point2 expected = {((T[0] * x + T[1] * y + T[2]) / w + cx) * sx,
                                     ((T[3] * x + T[4] * y + T[5]) / w + cy) * sy};
            const Point2 got = map_point(forward.matrix, p);
            EXPECT_NEAR(got.x, expected.x, 1e-6) << row.what;
            EXPECT_NEAR(got.y, expected.y, 1e-6) << row.what;
            const Point2 back = map_point(backward.matrix, expected);
            EXPECT_NEAR(back.x, p.x, 1e-6) << row.what;
            EXPECT_NEAR(back.y, p.y, 1e-6) << row.what;
        }
    }
}

TEST(SatEntry, LeavesOutWhatDoesNothingOrCannotBeUndone) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const NcLibPerspTransformSingle identity = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    MatrixWarp disabled({{2, 0, 0, 0, 2, 0, 0, 0, 1}}, 1920, 1080);
    disabled.warp.matrices.enable = false;
    EXPECT_TRUE(make_sat_entry(&disabled.warp, 1920, 1080, 1).is_identity);
    EXPECT_TRUE(make_sat_entry(nullptr, 1920, 1080, 1).is_identity);
    // Exactly the identity, on whatever size; a last bit off is none.
    MatrixWarp plain(identity, 640, 0);
    EXPECT_TRUE(make_sat_entry(&plain.warp, 1920, 1080, 1).is_identity);
    MatrixWarp nearly(identity, 1920, 1080);
    nearly.matrix.T[0] = std::nextafter(1.0f, 2.0f);
    EXPECT_FALSE(make_sat_entry(&nearly.warp, 1920, 1080, 1).is_identity);
    std::vector<MatrixWarp> hopeless;
    hopeless.push_back({{{1, 1, 0, 1, 1, 0, 0, 0, 1}}, 1920, 1080});     // flat
    hopeless.push_back({{{kNan, 0, 0, 0, 1, 0, 0, 0, 1}}, 1920, 1080});  // not a number
    hopeless.push_back({{{2, 0, 0, 0, 2, 0, 0, 0, 1}}, 0, 1080});        // on no size
    for (MatrixWarp& sat : hopeless) {
        sat.warp.matrices.perspMatrices = &sat.matrix;
        const std::string log =
            log_of([&] { EXPECT_TRUE(make_sat_entry(&sat.warp, 1920, 1080, 7).is_identity); });
        EXPECT_EQ(count_of(log, "frame_id 7: SAT has no inverse. SAT will be ignored"), 1u) << log;
    }
}

TEST(DisDelay, FollowsTheDelayLine) {
    struct Row {
        uint16_t buffer_delay;
        bool announced;
        uint32_t tuned, delay;
    };
    constexpr Row kRows[] = {
        {1, true, 1, 7},   {12, true, 1, 7},  {13, true, 1, 7},
        {14, true, 1, 8},  {31, true, 1, 25}, {32, true, 1, 25},
        {90, true, 1, 25}, {12, false, 1, 0}, {12, true, 0, 0},
    };
    for (const Row& row : kRows) {
        is_init_common_data common = valid_common();
        common.buffer_delay = row.buffer_delay;
        common.is_dis_enabled = row.announced;
        std::vector<is_init_sensor_data> sensors(2, valid_sensor());
        sensors[1].tuning.dis.enable = row.tuned;
        EXPECT_EQ(calc_dis_delay(common, sensors.data(), 2), row.delay) << row.buffer_delay;
    }
}

TEST(DisStabilizer, FillsRunsDrainsAndIsDone) {
    DisStabilizer dis(7);
    InputRing inputs(1);
    DisEntry entry;
    const auto frame = [&](uint32_t frame_id) {
        FilterInput input;
        input.frame_id = frame_id;
        inputs.push(input);
        return dis.update(false, inputs, entry);
    };
    for (int round = 0; round < 2; ++round) {
        // Six frames wait; the seventh brings the first entry, of the frame itself.
        for (uint32_t id = 1; id <= 6; ++id) {
            EXPECT_EQ(frame(id), EIS_SUCCESS);
            EXPECT_FALSE(entry.valid) << id;
        }
        for (uint32_t id = 7; id <= 9; ++id) {
            EXPECT_EQ(frame(id), EIS_SUCCESS);
            EXPECT_TRUE(entry.valid);
            EXPECT_EQ(entry.frame_id, id);
            EXPECT_EQ(entry.matrix, kIdentity3);
        }
        // Without samples the six come out, then nothing more.
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(dis.update(true, inputs, entry), EIS_SUCCESS);
            EXPECT_EQ(entry.valid, i < 6) << i;
        }
        EXPECT_EQ(frame(10), EIS_ERROR_GENERAL);
        EXPECT_FALSE(entry.valid);
        EXPECT_EQ(dis.state(), uint32_t{kStateError});
        dis.reset();
    }
}

TEST(DisStabilizer, CountsFrameIdsOnceTheDelayLineHoldsTwo) {
    DisStabilizer dis(1);
    InputRing inputs(3);
    DisEntry entry;
    std::vector<uint32_t> ids;
    for (const uint32_t frame_id : {10u, 15u, 20u}) {
        FilterInput input;
        input.frame_id = frame_id;
        inputs.push(input);
        EXPECT_EQ(dis.update(false, inputs, entry), EIS_SUCCESS);
        ids.push_back(entry.frame_id);
    }
    EXPECT_EQ(ids, (std::vector<uint32_t>{10, 11, 12}));
}

TEST(Boundary, StandsBehindCorrectionAndAlignment) {
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    FilterInput input;
    input.windows = compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
    const Matrix3 dis_inverse = translation(-4, 0);
    const Matrix3 sat_inverse = scale(0.5);
    BoundingBox box;
    compute_boundary({}, {}, camera, input, {&dis_inverse, &sat_inverse}, nullptr, box);
    // The alignment's inverse stands on the right, so a point meets it first: 1919 / 2 - 4.
    EXPECT_DOUBLE_EQ(box.points[4].x, 955.5);
    EXPECT_DOUBLE_EQ(box.points[8].y, 539.5);
    compute_boundary({}, {}, camera, input, {&dis_inverse, nullptr}, nullptr, box);
    EXPECT_DOUBLE_EQ(box.points[4].x, 1915.0);
}

// A stage and a stabilizer with a delay line, fed with frames that stand still.
struct DelayedBench {
    is_init_common_data common = valid_common();
    is_init_sensor_data sensor = valid_sensor();
    uint32_t status = EIS_SUCCESS;
    std::unique_ptr<StabilizerDistortionCorrection> stage;
    std::unique_ptr<EisStabilizer> eis;
    EisResult result;

    DelayedBench(uint16_t buffer_delay, uint32_t dis_delay) {
        common.buffer_delay = buffer_delay;
        common.is_sat_enabled = true;
        stage = std::make_unique<StabilizerDistortionCorrection>(common, &sensor, 1, status);
        eis = std::make_unique<EisStabilizer>(common, &sensor, 1, dis_delay, *stage, status);
        EXPECT_EQ(status, EIS_SUCCESS);
    }

    void frame(const Matrix3& sat, const DisEntry& dis) {
        MatrixWarp warp({}, 1920, 1080);
        // From the corner to the centre, as a caller gives it.
        const Matrix3 centred = seen_from(sat, {959.5, 539.5});
        std::copy(centred.begin(), centred.end(), warp.matrix.T);
        FilterInput input;
        input.windows = compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
        input.readout_duration = input.exposure_time = 10000;
        stage->filter_inputs().push(input);
        const Vec3<double> still[kTimeRows] = {};
        stage->update(still, nullptr, nullptr, true, IS_SCENE_STILL);
        stage->update_rsc_alpha_by_margins();
        is_input_stabilize in{};
        in.sat = &warp.warp;
        EXPECT_EQ(eis->update_and_process(false, in, dis, result), EIS_SUCCESS);
    }
};

TEST(EisStabilizer, ComputesAnOlderBoundaryOnceMoreWhenItsCorrectionArrives) {
    DelayedBench bench(10, 7);
    // Frame k is aligned by k pixels to the right; its border stands k pixels to the left.
    for (uint32_t k = 0; k < 3; ++k) {
        bench.frame(translation(k, 0), {});
        EXPECT_NEAR(bench.eis->boxes().newest().points[0].x, -1.0 * k, 1e-4);
    }
    // Fewer frames than the delay: the correction goes to the oldest.
    bench.frame(translation(3, 0), {translation(0, 5), 0, true});
    EXPECT_NEAR(bench.eis->boxes()[0].points[0].y, -5.0, 1e-4);
    EXPECT_NEAR(bench.eis->boxes()[0].points[0].x, 0.0, 1e-4);
    EXPECT_NEAR(bench.eis->boxes()[1].points[0].y, 0.0, 1e-4);
    for (uint32_t k = 4; k < 12; ++k) {
        bench.frame(translation(k, 0), {});
    }
    bench.frame(translation(12, 0), {translation(0, 2), 0, true});
    // Ten frames are kept, 3 to 12; seven back from the end stands frame 6.
    for (uint32_t i = 0; i < 10; ++i) {
        EXPECT_NEAR(bench.eis->boxes()[i].points[0].x, -3.0 - i, 1e-4) << i;
        EXPECT_NEAR(bench.eis->boxes()[i].points[0].y, i == 3 ? -2.0 : 0.0, 1e-4) << i;
    }
}

TEST(EisStabilizer, MultipliesCorrectionAlignmentAndRotationInThisOrder) {
    // A device at rest: the rotation is the identity.
    DelayedBench bench(1, 7);
    bench.frame(scale(2.0), {translation(4, 0), 0, true});
    ASSERT_TRUE(bench.result.valid);
    EXPECT_NEAR(map_point(bench.result.stabilization, {10, 20}).x, 24.0, 1e-4);
    EXPECT_NEAR(map_point(bench.result.stabilization, {10, 20}).y, 40.0, 1e-4);
    // An entry that is not valid and an exact identity take no part.
    bench.frame(kIdentity3, {translation(4, 0), 0, false});
    EXPECT_EQ(bench.result.stabilization, kIdentity3);
}

TEST(TestModeBorders, WalksClockwiseInStepsOfEight) {
    // 96, 54, 1823, 1025 are the edges: x from -97 to 98, y from -55 to 56.
    const frame_geometry_windows windows =
        compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
    TestModeBorders borders;
    std::vector<Point2> path;
    for (int i = 0; i < 80; ++i) {
        path.push_back(borders.step(windows, 1920, 1080));
    }
    struct Row {
        size_t frame;
        double x, y;
    };
    // 195 px are 25 steps, 111 px are 14.
    constexpr Row kRows[] = {{0, -97, -55}, {1, -89, -55},  {24, 95, -55}, {25, 98, -55},
                             {26, 98, -47}, {39, 98, 56},   {40, 90, 56},  {64, -97, 56},
                             {65, -97, 48}, {78, -97, -55}, {79, -89, -55}};
    for (const Row& row : kRows) {
        EXPECT_EQ(path[row.frame].x, row.x) << row.frame;
        EXPECT_EQ(path[row.frame].y, row.y) << row.frame;
    }
    borders.reset();
    EXPECT_EQ(borders.step(windows, 1920, 1080).x, -97.0);
    // Without margins the walk stays within two pixels.
    const frame_geometry_windows full = compute_frame_geometry_windows(
        test::centred_windows(1920, 1080, 1920, 1080), 1920, 1080, 0.67);
    TestModeBorders around_nothing;
    for (int i = 0; i < 20; ++i) {
        const Point2 p = around_nothing.step(full, 1920, 1080);
        EXPECT_LE(std::max(std::fabs(p.x), std::fabs(p.y)), 2.0) << i;
    }
}

// A ring grid of 27 by 35 nodes that moves everything by `shift` to the right.
std::vector<NcLibWarpGridCoord> shifted_grid(float shift) {
    std::vector<NcLibWarpGridCoord> nodes;
    for (int row = 0; row < 27; ++row) {
        for (int column = 0; column < 35; ++column) {
            nodes.push_back({-4352.0f + 256.0f * static_cast<float>(column) + shift,
                             -3328.0f + 256.0f * static_cast<float>(row)});
        }
    }
    return nodes;
}

TEST(UpstreamTransform, CarriesTheBorderThroughMatrixThenGridAndCutsIt) {
    BorderPoints points;
    MatrixWarp identity({{1, 0, 0, 0, 1, 0, 0, 0, 1}}, 8192, 6144);
    ASSERT_EQ(calc_pre_aling_warp_input_points(identity.warp, 1920, 1080, points), EIS_SUCCESS);
    constexpr double kBorder[16][2] = {{0, 0},       {480, 0},     {960, 0},    {1440, 0},
                                       {1920, 0},    {1920, 270},  {1920, 540}, {1920, 810},
                                       {1920, 1080}, {1440, 1080}, {960, 1080}, {480, 1080},
                                       {0, 1080},    {0, 810},     {0, 540},    {0, 270}};
    for (uint32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(points[i].x, kBorder[i][0]) << i;
        EXPECT_EQ(points[i].y, kBorder[i][1]) << i;
    }
    // Moved by 512 of 8192 to the right and 384 of 6144 up: 120 px and 67.5 px.
    MatrixWarp shift({{1, 0, 512, 0, 1, -384, 0, 0, 1}}, 8192, 6144);
    ASSERT_EQ(calc_pre_aling_warp_input_points(shift.warp, 1920, 1080, points), EIS_SUCCESS);
    EXPECT_NEAR(points[0].x, 120.0, 1e-6);
    EXPECT_EQ(points[0].y, 0.0);
    EXPECT_EQ(points[8].x, 1920.0);
    EXPECT_NEAR(points[8].y, 1012.5, 1e-6);
    // Half the size, then 512 to the right.
    std::vector<NcLibWarpGridCoord> nodes = shifted_grid(512.0f);
    MatrixWarp both({{0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 1}}, 8192, 6144);
    both.warp.grid = {true,   {8192, 6144}, 27,
                      35,     nodes.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                      nullptr};
    ASSERT_EQ(calc_pre_aling_warp_input_points(both.warp, 1920, 1080, points), EIS_SUCCESS);
    EXPECT_NEAR(points[0].x, 480.0 + 120.0, 1e-3);
    EXPECT_NEAR(points[4].x, 1440.0 + 120.0, 1e-3);
    EXPECT_NEAR(points[8].y, 810.0, 1e-3);
    // The same by a grid without a ring, whose corners stand apart.
    std::vector<NcLibWarpGridCoord> inner;
    for (int row = 1; row < 26; ++row) {
        inner.insert(inner.end(), nodes.begin() + 35 * row + 1, nodes.begin() + 35 * row + 34);
    }
    NcLibWarpGridCoord corners[] = {nodes[0], nodes[34], nodes[26 * 35], nodes[26 * 35 + 34]};
    both.warp.grid = {true,   {8192, 6144}, 25, 33, inner.data(), EXTRAPOLATION_TYPE_FOUR_CORNERS,
                      corners};
    ASSERT_EQ(calc_pre_aling_warp_input_points(both.warp, 1920, 1080, points), EIS_SUCCESS);
    EXPECT_NEAR(points[0].x, 480.0 + 120.0, 1e-3);
    EXPECT_NEAR(points[8].y, 810.0, 1e-3);
}

TEST(UpstreamTransform, IsLeftOutWhenItCannotBeCarriedOut) {
    std::vector<NcLibWarpGridCoord> nodes = shifted_grid(0.0f);
    const NcLibWarpGrid right = {
        true,   {8192, 6144}, 27, 35, nodes.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
        nullptr};
    const auto with_grid = [&](auto spoil) {
        NcLibWarp warp{};
        warp.grid = right;
        spoil(warp.grid);
        return warp;
    };
    MatrixWarp flat({}, 8192, 6144);
    const NcLibWarp kHopeless[] = {
        flat.warp,
        with_grid([](NcLibWarpGrid& grid) { grid.numRows = 26; }),
        with_grid([](NcLibWarpGrid& grid) { grid.extrapolateType = EXTRAPOLATION_TYPE_NONE; }),
        with_grid([](NcLibWarpGrid& grid) {
            grid.extrapolateType = EXTRAPOLATION_TYPE_FOUR_CORNERS;
            grid.numRows = 25;
            grid.numColumns = 33;
        }),
    };
    for (const NcLibWarp& warp : kHopeless) {
        BorderPoints points;
        const std::string log = log_of([&] {
            EXPECT_EQ(calc_pre_aling_warp_input_points(warp, 1920, 1080, points),
                      EIS_ERROR_GENERAL);
        });
        EXPECT_EQ(count_of(log, "NcLibInternalApplyTopologyOnPoints() failed: 0x0400000"), 1u)
            << log;
    }
}

}  // namespace
}  // namespace steadywarp
