// SPDX-License-Identifier: Apache-2.0
/// @file sampling.hpp
/// Values of a plane between its pixels.
///
/// Positions count from the centre of the top-left pixel. Beyond the border the nearest border
/// pixel goes on; a position that is not a number reads the top-left pixel.
#pragma once

#include <span>

#include "video/picture.hpp"

namespace steadywarp::tool {

enum class Sampling : uint8_t {
    kBilinear,  ///< two by two pixels
    kBicubic,   ///< four by four, the cubic through the pixels with slopes of central differences
};

/// Read one value per position; all spans have one length.
void sample(const Plane& plane, Sampling sampling, std::span<const float> xs,
            std::span<const float> ys, std::span<uint8_t> out);

}  // namespace steadywarp::tool
