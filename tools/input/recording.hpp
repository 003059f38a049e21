// SPDX-License-Identifier: Apache-2.0
/// @file recording.hpp
/// Recorded motion as the command holds it: gyroscope samples and frame times on one clock.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "geometry/axes.hpp"

namespace steadywarp::tool {

/// Largest magnitude of a time, microseconds: far beyond any clock, far from overflow.
inline constexpr int64_t kLatestTime = int64_t{1} << 60;

/// Largest believable rate, rad/s; no gyroscope in a camera reaches it.
inline constexpr double kLargestRate = 1000.0;

/// One reading of the gyroscope.
struct GyroSample {
    int64_t t_us;
    Vector3 rate;  ///< rad/s
};

/// One reading of the lens: raw shift x and y, or position and scale.
struct LensSample {
    int64_t t_us;
    std::array<double, 2> value;
};

/// How a sensor reads its rows, as gyro logs number it.
enum class ReadoutDirection : uint8_t {
    kTopDown = 0,
    kBottomUp = 1,
    kLeftRight = 2,
    kRightLeft = 3
};

/// A gyroscope log. Times increase strictly and there are at least two samples.
struct GyroRecording {
    std::vector<GyroSample> samples;
    bool in_camera_axes = false;   ///< else device axes
    uint32_t repeated_stamps = 0;  ///< rows left out because their time repeats the one before
    std::optional<uint32_t> readout_us;  ///< read-out time of a frame, if the log tells
    ReadoutDirection readout_direction = ReadoutDirection::kTopDown;
};

/// Spacing of the samples of a log.
struct GyroSpacing {
    double rate_hz = 0.0;  ///< mean over the steps that are no gaps
    uint32_t gaps = 0;     ///< steps longer than 2.2 median steps: at least one sample is missing
    int64_t longest_step_us = 0;
};

/// Measure the spacing of at least two samples.
GyroSpacing measure_spacing(const std::vector<GyroSample>& samples);

/// Take a recording's rates from camera axes to device axes, unless they are in these already.
void to_device_axes(GyroRecording& recording, const AxisMap& device_to_camera);

/// One frame.
struct Frame {
    uint32_t id;
    int64_t sof_us;  ///< start of frame: start of read-out of the first row
    uint32_t exposure_us;
    uint32_t readout_us;
};

/// The frames of a recording; ids and times increase strictly and there is at least one.
struct FrameSequence {
    std::vector<Frame> frames;
    uint32_t period_us = 0;  ///< the median step; of a single frame 33333
};

}  // namespace steadywarp::tool
