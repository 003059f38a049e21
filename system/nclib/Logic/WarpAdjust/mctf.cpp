// SPDX-License-Identifier: Apache-2.0
// Motion between two frames in the domain of a temporal filter: which form the result takes, and
// its matrix forms.
#include "nclib/Logic/WarpAdjust/mctf.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "nclib/Logic/WarpAdjust/frame_warps.hpp"
#include "nclib/Logic/WarpAdjust/small_matrix.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/geometry/geometric_fit.hpp"

namespace {

using nclib::StageChain;
using nclib::VirtualSpan;

constexpr uint32_t kSampleRows = 9;
constexpr uint32_t kSamples = 2 * kSampleRows;
constexpr uint32_t kLeastGoodSamples = 5;
// Two columns determine a homography through two points of each.
constexpr uint32_t kLeastInColumn = 2;
constexpr NcLibPerspTransformSingle kIdentity = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};

VirtualSpan SpanOf(const NcLibZoomWindow& window) {
    return {static_cast<float>(window.width) * nclib::kVirtualWidth /
                static_cast<float>(window.fullWidth),
            static_cast<float>(window.height) * nclib::kVirtualHeight /
                static_cast<float>(window.fullHeight)};
}

int32_t CopyAlignment(const NcLibCalcMctfIn* in, NcLibWarp* out) {
    const NcLibWarp& alignment = *in->frameWarps.alignment;
    if (alignment.grid.enable) {
        NC_LIB_REQUIRE_NOT_NULL(out->grid.grid, "out->grid.grid");
    }
    memcpyWarp(out, &alignment);
    return NC_LIB_SUCCESS;
}

bool IsMatrixAlone(const NcLibWarp& warp) {
    return warp.matrices.enable && nclib::IsSingleMatrix(warp.matrices) && !warp.grid.enable;
}

// All that lies between the domains is one matrix in each frame.
bool IsProductOfMatrices(const NcLibCalcMctfIn* in) {
    return IsMatrixAlone(*in->frameWarps.currStabilization->inputWarp) &&
           IsMatrixAlone(*in->frameWarps.prevStabilization->inputWarp) &&
           IsMatrixAlone(*in->frameWarps.alignment) &&
           !in->frameWarps.currDistCorrection->grid.enable;
}

// No warp lies between the distorted domain and that of the alignment.
bool IsAlignmentDistorted(const NcLibCalcMctfIn* in) {
    const NcLibWarp& stabilization = *in->frameWarps.currStabilization->inputWarp;
    const bool is_stabilized = stabilization.matrices.enable || stabilization.grid.enable;
    return !in->frameWarps.currDistCorrection->grid.enable &&
           (in->frameWarps.alignmentDomain == UNDISTORTED_IMAGE_DOMAIN || !is_stabilized);
}

void AssertStabilizationsOut2In(const NcLibCalcMctfIn* in) {
    NC_LIB_ASSERT(OUT_2_IN == in->frameWarps.currStabilization->inputWarp->direction);
    NC_LIB_ASSERT(OUT_2_IN == in->frameWarps.prevStabilization->inputWarp->direction);
}

void Multiply(const float* first, const float* second, const float* third, float* product) {
    float left[9];
    NcLibInternalMatrixProduct(first, second, left);
    NcLibInternalMatrixProduct(left, third, product);
}

int32_t CalcMctfProduct(const NcLibCalcMctfIn* in, NcLibWarp* out) {
    AssertStabilizationsOut2In(in);
    const NcLibWarpMatrices& alignment = in->frameWarps.alignment->matrices;
    const float* curr = in->frameWarps.currStabilization->inputWarp->matrices.perspMatrices->T;
    const float* prev = in->frameWarps.prevStabilization->inputWarp->matrices.perspMatrices->T;
    float inverse[9];
    NcLibPerspTransformSingle result;
    if (in->outDomain == STABILIZED_IMAGE_DOMAIN) {
        const int32_t status = NcLibInternalMatrixInverse(prev, inverse);
        NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status,
                       "NcLibInternalMatrixInverse prevStabilization failed: %d", status);
        Multiply(inverse, alignment.perspMatrices->T, curr, result.T);
    } else {
        const int32_t status = NcLibInternalMatrixInverse(curr, inverse);
        NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status,
                       "NcLibInternalMatrixInverse currStabilization failed: %d", status);
        Multiply(inverse, alignment.perspMatrices->T, prev, result.T);
    }
    *out->matrices.perspMatrices = result;
    nclib::WriteMctfMatrixHeader(alignment.confidence, out);
    return NC_LIB_SUCCESS;
}

// From the current frame's stabilized picture to the previous frame's.
int32_t BuildStabilizedChain(const NcLibCalcMctfIn* in, StageChain& chain) {
    const FrameWarps& warps = in->frameWarps;
    const bool is_distorted = warps.alignmentDomain == DISTORTED_IMAGE_DOMAIN;
    chain.AddForward(*warps.currStabilization->inputWarp);
    if (is_distorted) {
        chain.Add(warps.currDistCorrection->grid, REGULAR);
    }
    chain.Add(warps.alignment->matrices, REGULAR);
    if (is_distorted) {
        chain.Add(warps.prevDistCorrection->grid, INVERSE);
    }
    if (nclib::NeedsAssistGrid(*warps.prevStabilization->inputWarp)) {
        NC_LIB_ASSERT(in->frameWarps.prevStabilization->assistGrid->enable ==
                      in->frameWarps.prevStabilization->inputWarp->matrices.enable);
    }
    return nclib::AddStabilizationBackward(*warps.prevStabilization, nclib::kPrevAssistGrid, chain);
}

int32_t CalcMctfFit(const NcLibCalcMctfIn* in, NcLibWarp* out) {
    AssertStabilizationsOut2In(in);
    NC_LIB_ASSERT((true == in->frameWarps.alignment->matrices.enable) &&
                  (false == in->frameWarps.alignment->grid.enable));
    StageChain chain;
    const int32_t status = BuildStabilizedChain(in, chain);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    if (isMctfTopologyTrivial(chain.Stages(), chain.Count())) {
        return CopyAlignment(in, out);
    }
    return nclib::FitMctfMatrix(chain, SpanOf(in->eisFOV),
                                in->frameWarps.alignment->matrices.confidence, out);
}

// Two columns at a third and two thirds of the width, nine heights.
std::array<NcLibWarpGridCoord, kSamples> SamplesOf(const VirtualSpan& span) {
    const float x[2] = {std::trunc(span.width * 0.6666667f - span.width / 2.0f) + 0.5f,
                        std::trunc(span.width * 0.33333334f - span.width / 2.0f) + 0.5f};
    std::array<NcLibWarpGridCoord, kSamples> samples;
    for (uint32_t i = 0; i < kSampleRows; ++i) {
        const float y =
            std::trunc((static_cast<float>(i) + 0.5f) * (span.height / 9.0f) - span.height / 2.0f) +
            0.5f;
        samples[i] = {x[0], y};
        samples[kSampleRows + i] = {x[1], y};
    }
    return samples;
}

// Fit `matrix`; false if the listed samples do not determine one.
bool FitSamples(const std::array<NcLibWarpGridCoord, kSamples>& from,
                const std::array<NcLibWarpGridCoord, kSamples>& to, float* matrix) {
    uint16_t good[kSamples];
    uint32_t count = 0;
    uint32_t in_column[2] = {};
    for (uint16_t i = 0; i < kSamples; ++i) {
        if (!std::isnan(to[i].x) && !std::isnan(to[i].y)) {
            good[count++] = i;
            ++in_column[i / kSampleRows];
        }
    }
    if (count < kLeastGoodSamples || in_column[0] < kLeastInColumn ||
        in_column[1] < kLeastInColumn) {
        return false;
    }
    const bcvCorrespondences correspondences = {&from[0].x, &to[0].x, 2, 2, kSamples, good, count};
    bcvGeomHomographyFitf32(&correspondences, matrix);
    return matrix[8] != 0.0f &&
           std::all_of(matrix, matrix + 9, [](float element) { return std::isfinite(element); });
}

}  // namespace

namespace nclib {

void WriteMctfMatrixHeader(uint32_t confidence, NcLibWarp* out) {
    NcLibPerspTransformSingle* const matrices = out->matrices.perspMatrices;
    out->matrices = {true, kVirtualSize, NOT_CENTERED, confidence, 1, 1, matrices};
    out->grid.enable = false;
    out->direction = OUT_2_IN;
    NC_LIB_ASSERT_TEXT(std::fabs(static_cast<double>(matrices->T[8])) > NC_LIB_WARP_INTERNAL_EPS,
                       "fabs(out->matrices.perspMatrices->T[8]) > NC_LIB_WARP_INTERNAL_EPS");
}

int32_t FitMctfMatrix(const StageChain& chain, const VirtualSpan& span, uint32_t confidence,
                      NcLibWarp* out) {
    const auto from = SamplesOf(span);
    auto to = from;
    const int32_t status = chain.Apply(to.data(), kSamples, false);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "MCTF warp points failed");
    if (confidence == 0 || !FitSamples(from, to, out->matrices.perspMatrices->T)) {
        *out->matrices.perspMatrices = kIdentity;
        WriteMctfMatrixHeader(0, out);
        return NC_LIB_MCTF_NO_ALIGNMENT;
    }
    WriteMctfMatrixHeader(confidence, out);
    return NC_LIB_SUCCESS;
}

}  // namespace nclib

bool isMctfTopologyTrivial(const NcLibInternalWarpTopology* topology, uint32_t numStages) {
    uint32_t enabled = 0;
    for (uint32_t idx = 0; idx < numStages; ++idx) {
        if (topology[idx].grid != nullptr) {
            enabled += topology[idx].grid->enable ? 1 : 0;
            continue;
        }
        NC_LIB_ASSERT(NULL != topology[idx].matrices);
        enabled += topology[idx].matrices->enable ? 1 : 0;
    }
    return enabled <= 1;
}

int32_t NcLibCalcMctfTransform(const NcLibCalcMctfIn* in, NcLibWarp* out) {
    int32_t status = nclib::CheckMctf(in, out);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    const bool is_distorted = in->outDomain == DISTORTED_IMAGE_DOMAIN;
    if (in->frameWarps.alignmentDomain == in->outDomain ||
        (is_distorted && IsAlignmentDistorted(in))) {
        status = CopyAlignment(in, out);
    } else if (IsProductOfMatrices(in)) {
        status = CalcMctfProduct(in, out);
    } else if (is_distorted) {
        status = nclib::CalcMctfGrid(in, SpanOf(in->eisFOV), out);
    } else {
        status = CalcMctfFit(in, out);
    }
    NcLibWarpDebugPrintNcLibWarp(out, "mctfOutput.txt");
    return status;
}
