// SPDX-License-Identifier: Apache-2.0
// The way of records into the virtual domain, their copies, and a grid as text.
#include <algorithm>
#include <cstring>
#include <memory>

#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/Logic/WarpAdjust/warp_debug.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

TEST(RecordChecks, RefuseWhatCannotBeUsed) {
    struct Row {
        const char* what;
        void (*spoil)(NcLibWarpGrid&, NcLibWarpMatrices&);
        bool grid, matrices, virtual_grid, virtual_matrices;
    };
    using G = NcLibWarpGrid;
    using M = NcLibWarpMatrices;
    const Row kRows[] = {
        {"nothing wrong", [](G&, M&) {}, true, true, true, true},
        {"no columns", [](G& g, M& m) { g.numColumns = m.numColumns = 0; }, false, false, false,
         false},
        {"no rows", [](G& g, M& m) { g.numRows = m.numRows = 0; }, false, false, false, false},
        {"no array", [](G& g, M& m) { g.grid = nullptr, m.perspMatrices = nullptr; }, false, false,
         false, false},
        {"no width",
         [](G& g, M& m) {
             g.transformDefinedOn.widthPixels = m.transformDefinedOn.widthPixels = 0;
         },
         false, false, false, false},
        {"no height",
         [](G& g, M& m) {
             g.transformDefinedOn.heightLines = m.transformDefinedOn.heightLines = 0;
         },
         false, false, false, false},
        {"other domain",
         [](G& g, M& m) {
             g.transformDefinedOn = m.transformDefinedOn = {8192, 6143};
         },
         true, true, false, false},
        {"no corners", [](G& g, M&) { g.gridExtrapolate = nullptr; }, false, true, false, true},
        {"confidence 257", [](G&, M& m) { m.confidence = 257; }, true, false, true, false},
        {"not centred", [](G&, M& m) { m.centerType = NOT_CENTERED; }, true, true, true, false},
        {"unknown centre", [](G&, M& m) { m.centerType = 2; }, true, false, true, false},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        Grid grid(25, 33, kCorners);
        Matrices matrices;
        row.spoil(grid.record, matrices.record);
        const auto status = [](bool ok) { return ok ? NC_LIB_SUCCESS : NC_LIB_INVALID_INPUT; };
        EXPECT_EQ(checkInputNcLibWarpGrid(&grid.record), status(row.grid));
        EXPECT_EQ(checkInputNcLibWarpMatrices(&matrices.record), status(row.matrices));
        EXPECT_EQ(checkVirtualNcLibWarpGrid(&grid.record), status(row.virtual_grid));
        EXPECT_EQ(checkVirtualNcLibWarpMatrices(&matrices.record), status(row.virtual_matrices));
    }
}

TEST(RecordChecks, GridSizesFollowTheChip) {
    struct Row {
        uint32_t chip;
        bool plain, ring, fine;
    };
    constexpr Row kRows[] = {{kChip10And20, true, true, false},
                             {kChip10, true, false, false},
                             {kChip20, false, true, false},
                             {kChip30, false, true, true},
                             {kChip40, false, true, true}};
    for (const Row& row : kRows) {
        NcLibChipInfo::Set(row.chip, 0);
        EXPECT_EQ(NcLibIsGridSizeWarpSupported(25, 33), row.plain) << std::hex << row.chip;
        EXPECT_EQ(NcLibIsGridSizeWarpSupported(27, 35), row.ring) << std::hex << row.chip;
        EXPECT_EQ(NcLibIsGridSizeWarpSupported(51, 67), row.fine) << std::hex << row.chip;
        EXPECT_FALSE(NcLibIsGridSizeWarpSupported(33, 25)) << std::hex << row.chip;
    }
}

TEST(VirtualDomain, ScalesPixelRecordsAndKeepsTheOutputsConfidence) {
    NcLibChipInfo::Set(kChip10, 0);
    Grid grid(25, 33, kCorners);
    grid.nodes[7] = {100, -300};
    grid.corners[3] = {2100, 1600};
    grid.record.transformDefinedOn = {4000, 3000};
    Matrices matrices;
    matrices.array[0] = {{1, 2, 3, 4, 5, 6, 7, 8, 9}};
    matrices.record.transformDefinedOn = {4096, 1536};
    NcLibWarp in = {matrices.record, grid.record, IN_2_OUT};
    WarpRoom out;
    out.record.matrices.confidence = 33;
    ASSERT_EQ(NcLibWarpConvertToVirtualDomain(&in, &out.record), NC_LIB_SUCCESS);
    EXPECT_EQ(out.record.direction, uint32_t{IN_2_OUT});
    EXPECT_TRUE(nclib::IsVirtualSize(out.record.grid.transformDefinedOn));
    EXPECT_TRUE(nclib::IsVirtualSize(out.record.matrices.transformDefinedOn));
    EXPECT_EQ(out.record.matrices.confidence, 33u);
    EXPECT_FLOAT_EQ(out.nodes[7].x, 100 * 8192.0f / 4000);
    EXPECT_FLOAT_EQ(out.nodes[7].y, -300 * 6144.0f / 3000);
    EXPECT_FLOAT_EQ(out.corners[3].y, 1600 * 6144.0f / 3000);
    // S T S^-1 with S = diag(2, 4, 1).
    const float expected[9] = {1, 1, 6, 8, 5, 24, 3.5f, 2, 9};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(out.matrices[0].T[i], expected[i]) << i;
    }
    // In place, and once more on what is virtual by now: nothing moves.
    in.matrices.confidence = 77;
    ASSERT_EQ(NcLibWarpConvertToVirtualDomain(&in, &in), NC_LIB_SUCCESS);
    EXPECT_EQ(in.matrices.confidence, 77u);
    EXPECT_TRUE(SameBits(grid.nodes[7], out.nodes[7]));
    ASSERT_EQ(NcLibWarpConvertToVirtualDomain(&in, &out.record), NC_LIB_SUCCESS);
    EXPECT_EQ(out.record.matrices.confidence, 77u);
    EXPECT_TRUE(SameBits(out.nodes[7], grid.nodes[7]));
    in.matrices.enable = in.grid.enable = false;
    ASSERT_EQ(NcLibWarpConvertToVirtualDomain(&in, &out.record), NC_LIB_SUCCESS);
    EXPECT_FALSE(out.record.matrices.enable || out.record.grid.enable);
}

TEST(VirtualDomain, GivesPixelPositionsFromTheUpperLeftCorner) {
    const NcLibImageSize size = {4096, 1536};
    const Point points[3] = {{-4096, -3072}, {0, 0}, {4096, 3072}};
    const Point expected[3] = {{0, 0}, {2048, 768}, {4096, 1536}};
    for (int i = 0; i < 3; ++i) {
        Point pixel;
        convertVirtualToPixel(&points[i], &size, &pixel);
        EXPECT_TRUE(SameBits(pixel, expected[i])) << i;
    }
}

TEST(RecordCopies, KeepTheOutputsArraysAndRoundTripThroughTheFixedRecord) {
    NcLibChipInfo::Set(kChip30, 0);
    Rng rng(5);
    for (const auto& [rows, columns, type] : {std::tuple{25u, 33u, kCorners},
                                              {25u, 33u, kNone},
                                              {27u, 35u, kRing},
                                              {51u, 67u, kRing}}) {
        Grid grid(rows, columns, type);
        grid.Shake(rng, 50.0f);
        auto fixed = std::make_unique<NcLibIcaGrid>();
        fixed->geometry = 99;
        EXPECT_TRUE(NcLibWarpGridToIcaGrid(&grid.record, fixed.get()));
        EXPECT_EQ(fixed->geometry, rows == 25 ? 0u : rows == 27 ? 1u : 2u);
        EXPECT_EQ(fixed->extrapolatedCorners, type == kCorners ? 1u : 0u);
        NcLibWarpGrid view = {};
        EXPECT_TRUE(NcLibIcaGridToWarpGridRef(*fixed, view, false));
        WarpRoom copy;
        NcLibWarp from = {{}, view, OUT_2_IN};
        memcpyWarp(&copy.record, &from);
        EXPECT_EQ(copy.record.grid.grid, copy.nodes.data());
        EXPECT_EQ(copy.record.grid.extrapolateType, type);
        EXPECT_EQ(copy.record.grid.numColumns, columns);
        EXPECT_EQ(0, std::memcmp(copy.nodes.data(), grid.nodes.data(), grid.nodes.size() * 8));
        if (type == kCorners) {
            EXPECT_TRUE(SameBits(copy.corners[2], grid.corners[2]));
        }
    }
}

TEST(RecordCopies, FixedMatricesComeOutCentred) {
    NcLibIcaMatrices fixed = {1, 3, 2, {}, 200, nclib::kVirtualSize};
    fixed.T[5].T[4] = 42;
    WarpRoom room;
    room.record.matrices.centerType = NOT_CENTERED;
    EXPECT_TRUE(NcLibIcaMatricesToWarpMatrices(&fixed, &room.record.matrices));
    EXPECT_TRUE(room.record.matrices.enable);
    EXPECT_EQ(room.record.matrices.numRows, 2u);
    EXPECT_EQ(room.record.matrices.numColumns, 3u);
    EXPECT_EQ(room.record.matrices.confidence, 200u);
    EXPECT_EQ(room.record.matrices.centerType, uint32_t{CENTERED});
    EXPECT_EQ(room.matrices[5].T[4], 42);
}

std::string Dumped(const NcLibIcaGrid* grid, const char* prefix, int decimals) {
    char* text = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&text, &size);
    NcLibDumpIcaGridStruct(file, grid, prefix, decimals);
    std::fclose(file);
    const std::string result(text, size);
    std::free(text);
    return result;
}

TEST(GridDump, WritesKeysAndValues) {
    EXPECT_EQ(Dumped(nullptr, "a.", 2),
              "a.grid_transform_defined_on_width = 0\na.grid_transform_defined_on_height = 0\n"
              "a.grid_num_rows = 0\na.grid_num_columns = 0\na.grid_extrapolate_type = 0\n");
    NcLibChipInfo::Set(kChip10, 0);
    Grid grid(25, 33, kCorners);
    auto fixed = std::make_unique<NcLibIcaGrid>();
    NcLibWarpGridToIcaGrid(&grid.record, fixed.get());
    const std::string text = Dumped(fixed.get(), "p_", 1);
    EXPECT_EQ(
        text.substr(0, text.find("grid_array_x")),
        "p_grid_transform_defined_on_width = 8192\np_grid_transform_defined_on_height = 6144\n"
        "p_grid_num_rows = 25\np_grid_num_columns = 33\np_grid_extrapolate_type = 1\n"
        "p_gridExtrapolateArrayX = -4352.0, 4352.0, -4352.0, 4352.0\n "
        "p_gridExtrapolateArrayY = -3328.0, -3328.0, 3328.0, 3328.0\np_");
    EXPECT_NE(text.find("p_grid_array_x = -4096.0, -3840.0, "), std::string::npos);
    EXPECT_TRUE(text.ends_with(" 3072.0, 3072.0\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), ','), 2 * 3 + 2 * 824);
    fixed->enable = 0;
    EXPECT_EQ(Dumped(fixed.get(), "a.", 2), Dumped(nullptr, "a.", 2));
}

}  // namespace
