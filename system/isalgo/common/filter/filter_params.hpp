// SPDX-License-Identifier: Apache-2.0
/// @file filter_params.hpp
/// What the stabilization filter is told at construction.
#pragma once

#include <cstdint>

#include "steadywarp/eis_tuning.h"

namespace steadywarp {

/// How the blend factor follows what the margins ask for.
struct BlendParams {
    uint32_t method = 0;     ///< 0 ramp, 1 iterated smoothing, 2 recursive
    uint32_t lookahead = 0;  ///< frames
    uint32_t iterations = 0;
    double step = 0.0;        ///< of the upward search
    double sigma = 0.0;       ///< of the smoothing kernel
    double rate = 0.0;        ///< the most that the factor falls per frame
    float iir_weight = 0.0f;  ///< of the present frame, method 2
};

inline constexpr BlendParams kBlend = {2, 1, 3, 0.02, 2.0, 0.1, 0.2f};
/// In force while motion blur limits the strength.
inline constexpr BlendParams kBlendBlur = {2, 1, 20, 0.02, 2.0, 0.02, 0.2f};

/// Windows are counted in frames.
struct FilterNFL_TimeVaryingW_Params {
    BlendParams blend = kBlend;
    BlendParams blend_blur = kBlendBlur;
    uint32_t buffer_size = 1;    ///< frames of delay line; above 1 is refused
    uint32_t future_frames = 1;  ///< carried, not read
    uint32_t history_length = 60;
    uint32_t window_floor = 8;  ///< lowest window that a breach can force
    uint32_t window_min = 14;   ///< lowest window that the motion rule can reach
    uint32_t window_max = 44;
    bool first_use = true;  ///< adopt the targets of the frame rate at once
};

/// When motion blur limits the stabilization of a sensor.
struct BlurMaskingParams {
    bool enable = false;
    uint32_t exposure_time_th = 0;        ///< microseconds
    float start_decrease_at_blur = 0.0f;  ///< pixels of the input frame
    float end_decrease_at_blur = 0.0f;    ///< pixels of the input frame
    float min_strength = 0.0f;
    float pan_min_threshold = 0.0f;
    float pan_max_threshold = 0.0f;
};

/// Take a sensor's tuning, given at a frame width of 1920, to its input width.
BlurMaskingParams make_blur_masking_params(const is_tessaline_blur_masking& tuning,
                                           uint32_t input_width);

/// The least blend factor that motion blur asks for.
///
/// 0 while it asks for nothing; rises linearly between the two blurs of `params`, up to
/// 1 - min_strength.
///
/// @param blur pixels that the picture travels during the exposure.
/// @param exposure_time microseconds.
float least_alpha_for_blur(const BlurMaskingParams& params, float blur, uint32_t exposure_time);

}  // namespace steadywarp
