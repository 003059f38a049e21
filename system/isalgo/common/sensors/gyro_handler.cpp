// SPDX-License-Identifier: Apache-2.0
#include "sensors/gyro_handler.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
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
    for (uint32_t i = 0; i < samples.num_elements; ++i) {
        const _sample_data_s& sample = samples.samples[i];
        if (sample.ts <= last_sample().ts) {
            continue;
        }
        if (!std::isfinite(sample.data[0]) || !std::isfinite(sample.data[1]) ||
            !std::isfinite(sample.data[2])) {
            EIS_ERR("IS0017", "%s: Invalid (NaN) sample at index: %u. sample is ignored", kName, i);
            continue;
        }
        integrate_sample(sample, is_still);
    }
}

void GyroHandler::integrate_sample(const _sample_data_s& sample, bool is_still) {
    _sample_data_s corrected = sample;
    rotate(corrected);
    if (is_still) {
        std::fill_n(corrected.data, 4, 0.0);
    } else {
        const BiasEstimatorSingleton& estimator = BiasEstimatorSingleton::instance(nullptr);
        for (uint32_t axis = 0; axis < kNumAxes; ++axis) {
            corrected.data[axis] -= estimator.bias[axis];
        }
    }
    _sample_data_s angles{};
    angles.ts = sample.ts;
    if (!MultiSensorDataBuffer::samples().is_empty()) {
        const _sample_data_s& previous = MultiSensorDataBuffer::samples().newest();
        const double dt_us = static_cast<uint32_t>(sample.ts - previous.ts);
        for (uint32_t axis = 0; axis < kNumAxes; ++axis) {
            angles.data[axis] =
                previous.data[axis] +
                (last_sample().data[axis] + corrected.data[axis]) * dt_us / 2000000.0;
        }
    }
    push(angles, 0);
    set_last_sample(corrected);
}

void GyroHandler::reset() {
    clear();
    set_last_sample({});
}

}  // namespace steadywarp
