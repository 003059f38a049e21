/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The shortest program that stabilizes: one camera at 1920x1080 and 30 frames a second, held by a
 * hand that trembles about the vertical axis. Each frame's grid and transform are folded into one
 * grid, and that into nine matrices, as warp hardware without a grid would take them.
 *
 *     cc stabilize.c $(pkg-config --cflags --libs steadywarp) -lm
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <steadywarp/eis_utility.h>

enum { WIDTH = 1920, HEIGHT = 1080, FRAMES = 60, MAX_SAMPLES = 64 };
static const uint64_t FRAME_US = 33333, SAMPLE_US = 2000, START_US = 1000000;

static void fail_on(uint32_t status, const char* what) {
    if (status != EIS_SUCCESS) {
        fprintf(stderr, "%s: 0x%08x\n", what, status);
        exit(1);
    }
}

/* Rates of the device about its own axes; a real program takes them from its sensor. */
static uint32_t samples_within(const is_time_interval* interval, _sample_data_s* samples) {
    uint32_t count = 0;
    uint64_t ts = (interval->first_ts + SAMPLE_US - 1) / SAMPLE_US * SAMPLE_US;
    for (; ts <= interval->last_ts && count < MAX_SAMPLES; ts += SAMPLE_US) {
        _sample_data_s sample = {{0.0, 0.3 * sin((double)ts * 1e-6 * 6.2832 * 4.0), 0.0}, ts};
        samples[count++] = sample;
    }
    return count;
}

static eis_context* start(void) {
    static is_init_sensor_data sensor; /* large, and all zero but what is said here */
    is_init_common_data common = {0};
    eis_context* eis = NULL;
    common.is_type = IS_TYPE_EIS_2_0;
    common.deployment_type = DEP_TYPE_ICA_V30;
    common.output_width = WIDTH;
    common.output_height = HEIGHT;
    common.frame_fps = 30;
    common.buffer_delay = 1;
    sensor.input_width = sensor.ife_input_frame_width = WIDTH;
    sensor.input_height = sensor.ife_input_frame_height = HEIGHT;
    sensor.ife_input_frame_undistorted_width = WIDTH;
    sensor.ife_input_frame_undistorted_height = HEIGHT;
    sensor.sensor_mount_angle = 180;
    sensor.tuning.top.gyro_frequency = 500;
    sensor.tuning.general.minimal_total_margin = 0.1f;
    sensor.tuning.general.focal_length = 1500;
    sensor.tuning.general.gyro_noise_floor = 0.003f;
    fail_on(eis2_initialize(&eis, &common, &sensor, 1), "eis2_initialize");
    return eis;
}

int main(void) {
    static NcLibWarpGridCoord grid[EIS_GRID_POINTS], unused[EIS_GRID_POINTS],
        single[EIS_GRID_POINTS];
    static unsigned char work[EIS_SINGLE_GRID_WORK_BYTES];
    const is_crop_window full = {WIDTH, HEIGHT, WIDTH, HEIGHT, 0, 0};
    const is_crop_window middle = {WIDTH, HEIGHT, 1728, 972, 96, 54}; /* 90 %, centred */
    NcLibPerspTransformSingle transform, undistorted, stabilized, strips[EIS_GRID_STRIPS];
    _sample_data_s samples[MAX_SAMPLES];
    uint32_t valid = 0;
    eis_context* eis = start();

    for (uint32_t i = 0; i < FRAMES; ++i) {
        is_frame_times times = {START_US + i * FRAME_US, (uint32_t)FRAME_US, 10000, 25000};
        is_time_intervals intervals;
        is_input input = {0};
        is_output output = {0};
        fail_on(eis2_get_time_intervals(eis, &times, 0, &intervals), "eis2_get_time_intervals");
        input.frame_id = i + 1;
        input.frame_time_input = times;
        input.gyro.samples = samples;
        input.gyro.num_elements = samples_within(&intervals.gyro, samples);
        input.window_regions.image_sensor_crop = full;
        input.window_regions.eis_pre_crop_vIN = full;
        input.window_regions.eis_pre_crop_vOUT = full;
        input.window_regions.output_crop_fov = middle;
        input.focus_distance = 1.0f;
        output.distortion_correction_grid.grid = grid;
        output.stabilization_transform.grid.grid = unused;
        output.stabilization_transform.matrices.perspMatrices = &transform;
        output.alignment_matrix_domain_undistorted.perspMatrices = &undistorted;
        output.alignment_matrix_domain_stabilized.perspMatrices = &stabilized;
        fail_on(eis2_process(eis, &input, &output), "eis2_process");
        if (!output.output_valid) {
            continue;
        }
        NcLibWarpGrid one = {0};
        NcLibWarpMatrices matrices = {0};
        one.grid = single;
        matrices.perspMatrices = strips;
        fail_on(eis_utility_convert_output_stabilize_to_single_grid(
                    &output.distortion_correction_grid, &output.stabilization_transform, work,
                    sizeof work, &one),
                "eis_utility_convert_output_stabilize_to_single_grid");
        fail_on(eis_utility_convert_grid_to_matrices(&one, &matrices),
                "eis_utility_convert_grid_to_matrices");
        ++valid;
        if (i % 10 == 0) {
            printf("frame %2u: centre reads from (%+.2f, %+.2f), strips move x by %+.2f to %+.2f\n",
                   output.frame_id, single[13 * 35 + 17].x, single[13 * 35 + 17].y, strips[0].T[2],
                   strips[8].T[2]);
        }
    }
    eis2_deinitialize(&eis);
    printf("%u of %u frames stabilized\n", valid, (unsigned)FRAMES);
    return valid == FRAMES ? 0 : 1;
}
