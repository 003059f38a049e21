// SPDX-License-Identifier: Apache-2.0
// Both passes of a frame in one call.
#include "base/eis_log.hpp"
#include "interface/context_check.hpp"
#include "interface/eis_context.hpp"

namespace {

is_input_distortion_correction first_pass_input(const is_input& input) {
    is_input_distortion_correction first{};
    first.frame_id = input.frame_id;
    first.active_sensor_idx = input.active_sensor_idx;
    first.frame_time_input = input.frame_time_input;
    first.gyro = input.gyro;
    first.mag = input.mag;
    first.acc = input.acc;
    first.ois = input.ois;
    first.ifovc = input.ifovc;
    first.linear_acc = input.linear_acc;
    first.abs_orientation = input.abs_orientation;
    first.rel_orientation = input.rel_orientation;
    first.window_regions = input.window_regions;
    first.focus_distance = input.focus_distance;
    first.effective_focal_length_mm = input.effective_focal_length_mm;
    first.pre_eis_transform_margins_reduction = input.pre_eis_transform_margins_reduction;
    return first;
}

is_input_stabilize second_pass_input(const is_input& input) {
    is_input_stabilize second{};
    second.frame_id = input.frame_id;
    second.active_sensor_idx = input.active_sensor_idx;
    second.frame_time_input = input.frame_time_input;
    second.sat = input.sat;
    return second;
}

}  // namespace

uint32_t eis_internal_process(eis_context* context, const is_input* input, is_output* output) {
    if (output != nullptr) {
        output->output_valid = false;
    }
    EIS_CHECK_ENTRY(context, input != nullptr && output != nullptr);

    // Both passes write into the caller's memory; the second one has the last word.
    const is_input_distortion_correction first_input = first_pass_input(*input);
    is_output_distortion_correction first{};
    first.distortion_correction_grid = output->distortion_correction_grid;
    first.alignment_matrix_domain_undistorted = output->alignment_matrix_domain_undistorted;
    uint32_t status = eis_internal_process_distortion_correction(context, &first_input, &first);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis_internal_process_distortion_correction() failed");
        return status;
    }

    const is_input_stabilize second_input = second_pass_input(*input);
    is_output_stabilize second{};
    second.distortion_correction_grid = output->distortion_correction_grid;
    second.stabilization_transform = output->stabilization_transform;
    second.alignment_matrix_domain_undistorted = output->alignment_matrix_domain_undistorted;
    second.alignment_matrix_domain_stabilized = output->alignment_matrix_domain_stabilized;
    status = eis_internal_process_stabilize(context, &second_input, &second);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis_internal_process_stabilize() failed");
        return status;
    }
    if (!second.output_valid) {
        return EIS_SUCCESS;
    }
    output->frame_id = second.frame_id;
    output->active_sensor_idx = second.active_sensor_idx;
    output->distortion_correction_grid = second.distortion_correction_grid;
    output->stabilization_transform = second.stabilization_transform;
    output->alignment_matrix_domain_undistorted = second.alignment_matrix_domain_undistorted;
    output->alignment_matrix_domain_stabilized = second.alignment_matrix_domain_stabilized;
    output->Mind_margins_blender_geolib = first.Mind_margins_blender_geolib;
    output->cvp_motion_index_raw = first.cvp_motion_index_raw;
    output->ois_mode = first.ois_mode;
    output->scene_detection = second.scene_detection;
    output->output_valid = true;
    return EIS_SUCCESS;
}
