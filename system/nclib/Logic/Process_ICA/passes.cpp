// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/Process_ICA/passes.hpp"

#include <algorithm>
#include <bit>

#include "nclib/Logic/Process_ICA/pack.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"

namespace {

// Steps per pixel of a reference size, and of what the local motion block takes.
constexpr uint32_t kReferenceSteps = 32;
constexpr float kLmcOffsetSteps = 64.0f;
constexpr float kLmcStepSteps = 16.0f;

// The greatest shift, and what the exponent of the input's size is taken from.
constexpr int32_t kMaxShift = 7;
constexpr int32_t kShiftBase = 13;
constexpr int32_t kFineShiftBase = 14;

bool IsNeutral(const NcLibROI& window) {
    return window.offset.x == 0.0f && window.offset.y == 0.0f && window.size.x == 1.0f &&
           window.size.y == 1.0f;
}

bool IsNeutral(const GeoLibIcaMapping& mapping) {
    return IsNeutral(mapping.inputWindow) && IsNeutral(mapping.outputWindow);
}

bool KeepsSize(const GeoLibIcaMapping& mapping) {
    return mapping.inputSize.widthPixels == mapping.outputSize.widthPixels &&
           mapping.inputSize.heightLines == mapping.outputSize.heightLines;
}

int32_t CeilLog2(uint32_t value) {
    return value <= 1 ? 0 : static_cast<int32_t>(std::bit_width(value - 1));
}

int32_t Steps(float value, float steps) {
    return nclib::TruncateToInt32(static_cast<double>(value * steps));
}

}  // namespace

void NcLibFillIcaGeoParams(const GeoLibIcaMapping* mapping, bool translationOnly,
                           uint32_t icaVersion, IcaGeoParams* geoParams) {
    geoParams->referenceWidthFixed = (mapping->referenceSize.widthPixels - 1) * kReferenceSteps;
    geoParams->referenceHeightFixed = (mapping->referenceSize.heightLines - 1) * kReferenceSteps;
    const int32_t base = nclib::HasFineFormat(icaVersion) ? kFineShiftBase : kShiftBase;
    const uint32_t greater =
        std::max(mapping->inputSize.widthPixels, mapping->inputSize.heightLines);
    geoParams->coordinateShift =
        translationOnly ? 0 : std::min(base - CeilLog2(greater), kMaxShift);
    geoParams->windowRatioX =
        nclib::PackedWord(mapping->inputWindow.size.x / mapping->outputWindow.size.x, icaVersion);
    geoParams->windowRatioY =
        nclib::PackedWord(mapping->inputWindow.size.y / mapping->outputWindow.size.y, icaVersion);
}

void FillFwRegPassParameters(const GeoLibIcaMapping* mapping, const IcaParameters* parameters,
                             uint32_t icaVersion, IcaPassParameters* fwRegStruct) {
    const bool translationOnly =
        parameters->lumaTranslationOnly != 0 || parameters->chromaTranslationOnly != 0;
    const bool zoom = !IsNeutral(*mapping);
    const bool scale = !KeepsSize(*mapping);
    if (translationOnly && (zoom || scale)) {
        NC_LIB_ERROR("No scale or zoom should be set in translation-only mode: zoom %d, scale %d",
                     zoom, scale);
    }
    fwRegStruct->inputLastColumn = mapping->inputSize.widthPixels - 1;
    fwRegStruct->inputLastRow = mapping->inputSize.heightLines - 1;
    fwRegStruct->outputLastRow = mapping->outputSize.heightLines - 1;
    fwRegStruct->outputHalfWidth = mapping->outputSize.widthPixels / 2;
    fwRegStruct->outputHalfHeight = mapping->outputSize.heightLines / 2;
    NcLibFillIcaGeoParams(mapping, translationOnly, icaVersion, &fwRegStruct->geometry);
    fwRegStruct->outputWidth = mapping->outputSize.widthPixels;
    fwRegStruct->outputHeight = mapping->outputSize.heightLines;
    fwRegStruct->resample = translationOnly && !zoom && !scale ? 0 : 1;
}

uint32_t GetImageFormatType(uint32_t imageFormat) {
    return imageFormat == ICA_IMAGE_FORMAT_TILED || imageFormat == ICA_IMAGE_FORMAT_LINEAR
               ? imageFormat
               : 0;
}

int32_t FillSortFetchPassParams(uint32_t imageFormat, LmcPassParameters_680* lmcParameters) {
    const uint32_t type = GetImageFormatType(imageFormat);
    NC_LIB_REQUIRE(type != 0, NC_LIB_INVALID_INPUT, "Invalid image format enumerator: %d",
                   static_cast<int>(imageFormat));
    const bool is_tiled = type == ICA_IMAGE_FORMAT_TILED;
    lmcParameters->sortFetchEnable = is_tiled ? 1 : 0;
    lmcParameters->sortFetchDepth = is_tiled ? 20 : 0;
    lmcParameters->sortFetchTile = is_tiled ? 3 : 0;
    return NC_LIB_SUCCESS;
}

namespace nclib {

int32_t FillLmc(const ICA_Tessaline* tessaline, const NcLibIcaContext* context, NcLibIcaWarp* warp,
                IcaParameters* parameters, LmcPassParameters_680* lmcParameters) {
    NC_LIB_REQUIRE_NOT_NULL(context, "NcLibIcaContext");
    NC_LIB_REQUIRE_NOT_NULL(context->lmcPasses, "NcLibIcaContext->lmcPasses");
    NC_LIB_REQUIRE_NOT_NULL(lmcParameters, "lmcParameters");
    const uint32_t passes = std::min(context->numPasses, ICA_MAX_PASSES);
    std::copy_n(tessaline->lmcTable, ICA_LMC_TABLE_BYTES, warp->lmcTable);
    for (uint32_t pass = 0; pass < passes; ++pass) {
        LmcPassParameters_680& out = lmcParameters[pass];
        const int32_t status = FillSortFetchPassParams(context->imageFormats[pass], &out);
        NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Failed to fill sort fetch parameters");
        const NcLibIcaLmcPass& motion = context->lmcPasses[pass];
        out.offsetX = Steps(motion.offsetX, kLmcOffsetSteps);
        out.offsetY = Steps(motion.offsetY, kLmcOffsetSteps);
        out.stepX = Steps(motion.stepX, kLmcStepSteps);
        out.stepY = Steps(motion.stepY, kLmcStepSteps);
        out.weightX = motion.weightX;
        out.weightY = motion.weightY;
        std::copy_n(tessaline->lmcLimits, 3, out.limits);
        std::copy_n(tessaline->lmcPassSettings[pass], 2, parameters->lmcPassSettings[pass]);
    }
    return NC_LIB_SUCCESS;
}

}  // namespace nclib
