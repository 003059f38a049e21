// SPDX-License-Identifier: Apache-2.0
#include "interface/warp_output.hpp"

#include <algorithm>

namespace steadywarp {
namespace {

constexpr uint32_t kFullConfidence = 256;

}  // namespace

void write_matrix(const Matrix3& homography, uint32_t width, uint32_t height,
                  NcLibWarpMatrices& out) {
    const Point2 center = {(width - 1.0) / 2.0, (height - 1.0) / 2.0};
    write_centered_matrix(seen_from(homography, center), width, height, out);
}

void write_centered_matrix(const Matrix3& homography, uint32_t width, uint32_t height,
                           NcLibWarpMatrices& out) {
    out.enable = true;
    out.transformDefinedOn = {width, height};
    out.centerType = CENTERED;
    out.confidence = kFullConfidence;
    out.numRows = 1;
    out.numColumns = 1;
    std::transform(homography.begin(), homography.end(), out.perspMatrices[0].T,
                   [](double element) { return static_cast<float>(element); });
}

void write_grid(const Grid& grid, NcLibWarpGrid& out) {
    const float center_x = static_cast<float>((grid.width - 1.0) / 2.0);
    const float center_y = static_cast<float>((grid.height - 1.0) / 2.0);
    out.enable = true;
    out.transformDefinedOn = {grid.width, grid.height};
    out.numRows = kGridRows;
    out.numColumns = kGridColumns;
    out.extrapolateType = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
        out.grid[i].x = static_cast<float>(grid.points[i].x) - center_x;
        out.grid[i].y = static_cast<float>(grid.points[i].y) - center_y;
    }
}

void copy_grid(const NcLibWarpGrid& in, NcLibWarpGrid& out) {
    out.enable = in.enable;
    out.transformDefinedOn = in.transformDefinedOn;
    out.numRows = in.numRows;
    out.numColumns = in.numColumns;
    out.extrapolateType = in.extrapolateType;
    if (in.enable) {
        std::copy_n(in.grid, in.numRows * in.numColumns, out.grid);
    }
}

void copy_matrix(const NcLibWarpMatrices& in, NcLibWarpMatrices& out) {
    out.enable = in.enable;
    out.transformDefinedOn = in.transformDefinedOn;
    out.centerType = in.centerType;
    out.confidence = in.confidence;
    out.numRows = in.numRows;
    out.numColumns = in.numColumns;
    if (in.enable) {
        out.perspMatrices[0] = in.perspMatrices[0];
    }
}

}  // namespace steadywarp
