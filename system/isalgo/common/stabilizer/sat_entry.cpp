// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/sat_entry.hpp"

#include <algorithm>

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

// S T(center) M T(-center) S^-1, by elements, so that an identity stays one to the last bit.
Matrix3 in_pixels(const Matrix3& centered, const NcLibImageSize& size, uint32_t width,
                  uint32_t height) {
    const Point2 center = {(size.widthPixels - 1.0) / 2.0, (size.heightLines - 1.0) / 2.0};
    Matrix3 m = seen_from(centered, {-center.x, -center.y});
    const double sx = static_cast<double>(width) / size.widthPixels;
    const double sy = static_cast<double>(height) / size.heightLines;
    m[1] *= sx / sy;
    m[2] *= sx;
    m[3] *= sy / sx;
    m[5] *= sy;
    m[6] /= sx;
    m[7] /= sy;
    return m;
}

}  // namespace

SatEntry make_sat_entry(const NcLibWarp* sat, uint32_t width, uint32_t height, uint32_t frame_id) {
    if (sat == nullptr || !sat->matrices.enable || sat->matrices.perspMatrices == nullptr) {
        return {};
    }
    SatEntry entry;
    const float* elements = sat->matrices.perspMatrices[0].T;
    std::copy_n(elements, entry.matrix.size(), entry.matrix.begin());
    if (entry.matrix == kIdentity3) {
        return {};
    }
    entry.is_identity = false;
    Matrix3 inverse;
    bool is_usable = invert(entry.matrix, inverse);
    if (is_usable) {
        entry.matrix = in_pixels(sat->direction == OUT_2_IN ? entry.matrix : inverse,
                                 sat->matrices.transformDefinedOn, width, height);
        is_usable = invert(entry.matrix, inverse);
    }
    if (!is_usable) {
        EIS_ERR("IS0013", "frame_id %u: SAT has no inverse. SAT will be ignored", frame_id);
        return {};
    }
    return entry;
}

}  // namespace steadywarp
