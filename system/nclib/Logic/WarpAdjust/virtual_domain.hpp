// SPDX-License-Identifier: Apache-2.0
/// @file virtual_domain.hpp
/// Where things stand in the virtual domain, and how points, matrices and grids get into it.
///
/// The virtual domain is 8192 by 6144 units with its origin in the centre of the frame; x grows to
/// the right and y grows downward. Grid values are offsets from the centre in every domain, so a
/// grid changes its domain by a pure scale.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

namespace nclib {

inline constexpr float kVirtualWidth = 8192.0f;
inline constexpr float kVirtualHeight = 6144.0f;
/// Distance of the frame's right and lower edge from its centre, virtual units.
inline constexpr float kVirtualHalfWidth = kVirtualWidth / 2.0f;
inline constexpr float kVirtualHalfHeight = kVirtualHeight / 2.0f;

inline constexpr NcLibImageSize kVirtualSize = {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT};

/// Tell whether records of this size are given in the virtual domain.
constexpr bool IsVirtualSize(const NcLibImageSize& size) {
    return size.widthPixels == VIRTUAL_DOMAIN_WIDTH && size.heightLines == VIRTUAL_DOMAIN_HEIGHT;
}

/// The rectangle that the nodes of a grid span, from its first to its last node; virtual units.
struct NodeLattice {
    float startX, startY;
    float spanX, spanY;
};

/// Tell where the nodes of a grid stand: those of a ring grid reach one node beyond the frame.
/// @param fine the spacing is 128 units, not 256; read for ring grids only.
constexpr NodeLattice GetNodeLattice(NcLibWarpGridExtrapolationType type, bool fine) {
    if (type != EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER) {
        return {-4096.0f, -3072.0f, 8192.0f, 6144.0f};
    }
    return fine ? NodeLattice{-4224.0f, -3200.0f, 8448.0f, 6400.0f}
                : NodeLattice{-4352.0f, -3328.0f, 8704.0f, 6656.0f};
}

/// Turn a pixel position, origin in the frame's upper left corner, into a point of the virtual
/// domain. Both sizes must be above zero.
constexpr NcLibWarpGridCoord ConvertPixelToVirtual(const NcLibWarpGridCoord& pixel_point,
                                                   const NcLibImageSize& size) {
    return {
        pixel_point.x * kVirtualWidth / static_cast<float>(size.widthPixels) - kVirtualHalfWidth,
        pixel_point.y * kVirtualHeight / static_cast<float>(size.heightLines) - kVirtualHalfHeight};
}

}  // namespace nclib

/// Turn a point of the virtual domain into a pixel position, origin in the frame's upper left
/// corner. Both sizes must be above zero.
void convertVirtualToPixel(const NcLibWarpGridCoord* virtual_point,
                           const NcLibImageSize* transformDefinedOn,
                           NcLibWarpGridCoord* pixel_point);

/// Express a matrix of one image size on another: S T S^-1 with S = diag(to/from). Products are
/// formed in double precision and rounded once; `T[8]` must not be 0. `in` may be `out`.
void convertMatrixCoordinates(const NcLibPerspTransformSingle* in, NcLibImageSize from,
                              NcLibImageSize to, NcLibPerspTransformSingle* out);
