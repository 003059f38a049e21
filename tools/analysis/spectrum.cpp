// SPDX-License-Identifier: Apache-2.0
#include "analysis/spectrum.hpp"

#include <algorithm>
#include <cmath>

#include "geometry/rotation.hpp"

namespace steadywarp::tool {
namespace {

/// Power of a segment at one frequency, by the sum itself: few frequencies are wanted.
double power_at(std::span<const double> values, double turns_per_value) {
    double re = 0.0;
    double im = 0.0;
    for (size_t i = 0; i < values.size(); ++i) {
        const double angle = 2.0 * kPi * turns_per_value * static_cast<double>(i);
        re += values[i] * std::cos(angle);
        im -= values[i] * std::sin(angle);
    }
    return re * re + im * im;
}

/// A segment less the straight line that fits it best, under the window.
std::vector<double> prepared(std::span<const double> values) {
    const auto n = static_cast<double>(values.size());
    double mean = 0.0;
    double lean = 0.0;
    for (size_t i = 0; i < values.size(); ++i) {
        mean += values[i] / n;
        lean += values[i] * (static_cast<double>(i) - (n - 1.0) * 0.5);
    }
    lean *= 12.0 / (n * (n * n - 1.0));
    std::vector<double> out(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        const double at = static_cast<double>(i) - (n - 1.0) * 0.5;
        const double window = 0.5 + 0.5 * std::cos(2.0 * kPi * at / (n - 1.0));
        out[i] = (values[i] - mean - lean * at) * window;
    }
    return out;
}

}  // namespace

std::vector<double> amplitude_density(std::span<const double> values, double rate_hz,
                                      std::span<const double> hz, size_t segment) {
    std::vector<double> out(hz.size());
    const size_t length = std::min(segment, values.size());
    if (length < 16) {
        return out;
    }
    size_t count = 0;
    for (size_t first = 0; first + length <= values.size(); first += length / 2, ++count) {
        const std::vector<double> part = prepared(values.subspan(first, length));
        for (size_t k = 0; k < hz.size(); ++k) {
            out[k] += power_at(part, hz[k] / rate_hz);
        }
    }
    // A Hann window keeps three eighths of the power.
    const double norm =
        2.0 / (rate_hz * 0.375 * static_cast<double>(length) * static_cast<double>(count));
    for (double& value : out) {
        value = std::sqrt(value * norm);
    }
    return out;
}

std::vector<double> even_octaves(double low, double high, size_t count) {
    std::vector<double> out;
    for (size_t i = 0; i < count; ++i) {
        const double part = static_cast<double>(i) / static_cast<double>(count - 1);
        out.push_back(low * std::pow(high / low, part));
    }
    return out;
}

}  // namespace steadywarp::tool
