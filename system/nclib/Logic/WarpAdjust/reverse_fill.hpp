// SPDX-License-Identifier: Apache-2.0
/// @file reverse_fill.hpp
/// What a reversed mesh holds where no triangle of it lies: the ways to fill holes of the lattice.
///
/// A hole is a lattice node whose x is NaN. Filled nodes hold absolute source coordinates.
#pragma once

#include <cmath>
#include <cstdint>

#include "steadywarp/nclib.h"

namespace nclib {

/// A source mesh and the lattice that its reversal is wanted on.
class ReversalView {
  public:
    ReversalView(const NcLibWarpReverseGridIn& in, NcLibWarpGridCoord* lattice);

    int32_t SourceRows() const { return in_.srcGridNumRows; }
    int32_t SourceColumns() const { return in_.srcGridNumColumns; }
    int32_t Rows() const { return in_.dstGridNumRows; }
    int32_t Columns() const { return in_.dstGridNumColumns; }
    /// Number of lattice nodes.
    int64_t Count() const { return int64_t{Rows()} * Columns(); }

    NcLibWarpGridCoord& At(int64_t row, int64_t column) const {
        return lattice_[row * Columns() + column];
    }
    bool IsHole(int64_t row, int64_t column) const { return std::isnan(At(row, column).x); }

    /// Where a node of the lattice stands.
    NcLibWarpGridCoord Position(int64_t row, int64_t column) const {
        return {in_.dstGridStartX + static_cast<float>(column) * step_x_,
                in_.dstGridStartY + static_cast<float>(row) * step_y_};
    }
    /// Steps between nodes and their inverses; 0 for an axis of no extent.
    float StepX() const { return step_x_; }
    float StepY() const { return step_y_; }

    /// Where a source node stands, and where it lands.
    NcLibWarpGridCoord Source(int32_t row, int32_t column) const {
        return {in_.srcGridColumnCoords[column], in_.srcGridRowCoords[row]};
    }
    const NcLibWarpGridCoord& Destination(int32_t row, int32_t column) const {
        return in_.dstCoords[int64_t{row} * SourceColumns() + column];
    }
    const NcLibWarpReverseGridIn& In() const { return in_; }

  private:
    const NcLibWarpReverseGridIn& in_;
    NcLibWarpGridCoord* lattice_;
    float step_x_, step_y_;
};

/// Fill holes from the nearest node of the two outermost rings of the source mesh.
/// @param polygon outline of the mesh's image, read with `useBoundaryTest` only: holes inside it
///        stay holes.
/// @return number of holes that stay.
int64_t FillFromNearestOuterNode(const ReversalView& view, const NcLibWarpGridCoord* polygon,
                                 uint32_t polygonCount);

/// Fill holes by continuing lines of two filled nodes, from the covered region outward. Allocates;
/// without memory nothing is filled.
/// @return number of holes that stay.
int64_t FillByPropagation(const ReversalView& view, int64_t holes);

/// Fill every hole from the nearest of all source nodes.
void FillFromNearestNode(const ReversalView& view);

}  // namespace nclib
