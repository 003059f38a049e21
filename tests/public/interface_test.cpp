// SPDX-License-Identifier: Apache-2.0
// The exported functions one by one: arguments, configuration, queries and their log lines.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "support/records.hpp"
#include "support/scenarios.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

TEST(Version, IsWrittenOnlyIntoThreePlaces) {
    uint32_t major = 9, minor = 9, patch = 9;
    const std::string log = log_of(
        [&] { EXPECT_EQ(eis_get_lib_version(&major, nullptr, &patch), EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "[ERR]  IS0003: V2: eis_get_lib_version("), 1u) << log;
    EXPECT_EQ(count_of(log, "): NULL Input\n"), 1u) << log;
    EXPECT_EQ(major, 9u);
    EXPECT_EQ(eis_get_lib_version(&major, &minor, &patch), EIS_SUCCESS);
    EXPECT_EQ(major * 100 + minor * 10 + patch, 132u);
}

TEST(Entries, RefuseNullWithOneLine) {
    Instance instance(valid_common(), {valid_sensor()});
    ASSERT_EQ(instance.status(), EIS_SUCCESS);
    eis_context* context = instance.get();
    const is_frame_times times = {1000000, 33333, 10000, 25000};
    is_time_intervals intervals{};
    is_time_interval gyro{};
    is_margins margins{};
    is_margin_query query{};
    double ratio = 0.0;
    is_input input{};
    is_output output{};
    is_init_common_data common = valid_common();
    const is_init_sensor_data sensor = valid_sensor();
    eis_context* made = nullptr;
    const std::vector<std::function<uint32_t()>> calls = {
        [&] { return eis2_get_time_intervals(nullptr, &times, 0, &intervals); },
        [&] { return eis2_get_time_intervals(context, nullptr, 0, &intervals); },
        [&] { return eis2_get_time_intervals(context, &times, 0, nullptr); },
        [&] { return eis_internal_get_gyro_samples_time_interval(context, nullptr, 0, &gyro); },
        [&] {
            return eis_internal_get_gyro_ois_samples_time_interval(context, &times, 0, &gyro,
                                                                   nullptr);
        },
        [&] { return eis2_get_stabilization_margin(context, 0, nullptr); },
        [&] { return eis2_get_stabilization_margin(nullptr, 0, &margins); },
        [&] { return eis2_get_stabilization_margin_ex(nullptr, &margins); },
        [&] { return eis2_get_stabilization_crop_ratio_ex(&query, &ratio, nullptr); },
        [&] { return eis2_process(nullptr, &input, &output); },
        [&] { return eis2_process(context, nullptr, &output); },
        [&] { return eis2_process(context, &input, nullptr); },
        [&] { return eis_internal_process_distortion_correction(context, nullptr, nullptr); },
        [&] { return eis_internal_process_stabilize(context, nullptr, nullptr); },
    };
    for (size_t i = 0; i < calls.size(); ++i) {
        const std::string log =
            log_of([&] { EXPECT_EQ(calls[i](), EIS_ERROR_INVALID_INPUT) << i; });
        EXPECT_EQ(count_of(log, "\n"), 1u) << log;
        EXPECT_EQ(count_of(log, "NULL input"), 1u) << log;
    }
    for (const uint32_t status :
         {eis2_initialize(nullptr, &common, &sensor, 1),
          eis2_initialize(&made, nullptr, &sensor, 1), eis2_initialize(&made, &common, nullptr, 1),
          eis2_initialize(&made, &common, &sensor, 0)}) {
        EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(made, nullptr);
    }
}

TEST(Lifecycle, ReleasesOnceAndLogsTheSecondTime) {
    const is_init_common_data common = valid_common();
    const is_init_sensor_data sensor = valid_sensor();
    // What the caller left in the pointer is never read.
    eis_context* context = reinterpret_cast<eis_context*>(uintptr_t{0x1});
    EXPECT_EQ(log_of([&] { eis2_initialize(&context, &common, &sensor, 1); }), "");
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(eis2_deinitialize(&context), EIS_SUCCESS);
    EXPECT_EQ(context, nullptr);
    std::string log = log_of([&] { EXPECT_EQ(eis2_deinitialize(&context), EIS_SUCCESS); });
    EXPECT_EQ(count_of(log, "[HIGH] IS1025"), 1u);
    EXPECT_EQ(count_of(log, "Freed context was passed to destroy"), 1u);
    log = log_of([&] { EXPECT_EQ(eis2_deinitialize(nullptr), EIS_SUCCESS); });
    EXPECT_EQ(count_of(log, "NULL context was passed to destroy"), 1u);

    is_init_common_data bad = common;
    bad.output_width = 0;
    context = reinterpret_cast<eis_context*>(uintptr_t{0x1});
    EXPECT_EQ(eis2_initialize(&context, &bad, &sensor, 1), EIS_ERROR_INVALID_INPUT);
    EXPECT_EQ(context, nullptr);
}

TEST(Initialize, AnswersByWhatItsTestsCount) {
    using Common = is_init_common_data;
    using Sensor = is_init_sensor_data;
    struct Row {
        const char* what;
        std::function<void(Common&, Sensor&)> spoil;
        uint32_t status;
        std::string last_lines;
    };
    const std::string never_made =
        "[ERR] IS0002 eis3_init() failed|[HIGH] IS1025 Freed context was passed to destroy|";
    const std::string refused =
        "[ERR] IS0003 Invalid input structs for algorithm initialization (# errors, # warnings # "
        "info) : (1, 0, 0)|[ERR] IS0003 Validation functions failed|" +
        never_made;
    const std::string sub_optimal =
        "[HIGH] IS1026 Input structs for algorithm initialization are sub-optimal (# errors, # "
        "warnings # info) : ";
    const std::string not_built =
        "[ERR] IS0004 eis_context() constructor failed|[ERR] IS0002 eis3_init() failed|";
    const std::vector<Row> rows = {
        {"right", [](Common&, Sensor&) {}, EIS_SUCCESS, ""},
        {"no such type", [](Common& c, Sensor&) { c.is_type = 3; }, EIS_ERROR_INVALID_INPUT,
         "[ERR] IS0003 Invalid input|" + never_made},
        {"an error", [](Common& c, Sensor&) { c.operation_mode = 104; }, EIS_ERROR_INVALID_INPUT,
         refused},
        {"a warning", [](Common& c, Sensor&) { c.frame_fps = 25; }, EIS_SUCCESS,
         sub_optimal + "(0, 1, 0)|"},
        {"an info", [](Common& c, Sensor&) { c.is_ois_enabled = true; }, EIS_SUCCESS,
         sub_optimal + "(0, 0, 1)|"},
        // Beyond the tests: what cannot be built.
        {"an awkward mount angle", [](Common&, Sensor& s) { s.sensor_mount_angle = 45; },
         EIS_ERROR_NO_MEMORY, "[ERR] IS0002 eis_context constructor failed|" + not_built},
        {"look-ahead, which there is none of",
         [](Common& c, Sensor&) {
             c.is_type = IS_TYPE_EIS_3_0;
             c.buffer_delay = 5;
         },
         EIS_ERROR_NO_MEMORY,
         "[ERR] IS0002 Failed to allocate filter|[ERR] IS0002 init_filter() failed|[ERR] IS0002 "
         "_eis constructor has failed|[ERR] IS0002 eis_context_stabilize constructor failed|" +
             not_built},
    };
    for (const Row& row : rows) {
        Common common = valid_common();
        Sensor sensor = valid_sensor();
        row.spoil(common, sensor);
        eis_context* context = nullptr;
        uint32_t status = 0;
        const std::string log =
            log_of([&] { status = eis2_initialize(&context, &common, &sensor, 1); });
        EXPECT_EQ(status, row.status) << row.what << "\n" << log;
        EXPECT_EQ(context != nullptr, status == EIS_SUCCESS) << row.what;
        std::string lines;
        for (const std::string& line : plain_lines(log)) {
            lines += line + "|";
        }
        EXPECT_TRUE(lines.ends_with(row.last_lines)) << row.what << "\n" << lines;
        EXPECT_EQ(lines.empty(), row.last_lines.empty()) << row.what << "\n" << lines;
        if (context != nullptr) {
            eis2_deinitialize(&context);
        }
    }
}

TEST(Initialize, LooksAtAllSensorsEvenWhenThereAreTooMany) {
    std::vector<is_init_sensor_data> sensors(17, valid_sensor());
    sensors[16].tuning.general.focal_length = 1;
    sensors[3].camera_position = 1;
    sensors[5].tuning.general.gyro_noise_floor = 0.5f;
    const std::string log = log_of(
        [&] { EXPECT_EQ(Instance(valid_common(), sensors).status(), EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(log, "num_sensors 17 exceeds EIS_MAX_NUM_SENSORS 16"), 1u);
    EXPECT_EQ(count_of(log, "sensor #16: 1"), 1u);
    EXPECT_EQ(count_of(log, "Cannot change camera position between sensors - #3"), 1u);
    EXPECT_EQ(count_of(log, "Using sensor #0 value: 0.003"), 1u);
    EXPECT_EQ(count_of(log, "(2, 0, 1)"), 1u) << log;
}

TEST(CropSize, ShrinksToTheMarginsAndRoundsToEven) {
    struct Row {
        uint32_t in_w, in_h, out_w, out_h;
        float margin_x, margin_y;
        uint32_t crop_w, crop_h;
    };
    constexpr Row kRows[] = {
        {1920, 1080, 1920, 1080, 0.1f, 0.1f, 1728, 972},
        {1920, 1080, 1280, 720, 0.1f, 0.1f, 1280, 720},  // room to spare
        {1920, 1080, 1281, 719, 0.1f, 0.1f, 1282, 720},  // halves away from zero
        // 1080 of 1296 * 0.8 = 1036.8: the height leads, 1843.2 by 1036.8.
        {2304, 1296, 1920, 1080, 0.1f, 0.2f, 1844, 1036},
        {1920, 1080, 3840, 2160, 0.2f, 0.2f, 1536, 864},
        {1920, 1440, 1920, 1080, 0.1f, 0.1f, 1728, 972},
    };
    for (const Row& row : kRows) {
        uint32_t height = 0;
        uint32_t width = 0;
        eis_internal_get_crop_size(row.in_h, row.in_w, row.out_h, row.out_w, &height, &width,
                                   row.margin_y, row.margin_x);
        EXPECT_EQ(width, row.crop_w) << row.out_w;
        EXPECT_EQ(height, row.crop_h) << row.out_h;
    }
    eis_internal_get_crop_size(1, 1, 1, 1, nullptr, nullptr, 0.0f, 0.0f);
    // Nonsense gives numbers all the same.
    uint32_t w = 0, h = 0;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    eis_internal_get_crop_size(0, 0, 0, 0, &h, &w, nan, 1.0f);
    eis_internal_get_crop_size(1, 1, UINT32_MAX, UINT32_MAX, &h, &w, -1e30f, 2.0f);
}

TEST(Margins, AreWhatTheCropLeaves) {
    const is_margin_query query = {1080, 1920, false, 1080, 1920, 0.1f, 0.1f};
    is_margins margins{};
    ASSERT_EQ(eis2_get_stabilization_margin_ex(&query, &margins), EIS_SUCCESS);
    EXPECT_EQ(margins.margin_x, 192u);
    EXPECT_EQ(margins.margin_y, 108u);
    double x = 0.0, y = 0.0;
    ASSERT_EQ(eis2_get_stabilization_crop_ratio_ex(&query, &x, &y), EIS_SUCCESS);
    EXPECT_DOUBLE_EQ(x, 0.9);
    EXPECT_DOUBLE_EQ(y, 0.9);

    Instance instance(valid_common(), {valid_sensor()});
    margins = {};
    ASSERT_EQ(eis2_get_stabilization_margin(instance.get(), 0, &margins), EIS_SUCCESS);
    EXPECT_EQ(margins.margin_x, 192u);
    std::string log = log_of([&] {
        EXPECT_EQ(eis2_get_stabilization_margin(instance.get(), 1, &margins),
                  EIS_ERROR_INVALID_INPUT);
    });
    EXPECT_EQ(count_of(log, "Invalid num sensors"), 1u);
    is_init_common_data common = valid_common();
    common.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
    Instance distortion_only(common, {valid_sensor()});
    log = log_of([&] {
        EXPECT_EQ(eis2_get_stabilization_margin(distortion_only.get(), 0, &margins), EIS_SUCCESS);
    });
    EXPECT_EQ(count_of(log, "[ERR]  IS0530"), 1u);
}

TEST(TimeIntervals, CoverTheFrameWithReserve) {
    struct Row {
        const char* what;
        int32_t s3d_offset;
        uint32_t gyro_hz;
        is_frame_times times;
        uint64_t first, last;
    };
    // By hand: early = s3d - exposure / 2; P = 1.05 / f; first = sof + min(early, 0) - period / 10
    // - 2 P; last = sof + max(early, 0) + 1.05 read-out + P.
    constexpr Row kRows[] = {
        {"500 Hz: P 2100",
         0,
         500,
         {1000000, 33333, 10000, 25000},
         1000000 - 5000 - 3333 - 4200,
         1000000 + 26250 + 2100},
        {"200 Hz: P at most 4000",
         0,
         200,
         {1000000, 33333, 10000, 25000},
         1000000 - 5000 - 3333 - 8000,
         1000000 + 26250 + 4000},
        {"a late gyro",
         8000,
         500,
         {1000000, 33333, 10000, 25000},
         1000000 - 3333 - 4200,
         1000000 + 3000 + 26250 + 2100},
        {"an early gyro",
         -8000,
         500,
         {1000000, 33333, 10001, 25000},
         1000000 - 13000 - 3333 - 4200,
         1000000 + 26250 + 2100},
        {"close to the clock's start", 0, 500, {5000, 33333, 10000, 25000}, 0, 5000 + 26250 + 2100},
        {"no read-out: two periods behind the first",
         0,
         500,
         {1000000, 1000, 100, 0},
         1000000 - 50 - 100 - 4200,
         1000000 + 2100},
    };
    for (const Row& row : kRows) {
        is_init_sensor_data sensor = valid_sensor();
        sensor.tuning.timing.s3d_offset = row.s3d_offset;
        sensor.tuning.top.gyro_frequency = row.gyro_hz;
        Instance instance(valid_common(), {sensor});
        is_time_intervals intervals{};
        ASSERT_EQ(eis2_get_time_intervals(instance.get(), &row.times, 0, &intervals), EIS_SUCCESS);
        EXPECT_EQ(intervals.gyro.first_ts, row.first) << row.what;
        EXPECT_EQ(intervals.gyro.last_ts, row.last) << row.what;
        EXPECT_EQ(intervals.ois.last_ts, 0u);
        EXPECT_EQ(intervals.ifovc.last_ts, 0u);
    }
}

TEST(TimeIntervals, RefuseABadSensorAndBadTimes) {
    Instance instance(valid_common(), {valid_sensor()});
    const is_frame_times times = {1000000, 33333, 10000, 25000};
    is_time_intervals intervals{};
    std::string log = log_of([&] {
        EXPECT_EQ(eis2_get_time_intervals(instance.get(), &times, 3, &intervals),
                  EIS_ERROR_INVALID_INPUT);
    });
    EXPECT_EQ(count_of(log, "IS0014: V2: is_valid_input_get_time_intervals("), 1u);
    EXPECT_EQ(count_of(log, "Invalid sensor index - 3"), 1u);
    EXPECT_EQ(count_of(log, "Found 1 errors"), 1u);
    // A start of frame of 0 equals the one before the first.
    const is_frame_times zero = {0, 33333, 10000, 25000};
    log = log_of([&] {
        EXPECT_EQ(eis2_get_time_intervals(instance.get(), &zero, 0, &intervals),
                  EIS_ERROR_INVALID_INPUT);
    });
    EXPECT_EQ(count_of(log, "IS0515"), 1u) << log;
    EXPECT_EQ(count_of(log, "IS0008"), 1u) << log;
    EXPECT_EQ(count_of(log, "Invalid frame times"), 1u) << log;
}

TEST(TimeIntervals, DeprecatedQueriesSaySoAndAnswer) {
    Instance instance(valid_common(), {valid_sensor()});
    const is_frame_times times = {1000000, 33333, 10000, 25000};
    is_time_interval gyro{};
    is_time_interval ois = {1, 2};
    std::string log = log_of([&] {
        EXPECT_EQ(eis2_get_gyro_time_interval(instance.get(), &times, 0, &gyro), EIS_SUCCESS);
    });
    EXPECT_EQ(count_of(log, "[ERR]  IS0530: V2: eis2_get_gyro_time_interval("), 1u) << log;
    EXPECT_EQ(count_of(log, "Deprecated API. Use eis2_get_time_intervals() instead"), 1u);
    EXPECT_EQ(gyro.first_ts, 987467u);
    gyro = {};
    log = log_of([&] {
        EXPECT_EQ(eis2_get_gyro_ois_time_interval(instance.get(), &times, 0, &gyro, &ois),
                  EIS_SUCCESS);
    });
    EXPECT_EQ(count_of(log, "Function is called while OIS is disabled"), 1u);
    EXPECT_EQ(gyro.first_ts, 987467u);
    EXPECT_EQ(ois.first_ts, 1u);
}

}  // namespace
}  // namespace steadywarp::test
