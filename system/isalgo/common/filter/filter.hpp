// SPDX-License-Identifier: Apache-2.0
/// @file filter.hpp
/// The frame-level driver around a stabilization filter: delay line, blur limit, and the retreat
/// from the margins.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/delay_line.hpp"
#include "base/ring_buffer.hpp"
#include "base/vec3.hpp"
#include "filter/filter_params.hpp"
#include "filter/frame_records.hpp"
#include "filter/smooth_blend.hpp"
#include "sensors/camera.hpp"

namespace steadywarp {

using OrientationRing = RingBuffer<Vec3<double>>;
using BoxRing = RingBuffer<BoundingBox>;
using InputRing = RingBuffer<FilterInput>;

/// The rings that a filter reads, oldest frame first, one entry per frame in lockstep.
struct FrameRings {
    const OrientationRing& angles;  ///< of the frame's middle, radians
    const BoxRing& boxes;
    const InputRing& inputs;
};

/// Angles are radians about the camera's axes.
class Filter {
  public:
    /// @param cameras one per sensor; must outlive the filter.
    /// @param blur one per sensor; copied.
    Filter(const Camera* cameras, const BlurMaskingParams* blur, uint32_t num_sensors,
           const BlendParams& blend, const BlendParams& blend_blur, uint32_t buffer_size,
           uint32_t& status);
    virtual ~Filter() = default;
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    /// Take in the newest frame. @return EIS_ERROR_GENERAL once the stream was ended.
    virtual uint32_t update(const FrameRings& rings) = 0;
    /// Forget all motion; for a new stream.
    virtual void set_first_frame() = 0;
    virtual void debug() = 0;
    /// Compute where the virtual camera should look for the oldest frame, and the alternative.
    virtual uint32_t filter_core(const FrameRings& rings) = 0;
    /// The same while the delay line drains.
    virtual uint32_t filter_history(const FrameRings& rings) = 0;
    /// The least blend factor of the newest frame.
    virtual float blur_rule(const InputRing& inputs, const RingBuffer<float>& blur) const;

    /// Run one frame: decide whether one comes out, filter it, keep its crop inside.
    ///
    /// @param blur pixels of motion blur, newest frame last.
    /// @param feasible receives false when the crop leaves the frame whatever is done.
    /// @return the correction: what to add to the frame's orientation. Zero without output.
    Vec3<double> process(const FrameRings& rings, const RingBuffer<float>& blur, bool& feasible);

    uint32_t state() const { return _line.state(); }
    uint32_t frame_counter() const { return _line.frame_counter(); }
    uint32_t output_kind() const { return _output_kind; }
    float last_blur() const { return _last_blur; }
    float last_min_alpha() const { return _last_min_alpha; }
    /// The blend factor of the last frame; 0 before the first.
    double last_alpha() const { return _alpha_history.is_empty() ? 0.0 : _alpha_history.newest(); }

  protected:
    /// Step the delay line by one frame. @return EIS_ERROR_GENERAL once the stream was ended.
    uint32_t step_state();
    /// The common part of set_first_frame().
    void reset();

    uint32_t _buffer_size;
    DelayLine _line;
    FutureAlphas _future_alpha{};
    std::array<Vec3<double>, kFutureFrames> _filtered{};
    std::array<Vec3<double>, kFutureFrames> _alternative{};

  private:
    void decide_output(const FrameRings& rings);
    bool search_alpha(const FrameRings& rings, uint32_t index, bool use_stored_alternative,
                      double step, double& alpha) const;
    bool calc_future_alpha(const FrameRings& rings, const BlendParams& blend,
                           bool use_stored_alternative, bool& any_blur_limit);
    bool fix_breach(const FrameRings& rings, Vec3<double>& correction);

    uint32_t _output_kind = DelayLine::kNone;
    uint32_t _future_size;
    AlphaKernel _alpha_kernel;
    double _feasible = 1.0;
    uint32_t _settle_frames = 0;
    Vec3<double> _previous_correction;
    RingBuffer<float> _min_alpha_history;
    RingBuffer<double> _alpha_history;
    std::unique_ptr<BlurMaskingParams[]> _blur_params;
    BlendParams _blend;
    BlendParams _blend_blur;
    const Camera* _cameras;
    float _last_blur = 0.0f;
    float _last_min_alpha = 0.0f;
};

}  // namespace steadywarp
