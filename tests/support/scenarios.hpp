// SPDX-License-Identifier: Apache-2.0
/// @file scenarios.hpp
/// Streams as camera frameworks really drive them: drops, pauses, ends, switches of sensor and of
/// rate, each with every frame and log line that must come of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "steadywarp/eis.h"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {

/// What a frame must come to.
enum class FrameKind {
    kOpens,     ///< comes out, knows of no frame before it
    kSwitches,  ///< comes out, the frame before was another sensor's
    kFollows,   ///< comes out, aligned with the frame before
    kEnds,      ///< has no samples, and nothing comes out
};

struct ScenarioFrame {
    is_frame_times times;
    uint32_t sensor;
    FrameKind kind;
};

struct Scenario {
    std::string name;
    is_init_common_data common;
    std::vector<is_init_sensor_data> sensors;
    std::vector<ScenarioFrame> frames;
    std::vector<std::string> log;  ///< every line of the stream: severity, tag, text
};

/// All scenarios. The device turns at a constant rate; lenses that move stay where they are.
std::vector<Scenario> scenarios();

/// The raw shift at which a sensor's lens stays, in scenarios that have one; 1 is one pixel.
inline constexpr double kScenarioLens[2][2] = {{4.0, -3.0}, {-4.0, 2.0}};

/// The scale at which a sensor's focus stays, in scenarios that have one.
inline constexpr double kScenarioScale[2] = {1.0, 0.98};

/// The rate at which the device of every scenario turns, about its camera's axes, rad/s.
inline constexpr double kScenarioRate[3] = {0.02, 0.03, -0.01};

/// A scenario that runs on an instance of its own, one frame at a time.
class ScenarioSession {
  public:
    explicit ScenarioSession(const Scenario& scenario);

    eis_context* context() const { return _instance.get(); }
    bool is_over() const { return _next == _scenario.frames.size(); }

    /// Ask for the intervals of the next frame and make its input, which is valid until the next
    /// call.
    const is_input& next_input();
    /// The answer that next_input() got, NULL if it was refused.
    const is_time_intervals* intervals() const { return _is_answered ? &_intervals : nullptr; }
    /// Run both passes of the frame of next_input(). @return the status.
    uint32_t process();

    OutputMemory memory;

  private:
    const Scenario& _scenario;
    Instance _instance;
    std::vector<_sample_data_s> _gyro;
    std::vector<_sample_data_s> _lens[2];
    std::vector<_sample_data_s> _focus[2];
    is_input _input{};
    is_time_intervals _intervals{};
    bool _is_answered = false;
    size_t _next = 0;
};

/// The lines of a log without function names and line numbers: "[HIGH] IS1028 text".
std::vector<std::string> plain_lines(const std::string& log);

}  // namespace steadywarp::test
