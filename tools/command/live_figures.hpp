// SPDX-License-Identifier: Apache-2.0
/// @file live_figures.hpp
/// What a live run tells of its newest frames to whoever asks through the tuning service.
#pragma once

#include <array>
#include <atomic>

#include "analysis/high_pass.hpp"
#include "output/trace.hpp"
#include "steadywarp/tuning/parameterdialinworker.h"

namespace steadywarp::tool {

/// Answers command 8; docs/live-tuning.md has the frames.
///
/// One thread adds, others ask; neither waits for the other.
class LiveFigures final : public IParameterDialinCustom {
  public:
    /// Frames that are kept: some seconds of the fastest camera.
    static constexpr uint64_t kKept = 512;

    /// @param period_us between two frames.
    explicit LiveFigures(uint32_t period_us);

    /// Add the newest frame. @param margin `minimal_total_margin` in force. @param restarted
    /// whether a new instance begins with this frame. Allocates nothing.
    void add(const TraceFrame& frame, float margin, bool restarted);

    uint16_t ProcessCustom(unsigned char const* payload, unsigned int payload_length,
                           unsigned int room, unsigned char* output,
                           uint16_t& output_length) override;

  private:
    /// A frame as it goes over the wire, in words of 32 bits.
    static constexpr size_t kWords = 13;
    using Record = std::array<std::atomic<uint32_t>, kWords>;

    struct Shake {
        RunningHighPass before;
        RunningHighPass after;
    };

    uint64_t stream_;  ///< tells this run from others: microseconds of the clock when it began
    uint32_t period_us_;
    std::array<Shake, 3> shake_;
    bool settled_ = false;
    std::array<Record, kKept> records_{};
    std::atomic<uint64_t> count_{0};  ///< frames added; frame n is in record n modulo kKept
};

}  // namespace steadywarp::tool
