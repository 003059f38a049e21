// SPDX-License-Identifier: Apache-2.0
/// @file warps.hpp
/// Points, grids, matrices and correspondences that the benchmarks of the warp library run on.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "steadywarp/nclib.h"

namespace bench {

/// A chip of the third hardware generation, which takes every grid.
inline constexpr uint32_t kChip = 0x50800;

/// A raster of points that covers the frame.
inline std::vector<NcLibWarpGridCoord> RasterPoints(uint32_t rows, uint32_t columns) {
    std::vector<NcLibWarpGridCoord> points;
    for (uint32_t i = 0; i < rows * columns; ++i) {
        points.push_back(
            {static_cast<float>(i % columns) * 7980.0f / static_cast<float>(columns - 1) - 3990.0f,
             static_cast<float>(i / columns) * 5858.0f / static_cast<float>(rows - 1) - 2929.0f});
    }
    return points;
}

/// How the barrel bends: the image of a point is the point times 1 - kBarrel r^2.
inline constexpr float kBarrel = 2e-9f;

/// A barrel on a ring grid.
struct Mesh {
    std::vector<NcLibWarpGridCoord> nodes;
    NcLibWarpGrid record;

    explicit Mesh(uint32_t rows) {
        const uint32_t columns = rows == 51 ? 67 : 35;
        const auto type = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
        const auto lattice = nclib::GetNodeLattice(type, rows == 51);
        for (uint32_t i = 0; i < rows * columns; ++i) {
            const float x = lattice.startX + static_cast<float>(i % columns) * lattice.spanX /
                                                 static_cast<float>(columns - 1);
            const float y = lattice.startY + static_cast<float>(i / columns) * lattice.spanY /
                                                 static_cast<float>(rows - 1);
            const float k = 1.0f - kBarrel * (x * x + y * y);
            nodes.push_back({x * k, y * k});
        }
        record = {true, nclib::kVirtualSize, rows, columns, nodes.data(), type, nullptr};
    }
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;
};

/// A square array of one homography.
struct Matrices {
    std::vector<NcLibPerspTransformSingle> array;
    NcLibWarpMatrices record;

    explicit Matrices(uint32_t side)
        : array(side * side, {{1.01f, 0.02f, 30, -0.02f, 1.01f, -20, 1e-7f, 1e-7f, 1}}) {
        record = {true, nclib::kVirtualSize, CENTERED, 256, side, side, array.data()};
    }
};

/// Correspondences of a known homography, on a lattice in the square -1 .. 1; each target
/// coordinate is off by up to `noise`.
struct Correspondences {
    std::vector<float> from, to;
    std::vector<uint16_t> indices;
    bcvCorrespondences record;

    Correspondences(uint16_t rows, uint16_t columns, double noise = 0) {
        std::mt19937 random(1);
        std::uniform_real_distribution<double> off(-1.0, 1.0);
        for (uint16_t i = 0; i < rows * columns; ++i) {
            const double x = 2.0 * (i % columns) / (columns - 1) - 1.0;
            const double y = 2.0 * (i / columns) / (rows - 1) - 1.0;
            const auto image = Image(x, y);
            from.insert(from.end(), {static_cast<float>(x), static_cast<float>(y)});
            for (const double coordinate : image) {
                to.push_back(static_cast<float>(coordinate + noise * off(random)));
            }
            indices.push_back(i);
        }
        const uint32_t count = static_cast<uint32_t>(indices.size());
        record = {from.data(), to.data(), 2, 2, count, indices.data(), count};
    }
    Correspondences(const Correspondences&) = delete;
    Correspondences& operator=(const Correspondences&) = delete;

    static std::array<double, 2> Image(double x, double y) {
        const double w = 0.05 * x - 0.02 * y + 1.0;
        return {(1.02 * x + 0.03 * y + 0.1) / w, (-0.03 * x + 0.98 * y - 0.2) / w};
    }
};

}  // namespace bench
