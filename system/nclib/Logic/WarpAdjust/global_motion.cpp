// SPDX-License-Identifier: Apache-2.0
// Global motion: an alignment as it acts between crops, and how far it moves a frame.
#include <algorithm>
#include <array>
#include <cmath>

#include "nclib/Logic/WarpAdjust/resample.hpp"
#include "nclib/Logic/WarpAdjust/stage_chain.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_temporal.h"

namespace {

using Matrix = std::array<double, 9>;

constexpr NcLibPerspTransformSingle kIdentity = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};

constexpr uint32_t kSide = 7;
constexpr uint32_t kSamples = kSide * kSide;
using Samples = std::array<NcLibWarpGridCoord, kSamples>;

// A crop by its centre, from that of the full frame, and its share of the frame.
struct Crop {
    double x, y;
    double share_x, share_y;
};

Crop CropOf(const NcLibZoomWindow& window) {
    const double full_width = window.fullWidth;
    const double full_height = window.fullHeight;
    return {window.x + window.width / 2.0 - full_width / 2.0,
            window.y + window.height / 2.0 - full_height / 2.0, window.width / full_width,
            window.height / full_height};
}

bool IsTooSmall(double denominator) {
    return !(std::fabs(denominator) >= NC_LIB_WARP_INTERNAL_EPS);
}

// The matrix with its origin moved from the first pixel to the centre of a frame.
int32_t Recentre(const NcLibZoomWindow& frame, Matrix& T) {
    const double cx = (frame.fullWidth - 1.0) / 2.0;
    const double cy = (frame.fullHeight - 1.0) / 2.0;
    const double d = T[6] * cx + T[7] * cy + 1.0;
    NC_LIB_REQUIRE(!IsTooSmall(d), NC_LIB_GENERAL_ERROR,
                   "denominator when alignment is not centralized is too small %f, failed to calc "
                   "GMO",
                   d);
    T = {(T[0] - T[6] * cx) / d,
         (T[1] - cx * T[7]) / d,
         (T[1] * cy + cx * T[0] - d * cx + T[2]) / d,
         (T[3] - cy * T[6]) / d,
         (T[4] - T[7] * cy) / d,
         (T[4] * cy + cx * T[3] - d * cy + T[5]) / d,
         T[6] / d,
         T[7] / d,
         1.0};
    return NC_LIB_SUCCESS;
}

// From points of crop a to points of crop b, each from its crop's centre and stretched to the full
// size: p -> (T(ca + sa p) - cb) / sb.
int32_t BetweenCrops(const Matrix& T, const Crop& a, const Crop& b,
                     NcLibPerspTransformSingle& result) {
    const double d = T[6] * a.x + T[7] * a.y + 1.0;
    NC_LIB_REQUIRE(!IsTooSmall(d), NC_LIB_GENERAL_ERROR,
                   "denominator is too small %f, failed to calc GMO", d);
    const double kx = 1.0 / b.share_x;
    const double ky = 1.0 / b.share_y;
    const double sx = a.share_x;
    const double sy = a.share_y;
    const Matrix G = {(T[0] - T[6] * b.x) * sx * kx / d,
                      (T[1] - T[7] * b.x) * sy * kx / d,
                      (T[1] * a.y + a.x * T[0] + T[2] - d * b.x) * kx / d,
                      (T[3] - T[6] * b.y) * sx * ky / d,
                      (T[4] - T[7] * b.y) * sy * ky / d,
                      (T[4] * a.y + a.x * T[3] + T[5] - d * b.y) * ky / d,
                      T[6] * sx / d,
                      T[7] * sy / d,
                      1.0};
    std::transform(G.begin(), G.end(), result.T,
                   [](double element) { return static_cast<float>(element); });
    return NC_LIB_SUCCESS;
}

int32_t CheckStatisticsInput(const NcLibGenerateGMOStatisticsIn* in,
                             const NcLibGenerateGMOStatisticsOut* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    NC_LIB_ASSERT(
        (false == in->alignmentTransform.matrices.enable) ||
        ((in->alignmentTransform.matrices.transformDefinedOn.heightLines ==
          VIRTUAL_DOMAIN_HEIGHT) &&
         (in->alignmentTransform.matrices.transformDefinedOn.widthPixels == VIRTUAL_DOMAIN_WIDTH)));
    NC_LIB_ASSERT(
        (false == in->alignmentTransform.grid.enable) ||
        ((in->alignmentTransform.grid.transformDefinedOn.heightLines == VIRTUAL_DOMAIN_HEIGHT) &&
         (in->alignmentTransform.grid.transformDefinedOn.widthPixels == VIRTUAL_DOMAIN_WIDTH)));
    NC_LIB_ASSERT_TEXT(!in->alignmentTransform.matrices.enable ||
                           nclib::IsSingleMatrix(in->alignmentTransform.matrices),
                       "(false == in->alignmentTransform.matrices.enable) || "
                       "isSingleMatrix(in->alignmentTransform.matrices)");
    NC_LIB_REQUIRE(in->outputSize.widthPixels != 0 && in->outputSize.heightLines != 0,
                   NC_LIB_INVALID_INPUT, "Invalid output size %ux%u", in->outputSize.widthPixels,
                   in->outputSize.heightLines);
    return nclib::HasFullSize(in->zoomWindow) ? NC_LIB_SUCCESS : NC_LIB_INVALID_INPUT;
}

// A lattice over a window's size, centred in the frame.
Samples LatticeOf(const NcLibZoomWindow& window) {
    const NcLibROI share = nclib::ToFractions(window);
    const auto at = [](float size, float whole, uint32_t i) {
        return (1.0f - size) / 2.0f * whole - whole / 2.0f +
               static_cast<float>(i) * size * whole / 6.0f;
    };
    Samples lattice;
    for (uint32_t i = 0; i < kSamples; ++i) {
        lattice[i] = {at(share.size.x, nclib::kVirtualWidth, i % kSide),
                      at(share.size.y, nclib::kVirtualHeight, i / kSide)};
    }
    return lattice;
}

// The samples of a grid as one matrix, identity if they determine none.
NcLibPerspTransformSingle FitSamples(const Samples& from, const Samples& to, const uint16_t* placed,
                                     uint32_t count) {
    const bcvCorrespondences correspondences = {&from[0].x, &to[0].x, 2,    2,
                                                kSamples,   placed,   count};
    NcLibPerspTransformSingle matrix;
    bcvGeomHomographyFitf32(&correspondences, matrix.T);
    const bool is_fit = matrix.T[8] != 0.0f && std::all_of(matrix.T, matrix.T + 9, [](float t) {
                            return std::isfinite(t);
                        });
    return is_fit ? matrix : kIdentity;
}

}  // namespace

int32_t NcLibGenerateGMO(const NcLibPerspTransformSingle* alignmentMatrix, bool centered,
                         const NcLibZoomWindow* currZoomWindow,
                         const NcLibZoomWindow* prevZoomWindow,
                         NcLibPerspTransformSingle* gmoMatrix) {
    NC_LIB_REQUIRE_NOT_NULL(alignmentMatrix, "alignmentMatrix");
    NC_LIB_REQUIRE_NOT_NULL(currZoomWindow, "currZoomWindow");
    NC_LIB_REQUIRE_NOT_NULL(prevZoomWindow, "prevZoomWindow");
    NC_LIB_REQUIRE_NOT_NULL(gmoMatrix, "gmoMatrix");
    NC_LIB_REQUIRE(alignmentMatrix->T[8] == 1.0f, NC_LIB_INVALID_INPUT,
                   "invalid alignmentMatrix.T[8]: value %f, should be 1.0",
                   static_cast<double>(alignmentMatrix->T[8]));
    Matrix T;
    std::copy_n(alignmentMatrix->T, 9, T.begin());
    *gmoMatrix = kIdentity;
    NC_LIB_REQUIRE(currZoomWindow->fullWidth != 0 && currZoomWindow->fullHeight != 0 &&
                       prevZoomWindow->fullWidth != 0 && prevZoomWindow->fullHeight != 0,
                   NC_LIB_INVALID_INPUT, "previous/current fullWidth/fullHeight are set to 0");
    NC_LIB_REQUIRE(prevZoomWindow->width != 0 && prevZoomWindow->height != 0, NC_LIB_INVALID_INPUT,
                   "previous width/height are set to 0");
    if (!centered) {
        const int32_t status = Recentre(*currZoomWindow, T);
        if (status != NC_LIB_SUCCESS) {
            return status;
        }
    }
    return BetweenCrops(T, CropOf(*currZoomWindow), CropOf(*prevZoomWindow), *gmoMatrix);
}

int32_t NcLibGenerateGMOStatistics(const NcLibGenerateGMOStatisticsIn* in,
                                   NcLibGenerateGMOStatisticsOut* out) {
    int32_t status = CheckStatisticsInput(in, out);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    const NcLibWarp& transform = in->alignmentTransform;
    nclib::StageChain chain;
    chain.AddForward(transform);
    const Samples from = LatticeOf(in->zoomWindow);
    Samples to = from;
    status = chain.Apply(to.data(), kSamples, false);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status,
                   "NcLibInternalApplyTopologyOnPoints warp points failed");
    uint16_t placed[kSamples];
    uint32_t count = 0;
    float sum_x = 0.0f;
    float sum_y = 0.0f;
    for (uint16_t i = 0; i < kSamples; ++i) {
        if (!std::isnan(to[i].x) && !std::isnan(to[i].y)) {
            placed[count++] = i;
            sum_x += std::fabs(to[i].x - from[i].x);
            sum_y += std::fabs(to[i].y - from[i].y);
        }
    }
    out->absDisplacementSumX =
        sum_x * static_cast<float>(in->outputSize.widthPixels) / nclib::kVirtualWidth;
    out->absDisplacementSumY =
        sum_y * static_cast<float>(in->outputSize.heightLines) / nclib::kVirtualHeight;
    out->numSamples = count;
    NcLibPerspTransformSingle matrix = kIdentity;
    if (transform.grid.enable) {
        matrix = FitSamples(from, to, placed, count);
    } else if (transform.matrices.enable) {
        matrix = *transform.matrices.perspMatrices;
    }
    convertMatrixCoordinates(&matrix, nclib::kVirtualSize, in->outputSize, &out->gmoMatrix);
    return NC_LIB_SUCCESS;
}
