// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"

#include <algorithm>

#include "nclib/nclib_log.hpp"
#include "platform/fused.hpp"

namespace {

template <typename T>
int32_t InvertByAdjugate(const T* m, T* inverse) {
    const T adjugate[9] = {
        m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
        m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
        m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3],
    };
    // Along the first row; adjugate[0], [3] and [6] are the cofactors of that row.
    const T det = m[0] * adjugate[0] + m[1] * adjugate[3] + m[2] * adjugate[6];
    NC_LIB_ASSERT_TEXT(std::fabs(static_cast<double>(det)) >= NC_LIB_WARP_INTERNAL_EPS,
                       "fabs(det) >= NC_LIB_WARP_INTERNAL_EPS");
    std::transform(adjugate, adjugate + 9, inverse, [det](T element) { return element / det; });
    return NC_LIB_SUCCESS;
}

}  // namespace

int32_t NcLibInternalMatrixInverse(const float* T, float* inverse) {
    return InvertByAdjugate(T, inverse);
}

int32_t NcLibInternalMatrixInverseDouble(const double* T, double* inverse) {
    return InvertByAdjugate(T, inverse);
}

void NcLibInternalMatrixProduct(const float* first, const float* second, float* product) {
    using platform::Fused;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            const float* a = first + 3 * row;
            const float* b = second + column;
            product[3 * row + column] = Fused(a[2], b[6], Fused(a[1], b[3], a[0] * b[0]));
        }
    }
}
