// SPDX-License-Identifier: Apache-2.0
// Memory: all of it at the start, none per frame, and every failure survived.
#include <gtest/gtest.h>

#include <vector>

#include "support/allocation_counter.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

struct Configuration {
    const char* what;
    is_init_common_data common;
    std::vector<is_init_sensor_data> sensors;
};

std::vector<Configuration> configurations() {
    is_init_common_data distortion_only = valid_common();
    distortion_only.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
    is_init_sensor_data front = valid_sensor();
    front.camera_position = 1;
    is_init_common_data with_ois = valid_common();
    with_ois.is_ois_enabled = true;
    std::vector<is_init_sensor_data> lenses(3, valid_sensor());
    for (uint32_t i = 0; i < 3; ++i) {
        lenses[i].tuning.top.ois_frequency = 500;
        lenses[i].tuning.ois.module_type = i;
        lenses[i].tuning.ois.data_conversion_x_tab[1] = 1.0f;
        lenses[i].tuning.ois.data_conversion_y_tab[2] = 1.0f;
    }
    lenses[2].tuning.ois.module_type = 5;
    return {
        {"stabilizer", valid_common(), {valid_sensor()}},
        {"front camera", valid_common(), {front}},
        {"distortion only", distortion_only, {valid_sensor()}},
        {"three moving lenses", with_ois, lenses},
        {"sixteen sensors", valid_common(), std::vector<is_init_sensor_data>(16, valid_sensor())},
    };
}

TEST(Allocation, EveryFailureAtTheStartIsReportedAndLeaksNothing) {
    for (const Configuration& c : configurations()) {
        const auto initialize = [&](eis_context** context) {
            return eis2_initialize(context, &c.common, c.sensors.data(),
                                   static_cast<uint32_t>(c.sensors.size()));
        };
        eis_context* context = nullptr;
        const size_t before = allocation_count();
        ASSERT_EQ(initialize(&context), EIS_SUCCESS) << c.what;
        eis2_deinitialize(&context);
        // operator new counts once, and the malloc behind it once more.
        const size_t needed = (allocation_count() - before) / 2;
        ASSERT_GT(needed, 8u) << c.what;
        testing::internal::CaptureStderr();
        const size_t live = live_blocks();
        for (size_t n = 1; n <= needed; ++n) {
            context = nullptr;
            fail_allocation(n);
            const uint32_t status = initialize(&context);
            fail_allocation(0);
            EXPECT_EQ(status, EIS_ERROR_NO_MEMORY) << c.what << ", allocation " << n;
            EXPECT_EQ(context, nullptr) << c.what << ", allocation " << n;
            EXPECT_EQ(live_blocks(), live) << c.what << ", allocation " << n;
        }
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(count_of(log, "eis3_init() failed"), needed) << c.what;
        EXPECT_GE(count_of(log, "IS0004"), needed) << c.what;
    }
}

TEST(Allocation, FramesAllocateNothing) {
    for (const Configuration& c : configurations()) {
        Instance instance(c.common, c.sensors);
        Stream stream(instance.get());
        // Steady, then a hard shake that breaches, then a pause, then the end of the stream.
        stream.samples = sampled(
            [](uint64_t ts) {
                const double rate = ts < 4000000 ? 0.02 : (ts / 100000 % 2 == 0 ? 2.5 : -2.5);
                return _sample_data_s{{rate, rate, 0.0}, ts};
            },
            1000000, 9000000, 2000);
        if (c.common.is_ois_enabled) {
            stream.ois_samples = sampled(constant_rate(1.0, -1.0, 0.0), 1000000, 9000000, 2000);
        }
        OutputMemory memory;
        size_t frames = 0;
        testing::internal::CaptureStderr();
        const size_t before = allocation_count();
        for (uint64_t sof = 2000000; sof < 7000000; sof += 33333) {
            if (sof > 5500000 && sof < 6300000) {
                continue;
            }
            stream.frame(sof, memory, sof < 6900000);
            frames += memory.output.output_valid ? 1 : 0;
        }
        const size_t after = allocation_count();
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(after, before) << c.what;
        if (c.common.is_type == IS_TYPE_EIS_2_0) {
            EXPECT_GT(frames, 100u) << c.what;
            EXPECT_GT(count_of(log, "No feasible solution"), 0u) << c.what;
        }
    }
}

}  // namespace
}  // namespace steadywarp::test
