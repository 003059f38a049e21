// SPDX-License-Identifier: Apache-2.0
// Points per second through warps, and what it costs to compose, reverse and fit them.
// What a user could pick instead is measured beside it in compare/.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "platform/lanes.hpp"
#include "steadywarp/nclib.h"
#include "steadywarp/nclib_chip.hpp"
#include "support/warps.hpp"

namespace {

using namespace bench;

constexpr uint32_t kRows = 102, kColumns = 134;  // points of a run, as a raster

std::vector<NcLibWarpGridCoord> ShuffledPoints() {
    auto points = RasterPoints(kRows, kColumns);
    std::shuffle(points.begin(), points.end(), std::mt19937(1));
    return points;
}

void Carry(benchmark::State& state, const std::vector<NcLibInternalWarpTopology>& chain,
           const std::vector<NcLibWarpGridCoord>& points) {
    NcLibChipInfo::Set(kChip, 0);
    std::vector<NcLibWarpGridCoord> out(points.size());
    for (auto _ : state) {
        NcLibInternalApplyTopologyOnPoints(chain.data(), static_cast<uint32_t>(chain.size()),
                                           points.data(), static_cast<uint32_t>(points.size()),
                                           true, out.data());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(points.size()));
}

// side of the matrix array
void ThroughMatrices(benchmark::State& state) {
    const Matrices matrices(static_cast<uint32_t>(state.range(0)));
    Carry(state, {{nullptr, &matrices.record, REGULAR}}, RasterPoints(kRows, kColumns));
}
BENCHMARK(ThroughMatrices)->Arg(1)->Arg(3);

// rows of the grid, direction, whether the points come shuffled
void ThroughGrid(benchmark::State& state) {
    const Mesh mesh(static_cast<uint32_t>(state.range(0)));
    Carry(state, {{&mesh.record, nullptr, static_cast<uint32_t>(state.range(1))}},
          state.range(2) != 0 ? ShuffledPoints() : RasterPoints(kRows, kColumns));
}
BENCHMARK(ThroughGrid)
    ->ArgNames({"rows", "regular", "shuffled"})
    ->ArgsProduct({{27, 51}, {INVERSE, REGULAR}, {0, 1}});

#if defined(__x86_64__)
// What a processor without fused multiply-add takes, on one that has it.
void ThroughGridInPlainForm(benchmark::State& state) {
    const Mesh mesh(27);
    const bool best = std::exchange(platform::g_has_fused_add, false);
    Carry(state, {{&mesh.record, nullptr, REGULAR}}, RasterPoints(kRows, kColumns));
    platform::g_has_fused_add = best;
}
BENCHMARK(ThroughGridInPlainForm);
#endif

void ThroughSixStages(benchmark::State& state) {
    const Mesh coarse(27), fine(51);
    const Matrices single(1), zones(3);
    Carry(state,
          {{nullptr, &single.record, REGULAR},
           {&coarse.record, nullptr, REGULAR},
           {nullptr, &zones.record, REGULAR},
           {&fine.record, nullptr, REGULAR},
           {&fine.record, nullptr, INVERSE},
           {nullptr, &single.record, INVERSE}},
          fine.nodes);
}
BENCHMARK(ThroughSixStages);

void ComposeFineGrids(benchmark::State& state) {
    NcLibChipInfo::Set(kChip, 0);
    const Mesh fine(51);
    const Matrices zones(3);
    std::vector<NcLibWarpGridCoord> nodes(fine.nodes.size());
    std::vector<NcLibPerspTransformSingle> matrices(9);
    const NcLibWarp warp = {zones.record, fine.record, OUT_2_IN};
    NcLibWarp out = {};
    out.grid.grid = nodes.data();
    out.matrices.perspMatrices = matrices.data();
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibWarpComposition(&warp, &warp, &out));
    }
}
BENCHMARK(ComposeFineGrids)->Unit(benchmark::kMicrosecond);

// extrapolation
void ReverseFineGrid(benchmark::State& state) {
    const Mesh fine(51);
    std::vector<float> rows, columns;
    for (int i = 0; i < 51; ++i) {
        rows.push_back(static_cast<float>(i) * 128.0f - 3200.0f);
    }
    for (int i = 0; i < 67; ++i) {
        columns.push_back(static_cast<float>(i) * 128.0f - 4224.0f);
    }
    NcLibWarpReverseGridIn in = {
        51, 67, rows.data(), columns.data(), fine.nodes.data(), 2,       0,
        51, 67, -4224.0f,    -3200,          4224.0f,           3200.0f, false};
    in.extrapolation = static_cast<uint32_t>(state.range(0));
    std::vector<NcLibWarpGridCoord> out(fine.nodes.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibWarpReverseGridDirection(&in, out.data(), nullptr));
    }
}
BENCHMARK(ReverseFineGrid)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

void Fit(benchmark::State& state, void (*fit)(const bcvCorrespondences*, float*)) {
    const Correspondences points(7, 7);
    float h[9];
    for (auto _ : state) {
        fit(&points.record, h);
        benchmark::DoNotOptimize(h);
    }
}
BENCHMARK_CAPTURE(Fit, homography, bcvGeomHomographyFitf32);
BENCHMARK_CAPTURE(Fit, homography_double, bcvGeomHomographyFitDPf32C);
BENCHMARK_CAPTURE(Fit, affine, bcvGeomAffineTransformFitf32);
BENCHMARK_CAPTURE(Fit, rigid, bcvGeomRigidTransformFitf32);

}  // namespace

BENCHMARK_MAIN();
