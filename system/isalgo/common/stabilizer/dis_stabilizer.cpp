// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/dis_stabilizer.hpp"

#include <algorithm>

namespace steadywarp {
namespace {

// The image's correction of a long delay line comes this much later than its frame; that of a
// short one never comes within it.
constexpr uint32_t kLongBufferDelay = 32;
constexpr uint32_t kLongDisDelay = 25;
constexpr uint32_t kShortBufferDelay = 13;
constexpr uint32_t kShortDisDelay = 7;
constexpr uint32_t kDisLead = 6;

}  // namespace

uint32_t calc_dis_delay(const is_init_common_data& common, const is_init_sensor_data* sensors,
                        uint32_t num_sensors) {
    const bool is_tuned = std::any_of(
        sensors, sensors + num_sensors,
        [](const is_init_sensor_data& sensor) { return sensor.tuning.dis.enable != 0; });
    if (!common.is_dis_enabled || !is_tuned) {
        return 0;
    }
    if (common.buffer_delay >= kLongBufferDelay) {
        return kLongDisDelay;
    }
    return common.buffer_delay < kShortBufferDelay ? kShortDisDelay
                                                   : common.buffer_delay - kDisLead;
}

uint32_t DisStabilizer::update(bool is_terminating, const InputRing& inputs, DisEntry& entry) {
    entry = {};
    _output_kind = DelayLine::kNone;
    if (!is_terminating) {
        if (inputs.size() == 1) {
            _next_frame_id = inputs.newest().frame_id;
        }
        if (!_line.add_frame()) {
            return EIS_ERROR_GENERAL;
        }
    }
    _output_kind = _line.take_output();
    if (_output_kind != DelayLine::kNone) {
        entry.frame_id = _next_frame_id++;
        entry.valid = true;
    }
    return EIS_SUCCESS;
}

void DisStabilizer::reset() {
    _line.reset();
    _output_kind = DelayLine::kNone;
    _next_frame_id = 0;
}

}  // namespace steadywarp
