/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file eis.h
 * @brief The electronic image stabilizer: samples and frame times in, a warp per frame out.
 *
 * Conventions
 * - Times are microseconds on one clock, that of the gyroscope samples. Nothing reads a wall clock.
 * - Camera frame: x to the right of the picture, y down, z forward out of the lens.
 * - Angles are radians, rates radians per second, both right-handed about their axis.
 * - Warps map output coordinates to input coordinates (OUT_2_IN), in pixels relative to the
 *   centre of the picture, ((width - 1) / 2, (height - 1) / 2) counted in pixel centres.
 * - Records have natural alignment; warp records inside them are packed to 4 bytes (nclib.h).
 * - Everything passed in is borrowed for the call. Grid and matrix memory of the output records
 *   belongs to the caller and must exist before the call.
 *
 * Threads: calls on one instance must not overlap; the caller serializes them. Different instances
 * may run in different threads. They share the gyroscope's estimated bias, which is zero until
 * somebody estimates one (the instance created last says how its axes are turned), and the chip of
 * the warp library (nclib_chip.hpp), which a start with distortion grids and a frame with an
 * upstream transform choose anew: these must not overlap with one another in two instances.
 *
 * Device axes
 * The gyroscope's rates reach the camera frame through a table chosen by `camera_position` and
 * `sensor_mount_angle`:
 *
 * | camera_position | sensor_mount_angle | camera x | camera y | camera z |
 * |-----------------|--------------------|----------|----------|----------|
 * | 0 (rear)        |   0                |   -x     |    y     |   -z     |
 * | 0               |  90                |   -y     |   -x     |   -z     |
 * | 0               | 180                |    x     |   -y     |   -z     |
 * | 0               | 270                |    y     |    x     |   -z     |
 * | 1 (front)       |   0                |   -x     |   -y     |    z     |
 * | 1               |  90                |   -y     |    x     |    z     |
 * | 1               | 180                |    x     |    y     |    z     |
 * | 1               | 270                |    y     |   -x     |    z     |
 *
 * Take the right-handed device frame of a phone held upright with its screen toward the user:
 * x to the user's right, y up, z out of the screen. Every row is then a proper rotation into the
 * camera frame. A rear camera whose picture is upright has mount angle 180, a front camera whose
 * picture is upright has mount angle 0; the mount angle grows as the camera is turned
 * counterclockwise in the device, seen by that user.
 *
 * Calling order, per frame and in this order:
 * - IS_TYPE_EIS_2_0: eis2_get_time_intervals(), then eis2_process().
 * - IS_TYPE_DISTORTION_CORRECTION_ONLY: eis2_get_time_intervals(), then
 *   eis_internal_process_distortion_correction().
 * - The two passes of eis2_process() can also be called one after the other, as
 *   eis_internal_process_distortion_correction() and eis_internal_process_stabilize().
 *
 * Sample intervals are inclusive at both ends. The interval of a running stream starts at the last
 * sample the instance took: hand that sample over once more. It is recognized and dropped, and it
 * shows that none is missing between the batches; without it a batch that follows a loss of more
 * than four sample periods is refused.
 *
 * A stream ends by frames whose `gyro.num_elements` is 0. Samples that come back afterwards open a
 * new stream; a start of frame more than 500000 microseconds after the last one resumes from a
 * pause. Both reset the motion state and keep the configuration.
 *
 * Every message goes to standard error: severity, tag, module label, function(line), text.
 */
#ifndef STEADYWARP_EIS_H
#define STEADYWARP_EIS_H

#include <stdbool.h>
#include <stdint.h>

#include "steadywarp/eis_tuning.h"
#include "steadywarp/nclib.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Status codes, the result of every function unless it says otherwise. */
#define EIS_SUCCESS 0x00000000u
#define EIS_ERROR_GENERAL 0x08000002u       /**< wrong call sequence or internal failure */
#define EIS_ERROR_INVALID_INPUT 0x08000003u /**< NULL, invalid context, validation failed */
#define EIS_ERROR_NO_MEMORY 0x08000004u     /**< allocation failed */

/** Most sensors of one instance. */
#define EIS_MAX_NUM_SENSORS 16u

/** Columns and rows of the grid that every frame comes with. */
#define EIS_GRID_COLUMNS 35u
#define EIS_GRID_ROWS 27u
#define EIS_GRID_POINTS (EIS_GRID_COLUMNS * EIS_GRID_ROWS)

/** Algorithm type. */
enum {
    IS_TYPE_EIS_2_0 = 4, /**< stabilizer that looks at no future frame */
    IS_TYPE_EIS_NFL = IS_TYPE_EIS_2_0,
    IS_TYPE_EIS_3_0 = 5, /**< stabilizer with look-ahead; this library has none and refuses it */
    IS_TYPE_EIS_FL = IS_TYPE_EIS_3_0,
    IS_TYPE_DISTORTION_CORRECTION_ONLY = 6 /**< no stabilizer */
};

/**
 * Operation mode.
 *
 * The two robust modes run on bad input: validators log and stop nothing, no sample is read, and
 * the output depends on no motion.
 */
enum {
    IS_OPT_REGULAR = 0,
    IS_OPT_CALIBRATION_SYMMETRIC = 1,  /**< deprecated; no grid, a scale that undoes the crop */
    IS_OPT_CALIBRATION_ASYMMETRIC = 2, /**< the same, each axis by its own crop */
    IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST = 3,
    IS_OPT_UNDISTORTION_ONLY = 10, /**< the grid alone */
    IS_OPT_TEST_DISTORTION_CORRECTION_ONLY = IS_OPT_UNDISTORTION_ONLY,
    IS_OPT_IDENTITY_ONLY_ROBUST = 11,       /**< identity transforms and no grid */
    IS_OPT_IFOVC_LDC_ONLY = 12,             /**< no undistorted alignment, motion index, ois_mode */
    IS_OPT_TEST_SAT_PASS_THROUGH = 101,     /**< no grid; the transform is the frame's `sat` */
    IS_OPT_TEST_MARGINS_LIMITS = 102,       /**< no grid; the crop walks around the margins */
    IS_OPT_TEST_REGULAR_MERGE_DIS_EIS = 104 /**< refused at initialization */
};

/** What applies the warp. */
enum {
    DEP_TYPE_ICA_V20 = 0,
    DEP_TYPE_ICA_V30 = 1,
    DEP_TYPE_ICA_V40 = DEP_TYPE_ICA_V30,
    DEP_TYPE_GPU_PRE = 10,
    DEP_TYPE_GPU_POST = 11
};

/** Values of `is_scene_detection.scene_type`. */
enum {
    IS_SCENE_STILL = 0,          /**< the device does not move; gyro rates count as zero */
    IS_SCENE_HANDHELD = 1,       /**< held steadily */
    IS_SCENE_SHAKE = 2,          /**< moving on more than two axes without a dominant one */
    IS_SCENE_PANNING = 4,        /**< turning about the axes in `is_panning` */
    IS_SCENE_STRONG_PANNING = 5, /**< turning fast about the axes in `is_panning` */
    IS_SCENE_MOTION = 6,         /**< ordinary motion */
    IS_SCENE_UNKNOWN = 7         /**< at the start and after heavy loss of samples */
};

/** The instance; only its address is known to a caller. */
typedef struct eis_context eis_context;

/** One sample of any stream. */
typedef struct _sample_data_s {
    /**
     * Gyro: [0..2] rate about the device's x, y, z, rad/s. OIS: [0..1] raw lens shift x, y.
     * iFOVC: [0] lens position, [1] scale: above 0 and at most 1; content that focus magnified
     * by 1/s is undone by s. Unused words are carried along; set them to 0.
     */
    double data[6];
    uint64_t ts; /**< microseconds; 0 is refused */
} _sample_data_s;

/** A batch of samples in increasing time order. */
typedef struct is_sample_array {
    const _sample_data_s* samples;
    uint32_t num_elements; /**< 0: none this frame, `samples` is not read */
} is_sample_array;

/** A crop of a full picture, pixels, origin at the left and top edge. */
typedef struct is_crop_window {
    float fullWidth;
    float fullHeight;
    float windowWidth;
    float windowHeight;
    float windowLeft;
    float windowTop;
} is_crop_window;

/** The crops along a frame's way. */
typedef struct is_window_regions {
    is_crop_window image_sensor_crop; /**< done inside the image sensor */
    is_crop_window eis_pre_crop_vIN;  /**< ahead of the stabilizer, seen on its input */
    is_crop_window eis_pre_crop_vOUT; /**< the same, seen on its output */
    is_crop_window output_crop_fov;   /**< field of view of the output */
} is_window_regions;

/** When a frame was taken. */
typedef struct is_frame_times {
    uint64_t sof;                         /**< start of frame, microseconds */
    uint32_t frame_time;                  /**< frame period, microseconds */
    uint32_t exposure_time;               /**< microseconds */
    uint32_t sensor_rolling_shutter_skew; /**< read-out time of a full frame; 0: global shutter */
} is_frame_times;

/** Configuration of an instance, read during eis2_initialize() only. */
typedef struct is_init_common_data {
    uint32_t is_type;                     /**< IS_TYPE_* */
    uint32_t operation_mode;              /**< IS_OPT_* */
    uint32_t deployment_type;             /**< DEP_TYPE_* */
    uint32_t output_width;                /**< pixels */
    uint32_t output_height;               /**< pixels */
    uint16_t frame_fps;                   /**< nominal: 24, 30 or 60 */
    bool do_virtual_upscale_in_transform; /**< the transform scales from crop to output size */
    bool force_split_grid_matrix;         /**< return the transform split in grid and matrix */
    bool unify_undistortion_grid;         /**< one undistortion grid for all sensors */
    bool is_sat_enabled;
    bool is_mag_enabled;
    bool is_acc_enabled;
    bool is_ois_enabled;
    bool is_ifovc_enabled;
    bool is_dis_enabled;
    bool is_linear_acc_enabled;
    bool is_abs_orientation_enabled;
    bool is_rel_orientation_enabled;
    uint16_t buffer_delay; /**< frames from input to output; 1 for IS_TYPE_EIS_2_0 */
} is_init_common_data;

/** Configuration of one sensor, read during eis2_initialize() only. */
typedef struct is_init_sensor_data {
    /**
     * Distorted to undistorted, 35 columns by 27 rows or 67 by 51 with a ring of nodes outside the
     * picture, values from its centre in units of `transformDefinedOn`. NULL: none. Read if the
     * tuning's `ldc_grid_source` is not 0.
     */
    const NcLibWarpGrid* ldc_in2out;
    const NcLibWarpGrid* ldc_out2in; /**< the inverse; NULL: none */
    /** The picture they are defined on. 0: full sensor, 1: ife input; 2, ife output at zoom 1, is
     * for tuned grids alone. */
    uint32_t ldc_calib_domain;
    is_crop_window image_sensor_crop; /**< for grids of the full sensor; without a size: none */
    uint32_t ife_input_frame_width;   /**< pixels, like all sizes below */
    uint32_t ife_input_frame_height;
    uint32_t ife_input_frame_undistorted_width;
    uint32_t ife_input_frame_undistorted_height;
    uint32_t input_width; /**< frame size at the stabilizer's input */
    uint32_t input_height;
    uint32_t sensor_mount_angle; /**< degrees: 0, 90, 180 or 270 */
    uint32_t camera_position;    /**< 0 rear, 1 front; the same for all sensors */
    float optical_center_x;      /**< pixels to the right of the picture's centre */
    float optical_center_y;      /**< pixels below the picture's centre */
    float sensor_width_millimeter;
    float sensor_height_millimeter;
    is_tessaline_info_s tuning;
} is_init_sensor_data;

/** Input of eis2_process(). */
typedef struct is_input {
    uint32_t frame_id;          /**< strictly increasing */
    uint32_t active_sensor_idx; /**< index into the sensors given at initialization */
    is_frame_times frame_time_input;
    is_sample_array gyro;
    is_sample_array mag;
    is_sample_array acc;
    is_sample_array ois;
    is_sample_array ifovc;
    is_sample_array reserved; /**< not read; set to zero */
    is_sample_array linear_acc;
    is_sample_array abs_orientation;
    is_sample_array rel_orientation;
    is_window_regions window_regions;
    float focus_distance;            /**< metres; 0: not known */
    float effective_focal_length_mm; /**< not negative */
    /**
     * Spatial alignment of this frame, or NULL: one matrix, about the centre of the size that it is
     * defined on. It must have an inverse, and `T[8]` at least 1e-5 in magnitude: see
     * eis_internal_process_stabilize() for what a refused one costs.
     */
    const NcLibWarp* sat;
    /**
     * Transform applied upstream that eats into the margins, or NULL: OUT_2_IN, in the virtual
     * domain, one matrix, a grid of 27 by 35 or 51 by 67 nodes with a ring (25 by 33 with four
     * corners), or both. A wrong one is reported and left out.
     */
    const NcLibWarp* pre_eis_transform_margins_reduction;
} is_input;

/** Input of eis_internal_process_distortion_correction(); fields as in is_input. */
typedef struct is_input_distortion_correction {
    uint32_t frame_id;
    uint32_t active_sensor_idx;
    is_frame_times frame_time_input;
    is_sample_array gyro;
    is_sample_array mag;
    is_sample_array acc;
    is_sample_array ois;
    is_sample_array ifovc;
    is_sample_array linear_acc;
    is_sample_array abs_orientation;
    is_sample_array rel_orientation;
    is_window_regions window_regions;
    float focus_distance;
    float effective_focal_length_mm;
    const NcLibWarp* pre_eis_transform_margins_reduction;
} is_input_distortion_correction;

/** Motion vectors of one frame. */
typedef struct is_motion_vectors_input {
    uint32_t motion_vectors_input_image_width;
    uint32_t motion_vectors_input_image_height;
    NcLibWarpMatrices alignment_matrix;
    uint32_t motion_vectors_buff_size_byte;
    /**
     * Words: the magic 0x100CE555, the matrix model type (0 to 2), the count of vectors (at most
     * 768), then four words a vector; the fourth packs a 13-bit score in bits 0 to 12 and a 4-bit
     * robustness in bits 13 to 16, both two's complement.
     */
    const uint32_t* motion_vectors;
} is_motion_vectors_input;

/** Input of eis_internal_process_stabilize(). */
typedef struct is_input_stabilize {
    uint32_t frame_id;
    uint32_t active_sensor_idx;
    is_frame_times frame_time_input;
    const NcLibWarp* sat;
    const is_motion_vectors_input* dis_motion_vectors;
} is_input_stabilize;

/** What the user is doing with the device. */
typedef struct is_scene_detection {
    uint32_t scene_type; /**< IS_SCENE_* */
    /** About the device's z, y and x axis, in this order; only for the two panning scenes. */
    bool is_panning[3];
} is_scene_detection;

/** Output of eis_internal_process_distortion_correction(). */
typedef struct is_output_distortion_correction {
    uint32_t frame_id;
    uint32_t active_sensor_idx;
    /** 27 rows by 35 columns; `grid` has room for 945 points. */
    NcLibWarpGrid distortion_correction_grid;
    /** Rotation since the frame before, as one homography; `perspMatrices` has room for one. */
    NcLibWarpMatrices alignment_matrix_domain_undistorted;
    uint64_t mof_gyro_time; /**< time of the frame's middle row, microseconds */
    _sample_data_s frame_orientation_domain_undistorted; /**< zero in this pass */
    float Mind_margins_blender_geolib;                   /**< zero in this pass */
    float cvp_motion_index_raw; /**< largest displacement of a corner since the frame before, px */
    uint32_t ois_mode;          /**< 0: no command, 1: centre the lens, 2: normal */
    is_scene_detection scene_detection;
    bool output_valid; /**< the call produced a frame */
} is_output_distortion_correction;

/** Output of eis_internal_process_stabilize(). It refers to the frame that comes out. */
typedef struct is_output_stabilize {
    uint32_t frame_id;
    uint32_t active_sensor_idx;
    NcLibWarpGrid distortion_correction_grid; /**< room for 945 points */
    /** Room for one matrix in `matrices` and for 945 points in `grid`. */
    NcLibWarp stabilization_transform;
    NcLibWarpMatrices alignment_matrix_domain_undistorted; /**< room for one matrix */
    NcLibWarpMatrices alignment_matrix_domain_stabilized;  /**< room for one matrix */
    _sample_data_s frame_orientation_domain_undistorted;
    _sample_data_s frame_orientation_domain_stabilized;
    is_scene_detection scene_detection;
    bool output_valid; /**< a frame came out of this call */
} is_output_stabilize;

/** Output of eis2_process(). */
typedef struct is_output {
    uint32_t frame_id;
    uint32_t active_sensor_idx;
    NcLibWarpGrid distortion_correction_grid;              /**< room for 945 points */
    NcLibWarp stabilization_transform;                     /**< room as in is_output_stabilize */
    NcLibWarpMatrices alignment_matrix_domain_undistorted; /**< room for one matrix */
    NcLibWarpMatrices alignment_matrix_domain_stabilized;  /**< room for one matrix */
    float Mind_margins_blender_geolib;
    float cvp_motion_index_raw;
    uint32_t ois_mode;
    is_scene_detection scene_detection;
    bool output_valid; /**< a frame came out; when false nothing else was written */
} is_output;

/** A span of sample times, inclusive at both ends, microseconds. */
typedef struct is_time_interval {
    uint64_t first_ts;
    uint64_t last_ts;
} is_time_interval;

/** The samples that a frame needs; both ends 0 for a stream that is not used. */
typedef struct is_time_intervals {
    is_time_interval gyro;
    is_time_interval ois;
    is_time_interval ifovc;
} is_time_intervals;

/** Question about margins before an instance exists. */
typedef struct is_margin_query {
    uint32_t output_height; /**< pixels */
    uint32_t output_width;
    bool do_virtual_upscale_in_transform; /**< carried, not read */
    uint32_t input_height;
    uint32_t input_width;
    float total_margin_x; /**< fraction of the frame */
    float total_margin_y;
} is_margin_query;

/** Pixels of the input frame, both sides together, that the output leaves free. */
typedef struct is_margins {
    uint32_t margin_x;
    uint32_t margin_y;
} is_margins;

STEADYWARP_STATIC_ASSERT(sizeof(_sample_data_s) == 56, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_crop_window) == 24, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_window_regions) == 96, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_frame_times) == 24, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_init_common_data) == 36, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_scene_detection) == 8, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_time_intervals) == 48, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_margin_query) == 28, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_margins) == 8, "size is part of the binary interface");
#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
STEADYWARP_STATIC_ASSERT(sizeof(is_sample_array) == 16, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_init_sensor_data) == 56184,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_input) == 296, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_input_distortion_correction) == 272,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_motion_vectors_input) == 56,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_input_stabilize) == 48, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_output_distortion_correction) == 176,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_output_stabilize) == 328,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(is_output) == 224, "size is part of the binary interface");
#endif

/* ---- Set-up and tear-down ------------------------------------------------------------------- */

/**
 * Create an instance.
 *
 * Checks the whole configuration first and logs every fault it finds. All memory an instance will
 * ever need is allocated here.
 *
 * @param context set to NULL first, then to the instance; what it held is never read.
 * @param common configuration of the instance.
 * @param sensors array of `num_sensors` records.
 * @param num_sensors 1 to 16.
 * @return EIS_SUCCESS; EIS_ERROR_INVALID_INPUT if the configuration is refused;
 *         EIS_ERROR_NO_MEMORY if the instance could not be built, whatever the reason.
 */
STEADYWARP_API uint32_t eis2_initialize(eis_context** context, const is_init_common_data* common,
                                        const is_init_sensor_data* sensors, uint32_t num_sensors);

/** Release an instance and set the caller's pointer to NULL. NULL is logged. @return 0, always. */
STEADYWARP_API uint32_t eis2_deinitialize(eis_context** context);

/** Tell the version of the library: 1, 3, 2. */
STEADYWARP_API uint32_t eis_get_lib_version(uint32_t* major, uint32_t* minor, uint32_t* patch);

/* ---- Margins -------------------------------------------------------------------------------- */

/** Tell how many pixels an output of this size leaves free. Needs no instance. */
STEADYWARP_API uint32_t eis2_get_stabilization_margin_ex(const is_margin_query* query,
                                                         is_margins* margins);

/** Tell the part of the input frame that the output covers, per axis. Needs no instance. */
STEADYWARP_API uint32_t eis2_get_stabilization_crop_ratio_ex(const is_margin_query* query,
                                                             double* ratio_x, double* ratio_y);

/** As eis2_get_stabilization_margin_ex(), with the sizes and the margin of a running sensor. */
STEADYWARP_API uint32_t eis2_get_stabilization_margin(eis_context* context, uint32_t sensor_idx,
                                                      is_margins* margins);

/**
 * Compute the size of the output's window in the input frame.
 *
 * The output is shrunk, at its own aspect, until it leaves the margins free on both axes; then
 * both sizes are rounded to the nearest even number.
 *
 * @param crop_height,crop_width receive pixels; nothing is written if either is NULL.
 * @param margin_y,margin_x fractions of the frame, both sides together.
 */
STEADYWARP_API void eis_internal_get_crop_size(uint32_t input_height, uint32_t input_width,
                                               uint32_t output_height, uint32_t output_width,
                                               uint32_t* crop_height, uint32_t* crop_width,
                                               float margin_y, float margin_x);

/* ---- Per frame ------------------------------------------------------------------------------ */

/**
 * Tell which samples the coming frame needs.
 *
 * The instance remembers the interval and holds the frame's samples against it, so ask before each
 * frame. Intervals are inclusive at both ends; see the top of this file.
 */
STEADYWARP_API uint32_t eis2_get_time_intervals(eis_context* context,
                                                const is_frame_times* frame_times,
                                                uint32_t sensor_idx, is_time_intervals* intervals);

/**
 * Run both passes of one frame.
 *
 * @param output `output_valid` tells whether a frame came out; its memory must exist (is_output).
 * @return EIS_SUCCESS also when no frame came out; EIS_ERROR_INVALID_INPUT on bad input, before
 *         any sample is taken; EIS_ERROR_GENERAL on IS_TYPE_DISTORTION_CORRECTION_ONLY.
 */
STEADYWARP_API uint32_t eis2_process(eis_context* context, const is_input* input,
                                     is_output* output);

/** Run the first pass of a frame: take the samples, build the distortion grid. */
STEADYWARP_API uint32_t eis_internal_process_distortion_correction(
    eis_context* context, const is_input_distortion_correction* input,
    is_output_distortion_correction* output);

/**
 * Run the second pass of a frame, right after its first.
 *
 * If this pass alone fails, the two passes stand at different frames, and the stream stays refused
 * until it restarts. So never pass an output without its arrays (the grid of the transform counts,
 * even though nothing is written there), a `sat` whose enabled matrices have no array, are more
 * than one or end in a last element of 0, or a `sat` that is a grid alone.
 */
STEADYWARP_API uint32_t eis_internal_process_stabilize(eis_context* context,
                                                       const is_input_stabilize* input,
                                                       is_output_stabilize* output);

/**
 * Tell the time of row `i` of `n` over a frame.
 *
 * Rows 1 and n - 2 are `first_ts` and `last_ts`; rows 0 and n - 1 lie one step outside. Steps cut
 * toward zero. @param n at least 4; below, row 0 and 1 are `first_ts` and all others `last_ts`.
 */
STEADYWARP_API uint64_t timestamp_interpolation(uint64_t first_ts, uint64_t last_ts, uint32_t n,
                                                uint32_t i);

/** Tell the times of all `n` rows; `out` has room for `n`. */
STEADYWARP_API void timestamp_interpolation_arr(uint64_t first_ts, uint64_t last_ts, uint32_t n,
                                                uint64_t* out);

/* ---- Deprecated ----------------------------------------------------------------------------- */

/** Deprecated: the gyro part of eis2_get_time_intervals(), behind a line in the log. */
STEADYWARP_API uint32_t eis2_get_gyro_time_interval(eis_context* context,
                                                    const is_frame_times* frame_times,
                                                    uint32_t sensor_idx, is_time_interval* gyro);

/** Deprecated: the gyro and lens-shift parts of eis2_get_time_intervals(), behind a line. */
STEADYWARP_API uint32_t eis2_get_gyro_ois_time_interval(eis_context* context,
                                                        const is_frame_times* frame_times,
                                                        uint32_t sensor_idx, is_time_interval* gyro,
                                                        is_time_interval* ois);

/* ---- The functions behind the names above; same arguments, same results ---------------------- */

/** What eis2_initialize() does. */
STEADYWARP_API uint32_t eis_internal_init(eis_context** context, const is_init_common_data* common,
                                          const is_init_sensor_data* sensors, uint32_t num_sensors);
/** What eis2_deinitialize() does. */
STEADYWARP_API uint32_t eis_internal_destroy(eis_context** context);
/** What eis2_get_stabilization_margin_ex() does. */
STEADYWARP_API uint32_t eis_internal_get_stabilization_margin_ex(const is_margin_query* query,
                                                                 is_margins* margins);
/** What eis2_get_stabilization_crop_ratio_ex() does. */
STEADYWARP_API uint32_t eis_internal_get_stabilization_crop_ratio_ex(const is_margin_query* query,
                                                                     double* ratio_x,
                                                                     double* ratio_y);
/** What eis2_get_stabilization_margin() does. */
STEADYWARP_API uint32_t eis_internal_get_stabilization_margin(eis_context* context,
                                                              uint32_t sensor_idx,
                                                              is_margins* margins);
/** What eis2_get_time_intervals() does. */
STEADYWARP_API uint32_t eis_internal_get_time_intervals(eis_context* context,
                                                        const is_frame_times* frame_times,
                                                        uint32_t sensor_idx,
                                                        is_time_intervals* intervals);
/** What eis2_get_gyro_time_interval() does. */
STEADYWARP_API uint32_t
eis_internal_get_gyro_samples_time_interval(eis_context* context, const is_frame_times* frame_times,
                                            uint32_t sensor_idx, is_time_interval* gyro);
/** What eis2_get_gyro_ois_time_interval() does. */
STEADYWARP_API uint32_t eis_internal_get_gyro_ois_samples_time_interval(
    eis_context* context, const is_frame_times* frame_times, uint32_t sensor_idx,
    is_time_interval* gyro, is_time_interval* ois);
/** What eis2_process() does. */
STEADYWARP_API uint32_t eis_internal_process(eis_context* context, const is_input* input,
                                             is_output* output);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_EIS_H */
