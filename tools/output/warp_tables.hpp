// SPDX-License-Identifier: Apache-2.0
/// @file warp_tables.hpp
/// The two tables with a row a frame: warps.csv and grids.csv. docs/stabilize.md tells the columns.
///
/// Numbers are the shortest decimal text that reads back to the same float or double.
#pragma once

#include <cstdio>

#include "input/recording.hpp"
#include "stream/stabilizer.hpp"

namespace steadywarp::tool {

/// Write the header of warps.csv.
void write_warps_header(std::FILE* file);

/// Write one row of warps.csv; a frame without a warp has empty cells behind `output_valid`.
void write_warps_row(std::FILE* file, const Frame& frame, const FrameWarp& warp,
                     double corner_overshoot);

/// Write the header of grids.csv.
void write_grids_header(std::FILE* file);

/// Write one row of grids.csv; frames without a warp have none.
void write_grids_row(std::FILE* file, const Frame& frame, const FrameWarp& warp);

}  // namespace steadywarp::tool
