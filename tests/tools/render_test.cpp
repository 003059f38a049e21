// SPDX-License-Identifier: Apache-2.0
// Warps applied to pictures, and the measures taken of pictures: against closed forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "analysis/spectrum.hpp"
#include "input/camera.hpp"
#include "input/lens_reader.hpp"
#include "output/trace.hpp"
#include "render/warped_picture.hpp"
#include "report/page.hpp"
#include "simulator/random.hpp"
#include "simulator/scene.hpp"
#include "stream/crop_corners.hpp"
#include "track/edge_bow.hpp"

namespace steadywarp::tool {
namespace {

/// Brightness of a plane as a function of the place.
template <class Value>
Plane plane_of(uint32_t width, uint32_t height, const Value& value) {
    Plane out;
    out.resize(width, height);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            out.row(y)[x] = static_cast<uint8_t>(std::lround(value(x, y)));
        }
    }
    return out;
}

uint8_t read(const Plane& plane, Sampling sampling, float x, float y) {
    uint8_t out = 0;
    sample(plane, sampling, {&x, 1}, {&y, 1}, {&out, 1});
    return out;
}

TEST(Sampling, ReproducesWhatItsOrderPromises) {
    // Bilinear: planes; bicubic with slopes of central differences: parabolas too.
    const Plane slope = plane_of(40, 30, [](double x, double y) { return 4 * x + 2 * y; });
    const Plane bowl =
        plane_of(40, 30, [](double x, double y) { return (x - 20) * (x - 20) / 2 + y; });
    Random random(3);
    for (int i = 0; i < 500; ++i) {
        const auto x = static_cast<float>(2.0 + 35.0 * random.uniform());
        const auto y = static_cast<float>(2.0 + 25.0 * random.uniform());
        EXPECT_NEAR(read(slope, Sampling::kBilinear, x, y), 4 * x + 2 * y, 0.51) << x << " " << y;
        EXPECT_NEAR(read(slope, Sampling::kBicubic, x, y), 4 * x + 2 * y, 0.51) << x << " " << y;
        // Rounding of the pixels adds half a step.
        EXPECT_NEAR(read(bowl, Sampling::kBicubic, x, y), (x - 20) * (x - 20) / 2 + y, 1.2);
    }
}

TEST(Sampling, HoldsTheBorderAndSurvivesWhatIsNoPlace) {
    const Plane plane = plane_of(20, 20, [](double x, double y) { return 5 * x + 6 * y; });
    for (const Sampling sampling : {Sampling::kBilinear, Sampling::kBicubic}) {
        EXPECT_EQ(read(plane, sampling, -7.0f, -1e30f), 0);
        EXPECT_EQ(read(plane, sampling, 19.0f, 0.0f), 95);
        EXPECT_EQ(read(plane, sampling, HUGE_VALF, 3.0f), 95 + 18);
        EXPECT_EQ(read(plane, sampling, NAN, NAN), 0);
        for (int x = 0; x < 20; ++x) {
            EXPECT_EQ(read(plane, sampling, static_cast<float>(x), 19.0f), 5 * x + 114);
        }
    }
}

WarpFrame small_frame() {
    WarpFrame frame;
    frame.input_width = 320;
    frame.input_height = 180;
    frame.output_width = 320;
    frame.output_height = 180;
    frame.step_x = 0.9;
    frame.step_y = 0.9;
    return frame;
}

/// A grid that bends in both directions, and a matrix with perspective.
FrameWarp bent_warp(const WarpFrame& frame) {
    FrameWarp warp;
    warp.stabilization = {0.998f, 0.02f, 3.0f, -0.015f, 1.003f, -2.0f, 2e-5f, -1e-5f, 1.0f};
    for (uint32_t j = 0; j < EIS_GRID_ROWS; ++j) {
        for (uint32_t i = 0; i < EIS_GRID_COLUMNS; ++i) {
            const double x = (i - 17.0) * frame.input_width / 32.0;
            const double y = (j - 13.0) * frame.input_height / 24.0;
            warp.grid[j * EIS_GRID_COLUMNS + i] = {
                static_cast<float>(x + 3.0 * std::sin(y / 30.0)),
                static_cast<float>(y + 2.0 * std::cos(x / 50.0))};
        }
    }
    return warp;
}

TEST(WarpMap, AgreesWithTheSinglePointForm) {
    const WarpFrame frame = small_frame();
    const FrameWarp warp = bent_warp(frame);
    const WarpMap map(warp, frame);
    std::vector<float> xs(frame.output_width);
    std::vector<float> ys(frame.output_width);
    for (uint32_t y = 0; y < frame.output_height; y += 7) {
        map.row(y, 0.0, 1.0, xs, ys);
        for (uint32_t x = 0; x < frame.output_width; ++x) {
            const NcLibWarpGridCoord centred = {static_cast<float>((x - 159.5) * 0.9),
                                                static_cast<float>((y - 89.5) * 0.9)};
            const NcLibWarpGridCoord p = to_input(warp, centred, 320, 180);
            EXPECT_NEAR(xs[x], p.x + 159.5, 1e-3) << x << " " << y;
            EXPECT_NEAR(ys[x], p.y + 89.5, 1e-3) << x << " " << y;
        }
    }
}

TEST(WarpMap, ShowsTheCropWhoeverStretchesIt) {
    Camera camera = built_in_camera();
    camera.sensors[0].input_width = 320;
    camera.sensors[0].input_height = 180;
    camera.common.output_width = 160;
    camera.common.output_height = 90;
    is_window_regions windows{};
    windows.output_crop_fov = {320, 180, 256, 144, 32, 18};
    for (const bool by_transform : {false, true}) {
        camera.common.do_virtual_upscale_in_transform = by_transform;
        const WarpFrame frame = warp_frame(camera, windows);
        const FrameWarp none = no_warp(camera, windows);
        float x = 0.0f;
        float y = 0.0f;
        // 1.6 input pixels for one of the output; the first begins at the crop's edge, (32, 18).
        WarpMap(none, frame).row(0.0, 0.0, 1.0, {&x, 1}, {&y, 1});
        EXPECT_NEAR(x, 32.0 + 0.8 - 0.5, 1e-3) << by_transform;
        EXPECT_NEAR(y, 18.0 + 0.8 - 0.5, 1e-3) << by_transform;
        WarpMap(none, frame).row(89.0, 159.0, 1.0, {&x, 1}, {&y, 1});
        EXPECT_NEAR(x, 288.0 - 0.8 - 0.5, 1e-3) << by_transform;
        EXPECT_NEAR(y, 162.0 - 0.8 - 0.5, 1e-3) << by_transform;
    }
}

TEST(Scene, ADirectionMeetsTheFaceItPointsAt) {
    constexpr Vector3 kDirections[] = {{0.5, -0.9, 1}, {1, 0.9, -0.5}, {0.9, 0.5, -1},
                                       {-1, 0.5, 0.9}, {0.9, 1, -0.5}, {-0.5, -1, 0.9}};
    for (size_t face = 0; face < 6; ++face) {
        EXPECT_EQ(face_of(kDirections[face]), face);
    }
}

Picture gradient_picture() {
    Picture out;
    out.resize(320, 180);
    out.planes[0] = plane_of(320, 180, [](double x, double y) { return 20 + x / 2 + y / 4; });
    // The same place function on colour's own places: column 2i, between rows 2j and 2j + 1.
    out.planes[1] = plane_of(160, 90, [](double x, double y) { return 60 + x / 2 + y / 2; });
    out.planes[2] = plane_of(160, 90, [](double x, double y) { return 200 - x / 4 - y; });
    return out;
}

TEST(WarpedPicture, MovesAllPlanesAlikeAndCountsWhatIsMissing) {
    WarpFrame frame = small_frame();
    frame.step_x = 1.0;
    frame.step_y = 1.0;
    FrameWarp warp = bent_warp(frame);
    for (uint32_t j = 0; j < EIS_GRID_ROWS; ++j) {
        for (uint32_t i = 0; i < EIS_GRID_COLUMNS; ++i) {
            warp.grid[j * EIS_GRID_COLUMNS + i] = {static_cast<float>((i - 17.0) * 10.0),
                                                   static_cast<float>((j - 13.0) * 7.5)};
        }
    }
    // Reads 10 pixels further right and 6 further down.
    warp.stabilization = {1, 0, 10, 0, 1, 6, 0, 0, 1};
    const Picture in = gradient_picture();
    for (const Sampling sampling : {Sampling::kBilinear, Sampling::kBicubic}) {
        Picture out;
        const uint64_t empty = draw_warped(in, warp, frame, sampling, out);
        EXPECT_EQ(empty, 320u * 180u - 310u * 174u);
        EXPECT_EQ(out.planes[0].row(50)[100], in.planes[0].row(56)[110]);
        EXPECT_EQ(out.planes[1].row(40)[70], in.planes[1].row(43)[75]);
        EXPECT_EQ(out.planes[2].row(40)[70], in.planes[2].row(43)[75]);
        EXPECT_EQ(out.planes[0].row(100)[315], kBlack[0]);
        EXPECT_EQ(out.planes[2].row(89)[10], kBlack[2]);
    }
    // Half a pixel: brightness moves by half its step, colour by a quarter of a sample.
    warp.stabilization = {1, 0, 1, 0, 1, 0, 0, 0, 1};
    Picture out;
    draw_warped(in, warp, frame, Sampling::kBicubic, out);
    EXPECT_EQ(out.planes[0].row(50)[100], in.planes[0].row(50)[101]);
    EXPECT_NEAR(out.planes[1].row(40)[71],
                (in.planes[1].row(40)[71] + in.planes[1].row(40)[72]) / 2.0, 1.0);
}

TEST(WarpedPicture, CropOutlineIsTheOutputsBorder) {
    const WarpFrame frame = small_frame();
    FrameWarp warp = bent_warp(frame);
    const auto outline = crop_outline(warp, frame, 4);
    ASSERT_EQ(outline.size(), 16u);
    const NcLibWarpGridCoord corner = to_input(warp, {159.5f * 0.9f, 89.5f * 0.9f}, 320, 180);
    EXPECT_NEAR(outline[8][0], corner.x + 159.5, 1e-3);
    EXPECT_NEAR(outline[8][1], corner.y + 89.5, 1e-3);
    Picture picture = gradient_picture();
    draw_outline(picture, outline, 2.0f);
    const auto x = static_cast<uint32_t>(std::lround(outline[8][0]));
    const auto y = static_cast<uint32_t>(std::lround(outline[8][1]));
    EXPECT_NEAR(picture.planes[0].row(y)[x], 169, 3);
    EXPECT_EQ(picture.planes[0].row(90)[160], gradient_picture().planes[0].row(90)[160]);
}

/// A dark strip whose edges follow `course`.
template <class Course>
Plane strip_picture(const Course& course) {
    return plane_of(320, 180, [&](double x, double y) {
        const double inside = 12.0 - std::abs(x - course(y));
        return 200.0 - 160.0 * std::clamp(inside + 0.5, 0.0, 1.0);
    });
}

TEST(EdgeBow, MeasuresBendsAndNotLeans) {
    const struct {
        double lean;
        double bend;  ///< of a parabola over the height, end against middle
    } rows[] = {{0.0, 0.0}, {0.15, 0.0}, {0.0, 1.0}, {-0.1, 3.0}};
    for (const auto& row : rows) {
        const Plane plane = strip_picture([&](double y) {
            const double t = (y - 89.5) / 89.5;
            return 160.0 + row.lean * (y - 89.5) + row.bend * t * t;
        });
        const auto edges = measure_bows(plane);
        ASSERT_EQ(edges.size(), 2u) << row.lean << " " << row.bend;
        for (const EdgeBow& edge : edges) {
            EXPECT_GT(edge.rows, 160u);
            // The best line through a parabola leaves two thirds of it at the ends.
            EXPECT_NEAR(edge.bow_px, row.bend * 2.0 / 3.0, 0.12) << row.lean << " " << row.bend;
        }
    }
    EXPECT_TRUE(measure_bows(plane_of(320, 180, [](double, double) { return 90; })).empty());
}

TEST(Spectrum, PutsAToneWhereItIsWithItsPower) {
    constexpr double kRate = 30.0;
    std::vector<double> values;
    for (int i = 0; i < 600; ++i) {
        values.push_back(4.0 * std::sin(2.0 * kPi * 3.0 * i / kRate) + 0.02 * i);
    }
    std::vector<double> hz;
    for (int i = 1; i < 300; ++i) {
        hz.push_back(i * 0.05);
    }
    const auto density = amplitude_density(values, kRate, hz);
    double power = 0.0;
    double near_tone = 0.0;
    for (size_t i = 0; i < hz.size(); ++i) {
        power += density[i] * density[i] * 0.05;
        near_tone += std::abs(hz[i] - 3.0) < 0.3 ? density[i] * density[i] * 0.05 : 0.0;
    }
    EXPECT_NEAR(near_tone, 8.0, 0.2);
    EXPECT_NEAR(power, 8.0, 0.3);
    EXPECT_EQ(amplitude_density({values.data(), 15}, kRate, hz)[0], 0.0);
}

TEST(Trace, Base64AndWhatWasHeldBack) {
    const struct {
        const char* in;
        const char* out;
    } rows[] = {{"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
    for (const auto& row : rows) {
        EXPECT_EQ(base64(row.in, std::strlen(row.in)), row.out);
    }
    EXPECT_EQ(held_back({0.02, 0, 0}, {0.02, 0, 0}), 0.0);
    EXPECT_DOUBLE_EQ(held_back({0.02, 0.01, 0}, {0.005, 0.0025, 0}), 0.75);
    EXPECT_EQ(held_back({0, 0, 0}, {0.1, 0, 0}), 0.0);
    EXPECT_EQ(held_back({0.02, 0, 0}, {-0.02, 0, 0}), 1.0);
}

TEST(Page, DataCannotEndItsElement) {
    const std::string page = report_page("{\"source\":\"</script><b>\"}", "{}");
    EXPECT_EQ(page.find("</script><b>"), std::string::npos);
    EXPECT_NE(page.find("\\u003c/script>\\u003cb>"), std::string::npos);
    EXPECT_EQ(page.find("@S"), std::string::npos);
}

TEST(LensReader, TakesRowsAndRefusesTheRest) {
    const auto good = parse_lens_log("t_us,x,y\n5,1.5,-2\n9,0,1e3\n", "l", kLensShiftHeader);
    ASSERT_TRUE(good.ok());
    EXPECT_EQ(good.value().size(), 2u);
    EXPECT_EQ(good.value()[0].value[1], -2.0);
    const char* const bad[] = {"",
                               "t_us,gx,gy,gz\n1,2,3,4\n",
                               "t_us,x,y\n",
                               "t_us,x,y\n5,1\n",
                               "t_us,x,y\n5,nan,1\n",
                               "t_us,x,y\n5,1,1\n5,1,1\n",
                               "t_us,x,y\n5.5,1,1\n"};
    for (const char* text : bad) {
        EXPECT_FALSE(parse_lens_log(text, "l", kLensShiftHeader).ok()) << text;
    }
}

}  // namespace
}  // namespace steadywarp::tool
