// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/eis_stabilizer.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "filter/non_future_looking_filter.hpp"

namespace steadywarp {
namespace {

// Blur values kept beyond the delay line.
constexpr uint32_t kBlurReserve = 10;

constexpr uint32_t kFirstFrameRow = 1;
constexpr uint32_t kLastFrameRow = kTimeRows - 2;

// Corrections that wait for their frame; one even where they come later than the delay line is
// long.
uint32_t dis_capacity(uint32_t buffer_delay, uint32_t dis_delay) {
    if (dis_delay == 0) {
        return 0;
    }
    return buffer_delay > dis_delay ? buffer_delay + 1 - dis_delay : 1;
}

// What takes a frame's polygon back from an alignment of the picture.
class SatInverse {
  public:
    explicit SatInverse(const SatEntry& sat)
        : _exists(!sat.is_identity && invert(sat.matrix, _inverse)) {}
    const Matrix3* get() const { return _exists ? &_inverse : nullptr; }

  private:
    Matrix3 _inverse{};
    bool _exists;
};

}  // namespace

EisStabilizer::EisStabilizer(const is_init_common_data& common, const is_init_sensor_data* sensors,
                             uint32_t num_sensors, uint32_t dis_delay,
                             const StabilizerDistortionCorrection& stage, uint32_t& status)
    : _stage(stage),
      _buffer_delay(common.buffer_delay),
      _blur(common.buffer_delay + kBlurReserve),
      _boxes(common.buffer_delay),
      _sat_ring(common.is_sat_enabled ? common.buffer_delay : 0),
      _dis_ring(dis_capacity(common.buffer_delay, dis_delay)),
      _dis_delay(dis_delay) {
    if (!_blur.is_allocated() || !_boxes.is_allocated()) {
        EIS_ERR("IS0004", "Ring buffers");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    const uint32_t filter_status = init_filter(common, sensors, num_sensors);
    if (filter_status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "init_filter() failed");
        status = filter_status;
        return;
    }
    if (common.is_sat_enabled && !_sat_ring.is_allocated()) {
        EIS_ERR("IS0004", "Out of Memory");
        EIS_ERR("IS0002", "init_sat() failed");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    if (dis_delay != 0 && !_dis_ring.is_allocated()) {
        EIS_ERR("IS0004", "Out of Memory");
        EIS_ERR("IS0002", "init_dis_outputs() failed");
        status = EIS_ERROR_NO_MEMORY;
    }
}

uint32_t EisStabilizer::init_filter(const is_init_common_data& common,
                                    const is_init_sensor_data* sensors, uint32_t num_sensors) {
    if (common.is_type == IS_TYPE_EIS_3_0) {
        EIS_ERR("IS0002", "Failed to allocate filter");
        return EIS_ERROR_GENERAL;
    }
    if (common.is_type != IS_TYPE_EIS_2_0) {
        return EIS_ERROR_GENERAL;
    }
    std::array<BlurMaskingParams, EIS_MAX_NUM_SENSORS> blur{};
    for (uint32_t i = 0; i < num_sensors; ++i) {
        blur[i] = make_blur_masking_params(sensors[i].tuning.blur_masking, sensors[i].input_width);
    }
    const FilterNFL_TimeVaryingW_Params params;
    uint32_t status = EIS_SUCCESS;
    _filter = allocate<NonFutureLookingFilter_TimeVaryingWin>(_stage.cameras(), blur.data(),
                                                              num_sensors, &params, status);
    if (_filter == nullptr || status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "NonFutureLookingFilter_TimeVaryingWin() constructor failed");
        return EIS_ERROR_GENERAL;
    }
    return EIS_SUCCESS;
}

void EisStabilizer::reset() {
    _first_output = true;
    _filter->set_first_frame();
    _blur.clear();
    _boxes.clear();
    _sat_ring.clear();
    _dis_ring.clear();
}

float EisStabilizer::measure_blur() const {
    const FilterInput& input = _stage.filter_inputs().newest();
    // A global shutter reads all rows at one time: the rows tell nothing about the motion.
    if (input.readout_duration == 0) {
        return 0.0f;
    }
    const RowAngles& angles = _stage.row_angles().newest();
    const double exposures_per_readout =
        static_cast<double>(input.exposure_time) / input.readout_duration;
    const Vec3<double> turn =
        (angles[kLastFrameRow] - angles[kFirstFrameRow]) * exposures_per_readout;
    const Matrix3 travel =
        rotation_to_homography(_stage.camera_of(input), turn, input.windows.scale);
    return static_cast<float>(std::max(std::fabs(travel[2]), std::fabs(travel[5])));
}

void EisStabilizer::update_boxes(const DisEntry& dis) {
    const uint32_t num_frames = _stage.filter_inputs().size();
    const auto sat_of = [this](uint32_t index) {
        return index < _sat_ring.size() ? _sat_ring[index] : SatEntry{};
    };
    if (num_frames == 0) {
        _boxes.push(_stage.boundary());
        return;
    }
    const SatInverse newest(sat_of(num_frames - 1));
    BoundingBox& box = *_boxes.push_slot();
    if (newest.get() == nullptr) {
        // The stage has the frame's boundary already.
        box = _stage.boundary();
    } else {
        _stage.compute_boundary_of(num_frames - 1, {nullptr, newest.get()}, box);
    }
    if (_dis_ring.is_allocated() && dis.valid) {
        // The correction is that of an older frame, whose room for others it takes.
        const uint32_t index = num_frames > _dis_delay ? num_frames - _dis_delay : 0;
        const SatInverse sat(sat_of(index));
        Matrix3 inverse;
        const bool has_inverse = dis.matrix != kIdentity3 && invert(dis.matrix, inverse);
        const PictureTransforms transforms = {has_inverse ? &inverse : nullptr, sat.get()};
        if (index < _boxes.size()) {
            _stage.compute_boundary_of(index, transforms, _boxes[index]);
        }
    }
}

uint32_t EisStabilizer::update(const SatEntry& sat, const DisEntry& dis) {
    _sat_ring.push(sat);
    _dis_ring.push(dis);
    update_boxes(dis);
    _blur.push(measure_blur());
    const uint32_t status = _filter->update(rings());
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "_filter->update() failed");
    }
    return status;
}

uint32_t EisStabilizer::update_in_termination_mode() {
    _sat_ring.push({});
    _dis_ring.push({});
    return _blur.repeat_newest() && _boxes.repeat_newest() ? EIS_SUCCESS : EIS_ERROR_GENERAL;
}

uint32_t EisStabilizer::update_and_process(bool is_terminating, const is_input_stabilize& input,
                                           const DisEntry& dis, EisResult& result) {
    result.valid = false;
    if (is_terminating && !dis.valid) {
        if (update_in_termination_mode() != EIS_SUCCESS) {
            EIS_ERR("IS0002", "_stabilize->_eis.update_in_termination_mode() failed");
            return EIS_ERROR_GENERAL;
        }
    } else {
        SatEntry sat;
        if (_sat_ring.is_allocated()) {
            const Camera& camera = _stage.camera_of(_stage.filter_inputs().newest());
            sat = make_sat_entry(input.sat, camera.width, camera.height, input.frame_id);
        }
        if (update(sat, dis) != EIS_SUCCESS) {
            EIS_ERR("IS0002", "_stabilize->_eis.update() failed");
            return EIS_ERROR_GENERAL;
        }
    }
    return process(input, result);
}

uint32_t EisStabilizer::process(const is_input_stabilize& input, EisResult& result) {
    const Vec3<double> correction = _filter->process(rings(), _blur, result.feasible);
    const uint32_t state = _filter->state();
    if (state != kStateRunning && state != kStateDraining && state != kStateFinished) {
        if (_filter->frame_counter() < _buffer_delay) {
            return EIS_SUCCESS;
        }
        EIS_ERR("IS0002",
                "Filter failed to produce output (filter frame id, input frame id, active sensor "
                "id): (%u, %u, %u)",
                _filter->frame_counter(), input.frame_id, input.active_sensor_idx);
        EIS_ERR("IS0002", "_stabilize->_eis.process() failed");
        return EIS_ERROR_GENERAL;
    }

    const FilterInput& oldest = _stage.filter_inputs().oldest();
    const Camera& camera = _stage.camera_of(oldest);
    const double scale = oldest.windows.scale;
    const Vec3<double> target = correction + _stage.orientations().oldest();
    const Vec3<double> delta = _first_output ? Vec3<double>{} : _previous_target - target;
    _first_output = false;
    _previous_target = target;
    result.alignment = rotation_to_homography(camera, delta, scale);
    result.stabilization =
        with_picture_transforms(rotation_to_homography(camera, -correction, scale));
    result.frame_id = oldest.frame_id;
    result.sensor = oldest.sensor;
    result.valid = true;
    return EIS_SUCCESS;
}

// D * S * rotation, for the frame that comes out.
Matrix3 EisStabilizer::with_picture_transforms(const Matrix3& rotation) const {
    const SatEntry sat = oldest_sat();
    const Matrix3 aligned = sat.is_identity ? rotation : multiply(sat.matrix, rotation);
    const bool has_dis = !_dis_ring.is_empty() && _dis_ring.oldest().valid;
    return has_dis ? multiply(_dis_ring.oldest().matrix, aligned) : aligned;
}

}  // namespace steadywarp
