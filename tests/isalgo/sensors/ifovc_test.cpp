// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "interface/eis_context.hpp"
#include "sensors/ifovc_handler.hpp"
#include "sensors/z_lens_position.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Positions 100, 50 and 0 at scales 1, 0.95 and 0.9, held above 0.92.
eis_z_lens_position three_entries() {
    eis_z_lens_position lens{};
    lens.enable = 1;
    lens.scale_source = kScaleFromTable;
    lens.lut_len = 3;
    lens.min_scale_limit = 0.92f;
    const float positions[] = {100.0f, 50.0f, 0.0f};
    const float scales[] = {1.0f, 0.95f, 0.9f};
    std::copy_n(positions, 3, lens.lut_z_lens_pos_tab);
    std::copy_n(scales, 3, lens.lut_scale_vs_z_lens_pos_tab);
    return lens;
}

TEST(ZLensPosition, ReadsTheTableWithItsEndsCrossed) {
    struct Row {
        double position, scale;
    };
    constexpr Row kRows[] = {
        {100.0, 1.0},       {75.0, 0.975}, {50.0, 0.95},
        {40.0, 0.94},       {10.0, 0.92},  // 0.91, raised
        {0.0, 0.92},                       // 0.9, raised
        {100.0000005, 0.9},                // above the table: its last entry, which is not raised
        {-0.0000005, 1.0},                 // below the table: its first entry
        {1e300, 0.9},       {-1e300, 1.0},
    };
    eis_z_lens_position lens = three_entries();
    for (const Row& row : kRows) {
        EXPECT_NEAR(scale_at_position(lens, row.position), row.scale, 1e-7) << row.position;
    }
    EXPECT_EQ(scale_at_position(lens, kNan), 1.0);
    lens.lut_len = 1000;
    EXPECT_EQ(lut_length(lens), 16u);
    lens.enable = 0;
    EXPECT_EQ(scale_at_position(lens, 75.0), 1.0);
}

TEST(ZLensPosition, IsCopiedOnlyBetweenTwoPlaces) {
    const eis_z_lens_position lens = three_entries();
    std::unique_ptr<eis_z_lens_position> copy;
    EXPECT_EQ(copy_eis_z_lens_position(&lens, &copy), EIS_SUCCESS);
    EXPECT_EQ(copy->lut_z_lens_pos_tab[1], 50.0f);
    const std::string log = log_of([&] {
        EXPECT_EQ(copy_eis_z_lens_position(nullptr, &copy), EIS_ERROR_GENERAL);
        EXPECT_EQ(copy_eis_z_lens_position(&lens, nullptr), EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(log, "[ERR]  IS0002"), 2u);
    EXPECT_EQ(count_of(log, "Copy To NULL requested"), 2u);
}

// A handler for sensors that all read their scale the same way, asked for [10000, 40000].
struct Bench {
    is_init_common_data common = valid_common();
    std::vector<is_init_sensor_data> sensors;
    uint32_t status = EIS_SUCCESS;
    std::unique_ptr<IFOVCHandler> handler;

    explicit Bench(uint32_t scale_source, uint32_t num_sensors = 1, uint16_t buffer_delay = 1) {
        common.is_ifovc_enabled = true;
        common.buffer_delay = buffer_delay;
        sensors.resize(num_sensors, valid_sensor());
        for (is_init_sensor_data& sensor : sensors) {
            sensor.tuning.top.ifovc_frequency = 120;
            sensor.tuning.z_lens_pos = three_entries();
            sensor.tuning.z_lens_pos.scale_source = scale_source;
        }
        build();
    }
    void build() {
        const IFOVCInitInfo info(common, sensors.data(), static_cast<uint32_t>(sensors.size()));
        handler = std::make_unique<IFOVCHandler>(info, status);
        for (uint32_t i = 0; i < sensors.size(); ++i) {
            if (handler->handler(i) != nullptr) {
                handler->handler(i)->set_requested_interval({10000, 40000});
            }
        }
    }
    void take(const std::vector<_sample_data_s>& samples, uint32_t sensor = 0, int32_t offset = 0) {
        handler->process_input({samples.data(), static_cast<uint32_t>(samples.size())}, sensor,
                               offset);
    }
    std::vector<double> scales(uint64_t first, uint64_t last, uint32_t sensor = 0,
                               uint32_t frame_time = 33333) {
        InterpRequest request;
        request.first_ts = first;
        request.last_ts = last;
        request.num_rows = 5;
        request.sensor = sensor;
        std::vector<double> out(5);
        handler->get_scales(request, frame_time, out.data());
        return out;
    }
};

TEST(IfovcHandler, ReadsScalesAtRowTimes) {
    Bench by_sample(kScaleFromSample);
    by_sample.take({{{0, 0.9}, 10000}, {{0, 1.0}, 20000}, {{0, 1.2}, 30000}});
    // Rows at 5, 10, 15, 20 and 25 ms: before the stream, on it, and above 1.
    std::vector<double> scales;
    std::string log = log_of([&] { scales = by_sample.scales(10000, 20000); });
    const std::vector<double> expected = {0.9, 0.9, 0.95, 1.0, 1.0};
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(scales[i], expected[i], 1e-12) << i;
    }
    EXPECT_EQ(count_of(log, "iFOVC: frame #0: Too many points extrapolated"), 1u) << log;
    // The same above 33 frames a second: nobody is told.
    EXPECT_EQ(log_of([&] { by_sample.scales(10000, 20000, 0, 16667); }), "");

    Bench by_table(kScaleFromTable);
    by_table.take({{{100, 0}, 10000}, {{50, 0}, 20000}, {{50, 0}, 30000}});
    scales = by_table.scales(11000, 19000);
    EXPECT_NEAR(scales[2], 0.975, 1e-7);
    // 4 ms a step: the first and last rows lie 3 ms before the stream and 3 ms behind its move.
    EXPECT_NEAR(scales[0], 1.0, 1e-7);
    EXPECT_NEAR(scales[4], 0.95, 1e-7);
}

TEST(IfovcHandler, ShiftsTimesAndPassesOverWhatIsNoNumber) {
    Bench bench(kScaleFromSample);
    const std::string log = log_of([&] {
        bench.take({{{0, 0.5}, 10000}, {{kNan, 0.5}, 12000}, {{0, kNan}, 14000}}, 0, 4000);
    });
    EXPECT_EQ(count_of(log, "[ERR]  IS0017"), 2u) << log;
    EXPECT_EQ(count_of(log,
                       "IFOVC: Invalid (NaN) sample at index: 2, check issue from AF IFOVC. "
                       "sample is ignored"),
              1u);
    ASSERT_EQ(bench.handler->samples().size(), 1u);
    EXPECT_EQ(bench.handler->samples().newest().ts, 6000u);
    // The gate remembers the unshifted time: nothing at or before it is taken again.
    EXPECT_EQ(bench.handler->handler(0)->last_sample().ts, 10000u);
    bench.take({{{0, 0.6}, 9999}, {{0, 0.7}, 10000}, {{0, 0.8}, 10001}}, 0, 4000);
    EXPECT_EQ(bench.handler->samples().size(), 2u);
    EXPECT_EQ(bench.handler->samples().newest().data[1], 0.8);
    bench.handler->reset();
    EXPECT_TRUE(bench.handler->samples().is_empty());
    EXPECT_EQ(bench.handler->handler(0)->last_sample().ts, 0u);
}

TEST(IfovcHandler, GivesNoScaleThatHasNoWayBack) {
    Bench empty(kScaleFromSample);
    std::vector<double> scales;
    const std::string log = log_of([&] { scales = empty.scales(10000, 20000); });
    EXPECT_EQ(scales, std::vector<double>(5, 1.0));
    EXPECT_EQ(count_of(log, "Invalid iFOVC scale[4] (0.000000), check issue from AF IFOVC"), 1u);
    // Two infinities have no number between them.
    Bench infinite(kScaleFromSample);
    const double inf = std::numeric_limits<double>::infinity();
    infinite.take({{{0, inf}, 1000}, {{0, inf}, 100000}});
    log_of([&] { scales = infinite.scales(10000, 20000); });
    EXPECT_EQ(scales, std::vector<double>(5, 1.0));
}

TEST(IfovcHandler, KeepsTwoSensorsLensesApart) {
    Bench bench(kScaleFromSample, 2);
    bench.take({{{0, 0.9}, 10000}, {{0, 0.9}, 20000}}, 0);
    bench.take({{{0, 0.7}, 24000}, {{0, 0.7}, 34000}}, 1);
    bench.take({{{0, 0.8}, 38000}, {{0, 0.8}, 48000}}, 0);
    // 20 to 38 ms: no sample of sensor 0, whose two neighbours may not be mixed with the other's.
    std::vector<double> first, second;
    log_of([&] {
        first = bench.scales(18000, 44000, 0);
        second = bench.scales(25000, 33000, 1);
    });
    for (const double scale : first) {
        EXPECT_TRUE(scale == 0.9 || scale == 0.8) << scale;
    }
    EXPECT_EQ(second, std::vector<double>(5, 0.7));
}

TEST(IfovcHandler, StepsItsDelayLineWithAndWithoutSamples) {
    Bench bench(kScaleFromSample, 1, 3);
    std::vector<uint32_t> states;
    for (uint64_t f = 0; f < 4; ++f) {
        bench.take(f % 2 == 0 ? std::vector<_sample_data_s>{{{0, 1.0}, 1000 * (f + 1)}}
                              : std::vector<_sample_data_s>{});
        states.push_back(bench.handler->state());
    }
    const std::vector<uint32_t> expected = {kStateFilling, kStateFilling, kStateRunning,
                                            kStateRunning};
    EXPECT_EQ(states, expected);
    bench.handler->reset();
    EXPECT_EQ(bench.handler->state(), uint32_t{kStateFirstFrame});
    Bench short_line(kScaleFromSample);
    short_line.take({});
    EXPECT_EQ(short_line.handler->state(), uint32_t{kStateRunning});
}

TEST(DelayLine, HoldsBackOneFrameLessThanItsSize) {
    for (const uint32_t size : {0u, 1u, 2u, 3u, 9u}) {
        DelayLine line(size);
        for (uint32_t frame = 0; frame < 12; ++frame) {
            EXPECT_TRUE(line.add_frame());
            EXPECT_EQ(line.take_output() == DelayLine::kCore, frame + 1 >= size)
                << "frame " << frame << " of size " << size;
        }
        EXPECT_EQ(line.pending(), std::max(size, 1u) - 1);
    }
}

TEST(DelayLine, ReportsFramesAfterItsEnd) {
    DelayLine line(4);
    for (uint32_t frame = 0; frame < 4; ++frame) {
        EXPECT_TRUE(line.add_frame());
        line.take_output();
    }
    ASSERT_EQ(line.pending(), 3u);
    line.take_output();
    ASSERT_EQ(line.state(), uint32_t{kStateDraining});
    EXPECT_FALSE(line.add_frame());
    EXPECT_EQ(line.state(), uint32_t{kStateError});
    EXPECT_EQ(line.pending(), 2u);
    EXPECT_FALSE(line.add_frame());
    line.reset();
    EXPECT_TRUE(line.add_frame());
}

TEST(IfovcHandler, JudgesABatch) {
    using Batch = std::vector<_sample_data_s>;
    struct Row {
        const char* what;
        uint32_t scale_source;
        Batch batch;
        bool valid;
        const char* text;  // all of the message that matters
        size_t lines;
    };
    const Batch still = {{{50, 0.9}, 12000}, {{50, 0.9}, 22000}};
    const std::vector<Row> rows = {
        {"two at rest", kScaleFromSample, still, true, "", 0},
        {"moving, two",
         kScaleFromSample,
         {{{50, 0.9}, 12000}, {{51, 0.9}, 22000}},
         true,
         "low number IFOVC samples during data change. Number of samples: 2, Expected: 4 ",
         1},
        {"moving, four",
         kScaleFromSample,
         {{{50, 0.9}, 12000}, {{51, 0.9}, 18000}, {{52, 0.9}, 24000}, {{53, 0.9}, 40000}},
         true,
         "",
         0},
        {"one",
         kScaleFromSample,
         {{{50, 0.9}, 10000}},
         true,
         "[HIGH] IS0521: V2: report_window(",
         1},
        {"one, in words",
         kScaleFromSample,
         {{{50, 0.9}, 10000}},
         true,
         "iFOVC : frame_id 7: Sensor #0 low number of IFOVC samples. Number of samples: 1, "
         "expected: 2 . Requested Interval: [10000,40000]",
         1},
        {"outside the interval",
         kScaleFromSample,
         {{{50, 0.9}, 9999}, {{50, 0.9}, 40001}},
         true,
         "iFOVC : frame_id 7: Sensor #0 has 0 IFOVC samples. . Requested Interval: [10000,40000]",
         2},
        {"and the frame before had none",
         kScaleFromSample,
         {{{50, 0.9}, 9999}},
         true,
         "iFOVC : frame_id 7: Sensor #0 has two consecutive frames without data.Suspecting end of "
         "stream.",
         2},
        {"a scale of 0",
         kScaleFromSample,
         {{{50, 0.0}, 12000}, {{50, 0.9}, 22000}},
         false,
         "iFOVC : frame_id 7: Sensor #0 invalid input, scale factor value is below 0: 0.000000",
         2},
        {"a scale of 1", kScaleFromSample, {{{50, 1.0}, 12000}, {{50, 1.0}, 22000}}, true, "", 0},
        {"a scale above 1",
         kScaleFromSample,
         {{{50, 1.5}, 12000}, {{50, 0.9}, 22000}},
         true,
         "[HIGH] IS0530: V2: check_value(",
         1},
        {"falling times",
         kScaleFromSample,
         {{{50, 0.9}, 22000}, {{50, 0.9}, 12000}},
         true,
         "[ERR]  IS0524",
         1},
        {"equal times, other data",
         kScaleFromSample,
         {{{50, 0.9}, 12000}, {{50, 0.8}, 12000}},
         true,
         "iFOVC: frame_id 7: Time stamps are equal but data samples are not: (12000; ",
         2},
        {"at the table's ends",
         kScaleFromTable,
         {{{100.0000009, 0}, 12000}, {{100.0000009, 0}, 22000}},
         true,
         "",
         0},
        {"beyond the table's ends",
         kScaleFromTable,
         {{{-0.1, 0}, 12000}, {{-0.1, 0}, 22000}},
         true,
         "IFOVC lens position is out of the calibrated range [-0.000001,100.000001]: -0.100000",
         2},
    };
    for (const Row& row : rows) {
        Bench bench(row.scale_source);
        ASSERT_EQ(bench.status, EIS_SUCCESS);
        bool valid = !row.valid;
        const std::string log = log_of([&] {
            valid = bench.handler->is_valid(
                {row.batch.data(), static_cast<uint32_t>(row.batch.size())}, 0, 7);
        });
        EXPECT_EQ(valid, row.valid) << row.what << log;
        EXPECT_NE(log.find(row.text), std::string::npos) << row.what << log;
        EXPECT_EQ(count_of(log, "\n"), row.lines) << row.what << log;
    }
    Bench bench(kScaleFromSample);
    std::string log = log_of([&] { EXPECT_FALSE(bench.handler->is_valid({nullptr, 3}, 0, 7)); });
    EXPECT_EQ(count_of(log, "num_elements > 0 but samples array is NULL"), 1u) << log;
    EXPECT_EQ(count_of(log, "iFOVC: frame_id 7 : Invalid data from sensor #0"), 1u) << log;
    log = log_of([&] { EXPECT_TRUE(bench.handler->is_valid({nullptr, 3}, 5, 7)); });
    EXPECT_EQ(count_of(log, "Sensor #5 is disabled but 3 samples were received"), 1u) << log;
    EXPECT_EQ(log_of([&] { EXPECT_TRUE(bench.handler->is_valid({}, 0, 7)); }), "");
}

TEST(IfovcHandler, IsQuietAtHighRatesOnceTwoSamplesWereThere) {
    Bench bench(kScaleFromSample);
    const std::vector<_sample_data_s> two = {{{50, 0.9}, 12000}, {{50, 0.9}, 22000}};
    const std::vector<_sample_data_s> one = {{{50, 0.9}, 12000}};
    bench.take(two);
    bench.scales(12000, 22000, 0, 16667);
    const auto judge = [&](const std::vector<_sample_data_s>& batch) {
        return log_of([&] {
            bench.handler->is_valid({batch.data(), static_cast<uint32_t>(batch.size())}, 0, 7);
        });
    };
    // No sample is new; the frame before had none in its interval.
    EXPECT_EQ(count_of(judge(two),
                       "Bad input - Did not receive new samples: last sample timestamp "
                       "22000 ; last sample timestamp from input 22000 ; input number "
                       "of elements 2. "),
              1u);
    EXPECT_EQ(judge(one), "");
    EXPECT_NE(judge(one), "");
}

// A sensor whose samples carry their scale.
struct FocusSession {
    is_init_common_data common = valid_common();
    is_init_sensor_data sensor = valid_sensor();

    FocusSession() {
        common.is_ifovc_enabled = true;
        sensor.tuning.top.ifovc_frequency = 120;
        sensor.tuning.z_lens_pos.enable = 1;
        sensor.tuning.z_lens_pos.min_scale_limit = 0.95f;
    }
    void fill(Stream& stream) const {
        stream.samples = sampled(constant_rate(0.02, 0.0, 0.0), 1000000, 6000000, 2000);
        stream.ifovc_samples = sampled(constant_rate(0.0, 0.96, 0.0), 1000000, 6000000, 8000);
    }
};

TEST(IfovcStream, AsksForSamplesFromTheLastOneOn) {
    FocusSession focus;
    focus.sensor.tuning.timing.ifovc_offset = 2000;
    Instance instance(focus.common, {focus.sensor});
    ASSERT_EQ(instance.status(), EIS_SUCCESS);
    Stream stream(instance.get());
    focus.fill(stream);
    OutputMemory memory;
    const FrameResult first = stream.frame(2000000, memory);
    ASSERT_EQ(first.process_status, EIS_SUCCESS);
    // Offset less half the exposure, a tenth of a frame, and 3 ms ahead.
    EXPECT_EQ(first.intervals.ifovc.first_ts, 2000000u - 3000 - 3333 - 3000);
    EXPECT_EQ(first.intervals.ifovc.last_ts, first.intervals.gyro.last_ts);
    // The last one asked for lies at or before 2028350.
    const FrameResult second = stream.frame(2033333, memory);
    EXPECT_EQ(second.intervals.ifovc.first_ts, 2024000u - 3000);
    // A stream ahead of the gyroscope's goes on where that does.
    SensorDataHandler& own = *instance.get()->_samplers.ifovc->handler(0);
    own.set_last_sample({{}, 9000000});
    is_frame_times times = stream.times;
    times.sof = 2066666;
    is_time_intervals intervals{};
    ASSERT_EQ(eis2_get_time_intervals(instance.get(), &times, 0, &intervals), EIS_SUCCESS);
    EXPECT_EQ(intervals.ifovc.first_ts, intervals.gyro.first_ts - 3000);
    EXPECT_EQ(own.requested_interval().first_ts, intervals.ifovc.first_ts);
    // One more than 200 ms behind starts over.
    for (const uint64_t behind : {200000u, 200001u}) {
        own.set_last_sample({{}, intervals.gyro.first_ts - behind});
        is_time_intervals again{};
        ASSERT_EQ(eis2_get_time_intervals(instance.get(), &times, 0, &again), EIS_SUCCESS);
        EXPECT_EQ(again.ifovc.first_ts, behind == 200000 ? intervals.gyro.first_ts - behind - 3000
                                                         : 2066666u - 3000 - 3333 - 3000);
    }
}

TEST(IfovcStream, WantsItsSamplesTogetherWithTheGyroscopes) {
    const FocusSession focus;
    Instance instance(focus.common, {focus.sensor});
    Stream stream(instance.get());
    focus.fill(stream);
    const std::vector<_sample_data_s> all = stream.ifovc_samples;
    OutputMemory memory;
    stream.ifovc_samples.clear();
    std::string log = log_of(
        [&] { EXPECT_EQ(stream.frame(2000000, memory).process_status, EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "Invalid first frame, no iFOVC data!"), 1u) << log;
    stream.ifovc_samples = all;
    log = log_of([&] { EXPECT_EQ(stream.frame(2033333, memory).process_status, EIS_SUCCESS); });
    EXPECT_EQ(log, "");
    EXPECT_EQ(instance.get()->_samplers._ifovc_scales[13], 0.96);
    stream.ifovc_samples.clear();
    log = log_of(
        [&] { EXPECT_EQ(stream.frame(2066666, memory).process_status, EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "Sensor #0 : iFOVC and Gyro samples mismatch. iFOVC (0) or gyro (18)"),
              1u)
        << log;
    // A value that the frame cannot do with.
    stream.ifovc_samples = all;
    for (_sample_data_s& sample : stream.ifovc_samples) {
        sample.data[1] = -1.0;
    }
    log = log_of(
        [&] { EXPECT_EQ(stream.frame(2099999, memory).process_status, EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "Errors in iFOVC samples were found"), 1u) << log;
    // The stream ends, and begins anew.
    stream.ifovc_samples = all;
    log_of([&] {
        EXPECT_EQ(stream.frame(2133332, memory).process_status, EIS_SUCCESS);
        EXPECT_EQ(stream.frame(2166665, memory, false).process_status, EIS_SUCCESS);
    });
    log = log_of([&] { EXPECT_EQ(stream.frame(2199998, memory).process_status, EIS_SUCCESS); });
    EXPECT_EQ(count_of(log, "\n"), 1u) << log;
    EXPECT_EQ(count_of(log, "Pause-Resume or New-Stream: 0, 1, 2, 1"), 1u) << log;
}

TEST(IfovcStream, ASensorWithoutItIsLeftAlone) {
    FocusSession focus;
    is_init_sensor_data without = focus.sensor;
    without.tuning.z_lens_pos.enable = 0;
    Instance instance(focus.common, {focus.sensor, without});
    Stream stream(instance.get());
    focus.fill(stream);
    OutputMemory memory;
    stream.frame(2000000, memory);
    const NcLibWarpGridCoord scaled = memory.distortion_grid[36];
    stream.sensor = 1;
    const FrameResult other = stream.frame(2033333, memory);
    EXPECT_EQ(other.process_status, EIS_SUCCESS);
    EXPECT_EQ(other.intervals.ifovc.last_ts, 0u);
    // Content magnified by 1 / 0.96 is read from further out.
    EXPECT_NEAR(memory.distortion_grid[36].x, -960.0, 0.1);
    EXPECT_NEAR(scaled.x, -960.5 / 0.96 + 0.5, 0.1);
}

TEST(IfovcStream, ShrinksTheBoundaryByTheScale) {
    FocusSession focus;
    Instance instance(focus.common, {focus.sensor});
    Stream stream(instance.get());
    focus.fill(stream);
    stream.samples = sampled(constant_rate(0.0, 0.0, 0.0), 1000000, 6000000, 2000);
    OutputMemory memory;
    ASSERT_EQ(stream.frame(2000000, memory).process_status, EIS_SUCCESS);
    const BoundingBox& box = instance.get()->distortion.stage.boundary();
    // About (959, 539), the halves of 1919 and 1079 cut to whole pixels.
    EXPECT_NEAR(box.points[0].x, 959.0 - 959.0 * 0.96, 1e-9);
    EXPECT_NEAR(box.points[0].y, 539.0 - 539.0 * 0.96, 1e-9);
    EXPECT_NEAR(box.points[8].x, 959.0 + 960.0 * 0.96, 1e-9);
    EXPECT_NEAR(box.points[8].y, 539.0 + 540.0 * 0.96, 1e-9);
}

}  // namespace
}  // namespace steadywarp::test
