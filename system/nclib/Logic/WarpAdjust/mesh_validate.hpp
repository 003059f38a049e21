// SPDX-License-Identifier: Apache-2.0
/// @file mesh_validate.hpp
/// Does a point outside the corner of a mesh continue it without a fold?
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Nodes at a corner of a mesh, as indices: the corner itself and its neighbours on the two edges
/// that meet there.
struct CornerNodes {
    uint32_t b;
    uint32_t a;
    uint32_t d;
};

/// Test a point outside a corner of a mesh: it must turn the right way with both edges there, and
/// the segment from it to the corner must meet no edge of the outline but those at the corner.
///
/// @param corner must not be a node of the outline itself; that is an assertion.
bool checkExtrapPoint(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* corner,
                      const CornerNodes* nodes);
