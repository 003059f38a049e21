// SPDX-License-Identifier: Apache-2.0
/// @file small_matrix.hpp
/// Inverse and product of row-major 3x3 matrices. Sums run from left to right in the order of
/// their indices, so that every machine gives the same bits.
#pragma once

#include <cstdint>

/// Invert a matrix as adjugate over determinant in single precision; the result is not normalised.
///
/// @param T nine elements; `inverse` nine elements, may be `T`.
/// @return NC_LIB_SUCCESS. A determinant below NC_LIB_WARP_INTERNAL_EPS in magnitude, or one that
///         is not a number, is a failed assertion.
int32_t NcLibInternalMatrixInverse(const float* T, float* inverse);

/// As NcLibInternalMatrixInverse(), in double precision.
int32_t NcLibInternalMatrixInverseDouble(const double* T, double* inverse);

/// Multiply first * second in single precision, fused: each element starts from the product of
/// index 0 and takes the products of indices 1 and 2 by fused multiply-add. `product` may be
/// neither operand.
void NcLibInternalMatrixProduct(const float* first, const float* second, float* product);
