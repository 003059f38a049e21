// SPDX-License-Identifier: Apache-2.0
/// @file smooth_blend.hpp
/// The blend factor over time: it may jump up where the margins ask for it, and falls slowly.
#pragma once

#include <array>
#include <cstdint>

#include "base/ring_buffer.hpp"
#include "filter/filter_params.hpp"

namespace steadywarp {

/// Frames ahead that a filter can plan for.
inline constexpr uint32_t kFutureFrames = 20;
using FutureAlphas = std::array<double, kFutureFrames>;

/// Taps of the smoothing kernel; the middle one is tap 10.
inline constexpr uint32_t kAlphaKernelTaps = 21;
using AlphaKernel = std::array<double, kAlphaKernelTaps>;

/// k(i) = exp(-((i - 10) / 21)^2 / sigma), scaled to a sum of 1.
AlphaKernel make_alpha_kernel(double sigma);

/// The blend factor of the present frame.
///
/// @param history factors of past frames, newest last.
/// @param future what the margins ask for, present frame first.
/// @return at least 0, and at least the last factor minus `params.rate`.
double smooth_blend(const BlendParams& params, const RingBuffer<double>& history,
                    const FutureAlphas& future, const AlphaKernel& kernel);

}  // namespace steadywarp
