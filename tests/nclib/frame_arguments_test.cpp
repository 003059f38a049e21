// SPDX-License-Identifier: Apache-2.0
// What the functions on whole frames refuse, with their exact messages, and what ends the process.
#include <functional>
#include <limits>

#include "nclib/Logic/Process_ICA/pack.hpp"
#include "nclib/Logic/Process_ICA/passes.hpp"
#include "nclib/Logic/Process_ICA/process_ica.hpp"
#include "nclib/Logic/WarpAdjust/mctf.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "steadywarp/nclib_ica.h"
#include "steadywarp/nclib_temporal.h"
#include "support/frame_fixtures.hpp"

namespace {

using namespace warp_test;

constexpr int32_t kInvalid = NC_LIB_INVALID_INPUT;
constexpr int32_t kGeneral = NC_LIB_GENERAL_ERROR;

// Arguments that every function takes, fresh for each row of a table.
struct Args {
    Frame now{1e-9, kHandNow, 3}, before{1e-9, kHandBefore, 3};
    Alignment alignment{kMotion};
    FD_CONFIG_CONTEXT faces{1, {500}, {400}, {}}, faces_out{};
    NcLibWarpGeomIn geom{};
    NcLibWarpGeomOut geom_out{};
    NcLibImageSize size{1920, 1440}, detector{640, 480}, margins{100, 100};
    NcLibCalcMctfIn mctf{};
    WarpRoom room;
    NcLibWarp& out = room.record;
    NcLibFdRoi roi{0, 0, 10, 10};
    uint32_t passes = 0;
    NcLibZoomWindow window{1920, 1440, 0, 0, 1920, 1440}, window2 = window;
    NcLibPerspTransformSingle matrix = AsSingle(kMotion), gmo{};
    NcLibGenerateGMOStatisticsIn statistics{};
    NcLibGenerateGMOStatisticsOut statistics_out{};
    NcLibCheckIcaTransformValidityIn validity{&alignment.warp, window, window};
    std::vector<NcLibWarpGridCoord> scratch = std::vector<NcLibWarpGridCoord>(129 * 97);
    int valid = 0;
    ICA_Tessaline tuning{};
    std::unique_ptr<NcLibIcaGrid> ica = std::make_unique<NcLibIcaGrid>();
    std::unique_ptr<NcLibIcaWarp> tables = std::make_unique<NcLibIcaWarp>();
    IcaParameters parameters{};
    GeoLibIcaPassMapping mapping{};
    IcaPassParameters registers[4] = {};
    LmcPassParameters_680 lmc[4] = {};
    NcLibIcaLmcPass motion[4] = {};
    NcLibIcaContext context{1, {ICA_IMAGE_FORMAT_LINEAR}, motion};
    Grid grid{27, 35, kRing};

    Args() {
        NcLibChipInfo::Set(kChip30, 0);
        const FrameWarps warps = {UNDISTORTED_IMAGE_DOMAIN, &alignment.warp, &now.record,
                                  &before.record,           &now.lens,       &before.lens};
        geom.inputSize = size;
        geom.eisFOV = window;
        geom.frameWarps = mctf.frameWarps = warps;
        geom.fdConfig = &faces;
        geom_out.fdConfig = &faces_out;
        mctf.inputSize = &size;
        mctf.eisFOV = window;
        mctf.outDomain = STABILIZED_IMAGE_DOMAIN;
        out.grid.numRows = 27;
        out.grid.numColumns = 35;
        statistics = {alignment.warp, size, window};
        NcLibWarpGridToIcaGrid(&grid.record, ica.get());
    }
    int32_t Geometries() { return NcLibWarpGeometries(&geom, &geom_out); }
    int32_t PreviousFaces() {
        geom.fdFromPreviousFrame = true;
        return Geometries();
    }
    int32_t Translate() {
        return NcLibTranslateFdDomains(&roi, 1, &detector, &alignment.warp, &size, &roi);
    }
    int32_t Passes(float ratio = 1, uint32_t by_flow = 4) {
        return NcLibGetMaxNumOfPasses(&size, &margins, ratio, by_flow, &passes);
    }
    int32_t Mctf() { return NcLibCalcMctfTransform(&mctf, &out); }
    int32_t MctfGrid() {
        mctf.outDomain = DISTORTED_IMAGE_DOMAIN;
        mctf.frameWarps.alignmentDomain = STABILIZED_IMAGE_DOMAIN;
        return Mctf();
    }
    int32_t Mfnr() { return NcLibCalcMfnrTransform(&now.stabilization, &alignment.warp, &out); }
    int32_t Gmo(bool centered = true) {
        return NcLibGenerateGMO(&matrix, centered, &window, &window2, &gmo);
    }
    int32_t Statistics() { return NcLibGenerateGMOStatistics(&statistics, &statistics_out); }
    int32_t Hfr(uint32_t frames = 4) { return NcLibGenerateHfr(&alignment.warp, frames, &out); }
    int32_t HfrGrid() {
        alignment.warp.matrices.enable = false;
        alignment.warp.grid = grid.record;
        return Hfr();
    }
    int32_t Validity() {
        return NcLibCheckIcaTransformValidity(&validity, false, scratch.data(), &valid, nullptr);
    }
    int32_t Program(uint32_t version = 30) {
        return ICA_ProcessNcLib(&tuning, ica.get(), nullptr, &alignment.warp.matrices, nullptr,
                                &context, 0, version, tables.get(), &parameters, registers, lmc);
    }
    int32_t Validate(uint8_t by_flow = 0, uint32_t version = 30) {
        return ValidateIcaNonTessalineParams(&grid.record, &alignment.warp.matrices, by_flow,
                                             version);
    }
    int32_t PackMatrices() {
        return NcLibIcaPackMatrices(&alignment.warp.matrices, tables->CTC_PERSPECTIVE_PARAMS_M,
                                    tables->CTC_PERSPECTIVE_PARAMS_E, 30);
    }
    int32_t PackGrid(uint32_t version = 30) {
        return NcLibIcaPackGrid(&grid.record, tables->gridX, tables->gridY, nullptr, version);
    }
};

struct Refusal {
    std::function<int32_t(Args&)> call;
    int32_t status;
    const char* messages;
};

// clang-format off
const Refusal kRefusals[] = {
    // Frame geometries
    {[](Args& a) { return NcLibWarpGeometries(nullptr, &a.geom_out); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { return NcLibWarpGeometries(&a.geom, nullptr); }, kInvalid, "NULL pointer: out"},
    {[](Args& a) { a.geom.frameWarps.currStabilization = nullptr; return a.Geometries(); }, kInvalid, "NULL pointer: in->frameWarps.currStabilization"},
    {[](Args& a) { a.now.record.inputWarp = nullptr; return a.Geometries(); }, kInvalid, "NULL pointer: in->frameWarps.currStabilization->inputWarp"},
    {[](Args& a) { a.geom.frameWarps.currDistCorrection = nullptr; return a.Geometries(); }, kInvalid, "NULL pointer: in->frameWarps.currDistCorrection"},
    {[](Args& a) { a.geom.fdConfig = nullptr; return a.Geometries(); }, kInvalid, "NULL pointer: in->fdConfig"},
    {[](Args& a) { a.geom_out.fdConfig = nullptr; return a.Geometries(); }, kInvalid, "NULL pointer: out->fdConfig"},
    {[](Args& a) { a.now.record.assistGrid = nullptr; return a.Geometries(); }, kInvalid, "NULL pointer: in->frameWarps.currStabilization->assistGrid"},
    {[](Args& a) { a.now.record.assistGrid = nullptr; a.geom.lnrDomain = 2; a.faces.faceNum = 0; return a.Geometries(); }, kInvalid,
     "NULL pointer: in->frameWarps.currStabilization->assistGrid\ncorrectLnr failed"},
    {[](Args& a) { a.geom.frameWarps.alignment = nullptr; return a.PreviousFaces(); }, kInvalid, "NULL pointer: in->frameWarps.alignment"},
    {[](Args& a) { a.geom.frameWarps.prevDistCorrection = nullptr; return a.PreviousFaces(); }, kInvalid, "NULL pointer: in->frameWarps.prevDistCorrection"},
    {[](Args& a) { a.geom.frameWarps.prevStabilization = nullptr; return a.PreviousFaces(); }, kInvalid, "NULL pointer: in->frameWarps.prevStabilization"},
    {[](Args& a) { a.before.record.inputWarp = nullptr; return a.PreviousFaces(); }, kInvalid, "NULL pointer: in->frameWarps.prevStabilization->inputWarp"},
    {[](Args& a) { a.before.record.assistGrid = nullptr; return a.PreviousFaces(); }, kInvalid, "NULL pointer: in->frameWarps.prevStabilization->assistGrid"},
    {[](Args& a) { a.geom.lnrPoints[2].y = 16385; return a.Geometries(); }, kInvalid, "Invalid optical center input"},
    // Faces between images
    {[](Args& a) { return NcLibTranslateFdDomains(nullptr, 0, &a.detector, &a.alignment.warp, &a.size, &a.roi); }, kInvalid, "NULL pointer: fdRois"},
    {[](Args& a) { return NcLibTranslateFdDomains(&a.roi, 0, nullptr, &a.alignment.warp, &a.size, &a.roi); }, kInvalid, "NULL pointer: fdDimensions"},
    {[](Args& a) { return NcLibTranslateFdDomains(&a.roi, 0, &a.detector, nullptr, &a.size, &a.roi); }, kInvalid, "NULL pointer: warp"},
    {[](Args& a) { return NcLibTranslateFdDomains(&a.roi, 0, &a.detector, &a.alignment.warp, nullptr, &a.roi); }, kInvalid, "NULL pointer: fullSize"},
    {[](Args& a) { return NcLibTranslateFdDomains(&a.roi, 0, &a.detector, &a.alignment.warp, &a.size, nullptr); }, kInvalid, "NULL pointer: fdOutRois"},
    {[](Args& a) { a.detector.heightLines = 0; return a.Translate(); }, kInvalid, "Invalid dimensions: FD size 640x0, full size 1920x1440"},
    {[](Args& a) { a.size.widthPixels = 0; return a.Translate(); }, kInvalid, "Invalid dimensions: FD size 640x480, full size 0x1440"},
    // Passes
    {[](Args& a) { return NcLibGetMaxNumOfPasses(nullptr, &a.margins, 1, 1, &a.passes); }, kInvalid, "NULL pointer: ipeInputSize"},
    {[](Args& a) { return NcLibGetMaxNumOfPasses(&a.size, nullptr, 1, 1, &a.passes); }, kInvalid, "NULL pointer: stabilizationMargins"},
    {[](Args& a) { return NcLibGetMaxNumOfPasses(&a.size, &a.margins, 1, 1, nullptr); }, kInvalid, "NULL pointer: maxNumOfPasses"},
    {[](Args& a) { a.margins = {1920, 1440}; return a.Passes(); }, kInvalid, "invalid heightLines"},
    {[](Args& a) { a.margins.widthPixels = 1920; return a.Passes(); }, kInvalid, "invalid widthPixels"},
    {[](Args& a) { return a.Passes(0.999f); }, kInvalid, "invalid icaUpScaleRatio_AtDZx1"},
    {[](Args& a) { return a.Passes(std::numeric_limits<float>::quiet_NaN()); }, kInvalid, "invalid icaUpScaleRatio_AtDZx1"},
    {[](Args& a) { return a.Passes(1, 0); }, kInvalid, "invalid maxNumOfPassesByFlow"},
    {[](Args& a) { return a.Passes(1, 5); }, kInvalid, "invalid maxNumOfPassesByFlow"},
    // Motion between frames
    {[](Args& a) { return NcLibCalcMctfTransform(nullptr, &a.out); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { return NcLibCalcMctfTransform(&a.mctf, nullptr); }, kInvalid, "NULL pointer: out"},
    {[](Args& a) { a.mctf.frameWarps.alignment = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.alignment"},
    {[](Args& a) { a.mctf.frameWarps.currStabilization = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.currStabilization"},
    {[](Args& a) { a.before.record.inputWarp = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.prevStabilization->inputWarp"},
    {[](Args& a) { a.mctf.frameWarps.prevDistCorrection = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.prevDistCorrection"},
    {[](Args& a) { a.mctf.inputSize = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->inputSize"},
    {[](Args& a) { a.out.matrices.perspMatrices = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: out->matrices.perspMatrices"},
    {[](Args& a) { a.before.record.assistGrid = nullptr; return a.Mctf(); }, kInvalid, "NULL assist grid and non-single matrix input"},
    {[](Args& a) { a.now.record.assistGrid = nullptr; return a.MctfGrid(); }, kInvalid, "NULL pointer: in->frameWarps.currStabilization->assistGrid"},
    {[](Args& a) { a.mctf.frameWarps.alignmentDomain = 2; a.alignment.warp.grid = a.grid.record; a.out.grid.grid = nullptr; return a.Mctf(); },
     kInvalid, "NULL pointer: out->grid.grid"},
    {[](Args& a) { a.out.grid.grid = nullptr; a.now.stabilization.grid = a.grid.record; return a.Mfnr(); }, kInvalid, "NULL pointer: out->grid.grid"},
    // Global motion
    {[](Args& a) { return NcLibGenerateGMO(nullptr, true, &a.window, &a.window, &a.gmo); }, kInvalid, "NULL pointer: alignmentMatrix"},
    {[](Args& a) { return NcLibGenerateGMO(&a.matrix, true, nullptr, &a.window, &a.gmo); }, kInvalid, "NULL pointer: currZoomWindow"},
    {[](Args& a) { return NcLibGenerateGMO(&a.matrix, true, &a.window, nullptr, &a.gmo); }, kInvalid, "NULL pointer: prevZoomWindow"},
    {[](Args& a) { return NcLibGenerateGMO(&a.matrix, true, &a.window, &a.window, nullptr); }, kInvalid, "NULL pointer: gmoMatrix"},
    {[](Args& a) { a.matrix.T[8] = 0.5f; return a.Gmo(); }, kInvalid, "invalid alignmentMatrix.T[8]: value 0.500000, should be 1.0"},
    {[](Args& a) { a.window2.fullHeight = 0; return a.Gmo(); }, kInvalid, "previous/current fullWidth/fullHeight are set to 0"},
    {[](Args& a) { a.window2.width = 0; return a.Gmo(); }, kInvalid, "previous width/height are set to 0"},
    // The horizon passes through the crop's centre, 960 pixels right of the frame's; and through it
    // once the origin has moved to the frame's centre.
    {[](Args& a) { a.matrix.T[6] = -1.0f / 512; a.matrix.T[7] = 0; a.window = {2048, 1440, 1024, 0, 1024, 1440}; return a.Gmo(); }, kGeneral,
     "denominator is too small 0.000000, failed to calc GMO"},
    {[](Args& a) { a.matrix.T[6] = -1.0f / 1024; a.matrix.T[7] = 0; a.window.fullWidth = 2049; return a.Gmo(false); }, kGeneral,
     "denominator when alignment is not centralized is too small 0.000000, failed to calc GMO"},
    {[](Args& a) { return NcLibGenerateGMOStatistics(nullptr, &a.statistics_out); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { return NcLibGenerateGMOStatistics(&a.statistics, nullptr); }, kInvalid, "NULL pointer: out"},
    {[](Args& a) { a.statistics.outputSize.widthPixels = 0; return a.Statistics(); }, kInvalid, "Invalid output size 0x1440"},
    {[](Args& a) { a.statistics.zoomWindow.fullWidth = 0; return a.Statistics(); }, kInvalid, "Invalid zoom window full size 0, 1440"},
    // Batches
    {[](Args& a) { return NcLibGenerateHfr(nullptr, 2, &a.out); }, kInvalid, "NULL pointer: batchedAlignmentTransform"},
    {[](Args& a) { return NcLibGenerateHfr(&a.alignment.warp, 2, nullptr); }, kInvalid, "NULL pointer: hfrTransform"},
    {[](Args& a) { return a.Hfr(0); }, kInvalid, "numOfFramesInBatch should be bigger than zero"},
    {[](Args& a) { return a.Hfr(1); }, kInvalid, "NcLibGenerateHfr has no effect when numOfFramesInBatch is set to one"},
    {[](Args& a) { a.alignment.warp.grid = a.grid.record; return a.Hfr(); }, kInvalid, "NcLibGenerateHfr support grid.enable or matrices.enable, but not both"},
    {[](Args& a) { a.alignment.warp.matrices.enable = false; return a.Hfr(); }, kInvalid, "grid.enable or matrices.enable should be enabled"},
    {[](Args& a) { a.alignment.warp.matrices.perspMatrices = nullptr; return a.Hfr(); }, kInvalid, "matrices pointer should be different from NULL when matrices are enabled"},
    {[](Args& a) { a.alignment.warp.matrices.numRows = 2; return a.Hfr(); }, kInvalid, "only one matrix is supported fro HFR"},
    {[](Args& a) { a.alignment.matrices.array[0].T[8] = 2; return a.Hfr(); }, kInvalid, "invalid matrices.perspMatrices->T[8]: value 2.000000, should be 1.0"},
    {[](Args& a) { a.grid.record.grid = nullptr; return a.HfrGrid(); }, kInvalid, "NULL pointer: batchGrid->grid"},
    {[](Args& a) { a.out.grid.grid = nullptr; return a.HfrGrid(); }, kInvalid, "NULL pointer: hfrTransform->grid.grid"},
    {[](Args&) { return NcLibAlignmentFusion(nullptr, nullptr); }, kInvalid, "NULL pointer: in"},
    {[](Args&) { const NcLibAlignmentFusionIn in{}; return NcLibAlignmentFusion(&in, nullptr); }, kInvalid, "NULL pointer: out"},
    // Validity
    {[](Args& a) { return NcLibCheckIcaTransformValidity(nullptr, false, a.scratch.data(), &a.valid, nullptr); }, kInvalid, "NULL pointer: in"},
    {[](Args& a) { a.validity.warp = nullptr; return a.Validity(); }, kInvalid, "NULL pointer: in->warp"},
    {[](Args& a) { return NcLibCheckIcaTransformValidity(&a.validity, false, nullptr, &a.valid, nullptr); }, kInvalid, "NULL pointer: intermediate"},
    {[](Args& a) { return NcLibCheckIcaTransformValidity(&a.validity, false, a.scratch.data(), nullptr, nullptr); }, kInvalid, "NULL pointer: isValid"},
    {[](Args& a) { a.alignment.warp.matrices.perspMatrices = nullptr; return a.Validity(); }, kInvalid, "NULL pointer: inWarp->matrices.perspMatrices"},
    {[](Args& a) { a.alignment.warp.grid.enable = true; return a.Validity(); }, kInvalid, "NULL pointer: inWarp->grid.grid"},
    {[](Args& a) { a.alignment.warp.direction = IN_2_OUT; return a.Validity(); }, kInvalid, "invalid direction"},
    {[](Args& a) { a.validity.outputWindow.fullWidth = 0; return a.Validity(); }, kInvalid, "Invalid zoom window full size 0, 1440"},
    // Frames that are not there
    {[](Args& a) { a.now.record.inputWarp = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.currStabilization->inputWarp"},
    {[](Args& a) { a.mctf.frameWarps.prevStabilization = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.prevStabilization"},
    {[](Args& a) { a.mctf.frameWarps.currDistCorrection = nullptr; return a.Mctf(); }, kInvalid, "NULL pointer: in->frameWarps.currDistCorrection"},
    {[](Args& a) { a.geom.fdDomain = 0; a.geom.frameWarps.alignmentDomain = UNDISTORTED_IMAGE_DOMAIN; a.geom.frameWarps.prevDistCorrection = nullptr; return a.PreviousFaces(); },
     kInvalid, "NULL pointer: in->frameWarps.prevDistCorrection"},
    {[](Args& a) { a.out.matrices.perspMatrices = nullptr; return a.Mfnr(); }, kInvalid, "NULL pointer: out->matrices.perspMatrices"},
    // The warp hardware
    {[](Args& a) { return ICA_ProcessNcLib(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 30, a.tables.get(), &a.parameters, nullptr, nullptr); },
     kInvalid, "NULL pointer: tessalineStruct"},
    {[](Args& a) { return ICA_ProcessNcLib(&a.tuning, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 30, nullptr, &a.parameters, nullptr, nullptr); },
     kInvalid, "NULL pointer: warpStruct"},
    {[](Args& a) { return ICA_ProcessNcLib(&a.tuning, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 30, a.tables.get(), nullptr, nullptr, nullptr); },
     kInvalid, "NULL pointer: fwStruct"},
    {[](Args& a) { return ICA_ProcessNcLib(&a.tuning, nullptr, nullptr, nullptr, &a.mapping, nullptr, 0, 30, a.tables.get(), &a.parameters, nullptr, nullptr); },
     kInvalid, "NULL pointer: fwRegStruct"},
    {[](Args& a) { return ICA_ProcessNcLib(&a.tuning, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 40, a.tables.get(), &a.parameters, nullptr, a.lmc); },
     kInvalid, "NULL pointer: NcLibIcaContext"},
    {[](Args& a) { a.context.lmcPasses = nullptr; return a.Program(40); }, kInvalid, "NULL pointer: NcLibIcaContext->lmcPasses"},
    {[](Args& a) { a.context.imageFormats[0] = 3; return a.Program(40); }, kInvalid,
     "Invalid image format enumerator: 3\nFailed to fill sort fetch parameters"},
    {[](Args& a) { a.ica->geometry = 3; return a.Program(); }, kInvalid, "Unsupported grid geometry 3"},
    {[](Args& a) { a.alignment.matrices.array[0].T[8] = 0; return a.Program(); }, kGeneral,
     "VALIDATE failed param: persp->perspMatrices[0].T[8], actualVal: 0\nValidateIcaNonTessalineParams validation failed, ICA can't run."},
    // Every rule is checked; the matrices themselves only when there can be as many as are said.
    {[](Args& a) { a.alignment.warp.matrices.numRows = 10; a.alignment.warp.matrices.numColumns = 0; a.alignment.warp.matrices.confidence = 257; return a.Validate(); },
     kGeneral,
     "VALIDATE_MIN_MAX_PARAM failed param: persp->numRows minVal: 1, maxVal: 9, actualVal: 10\n"
     "VALIDATE_MIN_MAX_PARAM failed param: persp->numColumns minVal: 1, maxVal: 9, actualVal: 0\n"
     "VALIDATE_MIN_MAX_PARAM failed param: numOfPerpActiveTransforms minVal: 1, maxVal: 9, actualVal: 0\n"
     "VALIDATE_MAX_PARAM failed, param: persp->confidence, maxVal: 256, actualVal: 257"},
    {[](Args& a) { a.alignment.warp.matrices.numRows = 5; a.alignment.warp.matrices.numColumns = 2; a.alignment.warp.matrices.centerType = NOT_CENTERED; return a.Validate(); },
     kGeneral,
     "VALIDATE_MIN_MAX_PARAM failed param: numOfPerpActiveTransforms minVal: 1, maxVal: 9, actualVal: 10\n"
     "VALIDATE_MAX_PARAM failed, param: persp->centerType, maxVal: 0, actualVal: 1"},
    {[](Args& a) { a.alignment.warp.matrices.perspMatrices = nullptr; return a.Validate(); }, kGeneral, "NULL pointer: persp->perspMatrices"},
    {[](Args& a) { a.grid.record.numRows = 25; return a.Validate(1, 20); }, kGeneral,
     "VALIDATE failed param: inGridFlow->numRows x numColumns, actualVal: 25 x 35, ICA v.20"},
    {[](Args& a) { a.grid.record.numRows = 25; return a.Validate(1, 10); }, NC_LIB_SUCCESS, ""},
    {[](Args& a) { a.grid.record.numRows = 25; return a.Validate(0, 20); }, NC_LIB_SUCCESS, ""},
    {[](Args& a) { a.alignment.warp.matrices.centerType = NOT_CENTERED; return a.Validate(); }, NC_LIB_SUCCESS, ""},
    {[](Args& a) { a.alignment.warp.matrices = {}; return a.Validate(); }, NC_LIB_SUCCESS, ""},
    {[](Args& a) { a.grid.record.grid = nullptr; return a.PackGrid(); }, kInvalid, "NULL pointer: inGrid->grid"},
    {[](Args& a) { return NcLibIcaPackGrid(nullptr, a.tables->gridX, a.tables->gridY, nullptr, 30); }, kInvalid, "NULL pointer: inGrid"},
    {[](Args& a) { a.alignment.warp.matrices.perspMatrices = nullptr; return a.PackMatrices(); }, kInvalid, "NULL pointer: persp->perspMatrices"},
    {[](Args& a) { return NcLibIcaPackMatrices(&a.alignment.warp.matrices, nullptr, nullptr, 30); }, kInvalid, "NULL pointer: CTC_PERSPECTIVE_PARAMS_M"},
    {[](Args& a) { return NcLibIcaPackMatrices(&a.alignment.warp.matrices, &a.valid, nullptr, 30); }, kInvalid, "NULL pointer: CTC_PERSPECTIVE_PARAMS_E"},
    {[](Args&) { SetDefaultsForIcaStruct(nullptr, 1); return 0; }, 0, "NULL pointer: icaParameters"},
};
// clang-format on

TEST(FrameArguments, AreRefusedWithTheirMessageAndStatus) {
    for (const Refusal& row : kRefusals) {
        Args args;
        LogCapture log;
        EXPECT_EQ(row.call(args), row.status) << row.messages;
        EXPECT_EQ(log.Messages(), row.messages);
    }
    // What is refused for its windows leaves the identity behind.
    Args args;
    args.window.fullWidth = 0;
    LogCapture log;
    args.Gmo();
    EXPECT_EQ(args.gmo.T[4], 1.0f);
    EXPECT_EQ(args.gmo.T[2], 0.0f);
}

struct Precondition {
    const char* expression;
    std::function<void(Args&)> call;
};

// clang-format off
const Precondition kPreconditions[] = {
    {"in->inputSize.heightLines == in->eisFOV.fullHeight", [](Args& a) { a.geom.inputSize.heightLines = 1; a.Geometries(); }},
    {"in->inputSize.widthPixels == in->eisFOV.fullWidth", [](Args& a) { a.geom.inputSize.widthPixels = 1; a.Geometries(); }},
    {"false == in->frameWarps.currDistCorrection->matrices.enable", [](Args& a) { a.now.lens.matrices.enable = true; a.Geometries(); }},
    {"(NULL == in->frameWarps.prevDistCorrection) || (false == in->frameWarps.prevDistCorrection->matrices.enable)",
     [](Args& a) { a.before.lens.matrices.enable = true; a.Geometries(); }},
    {"OUT_2_IN == in->frameWarps.alignment->direction", [](Args& a) { a.alignment.warp.direction = IN_2_OUT; a.PreviousFaces(); }},
    {"in->fdConfig->faceNum <= MAX_NUM_OF_FACE_DETECTION", [](Args& a) { a.faces.faceNum = 6; a.Geometries(); }},
    {"(DISTORTED_IMAGE_DOMAIN == in->fdDomain) || (UNDISTORTED_IMAGE_DOMAIN == in->fdDomain)", [](Args& a) { a.geom.fdDomain = 2; a.Geometries(); }},
    {"true == in->frameWarps.alignment->matrices.enable", [](Args& a) { a.alignment.warp.matrices.enable = false; a.PreviousFaces(); }},
    {"false == in->frameWarps.alignment->grid.enable", [](Args& a) { a.alignment.warp.grid = a.grid.record; a.PreviousFaces(); }},
    {"STABILIZED_IMAGE_DOMAIN == in->frameWarps.alignmentDomain", [](Args& a) { a.geom.frameWarps.alignmentDomain = 3; a.PreviousFaces(); }},
    {"(OUT_2_IN == in->frameWarps.currStabilization->inputWarp->direction)", [](Args& a) { a.now.stabilization.direction = IN_2_OUT; a.Geometries(); }},
    {"((0 != in->ifeZoomWindow.fullHeight) && (0 != in->ifeZoomWindow.fullWidth)) || ((0 == in->ifeZoomWindow.fullHeight) && (0 == in->ifeZoomWindow.fullWidth))",
     [](Args& a) { a.geom.ifeZoomWindow.fullWidth = 5; a.Geometries(); }},
    {"(false == isnan(lnrInOut[0].x)) && (false == isnan(lnrInOut[0].y))",
     [](Args& a) { a.geom.lnrDomain = 1; a.now.stabilization.matrices.enable = false; a.geom.ifeZoomWindow = {10, 10, 0, 0, 0, 0}; a.Geometries(); }},
    {"(transformDefinedOn->widthPixels > 0) && (transformDefinedOn->heightLines > 0)",
     [](Args& a) { a.geom.inputSize = {0, 0}; a.geom.eisFOV = {}; a.faces.faceNum = 0; a.Geometries(); }},
    {"warp->direction == OUT_2_IN", [](Args& a) { a.alignment.warp.direction = IN_2_OUT; a.Translate(); }},
    {"currStabilizationSingleMatrix == prevStabilizationSingleMatrix", [](Args& a) { a.now.stabilization.matrices.numRows = 1; a.Mctf(); }},
    {"OUT_2_IN == in->frameWarps.alignment->direction", [](Args& a) { a.alignment.warp.direction = IN_2_OUT; a.Mctf(); }},
    {"(OUT_2_IN == in->frameWarps.currStabilization->inputWarp->direction) || (IN_2_OUT == in->frameWarps.currStabilization->inputWarp->direction)",
     [](Args& a) { a.now.stabilization.direction = 2; a.Mctf(); }},
    {"(OUT_2_IN == in->frameWarps.prevStabilization->inputWarp->direction) || (IN_2_OUT == in->frameWarps.prevStabilization->inputWarp->direction)",
     [](Args& a) { a.before.stabilization.direction = 2; a.Mctf(); }},
    {"false == in->frameWarps.currDistCorrection->matrices.enable", [](Args& a) { a.now.lens.matrices.enable = true; a.Mctf(); }},
    {"false == in->frameWarps.prevDistCorrection->matrices.enable", [](Args& a) { a.before.lens.matrices.enable = true; a.Mctf(); }},
    {"in->frameWarps.alignmentDomain <= STABILIZED_IMAGE_DOMAIN", [](Args& a) { a.mctf.frameWarps.alignmentDomain = 3; a.Mctf(); }},
    {"(DISTORTED_IMAGE_DOMAIN == in->outDomain) || (STABILIZED_IMAGE_DOMAIN == in->outDomain)", [](Args& a) { a.mctf.outDomain = 1; a.Mctf(); }},
    {"curr.grid.enable == prev.grid.enable", [](Args& a) { a.now.stabilization.grid.enable = true; a.Mctf(); }},
    {"in->frameWarps.currDistCorrection->grid.enable == in->frameWarps.prevDistCorrection->grid.enable", [](Args& a) { a.now.lens.grid.enable = false; a.Mctf(); }},
    {"(in->inputSize->heightLines == in->eisFOV.fullHeight) && (in->inputSize->widthPixels == in->eisFOV.fullWidth)", [](Args& a) { a.size.widthPixels = 7; a.Mctf(); }},
    {"OUT_2_IN == in->frameWarps.prevStabilization->inputWarp->direction", [](Args& a) { a.before.stabilization.direction = IN_2_OUT; a.Mctf(); }},
    {"(true == in->frameWarps.alignment->matrices.enable) && (false == in->frameWarps.alignment->grid.enable)", [](Args& a) { a.alignment.warp.matrices.enable = false; a.Mctf(); }},
    {"in->frameWarps.prevStabilization->assistGrid->enable == in->frameWarps.prevStabilization->inputWarp->matrices.enable", [](Args& a) { a.before.assist.record.enable = false; a.Mctf(); }},
    {"STABILIZED_IMAGE_DOMAIN == in->frameWarps.alignmentDomain", [](Args& a) { a.mctf.outDomain = 0; a.Mctf(); }},
    {"NcLibChipInfo::GetCapabilities().IcaHighResGrid && (NULL != out->grid.grid) && (out->grid.numColumns == ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH || "
     "out->grid.numColumns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH) && (out->grid.numRows == ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT || "
     "out->grid.numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT)", [](Args& a) { a.out.grid.numRows = 25; a.MctfGrid(); }},
    {"true == in->frameWarps.currDistCorrection->grid.enable", [](Args& a) { a.now.lens.grid.enable = a.before.lens.grid.enable = false; a.MctfGrid(); }},
    {"OUT_2_IN == in->frameWarps.prevStabilization->inputWarp->direction", [](Args& a) { a.before.stabilization.direction = IN_2_OUT; a.MctfGrid(); }},
    {"true == in->frameWarps.currStabilization->assistGrid->enable", [](Args& a) { a.now.assist.record.enable = false; a.MctfGrid(); }},
    {"!isnan(out->grid.grid[idx].x) && !isnan(out->grid.grid[idx].y)", [](Args& a) { a.before.lens_grid->nodes[500].x = NAN; a.MctfGrid(); }},
    {"NULL != topology[idx].matrices", [](Args&) { const NcLibInternalWarpTopology t = {nullptr, nullptr, 0}; isMctfTopologyTrivial(&t, 1); }},
    {"(NULL != transform) && (NULL != alignment) && (NULL != out)", [](Args& a) { NcLibCalcMfnrTransform(nullptr, &a.alignment.warp, &a.out); }},
    {"(OUT_2_IN == transform->direction)", [](Args& a) { a.now.stabilization.direction = IN_2_OUT; a.Mfnr(); }},
    {"isSingleMatrix(alignment->matrices)", [](Args& a) { a.alignment.warp.matrices.numColumns = 2; a.Mfnr(); }},
    {"(false == in->alignmentTransform.matrices.enable) || ((in->alignmentTransform.matrices.transformDefinedOn.heightLines == VIRTUAL_DOMAIN_HEIGHT) && "
     "(in->alignmentTransform.matrices.transformDefinedOn.widthPixels == VIRTUAL_DOMAIN_WIDTH))",
     [](Args& a) { a.statistics.alignmentTransform.matrices.transformDefinedOn.widthPixels = 1; a.Statistics(); }},
    {"(false == in->alignmentTransform.matrices.enable) || isSingleMatrix(in->alignmentTransform.matrices)",
     [](Args& a) { a.statistics.alignmentTransform.matrices.numRows = 3; a.Statistics(); }},
    {"NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners", [](Args& a) { a.grid.record.extrapolateType = kCorners; a.HfrGrid(); }},
    {"NcLibIsGridSizeMatchesIcaHw(inGrid->numRows, inGrid->numColumns, icaVersion)", [](Args& a) { a.grid.record.numRows = 25; a.grid.record.numColumns = 33; a.PackGrid(20); }},
    {"EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER == inGrid->extrapolateType", [](Args& a) { a.grid.record.extrapolateType = kCorners; a.PackGrid(); }},
    {"inGrid->transformDefinedOn.heightLines > 0", [](Args& a) { a.grid.record.transformDefinedOn.heightLines = 0; a.PackGrid(); }},
    {"NULL != inGrid->gridExtrapolate", [](Args& a) { Grid g(25, 33, kCorners); g.record.gridExtrapolate = nullptr; NcLibIcaPackGrid(&g.record, a.tables->gridX, a.tables->gridY, nullptr, 10); }},
    {"inGrid->transformDefinedOn.widthPixels > 0", [](Args& a) { a.grid.record.transformDefinedOn.widthPixels = 0; a.PackGrid(); }},
    {"persp->numColumns >= 1", [](Args& a) { a.alignment.warp.matrices.numColumns = 0; a.PackMatrices(); }},
    {"persp->numRows >= 1", [](Args& a) { a.alignment.warp.matrices.numRows = 0; a.PackMatrices(); }},
    {"persp->numRows <= 9", [](Args& a) { a.alignment.warp.matrices.numRows = 10; a.PackMatrices(); }},
    {"persp->transformDefinedOn.widthPixels > 0", [](Args& a) { a.alignment.warp.matrices.transformDefinedOn.widthPixels = 0; a.PackMatrices(); }},
    {"persp->transformDefinedOn.heightLines > 0", [](Args& a) { a.alignment.warp.matrices.transformDefinedOn.heightLines = 0; a.PackMatrices(); }},
    {"NULL != persp", [](Args& a) { NcLibIcaPackMatrices(nullptr, a.tables->gridX, a.tables->gridY, 30); }},
    {"persp->numColumns <= 9", [](Args& a) { a.alignment.warp.matrices.numColumns = 10; a.PackMatrices(); }},
    {"persp->numColumns * persp->numRows <= 9", [](Args& a) { a.alignment.warp.matrices.numColumns = 5; a.alignment.warp.matrices.numRows = 2; a.PackMatrices(); }},
    {"((persp->numRows * persp->numColumns) == 1) || (CENTERED == persp->centerType)",
     [](Args& a) { a.now.matrices.record.centerType = NOT_CENTERED; NcLibIcaPackMatrices(&a.now.matrices.record, a.tables->gridX, a.tables->gridY, 30); }},
    {"P9 != 0.0f", [](Args& a) { a.alignment.matrices.array[0].T[8] = 0; a.PackMatrices(); }},
    {"NULL != fwStruct", [](Args& a) { ICA_ProcessNcLibMatrices(&a.alignment.warp.matrices, a.tables.get(), nullptr, 30); }},
    {"NULL != inGridFlow", [](Args& a) { ICA_ProcessNcLib(&a.tuning, nullptr, nullptr, nullptr, nullptr, nullptr, 1, 30, a.tables.get(), &a.parameters, nullptr, nullptr); }},
};
// clang-format on

TEST(FramePreconditionsDeathTest, EndTheProcessAfterTwoLines) {
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
