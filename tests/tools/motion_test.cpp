// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "simulator/capture.hpp"
#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

/// The rotation by |v| about v (Rodrigues).
Matrix3 rotation_about(const Vector3& v) {
    const double angle = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    const double s = angle > 0.0 ? std::sin(angle) / angle : 1.0;
    const double c = angle > 0.0 ? (1.0 - std::cos(angle)) / (angle * angle) : 0.5;
    const Matrix3 cross = {0, -v[2], v[1], v[2], 0, -v[0], -v[1], v[0], 0};
    const Matrix3 square = multiply(cross, cross);
    Matrix3 out = kIdentity;
    for (size_t i = 0; i < 9; ++i) {
        out[i] += s * cross[i] + c * square[i];
    }
    return out;
}

double largest_difference(const Matrix3& a, const Matrix3& b) {
    double worst = 0.0;
    for (size_t i = 0; i < 9; ++i) {
        worst = std::max(worst, std::abs(a[i] - b[i]));
    }
    return worst;
}

// Turning step by step by the rate in the middle of each step must lead from one orientation to
// the other; a wrong order or sign of any of the three turns would not. The angles are made large,
// for they hide such faults when small.
TEST(Motion, BodyRatesIntegrateToTheOrientation) {
    MotionProfile profile = hand_held_walk(7);
    profile.sweeps = {{0.8, 0.9, 1.2}, {2.1, 3.0, -0.7}};
    profile.bands = {{0.5, 3.0, {0.2, 0.1, 0.3}, 4}};
    profile.rms_rate = 1.5;
    profile.turn_rate = 0.8;
    const Motion motion(profile);
    constexpr double kStep = 1e-4;
    Matrix3 turned = motion.orientation(0.5);
    for (int i = 0; i < 20000; ++i) {
        Vector3 w = motion.body_rate(0.5 + (i + 0.5) * kStep);
        for (double& rate : w) {
            rate *= kStep;
        }
        turned = multiply(turned, rotation_about(w));
    }
    // The midpoint rule leaves w'' step^2 / 24 a second: about 1.5 (2 pi 9)^2 1e-8 / 24 = 2e-6.
    EXPECT_LT(largest_difference(turned, motion.orientation(2.5)), 1e-5);
    EXPECT_GT(largest_difference(motion.orientation(0.5), motion.orientation(2.5)), 0.5);
}

TEST(Motion, HasTheRmsRateAndTheBandOfItsProfile) {
    MotionProfile profile;
    profile.rms_rate = 0.3;
    const Motion motion(profile);
    Vector3 sum{};
    constexpr int kCount = 200000;
    for (int i = 0; i < kCount; ++i) {
        const Vector3 rate = motion.angle_rates(i * 1e-3);
        for (size_t axis = 0; axis < 3; ++axis) {
            sum[axis] += rate[axis] * rate[axis];
        }
    }
    for (const double square : sum) {
        EXPECT_NEAR(std::sqrt(square / kCount), 0.3, 0.003);
    }
}

TEST(Motion, SeedDecidesAndNothingElse) {
    // The first outputs of the published generator for the seed 1234567.
    Random random(1234567);
    EXPECT_EQ(random.next(), 6457827717110365317u);
    EXPECT_EQ(random.next(), 3203168211198807973u);
    const Motion a(hand_held_walk(5));
    const Motion b(hand_held_walk(5));
    const Motion c(hand_held_walk(6));
    EXPECT_EQ(a.orientation(3.3), b.orientation(3.3));
    EXPECT_NE(a.orientation(3.3), c.orientation(3.3));
}

TEST(Capture, SamplesReachAroundTheFramesInDeviceAxes) {
    const Motion motion(hand_held_walk(1));
    const AxisMap axes = *device_to_camera(0, 90);
    const auto capture = simulate_capture(motion, {}, axes);
    ASSERT_TRUE(capture.ok());
    const auto& gyro = capture.value().gyro.samples;
    const auto& frames = capture.value().frames.frames;
    EXPECT_EQ(frames.size(), 300u);
    EXPECT_EQ(frames[0].sof_us, 1000000);
    EXPECT_EQ(frames[299].sof_us, 10966667);
    EXPECT_EQ(gyro.front().t_us, 900000);
    EXPECT_GT(gyro.back().t_us, frames.back().sof_us + 50000);
    const Vector3 rate = motion.body_rate(0.9);
    EXPECT_EQ(gyro[500].t_us, 1900000);
    EXPECT_NEAR(gyro[500].rate[0], -rate[1], 1e-9);
    EXPECT_NEAR(gyro[500].rate[1], -rate[0], 1e-9);
    EXPECT_NEAR(gyro[500].rate[2], -rate[2], 1e-9);
}

}  // namespace
}  // namespace steadywarp::tool
