// SPDX-License-Identifier: Apache-2.0
// Many frames of random but valid streams through one process: no frame is refused, no output holds
// what is no number, the crop stays inside whenever it can, and memory does not grow.
// STEADYWARP_SOAK_FRAMES sets how many frames.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "support/log_file.hpp"
#include "support/random.hpp"
#include "support/records.hpp"
#include "support/simulated_camera.hpp"
#include "support/simulated_optics.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

constexpr double kPi = 3.14159265358979323846;

struct FrameSize {
    uint32_t width;
    uint32_t height;
};

struct FrameRate {
    uint32_t frame_time;
    uint32_t exposure;
    uint32_t skew;
};
constexpr FrameRate kRates[] = {{33333, 10000, 25000}, {16667, 8000, 12000}, {41667, 20000, 20000}};

// Device rates: a few tones a axis, louder in some streams.
struct Motion {
    struct Tone {
        double amplitude, frequency, phase;
    };
    std::array<std::array<Tone, 3>, 3> tones;

    explicit Motion(Random& random) {
        constexpr double kLoudness[] = {0.0, 0.02, 0.06, 0.3, 1.5};
        const double loudness = kLoudness[random.below(5)];
        for (auto& axis : tones) {
            for (Tone& tone : axis) {
                tone = {loudness * random.between(0.2, 1.0), random.between(0.2, 9.0),
                        random.between(0.0, 2.0 * kPi)};
            }
        }
    }

    _sample_data_s at(uint64_t ts) const {
        _sample_data_s sample{};
        sample.ts = ts;
        for (size_t axis = 0; axis < 3; ++axis) {
            for (const Tone& tone : tones[axis]) {
                sample.data[axis] += tone.amplitude * std::sin(2.0 * kPi * tone.frequency *
                                                                   static_cast<double>(ts) * 1e-6 +
                                                               tone.phase);
            }
        }
        return sample;
    }
};

is_init_common_data random_common(Random& random, const FrameSize& size) {
    constexpr uint32_t kModes[] = {1, 2, 3, 10, 11, 12, 101, 102};
    is_init_common_data common = valid_common();
    common.operation_mode = random.once_in(3) ? kModes[random.below(8)] : 0;
    common.deployment_type = random.below(2);
    common.output_width = size.width;
    common.output_height = size.height;
    common.do_virtual_upscale_in_transform = random.once_in(3);
    common.is_sat_enabled = random.once_in(3);
    common.is_dis_enabled = random.once_in(4);
    common.is_ois_enabled = random.once_in(2);
    common.is_ifovc_enabled = random.once_in(3);
    return common;
}

std::vector<is_init_sensor_data> random_sensors(Random& random, const is_init_common_data& common,
                                                const FrameSize& size) {
    constexpr uint32_t kModules[] = {0, 3, 4, 5};
    const uint32_t position = random.below(2);
    const uint32_t gyro_hz = 200 * (1 + random.below(5));
    const float margin = static_cast<float>(random.between(0.05, 0.25));
    std::vector<is_init_sensor_data> sensors(random.once_in(8) ? 16 : 1 + random.below(3),
                                             valid_sensor());
    // The tuned grids are those of a picture of 16 by 9.
    SimulatedOptics lens;
    lens.corner_px = 20.0;
    const DistortionGrids grids(lens, EIS_GRID_ROWS, EIS_GRID_COLUMNS);
    const bool distorts = 9 * size.width == 16 * size.height && random.once_in(3);
    for (is_init_sensor_data& sensor : sensors) {
        sensor.input_width = size.width;
        sensor.input_height = size.height;
        sensor.camera_position = position;
        sensor.sensor_mount_angle = 90 * random.below(4);
        sensor.tuning.top.gyro_frequency = gyro_hz;
        sensor.tuning.general.minimal_total_margin = margin;
        sensor.tuning.general.focal_length = 800 + random.below(3000);
        sensor.tuning.dis.enable = 1;
        sensor.tuning.dis.confidence_threshold = 100;
        if (common.is_ois_enabled && !random.once_in(4)) {
            sensor.tuning.top.ois_frequency = 500;
            sensor.tuning.ois.module_type = kModules[random.below(4)];
            const float unit = sensor.tuning.ois.module_type == 0 ? 2.0f : 0.02f;
            sensor.tuning.ois.data_conversion_x_tab[1] = unit;
            sensor.tuning.ois.data_conversion_y_tab[2] = unit;
        }
        if (common.is_ifovc_enabled && !random.once_in(4)) {
            sensor.tuning.top.ifovc_frequency = 500;
            sensor.tuning.z_lens_pos.enable = 1;
            sensor.tuning.z_lens_pos.min_scale_limit = 0.99f;
        }
        if (distorts) {
            set_tuned_grids(sensor.tuning, grids);
        }
    }
    sensors[0].sensor_mount_angle = 180;
    return sensors;
}

// A stream of one instance, frame by frame.
class SoakStream {
  public:
    SoakStream(Random& random, const FrameSize& size)
        : _random(random),
          _size(size),
          _common(random_common(random, size)),
          _sensors(random_sensors(random, _common, size)),
          _instance(_common, _sensors),
          _motion(random),
          _rate(kRates[random.below(3)]) {
        EXPECT_EQ(_instance.status(), EIS_SUCCESS);
        uint32_t crop_height = 0;
        uint32_t crop_width = 0;
        const float margin = _sensors[0].tuning.general.minimal_total_margin;
        eis_internal_get_crop_size(size.height, size.width, size.height, size.width, &crop_height,
                                   &crop_width, margin, margin);
        _windows = centred_windows(size.width, size.height, crop_width, crop_height);
        _sat = {{static_cast<float>(random.between(0.99, 1.01)), 0.0f,
                 static_cast<float>(random.between(-5.0, 5.0)), 0.0f, 1.0f, 0.0f, 0.0f, 0.0f,
                 1.0f}};
    }

    void frame(const LogFile& log);

    uint64_t frames_out = 0;
    uint64_t corners_seen = 0;
    /// Of a corner that had to be inside, beyond what half a dozen points a side can tell, pixels.
    double worst_overshoot = -1e9;

  private:
    void step_time(is_input& input);
    const std::vector<_sample_data_s>& samples_of(const is_time_interval& interval, uint64_t period,
                                                  std::vector<_sample_data_s>& memory) const;
    void expect_numbers(const is_output& out) const;
    double turn_per_row() const;
    void look_at_corners(const is_output& out);

    Random& _random;
    FrameSize _size;
    is_init_common_data _common;
    std::vector<is_init_sensor_data> _sensors;
    Instance _instance;
    Motion _motion;
    FrameRate _rate;
    is_window_regions _windows;
    NcLibPerspTransformSingle _sat;
    OutputMemory _memory;
    std::vector<_sample_data_s> _gyro;
    std::vector<_sample_data_s> _lens;
    std::vector<_sample_data_s> _focus;
    uint64_t _sof = 2000000;
    uint32_t _frame_id = 0;
    uint32_t _sensor = 0;
    uint32_t _frames_to_end = 0;
    uint32_t _settling = 0;  ///< frames in which the way back from a loss is eased
};

const std::vector<_sample_data_s>& SoakStream::samples_of(
    const is_time_interval& interval, uint64_t period, std::vector<_sample_data_s>& memory) const {
    memory.clear();
    for (uint64_t ts = (interval.first_ts + period - 1) / period * period; ts <= interval.last_ts;
         ts += period) {
        memory.push_back(_motion.at(ts));
    }
    return memory;
}

// Mostly the next frame; sometimes a loss, a pause, an end, another sensor, another rate.
void SoakStream::step_time(is_input& input) {
    uint64_t periods = 1;
    _settling -= _settling != 0 ? 1 : 0;
    if (_random.once_in(40)) {
        periods += 1 + _random.below(6);
        _settling = 4;
    }
    _sof += periods * _rate.frame_time;
    if (_random.once_in(200)) {
        _sof += 490000 + _random.below(30000);
        _settling = 4;
    }
    if (_frames_to_end != 0) {
        --_frames_to_end;
    } else if (_frame_id > 1 && _random.once_in(150)) {
        _frames_to_end = 1 + _random.below(4);
    }
    if (_random.once_in(60)) {
        _sensor = _random.below(static_cast<uint32_t>(_sensors.size()));
    }
    if (_random.once_in(100)) {
        _rate = kRates[_random.below(3)];
        _settling = 4;
    }
    input.frame_id = ++_frame_id;
    input.active_sensor_idx = _sensor;
    input.frame_time_input = {_sof, _rate.frame_time, _rate.exposure, _rate.skew};
    input.window_regions = _windows;
    input.focus_distance = 1.0f;
}

void SoakStream::expect_numbers(const is_output& out) const {
    std::vector<float> numbers = {out.cvp_motion_index_raw};
    for (const NcLibWarpMatrices* matrices :
         {&out.stabilization_transform.matrices, &out.alignment_matrix_domain_undistorted,
          &out.alignment_matrix_domain_stabilized}) {
        if (matrices->enable) {
            numbers.insert(numbers.end(), matrices->perspMatrices[0].T,
                           matrices->perspMatrices[0].T + 9);
        }
    }
    if (out.distortion_correction_grid.enable) {
        for (const NcLibWarpGridCoord& node : _memory.distortion_grid) {
            numbers.push_back(node.x);
            numbers.push_back(node.y);
        }
    }
    ASSERT_TRUE(std::all_of(numbers.begin(), numbers.end(),
                            [](float number) { return std::isfinite(number); }))
        << "frame " << out.frame_id << ", mode " << _common.operation_mode;
}

// Pixels that the picture turns by from one time row of the frame to the next. The border's points
// take the row above them, so that much of the polygon is rounded off.
double SoakStream::turn_per_row() const {
    double fastest = 0.0;
    for (uint64_t ts = _sof - 20000; ts < _sof + 40000; ts += 2000) {
        const _sample_data_s sample = _motion.at(ts);
        fastest = std::max(fastest, std::fabs(sample.data[0]) + std::fabs(sample.data[1]) +
                                        std::fabs(sample.data[2]));
    }
    const double focal = _sensors[_sensor].tuning.general.focal_length * (_size.width / 1920.0);
    return fastest * std::max<double>(focal, _size.width) * _rate.skew * 1e-6 / 24.0;
}

// How far the corners of the output's window, through matrix and grid, lie outside the frame.
void SoakStream::look_at_corners(const is_output& out) {
    const double right = _size.width - 1.0;
    const double bottom = _size.height - 1.0;
    const double zoom = _common.do_virtual_upscale_in_transform
                            ? double{_windows.output_crop_fov.windowWidth} / _size.width
                            : 1.0;
    const double half_width = (_windows.output_crop_fov.windowWidth - 1.0) / 2.0 / zoom;
    const double half_height = (_windows.output_crop_fov.windowHeight - 1.0) / 2.0 / zoom;
    const double allowed = turn_per_row();
    for (const double x : {-half_width, half_width}) {
        for (const double y : {-half_height, half_height}) {
            const Pixel corner = {right / 2.0 + x, bottom / 2.0 + y};
            const Pixel p =
                through_grid(out.distortion_correction_grid,
                             through_matrix(out.stabilization_transform.matrices, corner));
            const double overshoot = std::max({-p.x, p.x - right, -p.y, p.y - bottom});
            worst_overshoot = std::max(worst_overshoot, overshoot - allowed);
            ++corners_seen;
        }
    }
}

void SoakStream::frame(const LogFile& log) {
    is_input input{};
    step_time(input);
    const is_init_sensor_data& sensor = _sensors[_sensor];
    is_time_intervals intervals{};
    ASSERT_EQ(
        eis2_get_time_intervals(_instance.get(), &input.frame_time_input, _sensor, &intervals),
        EIS_SUCCESS);
    NcLibWarp sat{};
    if (_common.is_sat_enabled && _random.once_in(2)) {
        sat.matrices = {true, {_size.width, _size.height}, CENTERED, 256, 1, 1, &_sat};
        input.sat = &sat;
    }
    if (_frames_to_end == 0) {
        const uint64_t gyro_period = 1000000 / sensor.tuning.top.gyro_frequency;
        samples_of(intervals.gyro, gyro_period, _gyro);
        input.gyro = {_gyro.data(), static_cast<uint32_t>(_gyro.size())};
        if (sensor.tuning.top.ois_frequency != 0) {
            samples_of(intervals.ois, 2000, _lens);
            input.ois = {_lens.data(), static_cast<uint32_t>(_lens.size())};
        }
        if (sensor.tuning.top.ifovc_frequency != 0) {
            samples_of(intervals.ifovc, 2000, _focus);
            for (_sample_data_s& sample : _focus) {
                sample.data[1] = 0.995 + 0.002 * std::sin(static_cast<double>(sample.ts) * 1e-6);
            }
            input.ifovc = {_focus.data(), static_cast<uint32_t>(_focus.size())};
        }
    }
    const is_output& out = _memory.output;
    ASSERT_EQ(eis2_process(_instance.get(), &input, &_memory.output), EIS_SUCCESS)
        << "frame " << input.frame_id << "\n"
        << log.text();
    if (!out.output_valid) {
        return;
    }
    ++frames_out;
    expect_numbers(out);
    const bool is_regular = _common.operation_mode == IS_OPT_REGULAR;
    // A correction of the rows that alone leaves the frame is given up; the polygon still has it.
    const bool has_rows_corrected =
        _memory.distortion_grid[EIS_GRID_COLUMNS + 1].x != -0.5f * static_cast<float>(_size.width);
    const bool is_feasible = log.text().find("No feasible solution") == std::string::npos;
    if (is_regular && is_feasible && has_rows_corrected && _settling == 0 && input.sat == nullptr) {
        look_at_corners(out);
    }
}

// Memory of the heap in use, bytes; a sanitizer has a heap of its own and finds leaks itself.
size_t heap_in_use() {
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

TEST(Soak, RandomValidStreamsRunOn) {
    constexpr uint64_t kSeed = 20261123;
    constexpr FrameSize kSizes[] = {{1920, 1080}, {1280, 720}, {3840, 2160}, {1440, 1080}};
    const char* frames_text = std::getenv("STEADYWARP_SOAK_FRAMES");
    const uint64_t frames =
        frames_text != nullptr ? std::strtoull(frames_text, nullptr, 10) : 10000;
    std::printf("seed %lu, %lu frames\n", kSeed, frames);
    Random random(kSeed);
    uint64_t processed = 0, frames_out = 0, corners_seen = 0, streams = 0;
    double worst_overshoot = -1e9;
    size_t early_heap = 0;
    while (processed < frames && !HasFailure()) {
        LogFile log;
        {
            SoakStream stream(random, kSizes[random.below(4)]);
            for (uint32_t left = 100 + random.below(900); left > 0 && !HasFailure(); --left) {
                log.clear();
                stream.frame(log);
                ++processed;
            }
            frames_out += stream.frames_out;
            corners_seen += stream.corners_seen;
            worst_overshoot = std::max(worst_overshoot, stream.worst_overshoot);
        }
        if (++streams == 5) {
            early_heap = heap_in_use();
        }
    }
    std::printf("%lu streams, %lu frames out, %lu corners, worst %.3f px\n", streams, frames_out,
                corners_seen, worst_overshoot);
    EXPECT_GT(frames_out, processed * 9 / 10);
    EXPECT_GT(corners_seen, processed);
    EXPECT_LE(worst_overshoot, 0.0);
    EXPECT_LE(heap_in_use(), early_heap + 65536);
}

}  // namespace
}  // namespace steadywarp::test
