// SPDX-License-Identifier: Apache-2.0
#include "sensors/resampling.hpp"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <vector>

#include "support/records.hpp"

namespace steadywarp {
namespace {

using test::count_of;
using test::log_of;

TEST(TimestampInterpolation, PutsTheFrameBetweenTheSecondAndTheLastButOneRow) {
    struct Row {
        uint64_t first, last;
        uint32_t n;
        std::vector<uint64_t> times;
    };
    const std::vector<Row> rows = {
        {1000, 1200, 5, {900, 1000, 1100, 1200, 1300}},
        {1000, 1000, 5, {1000, 1000, 1000, 1000, 1000}},
        // One step is 10/3: cut toward zero everywhere.
        {1000, 1010, 6, {997, 1000, 1003, 1006, 1010, 1013}},
        {1000, 2000, 4, {0, 1000, 2000, 3000}},
        {1000, 2000, 3, {1000, 1000, 2000}},
    };
    for (const Row& row : rows) {
        std::vector<uint64_t> times(row.n);
        timestamp_interpolation_arr(row.first, row.last, row.n, times.data());
        EXPECT_EQ(times, row.times) << row.n;
    }
    // 24 steps of a frame's read-out.
    EXPECT_EQ(timestamp_interpolation(1000000, 1024000, 27, 0), 999000u);
    EXPECT_EQ(timestamp_interpolation(1000000, 1024000, 27, 13), 1012000u);
    EXPECT_EQ(timestamp_interpolation(1000000, 1024000, 27, 26), 1025000u);
    // Nonsense gives a number all the same.
    timestamp_interpolation(std::numeric_limits<uint64_t>::max(), 0, 27, 5);
    timestamp_interpolation(0, std::numeric_limits<uint64_t>::max() / 2, 4, 3);
}

struct Buffer : MultiSensorDataBuffer {
    static inline uint32_t ignored = 0;

    explicit Buffer(uint32_t sensors = 1) : MultiSensorDataBuffer(2, 64, sensors, "OIS", ignored) {}
    /// A sample whose first axis is its time in milliseconds.
    void add(uint64_t ts, uint32_t sensor = 0) {
        push({{static_cast<double>(ts) / 1000.0, 7.0}, ts}, sensor);
    }
};

InterpRequest request(uint64_t first, uint64_t last, uint32_t rows, uint32_t sensor = 0) {
    InterpRequest r;
    r.first_ts = first;
    r.last_ts = last;
    r.num_rows = rows;
    r.sensor = sensor;
    r.frame_id = 3;
    return r;
}

TEST(GetInterp, InterpolatesBetweenNeighbours) {
    Buffer buffer;
    buffer.add(100000);
    buffer.add(104000);
    buffer.add(110000);
    std::array<Point2, 5> rows;
    const std::string log = log_of([&] {
        const InterpStats stats = get_interp(buffer, request(102000, 106000, 5), rows.data());
        EXPECT_EQ(stats.num_processed, 5u);
        EXPECT_EQ(stats.num_error, 0);
    });
    EXPECT_EQ(log, "");
    for (int i = 0; i < 5; ++i) {
        EXPECT_DOUBLE_EQ(rows[i].x, 100.0 + 2.0 * i);
        EXPECT_EQ(rows[i].y, 7.0);
    }
}

TEST(GetInterp, BridgesAHoleOf200msAndNoMore) {
    for (const bool is_bridged : {true, false}) {
        Buffer buffer;
        buffer.add(100000);
        buffer.add(is_bridged ? 300000 : 300001);
        std::array<Point2, 5> rows;
        InterpStats stats;
        const std::string log =
            log_of([&] { stats = get_interp(buffer, request(150000, 250000, 5), rows.data()); });
        if (is_bridged) {
            EXPECT_EQ(stats.num_error, 0);
            EXPECT_DOUBLE_EQ(rows[2].x, 200.0);
        } else {
            // Row 0 takes the sample at hand, the others repeat it.
            EXPECT_GT(stats.num_error, 0);
            EXPECT_EQ(rows[2].x, 100.0);
            EXPECT_EQ(count_of(log, "OIS: frame #3: Too many points extrapolated"), 1u);
        }
    }
}

TEST(GetInterp, CountsRowsBeyondTheSamples) {
    struct Row {
        const char* what;
        uint64_t first, last;
        uint32_t start, end;
        int32_t errors;
        double value_of_last_row;
    };
    // Samples from 100 to 140 ms; rows of n = 5.
    constexpr Row kRows[] = {
        {"last row alone is beyond: no error", 120000, 138000, 0, 1, 0, 138.0},
        {"two rows beyond: one error", 120000, 142000, 0, 2, 1, 131.0},
        {"all rows before: every one an error", 50000, 60000, 5, 0, 5, 100.0},
        {"all rows behind: row 0 counts twice, the last row not", 200000, 210000, 0, 5, 5, 140.0},
    };
    for (const Row& row : kRows) {
        Buffer buffer;
        for (uint64_t ts = 100000; ts <= 140000; ts += 2000) {
            buffer.add(ts);
        }
        std::array<Point2, 5> rows;
        InterpStats stats;
        const std::string log = log_of(
            [&] { stats = get_interp(buffer, request(row.first, row.last, 5), rows.data()); });
        EXPECT_EQ(stats.num_exrap_start, row.start) << row.what;
        EXPECT_EQ(stats.num_exrap_end, row.end) << row.what;
        EXPECT_EQ(stats.num_error, row.errors) << row.what;
        EXPECT_DOUBLE_EQ(rows[4].x, row.value_of_last_row) << row.what;
        EXPECT_EQ(count_of(log, row.errors > 0 ? "[ERR]  IS0018" : "[HIGH] IS0523"), 1u) << log;
    }
}

TEST(GetInterp, SaysWhenAFirstOrAWholeFrameIsMissing) {
    Buffer buffer;
    buffer.add(100000);
    std::array<Point2, 27> rows;
    InterpRequest r = request(200000, 220000, 27);
    std::string log = log_of([&] { get_interp(buffer, r, rows.data()); });
    EXPECT_EQ(count_of(log, "OIS: frame #3: All samples are missing from frame!"), 1u) << log;
    r.first_frame = true;
    log = log_of([&] { get_interp(buffer, r, rows.data()); });
    EXPECT_EQ(count_of(log, "IS0522"), 1u) << log;
    EXPECT_EQ(count_of(log, "IS0018"), 0u) << log;
    r.is_quiet = true;
    EXPECT_EQ(log_of([&] { get_interp(buffer, r, rows.data()); }), "");
    // Nothing at all gives zeros.
    const Buffer empty;
    rows.fill({9.0, 9.0});
    const InterpStats stats = get_interp(empty, r, rows.data());
    EXPECT_EQ(stats.num_error, 27);
    EXPECT_EQ(rows[13].x, 0.0);
}

TEST(FindIndex, KeepsTheRunsOfTwoSensorsApart) {
    Buffer buffer(2);
    // Sensor 0: 10..14 ms, sensor 1: 15..19 ms, sensor 0 again: 30..34 ms.
    for (uint64_t ms = 10; ms < 15; ++ms) {
        buffer.add(ms * 1000, 0);
    }
    for (uint64_t ms = 15; ms < 20; ++ms) {
        buffer.add(ms * 1000, 1);
    }
    for (uint64_t ms = 30; ms < 35; ++ms) {
        buffer.add(ms * 1000, 0);
    }
    struct Row {
        uint64_t ts;
        uint32_t sensor;
        uint32_t index;
    };
    constexpr Row kRows[] = {
        {1000, 0, 0},      {12000, 0, 2}, {16000, 0, 4},  {25000, 0, 10},
        {22000, 0, 4 + 6}, {21999, 0, 4}, {32000, 0, 12}, {90000, 0, 14},
        {17000, 1, 7},     {99000, 1, 9}, {11000, 1, 5},  {17000, 5, kNoSample},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(find_index(buffer, row.ts, row.sensor), row.index)
            << row.ts << " of sensor " << row.sensor;
    }
    std::array<Point2, 5> rows;
    // A frame of sensor 0 inside the run of sensor 1 repeats what sensor 0 saw last.
    const InterpStats stats =
        get_interp(buffer, InterpRequest{16000, 18000, 5, 0, 3, false, true}, rows.data());
    EXPECT_EQ(stats.num_exrap_end, 5u);
    for (const Point2& value : rows) {
        EXPECT_EQ(value.x, 14.0);
    }
}

}  // namespace
}  // namespace steadywarp
