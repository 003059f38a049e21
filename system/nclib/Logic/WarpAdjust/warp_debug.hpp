// SPDX-License-Identifier: Apache-2.0
/// @file warp_debug.hpp
/// A fixed-capacity grid as text, for a person or a script to look at.
#pragma once

#include <cstdio>

#include "steadywarp/nclib.h"

/// Write a grid as "key = value" lines: size and type first, then all x values on one line and all
/// y values on one line.
///
/// @param file open for writing; write errors stay in its error flag.
/// @param icaGrid NULL and a disabled grid are written as five zeros without values.
/// @param prefix stands in front of every key.
/// @param decimals digits behind the point of each value.
/// Four corners need the capability IcaGridExtrapolationCorners; that is an assertion.
void NcLibDumpIcaGridStruct(FILE* file, const NcLibIcaGrid* icaGrid, const char* prefix,
                            int decimals);
