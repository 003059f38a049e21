// SPDX-License-Identifier: Apache-2.0
/// @file vec3.hpp
/// Three values, one per camera axis, and a point of the picture.
#pragma once

#include <cstdint>

namespace steadywarp {

/// Angles in radians, or rates, about the camera's x, y and z axis.
template <typename T>
struct Vec3 {
    T x{};
    T y{};
    T z{};

    /// Axis 0, 1 or 2.
    constexpr T& operator[](uint32_t axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    constexpr T operator[](uint32_t axis) const { return axis == 0 ? x : axis == 1 ? y : z; }

    constexpr Vec3 operator-() const { return {-x, -y, -z}; }
    constexpr Vec3 operator+(const Vec3& other) const {
        return {x + other.x, y + other.y, z + other.z};
    }
    constexpr Vec3 operator-(const Vec3& other) const {
        return {x - other.x, y - other.y, z - other.z};
    }
    constexpr Vec3 operator*(T factor) const { return {x * factor, y * factor, z * factor}; }
};

/// A point of the picture, pixels from the centre of its top-left pixel.
struct Point2 {
    double x = 0.0;
    double y = 0.0;

    /// Axis 0 or 1.
    constexpr double& operator[](uint32_t axis) { return axis == 0 ? x : y; }
    constexpr double operator[](uint32_t axis) const { return axis == 0 ? x : y; }
};

/// The point `scale` times as far from `center`.
constexpr Point2 scaled_about(const Point2& center, const Point2& point, double scale) {
    return {center.x + (point.x - center.x) * scale, center.y + (point.y - center.y) * scale};
}

}  // namespace steadywarp
