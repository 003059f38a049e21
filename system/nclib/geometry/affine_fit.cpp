// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <limits>

#include "nclib/geometry/correspondence_sums.hpp"

namespace {

// Moments of the source points: [x^2 xy x; xy y^2 y; x y n].
struct AffineMoments {
    float xx, xy, yy, x, y, n;
};

AffineMoments buildAffineA(const bcvCorrespondences& c) {
    const auto s = nclib::SumOver<5, float>(c, [](const nclib::Pair<float>& p) {
        return std::array<float, 5>{p.x * p.x, p.x * p.y, p.y * p.y, p.x, p.y};
    });
    return {s[0], s[1], s[2], s[3], s[4], static_cast<float>(c.numIndices)};
}

// Right sides for the rows of u - x and v - y.
std::array<float, 6> buildAffineB(const bcvCorrespondences& c) {
    return nclib::SumOver<6, float>(c, [](const nclib::Pair<float>& p) {
        const float du = p.u - p.x;
        const float dv = p.v - p.y;
        return std::array<float, 6>{du * p.x, du * p.y, du, dv * p.x, dv * p.y, dv};
    });
}

// Determinant and adjugate (symmetric) of the moments. False if they are singular to working
// precision: the determinant of a positive matrix is at most the product of its diagonal, and a
// share of that below one rounding step is rounding.
bool buildAffineDeterminantAndMinors(const AffineMoments& m, float& det,
                                     std::array<float, 9>& adjugate) {
    const float a00 = m.yy * m.n - m.y * m.y;
    const float a01 = m.x * m.y - m.xy * m.n;
    const float a02 = m.xy * m.y - m.x * m.yy;
    const float a11 = m.xx * m.n - m.x * m.x;
    const float a12 = m.xy * m.x - m.xx * m.y;
    const float a22 = m.xx * m.yy - m.xy * m.xy;
    adjugate = {a00, a01, a02, a01, a11, a12, a02, a12, a22};
    det = m.xx * a00 + m.xy * a01 + m.x * a02;
    return std::fabs(det) > std::numeric_limits<float>::epsilon() * (m.xx * m.yy * m.n);
}

}  // namespace

void bcvGeomAffineTransformFitf32(const bcvCorrespondences* correspondences, float* H) {
    if (!nclib::BeginFit(correspondences, H)) {
        return;
    }
    float det;
    std::array<float, 9> adjugate;
    if (!buildAffineDeterminantAndMinors(buildAffineA(*correspondences), det, adjugate)) {
        return;
    }
    const std::array<float, 6> right = buildAffineB(*correspondences);
    for (int row = 0; row < 2; ++row) {
        const float* b = right.data() + 3 * row;
        for (int i = 0; i < 3; ++i) {
            const float* a = adjugate.data() + 3 * i;
            H[3 * row + i] = (a[0] * b[0] + a[1] * b[1] + a[2] * b[2]) / det;
        }
    }
    H[0] += 1.0f;
    H[4] += 1.0f;
    H[8] = 1.0f;
}
