// SPDX-License-Identifier: Apache-2.0
#include "interface/mode_output.hpp"

#include "interface/warp_output.hpp"

namespace steadywarp {
namespace {

// From here on matrices act on pixels counted from the centre of the picture.
constexpr Matrix3 scale(double x, double y) {
    return {x, 0.0, 0.0, 0.0, y, 0.0, 0.0, 0.0, 1.0};
}
constexpr Matrix3 translation(const Point2& by) {
    return {1.0, 0.0, by.x, 0.0, 1.0, by.y, 0.0, 0.0, 1.0};
}

void disable(NcLibWarpGrid& grid) {
    grid.enable = false;
}
void disable(NcLibWarpMatrices& matrices) {
    matrices.enable = false;
}

// A caller's mistake stops nothing here, not even missing memory.
void write_identity(const sensor_runtime_record& sensor, NcLibWarpMatrices& out) {
    disable(out);
    if (out.perspMatrices != nullptr) {
        write_centered_matrix(kIdentity3, sensor.input_width, sensor.input_height, out);
    }
}

}  // namespace

FirstPassParts first_pass_parts(uint32_t operation_mode) {
    switch (operation_mode) {
        case IS_OPT_REGULAR:
        case IS_OPT_UNDISTORTION_ONLY:
        case IS_OPT_TEST_REGULAR_MERGE_DIS_EIS:
            return {true, true, true};
        case IS_OPT_CALIBRATION_SYMMETRIC:
        case IS_OPT_CALIBRATION_ASYMMETRIC:
        case IS_OPT_TEST_SAT_PASS_THROUGH:
        case IS_OPT_TEST_MARGINS_LIMITS:
            return {false, true, true};
        case IS_OPT_IFOVC_LDC_ONLY:
            return {true, false, true};
        default:
            return {false, false, false};
    }
}

void write_calibration_scale(eis_context& context, uint32_t sensor_idx, const FilterInput* newest,
                             NcLibWarpMatrices& out) {
    sensor_runtime_record& sensor = context.sensors[sensor_idx];
    const double width = sensor.input_width;
    const double height = sensor.input_height;
    const bool is_symmetric = context.operation_mode == IS_OPT_CALIBRATION_SYMMETRIC;
    double x = width / context.output_width;
    double y = height / context.output_height;
    if (!context.do_virtual_upscale_in_transform) {
        if (newest != nullptr) {
            const frame_geometry_windows& windows = newest->windows;
            sensor.crop_ratio_y = (windows.output_bottom - windows.output_top) / height;
            sensor.crop_ratio_x = (windows.output_right - windows.output_left) / width;
        }
        x = 1.0 / sensor.crop_ratio_x;
        y = 1.0 / sensor.crop_ratio_y;
    }
    write_centered_matrix(scale(x, is_symmetric ? x : y), sensor.input_width, sensor.input_height,
                          out);
}

void apply_operation_mode(eis_context& context, is_output_stabilize& output) {
    const uint32_t sensor_idx = output.active_sensor_idx;
    const sensor_runtime_record& sensor = context.sensors[sensor_idx];
    const InputRing& inputs = context.distortion.stage.filter_inputs();
    NcLibWarpMatrices& matrices = output.stabilization_transform.matrices;
    switch (context.operation_mode) {
        case IS_OPT_CALIBRATION_SYMMETRIC:
        case IS_OPT_CALIBRATION_ASYMMETRIC:
            write_calibration_scale(context, sensor_idx, &inputs.newest(), matrices);
            break;
        case IS_OPT_UNDISTORTION_ONLY:
            disable(matrices);
            break;
        case IS_OPT_TEST_SAT_PASS_THROUGH:
            write_matrix(context._stabilize->eis.oldest_sat().matrix, sensor.input_width,
                         sensor.input_height, matrices);
            break;
        case IS_OPT_TEST_MARGINS_LIMITS: {
            const Point2 by = context._stabilize->test_borders->step(
                inputs.oldest().windows, sensor.input_width, sensor.input_height);
            write_centered_matrix(translation(by), sensor.input_width, sensor.input_height,
                                  matrices);
            break;
        }
        default:
            break;
    }
}

void write_robust_first_output(const is_input_distortion_correction& input,
                               is_output_distortion_correction& output) {
    output.frame_id = input.frame_id;
    output.active_sensor_idx = input.active_sensor_idx;
    disable(output.distortion_correction_grid);
    disable(output.alignment_matrix_domain_undistorted);
    output.mof_gyro_time = 0;
    output.frame_orientation_domain_undistorted = {};
    output.Mind_margins_blender_geolib = 0.0f;
    output.cvp_motion_index_raw = 0.0f;
    output.ois_mode = kOisNoCommand;
    output.scene_detection = {};
    output.output_valid = true;
}

void stabilize_robustly(eis_context& context, const is_input_stabilize& input,
                        is_output_stabilize& output) {
    RobustRing& ring = *context._stabilize->_buffer_calib_mode_robust;
    ring.push({input.frame_id, input.active_sensor_idx});
    context._prev_frame_id_stab = input.frame_id;
    output.frame_id = 0;
    output.active_sensor_idx = 0;
    output.stabilization_transform.direction = OUT_2_IN;
    disable(output.distortion_correction_grid);
    disable(output.stabilization_transform.grid);
    disable(output.stabilization_transform.matrices);
    disable(output.alignment_matrix_domain_undistorted);
    disable(output.alignment_matrix_domain_stabilized);
    output.frame_orientation_domain_undistorted = {};
    output.frame_orientation_domain_stabilized = {};
    output.scene_detection = {};
    if (!ring.is_full()) {
        return;
    }
    const RobustFrame& frame = ring.oldest();
    output.frame_id = frame.frame_id;
    output.active_sensor_idx = frame.sensor;
    // A sensor that does not exist has no size; the first one stands in for it.
    const uint32_t sensor_idx = frame.sensor < context.sensors.size() ? frame.sensor : 0;
    const sensor_runtime_record& sensor = context.sensors[sensor_idx];
    NcLibWarpMatrices& matrices = output.stabilization_transform.matrices;
    if (context.operation_mode == IS_OPT_IDENTITY_ONLY_ROBUST) {
        write_identity(sensor, matrices);
    } else if (matrices.perspMatrices != nullptr) {
        write_calibration_scale(context, sensor_idx, nullptr, matrices);
    }
    write_identity(sensor, output.alignment_matrix_domain_undistorted);
    write_identity(sensor, output.alignment_matrix_domain_stabilized);
    output.output_valid = true;
}

}  // namespace steadywarp
