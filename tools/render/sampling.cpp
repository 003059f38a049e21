// SPDX-License-Identifier: Apache-2.0
#include "render/sampling.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace steadywarp::tool {
namespace {

// Four lanes at once, in the compilers' own words: the same source serves every processor.
using Float4 = float __attribute__((vector_size(16)));
using Byte4 = uint8_t __attribute__((vector_size(4)));

Float4 load4(const uint8_t* from) {
    Byte4 bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    return __builtin_convertvector(bytes, Float4);
}

/// Weights of the pixels at -1, 0, 1 and 2 for a point `t` after pixel 0; they add up to 1.
Float4 cubic_weights(float t) {
    const float t2 = t * t;
    const float t3 = t2 * t;
    return Float4{0.5f * (-t + 2.0f * t2 - t3), 0.5f * (2.0f - 5.0f * t2 + 3.0f * t3),
                  0.5f * (t + 4.0f * t2 - 3.0f * t3), 0.5f * (t3 - t2)};
}

uint8_t to_byte(float value) {
    return static_cast<uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

/// A position split in the pixel at or before it and the rest; one pixel beyond the border at most.
struct Place {
    int pixel;
    float rest;
};

Place place_of(float position, uint32_t size) {
    // Written so that what is not a number becomes 0.
    const float inside = position > 0.0f ? std::min(position, static_cast<float>(size - 1)) : 0.0f;
    const int pixel = static_cast<int>(inside);
    return {pixel, inside - static_cast<float>(pixel)};
}

uint8_t pixel_at(const Plane& plane, int x, int y) {
    return plane.row(static_cast<uint32_t>(std::clamp(
        y, 0,
        static_cast<int>(plane.height) - 1)))[std::clamp(x, 0, static_cast<int>(plane.width) - 1)];
}

uint8_t cubic(const Plane& plane, float x, float y) {
    const Place column = place_of(x, plane.width);
    const Place row = place_of(y, plane.height);
    const Float4 across = cubic_weights(column.rest);
    const Float4 down = cubic_weights(row.rest);
    Float4 sum{};
    if (column.pixel >= 1 && row.pixel >= 1 && column.pixel + 2 < static_cast<int>(plane.width) &&
        row.pixel + 2 < static_cast<int>(plane.height)) {
        const uint8_t* from = plane.row(static_cast<uint32_t>(row.pixel - 1)) + column.pixel - 1;
        for (int r = 0; r < 4; ++r, from += plane.width) {
            sum += load4(from) * down[r];
        }
    } else {
        for (int r = 0; r < 4; ++r) {
            const int line = row.pixel - 1 + r;
            const Float4 pixels = {static_cast<float>(pixel_at(plane, column.pixel - 1, line)),
                                   static_cast<float>(pixel_at(plane, column.pixel, line)),
                                   static_cast<float>(pixel_at(plane, column.pixel + 1, line)),
                                   static_cast<float>(pixel_at(plane, column.pixel + 2, line))};
            sum += pixels * down[r];
        }
    }
    sum *= across;
    return to_byte((sum[0] + sum[1]) + (sum[2] + sum[3]));
}

uint8_t linear(const Plane& plane, float x, float y) {
    const Place column = place_of(x, plane.width);
    const Place row = place_of(y, plane.height);
    const int right = std::min(column.pixel + 1, static_cast<int>(plane.width) - 1);
    const uint8_t* const upper = plane.row(static_cast<uint32_t>(row.pixel));
    const uint8_t* const lower = plane.row(
        static_cast<uint32_t>(std::min(row.pixel + 1, static_cast<int>(plane.height) - 1)));
    const auto across = [&](const uint8_t* line) {
        const auto a = static_cast<float>(line[column.pixel]);
        return a + (static_cast<float>(line[right]) - a) * column.rest;
    };
    const float top = across(upper);
    return to_byte(top + (across(lower) - top) * row.rest);
}

}  // namespace

void sample(const Plane& plane, Sampling sampling, std::span<const float> xs,
            std::span<const float> ys, std::span<uint8_t> out) {
    if (sampling == Sampling::kBicubic) {
        for (size_t i = 0; i < out.size(); ++i) {
            out[i] = cubic(plane, xs[i], ys[i]);
        }
    } else {
        for (size_t i = 0; i < out.size(); ++i) {
            out[i] = linear(plane, xs[i], ys[i]);
        }
    }
}

}  // namespace steadywarp::tool
