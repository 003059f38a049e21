// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/lens_distortion.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "interface/eis_context.hpp"
#include "stabilizer/boundary.hpp"
#include "stabilizer/forward_mapping.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"
#include "validation/init_grids_validation.hpp"

namespace steadywarp::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(Grid, TakesOverTheHardwaresGridsAndContinuesThemToItsRing) {
    // Virtual units on a smooth surface of degree 3, all exact in single precision.
    const auto value = [](int i, int j) {
        const float x = static_cast<float>(i - 17);
        const float y = static_cast<float>(j - 13);
        return NcLibWarpGridCoord{256.0f * x + x * y + 0.125f * x * x * y,
                                  256.0f * y - 0.5f * x * x + 0.0625f * y * y * y};
    };
    struct Row {
        uint32_t rows, columns;
        int begin, step;  // where node (1, 1) of the lattice stands in the source, and the next
    };
    for (const Row& row : {Row{27, 35, 1, 1}, Row{25, 33, 0, 1}, Row{51, 67, 1, 2}}) {
        std::vector<NcLibWarpGridCoord> source(row.rows * row.columns, {kNan, kNan});
        for (int j = row.rows == 27 ? 0 : 1; j <= (row.rows == 27 ? 26 : 25); ++j) {
            for (int i = row.rows == 27 ? 0 : 1; i <= (row.rows == 27 ? 34 : 33); ++i) {
                const int r = row.begin + row.step * (j - 1);
                const int c = row.begin + row.step * (i - 1);
                source[static_cast<size_t>(r) * row.columns + static_cast<size_t>(c)] = value(i, j);
            }
        }
        Grid grid(1920, 1080);
        grid.uniform_poly_extarp(source.data(), row.rows, row.columns, 8192, 6144);
        for (int j = 0; j < 27; ++j) {
            for (int i = 0; i < 35; ++i) {
                const NcLibWarpGridCoord v = value(i, j);
                const Point2& point = grid.points[static_cast<size_t>(j * 35 + i)];
                EXPECT_NEAR(point.x, 959.5 + v.x * 1920.0 / 8192.0, 1e-6) << row.rows << i << j;
                EXPECT_NEAR(point.y, 539.5 + v.y * 1080.0 / 6144.0, 1e-6) << row.rows << i << j;
            }
        }
    }
    // Values on a picture of half the size count twice.
    std::vector<NcLibWarpGridCoord> source(945, {100.0f, 50.0f});
    Grid grid(1920, 1080);
    grid.uniform_poly_extarp(source.data(), 27, 35, 4096, 3072);
    EXPECT_NEAR(grid.points[400].x, 959.5 + 200.0 * 1920.0 / 8192.0, 1e-9);
    EXPECT_NEAR(grid.points[400].y, 539.5 + 100.0 * 1080.0 / 6144.0, 1e-9);
}

// A lens that moves a point at radius r, in pixels of a picture 1920 wide, to r (1 + k r^2).
struct Lens {
    double k;

    Point2 undistort(const Point2& p) const {
        const double grows = 1.0 + k * (p.x * p.x + p.y * p.y);
        return {p.x * grows, p.y * grows};
    }
    Point2 distort(const Point2& p) const {
        Point2 guess = p;
        for (int round = 0; round < 60; ++round) {
            const Point2 there = undistort(guess);
            guess = {guess.x + p.x - there.x, guess.y + p.y - there.y};
        }
        return guess;
    }
};

struct IcaGrids {
    NcLibIcaGrid in2out{};
    NcLibIcaGrid out2in{};

    // On a picture of this size, in the lens's pixels; nodes with a ring.
    IcaGrids(const Lens& lens, double width, double height, uint32_t geometry) {
        const uint32_t rows = geometry == 1 ? 27 : 51;
        const uint32_t columns = geometry == 1 ? 35 : 67;
        for (uint32_t j = 0; j < rows; ++j) {
            for (uint32_t i = 0; i < columns; ++i) {
                const Point2 node = {width * ((i - 1.0) / (columns - 3.0) - 0.5),
                                     height * ((j - 1.0) / (rows - 3.0) - 0.5)};
                const auto to_virtual = [&](const Point2& p) {
                    return NcLibWarpGridCoord{static_cast<float>(p.x * 8192.0 / width),
                                              static_cast<float>(p.y * 6144.0 / height)};
                };
                in2out.grid[j * columns + i] = to_virtual(lens.undistort(node));
                out2in.grid[j * columns + i] = to_virtual(lens.distort(node));
            }
        }
        in2out.enable = out2in.enable = 1;
        in2out.geometry = out2in.geometry = geometry;
        in2out.transformDefinedOn = out2in.transformDefinedOn = {8192, 6144};
    }
};

TEST(LdcResampleGrid, CutsTheStagesInputOutOfTheCalibratedPicture) {
    struct Row {
        const char* what;
        double k;
        double width, height;  // of the calibrated picture, in pixels of the stage's 1920 x 1080
        uint32_t geometry;
        LdcDomain domain;
        double zoom;
    };
    const is_crop_window no_crop = {};
    // The middle 3200 x 2400 of 4000 x 3000.
    const is_crop_window sensor_crop = {4000, 3000, 3200, 2400, 400, 300};
    const double corner2 = 960.0 * 960.0 + 540.0 * 540.0;
    const Row rows[] = {
        {"same aspect", 1.6e-8, 1920, 1080, 1, {1, no_crop, 1920, 1080}, 1.0},
        {"out of 4:3", 1.6e-8, 1920, 1440, 1, {1, no_crop, 4000, 3000}, 1.0},
        {"out of 4:3, fine", 1.6e-8, 1920, 1440, 2, {1, no_crop, 4000, 3000}, 1.0},
        {"unknown front end", 1.6e-8, 1920, 1080, 1, {1, no_crop, 0, 0}, 1.0},
        {"sensor without a crop", 1.6e-8, 1920, 1440, 1, {0, no_crop, 4000, 3000}, 1.0},
        // The corners are the last that the picture can fill.
        {"drawn inward",
         -1.6e-8,
         1920,
         1440,
         1,
         {1, no_crop, 4000, 3000},
         1.0 / (1.0 - 1.6e-8 * corner2)},
        // The middles of top and bottom are.
        {"out of the sensor",
         1.6e-8,
         2400,
         1800,
         2,
         {0, sensor_crop, 3200, 2400},
         1.0 / (1.0 + 1.6e-8 * 540.0 * 540.0)},
    };
    for (const Row& row : rows) {
        const Lens lens = {row.k};
        const IcaGrids ica(lens, row.width, row.height, row.geometry);
        std::unique_ptr<Grid> in2out, out2in;
        ASSERT_EQ(ldc_resample_grid(ica.in2out, ica.out2in, row.domain, 1920, 1080, in2out, out2in),
                  EIS_SUCCESS)
            << row.what;
        double worst = 0.0;
        for (uint32_t j = 1; j <= 25; ++j) {
            for (uint32_t i = 1; i <= 33; ++i) {
                const Point2 node = {in2out->x[i] - 959.5, in2out->y[j] - 539.5};
                const Point2 there = lens.undistort(node);
                const Point2 back = lens.distort({node.x / row.zoom, node.y / row.zoom});
                const Point2& got = in2out->points[j * 35 + i];
                const Point2& got_back = out2in->points[j * 35 + i];
                worst = std::max({worst, std::fabs(got.x - 959.5 - there.x * row.zoom),
                                  std::fabs(got.y - 539.5 - there.y * row.zoom),
                                  std::fabs(got_back.x - 959.5 - back.x),
                                  std::fabs(got_back.y - 539.5 - back.y)});
            }
        }
        EXPECT_LT(worst, 0.02) << row.what;
    }
}

TEST(LdcResampleGrid, RefusesWhatItCannotCut) {
    const IcaGrids ica({1e-8}, 1920, 1440, 1);
    IcaGrids not_virtual = ica;
    not_virtual.in2out.transformDefinedOn = {1920, 1440};
    struct Row {
        const char* what;
        const IcaGrids& grids;
        LdcDomain domain;
        const char* line;
    };
    const Row rows[] = {
        {"no such domain", ica, {2, {}, 4000, 3000}, ""},
        {"a crop beside the middle",
         ica,
         {0, {4000, 3000, 3200, 2400, 500, 300}, 4000, 3000},
         "NcLibCalcMaxOutputWindowFloat function failed 0x04000002"},
        {"not virtual",
         not_virtual,
         {1, {}, 4000, 3000},
         "NcLibCalcMaxOutputWindowFloat function failed 0x04000002"},
        {"a crop beyond the sensor",
         ica,
         {0, {4000, 3000, 5000, 3000, -500, 0}, 4000, 3000},
         "function failed 0x04000002"},
    };
    for (const Row& row : rows) {
        std::unique_ptr<Grid> in2out, out2in;
        const std::string log = log_of([&] {
            EXPECT_EQ(ldc_resample_grid(row.grids.in2out, row.grids.out2in, row.domain, 1920, 1080,
                                        in2out, out2in),
                      EIS_ERROR_GENERAL)
                << row.what;
        });
        EXPECT_NE(log.find(row.line), std::string::npos) << row.what << log;
    }
}

// Sensor grids of 35 by 27 that do nothing.
struct PlainGrids {
    std::vector<NcLibWarpGridCoord> nodes = std::vector<NcLibWarpGridCoord>(945);
    NcLibWarpGrid in2out{};
    NcLibWarpGrid out2in{};

    PlainGrids() {
        for (uint32_t k = 0; k < 945; ++k) {
            nodes[k] = {60.0f * (static_cast<float>(k % 35) - 17.0f),
                        45.0f * (static_cast<float>(k / 35) - 13.0f)};
        }
        in2out = {true,   {kWidth, kHeight}, 27,
                  35,     nodes.data(),      EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                  nullptr};
        out2in = in2out;
    }
};

TEST(InitGrids, AreJudgedBySourceShapeAndSize) {
    using Sensor = is_init_sensor_data;
    PlainGrids ica;
    const auto tuned = [](Sensor& s) {
        is_tessaline_lens_distortion_correction& ldc = s.tuning.lens_distortion_correction;
        ldc.ldc_grid_enable = 1;
        ldc.image_size_distorted_x = ldc.image_size_undistorted_x = 4000;
        ldc.image_size_distorted_y = ldc.image_size_undistorted_y = 2250;
    };
    const auto beside = [&](Sensor& s) {
        s.tuning.lens_distortion_correction.ldc_grid_source = 1;
        s.ldc_in2out = &ica.in2out;
        s.ldc_out2in = &ica.out2in;
    };
    constexpr uint32_t kBad = EIS_ERROR_INVALID_INPUT;
    struct Row {
        const char* what;
        std::function<void(Sensor&)> change;
        uint32_t status;
        bool no_grid;
        const char* line;  // the only one; NULL: silence
    };
    const std::vector<Row> rows = {
        {"none", [](Sensor&) {}, 0, true, nullptr},
        {"tuned", tuned, 0, false, nullptr},
        {"grids beside the tuning, which is not asked",
         [&](Sensor& s) {
             beside(s);
             s.tuning.lens_distortion_correction.ldc_grid_source = 0;
         },
         0, true, "[ERR]  IS1026: V2: is_valid_tuned_grids("},
        {"one grid beside the tuning",
         [&](Sensor& s) {
             tuned(s);
             ica.in2out.enable = false;
             s.ldc_in2out = &ica.in2out;
         },
         0, false,
         "ICA LDC grids - ldc_in2out, ldc_out2in - are enabled but ldc_grid_source is set to 0 "
         "(local EIS grids)"},
        {"a model",
         [&](Sensor& s) {
             tuned(s);
             s.tuning.lens_distortion_correction.ldc_model_type = 1;
         },
         kBad, false, "[ERR]  IS0003: V2: is_valid_tuned_grids("},
        {"fine tuned grids",
         [&](Sensor& s) {
             tuned(s);
             s.tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_geometry =
                 s.tuning.lens_distortion_correction
                     .undistorted_to_distorted_input_ldc_grid_geometry = 1;
         },
         kBad, false, "Grid geometry not supported"},
        {"an aspect off by 0.0009",
         [&](Sensor& s) {
             tuned(s);
             s.tuning.lens_distortion_correction.image_size_distorted_x = 10000;
             s.tuning.lens_distortion_correction.image_size_distorted_y = 5634;
         },
         0, false, nullptr},
        {"an aspect off by 0.0011",
         [&](Sensor& s) {
             tuned(s);
             s.tuning.lens_distortion_correction.image_size_undistorted_x = 10000;
             s.tuning.lens_distortion_correction.image_size_undistorted_y = 5636;
         },
         kBad, false, "grid defined on image_size with a different ratio then input size to EIS."},
        {"a picture of no size",
         [&](Sensor& s) {
             tuned(s);
             s.tuning.lens_distortion_correction.image_size_distorted_x = 0;
             s.tuning.lens_distortion_correction.image_size_distorted_y = 0;
         },
         kBad, false, "[ERR]  IS0002: V2: is_valid_tuned_grids("},
        {"beside the tuning", beside, 0, false, nullptr},
        {"beside the tuning, and tuned",
         [&](Sensor& s) {
             tuned(s);
             beside(s);
         },
         0, false, "LDC grids - ldc_grid_enable - is enabled but ldc_grid_source is not set to 0"},
        {"disabled beside the tuning",
         [&](Sensor& s) {
             beside(s);
             ica.out2in.enable = false;
         },
         0, true, "LDC support was enabled with ICA grid, but grid are disabled"},
        {"missing beside the tuning",
         [&](Sensor& s) {
             beside(s);
             s.ldc_in2out = nullptr;
         },
         0, true, "[HIGH] IS1026: V2: is_valid_init_input_grids("},
    };
    for (const Row& row : rows) {
        Sensor sensor = valid_sensor();
        ica.in2out.enable = ica.out2in.enable = true;
        row.change(sensor);
        bool no_grid = !row.no_grid;
        uint32_t status = 1;
        const std::string log =
            log_of([&] { status = is_valid_init_input_grids(sensor, kWidth, kHeight, no_grid); });
        EXPECT_EQ(status, row.status) << row.what;
        EXPECT_EQ(no_grid, row.no_grid) << row.what;
        EXPECT_EQ(count_of(log, "\n"), row.line != nullptr ? 1u : 0u) << row.what << log;
        EXPECT_NE(log.find(row.line != nullptr ? row.line : ""), std::string::npos)
            << row.what << log;
    }
    // Two shapes are one line more.
    Sensor sensor = valid_sensor();
    tuned(sensor);
    sensor.tuning.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_geometry = 1;
    bool no_grid = true;
    const std::string log = log_of(
        [&] { EXPECT_EQ(is_valid_init_input_grids(sensor, kWidth, kHeight, no_grid), kBad); });
    EXPECT_EQ(count_of(log, "[HIGH] IS1026"), 1u) << log;
    EXPECT_EQ(count_of(log, "Tessaline grids geometries mismatch"), 1u) << log;
    EXPECT_EQ(count_of(log, "Grid geometry not supported"), 1u) << log;
}

TEST(InitGrids, ThatCannotBeBuiltFailTheStart) {
    PlainGrids ica;
    using Sensor = is_init_sensor_data;
    struct Row {
        const char* what;
        std::function<void(Sensor&)> change;
        const char* line;
    };
    const auto beside = [&](Sensor& s) {
        s.tuning.lens_distortion_correction.ldc_grid_source = 1;
        s.ldc_in2out = &ica.in2out;
        s.ldc_out2in = &ica.out2in;
        s.ldc_calib_domain = 1;
    };
    const std::vector<Row> rows = {
        {"a tuned model",
         [](Sensor& s) {
             s.tuning.lens_distortion_correction.ldc_grid_enable = 1;
             s.tuning.lens_distortion_correction.ldc_model_type = 2;
         },
         "Grid geometry not supported"},
        {"the stage's domain beside the tuning",
         [&](Sensor& s) {
             beside(s);
             s.ldc_calib_domain = 2;
         },
         "ldc_resample_grid function failed 0x08000002"},
        {"no nodes",
         [&](Sensor& s) {
             beside(s);
             ica.out2in.grid = nullptr;
         },
         "convert_NcLibWarpGrid_to_virtual_domain_NcLibIcaGrid function failed 0x08000002"},
        {"four corners beside a ring",
         [&](Sensor& s) {
             beside(s);
             ica.in2out.extrapolateType = ica.out2in.extrapolateType =
                 EXTRAPOLATION_TYPE_FOUR_CORNERS;
             ica.in2out.gridExtrapolate = ica.out2in.gridExtrapolate = ica.nodes.data();
         },
         "NcLibWarpConvertToVirtualDomain function failed 0x04000002"},
    };
    for (const Row& row : rows) {
        const NcLibWarpGrid in2out = ica.in2out;
        const NcLibWarpGrid out2in = ica.out2in;
        Sensor sensor = valid_sensor();
        row.change(sensor);
        const is_init_common_data common = valid_common();
        eis_context* context = nullptr;
        const std::string log = log_of([&] {
            EXPECT_EQ(eis2_initialize(&context, &common, &sensor, 1), EIS_ERROR_NO_MEMORY)
                << row.what;
        });
        EXPECT_EQ(context, nullptr);
        EXPECT_EQ(count_of(log, row.line), 1u) << row.what << log;
        EXPECT_EQ(count_of(log, "Failed to init LDC grids for sensor #0"), 1u) << row.what << log;
        ica.in2out = in2out;
        ica.out2in = out2in;
    }
}

TEST(ForwardMapping, OfPlainOpticsIsTheIdentityToTheLastRow) {
    Grid plain(1920, 1080);
    plain.set_identity();
    frame_geometry_windows windows =
        compute_frame_geometry_windows(centred_windows(), 1920, 1080, 0.67);
    Grid grid(1920, 1080);
    map_forward({}, {{&plain, &plain}, nullptr, windows, {960, 540}}, grid);
    for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
        EXPECT_NEAR(grid.points[k].x, plain.points[k].x, 1e-9) << k;
        EXPECT_NEAR(grid.points[k].y, plain.points[k].y, 1e-9) << k;
    }
    // In a crop ahead of the stage too.
    windows.in_ratio_x = windows.in_ratio_y = windows.out_ratio_x = windows.out_ratio_y = 0.5;
    Grid cropped(1920, 1080);
    map_forward({}, {{&plain, &plain}, nullptr, windows, {960, 540}}, cropped);
    for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
        EXPECT_NEAR(cropped.points[k].x, plain.points[k].x, 1e-9) << k;
        EXPECT_NEAR(cropped.points[k].y, plain.points[k].y, 1e-9) << k;
    }
}

TEST(ForwardMapping, ClaimsEveryNode) {
    // A node that no quadrangle claims would keep what was in it.
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    const frame_geometry_windows windows =
        compute_frame_geometry_windows(centred_windows(), 1920, 1080, 0.67);
    const Lens lens = {1.6e-8};
    Grid in2out(1920, 1080);
    Grid out2in(1920, 1080);
    for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
        const Point2 node = {in2out.x[k % 35] - 959.5, in2out.y[k / 35] - 539.5};
        const Point2 there = lens.undistort(node);
        const Point2 back = lens.distort(node);
        in2out.points[k] = {there.x + 959.5, there.y + 539.5};
        out2in.points[k] = {back.x + 959.5, back.y + 539.5};
    }
    Grid plain(1920, 1080);
    plain.set_identity();
    uint32_t seed = 12345;
    const auto noise = [&] {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) / 8388608.0 - 1.0;
    };
    uint32_t unclaimed = 0;
    for (uint32_t frame = 0; frame < 1200; ++frame) {
        // From nearly nothing, where nodes lie on the lines, to 30 mrad over a frame.
        const double strength = 0.03 * std::pow(10.0, -(static_cast<double>(frame % 12)));
        const Vec3<double> turn = {noise() * strength, noise() * strength, noise() * strength};
        ForwardRows rows;
        for (uint32_t r = 0; r < kTimeRows; ++r) {
            const Vec3<double> angle = turn * ((r - 13.0) / 12.0);
            rows[r].to_middle = rotation_to_homography(camera, -angle, 1.0);
            rows[r].from_middle = rotation_to_homography(camera, angle, 1.0);
        }
        Grid grid(1920, 1080);
        grid.points.fill({std::nan(""), 0.0});
        const bool is_plain = frame % 24 < 12;
        map_forward(rows,
                    {is_plain ? LensDistortion{&plain, &plain} : LensDistortion{&in2out, &out2in},
                     nullptr,
                     windows,
                     {960, 540}},
                    grid);
        for (const Point2& point : grid.points) {
            unclaimed += std::isnan(point.x) ? 1 : 0;
        }
    }
    EXPECT_EQ(unclaimed, 0u);
}

TEST(ForwardMapping, WeighsTheTwoRowsByDistance) {
    Grid plain(640, 480);
    plain.set_identity();
    const frame_geometry_windows windows =
        compute_frame_geometry_windows(centred_windows(640, 480), 640, 480, 0.67);
    // All rows lie 5 px higher in the output than in the input, a quarter of a cell; the way back
    // moves each by 0.25 r to the right besides.
    ForwardRows rows;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        rows[r].to_middle = {1, 0, 0, 0, 1, -5.0, 0, 0, 1};
        rows[r].from_middle = {1, 0, 0.25 * r, 0, 1, 5.0, 0, 0, 1};
    }
    Grid grid(640, 480);
    map_forward(rows, {{&plain, &plain}, nullptr, windows, {320, 240}}, grid);
    for (uint32_t j = 0; j < kGridRows; ++j) {
        // A node is seen a quarter of a row later than its own; below the last row by that.
        const double row = std::min(j + 0.25, 26.0);
        EXPECT_NEAR(grid.points[j * kGridColumns + 7].x, grid.x[7] + 0.25 * row, 1e-9) << j;
        EXPECT_NEAR(grid.points[j * kGridColumns + 7].y, grid.y[j] + 5.0, 1e-9) << j;
    }
    // Rows moved far down: what lies above the first comes from the first.
    for (ForwardRow& row : rows) {
        row.to_middle[5] = 300.0;
    }
    map_forward(rows, {{&plain, &plain}, nullptr, windows, {320, 240}}, grid);
    EXPECT_NEAR(grid.points[0].x, grid.x[0], 1e-9);
    EXPECT_NEAR(grid.points[26 * kGridColumns].x, grid.x[0] + 0.25 * 11.0, 1e-9);
    // With a field of view that all rows have, the weights do not matter.
    for (ForwardRow& row : rows) {
        row.to_middle = {1, 0, 0, 0, 1, -5.0, 0, 0, 1};
        row.from_middle = {1, 0, 0, 0, 1, 5.0, 0, 0, 1};
        row.scale = 1.25;
    }
    map_forward(rows, {{&plain, &plain}, nullptr, windows, {320, 240}}, grid);
    for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
        const Point2 node = {grid.x[k % kGridColumns], grid.y[k / kGridColumns]};
        EXPECT_NEAR(grid.points[k].x, 320 + (node.x - 320) / 1.25, 1e-9) << k;
        EXPECT_NEAR(grid.points[k].y, 240 + (node.y + 5 - 240) / 1.25, 1e-9) << k;
    }
}

TEST(Boundary, SeesDistortionInTheCropsCoordinates) {
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    FilterInput input;
    input.windows = compute_frame_geometry_windows(centred_windows(), 1920, 1080, 0.67);
    input.windows.in_ratio_x = input.windows.in_ratio_y = 0.5;
    input.windows.out_ratio_x = input.windows.out_ratio_y = 0.8;
    // Undistorting shifts by (8, -4) in the picture without the crop.
    Grid shifted(1920, 1080);
    shifted.set_identity();
    for (Point2& point : shifted.points) {
        point = {point.x + 8.0, point.y - 4.0};
    }
    FrameOptics optics;
    optics.distortion = {&shifted, &shifted};
    BoundingBox box;
    compute_boundary({}, optics, camera, input, {}, nullptr, box);
    // (0, 0) of the crop is (480, 270) of the picture; 192 and 108 are its corner on the other
    // side.
    EXPECT_NEAR(box.points[0].x, (480.0 + 8.0 - 192.0) / 0.8, 1e-9);
    EXPECT_NEAR(box.points[0].y, (270.0 - 4.0 - 108.0) / 0.8, 1e-9);
    // The way there and back, between two crops that differ.
    const Point2 there =
        DistortionInCrop::undistorting(optics.distortion, input.windows).apply({100, 200});
    EXPECT_NEAR(there.x, (480.0 + 50.0 + 8.0 - 192.0) / 0.8, 1e-9);
    const Point2 on = DistortionInCrop::distorting(optics.distortion, input.windows).apply(there);
    EXPECT_NEAR(on.x, 100.0 + 2 * 8.0 / 0.5, 1e-9);
    EXPECT_NEAR(on.y, 200.0 - 2 * 4.0 / 0.5, 1e-9);
}

}  // namespace
}  // namespace steadywarp::test
