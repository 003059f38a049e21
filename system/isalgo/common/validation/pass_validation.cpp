// SPDX-License-Identifier: Apache-2.0
#include "validation/pass_validation.hpp"

#include "base/eis_log.hpp"
#include "validation/frame_validation.hpp"
#include "validation/warp_input_validation.hpp"

namespace steadywarp {
namespace {

constexpr char kOutOfOrder[] =
    "Invalid SW flow out of order execution call. Stabilization part was called before distortion "
    "correction was called (current frame ID, previous dist_corr frame ID, previous stab frame ID) "
    ": %u, %u, %u";

// One of the arrays that the caller must supply.
struct RequiredArray {
    const char* name;
    bool exists;
};

template <size_t N>
uint32_t count_missing(const RequiredArray (&arrays)[N], const char* function, int line) {
    uint32_t missing = 0;
    for (const RequiredArray& array : arrays) {
        if (!array.exists) {
            eis_log("[ERR] ", "IS0003", function, line, "NULL pointer %s", array.name);
            ++missing;
        }
    }
    return missing;
}

bool is_valid_sensor_idx(const eis_context& context, uint32_t sensor_idx, const char* function,
                         int line) {
    if (sensor_idx < context.sensors.size()) {
        return true;
    }
    eis_log("[ERR] ", "IS0014", function, line, "Invalid sensor index - %u", sensor_idx);
    return false;
}

// In this mode a pass runs on whatever is wrong with its input.
bool runs_on_errors(const eis_context& context) {
    return context.operation_mode == IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST;
}

bool is_valid_ifovc_samples(const eis_context_samplers& samplers,
                            const is_input_distortion_correction& input) {
    if (samplers.ifovc != nullptr) {
        return samplers.ifovc->is_valid(input.ifovc, input.active_sensor_idx, input.frame_id);
    }
    if (input.ifovc.num_elements != 0) {
        EIS_ERR("IS0003",
                "%s: frame_id %u : Sensor #%u is disabled but %u samples were received. Samples "
                "will be ignored",
                "iFOVC", input.frame_id, input.active_sensor_idx, input.ifovc.num_elements);
    }
    return true;
}

}  // namespace

bool is_valid_samples(const eis_context_samplers& samplers,
                      const is_input_distortion_correction& input, bool first_frame,
                      bool sensor_switched) {
    uint32_t errors = 0;
    if (!samplers.gyro.is_valid(input.gyro, input.frame_id, first_frame, sensor_switched)) {
        EIS_ERR("IS0002", "Errors in gyro samples were found");
        ++errors;
    }
    if (samplers.ois != nullptr &&
        !samplers.ois->is_valid(input.ois, input.active_sensor_idx, input.frame_id, first_frame,
                                sensor_switched)) {
        EIS_ERR("IS0002", "Errors in OIS samples were found");
        ++errors;
    }
    if (!is_valid_ifovc_samples(samplers, input)) {
        EIS_ERR("IS0002", "Errors in iFOVC samples were found");
        ++errors;
    }
    if (samplers.has_ois(input.active_sensor_idx) &&
        (input.gyro.num_elements == 0) != (input.ois.num_elements == 0)) {
        EIS_ERR("IS0019",
                "frame_id %u : Sensor #%u : OIS and Gyro samples mismatch. OIS (%u) or gyro (%u) "
                "samples are missing",
                input.frame_id, input.active_sensor_idx, input.ois.num_elements,
                input.gyro.num_elements);
        ++errors;
    }
    if (samplers.has_ifovc(input.active_sensor_idx) &&
        (input.gyro.num_elements == 0) != (input.ifovc.num_elements == 0)) {
        EIS_ERR("IS0019",
                "frame_id %u : Sensor #%u : iFOVC and Gyro samples mismatch. iFOVC (%u) or gyro "
                "(%u) samples are missing",
                input.frame_id, input.active_sensor_idx, input.ifovc.num_elements,
                input.gyro.num_elements);
        ++errors;
    }
    if (errors != 0) {
        EIS_ERR("IS0002", "Frame id %u: Number of errors found: %u", input.frame_id, errors);
        return false;
    }
    return true;
}

void is_valid_dist_corr_input(const eis_context& context,
                              const is_input_distortion_correction& input, FaultCounts& counts) {
    const bool sensor_switched = context.is_sensor_switch(input.active_sensor_idx);
    if (!is_valid_samples(context._samplers, input, context.first_frame, sensor_switched)) {
        ++counts.errors;
    }
    // A frame without samples ends a stream: nothing else of it counts.
    if (input.gyro.num_elements == 0) {
        return;
    }
    if (!is_valid_sensor_idx(context, input.active_sensor_idx, __func__, __LINE__)) {
        ++counts.errors;
    }
    const is_frame_times& times = input.frame_time_input;
    const uint32_t skew = times.sensor_rolling_shutter_skew;
    if (skew == 0) {
        EIS_ERR("IS0512", "0 == sensor_rolling_shutter_skew, invalid value!");
    }
    if (skew >= longest_time_in_frame(times.frame_time)) {
        EIS_ERR("IS0513", "Invalid readout duration - %u (cannot correct rolling shutter)", skew);
        EIS_ERR("IS0003", "Invalid rolling shutter skew value");
        ++counts.errors;
    }
    if (!is_valid_frame_times(times, context.prev_sof, context.prev_frame_time, sensor_switched)) {
        EIS_ERR("IS0003", "Invalid frame_time_input");
        ++counts.errors;
    }
    if (!is_valid_window_regions(input.window_regions)) {
        EIS_ERR("IS0003", "Invalid window_regions");
        ++counts.errors;
    }
    if (input.effective_focal_length_mm < 0.0f) {
        EIS_ERR("IS0003", "Invalid effective_focal_length_mm: %lf",
                static_cast<double>(input.effective_focal_length_mm));
        // These words stand here on purpose.
        EIS_ERR("IS0003", "Invalid output_crop_fov window");
        ++counts.errors;
    }
    if (!is_valid_pre_eis_transform_margins_reduction(input.pre_eis_transform_margins_reduction)) {
        EIS_ERR("IS0003", "Invalid pre_eis_transform_margins_reduction, input will be ignored");
        ++counts.warnings;
    }
}

uint32_t is_valid_dist_corr_output(const is_output_distortion_correction& output) {
    const RequiredArray arrays[] = {
        {"alignment_matrix_domain_undistorted.perspMatrices",
         output.alignment_matrix_domain_undistorted.perspMatrices != nullptr},
        {"distortion_correction_grid.grid", output.distortion_correction_grid.grid != nullptr},
    };
    return count_missing(arrays, __func__, __LINE__);
}

uint32_t is_valid_dist_corr_internal_state(const eis_context& context,
                                           const is_input_distortion_correction& input) {
    uint32_t faults = 0;
    if (!is_valid_frame_id(context.first_frame, input.frame_id, context._prev_frame_id_dist_corr)) {
        ++faults;
    }
    if (input.gyro.num_elements != 0 && !context.first_frame && context._stabilize != nullptr &&
        context._prev_frame_id_stab != context._prev_frame_id_dist_corr) {
        EIS_ERR("IS0012", kOutOfOrder, input.frame_id, context._prev_frame_id_dist_corr,
                context._prev_frame_id_stab);
        ++faults;
    }
    return faults;
}

uint32_t is_valid_process_input_dist_corr(const eis_context& context,
                                          const is_input_distortion_correction& input,
                                          const is_output_distortion_correction& output) {
    FaultCounts counts;
    is_valid_dist_corr_input(context, input, counts);
    counts.errors += is_valid_dist_corr_output(output);
    counts.errors += is_valid_dist_corr_internal_state(context, input);
    if (counts.errors != 0) {
        EIS_ERR("IS0003",
                "Frame # %u. Invalid input structs for distortion correction (# errors, # warnings "
                "# info) : (%u, %u, %u)",
                input.frame_id, counts.errors, counts.warnings, counts.infos);
        return runs_on_errors(context) ? EIS_SUCCESS : EIS_ERROR_INVALID_INPUT;
    }
    if (counts.warnings + counts.infos != 0) {
        EIS_HIGH("IS1026",
                 "Frame # %u. Input structs for distortion correction are sub-optimal (# errors, # "
                 "warnings # info) : (%u, %u, %u)",
                 input.frame_id, counts.errors, counts.warnings, counts.infos);
    }
    return EIS_SUCCESS;
}

uint32_t is_valid_first_frame(const eis_context& context,
                              const is_input_distortion_correction& input) {
    if (!is_valid_sensor_idx(context, input.active_sensor_idx, __func__, __LINE__)) {
        return EIS_ERROR_INVALID_INPUT;
    }
    if (input.gyro.num_elements == 0) {
        EIS_ERR("IS0003", "Invalid first frame, no gyro data!");
        if (!runs_on_errors(context)) {
            return EIS_ERROR_INVALID_INPUT;
        }
    }
    if (context._samplers.has_ois(input.active_sensor_idx) && input.ois.num_elements == 0) {
        EIS_ERR("IS0003", "Invalid first frame, no OIS data!");
        if (!runs_on_errors(context)) {
            return EIS_ERROR_INVALID_INPUT;
        }
    }
    if (context._samplers.has_ifovc(input.active_sensor_idx) && input.ifovc.num_elements == 0) {
        EIS_ERR("IS0003", "Invalid first frame, no iFOVC data!");
        if (!runs_on_errors(context)) {
            return EIS_ERROR_INVALID_INPUT;
        }
    }
    return EIS_SUCCESS;
}

void is_valid_stab_input(const eis_context& context, const is_input_stabilize& input,
                         FaultCounts& counts) {
    if (context._stabilize == nullptr) {
        ++counts.errors;
    }
    if (!is_valid_sensor_idx(context, input.active_sensor_idx, __func__, __LINE__)) {
        ++counts.errors;
    }
    // A stream that ends needs nothing more.
    if (context.frames_without_gyro != 0) {
        return;
    }
    if (input.sat != nullptr &&
        !is_valid_sat_matrix(*input.sat, context.is_sat_enabled, input.frame_id)) {
        EIS_ERR("IS0003", "Invalid SAT");
        ++counts.errors;
    }
    if (!is_valid_frame_times(input.frame_time_input, context.prev_sof, context.prev_frame_time,
                              context.is_sensor_switch(input.active_sensor_idx))) {
        EIS_ERR("IS0003", "Invalid frame time");
        ++counts.errors;
    }
    if (context._stabilize != nullptr && context._stabilize->_dis != nullptr &&
        !is_valid_motion_vectors(input.dis_motion_vectors, input.frame_id, context.first_frame)) {
        EIS_ERR("IS0003", "Invalid motion vectors, DIS will be disabled for this frame");
        ++counts.warnings;
    }
}

uint32_t is_valid_stab_output(const is_output_stabilize& output) {
    const RequiredArray arrays[] = {
        {"alignment_matrix_domain_stabilized.perspMatrices",
         output.alignment_matrix_domain_stabilized.perspMatrices != nullptr},
        {"alignment_matrix_domain_undistorted.perspMatrices",
         output.alignment_matrix_domain_undistorted.perspMatrices != nullptr},
        {"distortion_correction_grid.grid", output.distortion_correction_grid.grid != nullptr},
        {"stabilization_transform.grid.grid", output.stabilization_transform.grid.grid != nullptr},
        {"stabilization_transform.matrices.perspMatrices",
         output.stabilization_transform.matrices.perspMatrices != nullptr},
    };
    return count_missing(arrays, __func__, __LINE__);
}

uint32_t is_valid_stab_internal_state(const eis_context& context, const is_input_stabilize& input) {
    uint32_t faults = 0;
    if (!is_valid_frame_id(context.first_frame, input.frame_id, context._prev_frame_id_stab)) {
        ++faults;
    }
    if (!context.first_frame && context._prev_frame_id_dist_corr <= context._prev_frame_id_stab) {
        EIS_ERR("IS0012", kOutOfOrder, input.frame_id, context._prev_frame_id_dist_corr,
                context._prev_frame_id_stab);
        ++faults;
    }
    return faults;
}

uint32_t is_valid_process_input_stabilize(const eis_context& context,
                                          const is_input_stabilize& input,
                                          const is_output_stabilize& output) {
    if (context._stabilize == nullptr) {
        EIS_ERR("IS0002", "Invalid SW flow");
        return EIS_ERROR_GENERAL;
    }
    FaultCounts counts;
    is_valid_stab_input(context, input, counts);
    counts.errors += is_valid_stab_output(output);
    counts.errors += is_valid_stab_internal_state(context, input);
    if (counts.errors != 0) {
        EIS_ERR("IS0003",
                "Frame # %u. Invalid input structs for stabilization (# errors, # warnings # info) "
                ": (%u, %u, %u)",
                input.frame_id, counts.errors, counts.warnings, counts.infos);
        return runs_on_errors(context) ? EIS_SUCCESS : EIS_ERROR_INVALID_INPUT;
    }
    if (counts.warnings + counts.infos != 0) {
        EIS_HIGH("IS1026",
                 "Frame # %u. Input structs for stabilization are sub-optimal (# errors, # "
                 "warnings # info) : (%u, %u, %u)",
                 input.frame_id, counts.errors, counts.warnings, counts.infos);
    }
    return EIS_SUCCESS;
}

uint32_t is_valid_input_get_time_intervals(const eis_context& context,
                                           const is_frame_times& frame_times, uint32_t sensor_idx) {
    uint32_t faults = 0;
    if (!is_valid_sensor_idx(context, sensor_idx, __func__, __LINE__)) {
        ++faults;
    }
    if (!is_valid_frame_times(frame_times, context.prev_sof, context.prev_frame_time,
                              context.is_sensor_switch(sensor_idx))) {
        EIS_ERR("IS0014", "Invalid frame times");
        ++faults;
    }
    if (faults != 0) {
        EIS_ERR("IS0002", "Found %u errors", faults);
        return EIS_ERROR_INVALID_INPUT;
    }
    return EIS_SUCCESS;
}

}  // namespace steadywarp
