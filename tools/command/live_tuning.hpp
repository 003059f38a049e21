// SPDX-License-Identifier: Apache-2.0
/// @file live_tuning.hpp
/// A run at a camera's pace whose tuning changes while it goes on.
#pragma once

#include <chrono>
#include <memory>

#include "command/live_figures.hpp"
#include "command/recording_source.hpp"
#include "stream/stabilizer.hpp"

namespace steadywarp::tool {

/// Paces a run and starts a new instance where a value of the tuning file changed.
class LiveTuning {
  public:
    /// @param source has a tuning file. Both must outlive this object.
    LiveTuning(RecordingSource& source, Stabilizer& stabilizer);

    /// Tell on standard output where the service listens: one line of words `name=value`.
    void announce() const;

    /// Sleep until a frame is due, counted from the first frame that was waited for. A run that is
    /// late is not slowed down, and no frame is left out. An interrupt ends the wait.
    void wait_for(const Frame& frame);

    /// Before a frame: take changed values into the camera and go on with a new instance. Values
    /// that cannot be run leave camera and instance as they are. Either is told on standard output;
    /// a way back to the values in force is nothing.
    /// @return whether there is a new instance.
    bool take_changes(const Frame& frame);

    /// Tell of a frame that was run, to those who ask through the service.
    void tell(const TraceFrame& frame);

  private:
    using Clock = std::chrono::steady_clock;

    enum class Outcome { kSame, kTaken, kRefused };

    Outcome restart();

    RecordingSource& source_;
    Stabilizer& stabilizer_;
    std::unique_ptr<is_tessaline_info_s> in_force_;
    std::shared_ptr<LiveFigures> figures_;
    bool restarted_ = false;  ///< since the last frame that was told of
    bool started_ = false;
    Clock::time_point start_;
    int64_t first_us_ = 0;
};

}  // namespace steadywarp::tool
