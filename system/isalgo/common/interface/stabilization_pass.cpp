// SPDX-License-Identifier: Apache-2.0
// The second pass of a frame: the filter's correction becomes the transform that leaves the
// library, together with the grid that the first pass stored for the frame that comes out.
#include "base/eis_log.hpp"
#include "interface/context_check.hpp"
#include "interface/eis_context.hpp"
#include "interface/mode_output.hpp"
#include "interface/warp_output.hpp"
#include "validation/pass_validation.hpp"

namespace steadywarp {
namespace {

// The scale by `factor` about the centre of a picture, on the right of a homography.
Matrix3 scaled_about_center(const Matrix3& homography, double factor, uint32_t width,
                            uint32_t height) {
    const double cx = (width - 1.0) / 2.0;
    const double cy = (height - 1.0) / 2.0;
    const Matrix3 scale = {factor, 0.0, cx - factor * cx, 0.0, factor, cy - factor * cy, 0.0,
                           0.0,    1.0};
    return multiply(homography, scale);
}

void write_output(const eis_context& context, const EisResult& result, const StoredOutput& stored,
                  is_output_stabilize& output) {
    const sensor_runtime_record& sensor = context.sensors[result.sensor];
    const uint32_t width = sensor.input_width;
    const uint32_t height = sensor.input_height;
    output.frame_id = result.frame_id;
    output.active_sensor_idx = result.sensor;
    copy_grid(stored.output.distortion_correction_grid, output.distortion_correction_grid);

    Matrix3 stabilization = result.stabilization;
    if (sensor.upscale != 1.0) {
        stabilization = scaled_about_center(stabilization, sensor.upscale, width, height);
    }
    output.stabilization_transform.direction = OUT_2_IN;
    output.stabilization_transform.grid.enable = false;
    write_matrix(stabilization, width, height, output.stabilization_transform.matrices);

    copy_matrix(stored.output.alignment_matrix_domain_undistorted,
                output.alignment_matrix_domain_undistorted);
    write_matrix(result.alignment, width, height, output.alignment_matrix_domain_stabilized);
    output.frame_orientation_domain_undistorted = {};
    output.frame_orientation_domain_stabilized = {};
    output.scene_detection =
        to_scene_detection(context.distortion.stage.filter_inputs().oldest().scene);
    output.output_valid = true;
}

// The image-based correction of the frame; invalid while there is none.
DisEntry dis_entry(eis_context& context) {
    DisEntry entry;
    DisStabilizer* dis = context._stabilize->_dis.get();
    if (dis != nullptr &&
        dis->update(context.frames_without_gyro != 0, context.distortion.stage.filter_inputs(),
                    entry) != EIS_SUCCESS) {
        EIS_ERR("IS0002", "_stabilize->_dis.update() failed");
        EIS_ERR("IS0002", "dis_update_and_process() failed");
    }
    return entry;
}

void stabilize_process(eis_context& context, const is_input_stabilize& input,
                       is_output_stabilize& output) {
    if (context.is_robust_mode()) {
        stabilize_robustly(context, input, output);
        return;
    }
    const DisEntry dis = dis_entry(context);
    EisResult result;
    const uint32_t status = context._stabilize->eis.update_and_process(
        context.frames_without_gyro != 0, input, dis, result);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis_update_and_process() failed");
    }
    // An entry that no frame filled has no grid to go with the transform.
    const StoredOutputRing& stored = *context.distortion.grid_buffer;
    if (status == EIS_SUCCESS && result.valid && !stored.is_empty() && stored.oldest().is_filled) {
        write_output(context, result, stored.oldest(), output);
        apply_operation_mode(context, output);
    }
    context._prev_frame_id_stab = input.frame_id;
    context.prev_sof = input.frame_time_input.sof;
    context.prev_frame_time = input.frame_time_input.frame_time;
    context.first_frame = false;
    context.prev_sensor_idx = input.active_sensor_idx;
}

}  // namespace
}  // namespace steadywarp

uint32_t eis_internal_process_stabilize(eis_context* context, const is_input_stabilize* input,
                                        is_output_stabilize* output) {
    if (output != nullptr) {
        output->output_valid = false;
    }
    EIS_CHECK_ENTRY(context, input != nullptr && output != nullptr);
    const uint32_t status = steadywarp::is_valid_process_input_stabilize(*context, *input, *output);
    const bool can_go_on = context->is_robust_mode() && context->_stabilize != nullptr;
    if (status != EIS_SUCCESS && !can_go_on) {
        return status;
    }
    steadywarp::stabilize_process(*context, *input, *output);
    return EIS_SUCCESS;
}
