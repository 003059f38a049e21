// SPDX-License-Identifier: Apache-2.0
// The test of a batch of lens-position samples, before any of it is taken.
#include "base/eis_log.hpp"
#include "sensors/ifovc_handler.hpp"

namespace steadywarp {
namespace {

// How far a position may lie beyond the ends of its table.
constexpr double kPositionTolerance = 1e-6;

// Samples that a frame should bring, and those while the lens moves.
constexpr uint32_t kExpectedSamples = 2;
constexpr uint32_t kExpectedMovingSamples = 4;

struct Origin {
    const char* name;
    uint32_t frame_id;
    uint32_t sensor;
};

// @return false for a sample that the frame cannot do with.
bool check_value(const _sample_data_s& sample, const eis_z_lens_position& lens, const Origin& of) {
    if (lens.scale_source == kScaleFromTable) {
        const double low =
            static_cast<double>(lens.lut_z_lens_pos_tab[lut_length(lens) - 1]) - kPositionTolerance;
        const double high = static_cast<double>(lens.lut_z_lens_pos_tab[0]) + kPositionTolerance;
        if (sample.data[0] < low || sample.data[0] > high) {
            EIS_ERR("IS0530",
                    "%s : frame_id %u: Sensor #%u Invalid input, IFOVC lens position is out of the "
                    "calibrated range [%f,%f]: %f",
                    of.name, of.frame_id, of.sensor, low, high, sample.data[0]);
        }
    } else if (lens.scale_source == kScaleFromSample) {
        if (sample.data[1] <= 0.0) {
            EIS_ERR("IS0003",
                    "%s : frame_id %u: Sensor #%u invalid input, scale factor value is below 0: %f",
                    of.name, of.frame_id, of.sensor, sample.data[1]);
            return false;
        }
        if (sample.data[1] > 1.0) {
            EIS_HIGH("IS0530",
                     "%s : frame_id %u: Sensor #%u invalid input, scale factor value is larger "
                     "than 1: %f",
                     of.name, of.frame_id, of.sensor, sample.data[1]);
        }
    }
    return true;
}

}  // namespace

// What a batch holds.
struct IFOVCHandler::Window {
    uint32_t num_inside = 0;  // the requested interval
    uint32_t num_new = 0;
    uint32_t num_errors = 0;
    bool has_change = false;  // the lens moved within the interval
};

IFOVCHandler::Window IFOVCHandler::look_at(const is_sample_array& samples, uint32_t sensor,
                                           uint32_t frame_id) const {
    const SensorDataHandler& own = *handler(sensor);
    const is_time_interval& asked = own.requested_interval();
    Window window;
    for (uint32_t i = 0; i < samples.num_elements; ++i) {
        const _sample_data_s& sample = samples.samples[i];
        if (sample.ts >= asked.first_ts && sample.ts <= asked.last_ts) {
            ++window.num_inside;
            window.has_change =
                window.has_change || (i != 0 && sample.data[0] != samples.samples[i - 1].data[0]);
        }
        if (sample.ts > own.last_sample().ts) {
            ++window.num_new;
            const bool is_usable =
                check_value(sample, *_z_lens[sensor], {name(), frame_id, sensor});
            window.num_errors += is_usable ? 0 : 1;
        }
    }
    for (uint32_t i = 1; i < samples.num_elements; ++i) {
        check_time_rises(samples.samples[i - 1], samples.samples[i], name(), frame_id);
    }
    return window;
}

void IFOVCHandler::report_window(const Window& window, const is_sample_array& samples,
                                 uint32_t sensor, uint32_t frame_id) const {
    const SensorDataHandler& own = *handler(sensor);
    const is_time_interval& asked = own.requested_interval();
    if (window.num_new == 0) {
        EIS_HIGH("IS0521",
                 "%s: frame_id %u: Bad input - Did not receive new samples: last sample timestamp "
                 "%lu ; last sample timestamp from input %lu ; input number of elements %u. ",
                 name(), frame_id, own.last_sample().ts,
                 samples.samples[samples.num_elements - 1].ts, samples.num_elements);
    }
    if (window.num_inside == 0) {
        EIS_ERR("IS0003",
                "%s : frame_id %u: Sensor #%u has 0 IFOVC samples. . Requested Interval: [%lu,%lu]",
                name(), frame_id, sensor, asked.first_ts, asked.last_ts);
        if (_last_window_samples == 0) {
            EIS_HIGH("IS0530",
                     "%s : frame_id %u: Sensor #%u has two consecutive frames without "
                     "data.Suspecting end of stream.",
                     name(), frame_id, sensor);
        }
    }
    if (window.num_inside == 1) {
        EIS_HIGH("IS0521",
                 "%s : frame_id %u: Sensor #%u low number of IFOVC samples. Number of samples: %u, "
                 "expected: %u . Requested Interval: [%lu,%lu]",
                 name(), frame_id, sensor, window.num_inside, kExpectedSamples, asked.first_ts,
                 asked.last_ts);
    }
    if (window.has_change && window.num_inside < kExpectedMovingSamples) {
        EIS_HIGH("IS0521",
                 "%s : frame_id %u : Sensor #%u low number IFOVC samples during data change. "
                 "Number of samples: %u, Expected: %u ",
                 name(), frame_id, sensor, window.num_inside, kExpectedMovingSamples);
    }
}

bool IFOVCHandler::is_valid(const is_sample_array& samples, uint32_t sensor, uint32_t frame_id) {
    if (samples.num_elements == 0) {
        return true;
    }
    if (!is_active(sensor)) {
        EIS_ERR("IS0003",
                "%s: frame_id %u : Sensor #%u is disabled but %u samples were received. Samples "
                "will be ignored",
                name(), frame_id, sensor, samples.num_elements);
        return true;
    }
    bool is_usable = samples.samples != nullptr;
    if (is_usable) {
        const Window window = look_at(samples, sensor, frame_id);
        if (!(_is_fast && _last_window_samples >= kExpectedSamples)) {
            report_window(window, samples, sensor, frame_id);
        }
        _last_window_samples = window.num_inside;
        is_usable = window.num_errors == 0;
    } else {
        EIS_ERR("IS0003",
                "%s : frame_id %u: Sensor #%u Input mismatch, num_elements > 0 but samples array "
                "is NULL",
                name(), frame_id, sensor);
    }
    if (!is_usable) {
        EIS_ERR("IS0002", "%s: frame_id %u : Invalid data from sensor #%u", name(), frame_id,
                sensor);
    }
    return is_usable;
}

}  // namespace steadywarp
