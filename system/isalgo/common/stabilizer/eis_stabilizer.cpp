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

}  // namespace

EisStabilizer::EisStabilizer(const is_init_common_data& common, const is_init_sensor_data* sensors,
                             uint32_t num_sensors, const StabilizerDistortionCorrection& stage,
                             uint32_t& status)
    : _stage(stage),
      _buffer_delay(common.buffer_delay),
      _blur(common.buffer_delay + kBlurReserve),
      _boxes(common.buffer_delay) {
    if (!_blur.is_allocated() || !_boxes.is_allocated()) {
        EIS_ERR("IS0004", "Ring buffers");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    const uint32_t filter_status = init_filter(common, sensors, num_sensors);
    if (filter_status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "init_filter() failed");
        status = filter_status;
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

uint32_t EisStabilizer::update() {
    // The stage has the frame's boundary already.
    _boxes.push(_stage.boundary());
    _blur.push(measure_blur());
    const uint32_t status = _filter->update(rings());
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "_filter->update() failed");
    }
    return status;
}

uint32_t EisStabilizer::update_in_termination_mode() {
    return _blur.repeat_newest() && _boxes.repeat_newest() ? EIS_SUCCESS : EIS_ERROR_GENERAL;
}

uint32_t EisStabilizer::update_and_process(bool is_terminating, uint32_t frame_id, uint32_t sensor,
                                           EisResult& result) {
    result.valid = false;
    if (is_terminating) {
        if (update_in_termination_mode() != EIS_SUCCESS) {
            EIS_ERR("IS0002", "_stabilize->_eis.update_in_termination_mode() failed");
            return EIS_ERROR_GENERAL;
        }
    } else if (update() != EIS_SUCCESS) {
        EIS_ERR("IS0002", "_stabilize->_eis.update() failed");
        return EIS_ERROR_GENERAL;
    }

    const Vec3<double> correction = _filter->process(rings(), _blur, result.feasible);
    const uint32_t state = _filter->state();
    if (state != kStateRunning && state != kStateDraining && state != kStateFinished) {
        if (_filter->frame_counter() < _buffer_delay) {
            return EIS_SUCCESS;
        }
        EIS_ERR("IS0002",
                "Filter failed to produce output (filter frame id, input frame id, active sensor "
                "id): (%u, %u, %u)",
                _filter->frame_counter(), frame_id, sensor);
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
    result.stabilization = rotation_to_homography(camera, -correction, scale);
    result.frame_id = oldest.frame_id;
    result.sensor = oldest.sensor;
    result.valid = true;
    return EIS_SUCCESS;
}

}  // namespace steadywarp
