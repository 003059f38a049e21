// SPDX-License-Identifier: Apache-2.0
// What each operation mode, a spatial alignment, image-based correction and an upstream transform
// make of the output, through the exported functions.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
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

using Elements = std::array<float, 9>;

Elements elements_of(const NcLibPerspTransformSingle& matrix) {
    Elements out;
    std::copy_n(matrix.T, 9, out.begin());
    return out;
}

constexpr Elements kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// A slowly turning device with an instance of a mode.
struct Session {
    Instance instance;
    Stream stream;
    OutputMemory memory;

    explicit Session(const is_init_common_data& common = valid_common(),
                     const std::vector<is_init_sensor_data>& sensors = {valid_sensor()})
        : instance(common, sensors), stream(instance.get()) {
        EXPECT_EQ(instance.status(), EIS_SUCCESS);
        stream.samples = sampled(constant_rate(0.02, -0.03, 0.01), 1000000, 12000000, 2000);
    }

    void run(uint32_t begin, uint32_t end) {
        for (uint32_t f = begin; f < end; ++f) {
            ASSERT_EQ(stream.frame(sof(f), memory).process_status, EIS_SUCCESS) << f;
            ASSERT_TRUE(memory.output.output_valid) << f;
        }
    }
};

is_init_common_data common_of(uint32_t operation_mode) {
    is_init_common_data common = valid_common();
    common.operation_mode = operation_mode;
    return common;
}

// A centred matrix as a warp of the frame's size.
struct MatrixWarp {
    NcLibPerspTransformSingle matrix;
    NcLibWarp warp{};

    explicit MatrixWarp(const Elements& elements, uint32_t width = kWidth,
                        uint32_t height = kHeight) {
        std::copy(elements.begin(), elements.end(), matrix.T);
        warp.matrices.enable = true;
        warp.matrices.transformDefinedOn = {width, height};
        warp.matrices.numRows = warp.matrices.numColumns = 1;
        warp.matrices.perspMatrices = &matrix;
    }
    MatrixWarp(const MatrixWarp&) = delete;
};

TEST(Modes, ShowTheirPartsOfTheOutput) {
    struct Row {
        uint32_t mode;
        bool grid, transform, alignment;
    };
    constexpr Row kRows[] = {
        {IS_OPT_CALIBRATION_SYMMETRIC, false, true, true},
        {IS_OPT_CALIBRATION_ASYMMETRIC, false, true, true},
        {IS_OPT_UNDISTORTION_ONLY, true, false, true},
        {IS_OPT_IFOVC_LDC_ONLY, true, true, false},
        {IS_OPT_TEST_SAT_PASS_THROUGH, false, true, true},
        {IS_OPT_TEST_MARGINS_LIMITS, false, true, true},
    };
    Session regular;
    regular.run(0, 5);
    for (const Row& row : kRows) {
        Session session(common_of(row.mode));
        session.run(0, 5);
        const is_output& out = session.memory.output;
        EXPECT_EQ(out.distortion_correction_grid.enable, row.grid) << row.mode;
        EXPECT_EQ(out.stabilization_transform.matrices.enable, row.transform) << row.mode;
        EXPECT_FALSE(out.stabilization_transform.grid.enable) << row.mode;
        EXPECT_EQ(out.alignment_matrix_domain_undistorted.enable, row.alignment) << row.mode;
        EXPECT_TRUE(out.alignment_matrix_domain_stabilized.enable) << row.mode;
        EXPECT_EQ(out.frame_id, 5u);
        EXPECT_EQ(out.cvp_motion_index_raw != 0.0f, row.mode != IS_OPT_IFOVC_LDC_ONLY) << row.mode;
        // What a mode shows is what the regular one shows.
        if (row.grid) {
            EXPECT_EQ(std::memcmp(session.memory.distortion_grid.data(),
                                  regular.memory.distortion_grid.data(),
                                  sizeof regular.memory.distortion_grid),
                      0)
                << row.mode;
        }
        EXPECT_EQ(elements_of(session.memory.alignment_stabilized),
                  elements_of(regular.memory.alignment_stabilized))
            << row.mode;
    }
    Session undistorting(common_of(IS_OPT_IFOVC_LDC_ONLY));
    undistorting.run(0, 5);
    EXPECT_EQ(elements_of(undistorting.memory.transform), elements_of(regular.memory.transform));
}

TEST(Modes, ShapeAFirstPassThatRunsAlone) {
    struct Row {
        uint32_t mode;
        bool grid, alignment;
    };
    // Those that only shape a second pass mean the regular mode.
    constexpr Row kRows[] = {{IS_OPT_REGULAR, true, true},
                             {IS_OPT_CALIBRATION_SYMMETRIC, true, true},
                             {IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST, true, true},
                             {IS_OPT_UNDISTORTION_ONLY, true, true},
                             {IS_OPT_IDENTITY_ONLY_ROBUST, false, false},
                             {IS_OPT_IFOVC_LDC_ONLY, true, false},
                             {IS_OPT_TEST_SAT_PASS_THROUGH, false, true},
                             {IS_OPT_TEST_MARGINS_LIMITS, false, true}};
    for (const Row& row : kRows) {
        is_init_common_data common = common_of(row.mode);
        common.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
        Session session(common);
        is_frame_times times = session.stream.times;
        times.sof = kStart;
        is_time_intervals intervals{};
        eis2_get_time_intervals(session.instance.get(), &times, 0, &intervals);
        const is_input input = session.stream.input_for(kStart, intervals.gyro);
        is_input_distortion_correction first{};
        first.frame_id = input.frame_id;
        first.frame_time_input = input.frame_time_input;
        first.gyro = input.gyro;
        first.window_regions = input.window_regions;
        is_output_distortion_correction out = session.memory.first_pass();
        EXPECT_EQ(eis_internal_process_distortion_correction(session.instance.get(), &first, &out),
                  EIS_SUCCESS);
        EXPECT_TRUE(out.output_valid) << row.mode;
        EXPECT_EQ(out.distortion_correction_grid.enable, row.grid) << row.mode;
        EXPECT_EQ(out.alignment_matrix_domain_undistorted.enable, row.alignment) << row.mode;
        is_input_stabilize second{};
        is_output_stabilize second_out = session.memory.second_pass();
        EXPECT_EQ(eis_internal_process_stabilize(session.instance.get(), &second, &second_out),
                  EIS_ERROR_GENERAL)
            << row.mode;
    }
}

TEST(Modes, CalibrationUndoesTheCrop) {
    struct Row {
        uint32_t mode;
        bool upscale;
        float x, y;
    };
    // The window of 1728 by 864 columns and rows reaches from pixel 96 to 1823 and from 108 to 971;
    // the output is 1280 by 800.
    constexpr Row kRows[] = {
        {IS_OPT_CALIBRATION_SYMMETRIC, false, 1920.0f / 1727.0f, 1920.0f / 1727.0f},
        {IS_OPT_CALIBRATION_ASYMMETRIC, false, 1920.0f / 1727.0f, 1080.0f / 863.0f},
        {IS_OPT_CALIBRATION_SYMMETRIC, true, 1.5f, 1.5f},
        {IS_OPT_CALIBRATION_ASYMMETRIC, true, 1.5f, 1.35f},
        // No window is looked at: the margin of 0.2 on both axes leaves all of 1280 by 800.
        {IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST, false, 1.5f, 1.35f},
        {IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST, true, 1.5f, 1.35f},
    };
    for (const Row& row : kRows) {
        is_init_common_data common = common_of(row.mode);
        common.do_virtual_upscale_in_transform = row.upscale;
        common.output_width = 1280;
        common.output_height = 800;
        is_init_sensor_data sensor = valid_sensor();
        sensor.tuning.general.minimal_total_margin = 0.2f;
        Session session(common, {sensor});
        session.stream.windows = centred_windows(kWidth, kHeight, 1728, 864);
        session.run(0, 3);
        const Elements m = elements_of(session.memory.transform);
        EXPECT_FLOAT_EQ(m[0], row.x) << row.mode << row.upscale;
        EXPECT_FLOAT_EQ(m[4], row.y) << row.mode << row.upscale;
        EXPECT_EQ((Elements{m[0], 0, 0, 0, m[4], 0, 0, 0, 1}), m) << row.mode;
        EXPECT_EQ(session.memory.output.stabilization_transform.matrices.confidence, 256u);
    }
}

TEST(Modes, MarginWalkerMovesEightPixelsAFrame) {
    Session session(common_of(IS_OPT_TEST_MARGINS_LIMITS));
    for (uint32_t f = 0; f < 30; ++f) {
        session.run(f, f + 1);
        // From the top left, -97 and -55, to 98 on the right, then down.
        const float x = std::min(-97.0f + 8.0f * static_cast<float>(f), 98.0f);
        const float y = f <= 25 ? -55.0f : -55.0f + 8.0f * static_cast<float>(f - 25);
        const Elements expected = {1, 0, x, 0, 1, y, 0, 0, 1};
        EXPECT_EQ(elements_of(session.memory.transform), expected) << f;
    }
    // A new stream starts at the top left again.
    session.stream.frame(sof(30), session.memory, false);
    log_of([&] { session.run(31, 32); });
    EXPECT_EQ(elements_of(session.memory.transform)[2], -97.0f);
}

TEST(Modes, RobustOnesRunOnWhateverComes) {
    for (const uint32_t mode :
         {IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST, IS_OPT_IDENTITY_ONLY_ROBUST}) {
        Session session(common_of(mode));
        const Elements expected = mode == IS_OPT_IDENTITY_ONLY_ROBUST
                                      ? kIdentity
                                      : Elements{1 / 0.9f, 0, 0, 0, 1 / 0.9f, 0, 0, 0, 1};
        const auto frame = [&](const is_input& input) {
            uint32_t status = EIS_ERROR_GENERAL;
            is_time_intervals intervals{};
            const std::string log = log_of([&] {
                eis2_get_time_intervals(session.instance.get(), &input.frame_time_input, 0,
                                        &intervals);
                status = eis2_process(session.instance.get(), &input, &session.memory.output);
            });
            EXPECT_EQ(status, EIS_SUCCESS) << mode << log;
            EXPECT_NE(intervals.gyro.last_ts, 0u);
            const is_output& out = session.memory.output;
            EXPECT_TRUE(out.output_valid);
            EXPECT_EQ(out.frame_id, input.frame_id);
            EXPECT_EQ(out.active_sensor_idx, input.active_sensor_idx);
            EXPECT_FALSE(out.distortion_correction_grid.enable);
            EXPECT_FALSE(out.stabilization_transform.grid.enable);
            return log;
        };
        const is_input good = session.stream.input_for(kStart, {kStart - 20000, kStart + 30000});
        const auto expect_transforms = [&] {
            const Elements m = elements_of(session.memory.transform);
            for (size_t i = 0; i < 9; ++i) {
                EXPECT_FLOAT_EQ(m[i], expected[i]);
            }
            for (const auto* alignment :
                 {&session.memory.alignment_undistorted, &session.memory.alignment_stabilized}) {
                EXPECT_EQ(elements_of(*alignment), kIdentity);
            }
            EXPECT_EQ(session.memory.output.stabilization_transform.matrices.transformDefinedOn
                          .widthPixels,
                      kWidth);
        };
        EXPECT_EQ(frame(good), "");
        expect_transforms();
        // Nothing of a frame is remembered: the same one again is right again.
        EXPECT_EQ(frame(good), "");

        is_input bad = good;
        bad.gyro = {nullptr, 3};
        bad.ois = {nullptr, 2};
        bad.window_regions = {};
        bad.active_sensor_idx = 7;
        bad.frame_time_input = {0, 0, 0, 99};
        MatrixWarp flat({});
        bad.sat = &flat.warp;
        const std::string log = frame(bad);
        expect_transforms();
        EXPECT_EQ(count_of(log, "Invalid input structs for distortion correction"), 1u) << log;
        EXPECT_EQ(count_of(log, "Invalid input structs for stabilization"), 1u) << log;
        EXPECT_EQ(count_of(log, "Invalid sensor index - 7"), 3u) << log;

        is_input without_samples = good;
        without_samples.gyro = {};
        EXPECT_EQ(count_of(frame(without_samples), "Invalid first frame, no gyro data!"), 1u);
        session.memory.output.stabilization_transform.matrices.perspMatrices = nullptr;
        session.memory.output.alignment_matrix_domain_undistorted.perspMatrices = nullptr;
        frame(good);
        EXPECT_FALSE(session.memory.output.stabilization_transform.matrices.enable);
    }
}

TEST(Sat, StandsBetweenTheRotationAndTheInput) {
    is_init_common_data common = valid_common();
    common.is_sat_enabled = true;
    Session plain;
    Session aligned(common);
    // Two percent larger, turned a little, and moved: small enough to leave the retreat alone.
    const Elements sat = {1.02f, 0.01f, 12, -0.01f, 1.02f, -7, 0, 0, 1};
    MatrixWarp warp(sat);
    aligned.stream.sat = &warp.warp;
    for (uint32_t f = 0; f < 40; ++f) {
        plain.run(f, f + 1);
        EXPECT_EQ(log_of([&] { aligned.run(f, f + 1); }), "");
        // S * B on centred coordinates, where the given matrix stands as it is.
        const Elements b = elements_of(plain.memory.transform);
        const Elements m = elements_of(aligned.memory.transform);
        for (size_t row = 0; row < 3; ++row) {
            for (size_t column = 0; column < 3; ++column) {
                double expected = 0.0;
                for (size_t k = 0; k < 3; ++k) {
                    expected += static_cast<double>(sat[3 * row + k]) * b[3 * k + column];
                }
                EXPECT_NEAR(m[3 * row + column], expected, column == 2 ? 2e-4 : 1e-6) << f;
            }
        }
        // What one frame was to the next has nothing to do with it.
        EXPECT_EQ(elements_of(aligned.memory.alignment_stabilized),
                  elements_of(plain.memory.alignment_stabilized));
    }
}

TEST(Sat, DrawsTheCorrectionBackWhereItsPictureEnds) {
    is_init_common_data common = valid_common();
    common.is_sat_enabled = true;
    Session plain;
    Session aligned(common);
    // 80 of the 96 pixels of margin on the right are gone, so a turn that way must stop early.
    MatrixWarp warp({1, 0, 80, 0, 1, 0, 0, 0, 1});
    aligned.stream.sat = &warp.warp;
    const auto turn = sampled(constant_rate(0.0, -0.4, 0.0), 1000000, 12000000, 2000);
    plain.stream.samples = aligned.stream.samples = turn;
    float plain_least = 0.0f, aligned_least = 0.0f, plain_most = 0.0f, aligned_most = 0.0f;
    for (uint32_t f = 0; f < 20; ++f) {
        plain.run(f, f + 1);
        log_of([&] { aligned.run(f, f + 1); });
        const float p = plain.memory.transform.T[2];
        const float a = aligned.memory.transform.T[2] - 80.0f;
        plain_least = std::min(plain_least, p);
        plain_most = std::max(plain_most, p);
        aligned_least = std::min(aligned_least, a);
        aligned_most = std::max(aligned_most, a);
    }
    // The correction lags behind the turn, to one side only.
    const bool lags_to_left = -plain_least > plain_most;
    EXPECT_GT(std::max(-plain_least, plain_most), 60.0f);
    MatrixWarp other({1, 0, -80, 0, 1, 0, 0, 0, 1});
    Session opposite(common);
    opposite.stream.sat = &other.warp;
    opposite.stream.samples = turn;
    float opposite_reach = 0.0f;
    for (uint32_t f = 0; f < 20; ++f) {
        log_of([&] { opposite.run(f, f + 1); });
        opposite_reach =
            std::max(opposite_reach, std::fabs(opposite.memory.transform.T[2] + 80.0f));
    }
    const float aligned_reach = lags_to_left ? -aligned_least : aligned_most;
    EXPECT_LT(std::min(aligned_reach, opposite_reach), 25.0f);
    EXPECT_GT(std::max(aligned_reach, opposite_reach), 60.0f);
}

TEST(Sat, PassesThroughWhenTold) {
    is_init_common_data common = common_of(IS_OPT_TEST_SAT_PASS_THROUGH);
    common.is_sat_enabled = true;
    Session session(common);
    session.run(0, 1);
    EXPECT_EQ(elements_of(session.memory.transform), kIdentity);
    const Elements sat = {1.02f, 0.01f, 12, -0.01f, 1.02f, -7, 0, 0, 1};
    MatrixWarp warp(sat);
    session.stream.sat = &warp.warp;
    session.run(1, 2);
    const Elements m = elements_of(session.memory.transform);
    for (size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(m[i], sat[i], 1e-5) << i;
    }
    session.stream.sat = nullptr;
    session.run(2, 3);
    EXPECT_EQ(elements_of(session.memory.transform), kIdentity);
}

TEST(Sat, IsIgnoredWhereItWasNotAnnounced) {
    Session plain;
    Session surprised;
    MatrixWarp warp({1, 0, 80, 0, 1, 0, 0, 0, 1});
    surprised.stream.sat = &warp.warp;
    plain.run(0, 5);
    const std::string log = log_of([&] { surprised.run(0, 5); });
    EXPECT_EQ(count_of(log, "SAT was passes as input on frame #5. SAT will be ignored"), 1u) << log;
    EXPECT_EQ(count_of(log, "\n"), 5u) << log;
    EXPECT_EQ(elements_of(surprised.memory.transform), elements_of(plain.memory.transform));
}

is_init_common_data dis_common() {
    is_init_common_data common = valid_common();
    common.is_dis_enabled = true;
    return common;
}

is_init_sensor_data dis_sensor() {
    is_init_sensor_data sensor = valid_sensor();
    sensor.tuning.dis.enable = 1;
    sensor.tuning.dis.confidence_threshold = 100;
    return sensor;
}

TEST(Dis, ChangesNothingAndWantsItsVectors) {
    Session plain;
    Session with_dis(dis_common(), {dis_sensor()});
    for (uint32_t f = 0; f < 20; ++f) {
        plain.run(f, f + 1);
        // The call of both passes in one has no place for vectors.
        const std::string log = log_of([&] { with_dis.run(f, f + 1); });
        EXPECT_EQ(count_of(log, "NULL pointer\n"), 1u) << log;
        EXPECT_EQ(count_of(log, "Invalid motion vectors, DIS will be disabled for this frame"), 1u);
        EXPECT_EQ(count_of(log,
                           "stabilization are sub-optimal (# errors, # warnings # info) : "
                           "(0, 1, 0)"),
                  1u)
            << log;
        EXPECT_EQ(count_of(log, "\n"), 3u) << log;
        EXPECT_EQ(elements_of(with_dis.memory.transform), elements_of(plain.memory.transform));
    }
}

TEST(Dis, TakesItsVectorsInTheSecondPass) {
    Session session(dis_common(), {dis_sensor()});
    const std::vector<uint32_t> words = {0x100CE555, 2, 1, 0, 0, 0, 100};
    is_motion_vectors_input vectors{};
    vectors.motion_vectors = words.data();
    vectors.motion_vectors_buff_size_byte = static_cast<uint32_t>(words.size() * 4);
    const std::string log = log_of([&] {
        for (uint32_t f = 0; f < 10; ++f) {
            is_frame_times times = session.stream.times;
            times.sof = sof(f);
            is_time_intervals intervals{};
            eis2_get_time_intervals(session.instance.get(), &times, 0, &intervals);
            const is_input input = session.stream.input_for(sof(f), intervals.gyro);
            ++session.stream.frame_id;
            is_input_distortion_correction first{};
            first.frame_id = input.frame_id;
            first.frame_time_input = input.frame_time_input;
            first.gyro = input.gyro;
            first.window_regions = input.window_regions;
            is_output_distortion_correction first_out = session.memory.first_pass();
            eis_internal_process_distortion_correction(session.instance.get(), &first, &first_out);
            is_input_stabilize second{};
            second.frame_id = input.frame_id;
            second.frame_time_input = input.frame_time_input;
            second.dis_motion_vectors = &vectors;
            is_output_stabilize second_out = session.memory.second_pass();
            eis_internal_process_stabilize(session.instance.get(), &second, &second_out);
            EXPECT_TRUE(second_out.output_valid) << f;
        }
    });
    EXPECT_EQ(log, "");
}

TEST(Dis, EndsAndStartsWithItsStream) {
    Session session(dis_common(), {dis_sensor()});
    for (const uint32_t begin : {0u, 60u}) {
        log_of([&] { session.run(begin, begin + 30); });
        // Six entries wait, and the filter's own frame behind them.
        std::string log;
        for (uint32_t f = 0; f < 7; ++f) {
            log += log_of([&] {
                EXPECT_EQ(
                    session.stream.frame(sof(begin + 30 + f), session.memory, false).process_status,
                    EIS_SUCCESS);
            });
            EXPECT_FALSE(session.memory.output.output_valid);
        }
        EXPECT_EQ(log, "");
    }
    const std::string log = log_of([&] { session.run(120, 130); });
    EXPECT_EQ(count_of(log, "Pause-Resume or New-Stream: 1, 1, 30, 7"), 1u) << log;
    EXPECT_EQ(count_of(log, "_dis.update() failed"), 0u) << log;
}

TEST(Upstream, TakesItsShareOfTheMargins) {
    // Half of the virtual domain is left: no crop of nine tenths fits in it.
    MatrixWarp half({0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 1}, VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT);
    MatrixWarp nothing(kIdentity, VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT);
    Session plain;
    Session same;
    Session tight;
    same.stream.upstream = &nothing.warp;
    tight.stream.upstream = &half.warp;
    for (uint32_t f = 0; f < 20; ++f) {
        plain.run(f, f + 1);
        EXPECT_EQ(log_of([&] { same.run(f, f + 1); }), "");
        const std::string log = log_of([&] { tight.run(f, f + 1); });
        EXPECT_EQ(count_of(log, "No feasible solution can be found due to severe shake."), 1u)
            << log;
        EXPECT_EQ(elements_of(same.memory.transform), elements_of(plain.memory.transform));
    }
    // Nothing is corrected any more, neither as a whole nor by rows.
    for (size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(tight.memory.transform.T[i], kIdentity[i], 1e-4) << i;
    }
    EXPECT_EQ(tight.memory.distortion_grid[0].x, -1020.0f);
    EXPECT_NE(plain.memory.distortion_grid[0].x, -1020.0f);
}

TEST(Upstream, IsIgnoredWhenItIsWrong) {
    MatrixWarp half({0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 1}, 1920, 1080);
    Session session;
    session.stream.upstream = &half.warp;
    std::string log = log_of([&] { session.run(0, 1); });
    EXPECT_EQ(count_of(log, "matrices is not in virtual domain"), 1u) << log;
    EXPECT_EQ(count_of(log, "sub-optimal (# errors, # warnings # info) : (0, 1, 0)"), 1u) << log;
    EXPECT_EQ(count_of(log, "No feasible solution"), 0u) << log;
    half.warp.matrices.numRows = 2;
    log = log_of([&] { session.run(1, 2); });
    EXPECT_EQ(count_of(log, "(numRows, numColumns): (2, 1)"), 1u) << log;
    // Right by its header, but nothing that points can go through.
    half.warp.matrices.numRows = 1;
    half.warp.matrices.transformDefinedOn = {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT};
    half.matrix = {};
    log = log_of([&] { session.run(2, 3); });
    EXPECT_EQ(count_of(log, "NcLibInternalApplyTopologyOnPoints() failed: 0x04000001"), 1u) << log;
    EXPECT_EQ(count_of(log, "No feasible solution"), 0u) << log;
}

}  // namespace
}  // namespace steadywarp::test
