// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "analysis/high_pass.hpp"
#include "analysis/orientation.hpp"
#include "output/summary.hpp"
#include "stream/crop_corners.hpp"
#include "stream/frame_plan.hpp"

namespace steadywarp::tool {
namespace {

Signal sine(double hz, double amplitude, double drift, double seconds, double fps) {
    Signal signal;
    for (int i = 0; i < seconds * fps; ++i) {
        const double t = i / fps;
        signal.t_us.push_back(1e12 + t * 1e6);
        signal.value.push_back(amplitude * std::sin(2.0 * kPi * hz * t + 0.3) + drift * t);
    }
    return signal;
}

// Two passes of order 4 have the gain 1 / (1 + (tan(pi cut / rate) / tan(pi f / rate))^8).
TEST(RmsAbove, HasTheGainOfItsFilterAndIgnoresDrift) {
    constexpr double kRate = 30.0;
    constexpr double kSeconds = 60.0;
    for (const double hz : {0.7, 1.5, 2.0, 2.83, 6.0}) {
        const double ratio = std::tan(kPi * 2.0 / kRate) / std::tan(kPi * hz / kRate);
        const double gain = 1.0 / (1.0 + std::pow(ratio, 8.0));
        const auto rms = rms_above(sine(hz, 0.02, 0.5, kSeconds, kRate), 1e6 / kRate, 2.0);
        ASSERT_TRUE(rms);
        // Whole periods are cut at the ends and the reflections there are not the sine itself.
        EXPECT_NEAR(*rms, gain * 0.02 / std::sqrt(2.0), 3e-4) << hz;
    }
}

TEST(RmsAbove, KeepsTimeInPlace) {
    const Signal signal = sine(5.0, 1.0, 0.0, 60.0, 30.0);
    const auto fast = high_pass(signal.value, 30.0, 0.5);
    // Ten seconds and more from the ends, where their reflections have died away.
    for (size_t i = 300; i < 1500; ++i) {
        ASSERT_NEAR(fast[i], signal.value[i], 1e-5) << i;
    }
}

TEST(RmsAbove, TellsNothingWhereTheStreamIsTooShort) {
    const double period = 1e6 / 30.0;
    EXPECT_FALSE(rms_above({}, period, 2.0));
    EXPECT_FALSE(rms_above(sine(5, 1, 0, 0.9, 30), period, 2.0));
    EXPECT_TRUE(rms_above(sine(5, 1, 0, 1.1, 30), period, 2.0));
    EXPECT_FALSE(rms_above(sine(5, 1, 0, 10, 30), period, 14.0));
    // A gap makes two stretches, and a step of the value across it is no shake.
    Signal gapped = sine(5.0, 0.0, 0.0, 10.0, 30.0);
    for (size_t i = 150; i < gapped.t_us.size(); ++i) {
        gapped.t_us[i] += 5e5;
        gapped.value[i] += 1.0;
    }
    EXPECT_NEAR(rms_above(gapped, period, 2.0).value(), 0.0, 1e-12);
}

TEST(RmsAbove, PutsUnevenFramesOnAnEvenGrid) {
    Signal signal;
    uint32_t state = 1;
    for (int i = 0; i < 600; ++i) {
        state = state * 1664525u + 1013904223u;
        signal.t_us.push_back(i * 50000.0 + (state >> 16) % 8000);
        signal.value.push_back(signal.t_us.back() * 1e-6);
    }
    // Taken as even, the jitter of 2.3 ms RMS would be as many milliunits. What is left is the
    // start of the filter, which does not expect a slope.
    EXPECT_LT(rms_above(signal, 50000.0, 2.0).value(), 1e-5);
}

TEST(Orientation, IntegratesByTheTrapezoidInCameraAxes) {
    const std::vector<GyroSample> gyro = {
        {1000000, {0, 0, 0}}, {1500000, {1.0, 2.0, 0}}, {2000000, {1.0, 0, 0}}};
    const OrientationTrack track(gyro, *device_to_camera(0, 90));
    // Camera x is minus device y, camera y minus device x.
    EXPECT_EQ(track.at(2e6), (Vector3{-1.0, -0.75, 0.0}));
    EXPECT_EQ(track.at(1.75e6), (Vector3{-0.75, -0.5, 0.0}));
    EXPECT_EQ(track.at(0.0), (Vector3{0.0, 0.0, 0.0}));
    EXPECT_EQ(track.at(9e6), (Vector3{-1.0, -0.75, 0.0}));
}

TEST(Orientation, FindsTheCorrectionInAMatrix) {
    Camera camera = built_in_camera();
    camera.sensors[0].optical_center_x = 12.0f;
    const Vector3 wanted = {0.02, -0.03, 0.05};
    const Matrix3 k = {1500, 0, 12, 0, 1500, 0, 0, 0, 1};
    const Matrix3 k_inverse = {1.0 / 1500, 0, -12.0 / 1500, 0, 1.0 / 1500, 0, 0, 0, 1};
    const Matrix3 r =
        multiply(multiply(rotation_x(wanted[0]), rotation_y(wanted[1])), rotation_z(wanted[2]));
    const Matrix3 m = multiply(multiply(k, r), k_inverse);
    // With the upscale, 1728 crop columns are shown in 1920.
    for (const double upscale : {1.0, 0.9}) {
        camera.common.do_virtual_upscale_in_transform = upscale != 1.0;
        std::array<float, 9> matrix{};
        for (size_t i = 0; i < 9; ++i) {
            matrix[i] = static_cast<float>(3.0 * m[i] * (i % 3 == 2 ? 1.0 : upscale));
        }
        const Vector3 found = correction_angles(matrix, camera, 0);
        for (size_t axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(found[axis], wanted[axis], 1e-6);
        }
    }
}

/// A warp whose grid is the identity, moved by (dx, dy) in the input.
FrameWarp shifted_warp(float dx, float dy) {
    FrameWarp warp;
    warp.valid = true;
    warp.stabilization = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (size_t j = 0; j < EIS_GRID_ROWS; ++j) {
        for (size_t i = 0; i < EIS_GRID_COLUMNS; ++i) {
            // Cells of 60 by 45 pixels; node (1, 1) is the outer corner of the first pixel.
            warp.grid[j * EIS_GRID_COLUMNS + i] = {60.0f * static_cast<float>(i) - 1020.0f + dx,
                                                   45.0f * static_cast<float>(j) - 585.0f + dy};
        }
    }
    return warp;
}

TEST(CropCorners, PassTheMatrixThenTheGrid) {
    FrameWarp warp = shifted_warp(3.0f, 4.0f);
    warp.stabilization = {2, 0, 10, 0, 1, 20, 0, 0, 2};
    for (const NcLibWarpGridCoord p : {NcLibWarpGridCoord{0, 0}, {800, -500}, {-2000, 900}}) {
        const NcLibWarpGridCoord q = to_input(warp, p, 1920, 1080);
        EXPECT_NEAR(q.x, p.x + 5.0f + 3.0f, 1e-3);
        EXPECT_NEAR(q.y, p.y / 2.0f + 10.0f + 4.0f, 1e-3);
    }
}

TEST(CropCorners, OvershootIsMeasuredFromTheBorderPixels) {
    Camera camera = built_in_camera();
    is_window_regions windows{};
    windows.output_crop_fov = {1920, 1080, 1728, 972, 96, 54};
    // The crop reaches from -863.5 to 863.5 and the input's pixel centres from -959.5 to 959.5.
    EXPECT_NEAR(corner_overshoot(shifted_warp(0, 0), camera, windows), -54.0, 1e-3);
    EXPECT_NEAR(corner_overshoot(shifted_warp(-100, 0), camera, windows), 4.0, 1e-3);
    EXPECT_NEAR(corner_overshoot(shifted_warp(0, 60), camera, windows), 6.0, 1e-3);
}

TEST(FramePlan, LeavesOutFramesBeyondTheEndsOfTheLogOnly) {
    std::vector<GyroSample> gyro;
    for (const int64_t t : {100000, 105000, 400000, 405000, 500000}) {
        gyro.push_back({t, {}});
    }
    FrameSequence frames;
    for (uint32_t i = 0; i < 20; ++i) {
        frames.frames.push_back({i, i * 33000, 10000, 24000});
    }
    // Rows of frame i: from i * 33000 - 6000 to i * 33000 + 20000.
    const FrameSpan span = frames_inside(frames, gyro, 0);
    EXPECT_EQ(span.first, 4u);
    EXPECT_EQ(span.end, 15u);
    EXPECT_EQ(frames_inside(frames, gyro, 7000).first, 3u);
    frames.frames.resize(3);
    EXPECT_EQ(frames_inside(frames, gyro, 0).end, 0u);
}

TEST(FramePlan, FramesReadAtOnceKeepTheirMiddle) {
    FrameSequence frames;
    frames.frames = {{1, 33000, 10000, 24000}, {2, 66000, 5000, 20000}};
    const double middles[] = {middle_time(frames.frames[0], 700),
                              middle_time(frames.frames[1], 700)};
    read_at_once(frames);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(middle_time(frames.frames[i], 700), middles[i]);
        EXPECT_EQ(frames.frames[i].readout_us, 0u);
    }
}

TEST(TimeFigure, TakesTheNearestRank) {
    std::vector<double> seconds;
    for (int i = 200; i > 0; --i) {
        seconds.push_back(i * 1e-6);
    }
    const TimeFigure figure = time_figure(seconds);
    EXPECT_NEAR(figure.mean, 100.5, 1e-9);
    EXPECT_NEAR(figure.median, 100.0, 1e-9);
    EXPECT_NEAR(figure.p99, 198.0, 1e-9);
    EXPECT_NEAR(figure.max, 200.0, 1e-9);
}

}  // namespace
}  // namespace steadywarp::tool
