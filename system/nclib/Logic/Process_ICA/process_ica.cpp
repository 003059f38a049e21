// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/Process_ICA/process_ica.hpp"

#include <algorithm>

#include "nclib/Logic/Process_ICA/pack.hpp"
#include "nclib/Logic/Process_ICA/passes.hpp"
#include "nclib/Logic/WarpAdjust/grid_geometry.hpp"
#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"

namespace {

constexpr uint32_t kLmcVersion = 40;

struct InterpolationCoefs {
    uint16_t first[ICA_INTERPOLATION_ENTRIES];
    uint16_t second[ICA_INTERPOLATION_ENTRIES];
    uint16_t third[ICA_INTERPOLATION_ENTRIES];
};

// clang-format off
constexpr InterpolationCoefs kDefaultCoefs = {
    {0, 65476, 65423, 65378, 65340, 65308, 65282, 65263,
     65248, 65238, 65233, 65233, 65236, 65243, 65252, 65265},
    {2304, 4086, 4058, 4011, 3948, 3869, 3777, 3670,
     3552, 3423, 3284, 3136, 2980, 2818, 2651, 2479},
    {65280, 72, 159, 259, 372, 497, 632, 776,
     928, 1087, 1253, 1422, 1596, 1772, 1950, 2127}};
// clang-format on

void CopyTuning(const ICA_Tessaline& tessaline, IcaParameters& parameters) {
    parameters.enable = tessaline.enable;
    parameters.geometryEnable = tessaline.geometryEnable;
    parameters.lumaEnable = tessaline.lumaEnable;
    parameters.chromaEnable = tessaline.chromaEnable;
    parameters.lumaInterpolation = tessaline.lumaInterpolation;
    parameters.chromaInterpolation = tessaline.chromaInterpolation;
    std::copy_n(tessaline.interpolationCoefs0, ICA_INTERPOLATION_ENTRIES,
                parameters.interpolationCoefs0);
    std::copy_n(tessaline.interpolationCoefs1, ICA_INTERPOLATION_ENTRIES,
                parameters.interpolationCoefs1);
    std::copy_n(tessaline.interpolationCoefs2, ICA_INTERPOLATION_ENTRIES,
                parameters.interpolationCoefs2);
    parameters.gridEnable = 0;
    parameters.perspectiveEnable = 0;
}

// A grid in a record of fixed capacity: the same format as NcLibIcaPackGrid(), cut instead of
// rounded, and not held in range.
int32_t ProcessIcaGrid(const NcLibIcaGrid* icaGrid, uint32_t icaVersion, NcLibIcaWarp& warp,
                       IcaParameters& parameters) {
    parameters.gridEnable = 0;
    parameters.gridHighResolution = 0;
    if (icaGrid == nullptr || icaGrid->enable == 0) {
        return NC_LIB_SUCCESS;
    }
    NC_LIB_REQUIRE(icaGrid->geometry < nclib::kGeometryCount, NC_LIB_INVALID_INPUT,
                   "Unsupported grid geometry %d", static_cast<int>(icaGrid->geometry));
    const bool is_fine = nclib::HasFineFormat(icaVersion);
    const float per_x = (is_fine ? 131072.0f : 65536.0f) /
                        static_cast<float>(icaGrid->transformDefinedOn.widthPixels);
    const float per_y = (is_fine ? 98304.0f : 49152.0f) /
                        static_cast<float>(icaGrid->transformDefinedOn.heightLines);
    const auto write = [&](uint32_t entry, const NcLibWarpGridCoord& point) {
        warp.gridX[entry] = nclib::TruncateToInt32(static_cast<double>(per_x * point.x));
        warp.gridY[entry] = nclib::TruncateToInt32(static_cast<double>(per_y * point.y));
    };
    const nclib::GridGeometry& geometry = nclib::kGridGeometries[icaGrid->geometry];
    const uint32_t nodes = geometry.num_rows * geometry.num_columns;
    for (uint32_t i = 0; i < nodes; ++i) {
        write(i, icaGrid->grid[i]);
    }
    // Without explicit corners a grid without a ring carries them behind its nodes.
    for (uint32_t i = 0; !geometry.has_ring && i < 4; ++i) {
        write(nodes + i, icaGrid->extrapolatedCorners != 0 ? icaGrid->gridExtrapolate[i]
                                                           : icaGrid->grid[nodes + i]);
    }
    parameters.gridEnable = 1;
    parameters.gridHighResolution = icaGrid->geometry == 2 ? 1 : 0;
    return NC_LIB_SUCCESS;
}

int32_t ProcessGrid(const NcLibIcaGrid* icaGrid, const NcLibWarpGrid* inGridFlow,
                    uint8_t icaIsGridEnabledByFlow, uint32_t icaVersion, NcLibIcaWarp* warp,
                    IcaParameters* parameters) {
    if (icaIsGridEnabledByFlow == 0) {
        return ProcessIcaGrid(icaGrid, icaVersion, *warp, *parameters);
    }
    NC_LIB_ASSERT(NULL != inGridFlow);
    return ICA_ProcessNcLibGridFloat(inGridFlow, warp, parameters, icaVersion);
}

int32_t ProcessPasses(const GeoLibIcaPassMapping* passMapping, uint32_t icaVersion,
                      const IcaParameters* parameters, IcaPassParameters* fwRegStruct) {
    if (passMapping == nullptr) {
        return NC_LIB_SUCCESS;
    }
    NC_LIB_REQUIRE_NOT_NULL(fwRegStruct, "fwRegStruct");
    const uint32_t passes = std::min(passMapping->numPasses, ICA_MAX_PASSES);
    for (uint32_t i = 0; i < passes; ++i) {
        FillFwRegPassParameters(&passMapping->passes[i], parameters, icaVersion, &fwRegStruct[i]);
    }
    return NC_LIB_SUCCESS;
}

}  // namespace

int32_t ICA_ProcessNcLibGridFloat(const NcLibWarpGrid* inGrid, NcLibIcaWarp* warpStruct,
                                  IcaParameters* fwStruct, uint32_t icaVersion) {
    uint32_t is_high_resolution = 0;
    const int32_t status = NcLibIcaPackGrid(inGrid, warpStruct->gridX, warpStruct->gridY,
                                            &is_high_resolution, icaVersion);
    if (status == NC_LIB_SUCCESS) {
        fwStruct->gridEnable = inGrid->enable ? 1 : 0;
        fwStruct->gridHighResolution = is_high_resolution;
    }
    return status;
}

int32_t ICA_ProcessNcLibMatrices(const NcLibWarpMatrices* persp, NcLibIcaWarp* warpStruct,
                                 IcaParameters* fwStruct, uint32_t icaVersion) {
    NC_LIB_ASSERT(NULL != fwStruct);
    const int32_t status = NcLibIcaPackMatrices(persp, warpStruct->CTC_PERSPECTIVE_PARAMS_M,
                                                warpStruct->CTC_PERSPECTIVE_PARAMS_E, icaVersion);
    if (status == NC_LIB_SUCCESS) {
        fwStruct->perspectiveEnable = persp->enable ? 1 : 0;
        fwStruct->perspectiveRows = persp->enable ? persp->numRows : 0;
        fwStruct->perspectiveColumns = persp->enable ? persp->numColumns : 0;
    }
    return status;
}

int32_t ICA_ProcessNcLib(const ICA_Tessaline* tessaline, const NcLibIcaGrid* icaGrid,
                         const NcLibWarpGrid* inGridFlow, const NcLibWarpMatrices* matrices,
                         const GeoLibIcaPassMapping* passMapping, const NcLibIcaContext* context,
                         uint8_t icaIsGridEnabledByFlow, uint32_t icaVersion, NcLibIcaWarp* warp,
                         IcaParameters* parameters, IcaPassParameters* passParameters,
                         LmcPassParameters_680* lmcParameters) {
    NC_LIB_REQUIRE_NOT_NULL(tessaline, "tessalineStruct");
    NC_LIB_REQUIRE_NOT_NULL(warp, "warpStruct");
    NC_LIB_REQUIRE_NOT_NULL(parameters, "fwStruct");
    CopyTuning(*tessaline, *parameters);
    NC_LIB_REQUIRE(ValidateIcaNonTessalineParams(inGridFlow, matrices, icaIsGridEnabledByFlow,
                                                 icaVersion) == NC_LIB_SUCCESS,
                   NC_LIB_GENERAL_ERROR,
                   "ValidateIcaNonTessalineParams validation failed, ICA can't run.");
    int32_t status =
        ProcessGrid(icaGrid, inGridFlow, icaIsGridEnabledByFlow, icaVersion, warp, parameters);
    if (status == NC_LIB_SUCCESS && matrices != nullptr) {
        status = ICA_ProcessNcLibMatrices(matrices, warp, parameters, icaVersion);
    }
    if (status == NC_LIB_SUCCESS) {
        status = ProcessPasses(passMapping, icaVersion, parameters, passParameters);
    }
    if (status == NC_LIB_SUCCESS && icaVersion == kLmcVersion) {
        status = nclib::FillLmc(tessaline, context, warp, parameters, lmcParameters);
    }
    return status;
}

void SetDefaultsForIcaStruct(IcaParameters* parameters, uint8_t enable) {
    if (parameters == nullptr) {
        NC_LIB_ERROR("NULL pointer: icaParameters");
        return;
    }
    *parameters = {};
    parameters->enable = enable;
    parameters->geometryEnable = enable;
    parameters->lumaEnable = enable;
    parameters->chromaEnable = enable;
    std::copy_n(kDefaultCoefs.first, ICA_INTERPOLATION_ENTRIES, parameters->interpolationCoefs0);
    std::copy_n(kDefaultCoefs.second, ICA_INTERPOLATION_ENTRIES, parameters->interpolationCoefs1);
    std::copy_n(kDefaultCoefs.third, ICA_INTERPOLATION_ENTRIES, parameters->interpolationCoefs2);
}
