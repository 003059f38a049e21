// SPDX-License-Identifier: Apache-2.0
// Memory: all of it at the start, none per frame, and every failure survived. Nor does a frame
// lock.
#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "support/allocation_counter.hpp"
#include "support/lock_counter.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

struct Configuration {
    const char* what;
    is_init_common_data common;
    std::vector<is_init_sensor_data> sensors;
};

// A distortion of nothing, on the front end's input.
NcLibWarpGrid plain_grid() {
    static NcLibWarpGridCoord nodes[EIS_GRID_POINTS];
    for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
        nodes[k] = {60.0f * (static_cast<float>(k % 35) - 17.0f),
                    45.0f * (static_cast<float>(k / 35) - 13.0f)};
    }
    return {
        true,   {kWidth, kHeight}, 27, 35, nodes, EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
        nullptr};
}

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
    is_init_common_data aligned = valid_common();
    aligned.is_sat_enabled = true;
    aligned.is_dis_enabled = true;
    is_init_sensor_data with_dis = valid_sensor();
    with_dis.tuning.dis.enable = 1;
    with_dis.tuning.dis.confidence_threshold = 100;
    is_init_common_data calibrating = valid_common();
    calibrating.operation_mode = IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST;
    is_init_common_data identity_only = valid_common();
    identity_only.operation_mode = IS_OPT_IDENTITY_ONLY_ROBUST;
    is_init_common_data walking = aligned;
    walking.is_ois_enabled = walking.is_ifovc_enabled = true;
    walking.operation_mode = IS_OPT_TEST_MARGINS_LIMITS;
    std::vector<is_init_sensor_data> all_streams = lenses;
    for (is_init_sensor_data& sensor : all_streams) {
        sensor.tuning.dis = with_dis.tuning.dis;
        sensor.tuning.top.ifovc_frequency = 120;
        sensor.tuning.z_lens_pos.enable = 1;
        sensor.tuning.z_lens_pos.min_scale_limit = 0.95f;
        set_identity_grids(sensor);
    }
    is_init_sensor_data undistorted = valid_sensor();
    set_identity_grids(undistorted);
    is_init_common_data with_focus = valid_common();
    with_focus.is_ifovc_enabled = true;
    is_init_common_data with_optics = with_ois;
    with_optics.is_ifovc_enabled = true;
    is_init_sensor_data focus = valid_sensor();
    focus.tuning.top.ifovc_frequency = 120;
    focus.tuning.z_lens_pos.enable = 1;
    focus.tuning.z_lens_pos.min_scale_limit = 0.95f;
    static const NcLibWarpGrid grid = plain_grid();
    is_init_sensor_data distorting = valid_sensor();
    distorting.tuning.lens_distortion_correction.ldc_grid_source = 1;
    distorting.ldc_in2out = distorting.ldc_out2in = &grid;
    distorting.ldc_calib_domain = 1;
    std::vector<is_init_sensor_data> optics(2, focus);
    set_identity_grids(optics[1]);
    optics[1].tuning.top.ois_frequency = 500;
    optics[1].tuning.ois.data_conversion_x_tab[1] = 1.0f;
    optics[1].tuning.ois.data_conversion_y_tab[2] = 1.0f;
    return {
        {"stabilizer", valid_common(), {valid_sensor()}},
        {"front camera", valid_common(), {front}},
        {"distortion only", distortion_only, {valid_sensor()}},
        {"three moving lenses", with_ois, lenses},
        {"tuned distortion grids", valid_common(), {undistorted}},
        {"alignment and image-based correction", aligned, {with_dis}},
        {"robust calibration", calibrating, {valid_sensor()}},
        {"robust identity", identity_only, {valid_sensor()}},
        {"everything, around the margins", walking, all_streams},
        {"focus", with_focus, {focus}},
        {"grids beside the tuning", valid_common(), {distorting}},
        {"focus of two sensors, a moving lens that distorts", with_optics, optics},
        {"sixteen sensors", valid_common(), std::vector<is_init_sensor_data>(16, valid_sensor())},
    };
}

// An instance without its guards: it exists, and that is all.
void expect_unusable(eis_context* context) {
    const is_frame_times times = {1000000, 33333, 10000, 25000};
    is_time_intervals intervals{};
    EXPECT_EQ(eis2_get_time_intervals(context, &times, 0, &intervals), EIS_ERROR_INVALID_INPUT);
    OutputMemory memory;
    const is_input input{};
    EXPECT_EQ(eis2_process(context, &input, &memory.output), EIS_ERROR_INVALID_INPUT);
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
        const size_t needed = allocation_count() - before;
        ASSERT_GT(needed, 8u) << c.what;
        testing::internal::CaptureStderr();
        const size_t live = live_blocks();
        size_t unusable = 0;
        for (size_t n = 1; n <= needed; ++n) {
            context = nullptr;
            fail_allocation(n);
            const uint32_t status = initialize(&context);
            fail_allocation(0);
            if (status == EIS_SUCCESS) {
                expect_unusable(context);
                eis2_deinitialize(&context);
                ++unusable;
            } else {
                EXPECT_EQ(status, EIS_ERROR_NO_MEMORY) << c.what << ", allocation " << n;
                EXPECT_EQ(context, nullptr) << c.what << ", allocation " << n;
            }
            EXPECT_EQ(live_blocks(), live) << c.what << ", allocation " << n;
        }
        const std::string log = testing::internal::GetCapturedStderr();
        // The stage for image-based correction is the one that initialization does without.
        EXPECT_EQ(unusable, c.common.is_dis_enabled ? 1u : 0u) << c.what;
        EXPECT_EQ(count_of(log, "DisStabilizer() constructor has failed"), unusable) << c.what;
        EXPECT_EQ(count_of(log, "eis3_init() failed"), needed - unusable) << c.what;
        EXPECT_GE(count_of(log, "IS0004"), needed) << c.what;
    }
}

TEST(Allocation, FramesAllocateAndLockNothing) {
    std::mutex mutex;
    const size_t locks_before = lock_count();
    { const std::lock_guard<std::mutex> lock(mutex); }
    ASSERT_EQ(lock_count(), locks_before + 1) << "locks are not counted";
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
        NcLibPerspTransformSingle nearly = {{1.001f, 0, 2, 0, 1, 0, 0, 0, 1}};
        NcLibWarp transform{};
        transform.matrices = {
            true, {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT}, CENTERED, 256, 1, 1, &nearly};
        if (c.common.is_sat_enabled) {
            stream.sat = stream.upstream = &transform;
        }
        if (c.common.is_ifovc_enabled) {
            stream.ifovc_samples = sampled(constant_rate(5.0, 0.97, 0.0), 1000000, 9000000, 8000);
        }
        stream.sensor = static_cast<uint32_t>(c.sensors.size() - 1);
        OutputMemory memory;
        size_t frames = 0;
        testing::internal::CaptureStderr();
        const size_t before = allocation_count();
        const size_t unlocked = lock_count();
        for (uint64_t sof = 2000000; sof < 7000000; sof += 33333) {
            if (sof > 5500000 && sof < 6300000) {
                continue;
            }
            stream.frame(sof, memory, sof < 6900000);
            frames += memory.output.output_valid ? 1 : 0;
        }
        const size_t after = allocation_count();
        const size_t locks = lock_count() - unlocked;
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(after, before) << c.what;
        EXPECT_EQ(locks, 0u) << c.what;
        if (c.common.is_type == IS_TYPE_EIS_2_0) {
            EXPECT_GT(frames, 100u) << c.what;
            const bool looks_at_motion =
                c.common.operation_mode != IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST &&
                c.common.operation_mode != IS_OPT_IDENTITY_ONLY_ROBUST;
            EXPECT_EQ(count_of(log, "No feasible solution") > 0, looks_at_motion) << c.what;
        }
    }
}

}  // namespace
}  // namespace steadywarp::test
