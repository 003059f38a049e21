// SPDX-License-Identifier: Apache-2.0
/// @file windows.hpp
/// Crop windows carried through a grid by their outlines. Windows are fractions of the frame,
/// points are virtual, centred.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Receives points of a carried outline; `context` is what the caller passed along.
using TranslateWindowCallback = void (*)(const NcLibWarpGridCoord* points, uint32_t count,
                                         void* context);

/// Carry the outline of a window through a virtual grid, at twice the grid's density.
///
/// @param callback called twice: with the top row followed by the bottom row, and with the left
///        column followed by the right column.
/// @return NC_LIB_INVALID_INPUT for a NULL argument, a negative window, a grid that is not virtual
///         or that has no known geometry.
int32_t translateWindow(const NcLibROI* winFrom, const NcLibIcaGrid* grid,
                        TranslateWindowCallback callback, void* context);

/// As NcLibCalcMinInputWindow(), in fractions; the window is not cut to the frame.
int32_t NcLibCalcMinInputWindowFloat(const NcLibROI* winAtOut, const NcLibIcaGrid* grid,
                                     NcLibROI* winAtIn);

/// As NcLibCalcMaxOutputWindow(), in fractions.
int32_t NcLibCalcMaxOutputWindowFloat(const NcLibROI* winAtIn, const NcLibROI* origWinAtOut,
                                      const NcLibIcaGrid* grid, NcLibROI* winAtOut);
