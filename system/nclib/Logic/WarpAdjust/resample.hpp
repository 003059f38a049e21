// SPDX-License-Identifier: Apache-2.0
/// @file resample.hpp
/// Grids re-expressed for another crop.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// As NcLibResampleGrid(), with windows as fractions of the frame: no component below 0 or NaN,
/// offset and size together at most 1 on each axis. `in` and `out` are different records.
int32_t NcLibResampleGridFloat(const NcLibIcaGrid* in, const NcLibROI* undistortedIfeZoomWindow,
                               const NcLibROI* ifeZoomWindow, NcLibIcaGrid* out);

namespace nclib {

/// Express a window as fractions of its full frame, which must not be empty.
NcLibROI ToFractions(const NcLibZoomWindow& window);

/// Tell whether all four components are 0 or more; NaN is not.
bool HasNoNegative(const NcLibROI& window);

/// Tell whether a window can be expressed as fractions; reports it if not.
bool HasFullSize(const NcLibZoomWindow& window);

}  // namespace nclib
