// SPDX-License-Identifier: Apache-2.0
#include "support/stream.hpp"

#include <algorithm>

namespace steadywarp::test {

RateSource constant_rate(double x, double y, double z) {
    return [=](uint64_t ts) { return _sample_data_s{{x, y, z}, ts}; };
}

std::vector<_sample_data_s> sampled(const RateSource& rates, uint64_t begin_us, uint64_t end_us,
                                    uint64_t period_us) {
    std::vector<_sample_data_s> samples;
    for (uint64_t ts = begin_us; ts <= end_us; ts += period_us) {
        samples.push_back(rates(ts));
    }
    return samples;
}

is_sample_array samples_within(const std::vector<_sample_data_s>& samples,
                               const is_time_interval& interval) {
    const auto earlier = [](const _sample_data_s& sample, uint64_t ts) { return sample.ts < ts; };
    const auto first = std::lower_bound(samples.begin(), samples.end(), interval.first_ts, earlier);
    const auto last = std::lower_bound(first, samples.end(), interval.last_ts + 1, earlier);
    return {samples.data() + (first - samples.begin()), static_cast<uint32_t>(last - first)};
}

is_input Stream::input_for(uint64_t sof_us, const is_time_interval& interval) const {
    is_input input{};
    input.frame_id = frame_id + 1;
    input.active_sensor_idx = sensor;
    input.frame_time_input = times;
    input.frame_time_input.sof = sof_us;
    input.gyro = samples_within(samples, interval);
    input.window_regions = windows;
    input.focus_distance = focus_distance;
    input.sat = sat;
    input.pre_eis_transform_margins_reduction = upstream;
    return input;
}

FrameResult Stream::frame(uint64_t sof_us, OutputMemory& memory, bool with_samples) {
    FrameResult result;
    is_frame_times asked = times;
    asked.sof = sof_us;
    result.interval_status = eis2_get_time_intervals(_context, &asked, sensor, &result.intervals);
    is_input input = input_for(sof_us, result.intervals.gyro);
    input.ois = samples_within(ois_samples, result.intervals.ois);
    input.ifovc = samples_within(ifovc_samples, result.intervals.ifovc);
    if (!with_samples) {
        input.gyro = {};
        input.ois = {};
        input.ifovc = {};
    }
    result.num_samples = input.gyro.num_elements;
    result.process_status = eis2_process(_context, &input, &memory.output);
    ++frame_id;
    return result;
}

}  // namespace steadywarp::test
