// SPDX-License-Identifier: Apache-2.0
/// @file test_mode_borders.hpp
/// Walks the output's window around the limit of the margins, for a test that looks at its edges.
#pragma once

#include <cstdint>
#include <limits>

#include "base/vec3.hpp"
#include "filter/frame_records.hpp"

namespace steadywarp {

class TestModeBorders {
  public:
    /// Move on by one frame, clockwise, 8 pixels along one side.
    ///
    /// The window of the output is moved by the result: from two pixels beyond the left and top
    /// edge of the frame to two pixels beyond the right and bottom one.
    ///
    /// @param width,height of the frame, pixels.
    Point2 step(const frame_geometry_windows& windows, uint32_t width, uint32_t height);

    /// Start over at the top left.
    void reset() { _state = kStart; }

  private:
    enum State : uint32_t { kRight = 0, kDown = 1, kLeft = 2, kUp = 3, kStart = 5 };

    uint32_t _state = kStart;
    double _x = std::numeric_limits<double>::quiet_NaN();
    double _y = std::numeric_limits<double>::quiet_NaN();
};

}  // namespace steadywarp
