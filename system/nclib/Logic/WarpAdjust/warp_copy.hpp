// SPDX-License-Identifier: Apache-2.0
/// @file warp_copy.hpp
/// Copies between warp records of one kind, and conversions between the pointer form and the
/// fixed-capacity form of a grid or of matrices.
///
/// The arrays of an output belong to the caller and must hold what the input holds; the pointers
/// to them are never changed by a copy.
#pragma once

#include "steadywarp/nclib.h"

/// Copy a grid: every field, the nodes if it is enabled, the four corners if it claims them.
/// Nothing happens if both are the same record.
void memcpyGrid(NcLibWarpGrid* out, const NcLibWarpGrid* in);

/// Copy matrices; a disabled input clears `enable` only. Nothing happens if both are the same.
void memcpyMatrices(NcLibWarpMatrices* out, const NcLibWarpMatrices* in);

/// Copy the direction and both parts of a warp.
void memcpyWarp(NcLibWarp* out, const NcLibWarp* in);

/// View a fixed-capacity grid as a grid, without a copy of its nodes.
///
/// @param warpGrid points into `icaGrid` afterwards and lives as long as that. A `geometry` that is
///        not known leaves its size and type as they were.
/// @param ignoreErrors allow a ring grid that claims four corners; otherwise that is a failed
///        assertion.
/// @return true.
bool NcLibIcaGridToWarpGridRef(const NcLibIcaGrid& icaGrid, NcLibWarpGrid& warpGrid,
                               bool ignoreErrors);

/// Write the header of a fixed-capacity grid: all but nodes and corners. A size that no geometry
/// has leaves `geometry` as it was. Returns true.
bool NcLibWarpGridToIcaGridMeta(const NcLibWarpGrid* warpGrid, NcLibIcaGrid* icaGrid);

/// As NcLibWarpGridToIcaGridMeta(), with the nodes and, if the grid points to any, the corners.
/// At most NC_LIB_ICA_GRID_MAX_POINTS nodes fit; more are a precondition broken.
bool NcLibWarpGridToIcaGrid(const NcLibWarpGrid* warpGrid, NcLibIcaGrid* icaGrid);

/// Copy fixed-capacity matrices into `warpMatrices`, whose array the caller provides. They come out
/// centred. Returns true.
bool NcLibIcaMatricesToWarpMatrices(const NcLibIcaMatrices* icaMatrices,
                                    NcLibWarpMatrices* warpMatrices);
