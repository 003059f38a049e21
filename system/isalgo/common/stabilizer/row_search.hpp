// SPDX-License-Identifier: Apache-2.0
/// @file row_search.hpp
/// Which time row of a rolling shutter saw an output point, and where in the picture.
#pragma once

#include <array>

#include "base/matrix3.hpp"
#include "sensors/samplers.hpp"
#include "stabilizer/grid.hpp"

namespace steadywarp {

/// One homography per time row, each taking an output point to the input point it would come from
/// if the whole frame had been read at that row's time.
using RowHomographies = std::array<Matrix3, kTimeRows>;

/// Fill `grid.points`: for each node find the two neighbouring time rows whose lines in the input
/// enclose its image, and blend their homographies' answers.
///
/// @param grid a laid lattice; row r of nodes stands on the line that time row r reads.
void map_by_row_search(const RowHomographies& rows, Grid& grid);

}  // namespace steadywarp
