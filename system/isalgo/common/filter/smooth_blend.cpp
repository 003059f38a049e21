// SPDX-License-Identifier: Apache-2.0
#include "filter/smooth_blend.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

// Past factors in front of the future ones in the smoothing's work row.
constexpr uint32_t kPastFrames = 10;

// The straight ramp that meets every future need in time.
double ramp(const BlendParams& params, double previous, const FutureAlphas& future) {
    double alpha = 0.0;
    for (uint32_t i = 0; i < std::min(params.lookahead, kFutureFrames); ++i) {
        alpha = std::max(alpha, previous + (future[i] - previous) / (i + 1));
    }
    return alpha;
}

double iterate_smoothing(const BlendParams& params, const RingBuffer<double>& history,
                         const FutureAlphas& future, const AlphaKernel& kernel) {
    std::array<double, kPastFrames + kFutureFrames> row{};
    const uint32_t num_past = std::min(history.size(), kPastFrames);
    for (uint32_t i = 0; i < num_past; ++i) {
        row[kPastFrames - num_past + i] = history[history.size() - num_past + i];
    }
    std::copy(future.begin(), future.end(), row.begin() + kPastFrames);
    if (std::all_of(row.begin(), row.end(), [](double alpha) { return alpha == 0.0; })) {
        return 0.0;
    }
    for (uint32_t round = 0; round < params.iterations; ++round) {
        for (uint32_t i = 0; i < kFutureFrames; ++i) {
            double smoothed = 0.0;
            // Taps beyond the work row meet nothing.
            const uint32_t taps =
                std::min<uint32_t>(kAlphaKernelTaps, static_cast<uint32_t>(row.size()) - i);
            for (uint32_t tap = 0; tap < taps; ++tap) {
                smoothed += kernel[tap] * row[i + tap];
            }
            row[kPastFrames + i] = std::min(std::max(smoothed, future[i]), 1.0);
        }
    }
    return std::max(row[kPastFrames], 0.0);
}

double follow(const BlendParams& params, double previous, const FutureAlphas& future) {
    const double weight = static_cast<double>(params.iir_weight);
    return std::max(std::max(future[0], (1.0 - weight) * previous + weight * future[0]), 0.0);
}

}  // namespace

AlphaKernel make_alpha_kernel(double sigma) {
    AlphaKernel kernel{};
    double sum = 0.0;
    for (uint32_t i = 0; i < kAlphaKernelTaps; ++i) {
        const double x = (static_cast<int32_t>(i) - 10) / 21.0;
        kernel[i] = std::exp(-(x * x) / sigma);
        sum += kernel[i];
    }
    for (double& tap : kernel) {
        tap /= sum;
    }
    return kernel;
}

double smooth_blend(const BlendParams& params, const RingBuffer<double>& history,
                    const FutureAlphas& future, const AlphaKernel& kernel) {
    const double previous = history.is_empty() ? 0.0 : history.newest();
    const double floor = previous - params.rate;
    switch (params.method) {
        case 0:
            return std::max(floor, ramp(params, previous, future));
        case 1:
            return std::max(floor, iterate_smoothing(params, history, future, kernel));
        case 2:
            return std::max(floor, std::min(follow(params, previous, future), 1.0));
        default:
            EIS_ERR("IS0005", "No such smoothing method");
            return std::max(floor, 0.0);
    }
}

}  // namespace steadywarp
