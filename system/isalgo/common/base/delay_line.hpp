// SPDX-License-Identifier: Apache-2.0
/// @file delay_line.hpp
/// The states that a stream of frames goes through from its first frame to its end.
#pragma once

#include <cstdint>

namespace steadywarp {

/// States of a delay line.
enum FilterState : uint32_t {
    kStateFirstFrame = 0,
    kStateFilling = 1,
    kStateRunning = 2,
    kStateDraining = 3,
    kStateFinished = 4,
    kStateError = 5
};

/// Counts frames in and tells for each call whether one comes out.
///
/// A frame with samples is add_frame() and take_output(); one without is take_output() alone, which
/// drains what still waits. After that nothing but reset() brings the line back.
class DelayLine {
  public:
    /// What a call puts out.
    enum OutputKind : uint32_t { kNone = 0, kCore = 1, kHistory = 2 };

    /// @param size frames that wait; 0 and 1 both mean that each frame comes out at once.
    explicit DelayLine(uint32_t size) : _size(size) {}

    /// Take in a frame. @return false once the stream was ended; the line is then in error.
    bool add_frame();

    /// Decide what comes out: the core while frames come, the history while the line drains.
    OutputKind take_output();

    /// Back to a first frame.
    void reset() { *this = DelayLine(_size); }

    uint32_t state() const { return _state; }
    /// Frames that still wait.
    uint32_t pending() const { return _pending; }
    /// Frames since the first one.
    uint32_t frame_counter() const { return _frame_counter; }

  private:
    uint32_t _size;
    uint32_t _state = kStateFirstFrame;
    uint32_t _pending = 0;
    uint32_t _frame_counter = 0;
    bool _has_new_frame = false;
};

}  // namespace steadywarp
