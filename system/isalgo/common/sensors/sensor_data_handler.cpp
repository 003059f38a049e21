// SPDX-License-Identifier: Apache-2.0
#include "sensors/sensor_data_handler.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "platform/os_utils.hpp"

namespace steadywarp {
namespace {

// A gap this long between two batches is a pause of the stream, not a loss of samples.
constexpr uint64_t kPauseUs = 500000;

// Frames between two looks at the average rate; a power of two.
constexpr uint32_t kAverageCheckMask = 63;

constexpr uint32_t kFrequencyHistory = 16;
constexpr uint32_t kLeastMaxFrequency = 1000;

struct RotateRow {
    uint32_t sensor_mount_angle;
    AxisMap axes;
};

// clang-format off
constexpr RotateRow kRearRows[] = {
    //     from        sign
    {  0, {{0, 1, 2}, {-1.0,  1.0, -1.0}}},
    { 90, {{1, 0, 2}, {-1.0, -1.0, -1.0}}},
    {180, {{0, 1, 2}, { 1.0, -1.0, -1.0}}},
    {270, {{1, 0, 2}, { 1.0,  1.0, -1.0}}},
};
constexpr RotateRow kFrontRows[] = {
    {  0, {{0, 1, 2}, {-1.0, -1.0,  1.0}}},
    { 90, {{1, 0, 2}, {-1.0,  1.0,  1.0}}},
    {180, {{0, 1, 2}, { 1.0,  1.0,  1.0}}},
    {270, {{1, 0, 2}, { 1.0, -1.0,  1.0}}},
};
// clang-format on

bool have_equal_words(const _sample_data_s& a, const _sample_data_s& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

float us_between(const _sample_data_s& earlier, const _sample_data_s& later) {
    return static_cast<float>(later.ts - earlier.ts);
}

bool has_loss_between(const _sample_data_s& earlier, const _sample_data_s& later, float period) {
    return std::fabs(us_between(earlier, later) - period) / period > 1.2f;
}

// Whether nothing is to be said of a batch's times: none is 0, all rise, and nothing is lost.
bool are_evenly_spaced(const is_sample_array& samples, float period) {
    const _sample_data_s* earlier = samples.samples;
    const _sample_data_s* const last = earlier + samples.num_elements - 1;
    bool is_even = earlier->ts != 0;
    for (; is_even && earlier != last; ++earlier) {
        is_even = earlier[1].ts > earlier->ts && !has_loss_between(*earlier, earlier[1], period);
    }
    return is_even;
}

}  // namespace

void estimate_frequency(const is_sample_array& samples, const char* name, float& frequency) {
    frequency = 0.0f;
    if (samples.num_elements == 0 || samples.samples == nullptr) {
        return;
    }
    uint32_t count = 0;
    uint64_t sum_us = 0;
    uint64_t before = samples.samples->ts;
    for (const _sample_data_s& sample :
         std::span(samples.samples, samples.num_elements).subspan(1)) {
        if (sample.ts > before) {
            ++count;
            sum_us += sample.ts - before;
        }
        before = sample.ts;
    }
    if (samples.num_elements == 1 || sum_us == 0) {
        EIS_ERR("IS0003",
                "%s: Not enough samples to estimate frequency (num samples, first sample ts, last "
                "sample ts): (%u, %lu, %lu)",
                name, samples.num_elements, samples.samples[0].ts,
                samples.samples[samples.num_elements - 1].ts);
        return;
    }
    frequency = static_cast<float>(count) * 1e6f / static_cast<float>(sum_us);
}

void log_time_that_does_not_rise(const _sample_data_s& earlier, const _sample_data_s& later,
                                 const char* name, uint32_t frame_id) {
    if (later.ts < earlier.ts) {
        EIS_ERR("IS0524",
                "%s: frame_id %u: Time stamps are not strictly monotonically increasing: %lu, %lu",
                name, frame_id, earlier.ts, later.ts);
        return;
    }
    EIS_ERR("IS0525", "%s: frame_id %u: Time stamps are equal, debug is needed : %lu", name,
            frame_id, later.ts);
    if (!have_equal_words(earlier, later)) {
        EIS_ERR("IS0525",
                "%s: frame_id %u: Time stamps are equal but data samples are not: (%lu; %lf, %lf, "
                "%lf), (%lu; %lf, %lf, %lf)",
                name, frame_id, earlier.ts, earlier.data[0], earlier.data[1], earlier.data[2],
                later.ts, later.data[0], later.data[1], later.data[2]);
    }
}

SensorDataHandler::SensorDataHandler(const SensorInitInfo& info, const char* name,
                                     bool tolerate_gaps, uint32_t& status)
    : _max_frequency(std::max(cut_to_u32(static_cast<double>(info.frequency)), kLeastMaxFrequency)),
      _tolerate_gaps(tolerate_gaps),
      _frequency_history(kFrequencyHistory),
      _noise_floor(info.noise_floor),
      _average_frequency(info.frequency),
      _requested_frequency(info.frequency) {
    Zelm::OsUtils::StrLCpy(_name, name, sizeof _name);
    if (!_frequency_history.is_allocated()) {
        EIS_ERR("IS0004", "%s: Out of memory", _name);
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    uint32_t rotate_status = EIS_SUCCESS;
    update_rotate(info.sensor_mount_angle, info.camera_position, rotate_status);
    if (rotate_status != EIS_SUCCESS) {
        EIS_ERR("IS0004", "%s: constructor failed. update_rotate()", _name);
        EIS_ERR("IS0002", "%s: Constructor failed", _name);
        status = rotate_status;
    }
}

void SensorDataHandler::update_rotate(uint32_t sensor_mount_angle, uint32_t camera_position,
                                      uint32_t& status) {
    if (camera_position > 1) {
        EIS_ERR("IS0003", "Invalid camera_position: %u", camera_position);
        status = EIS_ERROR_INVALID_INPUT;
        return;
    }
    for (const RotateRow& row : camera_position == 0 ? kRearRows : kFrontRows) {
        if (row.sensor_mount_angle == sensor_mount_angle) {
            _axis_map = &row.axes;
            return;
        }
    }
    EIS_ERR("IS0003", "Invalid sensor_mount_angle: %u", sensor_mount_angle);
    status = EIS_ERROR_INVALID_INPUT;
}

void SensorDataHandler::update_frequency(const is_sample_array& samples) {
    float estimate = 0.0f;
    estimate_frequency(samples, _name, estimate);
    _frequency_history.push(estimate != 0.0f ? estimate : _requested_frequency);
    float sum = 0.0f;
    for (uint32_t i = 0; i < _frequency_history.size(); ++i) {
        sum += _frequency_history[i];
    }
    _average_frequency = sum / static_cast<float>(_frequency_history.size());
}

bool SensorDataHandler::is_valid_frequency(const is_sample_array& samples,
                                           uint32_t frame_id) const {
    float estimate = 0.0f;
    estimate_frequency(samples, _name, estimate);
    const double limit = _max_frequency * 1.05;
    if (static_cast<double>(estimate) > limit) {
        EIS_ERR("IS0009",
                "%s: frame_id %u: estimated_frequency = %.1fHz is too high comparing to "
                "max_frequency = %.1fHz!",
                _name, frame_id, static_cast<double>(estimate),
                static_cast<double>(_max_frequency));
    }
    if (std::fabs(_average_frequency - estimate) / _average_frequency > 0.01f) {
        EIS_ERR("IS0518",
                "%s: frame_id %u: estimated_frequency = %.1fHz is different between frames! (might "
                "indicate on missing samples / false time stamps) average estimated freq = %.1fHz",
                _name, frame_id, static_cast<double>(estimate),
                static_cast<double>(_average_frequency));
    }
    if ((frame_id & kAverageCheckMask) == 0 &&
        std::fabs(_average_frequency - _requested_frequency) / _requested_frequency > 0.035f) {
        EIS_ERR("IS0519",
                "%s: frame_id %u: Average estimated frequency = %.1fHz is different from requested "
                "frequency = %.1fHz",
                _name, frame_id, static_cast<double>(_average_frequency),
                static_cast<double>(_requested_frequency));
    }
    return true;
}

bool SensorDataHandler::is_valid_samples_spacings(const is_sample_array& samples,
                                                  uint32_t frame_id) const {
    const uint64_t last_ts = _last_sample.ts;
    const uint64_t first_ts = samples.samples[0].ts;
    if (last_ts == 0 || first_ts <= last_ts || first_ts - last_ts >= kPauseUs) {
        return true;
    }
    const float gap = static_cast<float>(first_ts - last_ts);
    const float period = period_us();
    const float heavy_loss = period * 4.0f * 1.05f;
    const float loss = (period + period) * 1.05f;
    if (gap > heavy_loss) {
        EIS_ERR("IS0018",
                "%s: frame_id %u: samples->samples[0].ts - _last_sample.ts = %f[us] > %f[us]",
                _name, frame_id, static_cast<double>(gap), static_cast<double>(heavy_loss));
        return _tolerate_gaps;
    }
    if (gap > loss) {
        EIS_ERR("IS0521",
                "%s: frame_id %u: samples->samples[0].ts - _last_sample.ts = %f[us] > %f[us]",
                _name, frame_id, static_cast<double>(gap), static_cast<double>(loss));
    }
    return true;
}

bool SensorDataHandler::is_valid_frame_time(const is_sample_array& samples,
                                            uint32_t frame_id) const {
    const float period = period_us();
    const uint64_t first_ts = samples.samples[0].ts;
    const uint64_t last_ts = samples.samples[samples.num_elements - 1].ts;
    if (last_ts < cut_to_u64(static_cast<double>(period))) {
        EIS_ERR("IS0524", "%s: frame_id %u: received timestamp (%lu) is invalid", _name, frame_id,
                last_ts);
        return false;
    }
    const uint64_t reference =
        _tolerate_gaps ? std::max(_requested.first_ts, _last_sample.ts) : _requested.first_ts;
    if (static_cast<double>(first_ts) >
        static_cast<double>(reference) + 1.2 * static_cast<double>(period)) {
        EIS_ERR("IS0522",
                "%s: frame_id %u: First requested timestamp (%lu) is smaller than received "
                "timestamp (%lu). Delta [usec] = %u",
                _name, frame_id, _requested.first_ts, first_ts,
                static_cast<uint32_t>(first_ts - _requested.first_ts));
    }
    if (static_cast<float>(last_ts) + period < static_cast<float>(_requested.last_ts)) {
        EIS_ERR("IS0523",
                "%s: frame_id %u: Last requested timestamp (%lu) is larger than received timestamp "
                "(%lu). Delta [usec] = %u",
                _name, frame_id, _requested.last_ts, last_ts,
                static_cast<uint32_t>(_requested.last_ts - last_ts));
    }
    return true;
}

bool SensorDataHandler::is_vaild_samples(const is_sample_array& samples, uint32_t frame_id) const {
    const float period = period_us();
    if (are_evenly_spaced(samples, period)) {
        return true;
    }
    for (uint32_t i = 0; i < samples.num_elements; ++i) {
        if (samples.samples[i].ts == 0) {
            // Says gyro for every stream.
            EIS_ERR("IS0003",
                    "%s: frame_id %u: Time stamps equal zero ! corrupted gyro data, debug is "
                    "needed.",
                    _name, frame_id);
            return false;
        }
    }
    for (uint32_t i = 1; i < samples.num_elements; ++i) {
        const _sample_data_s& earlier = samples.samples[i - 1];
        const _sample_data_s& later = samples.samples[i];
        if (check_time_rises(earlier, later, _name, frame_id) &&
            has_loss_between(earlier, later, period)) {
            EIS_ERR("IS0526",
                    "%s: frame_id %u: Invalid samples spacing: %lu, %lu, %.2fHz ; Loss of %u[us] "
                    "of data, estimated %d missing samples",
                    _name, frame_id, earlier.ts, later.ts, static_cast<double>(_average_frequency),
                    static_cast<uint32_t>(later.ts - earlier.ts),
                    cut_to_i32(static_cast<double>(us_between(earlier, later) / period)) - 1);
        }
    }
    return true;
}

bool SensorDataHandler::is_valid(const is_sample_array& samples, uint32_t frame_id,
                                 bool first_frame, bool sensor_switched) const {
    if (samples.num_elements == 0) {
        return true;
    }
    if (samples.samples == nullptr) {
        EIS_ERR("IS0003", "%s: Input mismatch, num_elements > 0 but samples array is NULL", _name);
        return false;
    }
    if (first_frame &&
        std::fabs(_requested_frequency - _average_frequency) / _requested_frequency > 0.01f) {
        EIS_ERR("IS0519",
                "%s: estimated_frequency = %.1fHz is different from requested by input = %.1fHz",
                _name, static_cast<double>(_average_frequency),
                static_cast<double>(_requested_frequency));
    }
    uint32_t errors = 0;
    errors += is_valid_frequency(samples, frame_id) ? 0 : 1;
    errors += is_valid_frame_time(samples, frame_id) ? 0 : 1;
    errors += is_vaild_samples(samples, frame_id) ? 0 : 1;
    if (!sensor_switched) {
        errors += is_valid_samples_spacings(samples, frame_id) ? 0 : 1;
    }
    const bool has_new_sample =
        std::any_of(samples.samples, samples.samples + samples.num_elements,
                    [this](const _sample_data_s& sample) { return sample.ts > _last_sample.ts; });
    if (!has_new_sample) {
        EIS_ERR("IS0018",
                "%s: frame_id %u: Invalid input - Received only old samples: last sample timestamp "
                "%lu ; last sample timestamp from input %lu ; input number of elements %u. ",
                _name, frame_id, _last_sample.ts, samples.samples[samples.num_elements - 1].ts,
                samples.num_elements);
        return false;
    }
    return errors == 0;
}

}  // namespace steadywarp
