// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>

#include "filter/frame_records.hpp"
#include "stabilizer/boundary.hpp"
#include "stabilizer/grid.hpp"
#include "stabilizer/row_search.hpp"
#include "stabilizer/rsc_alpha.hpp"
#include "support/records.hpp"

namespace steadywarp {
namespace {

TEST(Grid, SpansTheFrameWithARingOutside) {
    const Grid grid(1920, 1080);
    EXPECT_DOUBLE_EQ(grid.x[0], -60.5);
    EXPECT_DOUBLE_EQ(grid.x[1], -0.5);
    EXPECT_DOUBLE_EQ(grid.x[33], 1919.5);
    EXPECT_DOUBLE_EQ(grid.y[0], -45.5);
    EXPECT_DOUBLE_EQ(grid.y[25], 1079.5);
    EXPECT_DOUBLE_EQ(grid.y[26], 1124.5);
}

TEST(Grid, LookupIsExactForALinearWarpAndGoesOnBeyondTheLattice) {
    Grid grid(640, 480);
    for (uint32_t j = 0; j < kGridRows; ++j) {
        for (uint32_t i = 0; i < kGridColumns; ++i) {
            grid.points[j * kGridColumns + i] = {2.0 * grid.x[i] + 0.5 * grid.y[j] + 3.0,
                                                 grid.y[j] - grid.x[i]};
        }
    }
    for (const Point2& p : {Point2{10.25, 400.0}, Point2{-200.0, 900.0}, Point2{639.5, 479.5}}) {
        const Point2 q = grid.lookup(p);
        EXPECT_NEAR(q.x, 2.0 * p.x + 0.5 * p.y + 3.0, 1e-9);
        EXPECT_NEAR(q.y, p.y - p.x, 1e-9);
    }
    const double nan = std::nan("");
    EXPECT_TRUE(std::isnan(grid.lookup({nan, nan}).x));
}

TEST(FrameGeometryWindows, ReducesCropsToPixelsOfTheInput) {
    is_window_regions regions = test::centred_windows(4000, 3000, 3600, 2700);
    regions.eis_pre_crop_vIN = {4000, 3000, 3000, 2250, 500, 375};
    regions.eis_pre_crop_vOUT = {4000, 3000, 2000, 1500, 1000, 750};
    const frame_geometry_windows w = compute_frame_geometry_windows(regions, 2000, 1500, 0.67);
    EXPECT_DOUBLE_EQ(w.scale, 0.5);
    EXPECT_TRUE(w.out_cropped);
    EXPECT_DOUBLE_EQ(w.in_ratio_x, 0.75);
    EXPECT_TRUE(w.in_cropped);
    EXPECT_DOUBLE_EQ(w.input_right, 1999.0);
    EXPECT_DOUBLE_EQ(w.input_bottom, 1499.0);
    // 200 of 4000 pixels are 100 of 2000.
    EXPECT_DOUBLE_EQ(w.output_left, 100.0);
    EXPECT_DOUBLE_EQ(w.output_right, 1899.0);
    EXPECT_DOUBLE_EQ(w.output_top, 75.0);
    EXPECT_DOUBLE_EQ(w.output_bottom, 1424.0);
    // Wide enough as it is; a window of a tenth grows to 0.33 about its middle.
    EXPECT_DOUBLE_EQ(w.widest_left, 100.0);
    regions.output_crop_fov = {4000, 3000, 400, 300, 1800, 1350};
    const frame_geometry_windows narrow = compute_frame_geometry_windows(regions, 2000, 1500, 0.67);
    EXPECT_NEAR(narrow.widest_left, 670.0, 1e-9);
    EXPECT_NEAR(narrow.widest_right, 1329.0, 1e-9);
    EXPECT_FALSE(
        compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 1.0).in_cropped);
}

TEST(Boundary, TurnsEachPointBackByTheRowThatReadIt) {
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    FilterInput input;
    input.windows = compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
    // The camera turns right as it reads: row r at 0.001 * (r - 13) about y.
    RowAngles angles;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        angles[r] = {0.0, 0.001 * (static_cast<double>(r) - 13.0), 0.0};
    }
    BoundingBox box;
    compute_boundary(angles, {}, camera, input, {}, nullptr, box);
    // Row 1 at the top, row 24 at the bottom: 1079 / 1080 * 24 is cut to 23.
    const double ray = std::atan2(-959.5, 1500.0);
    EXPECT_NEAR(box.points[0].x, 959.5 + 1500.0 * std::tan(ray - 0.012), 1e-6);
    EXPECT_NEAR(box.points[12].x, 959.5 + 1500.0 * std::tan(ray + 0.011), 1e-6);
    // Half way down the right side: y = 539.5, row 12 is 11.98 cut to 11, and 1.
    EXPECT_NEAR(box.points[6].x, 959.5 + 1500.0 * std::tan(-ray - 0.001), 1e-6);
    EXPECT_LT(box.extent_left, 0.0);
    EXPECT_GT(box.extent_right, 0.0);
}

TEST(RowSearch, BlendsTheTwoRowsAroundAPoint) {
    Grid grid(640, 480);
    // Row r sees the picture moved by 0.25 r to the right: node rows see their own time row.
    RowHomographies rows;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        rows[r] = {1, 0, 0.25 * r, 0, 1, 0, 0, 0, 1};
    }
    map_by_row_search(rows, grid);
    for (uint32_t j = 0; j < kGridRows; ++j) {
        EXPECT_NEAR(grid.points[j * kGridColumns + 7].x, grid.x[7] + 0.25 * j, 1e-9) << j;
        EXPECT_NEAR(grid.points[j * kGridColumns + 7].y, grid.y[j], 1e-9) << j;
    }
    // Moved down by 5 px in every row, a quarter of a cell: an output point is seen a quarter of a
    // row later.
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        rows[r] = {1, 0, 0.25 * r, 0, 1, 5.0, 0, 0, 1};
    }
    map_by_row_search(rows, grid);
    for (uint32_t j = 0; j + 1 < kGridRows; ++j) {
        EXPECT_NEAR(grid.points[j * kGridColumns].x, grid.x[0] + 0.25 * (j + 0.25), 1e-9) << j;
    }
    // Below the last row there is nothing to blend with.
    EXPECT_NEAR(grid.points[26 * kGridColumns].x, grid.x[0] + 0.25 * 26, 1e-9);
}

TEST(RowSearch, FindsRowsFarFromTheNodesOwn) {
    Grid grid(640, 480);
    RowHomographies rows;
    for (const double shift : {-300.0, 300.0}) {
        for (uint32_t r = 0; r < kTimeRows; ++r) {
            rows[r] = {1, 0, 0.25 * r, 0, 1, shift, 0, 0, 1};
        }
        map_by_row_search(rows, grid);
        for (uint32_t j = 0; j < kGridRows; ++j) {
            const double row = std::min(std::max(j + shift / 20.0, 0.0), 26.0);
            EXPECT_NEAR(grid.points[j * kGridColumns].x, grid.x[0] + 0.25 * row, 1e-9)
                << shift << " " << j;
        }
    }
}

TEST(RscAlpha, ExistsForFrontCamerasUnlessTunedOff) {
    struct Row {
        uint32_t position;
        float mode, enable;
        bool wanted;
    };
    constexpr Row kRows[] = {
        {0, 0, 0, false}, {1, 0, 0, true}, {1, 1, 1, true}, {1, 1, 0, false}, {1, 2, 1, false},
    };
    for (const Row& row : kRows) {
        is_init_sensor_data sensor = test::valid_sensor();
        eis_tuning_set_behaviour(&sensor.tuning,
                                 EIS_TUNING_FACE_DISTORTION_PREVENTION_PARAMETER_MODE, row.mode);
        eis_tuning_set_behaviour(&sensor.tuning, EIS_TUNING_FACE_DISTORTION_PREVENTION_ENABLE,
                                 row.enable);
        EXPECT_EQ(RscAlpha::is_wanted(row.position, sensor.tuning), row.wanted)
            << row.position << row.mode << row.enable;
    }
}

TEST(RscAlpha, FallsFastAndRisesSlowly) {
    const is_init_sensor_data sensor = test::valid_sensor();
    uint32_t status = EIS_SUCCESS;
    RscAlpha alpha(sensor.tuning, status);
    EXPECT_TRUE(alpha.uses_defaults());
    EXPECT_EQ(alpha.update(1.0, true, IS_SCENE_HANDHELD, 1, 0, 0), 1.0f);
    // One frame of strong panning: (2 * 1 + 2 * 0.01) / 4.
    EXPECT_NEAR(alpha.update(1.0, true, IS_SCENE_STRONG_PANNING, 2, 0, 0), 0.505f, 1e-6);
    // Entries above 0.505 now weigh a quarter: (0.25 + 2 * 0.01 + 0.25) / 2.5.
    EXPECT_NEAR(alpha.update(0.0, true, IS_SCENE_HANDHELD, 3, 0, 0), 0.208f, 1e-6);
    alpha.reset();
    // Not settled: on the line from 1 at 0.015 rad to 0.01 at 0.04 rad.
    EXPECT_NEAR(alpha.update(0.0275, false, IS_SCENE_MOTION, 1, 0, 0), 0.505f, 1e-5);
    alpha.reset();
    EXPECT_NEAR(alpha.update(0.0275, false, IS_SCENE_PANNING, 1, 0, 0), 0.2525f, 1e-5);
    alpha.reset();
    EXPECT_EQ(alpha.update(0.015, true, IS_SCENE_MOTION, 1, 0, 0), 1.0f);
    EXPECT_EQ(alpha.update(9.0, false, IS_SCENE_MOTION, 2, 0, 0) < 1.0f, true);
}

}  // namespace
}  // namespace steadywarp
