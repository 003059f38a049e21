// SPDX-License-Identifier: Apache-2.0
#include "support/scenarios.hpp"

#include <cstdarg>
#include <cstdio>
#include <sstream>

namespace steadywarp::test {
namespace {

constexpr uint64_t kStart = 2000000;
constexpr uint64_t kFrame = 33333;

std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string text(const char* format, ...) {
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return buffer;
}

// Writes a scenario frame by frame.
class Script {
  public:
    explicit Script(const char* name, std::vector<is_init_sensor_data> sensors = {valid_sensor()}) {
        _scenario.name = name;
        _scenario.common = valid_common();
        _scenario.sensors = std::move(sensors);
    }

    operator Scenario() const { return _scenario; }

    /// A frame `delta_us` after the one before.
    Script& frame(uint64_t delta_us, FrameKind kind) {
        _sof += _scenario.frames.empty() ? 0 : delta_us;
        _previous = _scenario.frames.empty() ? 0 : _scenario.frames.back().times.sof;
        is_frame_times times = _rate;
        times.sof = _sof;
        _scenario.frames.push_back({times, _sensor, kind});
        return *this;
    }
    /// `n` frames in an even row; the first one of a scenario opens the stream.
    Script& run(int n) {
        for (int i = 0; i < n; ++i) {
            frame(_rate.frame_time,
                  _scenario.frames.empty() ? FrameKind::kOpens : FrameKind::kFollows);
        }
        return *this;
    }
    Script& end(int n) {
        for (int i = 0; i < n; ++i) {
            frame(_rate.frame_time, FrameKind::kEnds);
        }
        return *this;
    }
    Script& rate(uint32_t frame_time, uint32_t exposure, uint32_t skew) {
        _rate = {0, frame_time, exposure, skew};
        return *this;
    }
    Script& sensor(uint32_t index) {
        _sensor = index;
        return *this;
    }
    Script& with(void (*change)(is_init_common_data&)) {
        change(_scenario.common);
        return *this;
    }

    /// A line of the log, once and three times: in the query and in both passes.
    Script& line(const std::string& expected) {
        _scenario.log.push_back(expected);
        return *this;
    }
    Script& line_thrice(const std::string& expected) {
        return line(expected).line(expected).line(expected);
    }
    std::string drop(int missing) const {
        return text(
            "[HIGH] IS1028 Frame drop was detected. (# of missing frames, current frame SOF, "
            "previous frame SOF): %d, %lu, %lu",
            missing, _sof, _previous);
    }
    std::string pause() const {
        return text("[HIGH] IS1024 Pause-resume use case was detected - : %lu, %lu", _sof,
                    _previous);
    }
    static std::string restart(int pause, int new_stream, int with_gyro, int without_gyro) {
        return text("[HIGH] IS1027 Pause-Resume or New-Stream: %d, %d, %d, %d", pause, new_stream,
                    with_gyro, without_gyro);
    }
    uint64_t sof() const { return _sof; }
    uint64_t previous() const { return _previous; }

  private:
    Scenario _scenario;
    is_frame_times _rate = {0, kFrame, 10000, 25000};
    uint32_t _sensor = 0;
    uint64_t _sof = kStart;
    uint64_t _previous = 0;
};

Scenario dropped(const char* name, uint64_t delta_us, int missing) {
    Script script(name);
    script.run(10).frame(delta_us, FrameKind::kFollows);
    return script.line_thrice(script.drop(missing)).run(10);
}

// A jump that the validators call a pause. From 500001 microseconds on it is one.
Scenario paused(const char* name, uint64_t delta_us) {
    const bool is_reset = delta_us > 500000;
    Script script(name);
    script.run(10).frame(delta_us, is_reset ? FrameKind::kOpens : FrameKind::kFollows);
    script.line(script.pause());
    if (is_reset) {
        script.line(Script::restart(1, 0, 10, 0));
    }
    return script.line(script.pause()).line(script.pause()).run(10);
}

// Ten frames, `n` without samples, and the stream once more.
Scenario ended(const char* name, int n, uint64_t delta_us) {
    Script script(name);
    script.run(10).end(n);
    // Nine steps behind the first frame and two while it drains; then there is nothing left.
    for (int i = 3; i <= n; ++i) {
        script.line(
            text("[ERR] IS0002 Filter failed to produce output (filter frame id, input frame id, "
                 "active sensor id): (11, %d, 0)",
                 10 + i));
        script.line("[ERR] IS0002 _stabilize->_eis.process() failed");
        script.line("[ERR] IS0002 eis_update_and_process() failed");
    }
    script.frame(delta_us, FrameKind::kOpens);
    const bool is_pause = delta_us > 500000;
    if (is_pause) {
        script.line(script.pause());
    }
    script.line(Script::restart(is_pause ? 1 : 0, 1, 10, n));
    if (is_pause) {
        script.line(script.pause()).line(script.pause());
    }
    return script.run(10);
}

std::vector<is_init_sensor_data> two_sensors() {
    is_init_sensor_data tele = valid_sensor();
    tele.tuning.general.focal_length = 4000;
    return {valid_sensor(), tele};
}

std::vector<is_init_sensor_data> two_lenses() {
    std::vector<is_init_sensor_data> sensors = two_sensors();
    for (is_init_sensor_data& sensor : sensors) {
        sensor.tuning.top.ois_frequency = 500;
        sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
        sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
    }
    return sensors;
}

// To and fro between two sensors, `frames_each` at a time.
Scenario switched(const char* name, std::vector<is_init_sensor_data> sensors, int frames_each) {
    Script script(name, std::move(sensors));
    script.run(frames_each);
    for (uint32_t round = 1; round < 8; ++round) {
        script.sensor(round % 2).frame(kFrame, FrameKind::kSwitches).run(frames_each - 1);
    }
    return script;
}

// Two lenses that move, focus and distort, or claim to, through switches, a loss, a pause, an end.
Scenario everything() {
    std::vector<is_init_sensor_data> sensors = two_lenses();
    for (is_init_sensor_data& sensor : sensors) {
        sensor.tuning.top.ifovc_frequency = 500;
        sensor.tuning.z_lens_pos.enable = 1;
        sensor.tuning.z_lens_pos.min_scale_limit = 0.95f;
    }
    set_identity_grids(sensors[0]);
    Script script("every stream, switched, interrupted and ended", sensors);
    script.with([](is_init_common_data& common) {
        common.is_ois_enabled = common.is_ifovc_enabled = common.is_sat_enabled = true;
        common.force_split_grid_matrix = true;
    });
    script.run(5).sensor(1).frame(kFrame, FrameKind::kSwitches).run(1);
    script.sensor(0).frame(kFrame, FrameKind::kSwitches).run(5);
    script.frame(3 * kFrame, FrameKind::kFollows);
    script.line_thrice(script.drop(2)).run(3).frame(600000, FrameKind::kOpens);
    script.line(script.pause()).line(Script::restart(1, 0, 17, 0));
    script.line(script.pause()).line(script.pause()).run(5);
    script.end(2).sensor(1).frame(kFrame, FrameKind::kOpens);
    return script.line(Script::restart(0, 1, 23, 2)).run(5);
}

Scenario switched_back_in_time(const char* name, uint64_t earlier_us) {
    Script script(name, two_sensors());
    script.run(10).sensor(1).frame(0 - earlier_us, FrameKind::kSwitches);
    const std::string expected =
        earlier_us == 0
            ? text(
                  "[ERR] IS0516 Sensor switch and SOF time stamps are equal, debug is needed : "
                  "%lu",
                  script.sof())
            : text(
                  "[ERR] IS0516 Sensor switch and SOF time stamps are not strictly monotonically "
                  "increasing: %lu, %lu",
                  script.previous(), script.sof());
    // What the other sensor's frame needs is nearly all there; one look is not enough for a scene.
    return script.line(expected)
        .line(expected)
        .line(
            "[HIGH] IS0530 Sensor switch was detected and not enough gyro samples were supplied "
            "to detect scene. using previous decision")
        .line(expected)
        .run(10);
}

// The last slow frame is two fast ones long: a drop, and no frame is missing.
Scenario rates_changed() {
    Script script("from 30 to 60 and back to 30 frames a second");
    script.run(20).rate(16667, 8000, 12000).frame(kFrame, FrameKind::kFollows);
    // Its interval still allowed for the slow read-out, 28350 us from its start; the second one
    // asks for 14700 us from its own, 16667 us later: two samples are new.
    return script.line_thrice(script.drop(0))
        .line("[ERR] IS0003 Gyro data drop is heavy for scene detection!")
        .run(40)
        .rate(kFrame, 10000, 25000)
        .frame(16667, FrameKind::kFollows)
        .run(20);
}

Scenario sixteen_sensors() {
    std::vector<is_init_sensor_data> sensors;
    for (uint32_t i = 0; i < EIS_MAX_NUM_SENSORS; ++i) {
        sensors.push_back(valid_sensor());
        sensors.back().tuning.general.focal_length = 1000 + 100 * i;
    }
    Script script("sixteen sensors in turn", sensors);
    script.run(1);
    for (uint32_t i = 1; i < 40; ++i) {
        script.sensor(i % EIS_MAX_NUM_SENSORS).frame(kFrame, FrameKind::kSwitches);
    }
    return script;
}

Scenario corrected_by_image() {
    std::vector<is_init_sensor_data> sensors = {valid_sensor()};
    sensors[0].tuning.dis.enable = 1;
    sensors[0].tuning.dis.confidence_threshold = 100;
    Script script("image-based correction, ended and begun again", sensors);
    script.with([](is_init_common_data& common) { common.is_dis_enabled = true; });
    const auto without_vectors = [&](int first_id, int n) {
        for (int id = first_id; id < first_id + n; ++id) {
            script.line(text("[ERR] IS0003 frame_id %d: NULL pointer", id));
            script.line("[ERR] IS0003 Invalid motion vectors, DIS will be disabled for this frame");
            script.line(
                text("[HIGH] IS1026 Frame # %d. Input structs for stabilization are sub-optimal (# "
                     "errors, # warnings # info) : (0, 1, 0)",
                     id));
        }
    };
    script.run(20).end(7).frame(kFrame, FrameKind::kOpens).run(9);
    without_vectors(1, 20);
    script.line(Script::restart(0, 1, 20, 7));
    without_vectors(28, 10);
    return script;
}

}  // namespace

std::vector<Scenario> scenarios() {
    std::vector<Scenario> all;
    all.push_back(Script("an even stream").run(40));
    all.push_back(dropped("one frame lost", 2 * kFrame, 1));
    all.push_back(dropped("five frames lost", 6 * kFrame, 5));
    // Fifteen periods, so fourteen frames are missing.
    all.push_back(dropped("a jump just short of a pause", 499999, 14));
    all.push_back(paused("a jump that only the validators call a pause", 500000));
    all.push_back(paused("the shortest pause", 500001));
    all.push_back(paused("a pause of 0.6 s", 600000));
    all.push_back(paused("a pause of an hour", 3600000000u));
    all.push_back(ended("an end of one frame", 1, kFrame));
    all.push_back(ended("an end of two frames", 2, kFrame));
    all.push_back(ended("an end of four frames", 4, kFrame));
    all.push_back(ended("an end and a pause", 2, 700000));
    all.push_back(Script("ended at once")
                      .run(1)
                      .end(1)
                      .frame(kFrame, FrameKind::kOpens)
                      .line(Script::restart(0, 1, 1, 1))
                      .end(1)
                      .frame(kFrame, FrameKind::kOpens)
                      .line(Script::restart(0, 1, 1, 1))
                      .run(5));
    all.push_back(rates_changed());
    all.push_back(switched("two sensors by threes", two_sensors(), 3));
    Scenario lenses = switched("two moving lenses by threes", two_lenses(), 3);
    lenses.common.is_ois_enabled = true;
    all.push_back(lenses);
    lenses = switched("two moving lenses in turn", two_lenses(), 1);
    lenses.common.is_ois_enabled = true;
    all.push_back(lenses);
    all.push_back(switched_back_in_time("a switch to an earlier start", 1000));
    all.push_back(switched_back_in_time("a switch to the same start", 0));
    all.push_back(everything());
    all.push_back(sixteen_sensors());
    all.push_back(corrected_by_image());
    return all;
}

ScenarioSession::ScenarioSession(const Scenario& scenario)
    : _scenario(scenario), _instance(scenario.common, scenario.sensors) {
    // The device's axes of a rear camera with mount angle 180: x the same, y and z turned round.
    const RateSource rates = constant_rate(kScenarioRate[0], -kScenarioRate[1], -kScenarioRate[2]);
    // Around each frame what a framework could hold; nobody keeps an hour of samples.
    const auto add = [](std::vector<_sample_data_s>& to, const RateSource& source, uint64_t from,
                        uint64_t until) {
        const uint64_t begin = to.empty() ? from : std::max(from, to.back().ts + 2000);
        const auto more = sampled(source, begin / 2000 * 2000, until, 2000);
        to.insert(to.end(), more.begin(), more.end());
    };
    for (const ScenarioFrame& frame : scenario.frames) {
        const uint64_t sof = frame.times.sof;
        add(_gyro, rates, sof - 600000, sof + 80000);
        for (uint32_t i = 0; i < 2; ++i) {
            add(_lens[i], constant_rate(kScenarioLens[i][0], kScenarioLens[i][1], 0.0),
                sof - 600000, sof + 80000);
            add(_focus[i], constant_rate(3.0 + i, kScenarioScale[i], 0.0), sof - 600000,
                sof + 80000);
        }
    }
}

const is_input& ScenarioSession::next_input() {
    const ScenarioFrame& frame = _scenario.frames[_next];
    _intervals = {};
    _is_answered =
        eis2_get_time_intervals(context(), &frame.times, frame.sensor, &_intervals) == EIS_SUCCESS;
    const is_init_sensor_data& sensor = _scenario.sensors[frame.sensor];
    _input = {};
    _input.frame_id = static_cast<uint32_t>(_next) + 1;
    _input.active_sensor_idx = frame.sensor;
    _input.frame_time_input = frame.times;
    _input.window_regions = centred_windows(sensor.input_width, sensor.input_height);
    _input.focus_distance = 1.0f;
    if (frame.kind != FrameKind::kEnds) {
        _input.gyro = samples_within(_gyro, _intervals.gyro);
        if (sensor.tuning.top.ois_frequency != 0) {
            _input.ois = samples_within(_lens[frame.sensor], _intervals.ois);
        }
        if (sensor.tuning.top.ifovc_frequency != 0) {
            _input.ifovc = samples_within(_focus[frame.sensor], _intervals.ifovc);
        }
    }
    ++_next;
    return _input;
}

uint32_t ScenarioSession::process() {
    return eis2_process(context(), &_input, &memory.output);
}

std::vector<std::string> plain_lines(const std::string& log) {
    std::vector<std::string> lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        // "[ERR]  IS0003: V2: function(12): text"
        std::istringstream words(line);
        std::string severity, tag;
        words >> severity >> tag;
        const size_t head_end = line.find("): ");
        if (head_end != std::string::npos && tag.ends_with(':')) {
            tag.pop_back();
            line = severity + " " + tag + " " + line.substr(head_end + 3);
        }
        lines.push_back(line);
    }
    return lines;
}

}  // namespace steadywarp::test
