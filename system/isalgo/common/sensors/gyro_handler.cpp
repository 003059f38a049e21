// SPDX-License-Identifier: Apache-2.0
#include "sensors/gyro_handler.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "base/vec3.hpp"
#include "sensors/bias_estimator.hpp"

namespace steadywarp {
namespace {

constexpr char kName[] = "Gyro";
constexpr uint32_t kNumAxes = 3;
constexpr uint32_t kLeastCapacity = 128;
// Frames of 1/24 s that the ring holds, with a quarter to spare in the rate.
constexpr double kFramesHeld = 6.0;
constexpr double kRateReserve = 1.25;
constexpr double kSlowestFps = 24.0;

// Infinity and NaN less themselves are NaN.
bool is_finite(const _sample_data_s& sample) {
    const double* rate = sample.data;
    const double none = (rate[0] - rate[0]) + (rate[1] - rate[1]) + (rate[2] - rate[2]);
    return none == 0.0;
}

}  // namespace

uint32_t gyro_buffer_capacity(uint32_t frequency_hz) {
    return std::max(cut_to_u32(kFramesHeld * std::ceil(frequency_hz * kRateReserve / kSlowestFps)),
                    kLeastCapacity);
}

GyroHandler::GyroHandler(const SensorInitInfo& info, uint32_t& status)
    : SensorDataHandler(info, kName, false, status),
      // One sensor as far as the buffer is concerned: the gyroscope turns with all cameras alike.
      MultiSensorDataBuffer(kNumAxes, info.buffer_size, 1, kName, status) {}

void GyroHandler::integrate_gyro(const is_sample_array& samples, bool is_still) {
    const BiasEstimatorSingleton& estimator = BiasEstimatorSingleton::instance(nullptr);
    const Vec3<double> bias = {estimator.bias[0], estimator.bias[1], estimator.bias[2]};
    const RingBuffer<_sample_data_s>& orientations = MultiSensorDataBuffer::samples();
    const _sample_data_s* previous = orientations.is_empty() ? nullptr : &orientations.newest();
    const _sample_data_s* newest = nullptr;
    uint64_t last_ts = last_sample().ts;
    Vec3<double> rate = {last_sample().data[0], last_sample().data[1], last_sample().data[2]};
    const AxisMap axes = axis_map();
    const _sample_data_s* const end = samples.samples + samples.num_elements;
    for (const _sample_data_s* sample = samples.samples; sample != end; ++sample) {
        if (sample->ts <= last_ts) {
            continue;
        }
        if (!is_finite(*sample)) {
            EIS_ERR("IS0017", "%s: Invalid (NaN) sample at index: %u. sample is ignored", kName,
                    static_cast<uint32_t>(sample - samples.samples));
            continue;
        }
        newest = sample;
        last_ts = sample->ts;
        const Vec3<double> rate_before = rate;
        rate = is_still ? Vec3<double>{} : axes.turned(sample->data) - bias;
        Vec3<double> angles;
        if (previous != nullptr) {
            const double dt_us = static_cast<uint32_t>(last_ts - previous->ts);
            const Vec3<double> twice = (rate_before + rate) * dt_us;
            angles = {previous->data[0] + twice.x / 2000000.0,
                      previous->data[1] + twice.y / 2000000.0,
                      previous->data[2] + twice.z / 2000000.0};
        }
        _sample_data_s* slot = push_slot(0);
        previous = slot;
        if (slot != nullptr) {
            slot->data[0] = angles.x;
            slot->data[1] = angles.y;
            slot->data[2] = angles.z;
            std::fill_n(slot->data + 3, 3, 0.0);
            slot->ts = last_ts;
        }
    }
    if (newest != nullptr) {
        _sample_data_s last = *newest;
        last.data[0] = rate.x;
        last.data[1] = rate.y;
        last.data[2] = rate.z;
        if (is_still) {
            last.data[3] = 0.0;
        }
        set_last_sample(last);
    }
}

void GyroHandler::reset() {
    clear();
    set_last_sample({});
}

}  // namespace steadywarp
