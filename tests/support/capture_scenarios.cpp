// SPDX-License-Identifier: Apache-2.0
#include "support/capture_scenarios.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "support/records.hpp"
#include "support/simulated_optics.hpp"

namespace steadywarp::test {
namespace {

constexpr uint64_t kStartUs = 20000000;
constexpr uint64_t kGyroPeriodUs = 2000;
constexpr uint64_t kLensPeriodUs = 2000;

// Rates of a device whose camera has mount angle 180: right, up and out of the screen.
_sample_data_s gyro_at(const tool::Motion& motion, uint64_t ts) {
    const auto rate = motion.body_rate((static_cast<double>(ts) - kStartUs) * 1e-6);
    return {{rate[0], -rate[1], -rate[2]}, ts};
}

// Raw lens positions and a lens that racks its focus.
_sample_data_s lens_at(uint64_t ts) {
    const double t = static_cast<double>(ts) * 1e-6;
    return {{3.0 * std::sin(13.0 * t), 2.0 * std::cos(21.0 * t), 0.1, 0.2, 0.3, 1e-9}, ts};
}

_sample_data_s position_at(uint64_t ts) {
    const double t = static_cast<double>(ts) * 1e-6;
    return {{300.0 + 100.0 * std::sin(5.0 * t), 0.97 + 0.02 * std::sin(5.0 * t)}, ts};
}

// The samples of an interval, both ends included.
template <typename Source>
std::vector<_sample_data_s> samples_in(const Source& source, const is_time_interval& interval,
                                       uint64_t period_us) {
    std::vector<_sample_data_s> samples;
    if (interval.last_ts == 0) {
        return samples;
    }
    const uint64_t first = (interval.first_ts + period_us - 1) / period_us * period_us;
    for (uint64_t ts = first; ts <= interval.last_ts; ts += period_us) {
        samples.push_back(source(ts));
    }
    return samples;
}

is_sample_array array_of(const std::vector<_sample_data_s>& samples) {
    return {samples.data(), static_cast<uint32_t>(samples.size())};
}

// The samples of one frame, and the memory behind its records.
struct FrameSamples {
    std::vector<_sample_data_s> gyro;
    std::vector<_sample_data_s> ois;
    std::vector<_sample_data_s> ifovc;
    std::vector<_sample_data_s> other;

    template <typename Input>
    void lend(const CaptureFrame& frame, Input& input) const {
        input.frame_id = frame.frame_id;
        input.active_sensor_idx = frame.sensor;
        input.frame_time_input = frame.times;
        input.gyro = array_of(gyro);
        input.ois = array_of(ois);
        input.ifovc = array_of(ifovc);
        input.window_regions = frame.windows;
        input.focus_distance = frame.focus_distance;
        input.effective_focal_length_mm = frame.effective_focal_length_mm;
        input.pre_eis_transform_margins_reduction = frame.upstream;
        if (frame.has_other_streams) {
            for (is_sample_array* stream : {&input.mag, &input.acc, &input.linear_acc,
                                            &input.abs_orientation, &input.rel_orientation}) {
                *stream = array_of(other);
            }
        }
    }
};

// One session on its way.
class Recording {
  public:
    Recording(const CaptureScenario& scenario, eis_context* context, eis_utils_log* log)
        : _scenario(scenario), _motion(scenario.motion), _context(context), _log(log) {}

    uint32_t frames_out() const { return _frames_out; }

    void run(const CaptureFrame& frame) {
        eis_utils_log_data data{};
        is_time_intervals intervals{};
        if (eis2_get_time_intervals(_context, &frame.times, frame.sensor, &intervals) ==
            EIS_SUCCESS) {
            data.is_time_intervals = &intervals;
        }
        const FrameSamples samples = gather(frame, intervals);
        if (_scenario.common.is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY || frame.is_split) {
            run_split(frame, samples, data);
        } else {
            run_combined(frame, samples, data);
        }
    }

  private:
    FrameSamples gather(const CaptureFrame& frame, const is_time_intervals& intervals) const {
        FrameSamples samples;
        if (!frame.has_samples) {
            return samples;
        }
        samples.gyro = samples_in([this](uint64_t ts) { return gyro_at(_motion, ts); },
                                  intervals.gyro, kGyroPeriodUs);
        samples.ois = samples_in(lens_at, intervals.ois, kLensPeriodUs);
        samples.ifovc = samples_in(position_at, intervals.ifovc, 5000);
        if (frame.has_other_streams) {
            samples.other = samples_in(lens_at, intervals.gyro, 10000);
        }
        for (auto* stream : {&samples.gyro, &samples.ois, &samples.ifovc, &samples.other}) {
            quantize(*stream);
        }
        if (frame.change_gyro) {
            frame.change_gyro(samples.gyro);
        }
        return samples;
    }

    void quantize(std::vector<_sample_data_s>& samples) const {
        const double step = _scenario.sample_step;
        for (_sample_data_s& sample : samples) {
            for (double& value : sample.data) {
                value = step > 0.0 ? std::round(value / step) * step : value;
            }
        }
    }

    void run_combined(const CaptureFrame& frame, const FrameSamples& samples,
                      eis_utils_log_data& data) {
        is_input input{};
        samples.lend(frame, input);
        input.sat = frame.sat;
        eis2_process(_context, &input, &_memory.output);
        _frames_out += _memory.output.output_valid ? 1 : 0;
        data.is_input = &input;
        data.is_output = &_memory.output;
        eis_utils_log_write(_log, &data);
    }

    void run_split(const CaptureFrame& frame, const FrameSamples& samples,
                   eis_utils_log_data& data) {
        is_input_distortion_correction input{};
        samples.lend(frame, input);
        is_output_distortion_correction output = _memory.first_pass();
        eis_internal_process_distortion_correction(_context, &input, &output);
        data.is_input_distortion_correction = &input;
        data.is_output_distortion_correction = &output;
        eis_utils_log_write(_log, &data);
        if (_scenario.common.is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY) {
            _frames_out += output.output_valid ? 1 : 0;
            return;
        }
        is_input_stabilize second_input{};
        second_input.frame_id = frame.frame_id;
        second_input.active_sensor_idx = frame.sensor;
        second_input.frame_time_input = frame.times;
        second_input.sat = frame.sat;
        second_input.dis_motion_vectors = frame.vectors;
        is_output_stabilize second = _memory.second_pass();
        eis_internal_process_stabilize(_context, &second_input, &second);
        _frames_out += second.output_valid ? 1 : 0;
        // The second pass is recorded by a call of its own, as a caller with two threads would.
        eis_utils_log_data rest{};
        rest.is_input_stabilize = &second_input;
        rest.is_output_stabilize = &second;
        eis_utils_log_write(_log, &rest);
    }

    const CaptureScenario& _scenario;
    tool::Motion _motion;
    eis_context* _context;
    eis_utils_log* _log;
    OutputMemory _memory;
    uint32_t _frames_out = 0;
};

tool::MotionProfile shake(double rms_rate, uint64_t seed) {
    tool::MotionProfile profile;
    profile.seed = seed;
    profile.rms_rate = rms_rate;
    return profile;
}

tool::MotionProfile still() {
    tool::MotionProfile profile = shake(0.0, 1);
    profile.tones = 0;
    return profile;
}

tool::MotionProfile turn(double rate) {
    tool::MotionProfile profile = shake(0.03, 5);
    profile.turn_rate = rate;
    return profile;
}

CaptureScenario plain(const char* name, const tool::MotionProfile& motion) {
    CaptureScenario scenario;
    scenario.name = name;
    scenario.common = valid_common();
    scenario.sensors = {valid_sensor()};
    scenario.motion = motion;
    return scenario;
}

is_init_sensor_data sensor_with_lens(uint32_t module_type) {
    is_init_sensor_data sensor = valid_sensor();
    sensor.tuning.top.ois_frequency = 500;
    sensor.tuning.ois.module_type = module_type;
    sensor.tuning.ois.data_conversion_x_tab[1] = 1.3f;
    sensor.tuning.ois.data_conversion_y_tab[2] = 0.7f;
    if (module_type == 1) {
        set_linear_model(sensor.tuning, 1.3f, 0.7f);
    }
    eis_tuning_set_ois(&sensor.tuning, EIS_TUNING_OIS_FILTER_MODE, static_cast<float>(1));
    return sensor;
}

CaptureScenario with_lens(const char* name, uint32_t module_type) {
    CaptureScenario scenario = plain(name, shake(0.06, module_type + 11));
    scenario.common.is_ois_enabled = true;
    scenario.sensors = {sensor_with_lens(module_type)};
    return scenario;
}

CaptureScenario interrupted() {
    CaptureScenario scenario = plain("drop_and_pause", shake(0.06, 3));
    scenario.shape = [](CaptureFrame& frame) {
        frame.times.sof += frame.index >= 12 ? 66666 : 0;
        frame.times.sof += frame.index >= 24 ? 700000 : 0;
    };
    return scenario;
}

CaptureScenario ended() {
    CaptureScenario scenario = plain("end_and_restart", shake(0.06, 4));
    scenario.shape = [](CaptureFrame& frame) {
        frame.has_samples = frame.index < 18 || frame.index >= 21;
        // A new stream may count from the start again.
        frame.frame_id = frame.index < 21 ? frame.index + 1 : frame.index - 20;
    };
    return scenario;
}

CaptureScenario changing_exposure() {
    CaptureScenario scenario = plain("blur_masking", shake(0.2, 6));
    is_tessaline_blur_masking& masking = scenario.sensors[0].tuning.blur_masking;
    masking.enable = 1;
    masking.min_strength = 0.25f;
    masking.exposure_time_th = 0.004f;
    masking.start_decrease_at_blur = 3.0f;
    masking.end_decrease_at_blur = 30.0f;
    masking.pan_min_threshold = 0.1f;
    masking.pan_max_threshold = 0.3f;
    scenario.shape = [](CaptureFrame& frame) {
        frame.times.exposure_time = 1000 + 700 * frame.index;
    };
    return scenario;
}

CaptureScenario fast_front() {
    CaptureScenario scenario = plain("front_upscaled_60", shake(0.08, 7));
    scenario.common.frame_fps = 60;
    scenario.common.do_virtual_upscale_in_transform = true;
    scenario.common.deployment_type = DEP_TYPE_GPU_POST;
    scenario.sensors[0].camera_position = 1;
    scenario.shape = [](CaptureFrame& frame) {
        frame.times.sof = kStartUs + uint64_t{frame.index} * 16666;
        frame.times.frame_time = 16666;
        frame.times.sensor_rolling_shutter_skew = 12000;
        frame.focus_distance = 0.0f;
    };
    return scenario;
}

CaptureScenario split_transform() {
    CaptureScenario scenario = plain("split_transform", shake(0.06, 8));
    scenario.common.force_split_grid_matrix = true;
    scenario.common.deployment_type = DEP_TYPE_ICA_V20;
    return scenario;
}

CaptureScenario distortion_only() {
    CaptureScenario scenario = plain("distortion_only", shake(0.06, 9));
    scenario.common.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
    scenario.shape = [](CaptureFrame& frame) { frame.has_other_streams = true; };
    return scenario;
}

CaptureScenario two_passes() {
    CaptureScenario scenario = plain("two_passes", shake(0.06, 10));
    scenario.shape = [](CaptureFrame& frame) {
        static const NcLibPerspTransformSingle kAlignment = {
            {1.0f, 1e-5f, 3.25f, -1e-5f, 1.0f, -2.5f, 1e-7f, 0.0f, 1.0f}};
        static const std::array<uint32_t, 7> kWords = {0x100CE555, 0, 1, 100, 200, 0x3F, 0x1F};
        static const is_motion_vectors_input kVectors = {
            640,
            360,
            {true,
             {640, 360},
             CENTERED,
             200,
             1,
             1,
             const_cast<NcLibPerspTransformSingle*>(&kAlignment)},
            sizeof kWords,
            kWords.data()};
        frame.is_split = true;
        frame.vectors = &kVectors;
    };
    return scenario;
}

// An upstream transform with elements that six decimals do not hold.
CaptureScenario upstream_transform() {
    CaptureScenario scenario = plain("upstream_transform", shake(0.06, 12));
    scenario.shape = [](CaptureFrame& frame) {
        static NcLibPerspTransformSingle matrix = {{1.0123456789f, 1.23456789e-4f, 17.3f,
                                                    -2.3456e-4f, 0.9912345f, -9.1f, 1.234e-7f,
                                                    -4.321e-8f, 1.0f}};
        static const NcLibWarp warp = {
            {true, {8192, 6144}, CENTERED, 256, 1, 1, &matrix}, {}, OUT_2_IN};
        frame.upstream = &warp;
        frame.effective_focal_length_mm = 1.0f / 3.0f;
    };
    return scenario;
}

CaptureScenario several_sensors() {
    CaptureScenario scenario = with_lens("sensor_switch", 0);
    scenario.sensors.push_back(sensor_with_lens(4));
    scenario.sensors[1].tuning.general.focal_length = 3000;
    scenario.sensors[0].tuning.ois.center_command_enable = 1;
    scenario.sensors[0].tuning.ois.center_exposure_time_th = 20000;
    scenario.sensors[0].tuning.ois.center_response_time_ms = 100;
    scenario.shape = [](CaptureFrame& frame) { frame.sensor = frame.index / 8 % 2; };
    return scenario;
}

CaptureScenario moving_focus(const char* name, uint32_t scale_source) {
    CaptureScenario scenario = plain(name, shake(0.06, 15 + scale_source));
    scenario.common.is_ifovc_enabled = true;
    is_tessaline_info_s& tuning = scenario.sensors[0].tuning;
    tuning.top.ifovc_frequency = 200;
    tuning.z_lens_pos.enable = 1;
    tuning.z_lens_pos.scale_source = scale_source;
    tuning.z_lens_pos.min_scale_limit = 0.93f;
    tuning.z_lens_pos.lut_len = 3;
    constexpr float kPositions[] = {450.0f, 300.0f, 150.0f};
    constexpr float kScales[] = {1.0f, 0.97f, 0.95f};
    std::copy_n(kPositions, 3, tuning.z_lens_pos.lut_z_lens_pos_tab);
    std::copy_n(kScales, 3, tuning.z_lens_pos.lut_scale_vs_z_lens_pos_tab);
    return scenario;
}

// A lens that draws the corners inward.
constexpr SimulatedOptics kBarrel = {kFixedLens, false, 20.0};

CaptureScenario tuned_grids() {
    CaptureScenario scenario = plain("distortion_grids", shake(0.06, 17));
    set_tuned_grids(scenario.sensors[0].tuning, DistortionGrids(kBarrel, 27, 35));
    return scenario;
}

// The same lens described by grids beside the tuning, which the records point to.
CaptureScenario own_grids(const char* name, const DistortionGrids& grids, uint32_t calib_domain) {
    CaptureScenario scenario = plain(name, shake(0.06, 21));
    is_init_sensor_data& sensor = scenario.sensors[0];
    sensor.tuning.lens_distortion_correction.ldc_grid_source = 1;
    sensor.ldc_in2out = &grids.in2out;
    sensor.ldc_out2in = &grids.out2in;
    sensor.ldc_calib_domain = calib_domain;
    sensor.image_sensor_crop = {kWidth, kHeight, kWidth, kHeight, 0.0f, 0.0f};
    return scenario;
}

CaptureScenario own_coarse_grids() {
    static const DistortionGrids kGrids(kBarrel, 27, 35);
    return own_grids("sensor_grids", kGrids, 1);
}

CaptureScenario own_fine_grids() {
    static const DistortionGrids kGrids(kBarrel, 51, 67);
    return own_grids("sensor_grids_fine", kGrids, 0);
}

// A spatial alignment with elements that six decimals do not hold.
CaptureScenario aligned(const char* name, uint32_t operation_mode) {
    CaptureScenario scenario = plain(name, shake(0.06, 19));
    scenario.common.operation_mode = operation_mode;
    scenario.common.is_sat_enabled = true;
    scenario.common.force_split_grid_matrix = true;
    scenario.shape = [](CaptureFrame& frame) {
        static NcLibPerspTransformSingle matrix = {{0.9912345f, 1.23456e-3f, 12.3456f, -1.3456e-3f,
                                                    0.9923456f, -7.654f, 1.2345e-7f, -3.21e-8f,
                                                    1.0f}};
        static const NcLibWarp warp = {
            {true, {8192, 6144}, CENTERED, 256, 1, 1, &matrix}, {}, OUT_2_IN};
        frame.sat = frame.index % 4 == 3 ? nullptr : &warp;
    };
    return scenario;
}

CaptureScenario in_mode(const char* name, uint32_t operation_mode) {
    CaptureScenario scenario = plain(name, shake(0.06, 20));
    scenario.common.operation_mode = operation_mode;
    return scenario;
}

CaptureScenario corrected_by_image() {
    CaptureScenario scenario = two_passes();
    scenario.name = "motion_vectors";
    scenario.common.is_dis_enabled = true;
    scenario.sensors[0].tuning.dis.enable = 1;
    scenario.sensors[0].tuning.dis.confidence_threshold = 100;
    return scenario;
}

// What a device does when things go wrong: the library refuses some of it, or warns.
CaptureScenario troubled() {
    CaptureScenario scenario = plain("bad_input", shake(0.06, 13));
    scenario.shape = [](CaptureFrame& frame) {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        switch (frame.index) {
            case 6:
                frame.change_gyro = [](auto& samples) { samples[3].data[1] = std::nan(""); };
                break;
            case 9:
                frame.frame_id -= 1;
                break;
            case 12:
                frame.windows.output_crop_fov.windowWidth = nan;
                break;
            case 15:
                frame.change_gyro = [](auto& samples) { samples.resize(samples.size() / 3); };
                break;
            case 18:
                frame.times.sof -= 40000;
                break;
            case 21:
                frame.focus_distance = 1e-12f;
                break;
            case 24:
                frame.sensor = 7;
                break;
            case 27:
                frame.change_gyro = [](auto& samples) {
                    std::swap(samples[2], samples[3]);
                    samples[5].data[0] = 1e300;
                };
                break;
            default:
                break;
        }
    };
    return scenario;
}

CaptureScenario breaching() {
    CaptureScenario scenario = plain("breach", shake(0.8, 14));
    scenario.sensors[0].tuning.timing.s3d_offset = -1500;
    return scenario;
}

}  // namespace

std::vector<CaptureScenario> capture_scenarios() {
    return {plain("walk", tool::hand_held_walk(2)),
            plain("still", still()),
            plain("pan", turn(0.6)),
            breaching(),
            interrupted(),
            ended(),
            changing_exposure(),
            fast_front(),
            split_transform(),
            distortion_only(),
            two_passes(),
            upstream_transform(),
            with_lens("lens_shift", 0),
            with_lens("lens_shift_general", 1),
            with_lens("gimbal", 3),
            several_sensors(),
            moving_focus("lens_position", 0),
            moving_focus("lens_position_table", 1),
            tuned_grids(),
            own_coarse_grids(),
            own_fine_grids(),
            aligned("spatial_alignment", IS_OPT_REGULAR),
            aligned("sat_pass_through", IS_OPT_TEST_SAT_PASS_THROUGH),
            corrected_by_image(),
            in_mode("calibration", IS_OPT_CALIBRATION_ASYMMETRIC),
            in_mode("calibration_robust", IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST),
            in_mode("undistortion", IS_OPT_UNDISTORTION_ONLY),
            in_mode("identity_robust", IS_OPT_IDENTITY_ONLY_ROBUST),
            in_mode("lens_only", IS_OPT_IFOVC_LDC_ONLY),
            in_mode("margins_limits", IS_OPT_TEST_MARGINS_LIMITS),
            troubled()};
}

namespace {

// What an open capture's session is left to do: run and record. @return the frames that came out.
using RunSession = std::function<uint32_t(eis_utils_log*)>;

std::optional<uint32_t> record(const eis_utils_log_config& config, const RunSession& run) {
    eis_utils_log* log = nullptr;
    if (eis_utils_log_init(&log, &config) != EIS_SUCCESS) {
        return std::nullopt;
    }
    std::optional<uint32_t> frames_out;
    if (eis_utils_log_open(log, nullptr) == EIS_SUCCESS) {
        frames_out = run(log);
    }
    const bool is_whole = eis_utils_log_close(log) == EIS_SUCCESS;
    eis_utils_log_destroy(&log);
    return is_whole ? frames_out : std::nullopt;
}

}  // namespace

std::optional<uint32_t> record_scenario(const CaptureScenario& scenario, const std::string& prefix,
                                        uint32_t flags) {
    const Instance instance(scenario.common, scenario.sensors);
    if (instance.status() != EIS_SUCCESS) {
        return std::nullopt;
    }
    const eis_utils_log_config config = {&scenario.common, scenario.sensors.data(),
                                         static_cast<uint32_t>(scenario.sensors.size()), flags,
                                         prefix.c_str()};
    return record(config, [&](eis_utils_log* log) {
        Recording recording(scenario, instance.get(), log);
        for (uint32_t i = 0; i < scenario.frames; ++i) {
            CaptureFrame frame;
            frame.index = i;
            frame.frame_id = i + 1;
            frame.times = {kStartUs + uint64_t{i} * 33333, 33333, 10000, 25000};
            frame.windows = centred_windows();
            if (scenario.shape) {
                scenario.shape(frame);
            }
            recording.run(frame);
        }
        return recording.frames_out();
    });
}

std::optional<uint32_t> record_scenario(const Scenario& scenario, const std::string& prefix) {
    ScenarioSession session(scenario);
    if (session.context() == nullptr) {
        return std::nullopt;
    }
    const eis_utils_log_config config = {&scenario.common, scenario.sensors.data(),
                                         static_cast<uint32_t>(scenario.sensors.size()),
                                         IS_UTILS_FLAG_ALL, prefix.c_str()};
    return record(config, [&](eis_utils_log* log) {
        uint32_t frames_out = 0;
        while (!session.is_over()) {
            eis_utils_log_data data{};
            data.is_input = &session.next_input();
            data.is_time_intervals = session.intervals();
            session.process();
            frames_out += session.memory.output.output_valid ? 1 : 0;
            data.is_output = &session.memory.output;
            eis_utils_log_write(log, &data);
        }
        return frames_out;
    });
}

}  // namespace steadywarp::test
