// SPDX-License-Identifier: Apache-2.0
/// @file frame_geometries.hpp
/// The two halves of NcLibWarpGeometries(): faces, and points of the local noise reduction.
#pragma once

#include "steadywarp/nclib_geometries.h"

/// Carry the faces of `in` into the output; see NcLibWarpGeometries().
///
/// @param out may be `in->fdConfig`.
/// @return NC_LIB_INVALID_INPUT if a warp that the chain needs is missing.
int32_t correctFaceDetection(const NcLibWarpGeomIn* in, FD_CONFIG_CONTEXT* out);

/// Carry the noise-reduction points of `in` into the output.
///
/// @param points receives NC_LIB_LNR_POINTS points. Preconditions: a stabilization OUT_2_IN, a
///        front-end crop with both full sizes or none, first three points that stay numbers.
int32_t correctLnr(const NcLibWarpGeomIn* in, NcLibLnrPoint* points);
