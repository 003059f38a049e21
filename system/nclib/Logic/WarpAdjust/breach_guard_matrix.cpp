// SPDX-License-Identifier: Apache-2.0
// The breach guard of a composition: the first warp's matrix, diluted.
#include <algorithm>
#include <array>

#include "nclib/Logic/WarpAdjust/composition.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"

namespace {

constexpr int kProbes = 36;
constexpr int kMaxTries = 20;
constexpr float kDilutionStep = 0.05f;
using Probes = std::array<NcLibWarpGridCoord, kProbes>;

// Ten steps across and eight down, each corner once, clockwise from the top left.
Probes OutlineOfCrop(const NcLibCropWindow& crop) {
    const float left =
        crop.windowX / crop.fullWidth * nclib::kVirtualWidth - nclib::kVirtualHalfWidth;
    const float top =
        crop.windowY / crop.fullHeight * nclib::kVirtualHeight - nclib::kVirtualHalfHeight;
    const float width = crop.windowWidth / crop.fullWidth * nclib::kVirtualWidth;
    const float height = crop.windowHeight / crop.fullHeight * nclib::kVirtualHeight;
    const auto across = [=](int i) { return left + width * static_cast<float>(i) / 10.0f; };
    const auto down = [=](int i) { return top + height * static_cast<float>(i) * 0.125f; };
    Probes probes;
    size_t count = 0;
    for (int i = 0; i <= 10; ++i) {
        probes[count++] = {across(i), top};
    }
    for (int i = 1; i <= 8; ++i) {
        probes[count++] = {left + width, down(i)};
    }
    for (int i = 9; i >= 0; --i) {
        probes[count++] = {across(i), top + height};
    }
    for (int i = 7; i >= 1; --i) {
        probes[count++] = {left, down(i)};
    }
    return probes;
}

bool StayInFrame(const Probes& points) {
    return std::all_of(points.begin(), points.end(), [](const NcLibWarpGridCoord& p) {
        return p.x >= -nclib::kVirtualHalfWidth && p.x <= nclib::kVirtualHalfWidth &&
               p.y >= -nclib::kVirtualHalfHeight && p.y <= nclib::kVirtualHalfHeight;
    });
}

NcLibPerspTransformSingle Diluted(const NcLibPerspTransformSingle& matrix, float kept) {
    NcLibPerspTransformSingle diluted;
    for (int i = 0; i < 9; ++i) {
        const float identity = i % 4 == 0 ? 1.0f : 0.0f;
        diluted.T[i] = (1.0f - kept) * identity + kept * matrix.T[i];
    }
    return diluted;
}

// Find the greatest share of `original` that keeps the probes inside, and leave the diluted matrix
// in `local`, which the chain looks at. 0 when no share above it does.
float FindDilution(const NcLibWarp& first, const NcLibWarp& second, const NcLibCropWindow& crop,
                   const NcLibWarpMatrices& local) {
    const NcLibInternalWarpTopology chain[4] = {{nullptr, &second.matrices, REGULAR},
                                                {&second.grid, nullptr, REGULAR},
                                                {nullptr, &local, REGULAR},
                                                {&first.grid, nullptr, REGULAR}};
    const Probes probes = OutlineOfCrop(crop);
    const NcLibPerspTransformSingle original = local.perspMatrices[0];
    float kept = 1.0f;
    for (int i = 0; i < kMaxTries; ++i, kept -= kDilutionStep) {
        local.perspMatrices[0] = Diluted(original, kept);
        Probes carried;
        NcLibInternalApplyTopologyOnPoints(chain, 4, probes.data(), kProbes, true, carried.data());
        if (StayInFrame(carried)) {
            return kept;
        }
    }
    return 0.0f;
}

}  // namespace

int32_t NcLibWarpComposition_MFHDR_NoBreach(const NcLibWarp* firstWarp, const NcLibWarp* secondWarp,
                                            const NcLibCropWindow* crop, NcLibWarp* output,
                                            float* dilution) {
    const int32_t status = nclib::CheckComposition(firstWarp, secondWarp, output);
    if (status != NC_LIB_SUCCESS) {
        return status;
    }
    NC_LIB_REQUIRE_NOT_NULL(crop, "crop");
    NcLibPerspTransformSingle matrix = {};
    NcLibWarp diluted = *firstWarp;
    diluted.matrices.perspMatrices = &matrix;
    diluted.matrices.numRows = 1;
    diluted.matrices.numColumns = 1;
    if (firstWarp->matrices.enable) {
        matrix = firstWarp->matrices.perspMatrices[0];
    }
    const float kept = FindDilution(*firstWarp, *secondWarp, *crop, diluted.matrices);
    if (dilution != nullptr) {
        *dilution = kept;
    }
    if (kept == 0.0f) {
        diluted.matrices.enable = false;
    }
    return NcLibWarpComposition(&diluted, secondWarp, output);
}
