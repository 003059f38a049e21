// SPDX-License-Identifier: Apache-2.0
/// @file eis_stabilizer.hpp
/// Owns the filter, feeds it frame by frame, and makes of its correction the homographies that
/// leave the library.
#pragma once

#include <cstdint>
#include <memory>

#include "base/matrix3.hpp"
#include "base/ring_buffer.hpp"
#include "base/vec3.hpp"
#include "filter/filter.hpp"
#include "filter/frame_records.hpp"
#include "stabilizer/distortion_stage.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// The frame that comes out. Homographies act on pixels from the centre of the top-left pixel.
struct EisResult {
    Matrix3 stabilization = kIdentity3;  ///< output to input
    Matrix3 alignment = kIdentity3;      ///< from this stabilized frame to the one before
    uint32_t frame_id = 0;
    uint32_t sensor = 0;
    bool valid = false;
    bool feasible = true;  ///< the crop lies inside the frame
};

class EisStabilizer {
  public:
    /// @param stage borrowed; must outlive the stabilizer.
    EisStabilizer(const is_init_common_data& common, const is_init_sensor_data* sensors,
                  uint32_t num_sensors, const StabilizerDistortionCorrection& stage,
                  uint32_t& status);

    /// Add the newest frame of the stage. @return the filter's status if it refuses.
    uint32_t update();

    /// Repeat the newest frame, when samples have ended.
    /// @return EIS_ERROR_GENERAL if there is none.
    uint32_t update_in_termination_mode();

    /// Run one frame. `result.valid` tells whether one came out.
    ///
    /// @param is_terminating frames come without samples.
    /// @param frame_id,sensor of the input, for the messages.
    uint32_t update_and_process(bool is_terminating, uint32_t frame_id, uint32_t sensor,
                                EisResult& result);

    /// Forget all frames; for a new stream.
    void reset();

    const Filter& filter() const { return *_filter; }
    float newest_blur() const { return _blur.newest(); }

  private:
    uint32_t init_filter(const is_init_common_data& common, const is_init_sensor_data* sensors,
                         uint32_t num_sensors);
    float measure_blur() const;
    FrameRings rings() const { return {_stage.orientations(), _boxes, _stage.filter_inputs()}; }

    const StabilizerDistortionCorrection& _stage;
    uint32_t _buffer_delay;
    RingBuffer<float> _blur;  ///< pixels that the picture travels during the exposure
    std::unique_ptr<Filter> _filter;
    RingBuffer<BoundingBox> _boxes;
    Vec3<double> _previous_target;
    bool _first_output = true;
};

}  // namespace steadywarp
