// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "nclib/geometry/correspondence_sums.hpp"

namespace {

// The distinct sums of the normal system. q stands for u^2 + v^2.
// clang-format off
enum Sum : size_t {
    kXX, kXY, kYY, kX, kY,
    kUXX, kUXY, kUYY, kUX, kUY, kU,
    kVXX, kVXY, kVYY, kVX, kVY, kV,
    kQXX, kQXY, kQYY, kQX, kQY,
    kSums
};
// clang-format on

template <typename T>
std::array<T, kSums> TermsOf(const nclib::Pair<T>& p) {
    const T xx = p.x * p.x, xy = p.x * p.y, yy = p.y * p.y;
    const T q = p.u * p.u + p.v * p.v;
    return {xx,        xy,        yy,     p.x,      p.y,      p.u * xx, p.u * xy,  p.u * yy,
            p.u * p.x, p.u * p.y, p.u,    p.v * xx, p.v * xy, p.v * yy, p.v * p.x, p.v * p.y,
            p.v,       q * xx,    q * xy, q * yy,   q * p.x,  q * p.y};
}

template <typename T>
struct NormalSystem {
    T a[8][8] = {};
    T b[8] = {};

    void Set(int row, int column, T value) { a[row][column] = a[column][row] = value; }
};

// Rows [x y 1 0 0 0 -ux -uy | u] and [0 0 0 x y 1 -vx -vy | v] of each correspondence, as sums of
// their products.
template <typename T>
NormalSystem<T> BuildNormalSystem(const bcvCorrespondences& c) {
    const auto s = nclib::SumOver<kSums, T>(c, TermsOf<T>);
    NormalSystem<T> n;
    for (const int i : {0, 3}) {
        n.Set(i, i, s[kXX]);
        n.Set(i, i + 1, s[kXY]);
        n.Set(i, i + 2, s[kX]);
        n.Set(i + 1, i + 1, s[kYY]);
        n.Set(i + 1, i + 2, s[kY]);
        n.Set(i + 2, i + 2, static_cast<T>(c.numIndices));
    }
    const T mixed[6][2] = {{s[kUXX], s[kUXY]}, {s[kUXY], s[kUYY]}, {s[kUX], s[kUY]},
                           {s[kVXX], s[kVXY]}, {s[kVXY], s[kVYY]}, {s[kVX], s[kVY]}};
    for (int i = 0; i < 6; ++i) {
        n.Set(i, 6, -mixed[i][0]);
        n.Set(i, 7, -mixed[i][1]);
    }
    n.Set(6, 6, s[kQXX]);
    n.Set(6, 7, s[kQXY]);
    n.Set(7, 7, s[kQYY]);
    const T right[8] = {s[kUX], s[kUY], s[kU], s[kVX], s[kVY], s[kV], -s[kQX], -s[kQY]};
    std::copy_n(right, 8, n.b);
    return n;
}

}  // namespace

void bcvGeomHomographyFitf32(const bcvCorrespondences* correspondences, float* H) {
    if (!nclib::BeginFit(correspondences, H)) {
        return;
    }
    auto normal = BuildNormalSystem<float>(*correspondences);
    float work[8];
    if (bcvSolveCholeskyf32(normal.a[0], normal.b, work, 8, H) != 0) {
        H[8] = 1.0f;
    } else {
        bcvGeomHomographyFitDPf32C(correspondences, H);
    }
}

void bcvGeomHomographyFitDPf32C(const bcvCorrespondences* correspondences, float* H) {
    if (!nclib::BeginFit(correspondences, H)) {
        return;
    }
    const auto normal = BuildNormalSystem<double>(*correspondences);
    double system[8][9];
    for (int row = 0; row < 8; ++row) {
        std::copy_n(normal.a[row], 8, system[row]);
        system[row][8] = normal.b[row];
    }
    if (!GaussJordan<8, double>(system)) {
        return;
    }
    for (int i = 0; i < 8; ++i) {
        H[i] = static_cast<float>(system[i][8]);
    }
    H[8] = 1.0f;
}
