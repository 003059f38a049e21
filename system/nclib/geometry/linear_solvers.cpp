// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>

#include "nclib/geometry/geometric_fit.hpp"

namespace {

// target[i] -= factor * row[i]; the lanes of a vector form are independent.
void SubtractScaled(float* target, const float* row, float factor, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        target[i] -= factor * row[i];
    }
}

// A = U^T U; the diagonal of U goes to `diagonal`, the rest over the upper triangle of A.
bool Factorise(float* A, float* diagonal, unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
        float* row = A + i * n;
        if (!(row[i] > 0.0f)) {
            return false;
        }
        diagonal[i] = std::pow(row[i], 0.5f);
        const float reciprocal = 1.0f / diagonal[i];
        for (unsigned k = i + 1; k < n; ++k) {
            row[k] *= reciprocal;
        }
        for (unsigned j = i + 1; j < n; ++j) {
            SubtractScaled(A + j * n + j, row + j, row[j], n - j);
        }
    }
    return true;
}

}  // namespace

int bcvSolveCholeskyf32(float* A, const float* b, float* work, unsigned n, float* x) {
    if (!Factorise(A, work, n)) {
        return 0;
    }
    std::copy_n(b, n, x);
    for (unsigned i = 0; i < n; ++i) {  // U^T y = b
        x[i] /= work[i];
        SubtractScaled(x + i + 1, A + i * n + i + 1, x[i], n - i - 1);
    }
    for (unsigned i = n; i-- > 0;) {  // U x = y
        x[i] /= work[i];
        for (unsigned k = 0; k < i; ++k) {
            x[k] -= A[k * n + i] * x[i];
        }
    }
    return 1;
}

template <int N, typename T>
bool GaussJordan(T (*system)[N + 1]) {
    constexpr T kLeastPivot = static_cast<T>(1e-7);
    constexpr T kUnitTolerance = static_cast<T>(1e-5);
    for (int i = 0; i < N; ++i) {
        int pivot = i;
        for (int row = i + 1; row < N; ++row) {
            if (std::fabs(system[row][i]) > std::fabs(system[pivot][i])) {
                pivot = row;
            }
        }
        std::swap_ranges(system[i], system[i] + N + 1, system[pivot]);
        const T divisor = system[i][i];
        if (!(std::fabs(divisor) >= kLeastPivot)) {
            return false;
        }
        for (int k = 0; k <= N; ++k) {
            system[i][k] /= divisor;
        }
        for (int row = 0; row < N; ++row) {
            const T factor = system[row][i];
            if (row != i) {
                for (int k = 0; k <= N; ++k) {
                    system[row][k] -= factor * system[i][k];
                }
            }
        }
    }
    for (int i = 0; i < N; ++i) {
        if (!(std::fabs(system[i][i] - T{1}) <= kUnitTolerance)) {
            return false;
        }
    }
    return true;
}

template bool GaussJordan<4, float>(float (*)[5]);
template bool GaussJordan<4, double>(double (*)[5]);
template bool GaussJordan<8, double>(double (*)[9]);
