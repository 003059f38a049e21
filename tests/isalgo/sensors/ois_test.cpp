// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "interface/eis_context.hpp"
#include "sensors/blackman.hpp"
#include "sensors/gimbal_ois.hpp"
#include "sensors/long_filter.hpp"
#include "sensors/ois_filter.hpp"
#include "sensors/ois_handler.hpp"
#include "stabilizer/ois_operator.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

TEST(Blackman, IsSymmetricAndSumsToOne) {
    uint32_t status = EIS_SUCCESS;
    Blackman window(5, status);
    ASSERT_EQ(status, EIS_SUCCESS);
    // 0.42 - 0.5 cos(2 pi i / 10) + 0.08 cos(4 pi i / 10), over 4.2: from a table by hand.
    constexpr double kExpected[] = {0.0, 0.0402128, 0.2007701, 0.5097871, 0.8492299, 1.0};
    for (uint32_t i = 0; i <= 5; ++i) {
        EXPECT_NEAR(window.kernel()[i], kExpected[i] / 4.2, 1e-7) << i;
        EXPECT_EQ(window.kernel()[10 - i], window.kernel()[i]);
    }
    window.set_half(1);
    EXPECT_EQ(window.active_size(), 3u);
    EXPECT_EQ(window.kernel()[0], 0.0);
    EXPECT_EQ(window.kernel()[1], 1.0);
    window.set_half(99);
    EXPECT_EQ(window.active_half(), 5u);
}

// Gives a filter samples of one value every 2 ms. @return what came out last.
struct Feed {
    LongFilter& filter;
    uint64_t ts = 1000;

    double operator()(double value, uint32_t n) {
        std::vector<double> values(n, value);
        std::vector<uint64_t> times(n);
        for (uint64_t& t : times) {
            t = ts += 2000;
        }
        filter.process(values.data(), times.data(), n);
        return values.back();
    }
};

TEST(LongFilter, HoldsARestingLensAndLetsGoOfAMovingOne) {
    uint32_t status = EIS_SUCCESS;
    LongFilter filter(500.0, 64, 0.5f, status);
    ASSERT_EQ(status, EIS_SUCCESS);
    Feed feed{filter};
    EXPECT_EQ(feed(10.0, 20), 10.0);
    // Fewer than 25 samples say nothing about rest.
    EXPECT_EQ(filter.strength(), 0.0f);
    feed(10.0, 20);
    EXPECT_FLOAT_EQ(filter.strength(), 0.95f);
    // Within the noise: a twentieth of the way at most.
    EXPECT_NEAR(feed(10.2, 1), 10.01, 1e-6);
    // A move lets go at 0.2 a sample: 0.75, 0.55, 0.35, 0.15, 0.
    EXPECT_NEAR(feed(20.0, 1), 0.25 * 20.0 + 0.75 * 10.01, 1e-5);
    EXPECT_EQ(feed(20.0, 4), 20.0);
    EXPECT_EQ(filter.strength(), 0.0f);
}

TEST(LongFilter, RestIsWhereTheLast500SamplesWere) {
    uint32_t status = EIS_SUCCESS;
    LongFilter filter(500.0, 64, 0.5f, status);
    Feed feed{filter};
    for (const double rest : {10.0, 10.4}) {
        for (int i = 0; i < 25; ++i) {
            feed(rest, 20);
        }
    }
    // 0.4 from the mean of the last 500 and 0.6 from that of all 1000: within the noise, a
    // twentieth of the way.
    EXPECT_NEAR(feed(10.8, 1), 10.42, 1e-3);
}

TEST(LongFilter, FiltersEachSampleOnceHoweverTheCallsOverlap) {
    uint32_t status = EIS_SUCCESS;
    LongFilter overlapping(500.0, 64, 5.0f, status);
    LongFilter once(500.0, 64, 5.0f, status);
    const auto wave = [](uint32_t i) { return 3.0 * std::sin(0.3 * i); };
    std::vector<double> first_seen(120);
    for (uint32_t begin = 0; begin + 30 <= 120; begin += 15) {
        std::vector<double> values(30);
        std::vector<uint64_t> times(30);
        for (uint32_t i = 0; i < 30; ++i) {
            values[i] = wave(begin + i);
            times[i] = 1000 + 2000 * (begin + i);
        }
        overlapping.process(values.data(), times.data(), 30);
        for (uint32_t i = 0; i < 15 && begin != 0; ++i) {
            EXPECT_EQ(values[i], first_seen[begin + i]) << begin + i;
        }
        std::copy(values.begin(), values.end(), first_seen.begin() + begin);
    }
    overlapping.process(nullptr, nullptr, 0);
}

TEST(LensAxes, MapRawAxesToThePicture) {
    struct Row {
        int32_t x, y;
        double expected_x, expected_y;
    };
    // clang-format off
    constexpr Row kRows[] = {
        { 1,  2,  3,  4}, { 1, -2,  3, -4}, {-1,  2, -3,  4}, {-1, -2, -3, -4},
        { 2,  1,  4,  3}, { 2, -1,  4, -3}, {-2,  1, -4,  3}, {-2, -1, -4, -3},
    };
    // clang-format on
    for (const Row& row : kRows) {
        uint32_t status = EIS_SUCCESS;
        _sample_data_s sample = {{3, 4, 5}, 1};
        lens_axes(row.x, row.y, status).rotate(sample);
        EXPECT_EQ(status, EIS_SUCCESS);
        EXPECT_EQ(sample.data[0], row.expected_x) << row.x << row.y;
        EXPECT_EQ(sample.data[1], row.expected_y) << row.x << row.y;
        EXPECT_EQ(sample.data[2], 5.0);
    }
    uint32_t status = EIS_SUCCESS;
    const std::string log = log_of([&] { lens_axes(1, 3, status); });
    EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT);
    EXPECT_EQ(count_of(log, "Invalid ois_orientation_axis: 1, 3, 3"), 1u);
}

TEST(GimbalOis, ConvertsByModuleType) {
    LensModule module;
    for (uint32_t i = 0; i < 10; ++i) {
        module.data_conversion_x[i] = 1.0 + i;
        module.data_conversion_y[i] = 20.0 + i;
    }
    constexpr double kDegree = 3.141592653589793 / 180.0;
    struct Row {
        uint32_t type;
        double x, y, z;  // degrees, for a sample of (2, 3)
    };
    // cx[1] 2, cx[6] 7, cy[2] 22, cy[9] 29; cubes 8 and 27.
    constexpr Row kRows[] = {
        {3, 2 * 2 + 8 * 7, 3 * 22 + 27 * 29, 0},
        {4, -3 * 2 - 27 * 7, -2 * 22 - 8 * 29, 2 * 22 + 8 * 29},
        {5, -(3 * 22 + 27 * 29), 0, 0},
    };
    for (const Row& row : kRows) {
        module.type = row.type;
        const Vec3<double> angles = process_gimbal_ois({2, 3}, module);
        EXPECT_NEAR(angles.x, row.x * kDegree, 1e-12) << row.type;
        EXPECT_NEAR(angles.y, row.y * kDegree, 1e-12) << row.type;
        EXPECT_NEAR(angles.z, row.z * kDegree, 1e-12) << row.type;
    }
    module.type = 0;
    EXPECT_EQ(count_of(log_of([&] {
                           process_gimbal_ois({2, 3}, module);
                       }),
                       "Misusage of function."),
              1u);
}

TEST(OisOperator, MeanMotionFollowsTheShift) {
    is_init_sensor_data sensor = valid_sensor();
    sensor.tuning.ois.data_conversion_x_tab[1] = 2.0f;
    sensor.tuning.ois.data_conversion_y_tab[2] = 4.0f;
    eis_tuning_set_ois(&sensor.tuning, EIS_TUNING_OIS_RAW_OFFSET, 1.0f);
    uint32_t status = EIS_SUCCESS;
    const Camera camera = {1500.0, 1500.0, 959.5, 539.5, 3840, 2160, 0.9, 0.9};
    is_window_regions regions = centred_windows();
    regions.eis_pre_crop_vIN = regions.eis_pre_crop_vOUT = {1920, 1080, 960, 540, 480, 270};
    const frame_geometry_windows windows =
        compute_frame_geometry_windows(regions, 3840, 2160, 0.67);
    const auto lens = make_ois_operator(sensor.tuning, status);
    ASSERT_NE(lens, nullptr);
    lens->update(camera, windows);
    // Twice the tuning's width, half the picture: four pixels a unit of the cubic.
    const Point2 moved = lens->apply({100, 200}, {4, 9});
    EXPECT_DOUBLE_EQ(moved.x, 100 + 2 * 5 * 4);
    EXPECT_DOUBLE_EQ(moved.y, 200 + 4 * 10 * 4);
    const Point2 back = lens->remove(moved, {4, 9});
    EXPECT_DOUBLE_EQ(back.x, 100);
    EXPECT_EQ(map_point(lens->get_matrix({4, 9}), moved).y, 200.0);
    const Point2 samples[2] = {{3, 9}, {5, 9}};
    const Vec3<double> rotation = lens->get_rotation(samples, 2);
    EXPECT_DOUBLE_EQ(rotation.x, -160.0 * 0.5 / 1500.0);
    EXPECT_DOUBLE_EQ(rotation.y, 40.0 * 0.5 / 1500.0);
    sensor.tuning.ois.module_type = 3;
    EXPECT_EQ(make_ois_operator(sensor.tuning, status), nullptr);
    sensor.tuning.ois.module_type = 9;
    EXPECT_EQ(count_of(log_of([&] { make_ois_operator(sensor.tuning, status); }),
                       "Unknown OIS module_type is configured 9"),
              1u);
    EXPECT_EQ(status, EIS_SUCCESS);
}

TEST(OisOperator, GeneralModelIsAHomographyOfQuadratics) {
    is_init_sensor_data sensor = valid_sensor();
    sensor.tuning.ois.module_type = kOisGeneral;
    eis_tuning_set_ois(&sensor.tuning, EIS_TUNING_OIS_RAW_OFFSET, 1.0f);
    // The model speaks of a picture twice as wide and four times as high as the frame, unscaled.
    eis_tuning_set_ois(&sensor.tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X,
                       2000.0f);
    eis_tuning_set_ois(&sensor.tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y,
                       2000.0f);
    const Camera camera = {1500.0, 1500.0, 749.5, 374.5, 1500, 750, 0.9, 0.9};
    frame_geometry_windows windows{};
    windows.scale = 1.5;
    // Of 1, a, b, a^2, ab, b^2, which are 1, 2, 3, 4, 6, 9 for the raw position (1, 2).
    constexpr float kElements[8][6] = {{1, 0, 0, 0, 0, 0},         {0, 0, 0, 0.25f, 0, 0},  // 1
                                       {1, 2, 3, 4, 5, 6},                                  // 114
                                       {0, 0.5f, 0, 0, 0, 0},                               // 1
                                       {0, 0.5f, 0, 0, 0, 0},                               // 1
                                       {6, 5, 4, 3, 2, 1},                                  // 61
                                       {0, 0, 0, 0, 0.015625f, 0},   // 6 / 64
                                       {0, 0, 0, 0, 0, 0.015625f}};  // 9 / 64
    for (const uint32_t way : {0u, 48u}) {  // from unshifted to raw, and back
        for (uint32_t i = 0; i < 48; ++i) {
            const float value = kElements[i / 6][i % 6];
            eis_tuning_set_general_model_parameter(&sensor.tuning, way + i,
                                                   way == 0 || i / 6 > 1 ? value : 2 * value);
        }
    }
    uint32_t status = EIS_SUCCESS;
    const auto lens = make_ois_operator(sensor.tuning, status);
    ASSERT_NE(lens, nullptr);
    lens->update(camera, windows);
    // (10, 20) is (20, 80) to the model: w = 1 + 6 / 64 * 20 + 9 / 64 * 80 = 14.125.
    const Point2 raw = lens->remove({10, 20}, {1, 2});
    EXPECT_NEAR(raw.x, (20 + 80 + 114) / 14.125 / 2, 1e-9);
    EXPECT_NEAR(raw.y, (20 + 80 + 61) / 14.125 / 4, 1e-9);
    const Point2 by_matrix = map_point(lens->get_matrix({1, 2}), {10, 20});
    EXPECT_NEAR(by_matrix.x, raw.x, 1e-9);
    EXPECT_NEAR(by_matrix.y, raw.y, 1e-9);
    EXPECT_NEAR(lens->apply({10, 20}, {1, 2}).x, (2 * 20 + 2 * 80 + 114) / 14.125 / 2, 1e-9);
}

// A stream with a lens that rests at (1, -1).
struct LensSession {
    is_init_common_data common = valid_common();
    is_init_sensor_data sensor = valid_sensor();

    LensSession() {
        common.is_ois_enabled = true;
        sensor.tuning.top.ois_frequency = 500;
        sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
        sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
        sensor.tuning.ois.center_command_enable = 1;
        sensor.tuning.ois.center_exposure_time_th = 10000;
        sensor.tuning.ois.center_response_time_ms = 100;
    }
    void fill(Stream& stream) const {
        stream.samples = sampled(constant_rate(0.02, 0.0, 0.0), 1000000, 6000000, 2000);
        stream.ois_samples = sampled(constant_rate(1.0, -1.0, 0.0), 1000000, 6000000, 2000);
    }
};

TEST(OisStream, AsksForSamplesAroundTheGyroscopes) {
    LensSession lens;
    lens.sensor.tuning.timing.ois_offset = 1500;
    Instance instance(lens.common, {lens.sensor});
    Stream stream(instance.get());
    lens.fill(stream);
    is_frame_times times = stream.times;
    times.sof = 2000000;
    is_time_interval gyro{}, ois{};
    EXPECT_EQ(eis2_get_gyro_ois_time_interval(instance.get(), &times, 0, &gyro, &ois), EIS_SUCCESS);
    OutputMemory memory;
    const FrameResult first = stream.frame(2000000, memory);
    ASSERT_EQ(first.process_status, EIS_SUCCESS);
    // P = 2100; early = 1500 - 5000; before the frame by it, a tenth of a frame and 2 P.
    EXPECT_EQ(first.intervals.ois.first_ts, 2000000u - 3500 - 3333 - 4200);
    EXPECT_EQ(first.intervals.gyro.last_ts, 2000000u + 1500 + 26250 + 2100);
    EXPECT_EQ(first.intervals.ois.last_ts, first.intervals.gyro.last_ts + 7 * 2100);
    // The deprecated way tells the same.
    EXPECT_EQ(ois.first_ts, first.intervals.ois.first_ts);
    EXPECT_EQ(ois.last_ts, first.intervals.ois.last_ts);
    EXPECT_EQ(gyro.last_ts, first.intervals.gyro.last_ts);
    const FrameResult second = stream.frame(2033333, memory);
    // Both streams go on: two periods before the earlier of their last samples.
    EXPECT_EQ(second.intervals.ois.first_ts, second.intervals.gyro.first_ts - 2 * 2100);
}

TEST(OisStream, CentresTheLensWhenExposureIsShort) {
    const LensSession lens;
    Instance instance(lens.common, {lens.sensor});
    Stream stream(instance.get());
    lens.fill(stream);
    OutputMemory memory;
    std::vector<uint32_t> modes;
    for (uint32_t f = 0; f < 12; ++f) {
        // Short for six frames (equal to the threshold counts), then long.
        stream.times.exposure_time = f < 6 ? 10000 : 10001;
        ASSERT_EQ(stream.frame(2000000 + f * 33333, memory).process_status, EIS_SUCCESS);
        modes.push_back(memory.output.ois_mode);
    }
    // Four frames of 33333 are the first sum above the response time of 100000.
    const std::vector<uint32_t> expected = {2, 2, 2, 2, 1, 1, 1, 1, 1, 2, 2, 2};
    EXPECT_EQ(modes, expected);
}

TEST(OisStream, WantsItsSamplesTogetherWithTheGyroscopes) {
    const LensSession lens;
    Instance instance(lens.common, {lens.sensor});
    Stream stream(instance.get());
    lens.fill(stream);
    const std::vector<_sample_data_s> all = stream.ois_samples;
    OutputMemory memory;
    stream.ois_samples.clear();
    std::string log = log_of(
        [&] { EXPECT_EQ(stream.frame(2000000, memory).process_status, EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "Invalid first frame, no OIS data!"), 1u) << log;
    stream.ois_samples = all;
    EXPECT_EQ(log_of([&] { stream.frame(2033333, memory); }), "");
    stream.ois_samples.clear();
    log = log_of(
        [&] { EXPECT_EQ(stream.frame(2066666, memory).process_status, EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "Sensor #0 : OIS and Gyro samples mismatch. OIS (0) or gyro (18)"), 1u)
        << log;
}

TEST(OisStream, ReportsALensStreamThatStops) {
    const LensSession lens;
    Instance instance(lens.common, {lens.sensor});
    Stream stream(instance.get());
    lens.fill(stream);
    while (stream.ois_samples.back().ts > 2050000) {
        stream.ois_samples.pop_back();
    }
    OutputMemory memory;
    EXPECT_EQ(log_of([&] { stream.frame(2000000, memory); }), "");
    const std::string log =
        log_of([&] { EXPECT_EQ(stream.frame(2033333, memory).process_status, EIS_SUCCESS); });
    EXPECT_EQ(count_of(log, "axis-x: filter extrapolated 0 points from start and"), 1u) << log;
    EXPECT_EQ(count_of(log, "axis-y: filter extrapolated 0 points from start and"), 1u) << log;
    EXPECT_EQ(count_of(log, "OIS samples are invalid, total number of missing points"), 1u) << log;
    EXPECT_TRUE(memory.output.output_valid);
}

TEST(OisHandler, KeepsTwoSensorsLensesApart) {
    LensSession lens;
    Instance instance(lens.common, {lens.sensor, lens.sensor});
    Stream stream(instance.get());
    lens.fill(stream);
    const std::vector<_sample_data_s> first_lens = stream.ois_samples;
    const auto second_lens = sampled(constant_rate(-7.0, 7.0, 0.0), 1000000, 6000000, 2000);
    OutputMemory memory;
    for (uint32_t f = 0; f < 20; ++f) {
        stream.sensor = f / 4 % 2;
        stream.ois_samples = stream.sensor == 0 ? first_lens : second_lens;
        log_of([&] {
            ASSERT_EQ(stream.frame(2000000 + f * 33333, memory).process_status, EIS_SUCCESS);
        });
        const Point2& shift = instance.get()->_samplers._ois_samples[13];
        EXPECT_EQ(shift.x, stream.sensor == 0 ? 1.0 : -7.0) << f;
        EXPECT_EQ(shift.y, stream.sensor == 0 ? -1.0 : 7.0) << f;
    }
}

}  // namespace
}  // namespace steadywarp::test
