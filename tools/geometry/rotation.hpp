// SPDX-License-Identifier: Apache-2.0
/// @file rotation.hpp
/// Three-vectors and 3x3 matrices, as far as the command needs them.
///
/// Matrices are row-major and act on column vectors; rotations are right-handed about their axis.
#pragma once

#include <array>
#include <cmath>

namespace steadywarp::tool {

using Vector3 = std::array<double, 3>;
using Matrix3 = std::array<double, 9>;

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr Matrix3 kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

/// Multiply two matrices.
inline Matrix3 multiply(const Matrix3& a, const Matrix3& b) {
    Matrix3 product{};
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            for (size_t k = 0; k < 3; ++k) {
                product[row * 3 + column] += a[row * 3 + k] * b[k * 3 + column];
            }
        }
    }
    return product;
}

/// Apply a matrix to a vector.
inline Vector3 multiply(const Matrix3& a, const Vector3& v) {
    return {a[0] * v[0] + a[1] * v[1] + a[2] * v[2], a[3] * v[0] + a[4] * v[1] + a[5] * v[2],
            a[6] * v[0] + a[7] * v[1] + a[8] * v[2]};
}

/// Transpose; for a rotation that is the inverse.
inline Matrix3 transpose(const Matrix3& a) {
    return {a[0], a[3], a[6], a[1], a[4], a[7], a[2], a[5], a[8]};
}

inline double determinant(const Matrix3& a) {
    return a[0] * (a[4] * a[8] - a[5] * a[7]) - a[1] * (a[3] * a[8] - a[5] * a[6]) +
           a[2] * (a[3] * a[7] - a[4] * a[6]);
}

inline Matrix3 rotation_x(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {1, 0, 0, 0, c, -s, 0, s, c};
}

inline Matrix3 rotation_y(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, 0, s, 0, 1, 0, -s, 0, c};
}

inline Matrix3 rotation_z(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, -s, 0, s, c, 0, 0, 0, 1};
}

}  // namespace steadywarp::tool
