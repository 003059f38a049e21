// SPDX-License-Identifier: Apache-2.0
// What a capture costs: a frame of the stabilizer without and with it, and a frame whose every file
// has its rows, against the 16.7 ms between frames at 60 a second.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "steadywarp/eis_capture.h"
#include "support/frame_stream.hpp"
#include "support/scratch_folder.hpp"

namespace {

constexpr uint64_t kFrameUs = 16666;
constexpr uint32_t kWidth = 3840;
constexpr uint32_t kHeight = 2160;

// A working directory with the captures' folder; the files of a benchmark go with it.
struct Folder : steadywarp::test::ScratchFolder {
    double bytes() const {
        uintmax_t sum = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path())) {
            sum += entry.is_regular_file() ? entry.file_size() : 0;
        }
        return static_cast<double>(sum);
    }
};

is_init_common_data common_data() {
    is_init_common_data common = bench::common_data();
    common.output_width = kWidth;
    common.output_height = kHeight;
    common.frame_fps = 60;
    return common;
}

is_init_sensor_data sensor_data() {
    is_init_sensor_data sensor = bench::sensor_data(1000);
    sensor.ife_input_frame_width = sensor.ife_input_frame_undistorted_width = kWidth;
    sensor.ife_input_frame_height = sensor.ife_input_frame_undistorted_height = kHeight;
    sensor.input_width = kWidth;
    sensor.input_height = kHeight;
    return sensor;
}

_sample_data_s sample_at(uint64_t ts) {
    const double t = static_cast<double>(ts) * 1e-6;
    return {{0.1 * std::sin(9.0 * t), 0.07 * std::cos(14.0 * t), 0.03 * std::sin(23.0 * t)}, ts};
}

// Frame `index` of a stream: samples at 1000 Hz from the last frame's end to its own.
is_input input_of(uint32_t index, std::vector<_sample_data_s>& samples) {
    constexpr is_crop_window kFull = {kWidth, kHeight, kWidth, kHeight, 0, 0};
    is_input input{};
    input.frame_id = index + 1;
    input.frame_time_input = {2000000 + index * kFrameUs, kFrameUs, 8000, 14000};
    samples.clear();
    const uint64_t end = (input.frame_time_input.sof + 20000) / 1000 * 1000;
    for (uint64_t ts = index == 0 ? end - 60000 : end - 18000; ts <= end; ts += 1000) {
        samples.push_back(sample_at(ts));
    }
    input.gyro = {samples.data(), static_cast<uint32_t>(samples.size())};
    input.window_regions = {kFull, kFull, kFull, {kWidth, kHeight, 3456, 1944, 192, 108}};
    input.focus_distance = 1.0f;
    return input;
}

using bench::Output;

eis_utils_log* open_log() {
    static const is_init_common_data kCommon = common_data();
    static const is_init_sensor_data kSensor = sensor_data();
    const eis_utils_log_config config = {&kCommon, &kSensor, 1, IS_UTILS_FLAG_ALL, "bench"};
    eis_utils_log* log = nullptr;
    if (eis_utils_log_init(&log, &config) != EIS_SUCCESS ||
        eis_utils_log_open(log, nullptr) != EIS_SUCCESS) {
        std::abort();
    }
    return log;
}

// One iteration is one frame of a gyroscope session.
void ProcessFrame(benchmark::State& state) {
    const bool has_capture = state.range(0) != 0;
    const Folder folder;
    const is_init_common_data common = common_data();
    const is_init_sensor_data sensor = sensor_data();
    eis_context* context = nullptr;
    eis2_initialize(&context, &common, &sensor, 1);
    eis_utils_log* log = has_capture ? open_log() : nullptr;
    Output output;
    std::vector<_sample_data_s> samples;
    uint32_t frame = 0;
    for (auto _ : state) {
        const is_input input = input_of(frame++, samples);
        is_time_intervals intervals{};
        eis2_get_time_intervals(context, &input.frame_time_input, 0, &intervals);
        if (eis2_process(context, &input, &output.record) != EIS_SUCCESS) {
            state.SkipWithError("a frame was refused");
            break;
        }
        if (has_capture) {
            eis_utils_log_data data{};
            data.is_input = &input;
            data.is_output = &output.record;
            data.is_time_intervals = &intervals;
            eis_utils_log_write(log, &data);
        }
    }
    eis_utils_log_destroy(&log);
    eis2_deinitialize(&context);
    state.counters["bytes_per_frame"] = folder.bytes() / frame;
}
BENCHMARK(ProcessFrame)->ArgName("capture")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void fill(std::vector<NcLibWarpGridCoord>& points) {
    for (size_t i = 0; i < points.size(); ++i) {
        points[i] = {-1900.37f + static_cast<float>(i % 35) * 112.123f,
                     -1050.41f + static_cast<float>(i / 35) * 81.456f};
    }
}

// One iteration is one frame that has rows in every file a caller of the two passes can fill:
// all streams at 1000 Hz, an SAT and an upstream transform with grid and matrix, 768 motion
// vectors, both outputs with grids. Only the recording is measured.
void WriteEverything(benchmark::State& state) {
    const Folder folder;
    eis_utils_log* log = open_log();
    std::vector<_sample_data_s> samples;
    const is_input base = input_of(1, samples);
    std::vector<NcLibWarpGridCoord> points(EIS_GRID_POINTS);
    fill(points);
    NcLibPerspTransformSingle matrix = {
        {1.01f, 1e-4f, 12.3f, -1e-4f, 0.99f, -4.5f, 1e-7f, -2e-7f, 1.0f}};
    const NcLibWarp warp = {{true, {8192, 6144}, CENTERED, 256, 1, 1, &matrix},
                            {true,
                             {8192, 6144},
                             27,
                             35,
                             points.data(),
                             EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                             nullptr},
                            OUT_2_IN};
    std::vector<uint32_t> words(3 + 768 * 4, 0x1234567);
    const is_motion_vectors_input vectors = {640, 360, warp.matrices,
                                             static_cast<uint32_t>(words.size() * 4), words.data()};
    is_input_distortion_correction first{};
    first.frame_time_input = base.frame_time_input;
    first.window_regions = base.window_regions;
    for (is_sample_array* stream :
         {&first.gyro, &first.mag, &first.acc, &first.ois, &first.ifovc, &first.linear_acc,
          &first.abs_orientation, &first.rel_orientation}) {
        *stream = base.gyro;
    }
    first.pre_eis_transform_margins_reduction = &warp;
    is_input_stabilize second{};
    second.sat = &warp;
    second.dis_motion_vectors = &vectors;
    is_output_distortion_correction first_output{};
    first_output.output_valid = true;
    first_output.distortion_correction_grid = warp.grid;
    first_output.alignment_matrix_domain_undistorted = warp.matrices;
    is_output_stabilize second_output{};
    second_output.output_valid = true;
    second_output.stabilization_transform = warp;
    second_output.alignment_matrix_domain_stabilized = warp.matrices;
    const is_time_intervals intervals{};
    const eis_utils_log_data data = {nullptr,       &first,         &second,   nullptr,
                                     &first_output, &second_output, &intervals};
    // That this type is captured by its two passes is worth a line to it each time.
    if (std::freopen("/dev/null", "w", stderr) == nullptr) {
        state.SkipWithError("no /dev/null");
    }
    uint64_t frames = 0;
    for (auto _ : state) {
        first.frame_id = second.frame_id = static_cast<uint32_t>(++frames);
        if (eis_utils_log_write(log, &data) != EIS_SUCCESS) {
            state.SkipWithError("rows were lost");
            break;
        }
    }
    eis_utils_log_destroy(&log);
    state.counters["bytes_per_frame"] = folder.bytes() / static_cast<double>(frames);
    state.counters["times_60_fps"] =
        benchmark::Counter(static_cast<double>(frames) / 60.0, benchmark::Counter::kIsRate);
}
BENCHMARK(WriteEverything)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
