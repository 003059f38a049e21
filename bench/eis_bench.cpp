// SPDX-License-Identifier: Apache-2.0
// Time of a frame by gyroscope rate, kind of motion and what comes with it, of a start, and the
// memory of an instance.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <vector>

#include "filter/filter.hpp"
#include "interface/eis_context.hpp"
#include "steadywarp/eis.h"
#include "support/frame_stream.hpp"

namespace {

using namespace bench;

// One iteration is one frame; a stream of 300 frames starts over on a new instance.
//
// `complete` adds to the input of a frame what its configuration wants.
template <typename Complete>
void run_streams(benchmark::State& state, const is_init_common_data& common,
                 const std::vector<is_init_sensor_data>& sensors, const std::vector<Frame>& frames,
                 const Complete& complete) {
    Output output;
    eis_context* context = nullptr;
    uint32_t f = kFrames;
    uint64_t retreats = 0;
    uint64_t processed = 0;
    // A breach that nothing mends is logged; the log of a benchmark is of no use.
    if (std::freopen("/dev/null", "w", stderr) == nullptr) {
        state.SkipWithError("no /dev/null");
    }
    for (auto _ : state) {
        if (f == kFrames) {
            state.PauseTiming();
            if (context != nullptr) {
                eis2_deinitialize(&context);
            }
            eis2_initialize(&context, &common, sensors.data(),
                            static_cast<uint32_t>(sensors.size()));
            f = 0;
            state.ResumeTiming();
        }
        is_input input = input_of(frames[f], f + 1);
        complete(f, input);
        is_time_intervals intervals{};
        eis2_get_time_intervals(context, &input.frame_time_input, 0, &intervals);
        if (eis2_process(context, &input, &output.record) != EIS_SUCCESS) {
            state.SkipWithError("a frame was refused");
            break;
        }
        benchmark::DoNotOptimize(output.record);
        retreats += context->_stabilize->eis.filter().last_alpha() > 0.0 ? 1 : 0;
        ++processed;
        ++f;
    }
    if (context != nullptr) {
        eis2_deinitialize(&context);
    }
    state.counters["frames_drawn_back_%"] = 100.0 * static_cast<double>(retreats) /
                                            static_cast<double>(std::max<uint64_t>(processed, 1));
    state.counters["samples_per_frame"] = static_cast<double>(frames[1].samples.size());
}

void ProcessFrame(benchmark::State& state) {
    const auto gyro_hz = static_cast<uint32_t>(state.range(0));
    const Motion motion(profile_of(state.range(1)));
    run_streams(state, common_data(), {sensor_data(gyro_hz)},
                make_frames(motion, 1000000 / gyro_hz), [](uint32_t, is_input&) {});
}
BENCHMARK(ProcessFrame)
    ->ArgNames({"gyro_hz", "motion"})
    ->ArgsProduct({{200, 500, 1000, 2000, 4000, 8000}, {kStill, kHandHeld, kPanning, kBreaching}})
    ->Unit(benchmark::kMicrosecond);

// sensors of the device, frames between two switches to the next of them; 0: none
void ProcessFrameOfSensors(benchmark::State& state) {
    const auto num_sensors = static_cast<uint32_t>(state.range(0));
    const auto stay = static_cast<uint32_t>(state.range(1));
    const std::vector<is_init_sensor_data> sensors(num_sensors, sensor_data(1000));
    run_streams(state, common_data(), sensors, make_frames(Motion(profile_of(kHandHeld)), 1000),
                [&](uint32_t f, is_input& input) {
                    input.active_sensor_idx = stay != 0 ? f / stay % num_sensors : 0;
                });
}
BENCHMARK(ProcessFrameOfSensors)
    ->ArgNames({"sensors", "stay"})
    ->Args({1, 0})
    ->Args({4, 0})
    ->Args({16, 0})
    ->Args({4, 30})
    ->Args({16, 30})
    ->Unit(benchmark::kMicrosecond);

// What a frame can bring beside the gyroscope; bits. Lens shift, focus and distortion are measured
// one by one where the optics are.
enum Stream : uint32_t {
    kPlain = 0,
    kLensShift = 1,
    kAlignment = 2,
    kImageBased = 4,
    kUpstreamMatrix = 8,
    kUpstreamGrid = 16,
    kFocus = 32,
    kDistortion = 64,
    kEverything = 127
};

// Tuned grids that distort nothing; the way through them is that of any others.
void set_distortion_grids(is_tessaline_lens_distortion_correction& ldc) {
    ldc.ldc_grid_enable = 1;
    ldc.ldc_calib_domain = 2;
    ldc.image_size_distorted_x = ldc.image_size_undistorted_x = 1920;
    ldc.image_size_distorted_y = ldc.image_size_undistorted_y = 1080;
    for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
        const float x = 256.0f * (static_cast<float>(i % EIS_GRID_COLUMNS) - 17.0f);
        const float y = 256.0f * (static_cast<float>(i / EIS_GRID_COLUMNS) - 13.0f);
        ldc.distorted_input_to_undistorted_ldc_grid_x_tab[i] = x;
        ldc.distorted_input_to_undistorted_ldc_grid_y_tab[i] = y;
        ldc.undistorted_to_distorted_input_ldc_grid_x_tab[i] = x;
        ldc.undistorted_to_distorted_input_ldc_grid_y_tab[i] = y;
    }
}

// A shift of the whole virtual domain by one unit, as a matrix and as a grid.
struct UpstreamTransform {
    NcLibPerspTransformSingle matrix = {{1, 0, 1, 0, 1, 0, 0, 0, 1}};
    std::vector<NcLibWarpGridCoord> nodes;
    NcLibWarp warp{};

    explicit UpstreamTransform(uint32_t streams) {
        constexpr NcLibImageSize kVirtual = {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT};
        for (int i = 0; i < static_cast<int>(EIS_GRID_POINTS); ++i) {
            nodes.push_back({-4352.0f + 256.0f * static_cast<float>(i % 35),
                             -3328.0f + 256.0f * static_cast<float>(i / 35)});
        }
        warp.matrices = {(streams & kUpstreamMatrix) != 0, kVirtual, CENTERED, 256, 1, 1, &matrix};
        warp.grid = {(streams & kUpstreamGrid) != 0,
                     kVirtual,
                     EIS_GRID_ROWS,
                     EIS_GRID_COLUMNS,
                     nodes.data(),
                     EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                     nullptr};
    }
};

void ProcessFrameWith(benchmark::State& state) {
    const auto streams = static_cast<uint32_t>(state.range(0));
    is_init_common_data common = common_data();
    is_init_sensor_data sensor = sensor_data(500);
    common.is_ois_enabled = (streams & kLensShift) != 0;
    common.is_sat_enabled = (streams & kAlignment) != 0;
    common.is_dis_enabled = (streams & kImageBased) != 0;
    common.is_ifovc_enabled = (streams & kFocus) != 0;
    sensor.tuning.top.ois_frequency = common.is_ois_enabled ? 500 : 0;
    sensor.tuning.ois.data_conversion_x_tab[1] = sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
    sensor.tuning.dis.enable = 1;
    sensor.tuning.dis.confidence_threshold = 100;
    sensor.tuning.top.ifovc_frequency = common.is_ifovc_enabled ? 500 : 0;
    sensor.tuning.z_lens_pos.enable = 1;
    sensor.tuning.z_lens_pos.min_scale_limit = 0.9f;
    if ((streams & kDistortion) != 0) {
        set_distortion_grids(sensor.tuning.lens_distortion_correction);
    }
    NcLibPerspTransformSingle matrix = {{1.01f, 0, 2, 0, 1.01f, 0, 0, 0, 1}};
    NcLibWarp sat{};
    sat.matrices = {true, {1920, 1080}, CENTERED, 256, 1, 1, &matrix};
    const UpstreamTransform upstream(streams);
    const std::vector<Frame> frames = make_frames(Motion(profile_of(kHandHeld)), 2000);
    std::vector<std::vector<_sample_data_s>> focus;
    for (const Frame& frame : frames) {
        focus.push_back(frame.samples);
        for (_sample_data_s& sample : focus.back()) {
            sample.data[1] = 0.97;
        }
    }
    run_streams(state, common, {sensor}, frames, [&](uint32_t f, is_input& input) {
        if (common.is_ois_enabled) {
            // The rates, some hundredths, serve as raw positions.
            input.ois = {frames[f].samples.data(), static_cast<uint32_t>(frames[f].samples.size())};
        }
        if (common.is_ifovc_enabled) {
            input.ifovc = {focus[f].data(), static_cast<uint32_t>(focus[f].size())};
        }
        input.sat = common.is_sat_enabled ? &sat : nullptr;
        const bool has_upstream = (streams & (kUpstreamMatrix | kUpstreamGrid)) != 0;
        input.pre_eis_transform_margins_reduction = has_upstream ? &upstream.warp : nullptr;
    });
}
BENCHMARK(ProcessFrameWith)
    ->ArgName("streams")
    ->Arg(kPlain)
    ->Arg(kAlignment)
    ->Arg(kImageBased)
    ->Arg(kUpstreamMatrix)
    ->Arg(kUpstreamGrid)
    ->Arg(kEverything)
    ->Unit(benchmark::kMicrosecond);

void StartUp(benchmark::State& state) {
    const is_init_common_data common = common_data(static_cast<uint32_t>(state.range(0)));
    const is_init_sensor_data sensor = sensor_data(500);
    size_t bytes = 0;
    for (auto _ : state) {
        const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        eis_context* context = nullptr;
        eis2_initialize(&context, &common, &sensor, 1);
        bytes = mallinfo2().uordblks + mallinfo2().hblkhd - before;
        eis2_deinitialize(&context);
    }
    state.counters["instance_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(StartUp)
    ->ArgName("is_type")
    ->Arg(IS_TYPE_EIS_2_0)
    ->Arg(IS_TYPE_DISTORTION_CORRECTION_ONLY)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
