// SPDX-License-Identifier: Apache-2.0
// Random records through the warp library. What the library documents as a precondition is kept;
// everything else, NaN and infinities included, is up to the input.
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "platform/log.hpp"
#include "warp_input.hpp"

namespace {

using namespace warp_fuzz;

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
