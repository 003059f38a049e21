/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file eis_utility.h
 * @brief Helpers around the stabilizer: crop settings into windows, its two outputs into one grid,
 * a grid into matrices, the motion between two moments of two sensors.
 *
 * Conventions, status codes and log lines are those of eis.h. All functions but those that take an
 * instance are free of its state; those that convert warps set the process-wide chip state of the
 * warp library (nclib_chip.hpp) to 0x50800, so they must not run beside another call that reads it.
 * Nothing allocates.
 */
#ifndef STEADYWARP_EIS_UTILITY_H
#define STEADYWARP_EIS_UTILITY_H

#include "steadywarp/eis.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Strips that a grid is reduced to, one matrix each. */
#define EIS_GRID_STRIPS 9u

/** Bytes that eis_utility_convert_output_stabilize_to_single_grid() works in. */
#define EIS_SINGLE_GRID_WORK_BYTES 30808u

/** A crop in whole pixels, origin in the full picture's upper left corner. */
typedef struct is_crop_rect {
    uint32_t full_width;
    uint32_t full_height;
    int32_t window_left;
    int32_t window_top;
    uint32_t window_width;
    uint32_t window_height;
} is_crop_rect;

/** Two moments of two sensors. */
typedef struct is_alignment_request {
    is_window_regions src_window_regions;
    uint64_t src_mof_gyro_time; /**< time of the source frame's middle row, microseconds */
    uint32_t src_sensor_index;
    is_window_regions dst_window_regions;
    uint64_t dst_mof_gyro_time; /**< time of the destination frame's middle row, microseconds */
    uint32_t dst_sensor_index;
} is_alignment_request;

STEADYWARP_STATIC_ASSERT(sizeof(is_crop_rect) == 24, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_alignment_request) == 224,
                         "size is part of the binary interface");

/**
 * Tell the gyroscope's bias that the process knows of.
 *
 * @param bias receives rad/s about the axes of the instance created last, and the time of the
 *        estimate; all zero as long as nobody estimates one.
 */
STEADYWARP_API uint32_t eis_utility_get_estimated_bias(_sample_data_s* bias);

/**
 * Turn a sensor crop and a digital zoom into a frame's windows.
 *
 * For the types 0, 1 and 10 the sensor crop comes ahead of the stabilizer and the zoom shrinks the
 * output's field of view; for type 11 the zoom moves ahead, too, and the field of view is the
 * whole stabilized crop.
 *
 * @param sensor_crop,zoom_crop crops of their own full sizes, which must not be empty.
 * @param output_width,output_height pixels.
 * @param deployment_type DEP_TYPE_*.
 * @param regions receives `eis_pre_crop_vIN`, `eis_pre_crop_vOUT` and `output_crop_fov`;
 *        `image_sensor_crop` stays as it is.
 * @param stabilization_crop_ratio_x,stabilization_crop_ratio_y 0 to 1, from
 *        eis2_get_stabilization_crop_ratio_ex().
 */
STEADYWARP_API uint32_t eis_utility_convert_to_window_regions_deployment(
    const is_crop_rect* sensor_crop, const is_crop_rect* zoom_crop, uint32_t output_width,
    uint32_t output_height, uint32_t deployment_type, is_window_regions* regions,
    double stabilization_crop_ratio_x, double stabilization_crop_ratio_y);

/** Deprecated: the above for the types 0, 1 and 10, behind a line in the log. */
STEADYWARP_API uint32_t eis_utility_convert_to_window_regions(
    const is_crop_rect* sensor_crop, const is_crop_rect* zoom_crop, uint32_t output_width,
    uint32_t output_height, is_window_regions* regions, double stabilization_crop_ratio_x,
    double stabilization_crop_ratio_y);

/**
 * Reduce a ring grid to one homography for each of nine horizontal strips.
 *
 * Each matrix is fitted to four nodes of its strip: one column inside each end of the strip's first
 * two rows. Strips are (rows - 3) / 8 rows apart, from row 1 on.
 *
 * @param grid at least 11 rows and 4 columns, values relative to the picture's centre, in pixels of
 *        `transformDefinedOn`; nothing is written for one that is not enabled.
 * @param matrices not enabled yet, with room for nine; receives 9 rows of 1 column. It says
 *        NOT_CENTERED although it is centred, as temporal filters expect.
 * @return EIS_ERROR_GENERAL if the nodes of a strip determine no homography; `matrices` then stays
 *         disabled.
 */
STEADYWARP_API uint32_t eis_utility_convert_grid_to_matrices(const NcLibWarpGrid* grid,
                                                             NcLibWarpMatrices* matrices);

/** What eis_utility_convert_grid_to_matrices() does once its arguments are checked. */
STEADYWARP_API void NcLibWarpGrid_to_NcLibWarpMatrices(const NcLibWarpGrid* grid,
                                                       NcLibWarpMatrices* matrices);

/**
 * Compute the homography from a point of the destination's picture to the source's, from what the
 * gyroscope saw between two moments.
 *
 * Both moments must lie among the samples that the instance holds, and no later than the last one.
 *
 * @param src_sensor,dst_sensor indices of sensors.
 * @param src_time,dst_time times of the frames' middle rows, microseconds.
 * @param src_regions,dst_regions the frames' windows.
 * @param alignment receives one matrix on the destination's input size, centred; its array must
 *        exist.
 * @return EIS_ERROR_GENERAL if a sample next to one of the moments is missing.
 */
STEADYWARP_API uint32_t eis_utility_calc_alignment_matrix(eis_context* context, uint32_t src_sensor,
                                                          uint64_t src_time,
                                                          const is_window_regions* src_regions,
                                                          uint32_t dst_sensor, uint64_t dst_time,
                                                          const is_window_regions* dst_regions,
                                                          NcLibWarpMatrices* alignment);

/** As eis_utility_calc_alignment_matrix(), with its arguments in one record. */
STEADYWARP_API uint32_t eis_internal_utility_calc_alignment_matrix(
    eis_context* context, const is_alignment_request* request, NcLibWarpMatrices* alignment);

/**
 * Carry an alignment of two undistorted pictures over to the distorted ones.
 *
 * The result maps a distorted point of the destination to the source: out of the destination's
 * distortion (its grid taken backward), through the alignment, into the source's distortion.
 *
 * @param alignment_ud_out2in destination to source; matrices of at most nine.
 * @param frame_src_ud_grid_out2in,frame_dst_ud_grid_out2in undistorted to distorted, ring grids of
 *        27 by 35 or 51 by 67. These three records are converted to the virtual domain in place.
 * @param alignment_transform_distorted_out2in receives a virtual grid of the size it asks for (27
 *        by 35 or 51 by 67), no larger than the larger input; its `grid.grid` must exist.
 * @return EIS_ERROR_GENERAL if a conversion fails.
 */
STEADYWARP_API uint32_t eis_utility_convert_ud_alignment_matrix_to_distorted_grid(
    NcLibWarpMatrices* alignment_ud_out2in, NcLibWarpGrid* frame_src_ud_grid_out2in,
    NcLibWarpGrid* frame_dst_ud_grid_out2in, NcLibWarp* alignment_transform_distorted_out2in);

/**
 * Fold the two outputs of the stabilizer into one grid, for hardware that takes no more.
 *
 * Without a grid in the transform the result is matrix(grid(p)) at each node p: the distortion grid
 * first, bilinear between its nodes, then the matrix. With one, the distortion grid is composed
 * after the transform's grid (NcLibWarpComposition()), and the transform's matrix, if it has one,
 * is applied to the result in the same way.
 *
 * @param distortion_correction_grid,stabilization_transform outputs of one frame. With a grid in
 *        the transform both must be ring grids of 27 by 35 or 51 by 67, and both are converted to
 *        the virtual domain in place.
 * @param work_buffer,work_buffer_size scratch, EIS_SINGLE_GRID_WORK_BYTES or more; no alignment is
 *        asked for.
 * @param single_grid receives 27 by 35 nodes, or with a grid in the transform and no matrix those
 *        of that grid; its `grid` must have room for the larger of the two, and may be that of
 *        `distortion_correction_grid` unless the transform has a grid.
 * @return EIS_ERROR_INVALID_INPUT also for more than one matrix; EIS_ERROR_GENERAL if a conversion
 *         fails.
 */
STEADYWARP_API uint32_t eis_utility_convert_output_stabilize_to_single_grid(
    NcLibWarpGrid* distortion_correction_grid, NcLibWarp* stabilization_transform,
    void* work_buffer, uint64_t work_buffer_size, NcLibWarpGrid* single_grid);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_EIS_UTILITY_H */
