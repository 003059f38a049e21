// SPDX-License-Identifier: Apache-2.0
// A simulated camera whose lens moves while it reads: the grid must undo the lens and the turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/records.hpp"
#include "support/simulated_camera.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

constexpr uint64_t kStartUs = 2000000;
constexpr uint64_t kFrameUs = 33333;
constexpr uint32_t kExposureUs = 10000;
constexpr double kReadoutUs = 25000.0;
constexpr double kPi = 3.14159265358979323846;

// Raw lens positions: a few units either way, at two slow frequencies.
_sample_data_s lens_at(uint64_t ts) {
    const double t = static_cast<double>(ts) * 1e-6;
    return {{3.0 * std::sin(2.0 * kPi * 2.1 * t), 2.0 * std::cos(2.0 * kPi * 3.3 * t)}, ts};
}

// Pixels per unit of the raw position, and degrees per unit of the prism.
constexpr double kPixelsPerUnit = 5.0;
constexpr double kDegreesPerUnit = 0.05;

struct Module {
    const char* what;
    uint32_t type;
    double x_sign;  ///< of the raw content's move for a positive raw position
    double y_sign;
    double degrees_per_unit;  ///< by which y turns the view about the camera's x axis
};

const Module kModules[] = {
    // A positive shift is what is added to a raw pixel, so the raw content moves by minus it.
    {"lens shift", 0, -1.0, -1.0, 0.0},
    {"general model", 1, -1.0, -1.0, 0.0},
    // x shifts the other way round; y turns the view by minus its angle.
    {"prism and lens shift", 5, 1.0, 0.0, -kDegreesPerUnit},
};

// Where a view that is turned by `angle` about the camera's x axis shows a pixel.
Pixel turned(const Pixel& p, double angle) {
    const double x = (p.x - 959.5) / kFocalLength;
    const double y = (p.y - 539.5) / kFocalLength;
    const double z = std::cos(angle) - std::sin(angle) * y;
    return {959.5 + kFocalLength * x / z,
            539.5 + kFocalLength * (std::sin(angle) + std::cos(angle) * y) / z};
}

double prism_angle(const Module& module, const _sample_data_s& lens) {
    return module.degrees_per_unit * lens.data[1] * kPi / 180.0;
}

// Where the lens puts what a lens at rest would put at `ideal`.
Pixel to_raw(const Module& module, const Pixel& ideal, const _sample_data_s& lens) {
    const Pixel p = turned(ideal, prism_angle(module, lens));
    return {p.x + module.x_sign * kPixelsPerUnit * lens.data[0],
            p.y + module.y_sign * kPixelsPerUnit * lens.data[1]};
}

// The lens at a time between whole microseconds.
_sample_data_s lens_between(double time_us) {
    const double part = time_us - std::floor(time_us);
    const _sample_data_s a = lens_at(static_cast<uint64_t>(time_us));
    const _sample_data_s b = lens_at(static_cast<uint64_t>(time_us) + 1);
    return {
        {a.data[0] + part * (b.data[0] - a.data[0]), a.data[1] + part * (b.data[1] - a.data[1])},
        0};
}

is_init_sensor_data sensor_with(const Module& module) {
    is_init_sensor_data sensor = valid_sensor();
    is_tessaline_info_s& tuning = sensor.tuning;
    tuning.top.gyro_frequency = 1000;
    tuning.top.ois_frequency = 500;
    tuning.ois.module_type = module.type;
    tuning.ois.data_conversion_x_tab[1] = kPixelsPerUnit;
    tuning.ois.data_conversion_y_tab[2] =
        module.type == 5 ? static_cast<float>(kDegreesPerUnit) : kPixelsPerUnit;
    // No averaging: the window of one tap a side keeps only its middle.
    eis_tuning_set_ois(&tuning, EIS_TUNING_OIS_FILTER_MODE, 1.0f);
    eis_tuning_set_ois(&tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X, kWidth);
    eis_tuning_set_ois(&tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y, kHeight);
    // Elements 0 and 4 are 1; 2 and 5 move by the raw position, there and back.
    for (const uint32_t base : {0u, 48u}) {
        const float sign = base == 0 ? -1.0f : 1.0f;
        eis_tuning_set_general_model_parameter(&tuning, base, 1.0f);
        eis_tuning_set_general_model_parameter(&tuning, base + 6 * 4, 1.0f);
        eis_tuning_set_general_model_parameter(&tuning, base + 6 * 2 + 1,
                                               sign * static_cast<float>(kPixelsPerUnit));
        eis_tuning_set_general_model_parameter(&tuning, base + 6 * 5 + 2,
                                               sign * static_cast<float>(kPixelsPerUnit));
    }
    return sensor;
}

TEST(LensPhysics, GridUndoesTheLensAndTheTurn) {
    is_init_common_data common = valid_common();
    common.is_ois_enabled = true;
    // Largest error in px that an independent model reaches is 0.003 still and 0.005 hand-held;
    // strong shake is the gyroscope's.
    struct Row {
        double rms_rate;
        double limit_px;
    };
    for (const Module& module : kModules) {
        for (const Row& row : {Row{0.0, 0.02}, Row{0.06, 0.1}, Row{0.3, 0.3}}) {
            tool::MotionProfile profile;
            profile.seed = 5;
            profile.rms_rate = row.rms_rate;
            profile.tones = row.rms_rate == 0.0 ? 0 : 24;
            const tool::Motion motion(profile);
            SimulatedCamera camera{motion};
            camera.epoch_us = static_cast<double>(kStartUs);
            Instance instance(common, {sensor_with(module)});
            ASSERT_EQ(instance.status(), EIS_SUCCESS);
            Stream stream(instance.get());
            stream.samples = sampled(device_rates(motion, camera.epoch_us, 0, 180),
                                     kStartUs - 200000, kStartUs + 1500000, 1000);
            stream.ois_samples = sampled(lens_at, kStartUs - 200000, kStartUs + 1500000, 2000);
            OutputMemory memory;
            double worst = 0.0;
            double uncorrected = 0.0;
            for (uint32_t f = 0; f < 20; ++f) {
                const uint64_t sof = kStartUs + f * kFrameUs;
                const std::string log = log_of(
                    [&] { ASSERT_EQ(stream.frame(sof, memory).process_status, EIS_SUCCESS); });
                ASSERT_EQ(log, "") << module.what;
                const double first_row = static_cast<double>(sof) - kExposureUs / 2.0;
                for (uint32_t j = 2; j <= 24; j += 2) {
                    for (uint32_t i = 2; i <= 32; i += 3) {
                        const Pixel node = {-0.5 + 60.0 * (i - 1.0), -0.5 + 45.0 * (j - 1.0)};
                        // The corrected frame looks as the camera and its prism did half way.
                        const double middle = camera.middle_us(first_row);
                        const Pixel ideal =
                            turned(node, -prism_angle(module, lens_between(middle)));
                        const tool::Vector3 direction = camera.direction(ideal, middle);
                        Pixel raw = node;
                        for (int round = 0; round < 30; ++round) {
                            const double t = first_row + kReadoutUs * (raw.y + 0.5) / kHeight;
                            raw = to_raw(module, camera.project(direction, t), lens_between(t));
                        }
                        const NcLibWarpGridCoord& point = memory.distortion_grid[j * 35 + i];
                        worst = std::max(
                            worst, std::hypot(point.x + 959.5 - raw.x, point.y + 539.5 - raw.y));
                        uncorrected =
                            std::max(uncorrected, std::hypot(node.x - raw.x, node.y - raw.y));
                    }
                }
            }
            std::printf("%-22s shake %.2f rad/s: worst %.4f px, uncorrected %.1f px\n", module.what,
                        row.rms_rate, worst, uncorrected);
            EXPECT_LT(worst, row.limit_px) << module.what;
            EXPECT_GT(uncorrected, 10.0) << module.what;
        }
    }
}

}  // namespace
}  // namespace steadywarp::test
