// SPDX-License-Identifier: Apache-2.0
// A simulated camera whose lens moves, breathes and distorts while it reads: the grid must undo the
// optics and the turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "support/records.hpp"
#include "support/simulated_camera.hpp"
#include "support/simulated_optics.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

constexpr uint64_t kStartUs = 2000000;
constexpr uint64_t kFrameUs = 33333;
constexpr uint32_t kFrames = 12;
constexpr uint32_t kExposureUs = 10000;
constexpr double kReadoutUs = 25000.0;
constexpr float kWideMargin = 0.25f;

struct Shake {
    const char* what;
    double rms_rate;
    double turn_rate;
    double limit_px;
};

// The strongest of them turns the camera by half a picture a second.
constexpr Shake kShakes[] = {
    {"still", 0.0, 0.0, 0.1},
    {"hand-held", 0.06, 0.0, 0.1},
    {"walking", 0.2, 0.55, 0.2},
    {"running", 0.3, 1.1, 0.3},
};

struct Errors {
    double worst = 0.0;
    double uncorrected = 0.0;
};

struct Rig {
    tool::Motion motion;
    SimulatedCamera camera{motion};
    const SimulatedOptics& optics;
    Instance instance;
    Stream stream;
    OutputMemory memory;

    double part;  ///< of the picture that the crop ahead of the stabilizer leaves, about its middle

    Rig(const SimulatedOptics& the_optics, const Shake& shake, const is_init_common_data& common,
        const std::vector<is_init_sensor_data>& sensors, double the_part = 1.0)
        : motion(profile_of(shake)),
          optics(the_optics),
          instance(common, sensors),
          stream(instance.get()),
          part(the_part) {
        camera.epoch_us = static_cast<double>(kStartUs);
        camera.readout_us = kReadoutUs;
        constexpr uint64_t kFrom = kStartUs - 200000;
        constexpr uint64_t kTo = kStartUs + 1500000;
        stream.samples = sampled(device_rates(motion, camera.epoch_us, 0, 180), kFrom, kTo, 1000);
        stream.ois_samples =
            sampled([&](uint64_t ts) { return optics.lens_sample(ts); }, kFrom, kTo, 2000);
        stream.ifovc_samples =
            sampled([&](uint64_t ts) { return optics.focus_sample(ts); }, kFrom, kTo, 5000);
        if (!common.is_ois_enabled) {
            stream.ois_samples.clear();
        }
        if (!common.is_ifovc_enabled) {
            stream.ifovc_samples.clear();
        }
        const auto crop = [](uint32_t size) {
            return static_cast<uint32_t>(std::lround(size * (1.0 - double{kWideMargin})));
        };
        stream.windows = centred_windows(kWidth, kHeight, crop(kWidth), crop(kHeight));
        const is_crop_window ahead = {kWidth,
                                      kHeight,
                                      static_cast<float>(kWidth * part),
                                      static_cast<float>(kHeight * part),
                                      static_cast<float>(kWidth * (1.0 - part) / 2.0),
                                      static_cast<float>(kHeight * (1.0 - part) / 2.0)};
        stream.windows.eis_pre_crop_vIN = stream.windows.eis_pre_crop_vOUT = ahead;
    }

    // Between the pixels of the frame and those of the picture that it is cut from.
    Pixel out_of_crop(const Pixel& p) const {
        return {959.5 + (p.x - 959.5) * part, 539.5 + (p.y - 539.5) * part};
    }
    Pixel into_crop(const Pixel& p) const {
        return {959.5 + (p.x - 959.5) / part, 539.5 + (p.y - 539.5) / part};
    }

    static tool::MotionProfile profile_of(const Shake& shake) {
        tool::MotionProfile profile;
        profile.seed = 5;
        profile.rms_rate = shake.rms_rate;
        profile.turn_rate = shake.turn_rate;
        profile.tones = shake.rms_rate == 0.0 ? 0 : 24;
        return profile;
    }

    // Where the rolling shutter has what the corrected frame shows at `node`: the frame as the
    // camera and its prism were half way.
    Pixel truth(const Pixel& node, double first_row_us) const {
        const double middle = camera.middle_us(first_row_us);
        const tool::Vector3 direction =
            camera.direction(optics.back_through_prism(out_of_crop(node), middle), middle);
        Pixel raw = out_of_crop(node);
        for (int round = 0; round < 30; ++round) {
            const double t = first_row_us + kReadoutUs * (raw.y + 0.5) / kHeight;
            raw = optics.to_raw(camera.project(direction, t), t);
        }
        return into_crop(raw);
    }

    // Over the nodes whose image lies in the frame.
    void measure(uint64_t sof, const OutputMemory& output, Errors& errors, uint32_t& count) const {
        const double first_row = static_cast<double>(sof) - kExposureUs / 2.0;
        for (uint32_t j = 1; j <= 25; j += 2) {
            for (uint32_t i = 1; i <= 33; i += 2) {
                const Pixel node = {-0.5 + 60.0 * (i - 1.0), -0.5 + 45.0 * (j - 1.0)};
                const Pixel raw = truth(node, first_row);
                if (raw.x < -0.5 || raw.x > kWidth - 0.5 || raw.y < -0.5 || raw.y > kHeight - 0.5) {
                    continue;
                }
                const NcLibWarpGridCoord& point = output.distortion_grid[j * EIS_GRID_COLUMNS + i];
                errors.worst = std::max(
                    errors.worst, std::hypot(point.x + 959.5 - raw.x, point.y + 539.5 - raw.y));
                errors.uncorrected =
                    std::max(errors.uncorrected, std::hypot(node.x - raw.x, node.y - raw.y));
                ++count;
            }
        }
    }
};

// Run every shake through these optics, and hold the grid to what the camera saw.
void hold_grid(const char* what, const SimulatedOptics& optics, const is_init_common_data& common,
               is_init_sensor_data sensor, double part = 1.0) {
    sensor.tuning.top.gyro_frequency = 1000;
    sensor.tuning.general.minimal_total_margin = kWideMargin;
    for (const Shake& shake : kShakes) {
        Rig rig(optics, shake, common, {sensor}, part);
        ASSERT_EQ(rig.instance.status(), EIS_SUCCESS) << what;
        Errors errors;
        uint32_t count = 0;
        for (uint32_t f = 0; f < kFrames; ++f) {
            const uint64_t sof = kStartUs + f * kFrameUs;
            const std::string log = log_of(
                [&] { ASSERT_EQ(rig.stream.frame(sof, rig.memory).process_status, EIS_SUCCESS); });
            ASSERT_EQ(log, "") << what;
            rig.measure(sof, rig.memory, errors, count);
        }
        std::printf("%-24s %-10s worst %.4f px, uncorrected %.1f px\n", what, shake.what,
                    errors.worst, errors.uncorrected);
        EXPECT_GT(count, 150u * kFrames) << what << ", " << shake.what;
        EXPECT_LT(errors.worst, shake.limit_px) << what << ", " << shake.what;
        EXPECT_GT(errors.uncorrected, 10.0) << what << ", " << shake.what;
    }
}

TEST(OpticsPhysics, GridUndoesTheLensAndTheTurn) {
    struct Row {
        const char* what;
        SimulatedOptics optics;
        uint32_t scale_source;
    };
    const Row rows[] = {
        {"lens shift", {0, false, 0.0}, 0},
        {"general model", {1, false, 0.0}, 0},
        {"prism and lens shift", {5, false, 0.0}, 0},
        {"breathing, scales", {kFixedLens, true, 0.0}, 0},
        {"breathing, positions", {kFixedLens, true, 0.0}, 1},
        {"lens shift, breathing", {0, true, 0.0}, 1},
        {"prism, shift, breathing", {5, true, 0.0}, 0},
    };
    for (const Row& row : rows) {
        is_init_common_data common = valid_common();
        is_init_sensor_data sensor = valid_sensor();
        row.optics.configure(common, sensor);
        sensor.tuning.z_lens_pos.scale_source = row.scale_source;
        hold_grid(row.what, row.optics, common, sensor);
    }
}

TEST(OpticsPhysics, GridUndoesDistortionWithAllElse) {
    struct Row {
        const char* what;
        SimulatedOptics optics;
        uint32_t grid_rows, grid_columns;
        bool is_tuned;
        uint32_t calib_domain;  // of grids beside the tuning
    };
    const Row rows[] = {
        {"distortion, tuned", {kFixedLens, false, 20.0}, 27, 35, true, 0},
        {"distortion, ife input", {kFixedLens, false, 20.0}, 27, 35, false, 1},
        {"distortion, fine grid", {kFixedLens, false, 20.0}, 51, 67, false, 0},
        {"all three", {0, true, 20.0}, 27, 35, true, 0},
        {"all three, general", {1, true, 20.0}, 51, 67, false, 1},
        {"all three, prism", {5, true, 20.0}, 27, 35, true, 0},
    };
    for (const Row& row : rows) {
        is_init_common_data common = valid_common();
        is_init_sensor_data sensor = valid_sensor();
        row.optics.configure(common, sensor);
        const DistortionGrids grids(row.optics, row.grid_rows, row.grid_columns);
        if (row.is_tuned) {
            set_tuned_grids(sensor.tuning, grids);
        } else {
            sensor.tuning.lens_distortion_correction.ldc_grid_source = 1;
            sensor.ldc_in2out = &grids.in2out;
            sensor.ldc_out2in = &grids.out2in;
            sensor.ldc_calib_domain = row.calib_domain;
            sensor.image_sensor_crop = {kWidth, kHeight, kWidth, kHeight, 0.0f, 0.0f};
        }
        hold_grid(row.what, row.optics, common, sensor);
    }
}

TEST(OpticsPhysics, GridUndoesTheOpticsOfACroppedPicture) {
    // The middle 0.75 of the picture, enlarged to the frame: the same lens, in larger pixels.
    const SimulatedOptics rows[] = {
        {0, true, 0.0}, {kFixedLens, false, 20.0}, {0, true, 20.0}, {1, true, 20.0}};
    for (const SimulatedOptics& optics : rows) {
        is_init_common_data common = valid_common();
        is_init_sensor_data sensor = valid_sensor();
        optics.configure(common, sensor);
        const DistortionGrids grids(optics, 27, 35);
        if (optics.corner_px != 0.0) {
            set_tuned_grids(sensor.tuning, grids);
        }
        hold_grid("middle of the picture", optics, common, sensor, 0.75);
    }
}

TEST(OpticsPhysics, TwoSensorsKeepTheirOwnOptics) {
    // One lens shifts, breathes and distorts, the other is a prism that breathes otherwise; four
    // frames of each in turn, and only the active one's samples come.
    const SimulatedOptics optics[] = {{0, true, 20.0}, {5, true, -10.0}};
    const DistortionGrids grids[] = {{optics[0], 27, 35}, {optics[1], 27, 35}};
    is_init_common_data common = valid_common();
    std::vector<is_init_sensor_data> sensors(2, valid_sensor());
    for (uint32_t i = 0; i < 2; ++i) {
        optics[i].configure(common, sensors[i]);
        set_tuned_grids(sensors[i].tuning, grids[i]);
        sensors[i].tuning.top.gyro_frequency = 1000;
        sensors[i].tuning.general.minimal_total_margin = kWideMargin;
    }
    const Shake hand_held = {"", 0.06, 0.0, 0.0};
    // Two cameras in one device: the rigs share the motion, the second one's instance is not used.
    Rig first(optics[0], hand_held, common, sensors);
    Rig second(optics[1], hand_held, common, sensors);
    const std::vector<_sample_data_s> lens[] = {first.stream.ois_samples,
                                                second.stream.ois_samples};
    double worst = 0.0;
    uint32_t count = 0;
    for (uint32_t f = 0; f < 32; ++f) {
        const uint32_t active = f / 4 % 2;
        const uint64_t sof = kStartUs + f * kFrameUs;
        first.stream.sensor = active;
        first.stream.ois_samples = lens[active];
        log_of(
            [&] { ASSERT_EQ(first.stream.frame(sof, first.memory).process_status, EIS_SUCCESS); });
        Errors errors;
        (active == 0 ? first : second).measure(sof, first.memory, errors, count);
        worst = std::max(worst, errors.worst);
    }
    std::printf("two sensors in turn: worst %.4f px\n", worst);
    EXPECT_LT(worst, 0.1);
    EXPECT_GT(count, 150u * 32);
}

TEST(OpticsPhysics, BothWaysOfMappingAgree) {
    // Turned fast about all three axes while the lens moves far: a grid that distorts nothing must
    // give what the search without a grid gives.
    const SimulatedOptics optics = {0, true, 0.0};
    const DistortionGrids grids(optics, 27, 35);
    is_init_common_data common = valid_common();
    is_init_sensor_data sensor = valid_sensor();
    optics.configure(common, sensor);
    sensor.tuning.general.minimal_total_margin = kWideMargin;
    is_init_sensor_data with_grid = sensor;
    set_tuned_grids(with_grid.tuning, grids);
    OutputMemory searched, forward;
    double worst = 0.0;
    double moved = 0.0;
    for (const auto& [yaw, roll] : {std::pair{1.1, 1.2}, std::pair{-1.1, 1.2}}) {
        const Shake none = {"", 0.0, 0.0, 0.0};
        Rig by_search(optics, none, common, {sensor});
        Rig by_grid(optics, none, common, {with_grid});
        for (uint32_t f = 0; f < kFrames; ++f) {
            for (const auto& [rig, memory] :
                 {std::pair{&by_search, &searched}, std::pair{&by_grid, &forward}}) {
                rig->stream.samples = sampled(constant_rate(0.3, yaw, roll), kStartUs - 200000,
                                              kStartUs + 1500000, 2000);
                ASSERT_EQ(rig->stream.frame(kStartUs + f * kFrameUs, *memory).process_status,
                          EIS_SUCCESS);
            }
            for (uint32_t j = 3; j <= 23; ++j) {
                for (uint32_t i = 3; i <= 31; ++i) {
                    const NcLibWarpGridCoord& a = searched.distortion_grid[j * 35 + i];
                    const NcLibWarpGridCoord& b = forward.distortion_grid[j * 35 + i];
                    worst = std::max(worst, double{std::hypot(a.x - b.x, a.y - b.y)});
                    moved = std::max(moved, std::fabs(a.x + 959.5 - (60.0 * (i - 1.0) - 0.5)));
                }
            }
        }
    }
    std::printf("two ways of mapping: %.4f px apart at most, moved by %.1f px\n", worst, moved);
    EXPECT_LT(worst, 0.05);
    EXPECT_GT(moved, 40.0);
}

}  // namespace
}  // namespace steadywarp::test
