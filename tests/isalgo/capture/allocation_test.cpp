// SPDX-License-Identifier: Apache-2.0
// Memory of a capture: every failure survived, none asked for per frame.
#include <gtest/gtest.h>

#include <vector>

#include "steadywarp/eis_capture.h"
#include "support/allocation_counter.hpp"
#include "support/records.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::test {
namespace {

TEST(CaptureAllocation, SurvivesEveryFailureAndNeedsNonePerFrame) {
    const ScratchFolder folder;
    std::vector<NcLibWarpGridCoord> points(EIS_GRID_POINTS);
    const NcLibWarpGrid grid = {
        true,   {1920, 1080}, 27, 35, points.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
        nullptr};
    is_init_sensor_data sensor = valid_sensor();
    sensor.ldc_in2out = &grid;
    sensor.ldc_out2in = &grid;
    const is_init_common_data common = valid_common();
    const eis_utils_log_config config = {&common, &sensor, 1, IS_UTILS_FLAG_ALL, "run"};
    eis_utils_log* log = nullptr;
    size_t failed_inits = 0;
    size_t failed_opens = 0;
    size_t opened_blocks = 0;
    testing::internal::CaptureStderr();
    const size_t live = live_blocks();
    for (bool is_done = false; !is_done;) {
        fail_allocation(failed_inits + 1);
        is_done = eis_utils_log_init(&log, &config) == EIS_SUCCESS;
        fail_allocation(0);
        failed_inits += is_done ? 0 : 1;
        EXPECT_EQ(log != nullptr, is_done);
        EXPECT_EQ(is_done || live_blocks() == live, true) << failed_inits;
    }
    const size_t live_closed = live_blocks();
    for (bool is_done = false; !is_done;) {
        fail_allocation(failed_opens + 1);
        is_done = eis_utils_log_open(log, nullptr) == EIS_SUCCESS;
        fail_allocation(0);
        failed_opens += is_done ? 0 : 1;
        bool is_opened = false;
        eis_utils_log_is_opened(log, &is_opened);
        EXPECT_EQ(is_opened, is_done);
        opened_blocks = live_blocks() - live_closed;
        EXPECT_EQ(is_done || live_blocks() == live_closed, true) << failed_opens;
    }
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(failed_inits, 5u) << "the capture, its sensors, its grids and their points";
    EXPECT_GT(failed_opens, 2u * 23u) << "each file and its buffer";
    EXPECT_EQ(count_of(text, "Out of memory, failed to allocated buffer for file: "), 24u);

    OutputMemory memory;
    memory.output.output_valid = true;
    memory.output.distortion_correction_grid = grid;
    const std::vector<_sample_data_s> samples(40, _sample_data_s{{0.1, 0.2, 0.3}, 5});
    is_input input{};
    input.gyro = input.ois = input.mag = {samples.data(), 40};
    eis_utils_log_data data{};
    data.is_input = &input;
    data.is_output = &memory.output;
    const size_t before = allocation_count();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(eis_utils_log_write(log, &data), EIS_SUCCESS);
    }
    EXPECT_EQ(allocation_count(), before);
    const size_t live_opened = live_blocks();
    EXPECT_EQ(eis_utils_log_close(log), EIS_SUCCESS);
    EXPECT_EQ(eis_utils_log_open(log, nullptr), EIS_SUCCESS);
    EXPECT_EQ(live_blocks(), live_opened);
    EXPECT_EQ(eis_utils_log_destroy(&log), EIS_SUCCESS);
    EXPECT_EQ(live_blocks(), live_opened - (opened_blocks + live_closed - live));
}

}  // namespace
}  // namespace steadywarp::test
