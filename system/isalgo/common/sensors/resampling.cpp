// SPDX-License-Identifier: Apache-2.0
#include "sensors/resampling.hpp"

#include <algorithm>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"

namespace steadywarp {
namespace {

// The largest hole between two samples that is still bridged, microseconds.
constexpr uint64_t kLargestHoleUs = 200000;

// More bad rows than this, of the usual 27, means that nothing of the frame was seen.
constexpr int32_t kWholeFrameErrors = 25;

using SampleRing = RingBuffer<_sample_data_s>;
using RunRing = RingBuffer<SampleRun>;

// A stretch of one sensor's samples, logical indices, both ends included.
struct Run {
    uint32_t start;
    uint32_t end;
};

// Index in [low, high] of a sample next to `ts`; samples rise in time.
uint32_t search(const SampleRing& samples, uint64_t ts, uint32_t low, uint32_t high) {
    if (ts <= samples[low].ts) {
        return low;
    }
    if (ts >= samples[high].ts) {
        return high;
    }
    while (high - low > 1) {
        const uint32_t middle = low + (high - low) / 2;
        if (samples[middle].ts <= ts) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return low;
}

// The run that ends at `end`. A run's length may reach past the oldest sample still held.
Run run_ending_at(const RunRing& runs, uint32_t end) {
    return {end + 1 - std::min(runs[end].run_length, end + 1), end};
}

// The last run of `sensor` that ends at or before `end`. @return false if there is none.
bool last_run_of(const RunRing& runs, uint32_t sensor, uint32_t end, Run& run) {
    run = run_ending_at(runs, end);
    while (runs[run.end].sensor != sensor) {
        if (run.start == 0) {
            return false;
        }
        run = run_ending_at(runs, run.start - 1);
    }
    return true;
}

uint32_t find_in_runs(const SampleRing& samples, const RunRing& runs, uint64_t ts,
                      uint32_t sensor) {
    Run run{};
    if (!last_run_of(runs, sensor, samples.size() - 1, run)) {
        return kNoSample;
    }
    while (true) {
        if (ts > samples[run.end].ts) {
            return run.end;
        }
        if (ts >= samples[run.start].ts) {
            return search(samples, ts, run.start, run.end);
        }
        Run earlier{};
        if (run.start == 0 || !last_run_of(runs, sensor, run.start - 1, earlier)) {
            return run.start;
        }
        if (ts > samples[earlier.end].ts) {
            const uint64_t to_earlier = ts - samples[earlier.end].ts;
            const uint64_t to_later = samples[run.start].ts - ts;
            return to_earlier < to_later ? earlier.end : run.start;
        }
        run = earlier;
    }
}

// How a row gets its value.
enum class Source { kSample, kPair, kStartGap, kEndGap };
struct RowSource {
    Source source;
    uint32_t index;  // the sample, the earlier one of the pair, or the sample next to the gap
};

bool is_bridgeable(const _sample_data_s& a, const _sample_data_s& b) {
    return b.ts <= a.ts || b.ts - a.ts <= kLargestHoleUs;
}

RowSource find_source(const MultiSensorDataBuffer& buffer, uint64_t ts, uint32_t sensor) {
    const SampleRing& samples = buffer.samples();
    const RunRing* runs = buffer.runs();
    const uint32_t newest = samples.size() - 1;
    const uint32_t p = find_index(buffer, ts, sensor);
    if (p == kNoSample) {
        return {Source::kStartGap, kNoSample};
    }
    if (ts == samples[p].ts) {
        return {Source::kSample, p};
    }
    // The sensors of two neighbours are compared only away from the newest sample.
    if (ts < samples[p].ts) {
        const bool is_run_start =
            runs != nullptr && p != 0 && p < newest && (*runs)[p].sensor != (*runs)[p - 1].sensor;
        if (p == 0 || is_run_start || !is_bridgeable(samples[p - 1], samples[p])) {
            return {Source::kStartGap, p};
        }
        return {Source::kPair, p - 1};
    }
    const bool is_run_end = runs != nullptr && p != newest && p + 1 < newest &&
                            (*runs)[p].sensor != (*runs)[p + 1].sensor;
    if (p == newest || is_run_end || !is_bridgeable(samples[p], samples[p + 1])) {
        return {Source::kEndGap, p};
    }
    return {Source::kPair, p};
}

// Cut to 32 bits, as every difference of sample times in an interpolation is.
double span_us(uint64_t from, uint64_t to) {
    return static_cast<uint32_t>(to - from);
}

void report(const InterpStats& stats, const InterpRequest& request, const char* name) {
    if (stats.num_error <= 0) {
        if (stats.num_exrap_start + stats.num_exrap_end != 0) {
            EIS_HIGH("IS0523",
                     "%s: frame #%u: Points were extrapolated (num_processed, num_exrap_start, "
                     "num_exrap_end, num_error): %u, %u, %u, %d",
                     name, request.frame_id, stats.num_processed, stats.num_exrap_start,
                     stats.num_exrap_end, stats.num_error);
        }
        return;
    }
    if (request.first_frame) {
        EIS_ERR("IS0522",
                "%s: frame #%u: Too many points extrapolated from first frame (num_processed, "
                "num_exrap_start, num_exrap_end, num_error): %u, %u, %u, %d",
                name, request.frame_id, stats.num_processed, stats.num_exrap_start,
                stats.num_exrap_end, stats.num_error);
        return;
    }
    if (stats.num_error > kWholeFrameErrors) {
        EIS_ERR("IS0018", "%s: frame #%u: All samples are missing from frame!", name,
                request.frame_id);
    }
    EIS_ERR("IS0018",
            "%s: frame #%u: Too many points extrapolated (num_processed, num_exrap_start, "
            "num_exrap_end, num_error): %u, %u, %u, %d",
            name, request.frame_id, stats.num_processed, stats.num_exrap_start, stats.num_exrap_end,
            stats.num_error);
}

template <uint32_t NumAxes, typename Row>
void copy_axes(const _sample_data_s& sample, Row& row) {
    for (uint32_t axis = 0; axis < NumAxes; ++axis) {
        row[axis] = sample.data[axis];
    }
}

// The row between samples a and b: (b - a) * (t - ta) / (tb - ta) + a.
template <uint32_t NumAxes, typename Row>
void interpolate(const _sample_data_s& a, const _sample_data_s& b, uint64_t ts, Row& row) {
    const double to_row = span_us(a.ts, ts);
    const double to_b = span_us(a.ts, b.ts);
    for (uint32_t axis = 0; axis < NumAxes; ++axis) {
        row[axis] = (b.data[axis] - a.data[axis]) * to_row / to_b + a.data[axis];
    }
}

template <uint32_t NumAxes, typename Row>
InterpStats resample(const MultiSensorDataBuffer& buffer, const InterpRequest& request, Row* out) {
    const SampleRing& samples = buffer.samples();
    InterpStats stats;
    for (uint32_t i = 0; i < request.num_rows; ++i) {
        const uint64_t ts =
            timestamp_interpolation(request.first_ts, request.last_ts, request.num_rows, i);
        const RowSource found = samples.is_empty() ? RowSource{Source::kStartGap, kNoSample}
                                                   : find_source(buffer, ts, request.sensor);
        ++stats.num_processed;
        if (found.source == Source::kSample) {
            copy_axes<NumAxes>(samples[found.index], out[i]);
            continue;
        }
        if (found.source == Source::kPair) {
            interpolate<NumAxes>(samples[found.index], samples[found.index + 1], ts, out[i]);
            continue;
        }
        if (found.source == Source::kStartGap) {
            ++stats.num_exrap_start;
        } else {
            ++stats.num_exrap_end;
            // The last row lies beyond the frame anyway.
            stats.num_error += i + 1 != request.num_rows ? 1 : 0;
        }
        if (i != 0) {
            out[i] = out[i - 1];
            stats.num_error += found.source == Source::kStartGap ? 1 : 0;
        } else {
            out[i] = Row{};
            if (found.index != kNoSample) {
                copy_axes<NumAxes>(samples[found.index], out[i]);
            }
            ++stats.num_error;
        }
    }
    if (!request.is_quiet) {
        report(stats, request, buffer.name());
    }
    return stats;
}

}  // namespace

uint32_t find_index(const MultiSensorDataBuffer& buffer, uint64_t ts, uint32_t sensor) {
    const SampleRing& samples = buffer.samples();
    const RunRing* runs = buffer.runs();
    const bool is_one_run = runs == nullptr || (runs->newest().sensor == sensor &&
                                                runs->newest().run_length >= samples.size());
    return is_one_run ? search(samples, ts, 0, samples.size() - 1)
                      : find_in_runs(samples, *runs, ts, sensor);
}

InterpStats get_interp(const MultiSensorDataBuffer& buffer, const InterpRequest& request,
                       Vec3<double>* out) {
    return resample<3>(buffer, request, out);
}

InterpStats get_interp(const MultiSensorDataBuffer& buffer, const InterpRequest& request,
                       Point2* out) {
    return resample<2>(buffer, request, out);
}

}  // namespace steadywarp

uint64_t timestamp_interpolation(uint64_t first_ts, uint64_t last_ts, uint32_t n, uint32_t i) {
    using steadywarp::cut_to_i64;
    // Below four rows there is no step between the two ends.
    if (n < 4) {
        return i <= 1 ? first_ts : last_ts;
    }
    const double step = 1.0 / (n - 3);
    const int64_t span = static_cast<int64_t>(last_ts - first_ts);
    if (i == 0) {
        return first_ts + static_cast<uint64_t>(cut_to_i64(-(step * static_cast<double>(span))));
    }
    if (i == 1) {
        return first_ts;
    }
    if (i == n - 2) {
        return last_ts;
    }
    if (i == n - 1) {
        return last_ts + static_cast<uint64_t>(cut_to_i64(static_cast<double>(span) * step));
    }
    const int64_t steps_span =
        static_cast<int64_t>(static_cast<uint64_t>(i - 1) * static_cast<uint64_t>(span));
    return first_ts + static_cast<uint64_t>(cut_to_i64(static_cast<double>(steps_span) * step));
}

void timestamp_interpolation_arr(uint64_t first_ts, uint64_t last_ts, uint32_t n, uint64_t* out) {
    for (uint32_t i = 0; i < n; ++i) {
        out[i] = timestamp_interpolation(first_ts, last_ts, n, i);
    }
}
