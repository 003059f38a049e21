// SPDX-License-Identifier: Apache-2.0
/// @file forward_mapping.hpp
/// The grid of a lens that distorts: where each row of the sensor lies in the corrected picture,
/// and from there, back through the optics of the two rows around it, every output node.
#pragma once

#include <array>

#include "base/matrix3.hpp"
#include "filter/frame_records.hpp"
#include "sensors/samplers.hpp"
#include "stabilizer/grid.hpp"
#include "stabilizer/lens_distortion.hpp"
#include "stabilizer/ois_operator.hpp"

namespace steadywarp {

/// The optics of one time row.
struct ForwardRow {
    Matrix3 to_middle = kIdentity3;    ///< by minus the row's angles: input to output
    Matrix3 from_middle = kIdentity3;  ///< by its angles: output to input
    Point2 shift;                      ///< raw lens shift; read with a lens only
    double scale = 1.0;                ///< of the field of view
};
using ForwardRows = std::array<ForwardRow, kTimeRows>;

/// What does not change from row to row.
struct ForwardOptics {
    LensDistortion distortion;  ///< both grids
    const OISOperator* lens;    ///< NULL: it did not move
    const frame_geometry_windows& windows;
    Point2 scale_center;
};

/// Fill `grid.points`.
///
/// Row r of nodes, taken to the output, is a line; between two neighbouring lines, in bands of 36
/// quadrangles, lie the output nodes that were read between their times. Such a node is mapped back
/// by both rows, weighted by its distances from the two lines. Above the first line and below the
/// last the one row serves alone. A node in no quadrangle keeps its point.
///
/// @param grid a laid lattice; row r of nodes stands on the line that time row r reads.
void map_forward(const ForwardRows& rows, const ForwardOptics& optics, Grid& grid);

}  // namespace steadywarp
