// SPDX-License-Identifier: Apache-2.0
#include "nclib/geometry/correspondence_sums.hpp"

namespace {

// u = a x + b y + c and v = -b x + a y + d, in the unknowns a, b, c, d.
template <typename T>
void FitSimilarity(const bcvCorrespondences* correspondences, float* H) {
    if (!nclib::BeginFit(correspondences, H)) {
        return;
    }
    const auto s = nclib::SumOver<7, T>(*correspondences, [](const nclib::Pair<T>& p) {
        return std::array<T, 7>{p.x * p.x + p.y * p.y, p.x, p.y, p.u * p.x + p.v * p.y,
                                p.u * p.y - p.v * p.x, p.u, p.v};
    });
    const T rr = s[0], x = s[1], y = s[2];
    const T n = static_cast<T>(correspondences->numIndices);
    T system[4][5] = {
        {rr, 0, x, y, s[3]},
        {0, rr, y, -x, s[4]},
        {x, y, n, 0, s[5]},
        {y, -x, 0, n, s[6]},
    };
    if (!GaussJordan<4, T>(system)) {
        return;
    }
    const float a = static_cast<float>(system[0][4]), b = static_cast<float>(system[1][4]);
    const float c = static_cast<float>(system[2][4]), d = static_cast<float>(system[3][4]);
    const float fitted[9] = {a, b, c, -b, a, d, 0.0f, 0.0f, 1.0f};
    std::copy_n(fitted, 9, H);
}

}  // namespace

void bcvGeomRigidTransformFitf32(const bcvCorrespondences* correspondences, float* H) {
    FitSimilarity<float>(correspondences, H);
}

void bcvGeomRigidTransformFitDP(const bcvCorrespondences* correspondences, float* H) {
    FitSimilarity<double>(correspondences, H);
}
