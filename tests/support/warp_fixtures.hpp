// SPDX-License-Identifier: Apache-2.0
/// @file warp_fixtures.hpp
/// Records with memory of their own, random numbers with fixed bits, and the log as the tests of
/// the warp library see it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "platform/log.hpp"
#include "steadywarp/nclib.h"
#include "steadywarp/nclib_chip.hpp"

namespace warp_test {

inline constexpr uint32_t kChip10 = 0x10700, kChip10And20 = 0x10500, kChip20 = 0x10605;
inline constexpr uint32_t kChip30 = 0x50800, kChip40 = 0x60800;
inline constexpr auto kNone = EXTRAPOLATION_TYPE_NONE;
inline constexpr auto kCorners = EXTRAPOLATION_TYPE_FOUR_CORNERS;
inline constexpr auto kRing = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;

/// Random numbers that are the same on every machine (splitmix64). The seed comes from the
/// environment variable STEADYWARP_TEST_SEED if that is set; print it with Seed() on failure.
class Rng {
  public:
    explicit Rng(uint64_t seed) : state_(seed) {
        if (const char* chosen = std::getenv("STEADYWARP_TEST_SEED")) {
            state_ = std::strtoull(chosen, nullptr, 0);
        }
        seed_ = state_;
    }
    uint64_t Seed() const { return seed_; }
    uint64_t Bits() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    uint32_t Below(uint32_t end) { return static_cast<uint32_t>((Bits() >> 32) * end >> 32); }
    float Uniform(float low, float high) {
        return low + (high - low) * (static_cast<float>(Bits() >> 40) / 16777216.0f);
    }
    NcLibWarpGridCoord Point(float half_width, float half_height) {
        const float x = Uniform(-half_width, half_width);
        return {x, Uniform(-half_height, half_height)};
    }

  private:
    uint64_t state_;
    uint64_t seed_;
};

/// A grid with its arrays, placed on the identity.
struct Grid {
    std::vector<NcLibWarpGridCoord> nodes;
    std::vector<NcLibWarpGridCoord> corners = std::vector<NcLibWarpGridCoord>(4);
    NcLibWarpGrid record = {};

    Grid(uint32_t rows, uint32_t columns, NcLibWarpGridExtrapolationType type)
        : nodes(size_t{rows} * columns) {
        record = {true, nclib::kVirtualSize, rows, columns, nodes.data(), type, corners.data()};
        const auto lattice = nclib::GetNodeLattice(type, columns == 67);
        const auto at = [&](double row, double column) {
            return NcLibWarpGridCoord{
                static_cast<float>(lattice.startX + column * lattice.spanX / (columns - 1)),
                static_cast<float>(lattice.startY + row * lattice.spanY / (rows - 1))};
        };
        for (uint32_t i = 0; i < nodes.size(); ++i) {
            nodes[i] = at(i / columns, i % columns);
        }
        corners = {at(-1, -1), at(-1, columns), at(rows, -1), at(rows, columns)};
        record.gridExtrapolate = corners.data();
    }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    template <typename Change>
    Grid& Change_(Change change) {
        for (auto& node : nodes) {
            node = change(node);
        }
        for (auto& corner : corners) {
            corner = change(corner);
        }
        return *this;
    }
    /// Move every node by up to `amount` on each axis.
    Grid& Shake(Rng& rng, float amount) {
        return Change_([&](NcLibWarpGridCoord p) {
            const NcLibWarpGridCoord by = rng.Point(amount, amount);
            return NcLibWarpGridCoord{p.x + by.x, p.y + by.y};
        });
    }
};

/// Matrices with their array; all identity at first.
struct Matrices {
    std::vector<NcLibPerspTransformSingle> array;
    NcLibWarpMatrices record = {};

    explicit Matrices(uint32_t rows = 1, uint32_t columns = 1)
        : array(size_t{rows} * columns, {{1, 0, 0, 0, 1, 0, 0, 0, 1}}) {
        record = {true, nclib::kVirtualSize, CENTERED, 256, rows, columns, array.data()};
    }
    Matrices(const Matrices&) = delete;
    Matrices& operator=(const Matrices&) = delete;

    /// Make every matrix a small random homography.
    Matrices& Shake(Rng& rng, float amount) {
        for (auto& matrix : array) {
            for (const int i : {0, 1, 3, 4}) {
                matrix.T[i] += rng.Uniform(-0.05f, 0.05f) * amount;
            }
            matrix.T[2] += rng.Uniform(-200, 200) * amount;
            matrix.T[5] += rng.Uniform(-200, 200) * amount;
            matrix.T[6] += rng.Uniform(-5e-6f, 5e-6f) * amount;
            matrix.T[7] += rng.Uniform(-5e-6f, 5e-6f) * amount;
        }
        return *this;
    }
};

/// A warp's room for results: 9 matrices, 3417 nodes, 4 corners.
struct WarpRoom {
    std::vector<NcLibPerspTransformSingle> matrices = std::vector<NcLibPerspTransformSingle>(9);
    std::vector<NcLibWarpGridCoord> nodes = std::vector<NcLibWarpGridCoord>(3417);
    std::vector<NcLibWarpGridCoord> corners = std::vector<NcLibWarpGridCoord>(4);
    NcLibWarp record = {};

    WarpRoom() {
        record.matrices.perspMatrices = matrices.data();
        record.grid.grid = nodes.data();
        record.grid.gridExtrapolate = corners.data();
    }
    WarpRoom(const WarpRoom&) = delete;
    WarpRoom& operator=(const WarpRoom&) = delete;
};

/// Collects log lines while it lives.
class LogCapture {
  public:
    LogCapture() {
        Zelm::Log::SetSink(
            [](uint32_t, Zelm::Log::Level, const char* text, void* user) {
                static_cast<LogCapture*>(user)->lines_.emplace_back(text);
            },
            this);
    }
    ~LogCapture() { Zelm::Log::SetSink(nullptr, nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The messages, without what stands in front of them, one per line.
    std::string Messages() const {
        std::string all;
        for (const std::string& line : lines_) {
            const size_t end = line.find("() ");
            all += (all.empty() ? "" : "\n") + line.substr(end == std::string::npos ? 0 : end + 3);
        }
        return all;
    }
    const std::vector<std::string>& Lines() const { return lines_; }

  private:
    std::vector<std::string> lines_;
};

inline uint32_t BitsOf(float value) {
    return std::bit_cast<uint32_t>(value);
}

/// The same bits in both coordinates, where any NaN is as good as another.
inline bool SameBits(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b) {
    const auto same = [](float p, float q) {
        return BitsOf(p) == BitsOf(q) || (std::isnan(p) && std::isnan(q));
    };
    return same(a.x, b.x) && same(a.y, b.y);
}

inline float Distance(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b) {
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    return std::sqrt(dx * dx + dy * dy);
}

}  // namespace warp_test
