// SPDX-License-Identifier: Apache-2.0
// Random records through the functions on whole frames: faces, motion between frames, programs of
// the warp hardware, helpers of the stabilizer. What is documented as a precondition is kept.
#include <array>
#include <cmath>

#include "nclib/Logic/WarpAdjust/composition.hpp"
#include "nclib/warp_input.hpp"
#include "platform/log.hpp"
#include "steadywarp/eis_utility.h"
#include "steadywarp/nclib_ica.h"
#include "steadywarp/nclib_temporal.h"

namespace {

using namespace warp_fuzz;

constexpr size_t kChoiceBytes = 160;

// An affine matrix far enough from singular to be taken backward.
void MakeInvertible(Warp& warp) {
    for (auto& matrix : warp.matrices) {
        float* T = matrix.T;
        for (int i = 0; i < 6; ++i) {
            T[i] = std::isfinite(T[i]) ? std::clamp(T[i], -9000.0f, 9000.0f) : 0.0f;
        }
        for (const int i : {0, 1, 3, 4}) {
            T[i] = T[i] / 40000.0f + (i == 0 || i == 4 ? 1.0f : 0.0f);
        }
        T[6] = T[7] = 0.0f;
        T[8] = 1.0f;
    }
}

// A virtual warp as a frame has it: usable parts, and coordinates with which one can reckon.
Warp ReadFrameWarp(Input& in, bool has_matrices, bool has_grid) {
    Warp warp = ReadWarp(in);
    NcLibWarp& record = warp.record;
    if (warp.matrices.empty()) {
        warp.matrices.resize(1);
        record.matrices.numRows = record.matrices.numColumns = 1;
        record.matrices.perspMatrices = warp.matrices.data();
    }
    record.direction = OUT_2_IN;
    record.matrices.enable = has_matrices;
    record.matrices.centerType = CENTERED;
    record.matrices.confidence = std::min(record.matrices.confidence, 256u);
    record.grid.enable = has_grid;
    record.matrices.transformDefinedOn = {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT};
    record.grid.transformDefinedOn = record.matrices.transformDefinedOn;
    MakeInvertible(warp);
    const auto moderate = [](float value) {
        return std::isfinite(value) ? std::clamp(value, -1e6f, 1e6f) : 0.0f;
    };
    for (auto* points : {&warp.nodes, &warp.corners}) {
        for (auto& point : *points) {
            point = {moderate(point.x), moderate(point.y)};
        }
    }
    return warp;
}

void KeepOneMatrix(Warp& warp) {
    warp.record.matrices.numRows = warp.record.matrices.numColumns = 1;
}

// The warps of two frames that agree in kind.
struct Frames {
    bool has_matrices, has_grid, has_lens;
    Warp now, before, now_lens, before_lens, alignment;
    std::array<NcLibWarpGridCoord, 33 * 25> now_nodes, before_nodes;
    NcLibWarpGrid now_assist{}, before_assist{};
    NcLibWarpBuildAssistGridOut now_record{&now_assist, &now.record};
    NcLibWarpBuildAssistGridOut before_record{&before_assist, &before.record};

    Frames(Input& choices, Input& in)
        : has_matrices(choices.Flag()),
          has_grid(choices.Flag()),
          has_lens(choices.Flag()),
          now(ReadFrameWarp(in, has_matrices, has_grid)),
          before(ReadFrameWarp(in, has_matrices, has_grid)),
          now_lens(ReadFrameWarp(in, false, has_lens)),
          before_lens(ReadFrameWarp(in, false, has_lens)),
          alignment(ReadFrameWarp(in, true, false)) {
        if (now.matrices.size() == 1 || before.matrices.size() == 1) {
            KeepOneMatrix(now);
            KeepOneMatrix(before);
        }
        KeepOneMatrix(alignment);
        now_assist.grid = now_nodes.data();
        before_assist.grid = before_nodes.data();
        const NcLibWarpBuildAssistGridIn request = {&now.record, 33, 25};
        NcLibWarpBuildAssistGrid(&request, &now_record);
        const NcLibWarpBuildAssistGridIn previous = {&before.record, 33, 25};
        NcLibWarpBuildAssistGrid(&previous, &before_record);
    }
    Frames(const Frames&) = delete;
    Frames& operator=(const Frames&) = delete;

    FrameWarps Record(uint32_t alignment_domain) const {
        return {alignment_domain, &alignment.record, &now_record,
                &before_record,   &now_lens.record,  &before_lens.record};
    }
};

NcLibZoomWindow ReadFieldOfView(Input& in) {
    NcLibZoomWindow fov = {
        1 + in.Below(4096), 1 + in.Below(4096), in.Get<int16_t>(), in.Get<int16_t>(), 0, 0};
    fov.width = 1 + in.Below(fov.fullWidth);
    fov.height = 1 + in.Below(fov.fullHeight);
    return fov;
}

void Geometries(Input& in, Input& bulk) {
    const Frames frames(in, bulk);
    NcLibWarpGeomIn geom{};
    FD_CONFIG_CONTEXT faces{}, faces_out{};
    NcLibWarpGeomOut out{&faces_out, {}};
    geom.eisFOV = ReadFieldOfView(in);
    geom.inputSize = {geom.eisFOV.fullWidth, geom.eisFOV.fullHeight};
    if (in.Flag()) {
        geom.ifeZoomWindow = ReadFieldOfView(in);
    }
    geom.frameWarps = frames.Record(in.Below(3));
    geom.fdConfig = &faces;
    geom.fdFromPreviousFrame = in.Flag();
    geom.fdDomain = in.Below(2);
    geom.lnrDomain = in.Below(4);
    faces.faceNum = in.Below(6);
    for (uint32_t i = 0; i < 5; ++i) {
        faces.faceCenterX[i] = in.Get<uint32_t>() >> in.Below(32);
        faces.faceCenterY[i] = in.Get<uint32_t>() >> in.Below(32);
        geom.lnrPoints[i] = {in.Get<uint32_t>() >> in.Below(32),
                             in.Get<uint32_t>() >> in.Below(32)};
    }
    NcLibWarpGeometries(&geom, &out);
}

void FaceRectangles(Input& in, Input& bulk) {
    const bool has_matrices = in.Flag();
    const Warp warp = ReadFrameWarp(bulk, has_matrices, in.Flag());
    const NcLibImageSize from = {in.Below(4096), in.Below(4096)},
                         to = {in.Below(4096), in.Below(4096)};
    const auto any_size = [&in] { return in.Get<int32_t>() >> in.Below(32); };
    NcLibFdRoi rois[3], rois_out[3];
    for (NcLibFdRoi& roi : rois) {
        roi = {any_size(), any_size(), any_size(), any_size()};
    }
    NcLibTranslateFdDomains(rois, in.Below(4), &from, &warp.record, &to, rois_out);
    uint32_t passes;
    NcLibGetMaxNumOfPasses(&from, &to, in.Coordinate(), in.Below(6), &passes);
}

void Mctf(Input& in, Input& bulk) {
    Frames frames(in, bulk);
    Warp out = Room();
    NcLibCalcMctfIn mctf{};
    mctf.eisFOV = ReadFieldOfView(in);
    const NcLibImageSize size = {mctf.eisFOV.fullWidth, mctf.eisFOV.fullHeight};
    mctf.inputSize = &size;
    mctf.outDomain = in.Flag() ? STABILIZED_IMAGE_DOMAIN : DISTORTED_IMAGE_DOMAIN;
    mctf.frameWarps = frames.Record(in.Below(3));
    out.record.grid.numRows = in.Flag() ? 51 : 27;
    out.record.grid.numColumns = out.record.grid.numRows == 51 ? 67 : 35;
    if (mctf.outDomain == DISTORTED_IMAGE_DOMAIN &&
        mctf.frameWarps.alignmentDomain != DISTORTED_IMAGE_DOMAIN) {
        // A grid comes out: of a chip that has one, from a stabilized alignment and with lenses.
        if (!NcLibChipInfo::GetCapabilities().IcaHighResGrid() || !frames.has_lens) {
            return;
        }
        mctf.frameWarps.alignmentDomain = STABILIZED_IMAGE_DOMAIN;
        frames.now.record.direction = in.Below(2);
        frames.now_lens.record.direction = in.Below(2);
    }
    NcLibCalcMctfTransform(&mctf, &out.record);
    frames.now.record.direction = OUT_2_IN;
    NcLibCalcMfnrTransform(&frames.now.record, &frames.alignment.record, &out.record);
}

void Motion(Input& in, Input& bulk) {
    Warp warp = ReadWarp(bulk);
    NcLibWarp& record = warp.record;
    const NcLibZoomWindow a = ReadWindow(in), b = ReadWindow(in);
    NcLibPerspTransformSingle matrix, gmo;
    std::generate(std::begin(matrix.T), std::end(matrix.T), [&] { return in.Coordinate(); });
    matrix.T[8] = in.Below(8) == 0 ? matrix.T[8] : 1.0f;
    NcLibGenerateGMO(&matrix, in.Flag(), &a, &b, &gmo);
    if (checkInputNcLibWarpMatrices(&record.matrices) != NC_LIB_SUCCESS) {
        return;
    }
    const std::unique_ptr<NcLibWarpGridCoord[]> scratch(
        new NcLibWarpGridCoord[NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES /
                               sizeof(NcLibWarpGridCoord)]);
    const NcLibCheckIcaTransformValidityIn validity = {&record, a, b};
    NcLibIcaTransformValidityInternalOut measured;
    int is_valid;
    NcLibCheckIcaTransformValidity(&validity, in.Flag(), scratch.get(), &is_valid, &measured);
    Warp out = Room();
    if (record.grid.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS &&
        !NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners()) {
        record.grid.enable = false;
    }
    NcLibGenerateHfr(&record, in.Below(12), &out.record);
    record.matrices.numRows = record.matrices.numColumns = 1;
    record.matrices.transformDefinedOn = record.grid.transformDefinedOn = {8192, 6144};
    const NcLibGenerateGMOStatisticsIn statistics = {record, {in.Below(4096), in.Below(4096)}, a};
    NcLibGenerateGMOStatisticsOut sums;
    NcLibGenerateGMOStatistics(&statistics, &sums);
    const NcLibAlignmentFusionIn fusion = {in.Flag() ? &record : nullptr,
                                           in.Flag(),
                                           in.Flag() ? &record : nullptr,
                                           in.Below(4),
                                           in.Get<int16_t>(),
                                           in.Get<int16_t>(),
                                           in.Below(9),
                                           in.Coordinate(),
                                           in.Coordinate(),
                                           in.Below(9),
                                           in.Below(9),
                                           in.Below(4),
                                           in.Below(9)};
    NcLibAlignmentFusionOut chosen;
    NcLibAlignmentFusion(&fusion, &chosen);
}

void Program(Input& in, Input& bulk) {
    constexpr uint32_t kVersions[] = {10, 20, 30, 40};
    const uint32_t version = kVersions[in.Below(4)];
    Warp warp = ReadWarp(bulk);
    NcLibWarpGrid& grid = warp.record.grid;
    grid.transformDefinedOn.widthPixels += grid.transformDefinedOn.widthPixels == 0 ? 1 : 0;
    grid.transformDefinedOn.heightLines += grid.transformDefinedOn.heightLines == 0 ? 1 : 0;
    warp.record.matrices.transformDefinedOn = grid.transformDefinedOn;
    if (version != 10) {
        grid.extrapolateType = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    }
    const bool by_flow = in.Flag() && (version != 10 || grid.numRows == 25);
    const auto ica = ReadIcaGrid(bulk);
    ICA_Tessaline tuning{};
    tuning.enable = in.Get<uint32_t>();
    auto tables = std::make_unique<NcLibIcaWarp>();
    IcaParameters parameters;
    SetDefaultsForIcaStruct(&parameters, in.Get<uint8_t>());
    parameters.lumaTranslationOnly = in.Below(2);
    GeoLibIcaPassMapping mapping{};
    mapping.numPasses = in.Below(6);
    for (auto& pass : mapping.passes) {
        pass.inputSize = {in.Get<uint32_t>() >> in.Below(32), in.Below(4096)};
        pass.outputSize = {in.Below(4096), in.Get<uint32_t>() >> in.Below(32)};
        pass.inputWindow = {{in.Coordinate(), in.Coordinate()}, {in.Coordinate(), in.Coordinate()}};
        pass.outputWindow.size = {in.Coordinate(), in.Coordinate()};
    }
    NcLibIcaLmcPass motion[4];
    for (auto& pass : motion) {
        pass = {in.Coordinate(), in.Coordinate(), in.Coordinate(),
                in.Coordinate(), in.Coordinate(), in.Coordinate()};
    }
    const NcLibIcaContext context = {in.Below(6), {in.Below(4), in.Below(4), 1, 2}, motion};
    IcaPassParameters registers[4];
    LmcPassParameters_680 lmc[4];
    ICA_ProcessNcLib(&tuning, ica.get(), &grid, &warp.record.matrices, &mapping, &context,
                     by_flow ? 1 : 0, version, tables.get(), &parameters, registers, lmc);
}

void Utilities(Input& in, Input& bulk) {
    NcLibSetChip(0x50800, 10);
    Warp first = ReadWarp(bulk), second = ReadWarp(bulk), third = ReadWarp(bulk), out = Room();
    std::array<NcLibPerspTransformSingle, EIS_GRID_STRIPS> strips;
    NcLibWarpMatrices matrices{};
    matrices.perspMatrices = strips.data();
    eis_utility_convert_grid_to_matrices(&first.record.grid, &matrices);
    std::vector<unsigned char> work(EIS_SINGLE_GRID_WORK_BYTES - in.Below(2));
    eis_utility_convert_output_stabilize_to_single_grid(&first.record.grid, &second.record,
                                                        work.data(), work.size(), &out.record.grid);
    out.record.grid.numRows = in.Flag() ? 51 : 27;
    out.record.grid.numColumns = in.Flag() ? 67 : 35;
    // Coordinates that are no numbers are a precondition broken here.
    Frames frames(in, bulk);
    if (frames.has_lens) {
        eis_utility_convert_ud_alignment_matrix_to_distorted_grid(
            &frames.alignment.record.matrices, &frames.now_lens.record.grid,
            &frames.before_lens.record.grid, &out.record);
    }
    const is_crop_rect crop = {in.Get<uint32_t>(), in.Below(4096),     in.Get<int32_t>(),
                               in.Get<int32_t>(),  in.Get<uint32_t>(), in.Get<uint32_t>()};
    is_window_regions regions;
    eis_utility_convert_to_window_regions_deployment(&crop, &crop, in.Below(4096), in.Below(4096),
                                                     in.Below(13), &regions,
                                                     static_cast<double>(in.Coordinate()), 0.5);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Zelm::Log::SetSink([](uint32_t, Zelm::Log::Level, const char*, void*) {}, nullptr);
    // Choices come first, so that a short input decides them all; warps fill up from the rest.
    const size_t num_choices = std::min(size, kChoiceBytes);
    Input choices(data, num_choices);
    Input bulk(data + num_choices, size - num_choices);
    NcLibChipInfo::Set(kChips[choices.Below(std::size(kChips))], 0);
    constexpr void (*kOperations[])(Input&, Input&) = {Geometries, Mctf,      Motion,
                                                       Program,    Utilities, FaceRectangles};
    kOperations[choices.Below(std::size(kOperations))](choices, bulk);
    return 0;
}
