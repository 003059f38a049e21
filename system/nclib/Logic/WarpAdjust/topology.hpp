// SPDX-License-Identifier: Apache-2.0
/// @file topology.hpp
/// The one operation that every question about a transform comes down to: carry points through a
/// chain of transforms.
///
/// Coordinates are virtual, with their origin in the centre of the frame. Nothing here allocates;
/// the only state read is that of the chip.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Carry points through the stages of `topology`, in order.
///
/// @param topology each stage has exactly one of `grid` and `matrices` and is REGULAR or INVERSE;
///        anything else is a failed assertion. A disabled record leaves the points as they are.
/// @param allowNearest see transformInverseGrid().
/// @param out numPoints points; may be `in`, in which case nothing is copied.
/// @return NC_LIB_SUCCESS, also when points became NaN because an inverse grid could not place
/// them;
///         or the status of a matrix that has no inverse.
int32_t NcLibInternalApplyTopologyOnPoints(const NcLibInternalWarpTopology* topology,
                                           uint32_t numStages, const NcLibWarpGridCoord* in,
                                           uint32_t numPoints, bool allowNearest,
                                           NcLibWarpGridCoord* out);

/// Map points forward through a fixed-capacity grid.
/// @return NC_LIB_GENERAL_ERROR if the grid has no known geometry.
int32_t NcLibInternalApplyGridOnPoints(const NcLibIcaGrid* grid, const NcLibWarpGridCoord* in,
                                       uint32_t numPoints, bool allowNearest,
                                       NcLibWarpGridCoord* out);

namespace nclib {

/// View a fixed-capacity grid as NcLibIcaGridToWarpGridRef() does, starting from an empty record.
/// @return false if it has no known geometry and thus no nodes.
bool ViewIcaGrid(const NcLibIcaGrid& icaGrid, NcLibWarpGrid& view);

}  // namespace nclib
