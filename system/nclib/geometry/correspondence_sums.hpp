// SPDX-License-Identifier: Apache-2.0
/// @file correspondence_sums.hpp
/// How the fits walk over correspondences and sum what they see.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "nclib/geometry/geometric_fit.hpp"

namespace nclib {

/// Fewest correspondences that any of the fits takes.
inline constexpr uint32_t kMinCorrespondences = 4;

/// One pair of points: (x, y) goes to (u, v).
template <typename T>
struct Pair {
    T x, y, u, v;
};

template <typename T>
Pair<T> PairAt(const bcvCorrespondences& c, uint32_t position) {
    const float* from = c.X0 + size_t{c.indices[position]} * c.stride0;
    const float* to = c.X1 + size_t{c.indices[position]} * c.stride1;
    return {static_cast<T>(from[0]), static_cast<T>(from[1]), static_cast<T>(to[0]),
            static_cast<T>(to[1])};
}

inline bool IsIndexInside(const bcvCorrespondences& c, uint32_t position) {
    return c.indices[position] < c.numPoints;
}

inline bool HasPointers(const bcvCorrespondences* c) {
    return c != nullptr && c->X0 != nullptr && c->X1 != nullptr && c->indices != nullptr;
}

/// What all fits begin with: zero the output, and tell whether there is something to fit.
inline bool BeginFit(const bcvCorrespondences* c, float* H) {
    if (!HasPointers(c) || H == nullptr) {
        return false;
    }
    std::fill_n(H, 9, 0.0f);
    if (c->numIndices < kMinCorrespondences) {
        return false;
    }
    for (uint32_t i = 0; i < c->numIndices; ++i) {
        if (!IsIndexInside(*c, i)) {
            return false;
        }
    }
    return true;
}

/// Sums of N terms in four lanes.
template <typename T, size_t N>
class LaneSums {
  public:
    /// Add the terms of the correspondence at `position` to its lane.
    void Add(uint32_t position, const std::array<T, N>& terms) {
        auto& lane = lanes_[position % 4];
        for (size_t i = 0; i < N; ++i) {
            lane[i] += terms[i];
        }
    }

    std::array<T, N> Total() const {
        std::array<T, N> total;
        for (size_t i = 0; i < N; ++i) {
            total[i] = (lanes_[0][i] + lanes_[1][i]) + (lanes_[2][i] + lanes_[3][i]);
        }
        return total;
    }

  private:
    std::array<std::array<T, N>, 4> lanes_{};
};

/// Sum what `terms_of` makes of each correspondence.
template <size_t N, typename T, typename TermsOf>
std::array<T, N> SumOver(const bcvCorrespondences& c, TermsOf terms_of) {
    LaneSums<T, N> sums;
    for (uint32_t i = 0; i < c.numIndices; ++i) {
        sums.Add(i, terms_of(PairAt<T>(c, i)));
    }
    return sums.Total();
}

}  // namespace nclib
