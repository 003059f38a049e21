// SPDX-License-Identifier: Apache-2.0
#include "sensors/blackman.hpp"

#include <algorithm>
#include <cmath>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

constexpr double kPi = 3.141592653589793;

}  // namespace

ConvolutionFilter::ConvolutionFilter(uint32_t max_half, uint32_t& status)
    : _size(2 * max_half + 1),
      _active_size(_size),
      _kernel(allocate_array<double>(_size)),
      _max_half(max_half),
      _active_half(max_half) {
    if (_kernel == nullptr) {
        EIS_ERR("IS0004", "ConvolutionFilter failed");
        status = EIS_ERROR_NO_MEMORY;
    }
}

void ConvolutionFilter::set_half(uint32_t half) {
    _active_half = std::min(half, _max_half);
    _active_size = 2 * _active_half + 1;
    std::fill_n(_kernel.get(), _size, 0.0);
    compute(_kernel.get(), _active_half);
}

Blackman::Blackman(uint32_t max_half, uint32_t& status) : ConvolutionFilter(max_half, status) {
    if (status == EIS_SUCCESS) {
        set_half(max_half);
    }
}

void Blackman::compute(double* kernel, uint32_t half) const {
    // The window's ends are 0, so with one tap a side only the middle is left.
    if (half <= 1) {
        kernel[half] = 1.0;
        return;
    }
    const double last = 2.0 * half;
    double sum = 0.0;
    for (uint32_t i = 0; i <= half; ++i) {
        kernel[i] =
            0.42 - 0.5 * std::cos(2.0 * kPi * i / last) + 0.08 * std::cos(4.0 * kPi * i / last);
        sum += i < half ? kernel[i] : 0.0;
    }
    const double total = 2.0 * sum + kernel[half];
    for (uint32_t i = 0; i <= half; ++i) {
        kernel[i] /= total;
        kernel[2 * half - i] = kernel[i];
    }
}

}  // namespace steadywarp
