// SPDX-License-Identifier: Apache-2.0
// A frame's transform with the inverse of its alignment for a matrix.
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_temporal.h"

using nclib::IsSingleMatrix;

int32_t NcLibCalcMfnrTransform(const NcLibWarp* transform, const NcLibWarp* alignment,
                               NcLibWarp* out) {
    NC_LIB_ASSERT((NULL != transform) && (NULL != alignment) && (NULL != out));
    NC_LIB_ASSERT((OUT_2_IN == transform->direction));
    if (transform->matrices.enable || alignment->matrices.enable) {
        NC_LIB_REQUIRE_NOT_NULL(out->matrices.perspMatrices, "out->matrices.perspMatrices");
    }
    if (transform->grid.enable) {
        NC_LIB_REQUIRE_NOT_NULL(out->grid.grid, "out->grid.grid");
    }
    memcpyWarp(out, transform);
    if (!alignment->matrices.enable) {
        return NC_LIB_SUCCESS;
    }
    NC_LIB_ASSERT_TEXT(IsSingleMatrix(alignment->matrices), "isSingleMatrix(alignment->matrices)");
    NcLibPerspTransformSingle* const matrices = out->matrices.perspMatrices;
    out->matrices = alignment->matrices;
    out->matrices.perspMatrices = matrices;
    const int32_t status =
        NcLibInternalMatrixInverse(alignment->matrices.perspMatrices->T, matrices->T);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "NcLibInternalMatrixInverse failed: %d",
                   status);
    return NC_LIB_SUCCESS;
}
