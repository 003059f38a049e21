// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/frame_geometries.hpp"

#include <algorithm>
#include <cmath>

#include "nclib/Logic/WarpAdjust/frame_warps.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/numeric.hpp"

namespace {

using nclib::StageChain;
using std::isnan;

constexpr uint32_t kCheckedLnrPoints = 3;
constexpr float kLnrUnits = NC_LIB_LNR_UNITS;
constexpr NcLibImageSize kLnrFrame = {NC_LIB_LNR_UNITS, NC_LIB_LNR_UNITS};

NcLibWarpGridCoord ToPixel(const NcLibWarpGridCoord& point, const NcLibImageSize& size) {
    NcLibWarpGridCoord pixel;
    convertVirtualToPixel(&point, &size, &pixel);
    return pixel;
}

// A pixel position relative to a window of `length` pixels from `start` on, held inside it and
// `beyond` pixels past its end.
float InWindow(float position, int32_t start, uint32_t length, int beyond) {
    const float first = static_cast<float>(start);
    const float last = static_cast<float>(int64_t{start} + length + beyond);
    return std::max(first, std::min(position, last)) - first;
}

int32_t BuildChainInStabilizedDomain(const NcLibWarpGeomIn& in, StageChain& chain) {
    const FrameWarps& warps = in.frameWarps;
    if (in.fdDomain == DISTORTED_IMAGE_DOMAIN) {
        NC_LIB_REQUIRE_NOT_NULL(warps.prevDistCorrection, "in->frameWarps.prevDistCorrection");
        chain.Add(warps.prevDistCorrection->grid, INVERSE);
    }
    NC_LIB_REQUIRE_NOT_NULL(warps.prevStabilization, "in->frameWarps.prevStabilization");
    const int32_t status =
        nclib::AddStabilizationBackward(*warps.prevStabilization, nclib::kPrevAssistGrid, chain);
    chain.Add(warps.alignment->matrices, INVERSE);
    return status;
}

// A face of the previous frame goes to the current one in the domain in which the alignment holds.
int32_t BuildChainFromPreviousFrame(const NcLibWarpGeomIn& in, StageChain& chain) {
    const FrameWarps& warps = in.frameWarps;
    const bool is_distorted = in.fdDomain == DISTORTED_IMAGE_DOMAIN;
    switch (warps.alignmentDomain) {
        case UNDISTORTED_IMAGE_DOMAIN:
            if (is_distorted) {
                NC_LIB_REQUIRE_NOT_NULL(warps.prevDistCorrection,
                                        "in->frameWarps.prevDistCorrection");
                chain.Add(warps.prevDistCorrection->grid, INVERSE);
            }
            chain.Add(warps.alignment->matrices, INVERSE);
            break;
        case DISTORTED_IMAGE_DOMAIN:
            if (!is_distorted) {
                NC_LIB_REQUIRE_NOT_NULL(warps.prevDistCorrection,
                                        "in->frameWarps.prevDistCorrection");
                chain.Add(warps.prevDistCorrection->grid, REGULAR);
            }
            chain.Add(warps.alignment->matrices, INVERSE);
            chain.Add(warps.currDistCorrection->grid, INVERSE);
            break;
        default:
            NC_LIB_ASSERT_TEXT(STABILIZED_IMAGE_DOMAIN == warps.alignmentDomain,
                               "STABILIZED_IMAGE_DOMAIN == in->frameWarps.alignmentDomain");
            return BuildChainInStabilizedDomain(in, chain);
    }
    return nclib::AddStabilizationBackward(*warps.currStabilization, nclib::kCurrAssistGrid, chain);
}

int32_t BuildFaceChain(const NcLibWarpGeomIn* in, StageChain& chain) {
    if (in->fdFromPreviousFrame) {
        NC_LIB_ASSERT(true == in->frameWarps.alignment->matrices.enable);
        NC_LIB_ASSERT(false == in->frameWarps.alignment->grid.enable);
        return BuildChainFromPreviousFrame(*in, chain);
    }
    if (in->fdDomain == DISTORTED_IMAGE_DOMAIN) {
        chain.Add(in->frameWarps.currDistCorrection->grid, INVERSE);
    }
    return nclib::AddStabilizationBackward(*in->frameWarps.currStabilization,
                                           nclib::kCurrAssistGrid, chain);
}

// What the previous frame's faces need.
int32_t CheckPreviousFrame(const NcLibWarpGeomIn* in) {
    const FrameWarps& warps = in->frameWarps;
    NC_LIB_REQUIRE_NOT_NULL(warps.alignment, "in->frameWarps.alignment");
    NC_LIB_ASSERT(OUT_2_IN == in->frameWarps.alignment->direction);
    NC_LIB_REQUIRE_NOT_NULL(warps.prevDistCorrection, "in->frameWarps.prevDistCorrection");
    NC_LIB_REQUIRE_NOT_NULL(warps.prevStabilization, "in->frameWarps.prevStabilization");
    NC_LIB_REQUIRE_NOT_NULL(warps.prevStabilization->inputWarp,
                            "in->frameWarps.prevStabilization->inputWarp");
    const NcLibWarp& previous = *warps.prevStabilization->inputWarp;
    if (nclib::NeedsAssistGrid(previous) && previous.direction == OUT_2_IN) {
        NC_LIB_REQUIRE_NOT_NULL(warps.prevStabilization->assistGrid, nclib::kPrevAssistGrid);
    }
    return NC_LIB_SUCCESS;
}

int32_t CheckPointers(const NcLibWarpGeomIn* in, const NcLibWarpGeomOut* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    const FrameWarps& warps = in->frameWarps;
    NC_LIB_REQUIRE_NOT_NULL(warps.currStabilization, "in->frameWarps.currStabilization");
    NC_LIB_REQUIRE_NOT_NULL(warps.currStabilization->inputWarp,
                            "in->frameWarps.currStabilization->inputWarp");
    NC_LIB_REQUIRE_NOT_NULL(warps.currDistCorrection, "in->frameWarps.currDistCorrection");
    NC_LIB_REQUIRE_NOT_NULL(in->fdConfig, "in->fdConfig");
    NC_LIB_REQUIRE_NOT_NULL(out->fdConfig, "out->fdConfig");
    return NC_LIB_SUCCESS;
}

int32_t CheckGeometries(const NcLibWarpGeomIn* in) {
    NC_LIB_ASSERT(in->inputSize.heightLines == in->eisFOV.fullHeight);
    NC_LIB_ASSERT(in->inputSize.widthPixels == in->eisFOV.fullWidth);
    const NcLibWarpBuildAssistGridOut& current = *in->frameWarps.currStabilization;
    const bool has_current_faces = in->fdConfig->faceNum != 0 && !in->fdFromPreviousFrame;
    if ((has_current_faces || in->lnrDomain != STABILIZED_IMAGE_DOMAIN) &&
        nclib::NeedsAssistGrid(*current.inputWarp) && current.inputWarp->direction == OUT_2_IN) {
        NC_LIB_REQUIRE_NOT_NULL(current.assistGrid, nclib::kCurrAssistGrid);
    }
    NC_LIB_ASSERT(false == in->frameWarps.currDistCorrection->matrices.enable);
    NC_LIB_ASSERT((NULL == in->frameWarps.prevDistCorrection) ||
                  (false == in->frameWarps.prevDistCorrection->matrices.enable));
    if (in->fdConfig->faceNum != 0 && in->fdFromPreviousFrame) {
        const int32_t status = CheckPreviousFrame(in);
        if (status != NC_LIB_SUCCESS) {
            return status;
        }
    }
    NC_LIB_REQUIRE(std::all_of(in->lnrPoints, in->lnrPoints + kCheckedLnrPoints,
                               [](const NcLibLnrPoint& point) {
                                   return point.x <= NC_LIB_LNR_UNITS &&
                                          point.y <= NC_LIB_LNR_UNITS;
                               }),
                   NC_LIB_INVALID_INPUT, "Invalid optical center input");
    return NC_LIB_SUCCESS;
}

// The points as the front end's crop shows them, in its own units.
NcLibWarpGridCoord SeenInCrop(const NcLibLnrPoint& point, const NcLibZoomWindow& crop) {
    const NcLibWarpGridCoord whole = {static_cast<float>(point.x), static_cast<float>(point.y)};
    if (crop.fullWidth == 0) {
        return whole;
    }
    const auto seen = [](float position, int32_t start, uint32_t length, uint32_t full) {
        const float full_length = static_cast<float>(full);
        return (position - static_cast<float>(start) * kLnrUnits / full_length) * full_length /
               static_cast<float>(length);
    };
    return {seen(whole.x, crop.x, crop.width, crop.fullWidth),
            seen(whole.y, crop.y, crop.height, crop.fullHeight)};
}

uint32_t LnrUnits(float in_window, uint32_t length) {
    return nclib::TruncateToUint32(
        static_cast<double>(in_window * kLnrUnits / static_cast<float>(length)));
}

}  // namespace

int32_t correctFaceDetection(const NcLibWarpGeomIn* in, FD_CONFIG_CONTEXT* out) {
    NC_LIB_ASSERT(in->fdConfig->faceNum <= MAX_NUM_OF_FACE_DETECTION);
    NC_LIB_ASSERT((DISTORTED_IMAGE_DOMAIN == in->fdDomain) ||
                  (UNDISTORTED_IMAGE_DOMAIN == in->fdDomain));
    const FD_CONFIG_CONTEXT found = *in->fdConfig;
    out->faceNum = 0;
    if (found.faceNum == 0) {
        return NC_LIB_SUCCESS;
    }
    StageChain chain;
    int32_t status = BuildFaceChain(in, chain);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    NcLibWarpGridCoord centers[MAX_NUM_OF_FACE_DETECTION];
    for (uint32_t i = 0; i < found.faceNum; ++i) {
        centers[i] = nclib::ConvertPixelToVirtual(
            {static_cast<float>(found.faceCenterX[i]), static_cast<float>(found.faceCenterY[i])},
            in->inputSize);
    }
    status = chain.Apply(centers, found.faceNum, true);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Face detection warp points failed");
    for (uint32_t i = 0; i < found.faceNum; ++i) {
        if (isnan(centers[i].x) || isnan(centers[i].y)) {
            continue;
        }
        const NcLibWarpGridCoord pixel = ToPixel(centers[i], in->inputSize);
        const NcLibZoomWindow& fov = in->eisFOV;
        const uint32_t kept = out->faceNum++;
        out->faceCenterX[kept] =
            nclib::TruncateToUint32(static_cast<double>(InWindow(pixel.x, fov.x, fov.width, -1)));
        out->faceCenterY[kept] =
            nclib::TruncateToUint32(static_cast<double>(InWindow(pixel.y, fov.y, fov.height, -1)));
        out->faceProperty[kept] = found.faceProperty[i];
    }
    return NC_LIB_SUCCESS;
}

int32_t correctLnr(const NcLibWarpGeomIn* in, NcLibLnrPoint* points) {
    NC_LIB_ASSERT((OUT_2_IN == in->frameWarps.currStabilization->inputWarp->direction));
    NC_LIB_ASSERT(((0 != in->ifeZoomWindow.fullHeight) && (0 != in->ifeZoomWindow.fullWidth)) ||
                  ((0 == in->ifeZoomWindow.fullHeight) && (0 == in->ifeZoomWindow.fullWidth)));
    StageChain chain;
    if (in->lnrDomain != UNDISTORTED_IMAGE_DOMAIN) {
        chain.Add(in->frameWarps.currDistCorrection->grid, INVERSE);
    }
    int32_t status = nclib::AddStabilizationBackward(*in->frameWarps.currStabilization,
                                                     nclib::kCurrAssistGrid, chain);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    NcLibWarpGridCoord lnrInOut[NC_LIB_LNR_POINTS];
    for (uint32_t i = 0; i < NC_LIB_LNR_POINTS; ++i) {
        lnrInOut[i] = nclib::ConvertPixelToVirtual(SeenInCrop(in->lnrPoints[i], in->ifeZoomWindow),
                                                   kLnrFrame);
    }
    status = chain.Apply(lnrInOut, NC_LIB_LNR_POINTS, true);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "LNR warp points failed");
    NC_LIB_ASSERT((false == isnan(lnrInOut[0].x)) && (false == isnan(lnrInOut[0].y)));
    NC_LIB_ASSERT((false == isnan(lnrInOut[1].x)) && (false == isnan(lnrInOut[1].y)));
    NC_LIB_ASSERT((false == isnan(lnrInOut[2].x)) && (false == isnan(lnrInOut[2].y)));
    const NcLibZoomWindow& fov = in->eisFOV;
    for (uint32_t i = 0; i < NC_LIB_LNR_POINTS; ++i) {
        const NcLibWarpGridCoord pixel = ToPixel(lnrInOut[i], {fov.fullWidth, fov.fullHeight});
        points[i] = {LnrUnits(InWindow(pixel.x, fov.x, fov.width, 0), fov.width),
                     LnrUnits(InWindow(pixel.y, fov.y, fov.height, 0), fov.height)};
    }
    return NC_LIB_SUCCESS;
}

int32_t NcLibWarpGeometries(const NcLibWarpGeomIn* in, NcLibWarpGeomOut* out) {
    int32_t status = CheckPointers(in, out);
    if (status == NC_LIB_SUCCESS) {
        status = CheckGeometries(in);
    }
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    status = correctFaceDetection(in, out->fdConfig);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "CorrectFace %d", status);
    status = correctLnr(in, out->lnrPoints);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "correctLnr failed");
    return NC_LIB_SUCCESS;
}
