// SPDX-License-Identifier: Apache-2.0
#include "sensors/ois_filter.hpp"

#include <algorithm>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "base/numeric.hpp"

namespace steadywarp {
namespace {

constexpr uint64_t kLargestHoleUs = 200000;
constexpr double kFastFps = 33.0;
constexpr uint32_t kFastHalf = 5;

bool uses_long_filter(uint32_t module_type) {
    return module_type != 3 && module_type != 4;
}

uint32_t delay_of(uint32_t half, uint32_t frequency) {
    return static_cast<uint32_t>(std::max(cut_to_i32(half * 1.2 * 1e6 / frequency), 0));
}

uint32_t samples_of(uint32_t size, uint32_t frequency) {
    return cut_to_u32(size * 1.2 + (frequency / 24.0) * 1.25);
}

bool are_of_two_sensors(const MultiSensorDataBuffer& buffer, uint32_t a, uint32_t b) {
    return buffer.runs() != nullptr && (*buffer.runs())[a].sensor != (*buffer.runs())[b].sensor;
}

// First sample that a frame from `ts` on needs.
uint32_t find_start(const MultiSensorDataBuffer& buffer, uint64_t ts, uint32_t p) {
    const RingBuffer<_sample_data_s>& samples = buffer.samples();
    if (samples[p].ts <= ts) {
        const bool has_hole =
            p + 1 < samples.size() && samples[p + 1].ts > samples[p].ts + kLargestHoleUs;
        return has_hole ? p + 1 : p;
    }
    if (p == 0) {
        return 0;
    }
    const bool has_hole = samples[p].ts > samples[p - 1].ts + kLargestHoleUs;
    return has_hole || are_of_two_sensors(buffer, p - 1, p) ? p : p - 1;
}

// Last sample that a frame up to `ts` needs: the first at or behind it, if it can be reached.
uint32_t find_end(const MultiSensorDataBuffer& buffer, uint64_t ts, uint32_t start) {
    const RingBuffer<_sample_data_s>& samples = buffer.samples();
    uint32_t end = start;
    while (samples[end].ts < ts && end + 1 < samples.size() &&
           !are_of_two_sensors(buffer, end, end + 1)) {
        const bool has_hole = samples[end + 1].ts > samples[end].ts + kLargestHoleUs;
        if (has_hole && samples[end + 1].ts >= ts) {
            break;
        }
        ++end;
    }
    return end;
}

}  // namespace

OISFilter::OISFilter(uint32_t filter_mode, uint32_t max_half, uint32_t module_type,
                     uint32_t frequency, float noise_floor, uint32_t& status)
    : _filter_mode(filter_mode),
      _window(max_half, status),
      _delay_us(delay_of(_window.active_half(), frequency)),
      _max_samples(samples_of(_window.active_size(), frequency)),
      _long_x(frequency, _max_samples, noise_floor, status),
      _long_y(frequency, _max_samples, noise_floor, status),
      _values(allocate_array<double>(_max_samples)),
      _timestamps(allocate_array<uint64_t>(_max_samples)),
      _use_long_filter(uses_long_filter(module_type)) {
    if (_values == nullptr || _timestamps == nullptr) {
        EIS_ERR("IS0004", "%s: Out of memory", "OISFilter");
        status = EIS_ERROR_NO_MEMORY;
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0004", "%s: Constructor failed - %d", "OISFilter", static_cast<int>(status));
    }
}

void OISFilter::reset() {
    _long_x.reset();
    _long_y.reset();
    _num_values = 0;
    _kernel_dirty = true;
}

void OISFilter::retune(uint32_t frame_time) {
    const bool is_fast = 1e6 / frame_time > kFastFps;
    if (_filter_mode == 0 || (is_fast == _is_fast && !_kernel_dirty)) {
        return;
    }
    _is_fast = is_fast;
    _kernel_dirty = false;
    _window.set_half(is_fast ? kFastHalf : _filter_mode);
}

// values[j]: the window laid over the samples about start + j; the ring's ends go on.
void OISFilter::average(const RingBuffer<_sample_data_s>& samples, uint32_t start, uint32_t axis) {
    const int64_t newest = int64_t{samples.size()} - 1;
    const int64_t half = _window.active_half();
    for (uint32_t j = 0; j < _num_values; ++j) {
        const int64_t center = int64_t{start} + j;
        double sum = 0.0;
        for (uint32_t k = 0; k < _window.active_size(); ++k) {
            const int64_t at = std::clamp<int64_t>(center - half + k, 0, newest);
            sum += _window.kernel()[k] * samples[static_cast<uint32_t>(at)].data[axis];
        }
        _values[j] = sum;
        _timestamps[j] = samples[static_cast<uint32_t>(center)].ts;
    }
}

void OISFilter::read_rows(const InterpRequest& request, uint32_t axis, Point2* out,
                          InterpStats& stats) const {
    uint32_t at = 0;
    for (uint32_t i = 0; i < request.num_rows; ++i) {
        const uint64_t ts =
            timestamp_interpolation(request.first_ts, request.last_ts, request.num_rows, i);
        while (at + 1 < _num_values && _timestamps[at + 1] < ts) {
            ++at;
        }
        if (ts < _timestamps[0]) {
            out[i][axis] = _values[0];
            ++stats.num_exrap_start;
        } else if (ts > _timestamps[_num_values - 1]) {
            out[i][axis] = _values[_num_values - 1];
            ++stats.num_exrap_end;
        } else if (at + 1 == _num_values) {
            out[i][axis] = _values[at];
        } else {
            const double to_row = static_cast<uint32_t>(ts - _timestamps[at]);
            const double to_next = static_cast<uint32_t>(_timestamps[at + 1] - _timestamps[at]);
            out[i][axis] = (_values[at + 1] - _values[at]) * to_row / to_next + _values[at];
        }
    }
}

InterpStats OISFilter::interp(const InterpRequest& request, uint32_t axis,
                              const MultiSensorDataBuffer& buffer, Point2* out) {
    const uint64_t start_ts =
        request.first_ts > _delay_us ? request.first_ts - _delay_us : request.first_ts;
    const uint64_t end_ts = request.last_ts + _delay_us;
    const uint32_t p =
        buffer.samples().is_empty() ? kNoSample : find_index(buffer, start_ts, request.sensor);
    _num_values = 0;
    if (p != kNoSample) {
        const uint32_t start = find_start(buffer, start_ts, p);
        const uint32_t end = find_end(buffer, end_ts, start);
        _num_values = std::min(end - start + 1, _max_samples);
        average(buffer.samples(), start, axis);
        if (_use_long_filter) {
            (axis == 0 ? _long_x : _long_y).process(_values.get(), _timestamps.get(), _num_values);
        }
    }
    const char* axis_name = axis == 0 ? "x" : "y";
    const uint32_t n = request.num_rows;
    if (_num_values == 0) {
        for (uint32_t i = 0; i < n; ++i) {
            out[i][axis] = 0.0;
        }
        EIS_ERR("IS0019",
                "%s: frame_id %u Sensor %u: axis-%s: filter extrapolated %u points with zero value "
                "since no valid samples exist in buffer",
                buffer.name(), request.frame_id, request.sensor, axis_name, n);
        return {n, n, 0, static_cast<int32_t>(n)};
    }
    InterpStats stats;
    read_rows(request, axis, out, stats);
    stats.num_processed = n;
    stats.num_error = static_cast<int32_t>(stats.num_exrap_start + stats.num_exrap_end);
    if (stats.num_error > 0) {
        EIS_ERR("IS0019",
                "%s: frame_id %u Sensor %u: axis-%s: filter extrapolated %u points from start and "
                "%u points from end",
                buffer.name(), request.frame_id, request.sensor, axis_name, stats.num_exrap_start,
                stats.num_exrap_end);
    }
    return stats;
}

}  // namespace steadywarp
