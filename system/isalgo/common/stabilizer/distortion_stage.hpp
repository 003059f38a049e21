// SPDX-License-Identifier: Apache-2.0
/// @file distortion_stage.hpp
/// Removes everything about a frame that is not the camera's slow motion, and keeps per frame what
/// the stabilizer reads.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>

#include "base/matrix3.hpp"
#include "base/ring_buffer.hpp"
#include "base/vec3.hpp"
#include "filter/frame_records.hpp"
#include "sensors/camera.hpp"
#include "stabilizer/boundary.hpp"
#include "stabilizer/grid.hpp"
#include "stabilizer/rsc_alpha.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Every ring holds one entry per frame, `buffer_delay` of them, in lockstep.
///
/// A frame goes through: push its FilterInput, update(), update_rsc_alpha_by_margins(),
/// dist_correction_process().
class StabilizerDistortionCorrection {
  public:
    /// @param status set to EIS_ERROR_NO_MEMORY or EIS_ERROR_GENERAL on failure.
    StabilizerDistortionCorrection(const is_init_common_data& common,
                                   const is_init_sensor_data* sensors, uint32_t num_sensors,
                                   uint32_t& status);

    /// Tell the sensor's lens, if it has one that moves, the windows of the coming frame.
    /// @return the lens, or NULL.
    OISOperator* prepare_lens(uint32_t sensor, const frame_geometry_windows& windows);

    /// Take in the newest frame's row orientations (kTimeRows of them) as offsets from its middle.
    ///
    /// @param row_shifts raw lens shift per row; NULL if the frame's sensor has no such stream.
    /// @param row_scales of the field of view per row; NULL likewise.
    void update(const Vec3<double>* row_orientations, const Point2* row_shifts,
                const double* row_scales, bool scene_settled, SceneWord scene);

    /// Compute the newest frame's boundary, and switch its rolling-shutter correction off if that
    /// alone pushes the crop off the sensor.
    void update_rsc_alpha_by_margins();

    /// Compute the boundary of frame `index`, counted from the oldest, from what is stored of it.
    void compute_boundary_of(uint32_t index, const PictureTransforms& transforms,
                             BoundingBox& out) const;

    /// Build the newest frame's grid and its alignment with the frame before.
    ///
    /// @param width,height of the sensor's input, pixels.
    /// @param sensor_switched the frame before came from another sensor: no alignment.
    uint32_t dist_correction_process(uint32_t width, uint32_t height, bool sensor_switched);

    /// Repeat the newest entry of every ring under another frame id, when samples have ended.
    /// @return EIS_ERROR_GENERAL if there is no frame to repeat.
    uint32_t update_in_termination_mode(uint32_t frame_id);

    /// Forget all frames; keeps the configuration.
    void reset();

    RingBuffer<FilterInput>& filter_inputs() { return _filter_inputs; }
    const RingBuffer<FilterInput>& filter_inputs() const { return _filter_inputs; }
    const RingBuffer<Vec3<double>>& orientations() const { return _orientations; }
    const RingBuffer<RowAngles>& row_angles() const { return _row_angles; }
    const BoundingBox& boundary() const { return _boundary; }
    const Camera* cameras() const { return _cameras.data(); }
    const Camera& camera_of(const FilterInput& input) const { return _cameras[input.sensor]; }
    const RscAlpha* rsc_alpha() const { return _rsc_alpha.get(); }
    /// What stood before the sensor in a frame, counted from the oldest. Points into the rings.
    FrameOptics optics_of(uint32_t index) const;

    /// The newest frame's grid.
    const Grid& distortion_grid() const { return _distortion_grid; }
    /// From the newest frame to the one before it, pixels from the centre of the top-left pixel.
    const Matrix3& alignment() const { return _alignment; }
    /// Largest displacement of a boundary corner under the alignment, pixels.
    float cvp_motion_index_raw() const { return _cvp_motion_index_raw; }

  private:
    void build_grid(Grid& grid) const;

    static constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();

    RingBuffer<Vec3<double>> _orientations;
    Vec3<double> _previous_orientation = {kUnset, kUnset, kUnset};
    Vec3<double> _current_orientation = {kUnset, kUnset, kUnset};
    bool _first_frame = true;
    RingBuffer<FilterInput> _filter_inputs;
    RingBuffer<RowAngles> _row_angles;
    RingBuffer<double> _margin_alpha;  ///< 0: the frame's grid is the identity
    RingBuffer<RowShifts> _ois_rows;
    RingBuffer<bool> _ois_valid;
    RingBuffer<RowScales> _ifovc_rows;
    RingBuffer<bool> _ifovc_valid;
    BoundingBox _boundary;
    std::unique_ptr<RscAlpha> _rsc_alpha;
    std::array<Camera, EIS_MAX_NUM_SENSORS> _cameras;
    std::array<std::unique_ptr<OISOperator>, EIS_MAX_NUM_SENSORS> _ois_operators;
    // Both or neither of a sensor.
    std::array<std::unique_ptr<Grid>, EIS_MAX_NUM_SENSORS> _ldc_out2in;
    std::array<std::unique_ptr<Grid>, EIS_MAX_NUM_SENSORS> _ldc_in2out;
    Grid _distortion_grid;
    Matrix3 _alignment = kIdentity3;
    float _cvp_motion_index_raw = 0.0f;
};

}  // namespace steadywarp
