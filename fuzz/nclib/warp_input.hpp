// SPDX-License-Identifier: Apache-2.0
/// @file warp_input.hpp
/// Random warp records, read off a fuzzer's input. Every array has just the memory that its record
/// claims, so a sanitizer sees the first read beside one.
#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "input.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "steadywarp/nclib.h"
#include "steadywarp/nclib_chip.hpp"

namespace warp_fuzz {

inline constexpr uint32_t kChips[] = {0x10500, 0x10700, 0x10605, 0x40800, 0x60800};

class Input : public steadywarp::fuzz::Input {
  public:
    using steadywarp::fuzz::Input::Input;

    // A coordinate: of the frame mostly, any bits at all now and then.
    float Coordinate() {
        const uint8_t kind = Get<uint8_t>();
        return kind < 16 ? Get<float>() : static_cast<float>(Get<int16_t>()) / 4.0f;
    }
    NcLibWarpGridCoord Point() {
        const float x = Coordinate();
        return {x, Coordinate()};
    }
};

struct Warp {
    std::vector<NcLibPerspTransformSingle> matrices;
    std::vector<NcLibWarpGridCoord> nodes, corners;
    NcLibWarp record = {};
};

inline NcLibImageSize DefinedOn(Input& in) {
    return in.Below(8) != 0 ? NcLibImageSize{8192, 6144}
                            : NcLibImageSize{in.Below(9000), in.Below(9000)};
}

inline void ReadMatrices(Input& in, Warp& warp) {
    NcLibWarpMatrices& m = warp.record.matrices;
    m.enable = in.Flag();
    m.transformDefinedOn = DefinedOn(in);
    m.centerType = in.Below(8) == 0 ? in.Below(3) : 0;
    m.confidence = in.Below(260);
    // Products above nine are a precondition broken; zero is refused.
    m.numRows = in.Below(10);
    m.numColumns = m.numRows == 0 ? 1 : in.Below(9 / m.numRows + 1);
    warp.matrices.resize(size_t{m.numRows} * m.numColumns);
    for (auto& matrix : warp.matrices) {
        for (float& element : matrix.T) {
            element = in.Coordinate();
        }
        // convertMatrixCoordinates() takes no matrix with 0 in its last element.
        matrix.T[8] = matrix.T[8] == 0.0f ? 1.0f : matrix.T[8];
    }
    m.perspMatrices = warp.matrices.data();
}

inline void ReadGrid(Input& in, Warp& warp) {
    constexpr uint32_t kSizes[][2] = {{25, 33}, {27, 35}, {51, 67}};
    NcLibWarpGrid& g = warp.record.grid;
    g.enable = in.Flag();
    g.transformDefinedOn = DefinedOn(in);
    const auto& size = kSizes[in.Below(3)];
    // A size that the chip does not take is a precondition broken; others come without a ring.
    g.numRows = size[0];
    g.numColumns = size[1];
    const bool can_have_ring = NcLibIsGridSizeWarpSupported(size[0], size[1]);
    g.extrapolateType = static_cast<NcLibWarpGridExtrapolationType>(in.Below(3));
    const bool lacks_corners = !NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners();
    if (!can_have_ring || (g.extrapolateType == EXTRAPOLATION_TYPE_NONE && lacks_corners)) {
        g.extrapolateType = EXTRAPOLATION_TYPE_FOUR_CORNERS;
    }
    warp.nodes.resize(size_t{g.numRows} * g.numColumns);
    // A few points repeated fill any size.
    NcLibWarpGridCoord pattern[16];
    std::generate(std::begin(pattern), std::end(pattern), [&] { return in.Point(); });
    for (size_t i = 0; i < warp.nodes.size(); ++i) {
        const NcLibWarpGridCoord& p = pattern[i % 16];
        const float x = static_cast<float>(i % g.numColumns) * 256.0f - 4096.0f;
        const float y = static_cast<float>(i / g.numColumns) * 256.0f - 3072.0f;
        warp.nodes[i] = {x + p.x / 16.0f, y + p.y / 16.0f};
    }
    warp.corners.resize(4);
    std::generate(warp.corners.begin(), warp.corners.end(), [&] { return in.Point(); });
    g.grid = warp.nodes.data();
    g.gridExtrapolate = warp.corners.data();
}

inline Warp ReadWarp(Input& in) {
    Warp warp;
    ReadMatrices(in, warp);
    ReadGrid(in, warp);
    warp.record.direction = in.Below(16) == 0 ? 2 : in.Below(2);
    return warp;
}

// Room for what a composition or a conversion writes, and no more.
inline Warp Room() {
    Warp warp;
    warp.matrices.resize(9);
    warp.nodes.resize(NC_LIB_ICA_GRID_MAX_POINTS);
    warp.corners.resize(4);
    warp.record.matrices.perspMatrices = warp.matrices.data();
    warp.record.grid.grid = warp.nodes.data();
    warp.record.grid.gridExtrapolate = warp.corners.data();
    return warp;
}

inline std::unique_ptr<NcLibIcaGrid> ReadIcaGrid(Input& in) {
    auto ica = std::make_unique<NcLibIcaGrid>();
    const Warp warp = ReadWarp(in);
    NcLibWarpGridToIcaGrid(&warp.record.grid, ica.get());
    // A ring with corners, and a ring or bare corners that the chip does not take, are
    // preconditions broken.
    if (ica->geometry != 0 || !NcLibIsGridSizeWarpSupported(25, 33)) {
        ica->extrapolatedCorners = ica->geometry == 0 ? 1 : 0;
    }
    if (ica->geometry != 0 &&
        !NcLibIsGridSizeWarpSupported(warp.record.grid.numRows, warp.record.grid.numColumns)) {
        ica->geometry = 3;
    }
    if (in.Below(16) == 0) {
        ica->geometry = 3 + in.Below(5);
    }
    return ica;
}

inline NcLibZoomWindow ReadWindow(Input& in) {
    return {in.Get<uint32_t>() >> in.Below(32),
            in.Get<uint32_t>() >> in.Below(32),
            in.Get<int16_t>(),
            in.Get<int16_t>(),
            in.Get<uint32_t>() >> in.Below(32),
            in.Get<uint32_t>() >> in.Below(32)};
}

}  // namespace warp_fuzz
