// SPDX-License-Identifier: Apache-2.0
// Streams from their first frame to their end, driven through the exported functions.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

constexpr uint64_t kStart = 2000000;
constexpr uint64_t kFrame = 33333;

uint64_t sof(uint32_t frame) {
    return kStart + frame * kFrame;
}

// An instance with a stream of a slowly turning device.
struct Session {
    Instance instance;
    Stream stream;
    OutputMemory memory;

    explicit Session(const is_init_common_data& common = valid_common(),
                     const std::vector<is_init_sensor_data>& sensors = {valid_sensor()})
        : instance(common, sensors), stream(instance.get()) {
        stream.samples = sampled(constant_rate(0.02, -0.03, 0.01), 1000000, 12000000, 2000);
    }

    /// Run frames [begin, end) of the even grid; each must come out.
    void run(uint32_t begin, uint32_t end) {
        for (uint32_t f = begin; f < end; ++f) {
            ASSERT_EQ(stream.frame(sof(f), memory).process_status, EIS_SUCCESS) << f;
            ASSERT_TRUE(memory.output.output_valid) << f;
        }
    }
};

TEST(Stream, RunsWithoutAWord) {
    Session session;
    const std::string log = log_of([&] { session.run(0, 60); });
    EXPECT_EQ(log, "");
    const is_output& out = session.memory.output;
    EXPECT_EQ(out.frame_id, 60u);
    EXPECT_EQ(out.active_sensor_idx, 0u);
    EXPECT_EQ(out.ois_mode, 0u);
    EXPECT_EQ(out.Mind_margins_blender_geolib, 0.0f);
    EXPECT_GT(out.cvp_motion_index_raw, 0.5f);
    const NcLibWarpGrid& grid = out.distortion_correction_grid;
    EXPECT_TRUE(grid.enable);
    EXPECT_EQ(grid.numRows, 27u);
    EXPECT_EQ(grid.numColumns, 35u);
    EXPECT_EQ(grid.extrapolateType, EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER);
    EXPECT_EQ(grid.transformDefinedOn.widthPixels, kWidth);
    // A packed record: its pointer is copied out before a reference is taken.
    EXPECT_EQ(+grid.grid, session.memory.distortion_grid.data());
    const NcLibWarp& transform = out.stabilization_transform;
    EXPECT_FALSE(transform.grid.enable);
    EXPECT_EQ(transform.direction, uint32_t{OUT_2_IN});
    for (const NcLibWarpMatrices* m :
         {&transform.matrices, &out.alignment_matrix_domain_undistorted,
          &out.alignment_matrix_domain_stabilized}) {
        EXPECT_TRUE(m->enable);
        EXPECT_EQ(m->centerType, uint32_t{CENTERED});
        EXPECT_EQ(m->confidence, 256u);
        EXPECT_EQ(m->numRows * m->numColumns, 1u);
        EXPECT_EQ(m->transformDefinedOn.heightLines, kHeight);
    }
}

TEST(Stream, AsksForTheLastSampleAgain) {
    Session session;
    session.run(0, 1);
    const FrameResult second = session.stream.frame(sof(1), session.memory);
    EXPECT_EQ(second.intervals.gyro.first_ts, 2028000u);
    EXPECT_EQ(second.num_samples, 17u);
}

TEST(Stream, RunsInTwoPassesAsInOne) {
    Session one;
    Session two;
    for (uint32_t f = 0; f < 20; ++f) {
        ASSERT_EQ(one.stream.frame(sof(f), one.memory).process_status, EIS_SUCCESS);

        is_frame_times times = two.stream.times;
        times.sof = sof(f);
        is_time_intervals intervals{};
        ASSERT_EQ(eis2_get_time_intervals(two.instance.get(), &times, 0, &intervals), EIS_SUCCESS);
        const is_input input = two.stream.input_for(sof(f), intervals.gyro);
        ++two.stream.frame_id;
        is_input_distortion_correction first{};
        first.frame_id = input.frame_id;
        first.frame_time_input = input.frame_time_input;
        first.gyro = input.gyro;
        first.window_regions = input.window_regions;
        first.focus_distance = input.focus_distance;
        is_output_distortion_correction first_out = two.memory.first_pass();
        ASSERT_EQ(
            eis_internal_process_distortion_correction(two.instance.get(), &first, &first_out),
            EIS_SUCCESS);
        EXPECT_TRUE(first_out.output_valid);
        // The middle row: half the read-out behind the first one, half the exposure early.
        EXPECT_EQ(first_out.mof_gyro_time, sof(f) - 5000 + 12500);
        is_input_stabilize second{};
        second.frame_id = input.frame_id;
        second.frame_time_input = input.frame_time_input;
        is_output_stabilize second_out = two.memory.second_pass();
        ASSERT_EQ(eis_internal_process_stabilize(two.instance.get(), &second, &second_out),
                  EIS_SUCCESS);
        ASSERT_TRUE(second_out.output_valid);
        EXPECT_EQ(std::memcmp(&one.memory.transform, &two.memory.transform, 36), 0);
        EXPECT_EQ(std::memcmp(one.memory.distortion_grid.data(), two.memory.distortion_grid.data(),
                              sizeof(one.memory.distortion_grid)),
                  0);
    }
}

TEST(Stream, DistortionOnlyHasNoSecondPass) {
    is_init_common_data common = valid_common();
    common.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
    Session session(common);
    std::string log = log_of([&] {
        EXPECT_EQ(session.stream.frame(sof(0), session.memory).process_status, EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(log, "Invalid SW flow"), 1u) << log;
    EXPECT_FALSE(session.memory.output.output_valid);
    is_input_stabilize second{};
    is_output_stabilize second_out = session.memory.second_pass();
    log = log_of([&] {
        EXPECT_EQ(eis_internal_process_stabilize(session.instance.get(), &second, &second_out),
                  EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(log, "[ERR]  IS0002: V2: is_valid_process_input_stabilize("), 1u) << log;
}

TEST(Stream, RefusesBadFramesAndGoesOn) {
    struct Row {
        const char* what;
        void (*spoil)(is_input&);
        const char* line;
    };
    static std::vector<_sample_data_s> old_samples;
    old_samples = sampled(constant_rate(0, 0, 0), 1000000, 1040000, 2000);
    static NcLibPerspTransformSingle flat = {{1, 0, 0, 0, 1, 0, 0, 0, 1e-6f}};
    static NcLibWarp sat{};
    sat.matrices.enable = true;
    sat.matrices.numRows = sat.matrices.numColumns = 1;
    sat.matrices.perspMatrices = &flat;
    const Row kRows[] = {
        {"a repeated id", [](is_input& in) { in.frame_id -= 1; },
         "Invalid frame ID (previous frame ID, input frame ID) : 5, 5"},
        {"no such sensor", [](is_input& in) { in.active_sensor_idx = 1; },
         "Invalid sensor index - 1"},
        {"an older start", [](is_input& in) { in.frame_time_input.sof = sof(3); }, "IS0007"},
        {"the same start", [](is_input& in) { in.frame_time_input.sof = sof(4); }, "IS0008"},
        {"a read-out longer than the frame",
         [](is_input& in) { in.frame_time_input.sensor_rolling_shutter_skew = 33383; },
         "Invalid readout duration - 33383 (cannot correct rolling shutter)"},
        {"a window of nothing", [](is_input& in) { in.window_regions.eis_pre_crop_vIN = {}; },
         "Invalid eis_pre_crop_vIN window"},
        {"a window outside",
         [](is_input& in) { in.window_regions.output_crop_fov.windowLeft = 200.0f; },
         "ROI is outside of image"},
        {"a negative focal length", [](is_input& in) { in.effective_focal_length_mm = -1.0f; },
         "Invalid effective_focal_length_mm: -1.000000"},
        {"old samples",
         [](is_input& in) {
             in.gyro = {old_samples.data(), static_cast<uint32_t>(old_samples.size())};
         },
         "Received only old samples"},
        {"missing samples", [](is_input& in) { in.gyro.samples = nullptr; },
         "num_elements > 0 but samples array is NULL"},
    };
    Session session;
    session.run(0, 5);
    is_frame_times times = session.stream.times;
    times.sof = sof(5);
    for (const Row& row : kRows) {
        is_time_intervals intervals{};
        ASSERT_EQ(eis2_get_time_intervals(session.instance.get(), &times, 0, &intervals),
                  EIS_SUCCESS);
        is_input input = session.stream.input_for(sof(5), intervals.gyro);
        row.spoil(input);
        uint32_t status = 0;
        const std::string log = log_of(
            [&] { status = eis2_process(session.instance.get(), &input, &session.memory.output); });
        EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT) << row.what;
        EXPECT_GE(count_of(log, row.line), 1u) << row.what << "\n" << log;
        EXPECT_EQ(count_of(log,
                           "Invalid input structs for distortion correction (# errors, # "
                           "warnings # info) : (1, 0, 0)"),
                  1u)
            << row.what << "\n"
            << log;
        EXPECT_FALSE(session.memory.output.output_valid) << row.what;
    }
    EXPECT_EQ(log_of([&] { session.run(5, 10); }), "");
    // A transform that cannot be divided by stops the second pass alone, and with it the stream.
    session.stream.sat = &sat;
    const std::string log = log_of([&] {
        EXPECT_EQ(session.stream.frame(sof(10), session.memory).process_status,
                  EIS_ERROR_INVALID_INPUT);
    });
    EXPECT_EQ(count_of(log, "Invalid last element in SAT - devision by zero"), 1u) << log;
    EXPECT_EQ(count_of(log, "Invalid input structs for stabilization"), 1u) << log;
    session.stream.sat = nullptr;
    const std::string next = log_of([&] { session.stream.frame(sof(11), session.memory); });
    EXPECT_EQ(count_of(next, "Invalid SW flow out of order execution call"), 1u) << next;
}

TEST(Stream, SaysWhichSamplesNobodyAskedFor) {
    for (const bool opens : {true, false}) {
        Session fresh;
        if (!opens) {
            fresh.run(0, 1);
        }
        is_frame_times times = fresh.stream.times;
        times.sof = sof(1);
        is_time_intervals intervals{};
        eis2_get_time_intervals(fresh.instance.get(), &times, 0, &intervals);
        is_input input = fresh.stream.input_for(sof(1), intervals.gyro);
        input.ois = input.ifovc = {input.gyro.samples, 2};
        const std::string log = log_of([&] {
            EXPECT_EQ(eis2_process(fresh.instance.get(), &input, &fresh.memory.output),
                      EIS_SUCCESS);
        });
        EXPECT_EQ(count_of(log, "received (2) OIS samples but sensor #0 has no OIS module"),
                  opens ? 1u : 0u);
        EXPECT_EQ(count_of(log, "Sensor #0 is disabled but 2 samples were received"), 1u) << log;
    }
}

TEST(Stream, WantsItsOutputMemory) {
    Session session;
    session.memory.output.alignment_matrix_domain_undistorted.perspMatrices = nullptr;
    session.memory.output.distortion_correction_grid.grid = nullptr;
    const std::string log = log_of([&] {
        EXPECT_EQ(session.stream.frame(sof(0), session.memory).process_status,
                  EIS_ERROR_INVALID_INPUT);
    });
    EXPECT_EQ(count_of(log, "NULL pointer alignment_matrix_domain_undistorted.perspMatrices"), 1u);
    EXPECT_EQ(count_of(log, "NULL pointer distortion_correction_grid.grid"), 1u);
}

TEST(Stream, NeedsSamplesOnItsFirstFrame) {
    Session session;
    const std::string log = log_of([&] {
        EXPECT_EQ(session.stream.frame(sof(0), session.memory, false).process_status,
                  EIS_ERROR_INVALID_INPUT);
    });
    EXPECT_EQ(count_of(log, "Invalid first frame, no gyro data!"), 1u) << log;
}

TEST(Stream, ReportsASkippedIdAndAnOddWindowAndGoesOn) {
    Session session;
    session.run(0, 3);
    session.stream.frame_id += 2;
    session.stream.windows.image_sensor_crop = {};
    session.stream.windows.output_crop_fov.windowLeft += 14.0f;
    const std::string log = log_of([&] { session.run(3, 4); });
    EXPECT_EQ(count_of(log, "algorithm was not called for frame ID # 4"), 2u) << log;
    EXPECT_EQ(count_of(log, "Invalid image_sensor_crop window"), 1u) << log;
    // The output's window is looked at twice.
    EXPECT_EQ(count_of(log, " ROI is not centered"), 2u) << log;
}

TEST(Stream, CountsDroppedFrames) {
    struct Row {
        uint32_t step;  // frames from the last one
        const char* missing;
    };
    for (const Row& row : {Row{2, ": 1, "}, Row{4, ": 3, "}}) {
        Session session;
        session.run(0, 5);
        const std::string log = log_of([&] { session.run(4 + row.step, 5 + row.step); });
        // Once in the query and once in each pass.
        EXPECT_EQ(count_of(log, "[HIGH] IS1028"), 3u) << log;
        EXPECT_EQ(count_of(log, row.missing), 3u) << log;
        EXPECT_EQ(count_of(log, "\n"), 3u) << log;
    }
    Session session;
    session.run(0, 5);
    // A fifth of a frame late is no drop.
    EXPECT_EQ(log_of([&] { session.stream.frame(sof(5) + 6600, session.memory); }), "");
}

TEST(Stream, ResumesFromAPause) {
    for (const uint64_t gap : {600000, 500000, 499999}) {
        Session session;
        session.run(0, 10);
        const std::string log = log_of([&] {
            ASSERT_EQ(session.stream.frame(sof(9) + gap, session.memory).process_status,
                      EIS_SUCCESS);
        });
        EXPECT_TRUE(session.memory.output.output_valid);
        // The validators call it a pause from 500000 on, the reset wants more than that.
        EXPECT_EQ(count_of(log, "[HIGH] IS1024"), gap >= 500000 ? 3u : 0u) << log;
        EXPECT_EQ(count_of(log, "[HIGH] IS1027"), gap > 500000 ? 1u : 0u) << log;
        if (gap == 600000) {
            EXPECT_EQ(count_of(log, "Pause-Resume or New-Stream: 1, 0, 10, 0"), 1u) << log;
            // The first frame of a stream has no frame before it to align with.
            EXPECT_EQ(session.memory.alignment_undistorted.T[0], 1.0f);
            EXPECT_EQ(session.memory.alignment_undistorted.T[2], 0.0f);
            EXPECT_EQ(session.memory.alignment_stabilized.T[2], 0.0f);
            EXPECT_EQ(session.memory.output.cvp_motion_index_raw, 0.0f);
        }
    }
}

TEST(Stream, EndsWithoutSamplesAndStartsAnew) {
    Session session;
    session.run(0, 10);
    for (uint32_t f = 10; f < 12; ++f) {
        EXPECT_EQ(log_of([&] {
                      EXPECT_EQ(session.stream.frame(sof(f), session.memory, false).process_status,
                                EIS_SUCCESS);
                  }),
                  "");
        EXPECT_FALSE(session.memory.output.output_valid);
    }
    const std::string log = log_of([&] { session.run(12, 13); });
    EXPECT_EQ(count_of(log, "Pause-Resume or New-Stream: 0, 1, 10, 2"), 1u) << log;
    EXPECT_EQ(session.memory.alignment_stabilized.T[2], 0.0f);
    EXPECT_EQ(log_of([&] { session.run(13, 20); }), "");
    // Three frames without samples are one more than there is to drain.
    session.stream.frame(sof(20), session.memory, false);
    session.stream.frame(sof(21), session.memory, false);
    const std::string over = log_of([&] { session.stream.frame(sof(22), session.memory, false); });
    EXPECT_EQ(count_of(over, "Filter failed to produce output"), 1u) << over;
    log_of([&] { session.run(23, 24); });
}

TEST(Stream, RunsWithAGlobalShutter) {
    Session session;
    session.stream.times.sensor_rolling_shutter_skew = 0;
    const std::string log = log_of([&] { session.run(0, 5); });
    EXPECT_EQ(count_of(log, "0 == sensor_rolling_shutter_skew, invalid value!"), 5u);
    EXPECT_EQ(count_of(log, "\n"), 5u) << log;
    // All rows at one time: the grid has nothing to do.
    EXPECT_NEAR(session.memory.distortion_grid[0].x, -1020.0f, 1e-3f);
    EXPECT_NEAR(session.memory.distortion_grid[944].y, 585.0f, 1e-3f);
}

TEST(Stream, ScalesFromCropToOutputWhenTold) {
    is_init_common_data common = valid_common();
    common.do_virtual_upscale_in_transform = true;
    Session scaled(common);
    Session plain;
    scaled.run(0, 30);
    plain.run(0, 30);
    const float* s = scaled.memory.transform.T;
    const float* p = plain.memory.transform.T;
    // The crop of 1728 columns fills 1920: on the right of the transform, about the centre.
    for (const int column : {0, 1}) {
        for (const int row : {0, 1, 2}) {
            EXPECT_NEAR(s[3 * row + column], 0.9 * p[3 * row + column], 1e-6);
        }
    }
    EXPECT_NEAR(s[2], p[2], 1e-4);
    EXPECT_NEAR(s[5], p[5], 1e-4);
    EXPECT_EQ(s[8], p[8]);
}

TEST(Stream, SwitchesSensorsWithoutAlignment) {
    is_init_sensor_data tele = valid_sensor();
    tele.tuning.general.focal_length = 4000;
    tele.input_width = 3840;
    tele.input_height = 2160;
    Session session(valid_common(), {valid_sensor(), tele});
    session.run(0, 10);
    session.stream.sensor = 1;
    session.stream.windows = centred_windows(3840, 2160, 3456, 1944);
    EXPECT_EQ(log_of([&] { session.run(10, 11); }), "");
    EXPECT_EQ(session.memory.output.active_sensor_idx, 1u);
    EXPECT_EQ(session.memory.output.distortion_correction_grid.transformDefinedOn.widthPixels,
              3840u);
    EXPECT_EQ(session.memory.alignment_undistorted.T[2], 0.0f);
    EXPECT_EQ(log_of([&] { session.run(11, 20); }), "");
    EXPECT_NE(session.memory.alignment_undistorted.T[2], 0.0f);
    // An older start within one frame is fine behind a switch.
    session.stream.sensor = 0;
    session.stream.windows = centred_windows();
    const std::string log = log_of([&] {
        EXPECT_EQ(session.stream.frame(sof(19) - 1000, session.memory).process_status, EIS_SUCCESS);
    });
    EXPECT_EQ(count_of(log, "[ERR]  IS0516"), 3u) << log;
}

TEST(Stream, GivesTheSameBitsTwice) {
    Session a;
    Session b;
    for (uint32_t f = 0; f < 50; ++f) {
        a.run(f, f + 1);
        b.run(f, f + 1);
        ASSERT_EQ(std::memcmp(&a.memory.transform, &b.memory.transform, 36), 0);
        ASSERT_EQ(std::memcmp(a.memory.distortion_grid.data(), b.memory.distortion_grid.data(),
                              sizeof a.memory.distortion_grid),
                  0);
    }
}

}  // namespace
}  // namespace steadywarp::test
