// SPDX-License-Identifier: Apache-2.0
/// @file matrix3.hpp
/// Row-major 3x3 matrices in double precision. Sums run from left to right in index order.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "base/vec3.hpp"

namespace steadywarp {

using Matrix3 = std::array<double, 9>;

inline constexpr Matrix3 kIdentity3 = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};

/// The product left * right: what `right` does first, `left` does second.
constexpr Matrix3 multiply(const Matrix3& left, const Matrix3& right) {
    Matrix3 product{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            product[3 * row + column] = left[3 * row] * right[column] +
                                        left[3 * row + 1] * right[3 + column] +
                                        left[3 * row + 2] * right[6 + column];
        }
    }
    return product;
}

/// The point that `matrix` maps `point` to, by perspective division.
constexpr Point2 map_point(const Matrix3& matrix, const Point2& point) {
    const double w = matrix[6] * point.x + matrix[7] * point.y + matrix[8];
    return {(matrix[0] * point.x + matrix[1] * point.y + matrix[2]) / w,
            (matrix[3] * point.x + matrix[4] * point.y + matrix[5]) / w};
}

/// The scale by `factor` about `center`.
constexpr Matrix3 scale_about(const Point2& center, double factor) {
    return {factor, 0.0,    center.x - factor * center.x,
            0.0,    factor, center.y - factor * center.y,
            0.0,    0.0,    1.0};
}

/// T(-origin) * matrix * T(origin): the same map, for points counted from `origin`.
constexpr Matrix3 seen_from(const Matrix3& matrix, const Point2& origin) {
    const Matrix3 to_corner = {1.0, 0.0, origin.x, 0.0, 1.0, origin.y, 0.0, 0.0, 1.0};
    const Matrix3 from_corner = {1.0, 0.0, -origin.x, 0.0, 1.0, -origin.y, 0.0, 0.0, 1.0};
    return multiply(multiply(from_corner, matrix), to_corner);
}

/// Invert as adjugate over determinant.
/// @return false if the matrix has no inverse of finite elements; `inverse` is then unwritten.
inline bool invert(const Matrix3& m, Matrix3& inverse) {
    Matrix3 result = {
        m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
        m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
        m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
    // Along the first row; elements 0, 3 and 6 are the cofactors of that row.
    const double det = m[0] * result[0] + m[1] * result[3] + m[2] * result[6];
    for (double& element : result) {
        element /= det;
        if (!std::isfinite(element)) {
            return false;
        }
    }
    inverse = result;
    return true;
}

}  // namespace steadywarp
