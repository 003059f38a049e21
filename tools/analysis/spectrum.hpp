// SPDX-License-Identifier: Apache-2.0
/// @file spectrum.hpp
/// Amplitude of a signal by frequency.
#pragma once

#include <span>
#include <vector>

namespace steadywarp::tool {

/// One-sided amplitude spectral density of evenly spaced values, in units per square root of Hz.
///
/// The values are cut into half-overlapping segments of at most `segment`; each loses its best
/// straight line and is put under a Hann window, and the mean power is read at each frequency. A
/// sine of RMS a shows as a peak whose area, in the square, is a^2.
/// @param rate_hz values a second. @param hz between 0 and half of it.
/// @return one value per frequency; zeros for fewer than 16 values.
std::vector<double> amplitude_density(std::span<const double> values, double rate_hz,
                                      std::span<const double> hz, size_t segment = 256);

/// Frequencies from `low` to `high`, evenly spaced in their logarithm.
std::vector<double> even_octaves(double low, double high, size_t count);

}  // namespace steadywarp::tool
