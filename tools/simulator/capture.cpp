// SPDX-License-Identifier: Apache-2.0
#include "simulator/capture.hpp"

#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

/// Gyro time beyond the first and the last frame, more than any frame asks for.
constexpr double kLeadSeconds = 0.1;

}  // namespace

Result<Capture> simulate_capture(const Motion& motion, const CaptureTiming& timing,
                                 const AxisMap& device_to_camera) {
    const double period = 1e6 / timing.fps;
    const auto length = static_cast<int64_t>(timing.seconds * 1e6 - period * 0.5);
    Result<FrameSequence> frames =
        make_even_frames(timing.start_us, timing.start_us + length, timing.fps, timing.frame);
    if (!frames.ok()) {
        return frames.fault();
    }
    Capture out;
    out.frames = std::move(frames.value());
    if (timing.jitter > 0.0) {
        Random random(timing.seed);
        for (Frame& frame : out.frames.frames) {
            frame.sof_us += std::llround((random.uniform() - 0.5) * timing.jitter * period);
        }
    }
    const AxisMap to_device = inverse(device_to_camera);
    const auto count =
        static_cast<uint32_t>((timing.seconds + 2.0 * kLeadSeconds) * timing.gyro_hz) + 1;
    for (uint32_t i = 0; i < count; ++i) {
        // Stamps are whole microseconds; the rate is that of the stamp, not of the ideal time.
        const auto since_start = std::llround((i / timing.gyro_hz - kLeadSeconds) * 1e6);
        const Vector3 rate = motion.body_rate(static_cast<double>(since_start) * 1e-6);
        out.gyro.samples.push_back({timing.start_us + since_start, map_axes(to_device, rate)});
    }
    return out;
}

}  // namespace steadywarp::tool
