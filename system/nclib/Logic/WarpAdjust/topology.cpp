// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/topology.hpp"

#include <algorithm>

#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"
#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/nclib_log.hpp"

namespace {

int32_t ApplyMatrices(const NcLibWarpMatrices& matrices, bool is_regular,
                      const NcLibWarpGridCoord* in, uint32_t count, NcLibWarpGridCoord* out) {
    if (is_regular) {
        transformRegularMatrices(&matrices, in, count, out);
        NcLibWarpDebugPrintNcLibWarpGridCoord(out, count, "transformRegularMatricesOutput.txt");
        return NC_LIB_SUCCESS;
    }
    const int32_t status = transformInverseMatrix(&matrices, in, count, out);
    NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "transformInverseMatrix failed");
    NcLibWarpDebugPrintNcLibWarpGridCoord(out, count, "transformRegularMatricesOutput.txt");
    NcLibWarpDebugPrintNcLibWarpGridCoord(out, count, "transformInverseMatrixOutput.txt");
    return NC_LIB_SUCCESS;
}

void ApplyGrid(const NcLibWarpGrid& grid, bool is_regular, bool allow_nearest,
               const NcLibWarpGridCoord* in, uint32_t count, NcLibWarpGridCoord* out) {
    if (is_regular) {
        transformRegularGrid(&grid, in, count, out);
        NcLibWarpDebugPrintNcLibWarpGridCoord(out, count, "transformRegularGridOutput.txt");
    } else {
        transformInverseGrid(&grid, in, count, allow_nearest, out);
        NcLibWarpDebugPrintNcLibWarpGridCoord(out, count, "transformInverseGridOutput.txt");
    }
}

bool IsEnabled(const NcLibInternalWarpTopology& stage) {
    return stage.grid != nullptr ? stage.grid->enable : stage.matrices->enable;
}

}  // namespace

int32_t NcLibInternalApplyTopologyOnPoints(const NcLibInternalWarpTopology* topology,
                                           uint32_t numStages, const NcLibWarpGridCoord* in,
                                           uint32_t numPoints, bool allowNearest,
                                           NcLibWarpGridCoord* out) {
    NcLibWarpDebugPrintNcLibWarpGridCoord(in, numPoints, "TopologyInput.txt");
    // The first stage that is enabled carries the points over; the rest work in place.
    const NcLibWarpGridCoord* points = in;
    int32_t status = NC_LIB_SUCCESS;
    for (uint32_t idx = 0; idx < numStages && status == NC_LIB_SUCCESS; ++idx) {
        NC_LIB_ASSERT(((topology[idx].matrices == NULL) && (topology[idx].grid != NULL)) ||
                      ((topology[idx].matrices != NULL) && (topology[idx].grid == NULL)));
        NC_LIB_ASSERT((REGULAR == topology[idx].direction) || (INVERSE == topology[idx].direction));
        const NcLibInternalWarpTopology& stage = topology[idx];
        if (!IsEnabled(stage)) {
            continue;
        }
        const bool is_regular = stage.direction == REGULAR;
        if (stage.grid != nullptr) {
            ApplyGrid(*stage.grid, is_regular, allowNearest, points, numPoints, out);
        } else {
            status = ApplyMatrices(*stage.matrices, is_regular, points, numPoints, out);
        }
        points = status == NC_LIB_SUCCESS ? out : points;
    }
    if (points != out) {
        std::copy_n(points, numPoints, out);
    }
    return status;
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
