// SPDX-License-Identifier: Apache-2.0
// Every scenario, frame by frame: what comes out, how it is aligned, and every line of the log.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>

#include "support/scenarios.hpp"

namespace steadywarp::test {
namespace {

using Matrix = std::array<double, 9>;

Matrix times(const Matrix& a, const Matrix& b) {
    Matrix out{};
    for (size_t i = 0; i < 9; ++i) {
        for (size_t k = 0; k < 3; ++k) {
            out[i] += a[i / 3 * 3 + k] * b[3 * k + i % 3];
        }
    }
    return out;
}

// What a camera of this focal length sees move, about the centre of its picture, when it turns by
// angles about x, y and z: K Rx(-x) Ry(-y) Rz(-z) K^-1.
Matrix homography(double x, double y, double z, double focal) {
    const Matrix rx = {1, 0, 0, 0, std::cos(x), std::sin(x), 0, -std::sin(x), std::cos(x)};
    const Matrix ry = {std::cos(y), 0, -std::sin(y), 0, 1, 0, std::sin(y), 0, std::cos(y)};
    const Matrix rz = {std::cos(z), std::sin(z), 0, -std::sin(z), std::cos(z), 0, 0, 0, 1};
    Matrix r = times(rx, times(ry, rz));
    r[2] *= focal;
    r[5] *= focal;
    r[6] /= focal;
    r[7] /= focal;
    return r;
}

// The turn of the device over a time.
Matrix turned(double us, double focal) {
    const double s = us * 1e-6;
    return homography(kScenarioRate[0] * s, kScenarioRate[1] * s, kScenarioRate[2] * s, focal);
}

void expect_near(const NcLibPerspTransformSingle& got, const Matrix& expected,
                 const std::string& where) {
    constexpr double kTolerance[9] = {1e-6, 1e-6, 2e-3, 1e-6, 1e-6, 2e-3, 1e-9, 1e-9, 1e-6};
    for (size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(got.T[i], expected[i], kTolerance[i]) << where << ", element " << i;
    }
}

// The frame's middle row is seen half way through its exposure.
double middle_us(const is_frame_times& frame) {
    return static_cast<double>(frame.sof) - frame.exposure_time / 2.0 +
           frame.sensor_rolling_shutter_skew / 2.0;
}

void expect_frame(const Scenario& scenario, size_t index, const is_input& input,
                  const OutputMemory& memory, const std::string& where) {
    const ScenarioFrame& frame = scenario.frames[index];
    EXPECT_EQ(memory.output.output_valid, frame.kind != FrameKind::kEnds) << where;
    if (!memory.output.output_valid) {
        return;
    }
    const double focal = scenario.sensors[frame.sensor].tuning.general.focal_length;
    EXPECT_EQ(memory.output.frame_id, index + 1) << where;
    EXPECT_EQ(memory.output.active_sensor_idx, frame.sensor) << where;
    // From this frame to the one before, so against the turn.
    double since_us = 0.0;
    if (frame.kind == FrameKind::kFollows) {
        since_us = middle_us(scenario.frames[index - 1].times) - middle_us(frame.times);
    }
    expect_near(memory.alignment_undistorted, turned(since_us, focal), where);
    EXPECT_EQ(memory.output.cvp_motion_index_raw > 0.0f, frame.kind == FrameKind::kFollows)
        << where;
    if (frame.kind == FrameKind::kOpens) {
        // Orientation counts from the first sample; a tenth of it is shown on a first frame.
        const double turn_us =
            middle_us(frame.times) - static_cast<double>(input.gyro.samples[0].ts);
        expect_near(memory.transform, turned(0.9 * turn_us, focal), where + ", transform");
        expect_near(memory.alignment_stabilized, turned(0.0, focal), where + ", stabilized");
    }
    // In the middle of the picture only lens and focus move anything: u = c + (q - shift - c) / s
    // about the point (960, 540), half a pixel beside the middle q.
    const is_tessaline_top& streams = scenario.sensors[frame.sensor].tuning.top;
    const double scale = streams.ifovc_frequency != 0 ? kScenarioScale[frame.sensor] : 1.0;
    const auto moved = [&](int axis) {
        const double shift = streams.ois_frequency != 0 ? kScenarioLens[frame.sensor][axis] : 0.0;
        return (-0.5 - shift) / scale + 0.5;
    };
    const NcLibWarpGridCoord& middle = memory.distortion_grid[13 * EIS_GRID_COLUMNS + 17];
    EXPECT_NEAR(middle.x, moved(0), 0.02) << where;
    EXPECT_NEAR(middle.y, moved(1), 0.02) << where;
    for (const NcLibWarpGridCoord& node : memory.distortion_grid) {
        ASSERT_TRUE(std::isfinite(node.x) && std::isfinite(node.y)) << where;
    }
}

TEST(Scenarios, ComeToWhatStandsBesideThem) {
    const std::vector<Scenario> all = scenarios();
    ASSERT_GT(all.size(), 15u);
    for (const Scenario& scenario : all) {
        ScenarioSession session(scenario);
        ASSERT_NE(session.context(), nullptr) << scenario.name;
        std::string log;
        for (size_t index = 0; !session.is_over(); ++index) {
            const is_input* input = nullptr;
            uint32_t status = EIS_ERROR_GENERAL;
            log += log_of([&] {
                input = &session.next_input();
                status = session.process();
            });
            const std::string where = scenario.name + ", frame " + std::to_string(index);
            ASSERT_EQ(status, EIS_SUCCESS) << where << "\n" << log;
            expect_frame(scenario, index, *input, session.memory, where);
        }
        EXPECT_EQ(plain_lines(log), scenario.log) << scenario.name;
    }
}

TEST(Scenarios, GiveTheSameBitsTwice) {
    for (const Scenario& scenario : scenarios()) {
        ScenarioSession a(scenario);
        ScenarioSession b(scenario);
        log_of([&] {
            while (!a.is_over()) {
                a.next_input();
                b.next_input();
                ASSERT_EQ(a.process(), b.process());
                ASSERT_EQ(std::memcmp(&a.memory.transform, &b.memory.transform, 36), 0);
                ASSERT_EQ(
                    std::memcmp(a.memory.distortion_grid.data(), b.memory.distortion_grid.data(),
                                sizeof a.memory.distortion_grid),
                    0);
            }
        });
    }
}

}  // namespace
}  // namespace steadywarp::test
