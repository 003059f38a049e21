// SPDX-License-Identifier: Apache-2.0
// Which sample times the coming frame needs. All times in microseconds.
#include <algorithm>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "interface/context_check.hpp"
#include "interface/eis_context.hpp"
#include "validation/frame_validation.hpp"
#include "validation/pass_validation.hpp"

namespace steadywarp {
namespace {

// The longest sample period that an interval is widened by.
constexpr uint32_t kLongestGyroPeriodUs = 4000;

constexpr uint32_t kLongestOisPeriodUs = 10000;

// A lens-shift stream this far behind the gyroscope starts over.
constexpr int64_t kOisRestartUs = 200000;

// So does a lens-position stream; each of its intervals begins this much before what it must cover.
constexpr int64_t kIfovcRestartUs = 200000;
constexpr int64_t kIfovcLeadUs = 3000;

// A twentieth more than `value`, for clocks that do not agree.
int64_t with_reserve(uint32_t value) {
    return cut_to_i64(value * 1.05);
}

// A sample period with reserve, at most `longest`.
int64_t period_us(float frequency, uint32_t longest) {
    return std::min(cut_to_u32(1.05 / static_cast<double>(frequency) * 1e6), longest);
}

is_time_interval gyro_interval(const SensorDataHandler& gyro, const is_frame_times& times,
                               const sensor_runtime_record& sensor) {
    const int64_t half_exposure = cut_to_i64(times.exposure_time * 0.5);
    const int64_t guard = cut_to_i64(times.frame_time * 0.1);
    // Where the exposure of the frame's rows begins against its start, in 32 bits.
    const int32_t early = static_cast<int32_t>(static_cast<uint32_t>(sensor.s3d_offset) -
                                               static_cast<uint32_t>(half_exposure));
    const int64_t period = period_us(gyro.frequency(), kLongestGyroPeriodUs);
    const uint64_t last_taken = gyro.last_sample().ts;

    const int64_t earliest_row = moved_us(times.sof, std::min<int64_t>(early, 0) - guard);
    const bool is_continued =
        last_taken != 0 &&
        moved_us(last_taken, static_cast<int64_t>(kPauseResumeUs)) >= earliest_row;
    const uint64_t first =
        is_continued ? last_taken
                     : clock_us(moved_us(static_cast<uint64_t>(earliest_row), -2 * period));

    const int64_t readout = std::max(with_reserve(times.sensor_rolling_shutter_skew),
                                     with_reserve(sensor.readout_duration));
    const int64_t latest_row = moved_us(
        times.sof, std::max<int64_t>(early, 0) + std::max<int64_t>(sensor.ois_offset, 0) + readout);
    const int64_t last =
        std::max(moved_us(static_cast<uint64_t>(latest_row), period), moved_us(first, 2 * period));
    return {first, static_cast<uint64_t>(last)};
}

is_time_interval ois_interval(const SensorDataHandler& ois, const is_frame_times& times,
                              const sensor_runtime_record& sensor, const is_time_interval& gyro) {
    const int64_t half_exposure = cut_to_i64(times.exposure_time * 0.5);
    const int64_t guard = cut_to_i64(times.frame_time * 0.1);
    const int64_t period = period_us(ois.frequency(), kLongestOisPeriodUs);
    const uint64_t last_taken = ois.last_sample().ts;
    const int64_t behind = static_cast<int64_t>(gyro.first_ts - last_taken);

    int64_t first = 0;
    if (last_taken == 0 || behind > kOisRestartUs) {
        const int64_t early = std::min<int64_t>(sensor.ois_offset - half_exposure, 0);
        first = moved_us(times.sof, early - guard - 2 * period);
    } else {
        first = moved_us(std::min(last_taken, gyro.first_ts), -2 * period);
    }
    first = std::max<int64_t>(first, 0);
    const int64_t last =
        std::max(moved_us(gyro.last_ts, 7 * period),
                 moved_us(static_cast<uint64_t>(first), std::min<int64_t>(2 * period, 5000)));
    return {static_cast<uint64_t>(first), static_cast<uint64_t>(last)};
}

is_time_interval ifovc_interval(const SensorDataHandler& ifovc, const is_frame_times& times,
                                const sensor_runtime_record& sensor, const is_time_interval& gyro) {
    const uint64_t last_taken = ifovc.last_sample().ts;
    // The moment from which on the frame needs samples.
    uint64_t begin = gyro.first_ts;
    if (last_taken == 0 || last_taken < gyro.first_ts) {
        const int64_t behind = static_cast<int64_t>(gyro.first_ts - last_taken);
        if (last_taken != 0 && behind <= kIfovcRestartUs) {
            begin = last_taken;
        } else {
            const int64_t half_exposure = cut_to_i64(times.exposure_time * 0.5);
            const int64_t guard = cut_to_i64(times.frame_time * 0.1);
            const int64_t early = std::min<int64_t>(sensor.ifovc_offset - half_exposure, 0);
            begin =
                static_cast<uint64_t>(std::max(moved_us(times.sof, early - guard), kIfovcLeadUs));
        }
    }
    return {clock_us(moved_us(begin, -kIfovcLeadUs)), std::max(gyro.last_ts, begin)};
}

}  // namespace
}  // namespace steadywarp

uint32_t eis_internal_get_time_intervals(eis_context* context, const is_frame_times* frame_times,
                                         uint32_t sensor_idx, is_time_intervals* intervals) {
    EIS_CHECK_ENTRY(context, frame_times != nullptr && intervals != nullptr);
    const uint32_t status =
        steadywarp::is_valid_input_get_time_intervals(*context, *frame_times, sensor_idx);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0003", "Invalid input");
    }
    const bool can_go_on = context->is_robust_mode() && sensor_idx < context->sensors.size();
    if (status != EIS_SUCCESS && !can_go_on) {
        return EIS_ERROR_INVALID_INPUT;
    }
    steadywarp::GyroHandler& gyro = context->_samplers.gyro;
    *intervals = {};
    intervals->gyro = steadywarp::gyro_interval(gyro, *frame_times, context->sensors[sensor_idx]);
    gyro.set_requested_interval(intervals->gyro);
    if (context->_samplers.has_ois(sensor_idx)) {
        steadywarp::SensorDataHandler& ois = *context->_samplers.ois->handler(sensor_idx);
        intervals->ois = steadywarp::ois_interval(ois, *frame_times, context->sensors[sensor_idx],
                                                  intervals->gyro);
        ois.set_requested_interval(intervals->ois);
    }
    if (context->_samplers.has_ifovc(sensor_idx)) {
        steadywarp::SensorDataHandler& ifovc = *context->_samplers.ifovc->handler(sensor_idx);
        intervals->ifovc = steadywarp::ifovc_interval(
            ifovc, *frame_times, context->sensors[sensor_idx], intervals->gyro);
        ifovc.set_requested_interval(intervals->ifovc);
    }
    return EIS_SUCCESS;
}

uint32_t eis_internal_get_gyro_samples_time_interval(eis_context* context,
                                                     const is_frame_times* frame_times,
                                                     uint32_t sensor_idx, is_time_interval* gyro) {
    EIS_CHECK_ENTRY(context, frame_times != nullptr && gyro != nullptr);
    is_time_intervals intervals{};
    const uint32_t status =
        eis_internal_get_time_intervals(context, frame_times, sensor_idx, &intervals);
    *gyro = intervals.gyro;
    return status;
}

uint32_t eis_internal_get_gyro_ois_samples_time_interval(eis_context* context,
                                                         const is_frame_times* frame_times,
                                                         uint32_t sensor_idx,
                                                         is_time_interval* gyro,
                                                         is_time_interval* ois) {
    EIS_CHECK_ENTRY(context, frame_times != nullptr && gyro != nullptr && ois != nullptr);
    if (!context->_samplers.has_ois(sensor_idx)) {
        EIS_ERR("IS1026",
                "Function is called while OIS is disabled, use get_gyro_time_interval() instead");
        return eis_internal_get_gyro_samples_time_interval(context, frame_times, sensor_idx, gyro);
    }
    is_time_intervals intervals{};
    const uint32_t status =
        eis_internal_get_time_intervals(context, frame_times, sensor_idx, &intervals);
    *gyro = status == EIS_SUCCESS ? intervals.gyro : is_time_interval{};
    *ois = status == EIS_SUCCESS ? intervals.ois : is_time_interval{};
    return status;
}
