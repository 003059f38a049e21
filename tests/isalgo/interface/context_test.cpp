// SPDX-License-Identifier: Apache-2.0
#include "interface/eis_context.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "interface/device_rotation.hpp"
#include "sensors/bias_estimator.hpp"
#include "sensors/mid_point_orientation.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"
#include "validation/frame_validation.hpp"
#include "validation/warp_input_validation.hpp"

namespace steadywarp::test {
namespace {

TEST(Context, ABrokenGuardStopsEveryEntryButNotTheRelease) {
    using Guard = uint64_t& (*)(eis_context&);
    constexpr Guard kGuards[] = {
        [](eis_context& c) -> uint64_t& { return c._start_guard; },
        [](eis_context& c) -> uint64_t& { return c._end_guard; },
        [](eis_context& c) -> uint64_t& { return c._samplers._start_guard; },
        [](eis_context& c) -> uint64_t& { return c._samplers._end_guard; },
        [](eis_context& c) -> uint64_t& { return c.distortion._start_guard; },
        [](eis_context& c) -> uint64_t& { return c.distortion._end_guard; },
        [](eis_context& c) -> uint64_t& { return c._stabilize->_start_guard; },
        [](eis_context& c) -> uint64_t& { return c._stabilize->_end_guard; },
    };
    const is_init_common_data common = valid_common();
    const is_init_sensor_data sensor = valid_sensor();
    const is_frame_times times = {1000000, 33333, 10000, 25000};
    for (const Guard guard : kGuards) {
        eis_context* context = nullptr;
        ASSERT_EQ(eis2_initialize(&context, &common, &sensor, 1), EIS_SUCCESS);
        char text[9] = {};
        std::memcpy(text, &guard(*context), 8);
        EXPECT_TRUE(std::string(text) == "EIS3STRT" || std::string(text) == "EIS3XEND") << text;
        guard(*context) ^= 1u << 20;
        is_time_intervals intervals{};
        is_margins margins{};
        is_input input{};
        OutputMemory memory;
        is_output_distortion_correction first = memory.first_pass();
        is_output_stabilize second = memory.second_pass();
        const is_input_distortion_correction first_input{};
        const is_input_stabilize second_input{};
        const std::string log = log_of([&] {
            for (const uint32_t status :
                 {eis2_get_time_intervals(context, &times, 0, &intervals),
                  eis2_get_stabilization_margin(context, 0, &margins),
                  eis2_process(context, &input, &memory.output),
                  eis_internal_process_distortion_correction(context, &first_input, &first),
                  eis_internal_process_stabilize(context, &second_input, &second)}) {
                EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT);
            }
        });
        EXPECT_EQ(count_of(log, "Invalid context"), 5u) << log;
        EXPECT_EQ(eis2_deinitialize(&context), EIS_SUCCESS);
        EXPECT_EQ(context, nullptr);
    }
}

TEST(Context, KeepsWhatTheConfigurationSays) {
    is_init_common_data common = valid_common();
    common.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
    common.operation_mode = IS_OPT_UNDISTORTION_ONLY;
    common.force_split_grid_matrix = true;
    Instance distortion_only(common, {valid_sensor()});
    const eis_context& context = *distortion_only.get();
    EXPECT_EQ(context.operation_mode, uint32_t{IS_OPT_REGULAR});
    EXPECT_EQ(context._stabilize, nullptr);
    EXPECT_EQ(context.distortion.grid_buffer, nullptr);
    EXPECT_TRUE(context.is_intact());
    EXPECT_TRUE(context.force_split_grid_matrix);
    EXPECT_EQ(context._samplers._num_interp_points, 51u);
    const sensor_runtime_record& sensor = context.sensors[0];
    EXPECT_DOUBLE_EQ(sensor.crop_ratio_x, 0.9);
    EXPECT_DOUBLE_EQ(sensor.crop_ratio_y, 0.9);
    EXPECT_EQ(sensor.upscale, 1.0);
    const Camera& camera = context.distortion.stage.cameras()[0];
    EXPECT_DOUBLE_EQ(camera.focal_x, 1500.0);
    EXPECT_DOUBLE_EQ(camera.center_x, 959.5);
    EXPECT_DOUBLE_EQ(camera.center_y, 539.5);
}

TEST(Context, TheInstanceMadeLastRotatesTheBias) {
    is_init_sensor_data front = valid_sensor();
    front.camera_position = 1;
    Instance a(valid_common(), {valid_sensor()});
    Instance b(valid_common(), {front});
    EXPECT_EQ(BiasEstimatorSingleton::instance(nullptr).rotate.load(),
              &b.get()->_samplers.gyro.axis_map());
    // A bias that somebody estimates is taken off the rates.
    BiasEstimatorSingleton::instance(nullptr).bias[1] = 0.25;
    _sample_data_s samples[2] = {{{0.0, 0.25, 0.0}, 1000}, {{0.0, 0.25, 0.0}, 2000000}};
    GyroHandler& gyro = b.get()->_samplers.gyro;
    gyro.integrate_gyro({samples, 2}, false);
    BiasEstimatorSingleton::instance(nullptr).bias[1] = 0.0;
    EXPECT_NEAR(gyro.samples().newest().data[1], 0.0, 0.5);
    EXPECT_EQ(gyro.samples().newest().data[1], gyro.samples().newest().data[0]);
}

TEST(Context, CountsDroppedFramesAndFocus) {
    Instance instance(valid_common(), {valid_sensor()});
    Stream stream(instance.get());
    stream.samples = sampled(constant_rate(0.02, 0.0, 0.0), 1000000, 6000000, 2000);
    OutputMemory memory;
    const auto newest = [&]() -> const FilterInput& {
        return instance.get()->distortion.stage.filter_inputs().newest();
    };
    stream.focus_distance = 2.0f;
    stream.frame(2000000, memory);
    EXPECT_EQ(newest().focus_distance_cm, 50u);
    EXPECT_EQ(newest().dropped_frames, 0u);
    log_of([&] { stream.frame(2066666, memory); });
    EXPECT_EQ(newest().dropped_frames, 1u);
    stream.focus_distance = 0.0f;
    stream.frame(2099999, memory);
    EXPECT_EQ(newest().focus_distance_cm, 100000000u);
    stream.focus_distance = 0.5f;
    stream.frame(2133332, memory);
    // At 60 fps a frame without a distance keeps the last one.
    stream.focus_distance = 0.0f;
    stream.times = {0, 16667, 8000, 12000};
    stream.frame(2149999, memory);
    EXPECT_EQ(newest().focus_distance_cm, 200u);
    EXPECT_EQ(newest().readout_duration, 12000u);
    EXPECT_EQ(newest().first_ts, 2145999u);
    EXPECT_EQ(newest().last_ts, 2157999u);
}

TEST(DeviceRotation, TakesAPointFromOneMomentToAnother) {
    is_init_sensor_data tele = valid_sensor();
    tele.tuning.general.focal_length = 3000;
    Instance instance(valid_common(), {valid_sensor(), tele});
    Stream stream(instance.get());
    // The device turns so that the camera looks to its right at 0.1 rad/s.
    stream.samples = sampled(constant_rate(0.0, -0.1, 0.0), 1000000, 6000000, 2000);
    OutputMemory memory;
    stream.frame(2000000, memory);
    stream.frame(2033333, memory);
    NcLibPerspTransformSingle matrix{};
    NcLibWarpMatrices out{};
    out.perspMatrices = &matrix;
    const device_moment now = {centred_windows(), 2030000, 0};
    ASSERT_EQ(get_device_rotation_delta(*instance.get(), now, now, out), EIS_SUCCESS);
    for (int i = 0; i < 9; ++i) {
        EXPECT_NEAR(matrix.T[i], i % 4 == 0 ? 1.0f : 0.0f, 1e-9) << i;
    }
    EXPECT_EQ(out.transformDefinedOn.widthPixels, kWidth);
    // 20 ms earlier the camera looked 2 mrad to the left: the centre was seen further right.
    const device_moment before = {centred_windows(), 2010000, 0};
    ASSERT_EQ(get_device_rotation_delta(*instance.get(), before, now, out), EIS_SUCCESS);
    EXPECT_NEAR(matrix.T[2] / matrix.T[8], 1500.0 * std::tan(0.002), 1e-3);
    EXPECT_NEAR(matrix.T[5] / matrix.T[8], 0.0, 1e-3);
    // The tele camera sees it twice as far off.
    const device_moment tele_before = {centred_windows(), 2010000, 1};
    ASSERT_EQ(get_device_rotation_delta(*instance.get(), tele_before, now, out), EIS_SUCCESS);
    EXPECT_NEAR(matrix.T[2] / matrix.T[8], 3000.0 * std::tan(0.002), 2e-3);
    EXPECT_NEAR(matrix.T[0], 2.0, 1e-5);
    // A moment that the samples do not reach.
    const device_moment later = {centred_windows(), 2500000, 0};
    const std::string log = log_of([&] {
        EXPECT_EQ(get_device_rotation_delta(*instance.get(), now, later, out), EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(log, "Failed to get MOF gyro sample: 2500000"), 1u) << log;
    EXPECT_EQ(count_of(log,
                       "DST: _samplers.gyro_interp failed for (dst_sensor_index, "
                       "dst_mof_gyro_time, _prev_frame_id_dist_corr): 0, 2500000, 2"),
              1u)
        << log;
}

TEST(DeviceRotation, TurnsWithTheGimbalThatTheLensHangsIn) {
    is_init_common_data common = valid_common();
    common.is_ois_enabled = true;
    is_init_sensor_data sensor = valid_sensor();
    sensor.tuning.top.ois_frequency = 500;
    sensor.tuning.ois.module_type = kOisGimbalA;
    sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
    sensor.tuning.ois.data_conversion_y_tab[2] = 0.5f;
    Instance instance(common, {sensor, sensor});
    Stream stream(instance.get());
    // The device keeps still. The gimbal turns by 10 units a second, each half a degree.
    stream.samples = sampled(constant_rate(0.0, 0.0, 0.0), 1000000, 6000000, 2000);
    stream.ois_samples = sampled(
        [](uint64_t ts) {
            return constant_rate(0.0, 10.0 * (static_cast<double>(ts) - 2e6) * 1e-6, 0.0)(ts);
        },
        1000000, 2048000, 2000);
    OutputMemory memory;
    stream.frame(2000000, memory);
    NcLibPerspTransformSingle matrix{};
    NcLibWarpMatrices out{};
    out.perspMatrices = &matrix;
    const device_moment now = {centred_windows(), 2025000, 0};
    const device_moment before = {centred_windows(), 2005000, 0};
    ASSERT_EQ(get_device_rotation_delta(*instance.get(), before, now, out), EIS_SUCCESS);
    EXPECT_NEAR(matrix.T[2] / matrix.T[8], 1500.0 * std::tan(0.1 * 3.14159265 / 180.0), 1e-3);
    EXPECT_NEAR(matrix.T[5] / matrix.T[8], 0.0, 1e-3);
    // The gyroscope's samples reach this moment, those of the lens do not.
    log_of([&] { stream.frame(2033333, memory); });
    const device_moment later = {centred_windows(), 2055000, 0};
    const std::string log = log_of([&] {
        EXPECT_EQ(get_device_rotation_delta(*instance.get(), later, now, out), EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(log, "Failed to get MOF gyro sample: 2055000"), 1u) << log;
    EXPECT_EQ(count_of(log, "SRC: _samplers.gyro_interp failed"), 1u) << log;
    // Nor has the other sensor's lens told anything yet.
    const device_moment other = {centred_windows(), 2025000, 1};
    const std::string unheard = log_of([&] {
        EXPECT_EQ(get_device_rotation_delta(*instance.get(), now, other, out), EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(unheard,
                       "filter extrapolated 5 points with zero value since no valid samples exist "
                       "in buffer"),
              2u)
        << unheard;
}

TEST(FrameTimes, TellDropsPausesAndSwitchesApart) {
    struct Row {
        const char* what;
        uint64_t sof, prev_sof;
        bool switched;
        bool valid;
        const char* tag;  // NULL: silence
    };
    constexpr Row kRows[] = {
        {"the next frame", 1033333, 1000000, false, true, nullptr},
        {"older", 999999, 1000000, false, false, "IS0007"},
        {"older, behind a switch", 999999, 1000000, true, true, "IS0516"},
        {"one frame older, behind a switch", 966667, 1000000, true, true, "IS0516"},
        {"more than one frame older, behind a switch", 966666, 1000000, true, false, "IS0007"},
        {"equal", 1000000, 1000000, false, false, "IS0008"},
        {"equal, behind a switch", 1000000, 1000000, true, true, "IS0516"},
        {"1.2 frames", 1039999, 1000000, false, true, nullptr},
        {"more than 1.2 frames", 1040001, 1000000, false, true, "[HIGH] IS1028"},
        {"just below half a second", 1499999, 1000000, false, true, "[HIGH] IS1028"},
        {"half a second", 1500000, 1000000, false, true, "[HIGH] IS1024"},
        {"the first frame", 1500000, 0, false, true, nullptr},
    };
    for (const Row& row : kRows) {
        bool valid = !row.valid;
        const std::string log = log_of([&] {
            valid = is_valid_frame_times({row.sof, 33333, 10000, 25000}, row.prev_sof, 33333,
                                         row.switched);
        });
        EXPECT_EQ(valid, row.valid) << row.what;
        if (row.tag == nullptr) {
            EXPECT_EQ(log, "") << row.what;
        } else {
            EXPECT_EQ(count_of(log, row.tag), 1u) << row.what << log;
        }
    }
    // An exposure as long as the frame and a reserve is reported.
    EXPECT_EQ(longest_time_in_frame(33333), 33382u);
    EXPECT_EQ(
        count_of(log_of([] {
                     is_valid_frame_times({1033333, 33333, 33382, 25000}, 1000000, 33333, false);
                 }),
                 "Invalid exposure time (exposure time, maximal frame time): 33382 , 33382"),
        1u);
    // The message rounds where the count of dropped frames cuts.
    EXPECT_EQ(
        count_of(log_of([] {
                     is_valid_frame_times({1083333, 33333, 10000, 25000}, 1000000, 33333, false);
                 }),
                 "frame SOF): 2, 1083333, 1000000"),
        1u);
}

TEST(Windows, AreHeldToTheirPicture) {
    struct Row {
        const char* what;
        is_crop_window window;
        bool valid;
        const char* tag;
    };
    constexpr Row kRows[] = {
        {"full", {100, 80, 100, 80, 0, 0}, true, nullptr},
        {"centred", {100, 80, 50, 40, 25, 20}, true, nullptr},
        {"a little off", {1000, 800, 500, 400, 256, 200}, true, nullptr},
        {"off centre", {1000, 800, 500, 400, 258, 200}, true, "IS0527"},
        {"no size", {100, 80, 0, 40, 25, 20}, false, "IS0010"},
        {"no picture", {0, 80, 50, 40, 25, 20}, false, "IS0010"},
        {"over the right edge", {100, 80, 50, 40, 51, 20}, false, "IS0011"},
        {"over the lower edge", {100, 80, 50, 40, 25, 41}, false, "IS0011"},
    };
    for (const Row& row : kRows) {
        bool valid = !row.valid;
        const std::string log = log_of([&] { valid = is_valid_crop_roi(row.window); });
        EXPECT_EQ(valid, row.valid) << row.what;
        EXPECT_EQ(count_of(log, row.tag != nullptr ? row.tag : "\n"), row.tag != nullptr ? 1u : 0u)
            << row.what << log;
    }
}

TEST(SatMatrix, MustBeOneMatrixThatCanBeDividedBy) {
    NcLibPerspTransformSingle matrix = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    struct Row {
        const char* what;
        bool matrices, grid;
        uint32_t rows;
        float last;
        bool has_array, enabled, valid;
        const char* text;
    };
    constexpr Row kRows[] = {
        {"nothing in it", false, false, 0, 0, true, false, true, ""},
        {"one matrix", true, false, 1, 1, true, true, true, ""},
        {"not announced", true, false, 1, 1, true, false, true, "SAT will be ignored"},
        {"a grid alone", false, true, 1, 1, true, true, false, "grid is not supported"},
        {"two matrices", true, false, 2, 1, true, true, false, "use only single SAT matrix\n"},
        {"a grid beside", true, true, 1, 1, true, true, true, "grid is ignored"},
        {"a last element of 0", true, false, 1, 0, true, true, false, "devision by zero"},
        {"no array", true, false, 1, 1, false, true, false, "NULL pointer: sat"},
    };
    for (const Row& row : kRows) {
        NcLibWarp sat{};
        sat.matrices.enable = row.matrices;
        sat.grid.enable = row.grid;
        sat.matrices.numRows = row.rows;
        sat.matrices.numColumns = 1;
        sat.matrices.perspMatrices = row.has_array ? &matrix : nullptr;
        matrix.T[8] = row.last;
        bool valid = !row.valid;
        const std::string log = log_of([&] { valid = is_valid_sat_matrix(sat, row.enabled, 5); });
        EXPECT_EQ(valid, row.valid) << row.what;
        EXPECT_NE(log.find(row.text), std::string::npos) << row.what << log;
    }
}

TEST(MotionVectors, AreReadOnlyAsFarAsTheyReach) {
    const auto words = [](uint32_t count, uint32_t fourth) {
        std::vector<uint32_t> w = {0x100CE555, 2, count};
        for (uint32_t i = 0; i < count; ++i) {
            w.insert(w.end(), {0, 0, 0, fourth});
        }
        return w;
    };
    auto bad_magic = words(2, 0);
    bad_magic[0] = 1;
    auto bad_model = words(2, 0);
    bad_model[1] = 3;
    auto bad_count = words(2, 0);
    bad_count[2] = 3;
    struct Row {
        const char* what;
        std::vector<uint32_t> buffer;
        int32_t size_delta;
        bool first_frame, valid;
        const char* text;
    };
    const std::vector<Row> rows = {
        {"two vectors", words(2, 0x1FFF | 4u << 13), 0, false, true, ""},
        {"none", words(0, 0), 0, false, true, "0 motion vectors received"},
        {"another buffer", bad_magic, 0, false, false, "Invalid motion vectors buffer"},
        {"another buffer on a first frame", bad_magic, 0, true, true, ""},
        {"a byte short", words(2, 0), -1, false, false, "Invalid buffer size: 43 [bytes]"},
        {"two bytes in all", words(0, 0), -10, false, false, "Invalid motion vectors buffer"},
        {"a wrong count", bad_count, 0, false, false, "(expected, actual): 2, 3"},
        {"too many", words(769, 0), 0, false, false, "(maximal value, actual): 768, 769"},
        {"no such model", bad_model, 0, false, false, "Invalid matrix model type: 3"},
        {"a score of -4096", words(1, 0x1000), 0, false, false,
         "Invalid score value for MV #0: -4096"},
        {"a robustness of -4", words(2, 0xCu << 13), 0, false, false,
         "Invalid robustness value for MV #1: -4"},
        {"a robustness of 5", words(2, 5u << 13), 0, false, false,
         "Total number of MV's with errors: 2"},
    };
    for (const Row& row : rows) {
        is_motion_vectors_input input{};
        input.motion_vectors = row.buffer.data();
        input.motion_vectors_buff_size_byte =
            static_cast<uint32_t>(row.buffer.size() * 4) + static_cast<uint32_t>(row.size_delta);
        bool valid = !row.valid;
        const std::string log =
            log_of([&] { valid = is_valid_motion_vectors(&input, 7, row.first_frame); });
        EXPECT_EQ(valid, row.valid) << row.what << log;
        EXPECT_NE(log.find(row.text), std::string::npos) << row.what << log;
    }
    EXPECT_FALSE(is_valid_motion_vectors(nullptr, 7, true));
}

}  // namespace
}  // namespace steadywarp::test
