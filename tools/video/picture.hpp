// SPDX-License-Identifier: Apache-2.0
/// @file picture.hpp
/// A picture as video stores it: one plane of brightness, two of colour at half the size.
///
/// Samples are 8 bits, 4:2:0, narrow range. Colour samples lie on the even columns of brightness
/// and between its rows 2j and 2j + 1. Pixels count from the centre of the top-left pixel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace steadywarp::tool {

/// One plane, row by row without padding.
struct Plane {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> samples;

    void resize(uint32_t new_width, uint32_t new_height) {
        width = new_width;
        height = new_height;
        samples.resize(static_cast<size_t>(width) * height);
    }
    uint8_t* row(uint32_t y) { return samples.data() + static_cast<size_t>(y) * width; }
    const uint8_t* row(uint32_t y) const { return samples.data() + static_cast<size_t>(y) * width; }
};

/// What a plane shows where there is nothing: black.
inline constexpr std::array<uint8_t, 3> kBlack = {16, 128, 128};

/// Brightness and the two colour differences.
struct Picture {
    std::array<Plane, 3> planes;

    /// Take a size; colour planes are rounded up. What was in them is meaningless afterwards.
    void resize(uint32_t width, uint32_t height) {
        planes[0].resize(width, height);
        planes[1].resize((width + 1) / 2, (height + 1) / 2);
        planes[2].resize((width + 1) / 2, (height + 1) / 2);
    }
    uint32_t width() const { return planes[0].width; }
    uint32_t height() const { return planes[0].height; }
};

}  // namespace steadywarp::tool
