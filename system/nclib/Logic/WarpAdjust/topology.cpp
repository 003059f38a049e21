// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/topology.hpp"

#include <algorithm>

#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"
#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/nclib_log.hpp"

namespace {

void ApplyRegularMatrices(const NcLibWarpMatrices& matrices, NcLibWarpGridCoord* points,
                          uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        perspectiveTransform({static_cast<double>(points[i].x), static_cast<double>(points[i].y)},
                             &matrices, &points[i]);
    }
    NcLibWarpDebugPrintNcLibWarpGridCoord(points, count, "transformRegularMatricesOutput.txt");
}

int32_t ApplyMatrices(const NcLibWarpMatrices& matrices, bool is_regular,
                      NcLibWarpGridCoord* points, uint32_t count) {
    if (!matrices.enable) {
        return NC_LIB_SUCCESS;
    }
    if (is_regular) {
        ApplyRegularMatrices(matrices, points, count);
        return NC_LIB_SUCCESS;
    }
    const int32_t status = transformInverseMatrix(&matrices, points, count, points);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "transformInverseMatrix failed");
    NcLibWarpDebugPrintNcLibWarpGridCoord(points, count, "transformRegularMatricesOutput.txt");
    NcLibWarpDebugPrintNcLibWarpGridCoord(points, count, "transformInverseMatrixOutput.txt");
    return NC_LIB_SUCCESS;
}

void ApplyGrid(const NcLibWarpGrid& grid, bool is_regular, bool allow_nearest,
               NcLibWarpGridCoord* points, uint32_t count) {
    if (!grid.enable) {
        return;
    }
    if (is_regular) {
        transformRegularGrid(&grid, points, count, points);
        NcLibWarpDebugPrintNcLibWarpGridCoord(points, count, "transformRegularGridOutput.txt");
    } else {
        transformInverseGrid(&grid, points, count, allow_nearest, points);
        NcLibWarpDebugPrintNcLibWarpGridCoord(points, count, "transformInverseGridOutput.txt");
    }
}

}  // namespace

int32_t NcLibInternalApplyTopologyOnPoints(const NcLibInternalWarpTopology* topology,
                                           uint32_t numStages, const NcLibWarpGridCoord* in,
                                           uint32_t numPoints, bool allowNearest,
                                           NcLibWarpGridCoord* out) {
    NcLibWarpDebugPrintNcLibWarpGridCoord(in, numPoints, "TopologyInput.txt");
    if (out != in) {
        std::copy_n(in, numPoints, out);
    }
    for (uint32_t idx = 0; idx < numStages; ++idx) {
        NC_LIB_ASSERT(((topology[idx].matrices == NULL) && (topology[idx].grid != NULL)) ||
                      ((topology[idx].matrices != NULL) && (topology[idx].grid == NULL)));
        NC_LIB_ASSERT((REGULAR == topology[idx].direction) || (INVERSE == topology[idx].direction));
        const bool is_regular = topology[idx].direction == REGULAR;
        if (topology[idx].grid != nullptr) {
            ApplyGrid(*topology[idx].grid, is_regular, allowNearest, out, numPoints);
            continue;
        }
        const int32_t status = ApplyMatrices(*topology[idx].matrices, is_regular, out, numPoints);
        if (status != NC_LIB_SUCCESS) {
            return status;
        }
    }
    return NC_LIB_SUCCESS;
}

int32_t NcLibInternalApplyGridOnPoints(const NcLibIcaGrid* grid, const NcLibWarpGridCoord* in,
                                       uint32_t numPoints, bool allowNearest,
                                       NcLibWarpGridCoord* out) {
    NcLibWarpGrid view;
    NC_LIB_REQUIRE(nclib::ViewIcaGrid(*grid, view), NC_LIB_GENERAL_ERROR,
                   "NcLibIcaGridToWarpGridRef failed");
    const NcLibInternalWarpTopology stage = {&view, nullptr, REGULAR};
    return NcLibInternalApplyTopologyOnPoints(&stage, 1, in, numPoints, allowNearest, out);
}

namespace nclib {

bool ViewIcaGrid(const NcLibIcaGrid& icaGrid, NcLibWarpGrid& view) {
    view = {};
    return NcLibIcaGridToWarpGridRef(icaGrid, view, false) && view.numRows != 0;
}

}  // namespace nclib
