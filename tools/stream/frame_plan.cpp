// SPDX-License-Identifier: Apache-2.0
#include "stream/frame_plan.hpp"

namespace steadywarp::tool {

double middle_time(const Frame& frame, int32_t gyro_offset_us) {
    return static_cast<double>(frame.sof_us) - frame.exposure_us * 0.5 + frame.readout_us * 0.5 +
           gyro_offset_us;
}

FrameSpan frames_inside(const FrameSequence& frames, const std::vector<GyroSample>& gyro,
                        int32_t gyro_offset_us) {
    const auto first = static_cast<double>(gyro.front().t_us);
    const auto last = static_cast<double>(gyro.back().t_us);
    const auto inside = [&](const Frame& frame) {
        const double middle = middle_time(frame, gyro_offset_us);
        const double reach = frame.readout_us * (0.5 + 1.0 / 24.0);
        return middle - reach >= first && middle + reach <= last;
    };
    FrameSpan span;
    for (size_t i = 0; i < frames.frames.size(); ++i) {
        if (inside(frames.frames[i])) {
            span.first = span.end == 0 ? i : span.first;
            span.end = i + 1;
        }
    }
    return span;
}

void read_at_once(FrameSequence& frames) {
    for (Frame& frame : frames.frames) {
        frame.sof_us += frame.readout_us / 2;
        frame.readout_us = 0;
    }
}

}  // namespace steadywarp::tool
