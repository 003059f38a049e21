// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/ica_validity.hpp"

#include <algorithm>
#include <cmath>

#include "nclib/Logic/WarpAdjust/resample.hpp"
#include "nclib/Logic/WarpAdjust/stage_chain.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"

namespace {

using Measures = NcLibIcaTransformValidityInternalOut;

// Limits of the hardware.
constexpr float kMaxStretchSquared = 2.5600002f;
constexpr float kMaxSlope = 0.249328f;
constexpr float kSlopeLoss = 0.108787164f;
constexpr float kSlopeLossRange = 0.32000005f;
constexpr float kMaxSpanRatio = 1.3f;
constexpr float kSpanPixels = 336.0f;

constexpr float kVerticalSlope = 999.0f;
constexpr float kLeastRun = 1e-5f;

struct Lattice {
    uint32_t columns, rows;
    float step_x, step_y;  // output pixels
};

// Points of the lattice for a grid of this many columns, 0 for none.
Lattice LatticeFor(uint32_t grid_columns, bool coarse, const NcLibZoomWindow& window) {
    const bool is_fine = grid_columns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH && !coarse;
    const uint32_t columns = is_fine ? 129 : 65;
    const uint32_t rows = is_fine ? 97 : 49;
    return {columns, rows, static_cast<float>(window.width) / static_cast<float>(columns - 1),
            static_cast<float>(window.height) / static_cast<float>(rows - 1)};
}

NcLibImageSize FullSize(const NcLibZoomWindow& window) {
    return {window.fullWidth, window.fullHeight};
}

// Raise the greatest value seen; once something was no number it stays so.
void Raise(float& greatest, float value) {
    if (!std::isnan(greatest) && !(value <= greatest)) {
        greatest = value;
    }
}

float SquaredDistance(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b) {
    const float dx = b.x - a.x;
    const float dy = b.y - a.y;
    return dx * dx + dy * dy;
}

float SlopeOf(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b) {
    const float dx = std::fabs(b.x - a.x);
    return dx < kLeastRun ? kVerticalSlope : std::fabs(b.y - a.y) / dx;
}

Measures Measure(const NcLibWarpGridCoord* points, const Lattice& lattice) {
    float across = 0.0f;
    float down = 0.0f;
    float span = 0.0f;
    Measures out = {};
    const uint32_t reach = static_cast<uint32_t>(std::clamp(
        nclib::TruncateToInt32(static_cast<double>(std::round(kSpanPixels / lattice.step_x))), 1,
        static_cast<int32_t>(lattice.columns - 1)));
    for (uint32_t row = 0; row < lattice.rows; ++row) {
        const NcLibWarpGridCoord* line = points + size_t{row} * lattice.columns;
        for (uint32_t j = 0; j + 1 < lattice.columns; ++j) {
            Raise(across, SquaredDistance(line[j], line[j + 1]));
            Raise(out.slope, SlopeOf(line[j], line[j + 1]));
        }
        for (uint32_t j = 0; j + reach < lattice.columns; ++j) {
            Raise(span, std::fabs(line[j + reach].x - line[j].x));
        }
        for (uint32_t j = 0; row + 1 < lattice.rows && j < lattice.columns; ++j) {
            Raise(down, SquaredDistance(line[j], line[j + lattice.columns]));
        }
    }
    out.stretchSquared = across / (lattice.step_x * lattice.step_x);
    Raise(out.stretchSquared, down / (lattice.step_y * lattice.step_y));
    out.spanRatio = span / (static_cast<float>(reach) * lattice.step_x);
    return out;
}

bool IsWithinLimits(const Measures& measured) {
    const float stretch = std::sqrt(measured.stretchSquared);
    const float loss = std::clamp((stretch - 1.0f) / kSlopeLossRange, 0.0f, 1.0f);
    return measured.stretchSquared <= kMaxStretchSquared &&
           measured.slope <= kMaxSlope - kSlopeLoss * loss && measured.spanRatio <= kMaxSpanRatio;
}

int32_t CheckValidityInput(const NcLibCheckIcaTransformValidityIn_t* in, const void* intermediate,
                           const int* isValid) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(in->warp, "in->warp");
    NC_LIB_REQUIRE_NOT_NULL(intermediate, "intermediate");
    NC_LIB_REQUIRE_NOT_NULL(isValid, "isValid");
    const NcLibWarp& warp = *in->warp;
    if (warp.matrices.enable) {
        NC_LIB_REQUIRE_NOT_NULL(warp.matrices.perspMatrices, "inWarp->matrices.perspMatrices");
    }
    if (warp.grid.enable) {
        NC_LIB_REQUIRE_NOT_NULL(warp.grid.grid, "inWarp->grid.grid");
    }
    NC_LIB_REQUIRE(warp.direction == OUT_2_IN, NC_LIB_INVALID_INPUT, "invalid direction");
    const bool has_sizes =
        nclib::HasFullSize(in->inputWindow) && nclib::HasFullSize(in->outputWindow);
    return has_sizes ? NC_LIB_SUCCESS : NC_LIB_INVALID_INPUT;
}

}  // namespace

int32_t NcLibCheckIcaTransformValidityInternal(const NcLibCheckIcaTransformValidityIn_t* in,
                                               bool coarseLattice, void* intermediate, int* isValid,
                                               NcLibIcaTransformValidityInternalOut* measured) {
    int32_t status = CheckValidityInput(in, intermediate, isValid);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    const NcLibWarp& warp = *in->warp;
    const NcLibZoomWindow& from = in->outputWindow;
    const NcLibZoomWindow& to = in->inputWindow;
    const Lattice lattice =
        LatticeFor(warp.grid.enable ? warp.grid.numColumns : 0, coarseLattice, from);
    auto* const points = static_cast<NcLibWarpGridCoord*>(intermediate);
    const uint32_t count = lattice.rows * lattice.columns;
    for (uint32_t i = 0; i < count; ++i) {
        const NcLibWarpGridCoord pixel = {
            static_cast<float>(from.x) + static_cast<float>(i % lattice.columns) * lattice.step_x,
            static_cast<float>(from.y) + static_cast<float>(i / lattice.columns) * lattice.step_y};
        points[i] = nclib::ConvertPixelToVirtual(pixel, FullSize(from));
    }
    nclib::StageChain chain;
    chain.AddForward(warp);
    status = chain.Apply(points, count, false);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "NcLibInternalApplyTopologyOnPoints() failed");
    const NcLibImageSize full = FullSize(to);
    for (uint32_t i = 0; i < count; ++i) {
        convertVirtualToPixel(&points[i], &full, &points[i]);
        points[i].x -= static_cast<float>(to.x);
        points[i].y -= static_cast<float>(to.y);
    }
    const Measures result = Measure(points, lattice);
    *isValid = IsWithinLimits(result) ? 1 : 0;
    if (measured != nullptr) {
        *measured = result;
    }
    return NC_LIB_SUCCESS;
}

int32_t NcLibCheckIcaTransformValidity(const NcLibCheckIcaTransformValidityIn_t* in,
                                       bool coarseLattice, void* intermediate, int* isValid,
                                       NcLibIcaTransformValidityInternalOut* measured) {
    return NcLibCheckIcaTransformValidityInternal(in, coarseLattice, intermediate, isValid,
                                                  measured);
}
