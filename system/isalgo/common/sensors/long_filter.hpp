// SPDX-License-Identifier: Apache-2.0
/// @file long_filter.hpp
/// Holds a lens-shift axis while the lens rests within its noise, and lets go as it moves.
#pragma once

#include <cstdint>
#include <memory>

#include "base/ring_buffer.hpp"

namespace steadywarp {

/// y = v (1 - strength) + strength * y before, with a strength that rises to 0.95 in five samples
/// while the lens stays within its noise floor of the long-term mean, and falls as fast.
class LongFilter {
  public:
    /// @param frequency of the stream, Hz.
    /// @param max_samples most values of one call.
    /// @param noise_floor in the stream's unit.
    /// @param status set to EIS_ERROR_NO_MEMORY on failure.
    LongFilter(double frequency, uint32_t max_samples, float noise_floor, uint32_t& status);

    /// Filter `n` values in place. Samples that the last call saw keep what they got then, however
    /// the calls' spans overlap.
    /// @param n from 1 to max_samples; values beyond are left alone, and 0 does nothing.
    void process(double* values, const uint64_t* timestamps, uint32_t n);

    /// Forget all samples.
    void reset();

    float strength() const { return _strength; }

  private:
    // Summary of the new samples of one call.
    struct LongFilterSegment {
        double mean = 0.0;
        double max = 0.0;
        double min = 0.0;
        uint32_t count = 0;
    };
    uint32_t replay(double* values, const uint64_t* timestamps, uint32_t n) const;
    void add_segment(const double* values, uint32_t count);
    void drop_oldest_segment();
    void shorten_history();
    bool is_stable() const;

    RingBuffer<LongFilterSegment> _segments;
    uint32_t _total_count = 0;
    double _mean = 0.0;
    double _last_output = 0.0;
    bool _first_run = true;
    float _strength = 0.0f;
    uint32_t _max_samples;
    std::unique_ptr<double[]> _prev_values;
    std::unique_ptr<uint64_t[]> _prev_timestamps;
    uint32_t _prev_count = 0;
    bool _released = false;
    float _noise_floor;
};

}  // namespace steadywarp
