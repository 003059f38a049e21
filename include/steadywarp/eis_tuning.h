/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file eis_tuning.h
 * @brief The tuning record: everything that is tuned for one sensor, as one flat record.
 *
 * Conventions
 * - Every value is 32 bits wide; the record is 56088 bytes, the layout in which it also travels
 *   in a tuning file, so no field may move.
 * - Times are microseconds unless a name says otherwise, angles radians, frequencies Hz,
 *   lengths in the picture pixels.
 * - A record of zeros is the neutral tuning: optional features off, built-in defaults in force.
 * - Some settings have no slot of their own and live in reserved tables. The accessors at the
 *   end of this file are the only place that knows where.
 */
#ifndef STEADYWARP_EIS_TUNING_H
#define STEADYWARP_EIS_TUNING_H

#include <stdbool.h>
#include <stdint.h>

#include "steadywarp/nclib.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Points of a distortion grid at geometry 0 (27 rows by 35 columns). */
#define EIS_TUNING_GRID_POINTS_LOW_RES 945u
/** Points of a distortion grid at any other geometry (51 rows by 67 columns). */
#define EIS_TUNING_GRID_POINTS_HI_RES 3417u

/** Reserved table of the group `top`. */
typedef struct is_tessaline_res_lut_param_0_tab {
    float res_lut_param_0[32];
} is_tessaline_res_lut_param_0_tab;

/** Stream rates, and the margins and look-ahead a caller chooses from by resolution and rate. */
typedef struct is_tessaline_top {
    float requested_total_margins_x_fhd_30; /**< fraction of the frame */
    float requested_total_margins_y_fhd_30;
    float requested_total_margins_x_fhd_60;
    float requested_total_margins_y_fhd_60;
    float requested_total_margins_x_fhd_120;
    float requested_total_margins_y_fhd_120;
    float requested_total_margins_x_4k_30;
    float requested_total_margins_y_4k_30;
    float requested_total_margins_x_4k_60;
    float requested_total_margins_y_4k_60;
    float requested_total_margins_x_4k_120;
    float requested_total_margins_y_4k_120;
    float requested_total_margins_x_8k_30;
    float requested_total_margins_y_8k_30;
    float requested_total_margins_x_8k_60;
    float requested_total_margins_y_8k_60;
    float requested_total_margins_x_8k_120;
    float requested_total_margins_y_8k_120;
    uint32_t future_buffer_size_fhd_30; /**< frames */
    uint32_t future_buffer_size_fhd_60;
    uint32_t future_buffer_size_fhd_120;
    uint32_t future_buffer_size_4k_30;
    uint32_t future_buffer_size_4k_60;
    uint32_t future_buffer_size_4k_120;
    uint32_t future_buffer_size_8k_30;
    uint32_t future_buffer_size_8k_60;
    uint32_t future_buffer_size_8k_120;
    uint32_t gyro_frequency; /**< Hz, like the four below; 0: the stream does not exist */
    uint32_t ois_frequency;
    uint32_t acc_frequency;
    uint32_t mag_frequency;
    uint32_t ifovc_frequency;
    uint32_t ois_delay_to_display_ms;
    int32_t lens_pos_orientation_axis_x; /**< 1, -1, 2 or -2: which lens axis feeds this one */
    int32_t lens_pos_orientation_axis_y;
    int32_t lens_pos_orientation_axis_z;
    is_tessaline_res_lut_param_0_tab res_lut_param_0_tab;
} is_tessaline_top;

/** The picture geometry and the noise of the sensors. */
typedef struct is_tessaline_general {
    float minimal_total_margin; /**< fraction of the frame left to stabilization, both axes */
    uint32_t focal_length;      /**< pixels at a frame width of 1920 */
    float gyro_noise_floor;     /**< rad/s; below it the device counts as still */
    float ois_noise_floor;
    float acc_noise_floor;
    float mag_noise_floor;
    uint32_t output_grid_precision;
    float res_param_1;
    float res_param_2;
    float res_param_3;
    float res_param_4;
    float res_param_5;
    float res_param_6;
    float res_param_7;
    float res_param_8;
    float res_param_9;
    float res_param_10;
    float res_lut_param_1_tab[32];
    float res_lut_param_2_tab[32];
    uint32_t res_lut_param_3_tab[16];
} is_tessaline_general;

/** Delays between the sample clocks and the start of frame, microseconds. */
typedef struct is_tessaline_timing {
    int32_t s3d_offset; /**< added to the frame's row times before gyro samples are read */
    int32_t ois_offset; /**< subtracted from lens-shift sample times */
    int32_t acc_offset;
    int32_t mag_offset;
    int32_t ifovc_offset; /**< subtracted from lens-position sample times */
} is_tessaline_timing;

/** Less stabilization where motion blur would show. */
typedef struct is_tessaline_blur_masking {
    uint32_t enable;
    float min_strength;           /**< least strength left to stabilization, 0 to 1 */
    float exposure_time_th;       /**< seconds; shorter exposures are never masked */
    float start_decrease_at_blur; /**< pixels at a frame width of 1920 */
    float end_decrease_at_blur;   /**< pixels at a frame width of 1920 */
    float pan_min_threshold;
    float pan_max_threshold;
    float blur_masking_res1;
    float blur_masking_res2;
} is_tessaline_blur_masking;

/**
 * Lens distortion, as a grid in both directions and as a model.
 *
 * Grid values are units of a picture of 8192 by 6144, from its centre; 35 columns by 27 rows with
 * a ring of nodes outside the picture. The image sizes tell its aspect, which must be that of the
 * stabilizer's input. A model (`ldc_model_type` other than 0) is refused.
 */
typedef struct is_tessaline_lens_distortion_correction {
    uint32_t ldc_grid_source; /**< 0: the grids below; 1: those of is_init_sensor_data */
    uint32_t ldc_grid_enable;
    uint32_t ldc_calib_domain; /**< 0: full sensor, 1: ife input, 2: stabilizer input */
    float distorted_input_to_undistorted_ldc_grid_x_tab[3417];
    float distorted_input_to_undistorted_ldc_grid_y_tab[3417];
    uint32_t distorted_input_to_undistorted_ldc_grid_geometry; /**< 0: 945 points, else 3417 */
    float undistorted_to_distorted_input_ldc_grid_x_tab[3417];
    float undistorted_to_distorted_input_ldc_grid_y_tab[3417];
    uint32_t undistorted_to_distorted_input_ldc_grid_geometry;
    uint32_t image_size_distorted_x;
    uint32_t image_size_distorted_y;
    uint32_t image_size_undistorted_x;
    uint32_t image_size_undistorted_y;
    uint32_t ldc_model_type;
    float model_parameters_tab[32];
    float focal_length_x;
    float focal_length_y;
    float optical_center_x;
    float optical_center_y;
} is_tessaline_lens_distortion_correction;

/** The lens-shift module. */
typedef struct is_tessaline_ois {
    uint32_t module_type;
    float data_conversion_x_tab[10];
    float data_conversion_y_tab[10];
    uint32_t center_command_enable;
    uint32_t center_exposure_time_th; /**< microseconds */
    uint32_t center_response_time_ms;
    float ois_res_lut_param_1_tab[16];
    float ois_res_lut_param_2_tab[16];
} is_tessaline_ois;

/** Image-based correction. */
typedef struct is_tessaline_dis {
    uint32_t enable;
    int32_t robustness_threshold;
    uint32_t confidence_threshold;
    float dis_res_lut_param_tab[32];
} is_tessaline_dis;

/** Field-of-view compensation by lens position. */
typedef struct is_tessaline_z_lens_pos {
    uint32_t enable;
    uint32_t scale_source;      /**< 0: the sample carries the scale, 1: the tables below do */
    uint32_t z_lens_pos_source; /**< 0: the ifovc stream */
    float lut_z_lens_pos_tab[16];
    float lut_scale_vs_z_lens_pos_tab[16];
    uint32_t lut_len;
    float min_scale_limit;
    float z_lens_pos_noise_floor;
} is_tessaline_z_lens_pos;

/** All tuning of one sensor. */
typedef struct is_tessaline_info_s {
    is_tessaline_top top;
    is_tessaline_general general;
    is_tessaline_timing timing;
    is_tessaline_blur_masking blur_masking;
    is_tessaline_lens_distortion_correction lens_distortion_correction;
    is_tessaline_ois ois;
    is_tessaline_dis dis;
    is_tessaline_z_lens_pos z_lens_pos;
} is_tessaline_info_s;

STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_top) == 272, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_general) == 388, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_timing) == 20, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_blur_masking) == 36, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_lens_distortion_correction) == 54856,
                         "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_ois) == 224, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_dis) == 140, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_z_lens_pos) == 152, "layout of the tuning file");
STEADYWARP_STATIC_ASSERT(sizeof(is_tessaline_info_s) == 56088, "layout of the tuning file");

/*
 * Settings that live in reserved tables.
 *
 * | setting                                   | slot                                          |
 * |-------------------------------------------|-----------------------------------------------|
 * | general_model_parameters[0..31]           | top.res_lut_param_0_tab                       |
 * | general_model_parameters[32..63]          | general.res_lut_param_1_tab                   |
 * | general_model_parameters[64..95]          | general.res_lut_param_2_tab                   |
 * | filter_mode                               | ois.ois_res_lut_param_1_tab[0]                |
 * | raw_offset                                | ois.ois_res_lut_param_1_tab[1]                |
 * | general_model_transform_defined_on_x, _y  | ois.ois_res_lut_param_1_tab[2], [3]           |
 * | face_distortion_prevention_* (seven)      | ois.ois_res_lut_param_2_tab[0..6]             |
 * | motion_detection_* (four)                 | ois.ois_res_lut_param_2_tab[7..10]            |
 * | parameter_mode, exposure_time_threshold,  | dis.dis_res_lut_param_tab[0..2]               |
 * | focus_distance_threshold                  |                                               |
 */

/** Coefficients of the general lens-shift model, in all. */
#define EIS_TUNING_GENERAL_MODEL_PARAMETERS 96u

/** Slots of the settings kept in `ois.ois_res_lut_param_1_tab`. */
enum {
    EIS_TUNING_OIS_FILTER_MODE = 0,
    EIS_TUNING_OIS_RAW_OFFSET = 1,
    EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X = 2,
    EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y = 3
};

/** Slots of the settings kept in `ois.ois_res_lut_param_2_tab`. */
enum {
    EIS_TUNING_FACE_DISTORTION_PREVENTION_PARAMETER_MODE = 0,
    EIS_TUNING_FACE_DISTORTION_PREVENTION_ENABLE = 1,
    EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_LOW = 2,
    EIS_TUNING_FACE_DISTORTION_PREVENTION_ANGLE_DELTA_TH_HIGH = 3,
    EIS_TUNING_FACE_DISTORTION_PREVENTION_FACTOR_HIGH = 4,
    EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_DECREASE = 5,
    EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_INCREASE = 6,
    EIS_TUNING_MOTION_DETECTION_PARAMETER_MODE = 7,
    EIS_TUNING_MOTION_DETECTION_HANDHELD_TH = 8,
    EIS_TUNING_MOTION_DETECTION_PANNING_TH = 9,
    EIS_TUNING_MOTION_DETECTION_STRONG_PANNING_TH = 10
};

/** Slots of the settings kept in `dis.dis_res_lut_param_tab`. */
enum {
    EIS_TUNING_DIS_PARAMETER_MODE = 0,
    EIS_TUNING_DIS_EXPOSURE_TIME_THRESHOLD = 1,
    EIS_TUNING_DIS_FOCUS_DISTANCE_THRESHOLD = 2
};

/**
 * Turn a setting that is kept as a float into the whole number it stands for.
 *
 * @return the value cut toward zero; 0 for anything that is no number from 0 up to 2^32 - 1.
 */
static inline uint32_t eis_tuning_as_u32(float value) {
    return (value >= 0.0f && value < 4294967296.0f) ? (uint32_t)value : 0u;
}

/** Read coefficient `index` (0 to 95) of the general lens-shift model; 0 beyond. */
static inline float eis_tuning_get_general_model_parameter(const is_tessaline_info_s* tuning,
                                                           uint32_t index) {
    if (index < 32u) {
        return tuning->top.res_lut_param_0_tab.res_lut_param_0[index];
    }
    if (index < 64u) {
        return tuning->general.res_lut_param_1_tab[index - 32u];
    }
    return index < 96u ? tuning->general.res_lut_param_2_tab[index - 64u] : 0.0f;
}

/** Write coefficient `index` (0 to 95) of the general lens-shift model; beyond, do nothing. */
static inline void eis_tuning_set_general_model_parameter(is_tessaline_info_s* tuning,
                                                          uint32_t index, float value) {
    if (index < 32u) {
        tuning->top.res_lut_param_0_tab.res_lut_param_0[index] = value;
    } else if (index < 64u) {
        tuning->general.res_lut_param_1_tab[index - 32u] = value;
    } else if (index < 96u) {
        tuning->general.res_lut_param_2_tab[index - 64u] = value;
    }
}

/** Read a lens-shift setting by its EIS_TUNING_OIS_* slot (0 to 15); 0 beyond. */
static inline float eis_tuning_get_ois(const is_tessaline_info_s* tuning, uint32_t slot) {
    return slot < 16u ? tuning->ois.ois_res_lut_param_1_tab[slot] : 0.0f;
}

/** Write a lens-shift setting by its EIS_TUNING_OIS_* slot (0 to 15); beyond, do nothing. */
static inline void eis_tuning_set_ois(is_tessaline_info_s* tuning, uint32_t slot, float value) {
    if (slot < 16u) {
        tuning->ois.ois_res_lut_param_1_tab[slot] = value;
    }
}

/**
 * Read a face distortion prevention or motion detection setting by its
 * EIS_TUNING_FACE_DISTORTION_PREVENTION_* or EIS_TUNING_MOTION_DETECTION_* slot (0 to 15);
 * 0 beyond.
 */
static inline float eis_tuning_get_behaviour(const is_tessaline_info_s* tuning, uint32_t slot) {
    return slot < 16u ? tuning->ois.ois_res_lut_param_2_tab[slot] : 0.0f;
}

/** Write a setting that eis_tuning_get_behaviour() reads; beyond slot 15, do nothing. */
static inline void eis_tuning_set_behaviour(is_tessaline_info_s* tuning, uint32_t slot,
                                            float value) {
    if (slot < 16u) {
        tuning->ois.ois_res_lut_param_2_tab[slot] = value;
    }
}

/** Read an image-based correction setting by its EIS_TUNING_DIS_* slot (0 to 31); 0 beyond. */
static inline float eis_tuning_get_dis(const is_tessaline_info_s* tuning, uint32_t slot) {
    return slot < 32u ? tuning->dis.dis_res_lut_param_tab[slot] : 0.0f;
}

/** Write a setting that eis_tuning_get_dis() reads; beyond slot 31, do nothing. */
static inline void eis_tuning_set_dis(is_tessaline_info_s* tuning, uint32_t slot, float value) {
    if (slot < 32u) {
        tuning->dis.dis_res_lut_param_tab[slot] = value;
    }
}

/*
 * Conversions from the tuning modules of a tuning file. `moduleData` points at the values that
 * TuningSetManager::GetModule_eis11_sw() and its siblings return, `size` is sizeof of their type.
 *
 * All three: on success the whole record is written, what the module has no field for as 0. A NULL
 * pointer or another size is refused with EIS_ERROR_INVALID_INPUT and a log line, and `out` stays
 * as it was. `moduleData` is only read. Pure functions; any thread.
 */

/** Convert the values of module eis11_sw, 480 bytes. */
STEADYWARP_API uint32_t eis_zelm_utility_v1_1_0_to_is_tessaline_info(void* moduleData,
                                                                     unsigned long size,
                                                                     is_tessaline_info_s* out);

/**
 * Convert the values of module eis12_sw, 55532 bytes.
 *
 * Settings younger than that version come from its reserved tables. A float that becomes a whole
 * number is cut toward zero; one that is not finite or does not fit becomes 0. Distortion grids are
 * converted only with `ldc_grid_source` 0 and `ldc_grid_enable` not 0; those from undistorted to
 * distorted are scaled by the height of the distorted picture along both axes. A
 * `res_lut_param_1_tab[0]` of 0 gives conversion factors that are not finite.
 */
STEADYWARP_API uint32_t eis_zelm_utility_v1_2_0_to_is_tessaline_info(void* moduleData,
                                                                     unsigned long size,
                                                                     is_tessaline_info_s* out);

/** Copy the values of module eis13_sw, 56128 bytes, whose layout is that of the record. */
STEADYWARP_API uint32_t eis_zelm_utility_v1_3_0_to_is_tessaline_info(void* moduleData,
                                                                     unsigned long size,
                                                                     is_tessaline_info_s* out);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_EIS_TUNING_H */
