// SPDX-License-Identifier: Apache-2.0
/// @file reverse_scatter.hpp
/// The part of a reversed mesh that its triangles cover.
#pragma once

#include "nclib/Logic/WarpAdjust/reverse_fill.hpp"

namespace nclib {

/// Give every lattice node that is a hole the displacement, source minus destination, of the first
/// triangle that covers it. Cells are taken in raster order, each cut into two triangles as the
/// record's `triangulation` says.
void ScatterCells(const ReversalView& view);

}  // namespace nclib
