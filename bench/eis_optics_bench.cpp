// SPDX-License-Identifier: Apache-2.0
// Time of a frame by what stands in front of the sensor: each stream added to the gyroscope's, and
// all of them together.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "steadywarp/eis.h"
#include "support/frame_stream.hpp"
#include "support/lens.hpp"

namespace {

using namespace bench;

constexpr uint32_t kGyroHz = 500;

struct Optics {
    bool has_ois;
    bool has_ifovc;
    bool has_ldc;
};

// A frame's lens samples, at every `period_us` around it.
std::vector<_sample_data_s> lens_samples(uint64_t sof, uint64_t period_us, double low,
                                         double high) {
    std::vector<_sample_data_s> samples;
    for (uint64_t ts = (sof - 40000) / period_us * period_us; ts <= sof + 60000; ts += period_us) {
        const double part = 0.5 + 0.5 * std::sin(static_cast<double>(ts) * 1.1e-5);
        const double value = low + (high - low) * part;
        samples.push_back({{value, value}, ts});
    }
    return samples;
}

class OpticsRun {
  public:
    explicit OpticsRun(const Optics& optics)
        : _common(common_data()), _sensor(sensor_data(kGyroHz)) {
        is_tessaline_info_s& tuning = _sensor.tuning;
        tuning.general.minimal_total_margin = 0.2f;
        if (optics.has_ois) {
            _common.is_ois_enabled = true;
            tuning.top.ois_frequency = 500;
            tuning.ois.data_conversion_x_tab[1] = 5.0f;
            tuning.ois.data_conversion_y_tab[2] = 5.0f;
        }
        if (optics.has_ifovc) {
            _common.is_ifovc_enabled = true;
            tuning.top.ifovc_frequency = 120;
            tuning.z_lens_pos.enable = 1;
            tuning.z_lens_pos.min_scale_limit = 0.9f;
        }
        if (optics.has_ldc) {
            _lens.install(_sensor);
        }
        const Motion motion(profile_of(kHandHeld));
        _frames = make_frames(motion, 1000000 / kGyroHz);
        for (const Frame& frame : _frames) {
            _ois.push_back(lens_samples(frame.times.sof, 2000, -2.0, 2.0));
            _ifovc.push_back(lens_samples(frame.times.sof, 8000, 0.96, 0.99));
        }
    }
    ~OpticsRun() { eis2_deinitialize(&_context); }
    OpticsRun(const OpticsRun&) = delete;
    OpticsRun& operator=(const OpticsRun&) = delete;

    bool is_over() const { return _frame == kFrames; }

    void restart() {
        if (_context != nullptr) {
            eis2_deinitialize(&_context);
        }
        eis2_initialize(&_context, &_common, &_sensor, 1);
        _frame = 0;
    }

    bool run_frame() {
        is_input input = input_of(_frames[_frame], _frame + 1);
        input.window_regions.output_crop_fov = {1920, 1080, 1536, 864, 192, 108};
        is_time_intervals intervals{};
        eis2_get_time_intervals(_context, &input.frame_time_input, 0, &intervals);
        if (_common.is_ois_enabled) {
            input.ois = {_ois[_frame].data(), static_cast<uint32_t>(_ois[_frame].size())};
        }
        if (_common.is_ifovc_enabled) {
            input.ifovc = {_ifovc[_frame].data(), static_cast<uint32_t>(_ifovc[_frame].size())};
        }
        ++_frame;
        return eis2_process(_context, &input, &_output.record) == EIS_SUCCESS &&
               _output.record.output_valid;
    }

  private:
    is_init_common_data _common;
    is_init_sensor_data _sensor;
    Lens _lens;
    std::vector<Frame> _frames;
    std::vector<std::vector<_sample_data_s>> _ois;
    std::vector<std::vector<_sample_data_s>> _ifovc;
    Output _output;
    eis_context* _context = nullptr;
    uint32_t _frame = kFrames;
};

// One iteration is one frame, hand-held; a stream of 300 frames starts over on a new instance.
void ProcessFrameThroughOptics(benchmark::State& state) {
    const Optics optics = {state.range(0) != 0, state.range(1) != 0, state.range(2) != 0};
    OpticsRun run(optics);
    for (auto _ : state) {
        if (run.is_over()) {
            state.PauseTiming();
            run.restart();
            state.ResumeTiming();
        }
        if (!run.run_frame()) {
            state.SkipWithError("a frame was refused");
            break;
        }
    }
}
BENCHMARK(ProcessFrameThroughOptics)
    ->ArgNames({"ois", "ifovc", "ldc"})
    ->Args({0, 0, 0})
    ->Args({1, 0, 0})
    ->Args({0, 1, 0})
    ->Args({0, 0, 1})
    ->Args({1, 1, 1})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
