// SPDX-License-Identifier: Apache-2.0
// What a camera node pays per frame beside the stabilizer: motion for its temporal filters, faces,
// the program of the warp hardware, one grid out of two warps.
#include <benchmark/benchmark.h>

#include <memory>

#include "nclib/Logic/WarpAdjust/composition.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "steadywarp/eis_utility.h"
#include "steadywarp/nclib_ica.h"
#include "steadywarp/nclib_temporal.h"
#include "support/warps.hpp"

namespace {

using namespace bench;

// Two frames with a lens, a hand (one matrix, or three zones) and a motion between them.
struct Frames {
    Mesh lens{27};
    Matrices hand, motion{1};
    NcLibWarp lens_warp{{}, lens.record, OUT_2_IN};
    NcLibWarp hand_warp{hand.record, {}, OUT_2_IN};
    NcLibWarp motion_warp{motion.record, {}, OUT_2_IN};
    std::vector<NcLibWarpGridCoord> assist_nodes = std::vector<NcLibWarpGridCoord>(33 * 25);
    NcLibWarpGrid assist{};
    NcLibWarpBuildAssistGridOut record{&assist, &hand_warp};
    std::vector<NcLibWarpGridCoord> nodes = std::vector<NcLibWarpGridCoord>(3417);
    std::vector<NcLibPerspTransformSingle> matrices = std::vector<NcLibPerspTransformSingle>(9);
    NcLibWarp out{};

    explicit Frames(uint32_t side = 1) : hand(side) {
        NcLibChipInfo::Set(kChip, 0);
        assist.grid = assist_nodes.data();
        const NcLibWarpBuildAssistGridIn request = {&hand_warp, 33, 25};
        NcLibWarpBuildAssistGrid(&request, &record);
        out.grid.grid = nodes.data();
        out.matrices.perspMatrices = matrices.data();
    }
    FrameWarps Warps(uint32_t domain) const {
        return {domain, &motion_warp, &record, &record, &lens_warp, &lens_warp};
    }
};

constexpr NcLibImageSize kSize = {1920, 1080};
constexpr NcLibZoomWindow kWhole = {1920, 1080, 0, 0, 1920, 1080};

// zones of the hand's matrices, rows of the grid that comes out; 0 rows: a fitted matrix
void MotionOfTemporalFilter(benchmark::State& state) {
    Frames frames(static_cast<uint32_t>(state.range(0)));
    const bool is_grid = state.range(1) != 0;
    NcLibCalcMctfIn in{};
    in.inputSize = &kSize;
    in.eisFOV = kWhole;
    in.frameWarps = frames.Warps(is_grid ? STABILIZED_IMAGE_DOMAIN : DISTORTED_IMAGE_DOMAIN);
    in.outDomain = is_grid ? DISTORTED_IMAGE_DOMAIN : STABILIZED_IMAGE_DOMAIN;
    frames.out.grid.numRows = static_cast<uint32_t>(state.range(1));
    frames.out.grid.numColumns = state.range(1) == 51 ? 67 : 35;
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibCalcMctfTransform(&in, &frames.out));
    }
}
BENCHMARK(MotionOfTemporalFilter)
    ->ArgNames({"zones", "rows"})
    ->ArgsProduct({{1, 3}, {0, 27, 51}})
    ->Unit(benchmark::kMicrosecond);

// zones of the hand's matrices
void FacesAndPoints(benchmark::State& state) {
    const Frames frames(static_cast<uint32_t>(state.range(0)));
    FD_CONFIG_CONTEXT faces = {5, {100, 500, 900, 1300, 1700}, {100, 300, 500, 700, 900}, {}},
                      carried;
    NcLibWarpGeomIn in{};
    in.inputSize = kSize;
    in.eisFOV = kWhole;
    in.frameWarps = frames.Warps(UNDISTORTED_IMAGE_DOMAIN);
    in.fdConfig = &faces;
    in.fdFromPreviousFrame = true;
    NcLibWarpGeomOut out = {&carried, {}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibWarpGeometries(&in, &out));
    }
}
BENCHMARK(FacesAndPoints)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

void MotionStatistics(benchmark::State& state) {
    const Frames frames;
    const NcLibGenerateGMOStatisticsIn in = {
        {frames.motion.record, frames.lens.record, OUT_2_IN}, kSize, kWhole};
    NcLibGenerateGMOStatisticsOut out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibGenerateGMOStatistics(&in, &out));
    }
}
BENCHMARK(MotionStatistics)->Unit(benchmark::kMicrosecond);

// rows of the grid
void PartOfABatch(benchmark::State& state) {
    Frames frames;
    const Mesh mesh(static_cast<uint32_t>(state.range(0)));
    const NcLibWarp batch = {{}, mesh.record, OUT_2_IN};
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibGenerateHfr(&batch, 8, &frames.out));
    }
}
BENCHMARK(PartOfABatch)->Arg(27)->Arg(51)->Unit(benchmark::kMicrosecond);

// rows of the grid
void ValidityForHardware(benchmark::State& state) {
    const Frames frames;
    const Mesh mesh(static_cast<uint32_t>(state.range(0)));
    const NcLibWarp warp = {frames.motion.record, mesh.record, OUT_2_IN};
    const NcLibCheckIcaTransformValidityIn in = {&warp, kWhole, kWhole};
    std::vector<NcLibWarpGridCoord> scratch(NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES / 8);
    int is_valid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            NcLibCheckIcaTransformValidity(&in, false, scratch.data(), &is_valid, nullptr));
    }
}
BENCHMARK(ValidityForHardware)->Arg(27)->Arg(51)->Unit(benchmark::kMicrosecond);

// rows of the grid, whether it comes from the flow
void ProgramOfHardware(benchmark::State& state) {
    const Frames frames(3);
    const Mesh mesh(static_cast<uint32_t>(state.range(0)));
    auto ica = std::make_unique<NcLibIcaGrid>();
    auto tables = std::make_unique<NcLibIcaWarp>();
    NcLibWarpGridToIcaGrid(&mesh.record, ica.get());
    const ICA_Tessaline tuning{};
    IcaParameters parameters{};
    const uint8_t by_flow = state.range(1) != 0 ? 1 : 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ICA_ProcessNcLib(&tuning, ica.get(), &mesh.record,
                                                  &frames.hand.record, nullptr, nullptr, by_flow,
                                                  30, tables.get(), &parameters, nullptr, nullptr));
    }
}
BENCHMARK(ProgramOfHardware)
    ->ArgNames({"rows", "flow"})
    ->ArgsProduct({{27, 51}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

// whether the transform has a grid
void OneGridOfTwoWarps(benchmark::State& state) {
    Frames frames;
    Mesh bend(27);
    NcLibWarp transform = {frames.motion.record, bend.record, OUT_2_IN};
    transform.grid.enable = state.range(0) != 0;
    std::vector<unsigned char> work(EIS_SINGLE_GRID_WORK_BYTES);
    for (auto _ : state) {
        benchmark::DoNotOptimize(eis_utility_convert_output_stabilize_to_single_grid(
            &frames.lens.record, &transform, work.data(), work.size(), &frames.out.grid));
    }
}
BENCHMARK(OneGridOfTwoWarps)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void MatricesOfAGrid(benchmark::State& state) {
    const Mesh mesh(27);
    NcLibPerspTransformSingle strips[EIS_GRID_STRIPS];
    NcLibWarpMatrices matrices{};
    matrices.perspMatrices = strips;
    for (auto _ : state) {
        matrices.enable = false;
        benchmark::DoNotOptimize(eis_utility_convert_grid_to_matrices(&mesh.record, &matrices));
    }
}
BENCHMARK(MatricesOfAGrid)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
