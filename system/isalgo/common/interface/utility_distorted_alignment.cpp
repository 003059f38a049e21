// SPDX-License-Identifier: Apache-2.0
// An alignment of undistorted pictures, carried over to the distorted ones.
#include <algorithm>

#include "base/eis_log.hpp"
#include "interface/utility_grids.hpp"
#include "steadywarp/eis_utility.h"
#include "steadywarp/nclib_temporal.h"

namespace steadywarp {
namespace {

bool is_valid_input(const NcLibWarpMatrices& alignment, const NcLibWarpGrid& src,
                    const NcLibWarpGrid& dst, const NcLibWarpGrid& out) {
    if (!src.enable) {
        EIS_ERR("IS0003", "frame_src_ud_grid_out2in is disabled");
        return false;
    }
    if (!dst.enable) {
        EIS_ERR("IS0003", "frame_dst_ud_grid_out2in is disabled");
        return false;
    }
    if (!alignment.enable) {
        EIS_ERR("IS0003", "alignment_ud_out2in is disabled");
        return false;
    }
    return is_ring_grid(src) && is_ring_grid(dst) && is_ring_grid_size(out);
}

void report_small_output(const NcLibWarpGrid& src, const NcLibWarpGrid& dst,
                         const NcLibWarpGrid& out) {
    if (out.numColumns < std::max(src.numColumns, dst.numColumns)) {
        EIS_ERR("IS0003",
                "Input mismatch, need to increase output grid number of points, numColumns "
                "(frame_src_ud_grid_out2in, frame_dst_ud_grid_out2in, "
                "alignment_transform_distorted_out2in): (%u, %u, %u)",
                src.numColumns, dst.numColumns, out.numColumns);
    }
    if (out.numRows < std::max(src.numRows, dst.numRows)) {
        EIS_ERR("IS0003",
                "Input mismatch, need to increase output grid number of points, numRows "
                "(frame_src_ud_grid_out2in, frame_dst_ud_grid_out2in, "
                "alignment_transform_distorted_out2in): (%u, %u, %u)",
                src.numRows, dst.numRows, out.numRows);
    }
}

uint32_t convert_inputs(NcLibWarpMatrices& alignment, NcLibWarpGrid& src, NcLibWarpGrid& dst) {
    int32_t status = to_virtual_domain(src);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002",
                "NcLibWarpConvertToVirtualDomain() failed for frame_src_ud_grid_out2in: 0x%08x",
                static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    status = to_virtual_domain(dst);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002",
                "NcLibWarpConvertToVirtualDomain() failed for frame_dst_ud_grid_out2in: 0x%08x",
                static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    NcLibWarp warp = {alignment, {}, OUT_2_IN};
    status = NcLibWarpConvertToVirtualDomain(&warp, &warp);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002",
                "NcLibWarpConvertToVirtualDomain() failed for alignment_ud_out2in: 0x%08x",
                static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    alignment = warp.matrices;
    return EIS_SUCCESS;
}

// All records are virtual. Nothing is stabilized here, so that the undistorted domain is the
// stabilized one; the points start on the destination.
int32_t calc_distorted(const NcLibWarpMatrices& alignment, const NcLibWarpGrid& src,
                       const NcLibWarpGrid& dst, NcLibWarp& out) {
    NcLibWarp no_stabilization{};
    const NcLibWarpBuildAssistGridOut stabilization = {nullptr, &no_stabilization};
    const NcLibWarp alignment_warp = {alignment, {}, OUT_2_IN};
    const NcLibWarp src_warp = {{}, src, OUT_2_IN};
    const NcLibWarp dst_warp = {{}, dst, OUT_2_IN};
    const NcLibImageSize size = src.transformDefinedOn;
    NcLibCalcMctfIn in{};
    in.inputSize = &size;
    in.eisFOV = {size.widthPixels, size.heightLines, 0, 0, size.widthPixels, size.heightLines};
    in.frameWarps = {STABILIZED_IMAGE_DOMAIN, &alignment_warp, &stabilization,
                     &stabilization,          &dst_warp,       &src_warp};
    in.outDomain = DISTORTED_IMAGE_DOMAIN;
    return NcLibCalcMctfTransform(&in, &out);
}

}  // namespace

}  // namespace steadywarp

uint32_t eis_utility_convert_ud_alignment_matrix_to_distorted_grid(
    NcLibWarpMatrices* alignment_ud_out2in, NcLibWarpGrid* frame_src_ud_grid_out2in,
    NcLibWarpGrid* frame_dst_ud_grid_out2in, NcLibWarp* alignment_transform_distorted_out2in) {
    using namespace steadywarp;
    if (alignment_ud_out2in == nullptr || frame_src_ud_grid_out2in == nullptr ||
        frame_dst_ud_grid_out2in == nullptr || alignment_transform_distorted_out2in == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    NcLibWarp& out = *alignment_transform_distorted_out2in;
    out.matrices.enable = false;
    out.grid.enable = false;
    out.direction = OUT_2_IN;
    if (out.grid.grid == nullptr) {
        EIS_ERR("IS0003", "NULL input");
        return EIS_ERROR_INVALID_INPUT;
    }
    NcLibWarpGrid& src = *frame_src_ud_grid_out2in;
    NcLibWarpGrid& dst = *frame_dst_ud_grid_out2in;
    if (!is_valid_input(*alignment_ud_out2in, src, dst, out.grid)) {
        return EIS_ERROR_INVALID_INPUT;
    }
    report_small_output(src, dst, out.grid);
    set_utility_chip();
    const uint32_t converted = convert_inputs(*alignment_ud_out2in, src, dst);
    if (converted != EIS_SUCCESS) {
        return converted;
    }
    out.grid.numRows = std::min(out.grid.numRows, std::max(src.numRows, dst.numRows));
    out.grid.numColumns = std::min(out.grid.numColumns, std::max(src.numColumns, dst.numColumns));
    // A matrix is never written for grids, but has to be there.
    NcLibPerspTransformSingle unused{};
    NcLibWarp result = out;
    result.matrices.perspMatrices = &unused;
    const int32_t status = calc_distorted(*alignment_ud_out2in, src, dst, result);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002", "NcLibCalcMctfTransform() failed: 0x%08x", static_cast<unsigned>(status));
        return EIS_ERROR_GENERAL;
    }
    out.grid = result.grid;
    out.direction = result.direction;
    return EIS_SUCCESS;
}
