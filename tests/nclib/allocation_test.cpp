// SPDX-License-Identifier: Apache-2.0
// Nothing but grid reversal allocates, and reversal copes without memory.
#include <memory>

#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "platform/memory.hpp"
#include "steadywarp/eis_utility.h"
#include "steadywarp/nclib_ica.h"
#include "steadywarp/nclib_temporal.h"
#include "support/allocation_counter.hpp"
#include "support/frame_fixtures.hpp"

namespace {

using namespace warp_test;
using steadywarp::test::allocation_count;

void DropLine(uint32_t, Zelm::Log::Level, const char*, void*) {}

TEST(WarpAllocation, OnlyReversalAllocates) {
    NcLibChipInfo::Set(kChip30, 0);
    Zelm::Log::SetSink(DropLine, nullptr);
    Rng rng(18);
    Grid grid(51, 67, kRing), other(51, 67, kRing);
    Matrices matrices(3, 3);
    matrices.Shake(rng, 0.1f);
    const NcLibWarp first = {matrices.record, grid.record, OUT_2_IN};
    const NcLibWarp second = {matrices.record, other.record, OUT_2_IN};
    WarpRoom out;
    auto ica = std::make_unique<NcLibIcaGrid>();
    auto ica_out = std::make_unique<NcLibIcaGrid>();
    NcLibWarpGridToIcaGrid(&grid.record, ica.get());
    const NcLibZoomWindow window = {100, 100, 25, 25, 50, 50};
    NcLibZoomWindow window_out;
    const NcLibCropWindow crop = {100, 100, 50, 50, 25, 25};
    float dilution;
    std::vector<double> raw(99, 1.0);
    const NcLibGridSize raw_size = {11, 9};
    std::vector<float> flat(64, 0.5f);
    std::vector<uint16_t> indices = {0, 1, 2, 3, 4, 5, 6, 7};
    for (size_t i = 0; i < flat.size(); ++i) {
        flat[i] = rng.Uniform(-1, 1);
    }
    const bcvCorrespondences points = {flat.data(), flat.data() + 32, 2, 2, 16, indices.data(), 8};
    float h[9];
    const NcLibInternalWarpTopology backward = {&grid.record, nullptr, INVERSE};
    Grid mesh(51, 67, kRing);

    const size_t before = allocation_count();
    NcLibWarpConvertToVirtualDomain(&first, &out.record);
    NcLibWarpComposition(&first, &second, &out.record);
    NcLibWarpComposition_MFHDR_NoBreach(&first, &second, &crop, &out.record, &dilution);
    NcLibWarpVerifyGrid_NoBreach(&mesh.record, 0.1f, &dilution);
    NcLibResampleGrid(ica.get(), &window, &window, ica_out.get());
    NcLibResampleGridForIca(raw.data(), raw.data(), &raw_size, 0, &window, 2, ica_out.get());
    NcLibCalcMinInputWindow(&window, ica.get(), &window_out);
    NcLibCalcMaxOutputWindow(&window, &window, ica.get(), &window_out);
    NcLibWarpDebugNcLibWarpGridValidate(&grid.record);
    NcLibInternalApplyTopologyOnPoints(&backward, 1, other.nodes.data(), 3417, true,
                                       mesh.nodes.data());
    bcvGeomHomographyFitf32(&points, h);
    bcvGeomAffineTransformFitf32(&points, h);
    bcvGeomRigidTransformFitDP(&points, h);
    NcLibWarpConvertToVirtualDomain(nullptr, nullptr);  // logs
    EXPECT_EQ(allocation_count(), before);
    Zelm::Log::SetSink(nullptr, nullptr);
}

TEST(WarpAllocation, AZeroedBlockIsWholeOrNone) {
    for (const size_t alignment : {size_t{8}, size_t{256}}) {
        steadywarp::test::fail_any_allocation(1);
        EXPECT_EQ(ZelmCalloc(64, alignment, ZelmMemoryType::kGeneral), nullptr) << alignment;
        EXPECT_EQ(steadywarp::test::fail_any_allocation(0), 0u) << alignment;
    }
}

TEST(WarpAllocation, FunctionsOnWholeFramesAllocateNothing) {
    NcLibChipInfo::Set(kChip30, 0);
    Zelm::Log::SetSink(DropLine, nullptr);
    Frame now(1e-9, kHandNow, 3), before(1e-9, kHandBefore, 3);
    Alignment alignment(kMotion);
    WarpRoom room;
    room.record.grid.numRows = 27;
    room.record.grid.numColumns = 35;
    const NcLibImageSize size = {1920, 1440};
    const NcLibZoomWindow whole = {1920, 1440, 0, 0, 1920, 1440};
    FD_CONFIG_CONTEXT faces = {1, {500}, {400}, {}}, carried;
    NcLibWarpGeomIn geom{};
    geom.inputSize = size;
    geom.eisFOV = whole;
    geom.frameWarps = {STABILIZED_IMAGE_DOMAIN, &alignment.warp, &now.record,
                       &before.record,          &now.lens,       &before.lens};
    geom.fdConfig = &faces;
    geom.fdFromPreviousFrame = true;
    NcLibWarpGeomOut geom_out = {&carried, {}};
    NcLibCalcMctfIn mctf{};
    mctf.inputSize = &size;
    mctf.eisFOV = whole;
    mctf.frameWarps = geom.frameWarps;
    const NcLibGenerateGMOStatisticsIn statistics = {alignment.warp, size, whole};
    NcLibGenerateGMOStatisticsOut sums;
    std::vector<NcLibWarpGridCoord> scratch(NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES / 8);
    const NcLibCheckIcaTransformValidityIn validity = {&alignment.warp, whole, whole};
    int is_valid = 0;
    const ICA_Tessaline tuning{};
    auto tables = std::make_unique<NcLibIcaWarp>();
    IcaParameters parameters{};
    std::vector<unsigned char> work(EIS_SINGLE_GRID_WORK_BYTES);
    NcLibWarp fold = {alignment.matrices.record, now.lens_grid->record, OUT_2_IN};
    NcLibWarpMatrices strips = room.record.matrices;

    const size_t start = allocation_count();
    EXPECT_EQ(NcLibWarpGeometries(&geom, &geom_out), NC_LIB_SUCCESS);
    EXPECT_EQ(NcLibCalcMctfTransform(&mctf, &room.record), NC_LIB_SUCCESS);
    mctf.outDomain = STABILIZED_IMAGE_DOMAIN;
    mctf.frameWarps.alignmentDomain = DISTORTED_IMAGE_DOMAIN;
    EXPECT_EQ(NcLibCalcMctfTransform(&mctf, &room.record), NC_LIB_SUCCESS);
    EXPECT_EQ(NcLibGenerateGMOStatistics(&statistics, &sums), NC_LIB_SUCCESS);
    EXPECT_EQ(NcLibGenerateHfr(&now.lens, 2, &room.record), NC_LIB_SUCCESS);
    EXPECT_EQ(NcLibCheckIcaTransformValidity(&validity, false, scratch.data(), &is_valid, nullptr),
              NC_LIB_SUCCESS);
    EXPECT_EQ(
        ICA_ProcessNcLib(&tuning, nullptr, &now.lens_grid->record, &now.matrices.record, nullptr,
                         nullptr, 1, 30, tables.get(), &parameters, nullptr, nullptr),
        NC_LIB_SUCCESS);
    EXPECT_EQ(eis_utility_convert_output_stabilize_to_single_grid(
                  &before.lens_grid->record, &fold, work.data(), work.size(), &room.record.grid),
              EIS_SUCCESS);
    EXPECT_EQ(eis_utility_convert_grid_to_matrices(&room.record.grid, &strips), EIS_SUCCESS);
    EXPECT_EQ(allocation_count(), start);
    Zelm::Log::SetSink(nullptr, nullptr);
}

TEST(WarpAllocation, ReversalReportsAMissingOutlineAndFillsWithoutWorkLists) {
    const float steps[3] = {10, 20, 30};
    std::vector<NcLibWarpGridCoord> landing;
    for (const float y : steps) {
        for (const float x : steps) {
            landing.push_back({x, y});
        }
    }
    NcLibWarpReverseGridIn in = {3, 3, steps, steps, landing.data(), 1, 2, 5, 5,
                                 0, 0, 40,    40,    false};
    NcLibWarpGridCoord out[25];
    LogCapture log;
    steadywarp::test::fail_c_allocation(1);
    EXPECT_EQ(NcLibWarpReverseGridDirection(&in, out, nullptr), NC_LIB_INVALID_INPUT);
    EXPECT_EQ(log.Messages(), "NULL pointer: gridExternalPoints");
    for (const size_t n : {2u, 3u}) {
        steadywarp::test::fail_c_allocation(n);
        EXPECT_EQ(NcLibWarpReverseGridDirection(&in, out, nullptr), NC_LIB_SUCCESS);
        for (int i = 0; i < 25; ++i) {
            EXPECT_LT(
                Distance(out[i], {static_cast<float>(i % 5 * 10), static_cast<float>(i / 5 * 10)}),
                1e-4f);
        }
    }
    EXPECT_EQ(log.Messages(),
              "NULL pointer: gridExternalPoints\nCorner case in reverse grid calc\nCorner case in "
              "reverse grid calc");
}

}  // namespace
