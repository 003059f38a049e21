// SPDX-License-Identifier: Apache-2.0
// What is refused, with its exact message and status, and what ends the process.
#include <functional>
#include <limits>
#include <memory>

#include "nclib/Logic/WarpAdjust/bicubic.hpp"
#include "nclib/Logic/WarpAdjust/composition.hpp"
#include "nclib/Logic/WarpAdjust/grid_boundary.hpp"
#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"
#include "nclib/Logic/WarpAdjust/mesh_validate.hpp"
#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/resample.hpp"
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/Logic/WarpAdjust/warp_debug.hpp"
#include "nclib/Logic/WarpAdjust/windows.hpp"
#include "platform/os_utils.hpp"
#include "platform/trace.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

// Arguments that every operation takes, fresh for each row of a table.
struct Args {
    Matrices m1, m2;
    Grid g1{27, 35, kRing}, g2{27, 35, kRing};
    NcLibWarp first{m1.record, g1.record, OUT_2_IN};
    NcLibWarp second{m2.record, g2.record, OUT_2_IN};
    WarpRoom room;
    NcLibWarp& out = room.record;
    std::unique_ptr<NcLibIcaGrid> ica = std::make_unique<NcLibIcaGrid>();
    std::unique_ptr<NcLibIcaGrid> ica_out = std::make_unique<NcLibIcaGrid>();
    NcLibROI roi{{0.25f, 0.25f}, {0.5f, 0.5f}};
    NcLibROI roi2 = roi;
    NcLibZoomWindow window{100, 100, 25, 25, 50, 50};
    NcLibCropWindow crop{100, 100, 50, 50, 25, 25};
    std::vector<double> raw = std::vector<double>(16, 1.0);
    NcLibGridSize raw_size{4, 4};
    NcLibWarpBuildAssistGridIn assist_in{&first, 33, 25};
    NcLibWarpBuildAssistGridOut assist_out{&room.record.grid, nullptr};
    std::vector<float> source{0, 1};
    std::vector<Point> landing = std::vector<Point>(4);
    NcLibWarpReverseGridIn reverse{};
    Point points[4] = {};
    float f = 0;

    Args() {
        NcLibChipInfo::Set(kChip30, 0);
        NcLibWarpGridToIcaGrid(&g1.record, ica.get());
        reverse.srcGridNumRows = reverse.srcGridNumColumns = 2;
        reverse.srcGridRowCoords = reverse.srcGridColumnCoords = source.data();
        reverse.dstCoords = landing.data();
    }

    int32_t Compose() { return NcLibWarpComposition(&first, &second, &out); }
    int32_t Dilute() {
        return NcLibWarpComposition_MFHDR_NoBreach(&first, &second, &crop, &out, &f);
    }
    int32_t Convert() { return NcLibWarpConvertToVirtualDomain(&first, &out); }
    int32_t Resample() { return NcLibResampleGridFloat(ica.get(), &roi, &roi2, ica_out.get()); }
    int32_t Raw(uint32_t geometry = 1) {
        return NcLibResampleGridForIca(raw.data(), raw.data(), &raw_size, 0, &window, geometry,
                                       ica_out.get());
    }
    int32_t MinInput() { return NcLibCalcMinInputWindow(&window, ica.get(), &window); }
    int32_t MaxOutput() { return NcLibCalcMaxOutputWindowFloat(&roi, &roi2, ica.get(), &roi); }
    int32_t Reverse() { return NcLibWarpReverseGridDirection(&reverse, points, &f); }
    int32_t Assist() { return NcLibWarpBuildAssistGrid(&assist_in, &assist_out); }
};

constexpr int32_t kInvalid = NC_LIB_INVALID_INPUT;
constexpr int32_t kGeneral = NC_LIB_GENERAL_ERROR;

struct Refusal {
    std::function<int32_t(Args&)> call;
    int32_t status;
    const char* messages;
};

// clang-format off
const Refusal kRefusals[] = {
    // Way into the virtual domain
    {[](Args& a) { return NcLibWarpConvertToVirtualDomain(nullptr, &a.out); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { return NcLibWarpConvertToVirtualDomain(&a.first, nullptr); }, kInvalid, "NULL pointer: out"},
    {[](Args& a) { a.first.direction = 2; return a.Convert(); }, kInvalid, "Invalid input direction: 2"},
    {[](Args& a) { a.first.matrices.confidence = 257; return a.Convert(); }, kInvalid, "Invalid matrices input"},
    {[](Args& a) { a.first.grid.numRows = 0; return a.Convert(); }, kInvalid, "Invalid grid input"},
    {[](Args& a) { a.out.matrices.perspMatrices = nullptr; return a.Convert(); }, kInvalid,
     "wrong settings, in->matrices.enable = true, but out->matrices.perspMatrices is NULL"},
    {[](Args& a) { a.out.grid.grid = nullptr; return a.Convert(); }, kInvalid,
     "wrong settings, in->grid.enable = true, but out->grid.grid is NULL"},
    // Composition
    {[](Args& a) { return NcLibWarpComposition(nullptr, &a.second, &a.out); }, kInvalid, "NULL pointer: firstWarp"},
    {[](Args& a) { return NcLibWarpComposition(&a.first, nullptr, &a.out); }, kInvalid, "NULL pointer: secondWarp"},
    {[](Args& a) { return NcLibWarpComposition(&a.first, &a.second, nullptr); }, kInvalid, "NULL pointer: output"},
    {[](Args& a) { a.first.grid.transformDefinedOn = {1, 1}; a.first.matrices.numRows = 0; return a.Compose(); },
     kInvalid, "Invalid firstWarp grid"},
    {[](Args& a) { a.first.matrices.centerType = NOT_CENTERED; return a.Compose(); }, kInvalid, "Invalid firstWarp matrices"},
    {[](Args& a) { a.second.grid.grid = nullptr; return a.Compose(); }, kInvalid, "Invalid secondWarp grid"},
    {[](Args& a) { a.second.matrices.numColumns = 0; return a.Compose(); }, kInvalid, "Invalid secondWarp matrices"},
    {[](Args& a) { a.out.grid.grid = nullptr; return a.Compose(); }, kInvalid, "NULL pointer: output->grid.grid"},
    {[](Args& a) { a.out.matrices.perspMatrices = nullptr; return a.Compose(); }, kInvalid,
     "NULL pointer: output->matrices.perspMatrices"},
    {[](Args& a) { a.second.grid.grid = nullptr; return a.Dilute(); }, kInvalid, "Invalid secondWarp grid"},
    {[](Args& a) { return NcLibWarpComposition_MFHDR_NoBreach(&a.first, &a.second, nullptr, &a.out, &a.f); },
     kInvalid, "NULL pointer: crop"},
    // Breach guard
    {[](Args& a) { return NcLibWarpVerifyGrid_NoBreach(nullptr, 0.1f, &a.f); }, kInvalid, "NULL pointer: grid"},
    {[](Args& a) { a.g1.record.grid = nullptr; return NcLibWarpVerifyGrid_NoBreach(&a.g1.record, 0.1f, &a.f); },
     kInvalid, "NULL pointer: grid->grid"},
    {[](Args& a) { a.g1.record.transformDefinedOn = {1, 1}; return NcLibWarpVerifyGrid_NoBreach(&a.g1.record, 0.1f, &a.f); },
     kInvalid, "Alignment:margin: NcLib 0.1\nInvalid grid"},
    {[](Args& a) { return NcLibWarpVerifyGrid_NoBreach(&a.g1.record, 0, &a.f); }, kInvalid,
     "Alignment:margin: NcLib 0\nAlignment margins not within (0, 1): 0"},
    {[](Args& a) { return NcLibWarpVerifyGrid_NoBreach(&a.g1.record, 1, &a.f); }, kInvalid,
     "Alignment:margin: NcLib 1\nAlignment margins not within (0, 1): 1"},
    {[](Args& a) { a.g1.Change_([](Point) { return Point{9e5f, 0}; });
                   return NcLibWarpVerifyGrid_NoBreach(&a.g1.record, 0.3f, &a.f); },
     kGeneral, "Alignment:margin: NcLib 0.3\nCould not prevent breach by diluting grid"},
    // A margin of next to nothing ends too, after as many tries as one unit of margin gets.
    {[](Args& a) { a.g1.Change_([](Point) { return Point{9e5f, 0}; });
                   return NcLibWarpVerifyGrid_NoBreach(&a.g1.record, 1e-30f, &a.f); },
     kGeneral, "Alignment:margin: NcLib 1e-30\nCould not prevent breach by diluting grid"},
    // Resampling
    {[](Args& a) { return NcLibResampleGridFloat(nullptr, &a.roi, &a.roi, a.ica_out.get()); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { return NcLibResampleGridFloat(a.ica.get(), &a.roi, &a.roi, nullptr); }, kInvalid, "NULL pointer: out"},
    {[](Args& a) { return NcLibResampleGridFloat(a.ica.get(), &a.roi, nullptr, a.ica_out.get()); }, kInvalid,
     "NULL pointer: ifeZoomWindow"},
    {[](Args& a) { return NcLibResampleGridFloat(a.ica.get(), nullptr, &a.roi, a.ica_out.get()); }, kInvalid,
     "NULL pointer: undistortedIfeZoomWindow"},
    {[](Args& a) { a.roi.offset.x = -0.1f; a.roi2.size.y = -1; return a.Resample(); }, kInvalid,
     "Invalid undistortedIfeZoomWindow zoom window"},
    {[](Args& a) { a.roi2.size.y = std::numeric_limits<float>::quiet_NaN(); return a.Resample(); }, kInvalid,
     "Invalid ifeZoomWindow zoom window"},
    {[](Args& a) { a.roi.size.y = 0.8f; return a.Resample(); }, kInvalid, "undistortedIfeZoomWindow exceeds the grid"},
    {[](Args& a) { a.roi2.size.x = 0.8f; return a.Resample(); }, kInvalid, "ifeZoomWindow exceeds the grid"},
    {[](Args& a) { a.ica->transformDefinedOn.widthPixels = 8191; return a.Resample(); }, kInvalid,
     "Grid is not in virtual domain"},
    {[](Args& a) { return NcLibResampleGridFloat(a.ica.get(), &a.roi, &a.roi, a.ica.get()); }, kInvalid,
     "The function cannot run inplace, in grid must be different from out grid"},
    {[](Args& a) { a.ica->geometry = 3; return a.Resample(); }, kInvalid, "NcLibIcaGridToWarpGridRef failed"},
    {[](Args& a) { return NcLibResampleGrid(a.ica.get(), &a.window, nullptr, a.ica_out.get()); }, kInvalid,
     "NULL pointer: ifeZoomWindow"},
    {[](Args& a) { return NcLibResampleGrid(a.ica.get(), nullptr, &a.window, a.ica_out.get()); }, kInvalid,
     "NULL pointer: undistortedIfeZoomWindow"},
    {[](Args& a) { a.window.fullHeight = 0; return NcLibResampleGrid(a.ica.get(), &a.window, &a.window, a.ica_out.get()); },
     kInvalid, "Invalid zoom window full size 100, 0"},
    // Raw meshes
    {[](Args& a) { return NcLibResampleGridForIca(nullptr, a.raw.data(), &a.raw_size, 0, &a.window, 1, a.ica.get()); },
     kInvalid, "NULL pointer: rawGridX"},
    {[](Args& a) { return NcLibResampleGridForIca(a.raw.data(), nullptr, &a.raw_size, 0, &a.window, 1, a.ica.get()); },
     kInvalid, "NULL pointer: rawGridY"},
    {[](Args& a) { return NcLibResampleGridForIca(a.raw.data(), a.raw.data(), &a.raw_size, 0, &a.window, 1, nullptr); },
     kInvalid, "NULL pointer: icaGrid"},
    {[](Args& a) { return NcLibResampleGridForIca(a.raw.data(), a.raw.data(), nullptr, 0, &a.window, 1, a.ica.get()); },
     kInvalid, "NULL pointer: gridSize"},
    {[](Args& a) { return NcLibResampleGridForIca(a.raw.data(), a.raw.data(), &a.raw_size, 0, nullptr, 1, a.ica.get()); },
     kInvalid, "NULL pointer: gridArea"},
    {[](Args& a) { a.raw_size.numRows = 2; return a.Raw(); }, kInvalid, "Invalid gridSize 4, 2"},
    {[](Args& a) { a.window.fullWidth = 0; return a.Raw(); }, kInvalid, "Invalid gridArea full size 0, 100"},
    {[](Args& a) { return a.Raw(0); }, kInvalid, "Unsupported grid geometry 0"},
    {[](Args& a) { return a.Raw(3); }, kInvalid, "Unsupported grid geometry 3"},
    // Nodes 17 to 18 of 32 cells: ceil(50 * 0.32) + 1 = 17, trunc(51 * 0.32) + 3 = 19; rows 13 to
    // 15: ceil(50 * 0.24) + 1, trunc(51 * 0.24) + 3.
    {[](Args& a) { a.window = {100, 100, 50, 50, 1, 1}; return a.Raw(); }, kGeneral,
     "too much extrapolation required: start 17, 13, end 19, 15\nextrapolation failed"},
    // Assist grid
    {[](Args& a) { return NcLibWarpBuildAssistGrid(nullptr, &a.assist_out); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { return NcLibWarpBuildAssistGrid(&a.assist_in, nullptr); }, kInvalid, "NULL pointer: out"},
    {[](Args& a) { a.assist_in.in = nullptr; return a.Assist(); }, kInvalid, "NULL pointer: in->in"},
    {[](Args& a) { a.assist_out.assistGrid = nullptr; return a.Assist(); }, kInvalid, "NULL pointer: out->assistGrid"},
    {[](Args& a) { a.assist_in.numRows = 1; return a.Assist(); }, kInvalid, "Invalid numColumns: 33, numRows: 1"},
    // Windows
    {[](Args& a) { return NcLibCalcMinInputWindow(nullptr, a.ica.get(), &a.window); }, kInvalid, "NULL pointer: winAtOut"},
    {[](Args& a) { return NcLibCalcMinInputWindow(&a.window, a.ica.get(), nullptr); }, kInvalid, "NULL pointer: winAtIn"},
    {[](Args& a) { return NcLibCalcMinInputWindow(&a.window, nullptr, &a.window); }, kInvalid,
     "NULL pointer: grid\ntranslateWindow failed\nNcLibCalcMinInputWindowFloat failed"},
    {[](Args& a) { a.window.x = -50; return a.MinInput(); }, kInvalid,
     "Invalid zoom window: offset -0.500000x0.250000, size 0.500000x0.500000\ntranslateWindow failed\n"
     "NcLibCalcMinInputWindowFloat failed"},
    {[](Args& a) { a.ica->transformDefinedOn = {4000, 3000}; return a.MinInput(); }, kInvalid,
     "Grid is not in virtual domain 4000x3000\ntranslateWindow failed\nNcLibCalcMinInputWindowFloat failed"},
    {[](Args& a) { a.ica->geometry = 3; return a.MinInput(); }, kInvalid,
     "Unsupported grid\ntranslateWindow failed\nNcLibCalcMinInputWindowFloat failed"},
    {[](Args& a) { a.window.fullWidth = 0; return a.MinInput(); }, kInvalid, "Invalid zoom window full size 0, 100"},
    {[](Args& a) { return NcLibCalcMinInputWindowFloat(nullptr, a.ica.get(), &a.roi); }, kInvalid,
     "NULL pointer: winFrom\ntranslateWindow failed"},
    {[](Args& a) { a.roi2.offset.x += 0.001f; return a.MaxOutput(); }, kInvalid,
     "Original output window is not centered : origWinAtOut (size.x, size.y, offset.x, offset.y) "
     "0.500000, 0.500000, 0.251000, 0.250000"},
    {[](Args& a) { a.roi.size.x = -0.5f; return a.MaxOutput(); }, kInvalid,
     "Invalid zoom window: offset 0.250000x0.250000, size -0.500000x0.500000\ntranslateWindow failed"},
    {[](Args& a) { return NcLibCalcMaxOutputWindow(nullptr, &a.window, a.ica.get(), &a.window); }, kInvalid, "NULL pointer: winAtIn"},
    {[](Args& a) { return NcLibCalcMaxOutputWindow(&a.window, nullptr, a.ica.get(), &a.window); }, kInvalid, "NULL pointer: origWinAtOut"},
    {[](Args& a) { return NcLibCalcMaxOutputWindow(&a.window, &a.window, nullptr, &a.window); }, kInvalid, "NULL pointer: grid"},
    {[](Args& a) { return NcLibCalcMaxOutputWindow(&a.window, &a.window, a.ica.get(), nullptr); }, kInvalid, "NULL pointer: winAtOut"},
    {[](Args& a) { NcLibZoomWindow empty{}; return NcLibCalcMaxOutputWindow(&empty, &a.window, a.ica.get(), &a.window); }, kInvalid,
     "Invalid zoom window full size 0, 0"},
    {[](Args& a) { NcLibZoomWindow empty{}; return NcLibCalcMaxOutputWindow(&a.window, &empty, a.ica.get(), &empty); }, kInvalid,
     "Invalid zoom window full size 0, 0"},
    // Reversal
    {[](Args& a) { return NcLibWarpReverseGridDirection(nullptr, a.points, &a.f); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { a.reverse.dstCoords = nullptr; return a.Reverse(); }, kInvalid, "NULL pointer: in->dstCoords"},
    {[](Args& a) { a.reverse.srcGridRowCoords = nullptr; return a.Reverse(); }, kInvalid, "NULL pointer: in->srcGridRowCoords"},
    {[](Args& a) { a.reverse.srcGridColumnCoords = nullptr; return a.Reverse(); }, kInvalid,
     "NULL pointer: in->srcGridColumnCoords"},
    {[](Args& a) { return NcLibWarpReverseGridDirection(&a.reverse, nullptr, &a.f); }, kInvalid, "NULL pointer: outputGrid"},
    {[](Args& a) { a.reverse.srcGridNumRows = a.reverse.srcGridNumColumns = 0x7FFFFFFF; return a.Reverse(); }, kInvalid,
     "NULL pointer: gridExternalPoints"},
    {[](Args& a) { a.reverse.srcGridNumRows = -3; return a.Reverse(); }, kInvalid, "NULL pointer: gridExternalPoints"},
};
// clang-format on

TEST(Arguments, AreRefusedWithTheirMessageAndStatus) {
    for (const Refusal& row : kRefusals) {
        Args args;
        LogCapture log;
        EXPECT_EQ(row.call(args), row.status) << row.messages;
        EXPECT_EQ(log.Messages(), row.messages);
    }
}

TEST(Arguments, TheLogLineSaysWhereFromAndTheTraceIsShort) {
    std::vector<std::string> traced;
    Zelm::OsUtils::SetTraceHooks(
        {[](const char* text, void* user) {
             static_cast<std::vector<std::string>*>(user)->emplace_back(text);
         },
         [](void* user) { static_cast<std::vector<std::string>*>(user)->emplace_back("end"); },
         &traced});
    Args args;
    LogCapture log;
    args.first.grid.numRows = 0;
    args.Convert();
    EXPECT_TRUE(traced.empty());
    Zelm::g_traceInfo.groups = 0x10000;
    Zelm::g_traceInfo.enable = 1;
    args.Convert();
    Zelm::g_traceInfo.enable = 0;
    Zelm::OsUtils::SetTraceHooks({});
    EXPECT_EQ(traced, (std::vector<std::string>{"[ERROR]Invalid grid input", "end"}));
    const std::string start = "[ERROR]" + std::to_string(Zelm::OsUtils::GetProcessID()) + " " +
                              std::to_string(Zelm::OsUtils::GetThreadID()) +
                              " [CORE   ] virtual_domain.cpp:";
    ASSERT_EQ(log.Lines().size(), 2u);
    EXPECT_EQ(log.Lines()[0].substr(0, start.size()), start);
    EXPECT_TRUE(log.Lines()[0].ends_with(" CheckConversion() Invalid grid input"));
}

struct Precondition {
    const char* expression;
    std::function<void(Args&)> call;
};

// clang-format off
const Precondition kPreconditions[] = {
    {"fabs(det) >= NC_LIB_WARP_INTERNAL_EPS", [](Args& a) { float t[9] = {}; NcLibInternalMatrixInverse(t, t); (void)a; }},
    {"fabs(det) >= NC_LIB_WARP_INTERNAL_EPS", [](Args& a) { double t[9] = {0, 1e-3}; NcLibInternalMatrixInverseDouble(t, t); (void)a; }},
    {"in->T[8] != 0.0f", [](Args& a) { a.m1.array[0].T[8] = 0; convertMatrixCoordinates(a.m1.array.data(), {1, 1}, {2, 2}, a.m1.array.data()); }},
    {"(transformDefinedOn->widthPixels > 0) && (transformDefinedOn->heightLines > 0)",
     [](Args& a) { const NcLibImageSize none = {0, 5}; convertVirtualToPixel(a.points, &none, a.points); }},
    {"in.numColumns * in.numRows <= 9", [](Args& a) { a.first.matrices.numColumns = 5; a.first.matrices.numRows = 2; a.Convert(); }},
    {"(in.numColumns >= 1) && (in.numColumns <= 9)", [](Args& a) { a.first.matrices.numColumns = 10; a.Convert(); }},
    {"NcLibIsGridSizeWarpSupported(in->grid.numRows, in->grid.numColumns)", [](Args& a) { a.first.grid.numRows = 26; a.Convert(); }},
    {"s_orlokVersion != INVALID_ORLOK_VERSION", [](Args&) { NcLibChipInfo::Set(0, 0); NcLibIsGridSizeWarpSupported(27, 35); }},
    {"version", [](Args& a) { NcLibChipInfo::Set(1, 0); Grid g(25, 33, kCorners); transformRegularGrid(&g.record, a.points, 1, a.points); }},
    {"out->gridExtrapolate", [](Args& a) { Grid g(25, 33, kCorners); a.out.grid.gridExtrapolate = nullptr; memcpyGrid(&a.out.grid, &g.record); }},
    {"in->gridExtrapolate", [](Args& a) { Grid g(25, 33, kCorners); g.record.gridExtrapolate = nullptr; memcpyGrid(&a.out.grid, &g.record); }},
    {"ignoreErrors || !icaGrid.extrapolatedCorners", [](Args& a) { a.ica->extrapolatedCorners = 1; a.MinInput(); }},
    {"NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners",
     [](Args& a) { a.ica->extrapolatedCorners = 1; NcLibDumpIcaGridStruct(stdout, a.ica.get(), "", 1); }},
    {"NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners",
     [](Args& a) { Grid g(25, 33, kNone); transformRegularGrid(&g.record, a.points, 1, a.points); }},
    {"NcLibIsGridSizeWarpSupported(grid->numRows, grid->numColumns)",
     [](Args& a) { Grid g(25, 33, kRing); transformRegularGrid(&g.record, a.points, 1, a.points); }},
    {"NcLibIsGridSizeWarpSupported(grid->numRows, grid->numColumns)",
     [](Args& a) { Grid g(25, 33, kRing); NcLibWarpVerifyGrid_NoBreach(&g.record, 0.1f, &a.f); }},
    {"EXTRAPOLATION_TYPE_FOUR_CORNERS == grid->extrapolateType", [](Args& a) { NcLibCalcExtrapolationPointsInternal(&a.g1.record); }},
    {"((topology[idx].matrices == NULL) && (topology[idx].grid != NULL)) || ((topology[idx].matrices != NULL) && (topology[idx].grid == NULL))",
     [](Args& a) { const NcLibInternalWarpTopology t = {&a.g1.record, &a.m1.record, REGULAR};
                   NcLibInternalApplyTopologyOnPoints(&t, 1, a.points, 1, true, a.points); }},
    {"(REGULAR == topology[idx].direction) || (INVERSE == topology[idx].direction)",
     [](Args& a) { const NcLibInternalWarpTopology t = {&a.g1.record, nullptr, 2};
                   NcLibInternalApplyTopologyOnPoints(&t, 1, a.points, 1, true, a.points); }},
    {"(Mx*Nx >= 1) && (Mx*Nx <= 9)", [](Args& a) { a.m1.record.numRows = 10; perspectiveTransform({0, 0}, &a.m1.record, a.points); }},
    {"(Mx*Nx >= 1) && (Mx*Nx <= 9)",  // a product that wraps to 2
     [](Args& a) { a.m1.record.numRows = 0x80000001u; a.m1.record.numColumns = 2; perspectiveTransform({0, 0}, &a.m1.record, a.points); }},
    {"(1 == matrix->numColumns) && (1 == matrix->numRows)",
     [](Args& a) { Matrices m(1, 2); transformInverseMatrix(&m.record, a.points, 1, a.points); }},
    {"nearestNeighbour->x < grid->numColumns",
     [](Args& a) { const GridPoint p = {35, 0}; Barycentric b; findBarycentricCoordinates(&a.g1.record, &p, a.points, &b, true); }},
    {"nearestNeighbour->y < grid->numRows",
     [](Args& a) { const GridPoint p = {0, 27}; Barycentric b; findBarycentricCoordinates(&a.g1.record, &p, a.points, &b, true); }},
    {"fabs(bar->w[0] + bar->w[1] + bar->w[2] - 1.0) < NC_LIB_WARP_INTERNAL_EPS",
     [](Args& a) { const Barycentric b = {}; InterpolatePoint(&a.g1.record, &b, a.points); }},
    {"index <= 128", [](Args& a) { getCoefsFromLut(129, &a.f); }},
    {"edgeIdx < 2 * (numColSub1 + numRowSub1)", [](Args&) { uint32_t n[2]; getNextBoundaryEdge(6, 2, 3, n); }},
    {"gridExternalPointsNum == 2 * (gridNumColumns - 1) + 2 * (gridNumRows - 1)",
     [](Args& a) { CreatePolygonFromExternalPointsOfGrid(a.points, 2, 2, 3, a.points); }},
    {"(otherEdge[0] != edge[0]) && (otherEdge[1] != edge[0])",
     [](Args&) { Grid g(3, 3, kCorners); g.nodes[8] = {-9000, -9000}; const CornerNodes c = {0, 1, 3}; checkExtrapPoint(&g.record, &g.nodes[8], &c); }},
    {"in->centerType == CENTERED",
     [](Args& a) { a.m1.record.centerType = 1; NcLibInternalResamplePerspectiveToGrid(&a.m1.record, 3, 3, kNone, false, &a.out.grid); }},
    {"numRows > 1", [](Args& a) { NcLibInternalResamplePerspectiveToGrid(&a.m1.record, 3, 1, kNone, false, &a.out.grid); }},
    {"numColumns > 1", [](Args& a) { NcLibInternalResamplePerspectiveToGrid(&a.m1.record, 1, 3, kNone, false, &a.out.grid); }},
    {"NB_LIB_WARP_SUCCEEDED(checkInputNcLibWarpGrid(&in->in->grid))", [](Args& a) { a.first.grid.grid = nullptr; a.Assist(); }},
    {"NB_LIB_WARP_SUCCEEDED(checkInputNcLibWarpMatrices(&in->in->matrices))", [](Args& a) { a.first.matrices.confidence = 300; a.Assist(); }},
    {"in->in->direction == OUT_2_IN", [](Args& a) { a.first.direction = IN_2_OUT; a.Assist(); }},
};
// clang-format on

TEST(PreconditionsDeathTest, EndTheProcessAfterTwoLines) {
    GTEST_FLAG_SET(death_test_style, "fast");
    for (const Precondition& row : kPreconditions) {
        SCOPED_TRACE(row.expression);
        EXPECT_DEATH(
            {
                Args args;
                row.call(args);
            },
            testing::AllOf(testing::HasSubstr(
                               "() Assertion failed: " + std::string(row.expression) + ", file "),
                           testing::HasSubstr("Assertion `false' failed")));
    }
}

}  // namespace
