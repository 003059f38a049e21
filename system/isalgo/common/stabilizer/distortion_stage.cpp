// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/distortion_stage.hpp"

#include <algorithm>
#include <cmath>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "filter/breach_control.hpp"
#include "stabilizer/forward_mapping.hpp"
#include "stabilizer/row_search.hpp"

namespace steadywarp {
namespace {

// The frame width that a tuned focal length is given at.
constexpr double kTuningWidth = 1920.0;

constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();

// First and last row of the frame itself.
constexpr uint32_t kFirstFrameRow = 1;
constexpr uint32_t kLastFrameRow = kTimeRows - 2;

struct CropRatio {
    double x;
    double y;
};

// Sensor 0 and its margin speak for all of them.
CropRatio crop_ratio(const is_init_common_data& common, const is_init_sensor_data& sensor) {
    const float margin = sensor.tuning.general.minimal_total_margin;
    uint32_t crop_height = 0;
    uint32_t crop_width = 0;
    eis_internal_get_crop_size(sensor.input_height, sensor.input_width, common.output_height,
                               common.output_width, &crop_height, &crop_width, margin, margin);
    return {static_cast<double>(crop_width) / sensor.input_width,
            static_cast<double>(crop_height) / sensor.input_height};
}

Camera make_camera(const is_init_sensor_data& sensor, const CropRatio& ratio) {
    Camera camera;
    // The product is a 32-bit one.
    const uint32_t product = sensor.input_width * sensor.tuning.general.focal_length;
    camera.focal_x = product / kTuningWidth;
    camera.focal_y = camera.focal_x;
    camera.center_x = static_cast<double>(sensor.optical_center_x) + sensor.input_width * 0.5 - 0.5;
    camera.center_y =
        static_cast<double>(sensor.optical_center_y) + sensor.input_height * 0.5 - 0.5;
    camera.width = sensor.input_width;
    camera.height = sensor.input_height;
    camera.crop_ratio_x = ratio.x;
    camera.crop_ratio_y = ratio.y;
    return camera;
}

constexpr Camera kUnusedCamera = {kUnset, kUnset, kUnset, kUnset, 0, 0, kUnset, kUnset};

double turn_between(const Vec3<double>& a, const Vec3<double>& b) {
    return std::fabs(b.x - a.x) + std::fabs(b.y - a.y) + std::fabs(b.z - a.z);
}

double pixel_distance(const Point2& a, const Point2& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    return std::sqrt(dx * dx + dy * dy);
}

// What one time row of a frame saw through.
struct RowState {
    Vec3<double> angle;
    Point2 shift;
    double scale;
};
using RowStates = std::array<RowState, kTimeRows>;

RowState state_of_row(const Vec3<double>& angle, const FrameOptics& optics, uint32_t row) {
    return {angle, optics.lens != nullptr ? (*optics.row_shifts)[row] : Point2{},
            optics.row_scales != nullptr ? (*optics.row_scales)[row] : 1.0};
}

// The part `alpha` of it.
RowState weakened(const RowState& row, double alpha) {
    return {row.angle * alpha,
            {row.shift.x * alpha, row.shift.y * alpha},
            (1.0 - alpha) + alpha * row.scale};
}

ForwardRows forward_rows(const RowStates& rows, const Camera& camera,
                         const frame_geometry_windows& windows) {
    const TurnedCamera turned(camera, windows.scale);
    ForwardRows out;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        out[r] = {turned.homography(-rows[r].angle), turned.homography(rows[r].angle),
                  rows[r].shift, rows[r].scale};
    }
    return out;
}

// From an output point through the turned camera and its lens to the sensor; focus comes last.
RowHomographies inverse_rows(const RowStates& rows, const Camera& camera,
                             const frame_geometry_windows& windows, const FrameOptics& optics,
                             const Point2& scale_center) {
    const TurnedCamera turned(camera, windows.scale);
    RowHomographies out;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        out[r] = turned.homography(rows[r].angle);
        if (optics.lens != nullptr) {
            out[r] = multiply(optics.lens->get_matrix(rows[r].shift), out[r]);
        }
        if (optics.row_scales != nullptr) {
            out[r] = multiply(scale_about(scale_center, 1.0 / rows[r].scale), out[r]);
        }
    }
    return out;
}

}  // namespace

StabilizerDistortionCorrection::StabilizerDistortionCorrection(const is_init_common_data& common,
                                                               const is_init_sensor_data* sensors,
                                                               uint32_t num_sensors,
                                                               uint32_t& status)
    : _orientations(common.buffer_delay),
      _filter_inputs(common.buffer_delay),
      _row_angles(common.buffer_delay),
      _margin_alpha(common.buffer_delay),
      _ois_rows(common.buffer_delay),
      _ois_valid(common.buffer_delay),
      _ifovc_rows(common.buffer_delay),
      _ifovc_valid(common.buffer_delay),
      _distortion_grid(sensors[0].input_width, sensors[0].input_height) {
    if (!_orientations.is_allocated() || !_filter_inputs.is_allocated() ||
        !_row_angles.is_allocated() || !_margin_alpha.is_allocated() || !_ois_rows.is_allocated() ||
        !_ois_valid.is_allocated() || !_ifovc_rows.is_allocated() || !_ifovc_valid.is_allocated()) {
        EIS_ERR("IS0004", "Out of Memory");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    const CropRatio ratio = crop_ratio(common, sensors[0]);
    _cameras.fill(kUnusedCamera);
    for (uint32_t i = 0; i < num_sensors; ++i) {
        _cameras[i] = make_camera(sensors[i], ratio);
        if (common.is_ois_enabled && sensors[i].tuning.top.ois_frequency != 0) {
            _ois_operators[i] = make_ois_operator(sensors[i].tuning, status);
        }
        const uint32_t ldc_status =
            init_ldc_grids(sensors[i], sensors[i].input_width, sensors[i].input_height,
                           _ldc_out2in[i], _ldc_in2out[i]);
        if (ldc_status != EIS_SUCCESS) {
            EIS_ERR("IS0002", "Failed to init LDC grids for sensor #%u", i);
            status = ldc_status;
        }
    }
    if (RscAlpha::is_wanted(sensors[0].camera_position, sensors[0].tuning)) {
        uint32_t alpha_status = EIS_SUCCESS;
        _rsc_alpha = allocate<RscAlpha>(sensors[0].tuning, alpha_status);
        if (_rsc_alpha == nullptr || alpha_status != EIS_SUCCESS) {
            EIS_ERR("IS0002", "RscAlpha() constructor failed");
            status = EIS_ERROR_GENERAL;
        }
    }
}

void StabilizerDistortionCorrection::reset() {
    _first_frame = true;
    _orientations.clear();
    _filter_inputs.clear();
    _row_angles.clear();
    _margin_alpha.clear();
    _ois_rows.clear();
    _ois_valid.clear();
    _ifovc_rows.clear();
    _ifovc_valid.clear();
    _previous_orientation = {};
    _current_orientation = {};
    if (_rsc_alpha != nullptr) {
        _rsc_alpha->reset();
    }
}

OISOperator* StabilizerDistortionCorrection::prepare_lens(uint32_t sensor,
                                                          const frame_geometry_windows& windows) {
    OISOperator* lens = _ois_operators[sensor].get();
    if (lens != nullptr) {
        lens->update(_cameras[sensor], windows);
    }
    return lens;
}

void StabilizerDistortionCorrection::update(const Vec3<double>* row_orientations,
                                            const Point2* row_shifts, const double* row_scales,
                                            bool scene_settled, SceneWord scene) {
    RowShifts shifts;
    if (row_shifts != nullptr) {
        std::copy_n(row_shifts, kTimeRows, shifts.begin());
    }
    _ois_rows.push(shifts);
    _ois_valid.push(row_shifts != nullptr);
    RowScales scales{};
    if (row_scales != nullptr) {
        std::copy_n(row_scales, kTimeRows, scales.begin());
    }
    _ifovc_rows.push(scales);
    _ifovc_valid.push(row_scales != nullptr);

    const Vec3<double>& middle = row_orientations[kMiddleRow];
    _orientations.push(middle);
    _previous_orientation = _current_orientation;
    _current_orientation = middle;

    double factor = 1.0;
    if (_rsc_alpha != nullptr) {
        const FilterInput& input = _filter_inputs.newest();
        factor = static_cast<double>(_rsc_alpha->update(
            turn_between(row_orientations[kFirstFrameRow], row_orientations[kLastFrameRow]),
            scene_settled, scene, input.frame_id, input.first_ts, input.last_ts));
    }
    RowAngles offsets;
    for (uint32_t row = 0; row < kTimeRows; ++row) {
        offsets[row] = row_orientations[row] - middle;
        if (_rsc_alpha != nullptr) {
            offsets[row] = offsets[row] * factor;
        }
    }
    _row_angles.push(offsets);
}

FrameOptics StabilizerDistortionCorrection::optics_of(uint32_t index) const {
    const uint32_t sensor = _filter_inputs[index].sensor;
    FrameOptics optics;
    optics.distortion = {_ldc_in2out[sensor].get(), _ldc_out2in[sensor].get()};
    if (_ois_valid[index]) {
        optics.lens = _ois_operators[sensor].get();
        optics.row_shifts = &_ois_rows[index];
    }
    if (_ifovc_valid[index]) {
        optics.row_scales = &_ifovc_rows[index];
    }
    return optics;
}

void StabilizerDistortionCorrection::compute_boundary_of(uint32_t index,
                                                         const PictureTransforms& transforms,
                                                         BoundingBox& out) const {
    const FilterInput& input = _filter_inputs[index];
    const FrameOptics optics = optics_of(index);
    if (optics.lens != nullptr) {
        // A lens counts in the windows of the frame that it is asked about.
        _ois_operators[input.sensor]->update(camera_of(input), input.windows);
    }
    compute_boundary(_row_angles[index], optics, camera_of(input), input, transforms,
                     input.pre_align_valid ? &input.pre_align_points : nullptr, out);
}

void StabilizerDistortionCorrection::update_rsc_alpha_by_margins() {
    const FilterInput& input = _filter_inputs.newest();
    const Camera& camera = camera_of(input);
    compute_boundary_of(_filter_inputs.size() - 1, {}, _boundary);
    const bool fits = check_breach(_boundary, {}, input, camera) ||
                      check_breach(_boundary, input.ois_rotation, input, camera);
    _margin_alpha.push(fits ? 1.0 : 0.0);
}

void StabilizerDistortionCorrection::build_grid(Grid& grid) const {
    const double alpha = _margin_alpha.newest();
    if (alpha == 0.0) {
        grid.set_identity();
        return;
    }
    const FilterInput& input = _filter_inputs.newest();
    const Camera& camera = camera_of(input);
    const RowAngles& angles = _row_angles.newest();
    const FrameOptics optics = optics_of(_filter_inputs.size() - 1);
    RowStates rows;
    for (uint32_t r = 0; r < kTimeRows; ++r) {
        rows[r] = state_of_row(angles[r], optics, r);
        if (alpha < 1.0) {
            rows[r] = weakened(rows[r], alpha);
        }
    }
    const Point2 scale_center = {static_cast<double>(camera.width / 2),
                                 static_cast<double>(camera.height / 2)};
    if (optics.distortion.in2out != nullptr) {
        map_forward(forward_rows(rows, camera, input.windows),
                    {optics.distortion, optics.lens, input.windows, scale_center}, grid);
    } else {
        map_by_row_search(inverse_rows(rows, camera, input.windows, optics, scale_center), grid);
    }
}

uint32_t StabilizerDistortionCorrection::dist_correction_process(uint32_t width, uint32_t height,
                                                                 bool sensor_switched) {
    if (_distortion_grid.width != width || _distortion_grid.height != height) {
        _distortion_grid = Grid(width, height);
    }
    const FilterInput& input = _filter_inputs.newest();
    Vec3<double> delta;
    if (!_first_frame && !sensor_switched) {
        delta = _previous_orientation - _current_orientation;
    }
    _alignment = rotation_to_homography(camera_of(input), delta, input.windows.scale);

    double motion = 0.0;
    for (const uint32_t corner : {0u, 4u, 8u, 12u}) {
        const Point2& point = _boundary.points[corner];
        motion = std::max(motion, pixel_distance(point, map_point(_alignment, point)));
    }
    _cvp_motion_index_raw = static_cast<float>(motion);

    build_grid(_distortion_grid);
    _first_frame = false;
    return EIS_SUCCESS;
}

uint32_t StabilizerDistortionCorrection::update_in_termination_mode(uint32_t frame_id) {
    const bool has_frame = _orientations.repeat_newest() && _filter_inputs.repeat_newest() &&
                           _row_angles.repeat_newest() && _margin_alpha.repeat_newest() &&
                           _ois_rows.repeat_newest() && _ois_valid.repeat_newest() &&
                           _ifovc_rows.repeat_newest() && _ifovc_valid.repeat_newest();
    if (!has_frame) {
        return EIS_ERROR_GENERAL;
    }
    _filter_inputs.newest().frame_id = frame_id;
    return EIS_SUCCESS;
}

}  // namespace steadywarp
