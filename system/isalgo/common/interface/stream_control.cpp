// SPDX-License-Identifier: Apache-2.0
#include "interface/stream_control.hpp"

#include "base/eis_log.hpp"
#include "validation/frame_validation.hpp"

namespace steadywarp {

void eis3_pause_resume_or_new_stream(eis_context& context,
                                     const is_input_distortion_correction& input) {
    if (input.gyro.num_elements == 0) {
        return;
    }
    const uint64_t sof = input.frame_time_input.sof;
    const bool is_pause =
        context.prev_sof != 0 && sof > context.prev_sof && sof - context.prev_sof > kPauseResumeUs;
    const bool is_new_stream = context.frames_without_gyro != 0;
    if (!is_pause && !is_new_stream) {
        return;
    }
    EIS_HIGH("IS1027", "Pause-Resume or New-Stream: %u, %u, %u, %u", is_pause ? 1u : 0u,
             is_new_stream ? 1u : 0u, context.frames_with_gyro, context.frames_without_gyro);
    context.first_frame = true;
    if (is_pause) {
        for (sensor_runtime_record& sensor : context.sensors) {
            if (sensor.ois_centring_enabled) {
                sensor.ois_time_in_mode += sof - context.prev_sof;
            }
        }
    }
    eis_internal_reset_state(context);
    if (!is_new_stream) {
        return;
    }
    if (context.is_type == IS_TYPE_EIS_3_0 && context.frames_without_gyro != context.buffer_delay) {
        EIS_ERR("IS0530",
                "New stream has started before the previous one has ended(# frames with gyro, # "
                "frames without gyro, future looking buffer size): (%u, %u, %u)",
                context.frames_with_gyro, context.frames_without_gyro, context.buffer_delay);
    }
    context.frames_with_gyro = 0;
    context.frames_without_gyro = 0;
}

void eis_internal_reset_state(eis_context& context) {
    for (sensor_runtime_record& sensor : context.sensors) {
        sensor.readout_duration = 0;
    }
    context._samplers.reset();
    if (context.distortion.grid_buffer != nullptr) {
        context.distortion.grid_buffer->clear();
    }
    context.distortion.stage.reset();
    if (context._stabilize != nullptr) {
        context._stabilize->reset();
    }
}

}  // namespace steadywarp
