// SPDX-License-Identifier: Apache-2.0
#include "sensors/long_filter.hpp"

#include <algorithm>
#include <cmath>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

constexpr char kName[] = "LongFilter";
constexpr float kMaxStrength = 0.95f;
constexpr float kStrengthUp = 0.2f;
constexpr float kStrengthDown = 0.2f;
constexpr double kAbsLimit = 1000.0;

// Samples of history: beyond the first limit a moving lens sheds it, beyond the second always.
constexpr uint32_t kShedAbove = 300;
constexpr uint32_t kMostSamples = 500;
constexpr uint32_t kMostShedAtOnce = 2;
// With no more than this there is no mean to speak of.
constexpr uint32_t kFewSamples = 24;

// A segment holds the samples of a frame of 1/60 s, with a fifth to spare.
uint32_t segment_capacity(double frequency) {
    return cut_to_u32(500.0 / ((frequency / 60.0) * 0.8));
}

}  // namespace

LongFilter::LongFilter(double frequency, uint32_t max_samples, float noise_floor, uint32_t& status)
    : _segments(segment_capacity(frequency)),
      _max_samples(max_samples),
      _prev_values(allocate_array<double>(max_samples)),
      _prev_timestamps(allocate_array<uint64_t>(max_samples)),
      _noise_floor(noise_floor) {
    if (!_segments.is_allocated() || _prev_values == nullptr || _prev_timestamps == nullptr) {
        status = EIS_ERROR_NO_MEMORY;
        EIS_ERR("IS0004", "%s: Out of memory", kName);
        EIS_ERR("IS0004", "%s: Constructor failed - %d", kName, static_cast<int>(status));
    }
}

void LongFilter::reset() {
    _segments.clear();
    _total_count = 0;
    _mean = 0.0;
    _last_output = 0.0;
    _first_run = true;
    _strength = 0.0f;
    _prev_count = 0;
    _released = false;
}

// @return how many of the new samples the last call saw.
uint32_t LongFilter::replay(double* values, const uint64_t* timestamps, uint32_t n) const {
    uint32_t known = 0;
    for (uint32_t i = 0; i < _prev_count && known < n; ++i) {
        if (_prev_timestamps[i] == timestamps[known]) {
            values[known] = _prev_values[i];
            ++known;
        }
    }
    return known;
}

void LongFilter::add_segment(const double* values, uint32_t count) {
    LongFilterSegment segment;
    segment.max = values[0];
    segment.min = values[0];
    double sum = 0.0;
    for (uint32_t i = 0; i < count; ++i) {
        sum += values[i];
        segment.max = std::max(segment.max, values[i]);
        segment.min = std::min(segment.min, values[i]);
    }
    segment.count = count;
    segment.mean = sum / count;
    _mean = (sum + _total_count * _mean) / (_total_count + count);
    _total_count += count;
    _segments.push(segment);
}

void LongFilter::drop_oldest_segment() {
    const LongFilterSegment& oldest = _segments.oldest();
    const uint32_t left = _total_count - std::min(oldest.count, _total_count);
    _mean = left != 0 ? (_total_count * _mean - oldest.count * oldest.mean) / left : 0.0;
    _total_count = left;
    _segments.pop_oldest();
}

void LongFilter::shorten_history() {
    if (_released && !_segments.is_empty() && _segments.oldest().count < _total_count) {
        for (uint32_t i = 0; i < kMostShedAtOnce && !_segments.is_empty() &&
                             _total_count - _segments.oldest().count > kShedAbove;
             ++i) {
            drop_oldest_segment();
        }
    }
    while (_total_count > kMostSamples && !_segments.is_empty()) {
        drop_oldest_segment();
    }
}

bool LongFilter::is_stable() const {
    if (_total_count <= kFewSamples) {
        return false;
    }
    const double noise = static_cast<double>(_noise_floor);
    for (uint32_t i = 0; i + 1 < _segments.size(); ++i) {
        if (std::fabs(_segments[i].max - _mean) > noise ||
            std::fabs(_segments[i].min - _mean) > noise) {
            return false;
        }
    }
    return true;
}

void LongFilter::process(double* values, const uint64_t* timestamps, uint32_t n) {
    n = std::min(n, _max_samples);
    if (n == 0) {
        return;
    }
    const uint32_t known = replay(values, timestamps, n);
    // Without a new sample the last one stands for them.
    const uint32_t first_new = std::min(known, n - 1);
    add_segment(values + first_new, std::max(n - known, 1u));
    shorten_history();
    const bool stable = is_stable();
    if (_first_run) {
        _last_output = values[first_new];
        _first_run = false;
    }
    _released = true;
    const double noise = static_cast<double>(_noise_floor);
    for (uint32_t i = known; i < n; ++i) {
        const bool rests =
            std::fabs(values[i] - _mean) < noise && stable && std::fabs(values[i]) < kAbsLimit;
        _strength = rests ? std::min(_strength + kStrengthUp, kMaxStrength)
                          : std::max(_strength - kStrengthDown, 0.0f);
        const double strength = static_cast<double>(_strength);
        _last_output = values[i] * (1.0 - strength) + strength * _last_output;
        values[i] = _last_output;
        _released = !rests;
    }
    std::copy_n(values, n, _prev_values.get());
    std::copy_n(timestamps, n, _prev_timestamps.get());
    _prev_count = n;
}

}  // namespace steadywarp
