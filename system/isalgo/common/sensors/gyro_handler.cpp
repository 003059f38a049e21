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

bool is_finite(const _sample_data_s& sample) {
    return std::isfinite(sample.data[0]) && std::isfinite(sample.data[1]) &&
           std::isfinite(sample.data[2]);
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
    _sample_data_s last = last_sample();
    for (uint32_t i = 0; i < samples.num_elements; ++i) {
        const _sample_data_s& sample = samples.samples[i];
        if (sample.ts <= last.ts) {
            continue;
        }
        if (!is_finite(sample)) {
            EIS_ERR("IS0017", "%s: Invalid (NaN) sample at index: %u. sample is ignored", kName, i);
            continue;
        }
        const Vec3<double> rate_before = {last.data[0], last.data[1], last.data[2]};
        last = sample;
        rotate(last);
        if (is_still) {
            std::fill_n(last.data, 4, 0.0);
        } else {
            for (uint32_t axis = 0; axis < kNumAxes; ++axis) {
                last.data[axis] -= bias[axis];
            }
        }
        _sample_data_s angles = {{}, sample.ts};
        if (!orientations.is_empty()) {
            const _sample_data_s& previous = orientations.newest();
            const double dt_us = static_cast<uint32_t>(sample.ts - previous.ts);
            for (uint32_t axis = 0; axis < kNumAxes; ++axis) {
                angles.data[axis] =
                    previous.data[axis] + (rate_before[axis] + last.data[axis]) * dt_us / 2000000.0;
            }
        }
        push(angles, 0);
    }
    set_last_sample(last);
}

void GyroHandler::reset() {
    clear();
    set_last_sample({});
}

}  // namespace steadywarp
