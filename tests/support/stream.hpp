// SPDX-License-Identifier: Apache-2.0
/// @file stream.hpp
/// Drives an instance as a camera framework does: asks for the interval, hands over just those
/// samples, takes the frame.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "steadywarp/eis.h"
#include "support/records.hpp"

namespace steadywarp::test {

/// Device rates at a time in microseconds.
using RateSource = std::function<_sample_data_s(uint64_t ts_us)>;

/// The sample of a device that turns at a constant rate about its axes, rad/s.
RateSource constant_rate(double x, double y, double z);

/// Samples at every multiple of `period_us` from `begin_us` to `end_us`.
std::vector<_sample_data_s> sampled(const RateSource& rates, uint64_t begin_us, uint64_t end_us,
                                    uint64_t period_us);

/// The samples of an interval, both ends included; `samples` rise in time.
is_sample_array samples_within(const std::vector<_sample_data_s>& samples,
                               const is_time_interval& interval);

/// What a frame came to.
struct FrameResult {
    uint32_t interval_status = 0;
    uint32_t process_status = 0;
    is_time_intervals intervals{};
    size_t num_samples = 0;
};

class Stream {
  public:
    explicit Stream(eis_context* context) : _context(context) {}

    /// All samples that exist; the stream hands over those that are asked for.
    std::vector<_sample_data_s> samples;
    std::vector<_sample_data_s> ois_samples;
    std::vector<_sample_data_s> ifovc_samples;
    is_frame_times times = {0, 33333, 10000, 25000};
    is_window_regions windows = centred_windows();
    uint32_t frame_id = 0;  ///< of the frame processed last
    uint32_t sensor = 0;
    float focus_distance = 1.0f;
    const NcLibWarp* sat = nullptr;
    const NcLibWarp* upstream = nullptr;

    /// Process a frame that starts at `sof_us`, with or without its samples.
    FrameResult frame(uint64_t sof_us, OutputMemory& memory, bool with_samples = true);

    /// The input of the next frame, with the samples of `interval`.
    is_input input_for(uint64_t sof_us, const is_time_interval& interval) const;

  private:
    eis_context* _context;
};

}  // namespace steadywarp::test
