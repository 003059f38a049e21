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
#include "stabilizer/dis_stabilizer.hpp"
#include "stabilizer/distortion_stage.hpp"
#include "stabilizer/sat_entry.hpp"
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
    /// @param dis_delay frames by which an image-based correction comes late.
    /// @param stage borrowed; must outlive the stabilizer.
    EisStabilizer(const is_init_common_data& common, const is_init_sensor_data* sensors,
                  uint32_t num_sensors, uint32_t dis_delay,
                  const StabilizerDistortionCorrection& stage, uint32_t& status);

    /// Add the newest frame of the stage, with its alignment. An image-based correction belongs to
    /// a frame `dis_delay` frames back, whose boundary is then computed once more.
    /// @return the filter's status if it refuses.
    uint32_t update(const SatEntry& sat, const DisEntry& dis);

    /// Repeat the newest frame, when samples have ended.
    /// @return EIS_ERROR_GENERAL if there is none.
    uint32_t update_in_termination_mode();

    /// Run one frame. `result.valid` tells whether one came out.
    ///
    /// @param is_terminating frames come without samples; as long as corrections come, the newest
    ///        frame is taken for a new one.
    uint32_t update_and_process(bool is_terminating, const is_input_stabilize& input,
                                const DisEntry& dis, EisResult& result);

    /// Forget all frames; for a new stream.
    void reset();

    const Filter& filter() const { return *_filter; }
    float newest_blur() const { return _blur.newest(); }
    const BoxRing& boxes() const { return _boxes; }
    /// The alignment of the frame that comes out next; the identity if there is none.
    SatEntry oldest_sat() const { return _sat_ring.is_empty() ? SatEntry{} : _sat_ring.oldest(); }

  private:
    uint32_t init_filter(const is_init_common_data& common, const is_init_sensor_data* sensors,
                         uint32_t num_sensors);
    float measure_blur() const;
    void update_boxes(const DisEntry& dis);
    uint32_t process(const is_input_stabilize& input, EisResult& result);
    Matrix3 with_picture_transforms(const Matrix3& rotation) const;
    FrameRings rings() const { return {_stage.orientations(), _boxes, _stage.filter_inputs()}; }

    const StabilizerDistortionCorrection& _stage;
    uint32_t _buffer_delay;
    RingBuffer<float> _blur;  ///< pixels that the picture travels during the exposure
    std::unique_ptr<Filter> _filter;
    RingBuffer<BoundingBox> _boxes;
    RingBuffer<SatEntry> _sat_ring;  ///< no room at all without spatial alignment
    RingBuffer<DisEntry> _dis_ring;  ///< no room at all without image-based correction
    uint32_t _dis_delay;
    Vec3<double> _previous_target;
    bool _first_output = true;
};

}  // namespace steadywarp
