// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/windows.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "nclib/Logic/WarpAdjust/resample.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"

namespace {

constexpr float kMaxFloat = std::numeric_limits<float>::max();
// Two opposite sides at twice the density of the widest grid.
constexpr uint32_t kMaxOutlinePoints = 2 * 2 * ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH;
// How far a window's centre may be off the frame's centre, share of the frame.
constexpr float kCentreTolerance = 1e-5f;

// A window as points are sampled on its sides; virtual units.
struct Outline {
    float left, top;
    float step_x, step_y;
    uint32_t count_x, count_y;
};

Outline OutlineOf(const NcLibROI& window, const NcLibWarpGrid& grid) {
    const uint32_t ring =
        grid.extrapolateType == EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER ? 2 : 0;
    const uint32_t count_x = 2 * (grid.numColumns - ring);
    const uint32_t count_y = 2 * (grid.numRows - ring);
    return {window.offset.x * nclib::kVirtualWidth - nclib::kVirtualHalfWidth,
            window.offset.y * nclib::kVirtualHeight - nclib::kVirtualHalfHeight,
            window.size.x * nclib::kVirtualWidth / static_cast<float>(count_x - 1),
            window.size.y * nclib::kVirtualHeight / static_cast<float>(count_y - 1),
            count_x,
            count_y};
}

uint32_t SampleTopAndBottom(const Outline& o, NcLibWarpGridCoord* points) {
    const float bottom = o.top + o.step_y * static_cast<float>(o.count_y - 1);
    for (uint32_t i = 0; i < o.count_x; ++i) {
        const float x = o.left + o.step_x * static_cast<float>(i);
        points[i] = {x, o.top};
        points[o.count_x + i] = {x, bottom};
    }
    return 2 * o.count_x;
}

uint32_t SampleLeftAndRight(const Outline& o, NcLibWarpGridCoord* points) {
    const float right = o.left + o.step_x * static_cast<float>(o.count_x - 1);
    for (uint32_t i = 0; i < o.count_y; ++i) {
        const float y = o.top + o.step_y * static_cast<float>(i);
        points[i] = {o.left, y};
        points[o.count_y + i] = {right, y};
    }
    return 2 * o.count_y;
}

struct Box {
    NcLibWarpGridCoord min = {kMaxFloat, kMaxFloat};
    NcLibWarpGridCoord max = {-kMaxFloat, -kMaxFloat};
};

void GrowBox(const NcLibWarpGridCoord* points, uint32_t count, void* context) {
    Box& box = *static_cast<Box*>(context);
    for (uint32_t i = 0; i < count; ++i) {
        box.min = {std::min(box.min.x, points[i].x), std::min(box.min.y, points[i].y)};
        box.max = {std::max(box.max.x, points[i].x), std::max(box.max.y, points[i].y)};
    }
}

// The least size that a centred rectangle of the given aspect has when it touches a point.
struct CentredFit {
    float aspect;
    float width = kMaxFloat;
};

void ShrinkFit(const NcLibWarpGridCoord* points, uint32_t count, void* context) {
    CentredFit& fit = *static_cast<CentredFit*>(context);
    for (uint32_t i = 0; i < count; ++i) {
        const float ry = fit.aspect * points[i].y;
        // Twice the greater of |x| and |r y|.
        fit.width = std::min(fit.width, std::fabs(points[i].x + ry) + std::fabs(points[i].x - ry));
    }
}

// Start and size of one axis, in virtual units from the frame's corner.
struct Extent {
    float start, end, size;
};

Extent CentredExtent(float half, float frame) {
    const float start = frame / 2.0f - half;
    const float end = frame / 2.0f + half;
    if (start < 0.0f || end > frame) {
        return {0.0f, frame, frame};
    }
    return {start, end, 2.0f * half};
}

NcLibROI FitCentredWindow(float width, float aspect) {
    const float half = width / 2.0f;
    Extent x = CentredExtent(half, nclib::kVirtualWidth);
    Extent y = CentredExtent(half / aspect, nclib::kVirtualHeight);
    const float excess = (x.size - y.size * aspect) / 2.0f;
    if (excess > 0.0f) {
        x.start += excess;
        x.size = x.end - excess - x.start;
    } else {
        y.start += -excess / aspect;
        y.size = y.end - -excess / aspect - y.start;
    }
    return {{x.start / nclib::kVirtualWidth, y.start / nclib::kVirtualHeight},
            {x.size / nclib::kVirtualWidth, y.size / nclib::kVirtualHeight}};
}

bool IsCentred(const NcLibROI& window) {
    return std::fabs(0.5f - (window.offset.x + window.size.x / 2.0f)) <= kCentreTolerance &&
           std::fabs(0.5f - (window.offset.y + window.size.y / 2.0f)) <= kCentreTolerance;
}

struct PixelExtent {
    int64_t start, size;
};

// Cut to whole pixels and to the frame; at least one pixel.
PixelExtent ToPixels(float offset, float size, uint32_t full) {
    const float pixels = static_cast<float>(full);
    const int64_t start = std::clamp<int64_t>(
        nclib::TruncateToInt32(static_cast<double>(offset * pixels)), 0, int64_t{full} - 1);
    const int64_t end = nclib::TruncateToInt32(static_cast<double>((offset + size) * pixels));
    return {start, std::clamp<int64_t>(end - start, 1, full - start)};
}

NcLibZoomWindow ToPixelWindow(const NcLibROI& window, const NcLibZoomWindow& frame) {
    const PixelExtent x = ToPixels(window.offset.x, window.size.x, frame.fullWidth);
    const PixelExtent y = ToPixels(window.offset.y, window.size.y, frame.fullHeight);
    return {frame.fullWidth,
            frame.fullHeight,
            static_cast<int32_t>(x.start),
            static_cast<int32_t>(y.start),
            static_cast<uint32_t>(x.size),
            static_cast<uint32_t>(y.size)};
}

}  // namespace

int32_t translateWindow(const NcLibROI* winFrom, const NcLibIcaGrid* grid,
                        TranslateWindowCallback callback, void* context) {
    NC_LIB_REQUIRE_NOT_NULL(winFrom, "winFrom");
    NC_LIB_REQUIRE_NOT_NULL(grid, "grid");
    NC_LIB_REQUIRE(nclib::HasNoNegative(*winFrom), NC_LIB_INVALID_INPUT,
                   "Invalid zoom window: offset %fx%f, size %fx%f",
                   static_cast<double>(winFrom->offset.x), static_cast<double>(winFrom->offset.y),
                   static_cast<double>(winFrom->size.x), static_cast<double>(winFrom->size.y));
    NC_LIB_REQUIRE(nclib::IsVirtualSize(grid->transformDefinedOn), NC_LIB_INVALID_INPUT,
                   "Grid is not in virtual domain %ux%u", grid->transformDefinedOn.widthPixels,
                   grid->transformDefinedOn.heightLines);
    NcLibWarpGrid view;
    NC_LIB_REQUIRE(nclib::ViewIcaGrid(*grid, view), NC_LIB_INVALID_INPUT, "Unsupported grid");

    const NcLibInternalWarpTopology stage = {&view, nullptr, REGULAR};
    const Outline outline = OutlineOf(*winFrom, view);
    NcLibWarpGridCoord points[kMaxOutlinePoints];
    uint32_t count = SampleTopAndBottom(outline, points);
    int32_t status = NcLibInternalApplyTopologyOnPoints(&stage, 1, points, count, true, points);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Failed converting top/bottom rows");
    callback(points, count, context);
    count = SampleLeftAndRight(outline, points);
    status = NcLibInternalApplyTopologyOnPoints(&stage, 1, points, count, true, points);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Failed converting left/right rows");
    callback(points, count, context);
    return NC_LIB_SUCCESS;
}

int32_t NcLibCalcMinInputWindowFloat(const NcLibROI* winAtOut, const NcLibIcaGrid* grid,
                                     NcLibROI* winAtIn) {
    NC_LIB_REQUIRE_NOT_NULL(winAtIn, "winAtIn");
    Box box;
    const int32_t status = translateWindow(winAtOut, grid, GrowBox, &box);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "translateWindow failed");
    const float left = box.min.x + nclib::kVirtualHalfWidth;
    const float top = box.min.y + nclib::kVirtualHalfHeight;
    *winAtIn = {{left / nclib::kVirtualWidth, top / nclib::kVirtualHeight},
                {(box.max.x + nclib::kVirtualHalfWidth - left) / nclib::kVirtualWidth,
                 (box.max.y + nclib::kVirtualHalfHeight - top) / nclib::kVirtualHeight}};
    return NC_LIB_SUCCESS;
}

int32_t NcLibCalcMinInputWindow(const NcLibZoomWindow* winAtOut, const NcLibIcaGrid* grid,
                                NcLibZoomWindow* winAtIn) {
    NC_LIB_REQUIRE_NOT_NULL(winAtOut, "winAtOut");
    NC_LIB_REQUIRE_NOT_NULL(winAtIn, "winAtIn");
    if (!nclib::HasFullSize(*winAtOut)) {
        return NC_LIB_INVALID_INPUT;
    }
    const NcLibROI at_out = nclib::ToFractions(*winAtOut);
    NcLibROI at_in;
    const int32_t status = NcLibCalcMinInputWindowFloat(&at_out, grid, &at_in);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "NcLibCalcMinInputWindowFloat failed");
    *winAtIn = ToPixelWindow(at_in, *winAtOut);
    return NC_LIB_SUCCESS;
}

int32_t NcLibCalcMaxOutputWindowFloat(const NcLibROI* winAtIn, const NcLibROI* origWinAtOut,
                                      const NcLibIcaGrid* grid, NcLibROI* winAtOut) {
    NC_LIB_REQUIRE_NOT_NULL(winAtIn, "winAtIn");
    NC_LIB_REQUIRE_NOT_NULL(origWinAtOut, "origWinAtOut");
    NC_LIB_REQUIRE_NOT_NULL(grid, "grid");
    NC_LIB_REQUIRE_NOT_NULL(winAtOut, "winAtOut");
    NC_LIB_REQUIRE(
        IsCentred(*origWinAtOut), NC_LIB_INVALID_INPUT,
        "Original output window is not centered : origWinAtOut (size.x, size.y, "
        "offset.x, offset.y) %f, %f, %f, %f",
        static_cast<double>(origWinAtOut->size.x), static_cast<double>(origWinAtOut->size.y),
        static_cast<double>(origWinAtOut->offset.x), static_cast<double>(origWinAtOut->offset.y));
    CentredFit fit = {origWinAtOut->size.x * nclib::kVirtualWidth /
                      (origWinAtOut->size.y * nclib::kVirtualHeight)};
    const int32_t status = translateWindow(winAtIn, grid, ShrinkFit, &fit);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "translateWindow failed");
    *winAtOut = FitCentredWindow(fit.width, fit.aspect);
    return NC_LIB_SUCCESS;
}

int32_t NcLibCalcMaxOutputWindow(const NcLibZoomWindow* winAtIn,
                                 const NcLibZoomWindow* origWinAtOut, const NcLibIcaGrid* grid,
                                 NcLibZoomWindow* winAtOut) {
    NC_LIB_REQUIRE_NOT_NULL(winAtIn, "winAtIn");
    NC_LIB_REQUIRE_NOT_NULL(origWinAtOut, "origWinAtOut");
    NC_LIB_REQUIRE_NOT_NULL(grid, "grid");
    NC_LIB_REQUIRE_NOT_NULL(winAtOut, "winAtOut");
    if (!nclib::HasFullSize(*winAtIn) || !nclib::HasFullSize(*origWinAtOut)) {
        return NC_LIB_INVALID_INPUT;
    }
    const NcLibROI at_in = nclib::ToFractions(*winAtIn);
    const NcLibROI original = nclib::ToFractions(*origWinAtOut);
    NcLibROI at_out;
    const int32_t status = NcLibCalcMaxOutputWindowFloat(&at_in, &original, grid, &at_out);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "NcLibCalcMaxOutputWindowFloat failed");
    *winAtOut = ToPixelWindow(at_out, *origWinAtOut);
    return NC_LIB_SUCCESS;
}
