// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/test_mode_borders.hpp"

#include <algorithm>

namespace steadywarp {
namespace {

constexpr double kStep = 8.0;

// Pixels beyond the edge of the frame at which the walk turns.
constexpr double kBeyond = 2.0;

}  // namespace

Point2 TestModeBorders::step(const frame_geometry_windows& windows, uint32_t width,
                             uint32_t height) {
    const double left = 1.0 - windows.output_left - kBeyond;
    const double top = 1.0 - windows.output_top - kBeyond;
    const double right = width - windows.output_right - 1.0 + kBeyond;
    const double bottom = height - windows.output_bottom - 1.0 + kBeyond;
    switch (_state) {
        case kRight:
            _x = std::min(_x + kStep, right);
            _y = top;
            _state = _x >= right ? kDown : kRight;
            break;
        case kDown:
            _x = right;
            _y = std::min(_y + kStep, bottom);
            _state = _y >= bottom ? kLeft : kDown;
            break;
        case kLeft:
            _x = std::max(_x - kStep, left);
            _y = bottom;
            _state = _x <= left ? kUp : kLeft;
            break;
        case kUp:
            _x = left;
            _y = std::max(_y - kStep, top);
            _state = _y <= top ? kRight : kUp;
            break;
        default:
            _x = left;
            _y = top;
            _state = kRight;
            break;
    }
    return {_x, _y};
}

}  // namespace steadywarp
