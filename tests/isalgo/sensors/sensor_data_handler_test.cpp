// SPDX-License-Identifier: Apache-2.0
#include "sensors/sensor_data_handler.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "sensors/gyro_handler.hpp"
#include "sensors/multi_sensor_data_buffer.hpp"
#include "sensors/multi_sensor_data_handler.hpp"
#include "support/records.hpp"

namespace steadywarp {
namespace {

using test::count_of;
using test::log_of;

constexpr uint64_t kPeriodUs = 2000;

SensorInitInfo info_at(float frequency, uint32_t mount = 180, uint32_t position = 1) {
    SensorInitInfo info;
    info.frequency = frequency;
    info.num_axes = 3;
    info.sensor_mount_angle = mount;
    info.camera_position = position;
    info.buffer_size = 256;
    return info;
}

std::vector<_sample_data_s> steady(uint64_t first, uint32_t count, uint64_t period = kPeriodUs) {
    std::vector<_sample_data_s> samples;
    for (uint32_t i = 0; i < count; ++i) {
        samples.push_back({{0.1, 0.2, 0.3}, first + i * period});
    }
    return samples;
}

is_sample_array batch(const std::vector<_sample_data_s>& samples) {
    return {samples.data(), static_cast<uint32_t>(samples.size())};
}

// A handler that has taken samples up to 1000000 and asked for what follows.
struct Gate {
    uint32_t status = EIS_SUCCESS;
    SensorDataHandler handler;

    explicit Gate(bool tolerate_gaps)
        : handler(info_at(500.0f), tolerate_gaps ? "OIS_#0" : "Gyro", tolerate_gaps, status) {
        handler.update_frequency(batch(steady(900000, 50)));
        handler.set_last_sample({{}, 1000000});
        handler.set_requested_interval({1000000, 1040000});
    }
};

TEST(SensorDataHandler, JudgesABatchByItsTimes) {
    struct Row {
        const char* what;
        std::vector<_sample_data_s> samples;
        bool tolerate_gaps;
        bool sensor_switched;
        bool expected;
        const char* line;  // must appear, NULL: the log must be empty
        uint32_t frame_id = 1;
    };
    auto old_only = steady(900000, 20);
    auto overlapping = steady(1000000 - 18 * kPeriodUs, 20);
    auto falling = steady(1000000, 20);
    falling[10].ts = falling[9].ts - 1;
    auto equal = steady(1000000, 20);
    equal[10].ts = equal[9].ts;
    equal[10].data[1] = 9.0;
    auto zero = steady(1000000, 20);
    zero[3].ts = 0;
    const std::vector<Row> rows = {
        {"the next samples", steady(1000000, 20), false, false, true, nullptr},
        {"nothing", {}, false, false, true, nullptr},
        {"all samples old", old_only, false, false, false, "IS0018: V2: is_valid("},
        {"one new sample is enough", overlapping, false, false, true, "IS0523"},
        {"a gap above 4.2 periods", steady(1000000 + 8401, 20), false, false, false, "IS0018"},
        {"the same where gaps are tolerated", steady(1000000 + 8401, 20), true, false, true,
         "IS0018"},
        {"the same behind a sensor switch", steady(1000000 + 8401, 20), false, true, true,
         "IS0522"},
        {"a gap above 2.1 periods", steady(1000000 + 4202, 20), false, false, true, "IS0521"},
        {"a gap of 500000 is a pause", steady(1500000, 20), false, false, true, "IS0522"},
        {"a gap of 499999 is a loss", steady(1499999, 20), false, false, false, "IS0018"},
        {"falling times", falling, false, false, true, "IS0524"},
        {"equal times with other data", equal, false, false, true,
         "Time stamps are equal but data samples are not"},
        {"a time of 0", zero, false, false, false,
         "Gyro: frame_id 1: Time stamps equal zero ! corrupted gyro data"},
        {"another rate", steady(1000000, 20, 2100), false, false, true, "IS0518"},
        {"a rate too high to be true", steady(1000000, 50, 900), false, false, true, "IS0009"},
    };
    for (const Row& row : rows) {
        Gate gate(row.tolerate_gaps);
        bool valid = !row.expected;
        const std::string log = log_of([&] {
            valid =
                gate.handler.is_valid(batch(row.samples), row.frame_id, false, row.sensor_switched);
        });
        EXPECT_EQ(valid, row.expected) << row.what << "\n" << log;
        if (row.line == nullptr) {
            EXPECT_EQ(log, "") << row.what;
        } else {
            EXPECT_EQ(count_of(log, row.line), 1u) << row.what << "\n" << log;
        }
    }
}

TEST(SensorDataHandler, SpacingIsSilentAtThePauseAndSaysHowMuchWasLost) {
    Gate gate(false);
    const std::string at_pause =
        log_of([&] { gate.handler.is_valid(batch(steady(1500000, 20)), 1, false, false); });
    EXPECT_EQ(count_of(at_pause, "_last_sample.ts"), 0u) << at_pause;
    const std::string loss =
        log_of([&] { gate.handler.is_valid(batch(steady(1005000, 20)), 1, false, false); });
    EXPECT_EQ(count_of(loss, "[ERR]  IS0521: V2: is_valid_samples_spacings("), 1u) << loss;
    EXPECT_EQ(count_of(loss,
                       "Gyro: frame_id 1: samples->samples[0].ts - _last_sample.ts = "
                       "5000.000000[us] > 4200.000000[us]\n"),
              1u)
        << loss;
    auto holed = steady(1000000, 4);
    holed[2].ts += 8000;
    holed[3].ts += 8000;
    const std::string hole = log_of([&] { gate.handler.is_valid(batch(holed), 1, false, false); });
    EXPECT_EQ(count_of(hole,
                       "Invalid samples spacing: 1002000, 1012000, 500.00Hz ; Loss of 10000[us] of "
                       "data, estimated 4 missing samples"),
              1u)
        << hole;
}

TEST(SensorDataHandler, MissingArrayFailsAndSoDoesATimeBelowOnePeriod) {
    Gate gate(false);
    const is_sample_array missing = {nullptr, 3};
    const std::string log =
        log_of([&] { EXPECT_FALSE(gate.handler.is_valid(missing, 1, false, false)); });
    EXPECT_EQ(count_of(log, "Gyro: Input mismatch, num_elements > 0 but samples array is NULL"),
              1u);
    uint32_t status = EIS_SUCCESS;
    const SensorDataHandler fresh(info_at(500.0f), "Gyro", false, status);
    const auto early = steady(1999, 1);
    const std::string early_log =
        log_of([&] { EXPECT_FALSE(fresh.is_valid(batch(early), 1, false, false)); });
    EXPECT_EQ(count_of(early_log, "received timestamp (1999) is invalid"), 1u) << early_log;
}

TEST(SensorDataHandler, ChecksTheAverageRateEverySixtyFourFrames) {
    uint32_t status = EIS_SUCCESS;
    SensorDataHandler handler(info_at(480.0f), "Gyro", false, status);
    handler.update_frequency(batch(steady(900000, 50)));
    EXPECT_NEAR(handler.average_frequency(), 500.0f, 0.01f);
    const auto samples = steady(1000000, 20);
    const auto lines = [&](uint32_t frame_id) {
        return count_of(log_of([&] { handler.is_valid(batch(samples), frame_id, false, false); }),
                        "IS0519");
    };
    EXPECT_EQ(lines(64), 1u);
    EXPECT_EQ(lines(65), 0u);
    EXPECT_EQ(count_of(log_of([&] { handler.is_valid(batch(samples), 65, true, false); }),
                       "Gyro: estimated_frequency = 500.0Hz is different from requested by input = "
                       "480.0Hz"),
              1u);
}

TEST(SensorDataHandler, FallsBackToTheConfiguredRateWithoutAnEstimate) {
    uint32_t status = EIS_SUCCESS;
    SensorDataHandler handler(info_at(400.0f), "Gyro", false, status);
    const auto one = steady(1000, 1);
    const std::string log = log_of([&] { handler.update_frequency(batch(one)); });
    EXPECT_EQ(count_of(log, "IS0003: V2: estimate_frequency("), 1u) << log;
    EXPECT_EQ(count_of(log, "(1, 1000, 1000)"), 1u) << log;
    EXPECT_EQ(handler.average_frequency(), 400.0f);
    // Two runs: the average is their mean.
    handler.update_frequency(batch(steady(5000, 11)));
    EXPECT_NEAR(handler.average_frequency(), 450.0f, 0.01f);
}

TEST(SensorDataHandler, MapsDeviceAxesByPositionAndMountAngle) {
    struct Row {
        uint32_t position;
        uint32_t mount;
        double x, y, z;
    };
    constexpr double X = 1, Y = 2, Z = 3;
    // clang-format off
    constexpr Row kRows[] = {
        {1,   0, -X, -Y,  Z},
        {1,  90, -Y,  X,  Z},
        {1, 180,  X,  Y,  Z},
        {1, 270,  Y, -X,  Z},
        {0,   0, -X,  Y, -Z},
        {0,  90, -Y, -X, -Z},
        {0, 180,  X, -Y, -Z},
        {0, 270,  Y,  X, -Z},
    };
    // clang-format on
    for (const Row& row : kRows) {
        uint32_t status = EIS_SUCCESS;
        const SensorDataHandler handler(info_at(500.0f, row.mount, row.position), "Gyro", false,
                                        status);
        ASSERT_EQ(status, EIS_SUCCESS);
        _sample_data_s sample = {{X, Y, Z, 4, 5, 6}, 7};
        handler.rotate(sample);
        const _sample_data_s expected = {{row.x, row.y, row.z, 4, 5, 6}, 7};
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(sample.data[i], expected.data[i]) << row.position << " " << row.mount;
        }
    }
    for (const auto& [mount, position] : {std::pair{45u, 0u}, {360u, 1u}, {0u, 2u}}) {
        uint32_t status = EIS_SUCCESS;
        const std::string log = log_of([&, m = mount, p = position] {
            SensorDataHandler(info_at(500.0f, m, p), "Gyro", false, status);
        });
        EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(count_of(log, position > 1 ? "Invalid camera_position: 2"
                                             : "Invalid sensor_mount_angle: "),
                  1u);
        EXPECT_EQ(count_of(log, "Gyro: constructor failed. update_rotate()"), 1u);
    }
}

TEST(MultiSensorDataBuffer, LabelsRunsAndCapsTheirLength) {
    uint32_t status = EIS_SUCCESS;
    MultiSensorDataBuffer buffer(2, 4, 2, "OIS", status);
    ASSERT_EQ(status, EIS_SUCCESS);
    struct Row {
        uint32_t sensor;
        uint32_t run_length;
    };
    constexpr Row kRows[] = {{0, 1}, {0, 2}, {1, 1}, {0, 1}, {0, 2}, {0, 3}, {0, 4}, {0, 4}};
    for (const Row& row : kRows) {
        buffer.push({}, row.sensor);
        EXPECT_EQ(buffer.runs()->newest().sensor, row.sensor);
        EXPECT_EQ(buffer.runs()->newest().run_length, row.run_length);
    }
    EXPECT_EQ(MultiSensorDataBuffer(2, 4, 1, "OIS", status).runs(), nullptr);
    const std::string log = log_of([&] { MultiSensorDataBuffer(2, 0, 1, "OIS", status); });
    EXPECT_EQ(status, EIS_ERROR_NO_MEMORY);
    EXPECT_EQ(count_of(log, "OIS: constructor failed. Out of memory"), 1u);
}

// A stream that sensor i has at 100 * i Hz, so that sensor 0 does not have it.
class RisingRates : public MultiSensorInitInfo {
  public:
    using MultiSensorInitInfo::MultiSensorInitInfo;
    uint32_t get_frequency(uint32_t sensor) const override { return 100 * sensor; }
    float get_noise_floor(uint32_t) const override { return 0.0f; }
};

TEST(MultiSensorDataHandler, GivesASlotToEachSensorThatHasTheStream) {
    const is_init_common_data common = test::valid_common();
    const std::vector<is_init_sensor_data> sensors(17, test::valid_sensor());
    uint32_t status = EIS_SUCCESS;
    const MultiSensorDataHandler handler(RisingRates(common, sensors.data(), 3), "OIS", status);
    ASSERT_EQ(status, EIS_SUCCESS);
    EXPECT_EQ(handler.num_enabled(), 2u);
    EXPECT_EQ(handler.sensor_to_slot(0), MultiSensorDataHandler::kNoSlot);
    EXPECT_EQ(handler.sensor_to_slot(2), 1u);
    EXPECT_EQ(handler.sensor_to_slot(9), MultiSensorDataHandler::kNoSlot);
    EXPECT_STREQ(handler.handler(2)->name(), "OIS_#2");
    const auto samples = steady(1000000, 4);
    const std::string log =
        log_of([&] { EXPECT_TRUE(handler.is_valid(batch(samples), 0, 5, false, "OIS", false)); });
    EXPECT_EQ(count_of(log,
                       "OIS: frame_id 5 : Sensor #0 is disabled but 4 samples were received. "
                       "Samples will be ignored"),
              1u);
    const std::string too_many = log_of(
        [&] { MultiSensorDataHandler(RisingRates(common, sensors.data(), 17), "OIS", status); });
    EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT);
    EXPECT_EQ(count_of(too_many, "_num_sensors 17 exceeds EIS_MAX_NUM_SENSORS 16"), 1u);
}

TEST(GyroHandler, IntegratesByTheTrapezoidRule) {
    uint32_t status = EIS_SUCCESS;
    GyroHandler gyro(info_at(500.0f), status);  // the front camera upright keeps the axes
    ASSERT_EQ(status, EIS_SUCCESS);
    const std::vector<_sample_data_s> first = {{{1.0, 0.0, -2.0}, 1000000},
                                               {{3.0, 0.5, -2.0}, 1002000}};
    gyro.integrate_gyro(batch(first), false);
    ASSERT_EQ(gyro.samples().size(), 2u);
    EXPECT_EQ(gyro.samples()[0].data[0], 0.0);
    EXPECT_EQ(gyro.samples()[0].ts, 1000000u);
    // (1 + 3) / 2 rad/s over 2 ms
    EXPECT_DOUBLE_EQ(gyro.samples()[1].data[0], 0.004);
    EXPECT_DOUBLE_EQ(gyro.samples()[1].data[1], 0.0005);
    EXPECT_DOUBLE_EQ(gyro.samples()[1].data[2], -0.004);
    // The overlap is dropped sample by sample; a sample that is no number is passed over.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<_sample_data_s> second = {
        {{9.0, 9.0, 9.0}, 1002000}, {{nan, 0.0, 0.0}, 1003000}, {{3.0, 0.5, -2.0}, 1004000}};
    const std::string log = log_of([&] { gyro.integrate_gyro(batch(second), false); });
    EXPECT_EQ(count_of(log, "IS0017"), 1u);
    ASSERT_EQ(gyro.samples().size(), 3u);
    EXPECT_DOUBLE_EQ(gyro.samples()[2].data[0], 0.010);
}

TEST(GyroHandler, AStillDeviceKeepsItsOrientationAndStartsFromRest) {
    uint32_t status = EIS_SUCCESS;
    GyroHandler gyro(info_at(500.0f), status);
    const std::vector<_sample_data_s> moving = {{{1.0, 0.0, 0.0}, 1000000},
                                                {{1.0, 0.0, 0.0}, 1002000}};
    gyro.integrate_gyro(batch(moving), false);
    const std::vector<_sample_data_s> still = {{{1.0, 0.0, 0.0}, 1004000},
                                               {{1.0, 0.0, 0.0}, 1006000}};
    gyro.integrate_gyro(batch(still), true);
    // Half a step runs out from the last moving sample, then nothing.
    EXPECT_DOUBLE_EQ(gyro.samples()[2].data[0], 0.003);
    EXPECT_DOUBLE_EQ(gyro.samples()[3].data[0], 0.003);
    const std::vector<_sample_data_s> again = {{{1.0, 0.0, 0.0}, 1008000}};
    gyro.integrate_gyro(batch(again), false);
    EXPECT_DOUBLE_EQ(gyro.samples()[4].data[0], 0.004);
}

TEST(GyroHandler, HoldsSixFramesOfSamplesAndNeverFewerThan128) {
    EXPECT_EQ(gyro_buffer_capacity(0), 128u);
    EXPECT_EQ(gyro_buffer_capacity(200), 128u);
    EXPECT_EQ(gyro_buffer_capacity(500), 6u * 27u);
    EXPECT_EQ(gyro_buffer_capacity(1000), 6u * 53u);
}

}  // namespace
}  // namespace steadywarp
