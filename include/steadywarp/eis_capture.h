/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file eis_capture.h
 * @brief The capture: every input and output of the stabilizer, recorded to text files.
 *
 * A capture stands beside the stabilizer. The caller opens it with the configuration that it gives
 * to eis2_initialize() and hands it the records of each frame; nothing in the stabilizer knows of
 * it, and a capture that cannot write says so in the log and in its own status alone.
 *
 * The files are ./data/vendor/camera/PREFIX_TYPE_NAME, relative to the working directory, which
 * must exist; TYPE is "eis2", "eis3" or "distortion_correction". docs/capture.md tells their names
 * and columns, and which of them a replay gives back to the last bit.
 *
 * Calling order: eis_utils_log_init(), eis_utils_log_open(), per frame eis_utils_log_write() after
 * the frame was processed, eis_utils_log_close(), eis_utils_log_destroy(). A closed capture can be
 * opened again under another prefix.
 *
 * Rows are collected in memory and reach the files when a file's buffer is nearly full, on a flush
 * and on closing, so most calls of eis_utils_log_write() touch no file. None of them allocates.
 *
 * Threads: calls on one capture must not overlap; the caller serializes them. Two captures share
 * nothing but the files of equal names.
 */
#ifndef STEADYWARP_EIS_CAPTURE_H
#define STEADYWARP_EIS_CAPTURE_H

#include "steadywarp/eis.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A capture file could not be named, created or written. */
#define EIS_ERROR_CAPTURE_FILE 0x08000000u

/** What to record: one bit for each group of files. */
enum {
    IS_UTILS_FLAG_NONE = 0,
    IS_UTILS_FLAG_INIT = 1 << 0,               /**< init_data.ini */
    IS_UTILS_FLAG_FRAME = 1 << 1,              /**< frame.csv, input_stabilize.csv */
    IS_UTILS_FLAG_GYRO = 1 << 2,               /**< gyro.csv; each stream below its own file too */
    IS_UTILS_FLAG_MAG = 1 << 3,                /**< magnetometer */
    IS_UTILS_FLAG_ACC = 1 << 4,                /**< accelerometer */
    IS_UTILS_FLAG_OIS = 1 << 5,                /**< lens shift */
    IS_UTILS_FLAG_IFOVC = 1 << 6,              /**< lens position */
    IS_UTILS_FLAG_LINEAR_ACC = 1 << 7,         /**< acceleration without gravity */
    IS_UTILS_FLAG_ABS_ORIENTATION = 1 << 8,    /**< orientation against north */
    IS_UTILS_FLAG_REL_ORIENTATION = 1 << 9,    /**< orientation against the start */
    IS_UTILS_FLAG_SAT = 1 << 10,               /**< sat_grid.csv, sat_matrices.csv */
    IS_UTILS_FLAG_PRE_EIS_TRANSFORM = 1 << 11, /**< pre_eis_transform_margins_reduction_*.csv */
    IS_UTILS_FLAG_MOTION_VECTORS = 1 << 12,
    IS_UTILS_FLAG_OUTPUT_METADATA = 1 << 13, /**< output_metadata.csv and its _stabilize twin */
    IS_UTILS_FLAG_DISTORTION_CORRECTION_GRID = 1 << 14,
    IS_UTILS_FLAG_STABILIZATION = 1
                                  << 15, /**< stabilization_grid.csv, stabilization_matrices.csv */
    IS_UTILS_FLAG_ALIGNMENT = 1 << 16,   /**< alignment_matrix_domain_*.csv */
    IS_UTILS_FLAG_TIME_INTERVALS = 1 << 17, /**< required_time_intervals.csv */
    IS_UTILS_FLAG_ALL = (1 << 18) - 1
};

/** A capture; only its address is known to a caller. */
typedef struct eis_utils_log eis_utils_log;

/** What eis_utils_log_init() is told; read during the call only. */
typedef struct eis_utils_log_config {
    const is_init_common_data* common;
    const is_init_sensor_data* sensors; /**< array of `num_sensors` records */
    uint32_t num_sensors;               /**< 1 to 16 */
    uint32_t flags;                     /**< IS_UTILS_FLAG_*; bits beyond IS_UTILS_FLAG_ALL count
                                             for nothing */
    const char* prefix; /**< start of all file names unless eis_utils_log_open() is given another;
                             NULL: empty. At most 511 bytes are kept. */
} eis_utils_log_config;

/**
 * The records of one frame, NULL where there is none.
 *
 * With eis2_process(): `is_input`, `is_output` and `is_time_intervals`. With the two passes: the
 * records of each. An output is recorded only if its `output_valid` is set.
 */
typedef struct eis_utils_log_data {
    const struct is_input* is_input;
    const struct is_input_distortion_correction* is_input_distortion_correction;
    const struct is_input_stabilize* is_input_stabilize;
    const struct is_output* is_output;
    const struct is_output_distortion_correction* is_output_distortion_correction;
    const struct is_output_stabilize* is_output_stabilize;
    const struct is_time_intervals* is_time_intervals; /**< what eis2_get_time_intervals() told */
} eis_utils_log_data;

#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
STEADYWARP_STATIC_ASSERT(sizeof(eis_utils_log_config) == 32,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(eis_utils_log_data) == 56, "size is part of the binary interface");
#endif

/**
 * Create a capture: copy the configuration with the sensors' distortion grids. No file is touched.
 *
 * @param handle set to NULL first, then to the capture; what it held is never read.
 * @return EIS_SUCCESS; EIS_ERROR_INVALID_INPUT on a NULL handle or config, a config without its two
 *         pointers or sensors, with more than 16 sensors, or with the flags at IS_UTILS_FLAG_NONE;
 *         EIS_ERROR_NO_MEMORY.
 */
STEADYWARP_API uint32_t eis_utils_log_init(eis_utils_log** handle,
                                           const eis_utils_log_config* config);

/**
 * Create the files under a prefix, write their headers, and write init_data.ini whole.
 *
 * Files that are open are flushed and closed first. Files of the same names are overwritten.
 *
 * @param prefix NULL: the configuration's. It may hold folders below the capture's folder.
 * @return EIS_SUCCESS; EIS_ERROR_CAPTURE_FILE if a file could not be created or written;
 *         EIS_ERROR_NO_MEMORY. After a failure no file is open.
 */
STEADYWARP_API uint32_t eis_utils_log_open(eis_utils_log* handle, const char* prefix);

/** Tell whether files are open. */
STEADYWARP_API uint32_t eis_utils_log_is_opened(const eis_utils_log* handle, bool* is_opened);

/**
 * Record a frame.
 *
 * What a row cannot hold is left out of it: arrays whose pointer is NULL, and those of warps whose
 * numbers of rows and columns are beyond what warp records allow.
 *
 * @return EIS_SUCCESS; EIS_ERROR_INVALID_INPUT on NULL or when no record tells the frame's number;
 *         EIS_ERROR_GENERAL when no files are open; EIS_ERROR_CAPTURE_FILE when rows were lost or a
 *         file could not be written, after a line with the number of failures.
 */
STEADYWARP_API uint32_t eis_utils_log_write(eis_utils_log* handle, const eis_utils_log_data* data);

/** Write out what is still in memory. @return as eis_utils_log_write(). */
STEADYWARP_API uint32_t eis_utils_log_flush(eis_utils_log* handle);

/**
 * Write out what is still in memory and close all files. Closing twice is logged.
 *
 * @return EIS_SUCCESS, also when nothing was open; EIS_ERROR_CAPTURE_FILE if something was lost.
 */
STEADYWARP_API uint32_t eis_utils_log_close(eis_utils_log* handle);

/** Close all files, release the capture and set the caller's pointer to NULL. @return 0, always. */
STEADYWARP_API uint32_t eis_utils_log_destroy(eis_utils_log** handle);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_EIS_CAPTURE_H */
