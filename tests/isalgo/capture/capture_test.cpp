// SPDX-License-Identifier: Apache-2.0
// The capture as a caller sees it: statuses, messages, and rows whose text was worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "steadywarp/eis_capture.h"
#include "support/records.hpp"
#include "support/scratch_folder.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

/// A capture of one sensor with everything in it.
class Log {
  public:
    explicit Log(uint32_t is_type = IS_TYPE_EIS_2_0, const char* prefix = "run",
                 uint32_t flags = IS_UTILS_FLAG_ALL) {
        _common.is_type = is_type;
        const eis_utils_log_config config = {&_common, &_sensor, 1, flags, prefix};
        EXPECT_EQ(eis_utils_log_init(&_handle, &config), EIS_SUCCESS);
    }
    ~Log() { eis_utils_log_destroy(&_handle); }

    eis_utils_log* get() const { return _handle; }

    uint32_t write(const eis_utils_log_data& data) const {
        return eis_utils_log_write(_handle, &data);
    }

  private:
    is_init_common_data _common = valid_common();
    is_init_sensor_data _sensor = valid_sensor();
    eis_utils_log* _handle = nullptr;
};

/// The rows of a file behind its header.
std::string rows_of(const ScratchFolder& folder, const std::string& name) {
    const std::string text = read_text(folder.captures() / name);
    return text.substr(text.find('\n') + 1);
}

std::string header_of(const ScratchFolder& folder, const std::string& name) {
    const std::string text = read_text(folder.captures() / name);
    return text.substr(0, text.find('\n') + 1);
}

TEST(Capture, InitRefusesWhatItCannotRecord) {
    const is_init_common_data common = valid_common();
    const std::vector<is_init_sensor_data> sensors(17, valid_sensor());
    NcLibWarpGrid no_memory{};
    no_memory.enable = true;
    no_memory.numRows = 27;
    no_memory.numColumns = 35;
    is_init_sensor_data in2out = valid_sensor();
    in2out.ldc_in2out = &no_memory;
    is_init_sensor_data out2in = valid_sensor();
    out2in.ldc_out2in = &no_memory;
    const uint32_t all = IS_UTILS_FLAG_ALL;
    const struct {
        eis_utils_log_config config;
        uint32_t status;
        const char* message;
    } rows[] = {
        {{nullptr, sensors.data(), 1, all, "a"},
         EIS_ERROR_INVALID_INPUT,
         "IS0003: V2: eis_utils_log_init("},
        {{nullptr, sensors.data(), 1, all, "a"}, EIS_ERROR_INVALID_INPUT, ": NULL Input\n"},
        {{&common, nullptr, 1, all, "a"}, EIS_ERROR_INVALID_INPUT, ": NULL Input\n"},
        {{&common, sensors.data(), 0, all, "a"}, EIS_ERROR_INVALID_INPUT, ": NULL Input\n"},
        {{&common, sensors.data(), 1, IS_UTILS_FLAG_NONE, "a"},
         EIS_ERROR_INVALID_INPUT,
         ": IS_UTILS_FLAG_NONE is set, no output is defined. eis_utils_log_init() should not have "
         "being called\n"},
        {{&common, sensors.data(), 17, all, "a"},
         EIS_ERROR_INVALID_INPUT,
         ": Invalid number of sensors (17)\n"},
        {{&common, &in2out, 1, all, "a"}, EIS_ERROR_NO_MEMORY, ": ldc_in2out copy failed\n"},
        {{&common, &out2in, 1, all, "a"}, EIS_ERROR_NO_MEMORY, ": ldc_out2in copy failed\n"},
    };
    for (const auto& row : rows) {
        auto* handle = reinterpret_cast<eis_utils_log*>(&no_memory);
        uint32_t status = 0;
        const std::string log = log_of([&] { status = eis_utils_log_init(&handle, &row.config); });
        EXPECT_EQ(status, row.status) << row.message;
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(count_of(log, row.message), 1u) << log;
        EXPECT_EQ(count_of(log, "[ERR]  IS0002: V2: eis_utils_log_init("), 1u) << log;
        EXPECT_EQ(count_of(log, ": eis_utils_log_init() failed\n"), 1u) << log;
    }
    log_of([&] {
        EXPECT_EQ(eis_utils_log_init(nullptr, &rows[0].config), EIS_ERROR_INVALID_INPUT);
        bool is_opened = false;
        EXPECT_EQ(eis_utils_log_open(nullptr, "a"), EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(eis_utils_log_is_opened(nullptr, &is_opened), EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(eis_utils_log_write(nullptr, nullptr), EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(eis_utils_log_flush(nullptr), EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(eis_utils_log_close(nullptr), EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(eis_utils_log_destroy(nullptr), EIS_SUCCESS);
    });
}

TEST(Capture, OpensClosesAndOpensAgain) {
    const ScratchFolder folder;
    const Log log;
    bool is_opened = true;
    const auto opened = [&] {
        EXPECT_EQ(eis_utils_log_is_opened(log.get(), &is_opened), EIS_SUCCESS);
        return is_opened;
    };
    EXPECT_FALSE(opened());
    is_output output{};
    eis_utils_log_data data{};
    data.is_output = &output;
    std::string text = log_of([&] {
        EXPECT_EQ(log.write(data), EIS_ERROR_GENERAL);
        EXPECT_EQ(eis_utils_log_flush(log.get()), EIS_ERROR_GENERAL);
    });
    EXPECT_EQ(count_of(text, "No log files are open"), 2u);
    EXPECT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
    EXPECT_TRUE(opened());
    text = log_of([&] { EXPECT_EQ(eis_utils_log_open(log.get(), "other"), EIS_SUCCESS); });
    EXPECT_EQ(count_of(text, "[HIGH] IS1027: V2: openlogs("), 1u);
    EXPECT_EQ(count_of(text,
                       "Closing existing log files with prefix: run, and opening new log "
                       "files with prefix other\n"),
              1u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.captures()), {}), 48);
    EXPECT_EQ(eis_utils_log_close(log.get()), EIS_SUCCESS);
    EXPECT_FALSE(opened());
    text = log_of([&] { EXPECT_EQ(eis_utils_log_close(log.get()), EIS_SUCCESS); });
    EXPECT_EQ(count_of(text, "[HIGH] IS1027"), 1u);
    EXPECT_EQ(count_of(text, "Close was called twice\n"), 1u);

    const struct {
        const char* name;  ///< of the file that cannot be made
        const char* message;
    } rows[] = {
        {"distortion_correction_grid.csv", "Cannot init grid output file"},
        {"sat_grid.csv", "Cannot init SAT grid file"},
        {"sat_matrices.csv", "Cannot init SAT matrices file"},
        {"pre_eis_transform_margins_reduction_grid.csv",
         "Cannot init Pre-EIS margin reduction transform grid file"},
        {"pre_eis_transform_margins_reduction_matrix.csv",
         "Cannot init Pre-EIS margin reduction transform matrices file"},
        {"init_data.ini", "Cannot create init INI file"},
    };
    for (const auto& row : rows) {
        const std::string prefix = "bad" + std::to_string(&row - rows);
        const auto path = folder.captures() / (prefix + "_eis2_" + row.name);
        std::filesystem::create_directory(path);
        text = log_of([&] {
            EXPECT_EQ(eis_utils_log_open(log.get(), prefix.c_str()), EIS_ERROR_CAPTURE_FILE);
        });
        EXPECT_EQ(count_of(text, std::string(row.message) + "\n"), 1u) << text;
        EXPECT_EQ(count_of(text, "Failed to construct IsLog\n"), 1u);
        EXPECT_FALSE(opened());
    }
    // Full before anything could be written: the setup is written at once, the rest later.
    std::filesystem::create_symlink("/dev/full", folder.captures() / "full_eis2_init_data.ini");
    text =
        log_of([&] { EXPECT_EQ(eis_utils_log_open(log.get(), "full"), EIS_ERROR_CAPTURE_FILE); });
    EXPECT_GE(count_of(text, "Failed to write to: ./data/vendor/camera/full_eis2_init_data.ini"),
              1u);
    EXPECT_EQ(count_of(text, "Failed to write 1 lines in file: ./data/vendor/camera/full_eis2_"),
              1u)
        << text;
    EXPECT_EQ(count_of(text, "Cannot write values init INI file\n"), 1u);
}

TEST(Capture, WritesTheRowsOfACombinedFrame) {
    const ScratchFolder folder;
    const Log log;
    ASSERT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
    const _sample_data_s gyro[] = {{{0.1, -2.5, 1.0 / 3.0, 0, 0, 0}, 1000},
                                   {{8.0, 0.0, std::nan(""), 0, 0, 0}, 18446744073709551615u}};
    const _sample_data_s mag[] = {{{0, 0, 0, 0, 0, 1e-9}, 7}};
    is_input input{};
    input.frame_id = 5;
    input.active_sensor_idx = 1;
    input.frame_time_input = {123456789012345, 33333, 10000, 25000};
    input.gyro = {gyro, 2};
    input.mag = {mag, 1};
    input.acc = {nullptr, 3};
    input.window_regions = {{1, 2, 3, 4, 5, 6},
                            {11, 12, 13, 14, 15, 16},
                            {21, 22, 23, 24, 25, 26},
                            {31.5, 32, 33, 34, 35, -36}};
    input.focus_distance = 1e-12f;
    input.effective_focal_length_mm = 4.25f;
    NcLibPerspTransformSingle matrix = {{1.00001f, 0, 0, 0, 1, 0, -3.25e-5f, 0, 1}};
    NcLibWarp sat{};
    sat.direction = IN_2_OUT;
    sat.matrices = {true, {8192, 6144}, NOT_CENTERED, 256, 1, 1, &matrix};
    input.sat = &sat;
    OutputMemory memory;
    is_output& output = memory.output;
    output.frame_id = 4;
    output.output_valid = true;
    output.Mind_margins_blender_geolib = 0.5f;
    output.cvp_motion_index_raw = 123.456f;
    output.ois_mode = 2;
    output.scene_detection = {4, {true, false, true}};
    memory.distortion_grid[0] = {-1020.12345f, 0.5f};
    memory.distortion_grid[1] = {std::numeric_limits<float>::quiet_NaN(), 1e-5f};
    output.distortion_correction_grid.enable = true;
    output.distortion_correction_grid.transformDefinedOn = {1920, 1080};
    output.distortion_correction_grid.numRows = 1;
    output.distortion_correction_grid.numColumns = 2;
    output.distortion_correction_grid.extrapolateType =
        EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    output.alignment_matrix_domain_undistorted = sat.matrices;
    output.alignment_matrix_domain_undistorted.confidence = 100;
    const is_time_intervals intervals = {{1, 2}, {3, 4}, {5, 18446744073709551615u}};
    eis_utils_log_data data{};
    data.is_input = &input;
    data.is_output = &output;
    data.is_time_intervals = &intervals;
    EXPECT_EQ(log_of([&] { EXPECT_EQ(log.write(data), EIS_SUCCESS); }), "");
    EXPECT_EQ(eis_utils_log_flush(log.get()), EIS_SUCCESS);

    const std::string z = "0.000000000000000";
    const struct {
        const char* file;
        std::string rows;
    } files[] = {
        {"gyro.csv", "5,0.100000000000000,-2.500000000000000,0.333333333333333," + z + "," + z +
                         "," + z +
                         ",1000,bits=3fb999999999999a:c004000000000000:3fd5555555555555\n"
                         "5,8.000000000000000," +
                         z + ",nan," + z + "," + z + "," + z + ",18446744073709551615\n"},
        {"mag.csv", "5," + z + "," + z + "," + z + "," + z + "," + z +
                        ",0.000000001000000,7,bits=0000000000000000:0000000000000000:"
                        "0000000000000000:0000000000000000:0000000000000000:3e112e0be826d695\n"},
        {"acc.csv", ""},
        {"sat_matrices.csv",
         "5,1,8192,6144,1,1,256,1.000010,0.000000,0.000000,0.000000,1.000000,0.000000,-0.000033,"
         "0.000000,1.000000,direction=1 center=1 bits=3f800054:00000000:00000000:00000000:3f800000:"
         "00000000:b808509c:00000000:3f800000\n"},
        {"sat_grid.csv", ""},
        {"distortion_correction_grid.csv",
         "4,0,1920,1080,1,2,2,-1020.1235, 0.5000, nan, 0.0000,direction=0\n"},
        {"alignment_matrix_domain_undistorted.csv",
         "4,0,8192,6144,1,1,100,1.000010,0.000000,0.000000,0.000000,1.000000,0.000000,-0.000033,"
         "0.000000,1.000000,direction=0 center=1\n"},
        {"alignment_matrix_domain_stabilized.csv", ""},
        {"stabilization_matrices.csv", ""},
        {"output_metadata.csv",
         "4,0,5.0000e-01,1.2346e+02,2,0," + z + "," + z + "," + z + "," + z + ",0,4,1,0,1\n"},
        {"output_metadata_stabilize.csv", ""},
        {"required_time_intervals.csv", "5,1,2,3,4,5,18446744073709551615\n"},
    };
    for (const auto& file : files) {
        EXPECT_EQ(rows_of(folder, std::string("run_eis2_") + file.file), file.rows) << file.file;
    }
    std::string frame = "5,1,33333,25000,10000,123456789012345,0.000000000001000";
    for (const char* value :
         {"11", "12", "13", "14", "15",  "16", "21", "22", "23", "24", "25", "26",  "31.5",
          "32", "33", "34", "35", "-36", "1",  "2",  "3",  "4",  "5",  "6",  "4.25"}) {
        std::string text = value;
        const size_t point = text.find('.');
        text += point == std::string::npos ? "." : "";
        const size_t decimals = point == std::string::npos ? 0 : text.size() - point - 1;
        frame += "," + text + std::string(15 - decimals, '0');
    }
    const std::string remark =
        ",record=is_input output_metadata=1 gyro=2 mag=1 sat_matrices=1 "
        "distortion_correction_grid=1 alignment_matrix_domain_undistorted=1 "
        "required_time_intervals=1 bits=2b8cbccc:41300000:41400000:";
    EXPECT_TRUE(rows_of(folder, "run_eis2_frame.csv").starts_with(frame + remark))
        << rows_of(folder, "run_eis2_frame.csv");

    EXPECT_EQ(header_of(folder, "run_eis2_sat_grid.csv"),
              "; frame_id, active_sensor_idx, transformDefinedOn.widthPixels, "
              "transformDefinedOn.heightLines, numRows, numColumns, extrapolateType, grid\n");
    EXPECT_EQ(header_of(folder, "run_eis2_sat_matrices.csv"),
              "; frame_id, active_sensor_idx, transformDefinedOn.widthPixels, "
              "transformDefinedOn.heightLines, numRows, numColumns, confidence, perspMatrices\n");
    EXPECT_EQ(header_of(folder, "run_eis2_required_time_intervals.csv"),
              "; frame_id, required_time_intervals.gyro.first_ts, "
              "required_time_intervals.gyro.last_ts, required_time_intervals.ois.first_ts, "
              "required_time_intervals.ois.last_ts, required_time_intervals.ifovc.first_ts, "
              "required_time_intervals.ifovc.last_ts\n");
    EXPECT_TRUE(header_of(folder, "run_eis2_frame.csv")
                    .starts_with("; frame_id,active_sensor_idx, frame_time, "
                                 "sensor_rolling_shutter_skew, exposure_time, sof, "
                                 "focus_distance, eis_pre_crop_vIN.fullWidth, "));
}

TEST(Capture, WritesTheRowsOfTwoPasses) {
    const ScratchFolder folder;
    const Log log;
    ASSERT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
    is_input_distortion_correction first{};
    first.frame_id = 8;
    is_input_stabilize second{};
    second.frame_id = 8;
    second.active_sensor_idx = 2;
    second.frame_time_input = {1, 2, 3, 4};
    const uint32_t words[] = {0x100CE555, 1, 1, 0xA, 0xB, 0xC, 0x1FFFF};
    NcLibPerspTransformSingle matrix = {{1, 0, 0.5f, 0, 1, 0, 0, 0, 1}};
    is_motion_vectors_input vectors = {
        640, 360, {true, {64, 48}, CENTERED, 9, 1, 1, &matrix}, sizeof words, words};
    second.dis_motion_vectors = &vectors;
    is_output_distortion_correction first_output{};
    first_output.frame_id = 8;
    first_output.mof_gyro_time = 77;
    first_output.frame_orientation_domain_undistorted = {{1, 2, 3, 4, 5, 6}, 99};
    first_output.output_valid = true;
    is_output_stabilize second_output{};
    second_output.frame_id = 7;
    second_output.frame_orientation_domain_undistorted = {{1, 2, 3, 4, 5, 6}, 98};
    second_output.frame_orientation_domain_stabilized = {{-1, 0, 0, 0.25, 0, 0}, 97};
    second_output.scene_detection = {5, {false, true, false}};
    second_output.output_valid = true;
    eis_utils_log_data data{};
    data.is_input_distortion_correction = &first;
    data.is_input_stabilize = &second;
    data.is_output_distortion_correction = &first_output;
    data.is_output_stabilize = &second_output;
    log_of([&] { EXPECT_EQ(log.write(data), EIS_SUCCESS); });
    // Buffers whose words are more than there can be, or fewer than a word.
    vectors.motion_vectors_buff_size_byte = 3;
    log_of([&] { EXPECT_EQ(log.write(data), EIS_SUCCESS); });
    EXPECT_EQ(eis_utils_log_flush(log.get()), EIS_SUCCESS);
    EXPECT_EQ(rows_of(folder, "run_eis2_input_stabilize.csv"), "8,2,1,2,3,4\n8,2,1,2,3,4\n");
    const std::string alignment =
        "8,640,360,1,64,48,0,9,1,1,1.000000,0.000000,0.500000,0.000000,1.000000,0.000000,0.000000,"
        "0.000000,1.000000,";
    const std::string bits =
        "bits=3f800000:00000000:3f000000:00000000:3f800000:00000000:00000000:00000000:3f800000\n";
    EXPECT_EQ(rows_of(folder, "run_eis2_motion_vectors.csv"),
              alignment +
                  "28,words=100ce555:00000001:00000001:0000000a:0000000b:0000000c:0001ffff " +
                  bits + alignment + "3,words= " + bits);
    const std::string metadata =
        "8,0,0.0000e+00,0.0000e+00,0,99,1.000000000000000,2.000000000000000,3.000000000000000,"
        "4.000000000000000,77,0,0,0,0\n";
    EXPECT_EQ(rows_of(folder, "run_eis2_output_metadata.csv"), metadata + metadata);
    const std::string stabilized =
        "7,0,98,1.000000000000000,2.000000000000000,3.000000000000000,4.000000000000000,97,"
        "-1.000000000000000,0.000000000000000,0.000000000000000,0.250000000000000,5,0,1,0\n";
    EXPECT_EQ(rows_of(folder, "run_eis2_output_metadata_stabilize.csv"), stabilized + stabilized);
}

TEST(Capture, HoldsRecordsAgainstTheType) {
    const is_input input{};
    const is_input_distortion_correction first{};
    const is_input_stabilize second{};
    is_output output{};
    output.output_valid = true;
    const is_output_distortion_correction first_output{};
    is_output_stabilize second_output{};
    second_output.output_valid = true;
    const is_time_intervals intervals{};
    const std::string only = "is_type is IS_TYPE_DISTORTION_CORRECTION_ONLY but NULL != data->";
    const std::string nfl = "is_type is IS_TYPE_EIS_NFL but NULL == data->";
    const std::string mismatch = ". Configuration mismatch. Ignoring data->";
    const eis_utils_log_data both = {&input, nullptr, nullptr, &output, nullptr, nullptr, nullptr};
    const eis_utils_log_data passes = {nullptr,       &first,         &second, nullptr,
                                       &first_output, &second_output, nullptr};
    const struct {
        uint32_t type;
        const eis_utils_log_data& data;
        std::vector<std::string> messages;
    } rows[] = {
        {IS_TYPE_DISTORTION_CORRECTION_ONLY,
         both,
         {only + "is_input. Ignoring data->is_input\n",
          only + "is_output. Ignoring data->is_output\n"}},
        {IS_TYPE_DISTORTION_CORRECTION_ONLY,
         passes,
         {only + "is_input_stabilize. Ignoring data->is_input_stabilize\n",
          only + "is_output_stabilize. Ignoring data->is_output_stabilize\n"}},
        {IS_TYPE_EIS_2_0,
         passes,
         {nfl + "is_input" + mismatch + "is_input\n",
          nfl + "is_output" + mismatch + "is_output\n"}},
        {IS_TYPE_EIS_2_0, both, {}},
        {IS_TYPE_EIS_3_0, passes, {}},
        {IS_TYPE_EIS_3_0, both, {}},
    };
    for (const auto& row : rows) {
        const ScratchFolder folder;
        const Log log(row.type);
        ASSERT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
        const std::string text = log_of([&] { EXPECT_EQ(log.write(row.data), EIS_SUCCESS); });
        EXPECT_EQ(count_of(text, "\n"), row.messages.size()) << text;
        for (const std::string& message : row.messages) {
            EXPECT_EQ(count_of(text, message), 1u) << text;
        }
    }
    const ScratchFolder folder;
    const Log log;
    ASSERT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
    eis_utils_log_data data{};
    data.is_time_intervals = &intervals;
    const std::string text = log_of([&] { EXPECT_EQ(log.write(data), EIS_ERROR_INVALID_INPUT); });
    EXPECT_EQ(count_of(text, "All other inputs are NULL, could not get frame_id\n"), 1u);
}

TEST(Capture, LeavesOutWhatCannotBeRead) {
    const ScratchFolder folder;
    const Log log;
    ASSERT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
    NcLibWarp warp{};
    NcLibWarpGridCoord point{};
    NcLibPerspTransformSingle matrix{};
    warp.grid = {true, {8, 6}, 0xFFFFFFFFu, 0xFFFFFFFFu, &point, EXTRAPOLATION_TYPE_NONE, nullptr};
    warp.matrices = {true, {8, 6}, CENTERED, 256, 5, 2, &matrix};
    is_input input{};
    input.sat = &warp;
    NcLibWarp bare = warp;
    bare.grid.numRows = bare.grid.numColumns = 2;
    bare.grid.grid = nullptr;
    bare.matrices.numRows = 1;
    bare.matrices.perspMatrices = nullptr;
    input.pre_eis_transform_margins_reduction = &bare;
    const is_output output{};
    eis_utils_log_data data{};
    data.is_input = &input;
    data.is_output = &output;
    EXPECT_EQ(log.write(data), EIS_SUCCESS);
    EXPECT_EQ(eis_utils_log_flush(log.get()), EIS_SUCCESS);
    EXPECT_EQ(rows_of(folder, "run_eis2_sat_grid.csv"),
              "0,0,8,6,4294967295,4294967295,0,direction=0\n");
    EXPECT_EQ(rows_of(folder, "run_eis2_sat_matrices.csv"),
              "0,0,8,6,5,2,256,direction=0 center=0\n");
    EXPECT_EQ(rows_of(folder, "run_eis2_pre_eis_transform_margins_reduction_grid.csv"),
              "0,0,8,6,2,2,0,direction=0\n");
    EXPECT_EQ(rows_of(folder, "run_eis2_pre_eis_transform_margins_reduction_matrix.csv"),
              "0,0,8,6,1,2,256,direction=0 center=0\n");
}

// What the library computes is the same with a capture that writes nowhere.
TEST(Capture, NeverReachesTheStabilizer) {
    const ScratchFolder folder;
    const Log probe;
    ASSERT_EQ(eis_utils_log_open(probe.get(), nullptr), EIS_SUCCESS);
    ASSERT_EQ(eis_utils_log_close(probe.get()), EIS_SUCCESS);
    for (const auto& entry : std::filesystem::directory_iterator(folder.captures())) {
        const std::string name = entry.path().filename().string();
        if (name.ends_with(".csv")) {
            std::filesystem::create_symlink("/dev/full",
                                            folder.captures() / ("full" + name.substr(3)));
        }
    }
    const Log log(IS_TYPE_EIS_2_0, "full");
    ASSERT_EQ(eis_utils_log_open(log.get(), nullptr), EIS_SUCCESS);
    const Instance alone(valid_common(), {valid_sensor()});
    const Instance beside(valid_common(), {valid_sensor()});
    Stream streams[] = {Stream(alone.get()), Stream(beside.get())};
    OutputMemory memories[2];
    uint32_t failures = 0;
    const std::string text = log_of([&] {
        for (Stream& stream : streams) {
            stream.samples = sampled(constant_rate(0.3, -0.2, 0.1), 1000000, 5000000, 2000);
        }
        for (uint64_t sof = 2000000; sof < 4000000; sof += 33333) {
            is_time_intervals intervals{};
            streams[0].frame(sof, memories[0]);
            const is_input input = streams[1].input_for(sof, intervals.gyro);
            const FrameResult result = streams[1].frame(sof, memories[1]);
            intervals = result.intervals;
            eis_utils_log_data data{};
            data.is_input = &input;
            data.is_output = &memories[1].output;
            data.is_time_intervals = &intervals;
            failures += log.write(data) == EIS_SUCCESS ? 0 : 1;
            ASSERT_EQ(memories[0].distortion_grid[500].x, memories[1].distortion_grid[500].x);
            ASSERT_EQ(std::memcmp(&memories[0].transform, &memories[1].transform,
                                  sizeof memories[0].transform),
                      0);
        }
        EXPECT_EQ(eis_utils_log_flush(log.get()), EIS_ERROR_CAPTURE_FILE);
        EXPECT_EQ(eis_utils_log_close(log.get()), EIS_ERROR_CAPTURE_FILE);
    });
    EXPECT_TRUE(memories[1].output.output_valid);
    EXPECT_GT(failures, 10u) << "the grid's buffer holds some 25 frames";
    EXPECT_EQ(count_of(text, "Could not write to files, number of errors: "), failures + 2);
    EXPECT_EQ(count_of(text, "Frame id: "), failures);
}

}  // namespace
}  // namespace steadywarp::test
