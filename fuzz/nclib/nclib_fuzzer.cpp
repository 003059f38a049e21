// SPDX-License-Identifier: Apache-2.0
// Random records through the warp library. Every array has just the memory that its record claims,
// so a sanitizer sees the first read beside one. What the library documents as a precondition is
// kept; everything else, NaN and infinities included, is up to the input.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "platform/log.hpp"
#include "steadywarp/nclib.h"
#include "steadywarp/nclib_chip.hpp"

namespace {

// Reads values off the input; zeros behind its end.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}

    template <typename T>
    T Get() {
        T value{};
        const size_t count = std::min(sizeof value, left_);
        std::memcpy(&value, data_, count);
        data_ += count;
        left_ -= count;
        return value;
    }
    uint32_t Below(uint32_t end) { return Get<uint16_t>() % end; }
    bool Flag() { return (Get<uint8_t>() & 1) != 0; }

    // A coordinate: of the frame mostly, any bits at all now and then.
    float Coordinate() {
        const uint8_t kind = Get<uint8_t>();
        return kind < 16 ? Get<float>() : static_cast<float>(Get<int16_t>()) / 4.0f;
    }
    NcLibWarpGridCoord Point() {
        const float x = Coordinate();
        return {x, Coordinate()};
    }

  private:
    const uint8_t* data_;
    size_t left_;
};

constexpr uint32_t kChips[] = {0x10500, 0x10700, 0x10605, 0x40800, 0x60800};

struct Warp {
    std::vector<NcLibPerspTransformSingle> matrices;
    std::vector<NcLibWarpGridCoord> nodes, corners;
    NcLibWarp record = {};
};

NcLibImageSize DefinedOn(Input& in) {
    return in.Below(8) != 0 ? NcLibImageSize{8192, 6144}
                            : NcLibImageSize{in.Below(9000), in.Below(9000)};
}

void ReadMatrices(Input& in, Warp& warp) {
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

void ReadGrid(Input& in, Warp& warp) {
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

Warp ReadWarp(Input& in) {
    Warp warp;
    ReadMatrices(in, warp);
    ReadGrid(in, warp);
    warp.record.direction = in.Below(16) == 0 ? 2 : in.Below(2);
    return warp;
}

// Room for what a composition or a conversion writes, and no more.
Warp Room() {
    Warp warp;
    warp.matrices.resize(9);
    warp.nodes.resize(NC_LIB_ICA_GRID_MAX_POINTS);
    warp.corners.resize(4);
    warp.record.matrices.perspMatrices = warp.matrices.data();
    warp.record.grid.grid = warp.nodes.data();
    warp.record.grid.gridExtrapolate = warp.corners.data();
    return warp;
}

std::unique_ptr<NcLibIcaGrid> ReadIcaGrid(Input& in) {
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

NcLibZoomWindow ReadWindow(Input& in) {
    return {in.Get<uint32_t>() >> in.Below(32),
            in.Get<uint32_t>() >> in.Below(32),
            in.Get<int16_t>(),
            in.Get<int16_t>(),
            in.Get<uint32_t>() >> in.Below(32),
            in.Get<uint32_t>() >> in.Below(32)};
}

void Compose(Input& in) {
    const Warp first = ReadWarp(in), second = ReadWarp(in);
    Warp out = Room(), converted = Room();
    if (NcLibIsGridSizeWarpSupported(first.record.grid.numRows, first.record.grid.numColumns)) {
        NcLibWarpConvertToVirtualDomain(&first.record, &converted.record);
    }
    NcLibWarpComposition(&first.record, &second.record, &out.record);
    const NcLibCropWindow crop = {in.Coordinate(), in.Coordinate(), in.Coordinate(),
                                  in.Coordinate(), in.Coordinate(), in.Coordinate()};
    float dilution = 0;
    NcLibWarpComposition_MFHDR_NoBreach(&first.record, &second.record, &crop, &out.record,
                                        &dilution);
    NcLibWarpDebugNcLibWarpGridValidate(&first.record.grid);
}

void Carry(Input& in) {
    const Warp warp = ReadWarp(in);
    if (checkInputNcLibWarpMatrices(&warp.record.matrices) != NC_LIB_SUCCESS) {
        return;
    }
    const NcLibInternalWarpTopology chain[3] = {{nullptr, &warp.record.matrices, REGULAR},
                                                {&warp.record.grid, nullptr, REGULAR},
                                                {&warp.record.grid, nullptr, INVERSE}};
    NcLibWarpGridCoord points[32];
    std::generate(std::begin(points), std::end(points), [&] { return in.Point(); });
    NcLibInternalApplyTopologyOnPoints(chain, 3, points, 32, in.Flag(), points);
}

void Resample(Input& in) {
    const auto grid = ReadIcaGrid(in);
    auto out = std::make_unique<NcLibIcaGrid>();
    const NcLibZoomWindow a = ReadWindow(in), b = ReadWindow(in);
    NcLibZoomWindow window;
    NcLibResampleGrid(grid.get(), &a, &b, out.get());
    NcLibCalcMinInputWindow(&a, grid.get(), &window);
    NcLibCalcMaxOutputWindow(&a, &b, grid.get(), &window);
    const NcLibGridSize size = {in.Below(12), in.Below(12)};
    std::vector<double> x(size.numColumns * size.numRows), y(x.size());
    std::generate(x.begin(), x.end(), [&] { return static_cast<double>(in.Coordinate()); });
    std::generate(y.begin(), y.end(), [&] { return static_cast<double>(in.Coordinate()); });
    NcLibResampleGridForIca(x.data(), y.data(), &size, in.Below(4), &a, in.Below(4), out.get());
}

void Guard(Input& in) {
    Warp warp = ReadWarp(in);
    if (!NcLibIsGridSizeWarpSupported(warp.record.grid.numRows, warp.record.grid.numColumns)) {
        return;
    }
    float dilution = 0;
    NcLibWarpVerifyGrid_NoBreach(&warp.record.grid, in.Coordinate() / 4096.0f, &dilution);
}

void Reverse(Input& in) {
    NcLibWarpReverseGridIn request = {};
    const uint32_t rows = 1 + in.Below(8), columns = 1 + in.Below(8);
    std::vector<float> y(rows), x(columns);
    std::vector<NcLibWarpGridCoord> landing(rows * columns);
    std::generate(y.begin(), y.end(), [&] { return in.Coordinate(); });
    std::generate(x.begin(), x.end(), [&] { return in.Coordinate(); });
    std::generate(landing.begin(), landing.end(), [&] { return in.Point(); });
    request.srcGridNumRows = static_cast<int32_t>(rows);
    request.srcGridNumColumns = static_cast<int32_t>(columns);
    request.srcGridRowCoords = y.data();
    request.srcGridColumnCoords = x.data();
    request.dstCoords = landing.data();
    request.triangulation = static_cast<int32_t>(in.Below(4));
    request.extrapolation = in.Below(4);
    request.dstGridNumRows = static_cast<int32_t>(in.Below(12));
    request.dstGridNumColumns = static_cast<int32_t>(in.Below(12));
    request.dstGridStartX = in.Coordinate();
    request.dstGridStartY = in.Coordinate();
    request.dstGridEndX = in.Coordinate();
    request.dstGridEndY = in.Coordinate();
    request.useBoundaryTest = in.Flag();
    std::vector<NcLibWarpGridCoord> out(
        static_cast<size_t>(request.dstGridNumRows * request.dstGridNumColumns));
    out.reserve(1);
    float percent = 0;
    NcLibWarpReverseGridDirection(&request, out.data(), &percent);
}

void FitAndScore(Input& in) {
    const uint32_t points = in.Below(24), used = in.Below(24);
    std::vector<float> from(2 * points), to(2 * points);
    std::vector<uint16_t> indices(used);
    std::generate(from.begin(), from.end(), [&] { return in.Coordinate(); });
    std::generate(to.begin(), to.end(), [&] { return in.Coordinate(); });
    std::generate(indices.begin(), indices.end(),
                  [&] { return static_cast<uint16_t>(in.Below(points + 1)); });
    const bcvCorrespondences c = {from.data(), to.data(), 2, 2, points, indices.data(), used};
    float h[9];
    bcvGeomAffineTransformFitf32(&c, h);
    bcvGeomRigidTransformFitf32(&c, h);
    bcvGeomRigidTransformFitDP(&c, h);
    bcvGeomHomographyFitf32(&c, h);
    std::vector<unsigned short> inliers(used);
    inliers.reserve(1);
    int count = 0;
    float score = 0;
    const float threshold = in.Coordinate();
    bcvGeomHomographyEvaluatef32(&c, h, threshold, 0, inliers.data(), &count);
    bcvGeomHomographyEvaluateMSACf32(&c, h, threshold, inliers.data(), &count, &score);
    bcvGeomAffineTransformEvaluatef32(&c, h, threshold, inliers.data(), &count, &score);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Zelm::Log::SetSink([](uint32_t, Zelm::Log::Level, const char*, void*) {}, nullptr);
    Input in(data, size);
    NcLibChipInfo::Set(kChips[in.Below(std::size(kChips))], 0);
    constexpr void (*kOperations[])(Input&) = {Compose, Carry,   Resample,
                                               Guard,   Reverse, FitAndScore};
    kOperations[in.Below(std::size(kOperations))](in);
    return 0;
}
