// SPDX-License-Identifier: Apache-2.0
// The library against a simulated camera: what the warps say must be what such a camera sees.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/records.hpp"
#include "support/simulated_camera.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

constexpr uint64_t kStartUs = 2000000;
constexpr uint64_t kFrameUs = 33333;
constexpr uint32_t kExposureUs = 10000;
constexpr uint32_t kReadoutUs = 25000;
// Frames in which the measured rate settles and the view is faded in are left out.
constexpr uint32_t kWarmUp = 5;

tool::MotionProfile shake(double rms_rate, uint64_t seed = 7) {
    tool::MotionProfile profile;
    profile.seed = seed;
    profile.rms_rate = rms_rate;
    return profile;
}

struct Rig {
    tool::Motion motion;
    SimulatedCamera camera;
    Instance instance;
    Stream stream;
    OutputMemory memory;

    Rig(const tool::MotionProfile& profile, uint32_t gyro_hz, uint32_t frames,
        uint32_t position = 0, uint32_t mount = 180, float margin = kMargin)
        : motion(profile),
          camera{motion},
          instance(valid_common(), {sensor(gyro_hz, position, mount, margin)}),
          stream(instance.get()) {
        camera.epoch_us = static_cast<double>(kStartUs);
        camera.readout_us = kReadoutUs;
        stream.times = {0, static_cast<uint32_t>(kFrameUs), kExposureUs, kReadoutUs};
        stream.samples =
            sampled(device_rates(motion, camera.epoch_us, position, mount), kStartUs - 200000,
                    kStartUs + frames * kFrameUs + 200000, 1000000 / gyro_hz);
    }

    static is_init_sensor_data sensor(uint32_t gyro_hz, uint32_t position, uint32_t mount,
                                      float margin = kMargin) {
        is_init_sensor_data sensor = valid_sensor();
        sensor.tuning.top.gyro_frequency = gyro_hz;
        sensor.camera_position = position;
        sensor.sensor_mount_angle = mount;
        sensor.tuning.general.minimal_total_margin = margin;
        return sensor;
    }

    uint64_t sof(uint32_t frame) const { return kStartUs + frame * kFrameUs; }
    /// A row is exposed for half the exposure before the moment that stands for it.
    double first_row_us(uint32_t frame) const {
        return static_cast<double>(sof(frame)) - kExposureUs / 2.0;
    }
    bool run(uint32_t frame) {
        return stream.frame(sof(frame), memory).process_status == EIS_SUCCESS &&
               memory.output.output_valid;
    }
};

struct GridError {
    double rms_px = 0.0;
    double worst_px = 0.0;
    double uncorrected_rms_px = 0.0;
};

// Every node inside the frame: the direction that the camera of the middle row sees there must
// land where the rolling shutter saw it.
GridError measure_grid(Rig& rig, uint32_t frames) {
    double sum = 0.0;
    double sum_uncorrected = 0.0;
    GridError error;
    size_t count = 0;
    for (uint32_t f = 0; f < frames; ++f) {
        EXPECT_TRUE(rig.run(f)) << f;
        if (f < kWarmUp || f % 3 != 0) {
            continue;
        }
        const double first_row = rig.first_row_us(f);
        const double middle = rig.camera.middle_us(first_row);
        const Pixel center = rig.camera.center();
        for (uint32_t j = 1; j <= 25; ++j) {
            for (uint32_t i = 1; i <= 33; ++i) {
                const Pixel node = {-0.5 + 60.0 * (i - 1.0), -0.5 + 45.0 * (j - 1.0)};
                const Pixel truth =
                    rig.camera.project_rolling(rig.camera.direction(node, middle), first_row);
                if (truth.x < -0.5 || truth.x > kWidth - 0.5 || truth.y < -0.5 ||
                    truth.y > kHeight - 0.5) {
                    continue;
                }
                const NcLibWarpGridCoord& point =
                    rig.memory.distortion_grid[j * EIS_GRID_COLUMNS + i];
                const double dx = point.x + center.x - truth.x;
                const double dy = point.y + center.y - truth.y;
                sum += dx * dx + dy * dy;
                error.worst_px = std::max(error.worst_px, std::hypot(dx, dy));
                sum_uncorrected += std::pow(node.x - truth.x, 2) + std::pow(node.y - truth.y, 2);
                ++count;
            }
        }
    }
    EXPECT_GT(count, 500u * (frames - kWarmUp) / 3);
    error.rms_px = std::sqrt(sum / static_cast<double>(count));
    error.uncorrected_rms_px = std::sqrt(sum_uncorrected / static_cast<double>(count));
    return error;
}

TEST(Physics, GridTakesEachRowToTheFramesMiddle) {
    struct Row {
        const char* what;
        double rms_rate;
        uint32_t gyro_hz;
        double limit_px;  // what an independent model reaches, and a third
    };
    constexpr Row kRows[] = {
        {"hand-held, 1000 Hz", 0.06, 1000, 0.0015 * 4 / 3},
        {"hand-held, 200 Hz", 0.06, 200, 0.016 * 4 / 3},
        {"strong shake, 1000 Hz", 0.3, 1000, 0.025 * 4 / 3},
        {"strong shake, 200 Hz", 0.3, 200, 0.058 * 4 / 3},
    };
    for (const Row& row : kRows) {
        Rig rig(shake(row.rms_rate), row.gyro_hz, 90);
        const GridError error = measure_grid(rig, 90);
        std::printf("%-24s rms %.4f px, worst %.4f px, uncorrected %.2f px\n", row.what,
                    error.rms_px, error.worst_px, error.uncorrected_rms_px);
        EXPECT_LT(error.rms_px, row.limit_px) << row.what;
        // The motion was there to be removed.
        EXPECT_GT(error.uncorrected_rms_px, 0.5) << row.what;
    }
}

// A camera that turns at one rate about a fixed axis of its own.
class SteadyTurn : public testing::TestWithParam<std::array<double, 4>> {};

TEST_P(SteadyTurn, GridStaysWithinTheErrorOfTheAngleOrder) {
    const auto [x, y, z, limit_px] = GetParam();
    // The truth by Rodrigues' formula, so that the test rests on no angle order either.
    const double rate = std::sqrt(x * x + y * y + z * z);
    const auto turned = [&](const tool::Vector3& v, double seconds) {
        const tool::Vector3 k = {x / rate, y / rate, z / rate};
        const double c = std::cos(rate * seconds);
        const double s = std::sin(rate * seconds);
        const double dot = (k[0] * v[0] + k[1] * v[1] + k[2] * v[2]) * (1 - c);
        return tool::Vector3{v[0] * c + (k[1] * v[2] - k[2] * v[1]) * s + k[0] * dot,
                             v[1] * c + (k[2] * v[0] - k[0] * v[2]) * s + k[1] * dot,
                             v[2] * c + (k[0] * v[1] - k[1] * v[0]) * s + k[2] * dot};
    };
    Instance instance(valid_common(), {Rig::sensor(1000, 0, 180)});
    Stream stream(instance.get());
    stream.times = {0, static_cast<uint32_t>(kFrameUs), kExposureUs, kReadoutUs};
    stream.samples = sampled(constant_rate(x, -y, -z), kStartUs - 200000, kStartUs + 1000000, 1000);
    OutputMemory memory;
    double sum = 0.0;
    size_t count = 0;
    for (uint32_t f = 0; f < 10; ++f) {
        ASSERT_EQ(stream.frame(kStartUs + f * kFrameUs, memory).process_status, EIS_SUCCESS);
        for (uint32_t j = 1; j <= 25; ++j) {
            for (uint32_t i = 1; i <= 33; ++i) {
                const double nx = -0.5 + 60.0 * (i - 1.0) - (kWidth - 1.0) / 2.0;
                const double ny = -0.5 + 45.0 * (j - 1.0) - (kHeight - 1.0) / 2.0;
                const tool::Vector3 ray = {nx / kFocalLength, ny / kFocalLength, 1.0};
                double px = nx;
                double py = ny;
                for (int round = 0; round < 30; ++round) {
                    const double row = (py + kHeight / 2.0) / kHeight;
                    // The camera turns by +rate, so what it sees turns the other way.
                    const tool::Vector3 seen = turned(ray, -(row - 0.5) * kReadoutUs * 1e-6);
                    px = kFocalLength * seen[0] / seen[2];
                    py = kFocalLength * seen[1] / seen[2];
                }
                if (std::fabs(px) > kWidth / 2.0 || std::fabs(py) > kHeight / 2.0) {
                    continue;
                }
                const NcLibWarpGridCoord& point = memory.distortion_grid[j * 35 + i];
                sum += std::pow(point.x - px, 2) + std::pow(point.y - py, 2);
                ++count;
            }
        }
    }
    const double rms = std::sqrt(sum / static_cast<double>(count));
    std::printf("turn (%.2f, %.2f, %.2f) rad/s: rms %.4f px\n", x, y, z, rms);
    EXPECT_LT(rms, limit_px);
}

// Rates about the camera's axes in rad/s, and the error that an independent model reaches.
INSTANTIATE_TEST_SUITE_P(Rates, SteadyTurn,
                         testing::Values(std::array<double, 4>{0.57735, 0.57735, 0.57735,
                                                               0.07 * 4 / 3},
                                         std::array<double, 4>{1.0, 1.0, 1.0, 0.21 * 4 / 3},
                                         std::array<double, 4>{0.6, 0.0, 0.0, 0.01},
                                         std::array<double, 4>{0.0, 0.6, 0.0, 0.01},
                                         std::array<double, 4>{0.0, 0.0, 0.6, 0.01}));

TEST(Physics, HoldsForEveryCameraPositionAndMountAngle) {
    for (const uint32_t position : {0u, 1u}) {
        for (const uint32_t mount : {0u, 90u, 180u, 270u}) {
            Rig rig(shake(0.06), 500, 20, position, mount);
            const GridError error = measure_grid(rig, 20);
            EXPECT_LT(error.rms_px, 0.008) << position << " " << mount;
            EXPECT_GT(error.uncorrected_rms_px, 0.5) << position << " " << mount;
        }
    }
}

TEST(Physics, UndistortedAlignmentTakesAFrameToTheOneBefore) {
    Rig rig(shake(0.2), 1000, 30);
    double worst = 0.0;
    for (uint32_t f = 0; f < 30; ++f) {
        ASSERT_TRUE(rig.run(f));
        if (f == 0) {
            continue;
        }
        const double now = rig.camera.middle_us(rig.first_row_us(f));
        const double before = rig.camera.middle_us(rig.first_row_us(f - 1));
        for (const Pixel& p : {Pixel{100, 100}, Pixel{960, 540}, Pixel{1800, 900}}) {
            const Pixel truth = rig.camera.project(rig.camera.direction(p, now), before);
            const Pixel got =
                through_matrix(rig.memory.output.alignment_matrix_domain_undistorted, p);
            worst = std::max(worst, std::hypot(got.x - truth.x, got.y - truth.y));
        }
    }
    std::printf("alignment: worst %.3f px\n", worst);
    EXPECT_LT(worst, 0.5);
}

TEST(Physics, AlignmentOfARollTurnsAboutTheOpticalCentre) {
    // A roll by a known angle leaves the centre where it is; half a pixel beside it a point would
    // move by 0.017 px.
    Instance instance(valid_common(), {Rig::sensor(1000, 0, 180)});
    Stream stream(instance.get());
    stream.samples =
        sampled(constant_rate(0.0, 0.0, -1.0), kStartUs - 200000, kStartUs + 500000, 1000);
    OutputMemory memory;
    for (uint32_t f = 0; f < 3; ++f) {
        ASSERT_EQ(stream.frame(kStartUs + f * kFrameUs, memory).process_status, EIS_SUCCESS);
    }
    const double angle = kFrameUs * 1e-6;
    const double cx = (kWidth - 1.0) / 2.0;
    const double cy = (kHeight - 1.0) / 2.0;
    for (const Pixel& p : {Pixel{cx, cy}, Pixel{cx + 100, cy}, Pixel{100, 1000}}) {
        // The camera turned clockwise, so the frame before saw the point further clockwise.
        const Pixel truth = {cx + std::cos(angle) * (p.x - cx) - std::sin(angle) * (p.y - cy),
                             cy + std::sin(angle) * (p.x - cx) + std::cos(angle) * (p.y - cy)};
        const Pixel got = through_matrix(memory.output.alignment_matrix_domain_undistorted, p);
        EXPECT_NEAR(got.x, truth.x, 0.003);
        EXPECT_NEAR(got.y, truth.y, 0.003);
    }
}

// Remove everything below `cut_hz` by taking the transform's bins out; the mean goes too.
double rms_above(const std::vector<double>& values, double rate_hz, double cut_hz) {
    const size_t n = values.size();
    double power = 0.0;
    for (size_t k = 1; k <= n / 2; ++k) {
        if (static_cast<double>(k) * rate_hz / static_cast<double>(n) < cut_hz) {
            continue;
        }
        double re = 0.0;
        double im = 0.0;
        for (size_t i = 0; i < n; ++i) {
            const double phase =
                2.0 * tool::kPi * static_cast<double>(k * i % n) / static_cast<double>(n);
            re += values[i] * std::cos(phase);
            im -= values[i] * std::sin(phase);
        }
        power += (re * re + im * im) * (2 * k == n ? 1.0 : 2.0);
    }
    return std::sqrt(power) / static_cast<double>(n);
}

TEST(Physics, PictureOfAFixedDirectionMovesSmoothly) {
    constexpr uint32_t kFrames = 360;
    constexpr uint32_t kSettled = 90;
    // The strongest shake swings wider than a crop margin of 0.1 lets the view move.
    struct Row {
        double rate;
        float margin;
    };
    for (const auto& [rate, margin] : {Row{0.06, 0.1f}, Row{0.15, 0.1f}, Row{0.3, 0.25f}}) {
        Rig rig(shake(rate), 500, kFrames, 0, 180, margin);
        const auto crop = [&](uint32_t size) {
            return 2 * static_cast<uint32_t>(std::lround(size * (1.0 - margin) / 2.0));
        };
        rig.stream.windows = centred_windows(kWidth, kHeight, crop(kWidth), crop(kHeight));
        const tool::Vector3 target =
            rig.camera.direction({900, 500}, rig.camera.middle_us(rig.first_row_us(kSettled)));
        std::vector<double> in_x, in_y, out_x, out_y;
        for (uint32_t f = 0; f < kFrames; ++f) {
            ASSERT_TRUE(rig.run(f));
            if (f < kSettled) {
                continue;
            }
            const double first_row = rig.first_row_us(f);
            const Pixel seen = rig.camera.project_rolling(target, first_row);
            const Pixel undistorted = rig.camera.project(target, rig.camera.middle_us(first_row));
            const Pixel shown = back_through_matrix(
                rig.memory.output.stabilization_transform.matrices, undistorted);
            // The two warps, chained as a renderer would, lead to where the sensor saw it.
            const Pixel chained = through_grid(
                rig.memory.output.distortion_correction_grid,
                through_matrix(rig.memory.output.stabilization_transform.matrices, shown));
            ASSERT_NEAR(chained.x, seen.x, 0.15);
            ASSERT_NEAR(chained.y, seen.y, 0.15);
            in_x.push_back(seen.x);
            in_y.push_back(seen.y);
            out_x.push_back(shown.x);
            out_y.push_back(shown.y);
        }
        const double fps = 1e6 / kFrameUs;
        const double ratio_x = rms_above(out_x, fps, 2.0) / rms_above(in_x, fps, 2.0);
        const double ratio_y = rms_above(out_y, fps, 2.0) / rms_above(in_y, fps, 2.0);
        std::printf("shake %.2f rad/s: in %.2f, %.2f px, left above 2 Hz: %.3f, %.3f\n", rate,
                    rms_above(in_x, fps, 2.0), rms_above(in_y, fps, 2.0), ratio_x, ratio_y);
        EXPECT_LT(ratio_x, 0.2) << rate;
        EXPECT_LT(ratio_y, 0.2) << rate;
    }
}

// How far the worst corner of the output's window leaves the input frame; negative: inside.
double corner_overshoot(const OutputMemory& memory) {
    double worst = -1e9;
    const double left = (kWidth - kCropWidth) / 2.0;
    const double top = (kHeight - kCropHeight) / 2.0;
    for (const Pixel& corner : {Pixel{left, top}, Pixel{left + kCropWidth - 1.0, top},
                                Pixel{left + kCropWidth - 1.0, top + kCropHeight - 1.0},
                                Pixel{left, top + kCropHeight - 1.0}}) {
        const Pixel p =
            through_grid(memory.output.distortion_correction_grid,
                         through_matrix(memory.output.stabilization_transform.matrices, corner));
        worst =
            std::max({worst, -0.5 - p.x, p.x - (kWidth - 0.5), -0.5 - p.y, p.y - (kHeight - 0.5)});
    }
    return worst;
}

TEST(Physics, CropStaysInsideTheFrameOnEveryFeasibleFrame) {
    constexpr uint32_t kFrames = 240;
    struct Row {
        double rms_rate;
        double turn_rate;
        bool must_stay_inside;
    };
    // Above 0.4 rad/s the border's points are taken by whole rows, and a corner may get out by
    // some pixels: measured and printed, not held.
    constexpr Row kRows[] = {{0.06, 0.0, true}, {0.2, 0.0, true},  {0.2, 0.3, true},
                             {0.4, 0.0, true},  {0.8, 0.0, false}, {1.2, 0.0, false}};
    for (const Row& row : kRows) {
        tool::MotionProfile profile = shake(row.rms_rate, 11);
        profile.turn_rate = row.turn_rate;
        Rig rig(profile, 500, kFrames);
        double worst = -1e9;
        uint32_t infeasible = 0;
        for (uint32_t f = 0; f < kFrames; ++f) {
            const std::string log = log_of([&] { ASSERT_TRUE(rig.run(f)); });
            if (count_of(log, "No feasible solution") != 0) {
                ++infeasible;
                continue;
            }
            worst = std::max(worst, corner_overshoot(rig.memory));
        }
        std::printf("shake %.2f, turn %.2f rad/s: worst corner %+.2f px, %u of %u infeasible\n",
                    row.rms_rate, row.turn_rate, worst, infeasible, kFrames);
        if (row.must_stay_inside) {
            EXPECT_LT(worst, 0.0) << row.rms_rate;
            EXPECT_LT(infeasible, kFrames / 10);
        }
    }
}

TEST(Physics, StillCameraGetsTheIdentity) {
    tool::MotionProfile still;
    still.tones = 0;
    Rig rig(still, 500, 10);
    for (uint32_t f = 0; f < 10; ++f) {
        ASSERT_TRUE(rig.run(f));
    }
    EXPECT_EQ(rig.memory.output.scene_detection.scene_type, uint32_t{IS_SCENE_STILL});
    for (const Pixel& p : {Pixel{0, 0}, Pixel{1919, 0}, Pixel{960, 1079}}) {
        const Pixel by_grid = through_grid(rig.memory.output.distortion_correction_grid, p);
        const Pixel by_matrix =
            through_matrix(rig.memory.output.stabilization_transform.matrices, p);
        EXPECT_NEAR(by_grid.x, p.x, 1e-4);
        EXPECT_NEAR(by_grid.y, p.y, 1e-4);
        EXPECT_NEAR(by_matrix.x, p.x, 1e-4);
        EXPECT_NEAR(by_matrix.y, p.y, 1e-4);
    }
}

}  // namespace
}  // namespace steadywarp::test
