// SPDX-License-Identifier: Apache-2.0
/// @file similarity.hpp
/// How alike two pictures are in structure, as a person would judge: not byte by byte.
#pragma once

#include "video/picture.hpp"

namespace steadywarp::test {

/// Mean structural similarity of two planes of one size, over windows of 8 by 8 pixels each 4
/// apart, inside a border of `margin` pixels: 1 for equal, near 0 for unrelated.
inline double similarity(const tool::Plane& a, const tool::Plane& b, uint32_t margin) {
    constexpr double kC1 = 6.5025;   // (0.01 * 255)^2
    constexpr double kC2 = 58.5225;  // (0.03 * 255)^2
    constexpr uint32_t kSide = 8;
    double sum = 0.0;
    size_t count = 0;
    for (uint32_t y = margin; y + kSide + margin <= a.height; y += kSide / 2) {
        for (uint32_t x = margin; x + kSide + margin <= a.width; x += kSide / 2) {
            double sa = 0;
            double sb = 0;
            double saa = 0;
            double sbb = 0;
            double sab = 0;
            for (uint32_t j = y; j < y + kSide; ++j) {
                for (uint32_t i = x; i < x + kSide; ++i) {
                    const double va = a.row(j)[i];
                    const double vb = b.row(j)[i];
                    sa += va;
                    sb += vb;
                    saa += va * va;
                    sbb += vb * vb;
                    sab += va * vb;
                }
            }
            constexpr double n = kSide * kSide;
            const double ma = sa / n;
            const double mb = sb / n;
            const double cov = sab / n - ma * mb;
            const double va = saa / n - ma * ma;
            const double vb = sbb / n - mb * mb;
            sum += (2 * ma * mb + kC1) * (2 * cov + kC2) /
                   ((ma * ma + mb * mb + kC1) * (va + vb + kC2));
            ++count;
        }
    }
    return sum / static_cast<double>(count);
}

}  // namespace steadywarp::test
