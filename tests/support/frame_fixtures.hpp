// SPDX-License-Identifier: Apache-2.0
/// @file frame_fixtures.hpp
/// A frame's warps as functions in double precision, and as the records that carry them.
///
/// Points are virtual and centred. The lens is a barrel, p -> p (1 - k |p|^2); hands are
/// homographies. What a test expects is composed from these functions, never from the records.
#pragma once

#include <array>
#include <functional>
#include <memory>

#include "nclib/Logic/WarpAdjust/composition.hpp"
#include "steadywarp/nclib_geometries.h"
#include "support/warp_fixtures.hpp"

namespace warp_test {

struct P {
    double x, y;
};
using Map = std::function<P(P)>;

inline P ToP(const NcLibWarpGridCoord& p) {
    return {static_cast<double>(p.x), static_cast<double>(p.y)};
}
inline double Distance(const P& a, const P& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

using H = std::array<double, 9>;

inline H Times(const H& a, const H& b) {
    H product{};
    for (size_t i = 0; i < 9; ++i) {
        for (size_t k = 0; k < 3; ++k) {
            product[i] += a[i / 3 * 3 + k] * b[3 * k + i % 3];
        }
    }
    return product;
}
inline H Inverse(const H& m) {
    const H adjugate = {
        m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
        m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
        m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
    const double det = m[0] * adjugate[0] + m[1] * adjugate[3] + m[2] * adjugate[6];
    H inverse;
    for (size_t i = 0; i < 9; ++i) {
        inverse[i] = adjugate[i] / det;
    }
    return inverse;
}
inline P Apply(const H& m, P p) {
    const double w = m[6] * p.x + m[7] * p.y + m[8];
    return {(m[0] * p.x + m[1] * p.y + m[2]) / w, (m[3] * p.x + m[4] * p.y + m[5]) / w};
}
inline P Apply(const NcLibPerspTransformSingle& m, P p) {
    H h;
    std::copy(m.T, m.T + 9, h.begin());
    return Apply(h, p);
}
inline Map Of(const H& m) {
    return [m](P p) { return Apply(m, p); };
}
inline NcLibPerspTransformSingle AsSingle(const H& m) {
    NcLibPerspTransformSingle single;
    std::transform(m.begin(), m.end(), single.T,
                   [](double element) { return static_cast<float>(element); });
    return single;
}

/// A barrel of strength k, and its inverse.
inline Map Barrel(double k) {
    return [k](P p) {
        const double s = 1 - k * (p.x * p.x + p.y * p.y);
        return P{p.x * s, p.y * s};
    };
}
inline Map Unbarrel(double k) {
    return [k](P p) {
        P q = p;
        for (int i = 0; i < 60; ++i) {
            const double s = 1 - k * (q.x * q.x + q.y * q.y);
            q = {p.x / s, p.y / s};
        }
        return q;
    };
}

/// A ring grid that does what a map does.
inline std::unique_ptr<Grid> GridOf(const Map& map, bool fine = false) {
    auto grid =
        fine ? std::make_unique<Grid>(51, 67, kRing) : std::make_unique<Grid>(27, 35, kRing);
    grid->Change_([&](NcLibWarpGridCoord node) {
        const P p = map(ToP(node));
        return NcLibWarpGridCoord{static_cast<float>(p.x), static_cast<float>(p.y)};
    });
    return grid;
}

/// One frame: a barrel from undistorted to distorted points, a homography from stabilized to
/// undistorted ones. The homography can also come as an array of equal zone matrices with the grid
/// that stands in for it.
struct Frame {
    double k;
    H hand;
    std::unique_ptr<Grid> lens_grid = GridOf(Barrel(k));
    NcLibWarp lens{{}, lens_grid->record, OUT_2_IN};
    Matrices matrices;
    Grid assist{25, 33, kNone};
    NcLibWarp stabilization;
    NcLibWarpBuildAssistGridOut record{nullptr, &stabilization};

    Frame(double strength, const H& hand_, uint32_t zones = 1)
        : k(strength), hand(hand_), matrices(zones, 1) {
        std::fill(matrices.array.begin(), matrices.array.end(), AsSingle(hand));
        stabilization = {matrices.record, {}, OUT_2_IN};
        if (zones > 1) {
            record.assistGrid = &assist.record;
            const NcLibWarpBuildAssistGridIn request = {&stabilization, 33, 25};
            NcLibWarpBuildAssistGrid(&request, &record);
        }
    }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    P Distort(P p) const { return Barrel(k)(p); }
    P Undistort(P p) const { return Unbarrel(k)(p); }
    P Shake(P p) const { return Apply(hand, p); }            ///< stabilized to undistorted
    P Steady(P p) const { return Apply(Inverse(hand), p); }  ///< undistorted to stabilized
};

inline constexpr H kHandNow = {1.01, 0.02, 90, -0.015, 0.99, -60, 1e-6, -2e-6, 1};
inline constexpr H kHandBefore = {0.985, -0.01, -120, 0.02, 1.005, 45, -1.5e-6, 1e-6, 1};
inline constexpr H kMotion = {1.0, 0.012, 70, -0.012, 1.0, 110, 5e-7, 8e-7, 1};

/// An alignment of one matrix.
struct Alignment {
    Matrices matrices;
    NcLibWarp warp;
    explicit Alignment(const H& motion) {
        matrices.array[0] = AsSingle(motion);
        matrices.record.confidence = 200;
        warp = {matrices.record, {}, OUT_2_IN};
    }
};

}  // namespace warp_test
