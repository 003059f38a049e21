// SPDX-License-Identifier: Apache-2.0
#include "input/recording.hpp"

#include <algorithm>

namespace steadywarp::tool {

GyroSpacing measure_spacing(const std::vector<GyroSample>& samples) {
    std::vector<int64_t> steps;
    steps.reserve(samples.size());
    for (size_t i = 1; i < samples.size(); ++i) {
        steps.push_back(samples[i].t_us - samples[i - 1].t_us);
    }
    GyroSpacing out;
    if (steps.empty()) {
        return out;
    }
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    const double longest_whole_step = 2.2 * static_cast<double>(*middle);
    double time = 0.0;
    for (const int64_t step : steps) {
        out.longest_step_us = std::max(out.longest_step_us, step);
        if (static_cast<double>(step) > longest_whole_step) {
            ++out.gaps;
        } else {
            time += static_cast<double>(step);
        }
    }
    out.rate_hz = 1e6 * static_cast<double>(steps.size() - out.gaps) / time;
    return out;
}

void to_device_axes(GyroRecording& recording, const AxisMap& device_to_camera) {
    if (!recording.in_camera_axes) {
        return;
    }
    const AxisMap to_device = inverse(device_to_camera);
    for (GyroSample& sample : recording.samples) {
        sample.rate = map_axes(to_device, sample.rate);
    }
    recording.in_camera_axes = false;
}

}  // namespace steadywarp::tool
