// SPDX-License-Identifier: Apache-2.0
/// @file frame_stream.hpp
/// A simulated recording as frames with their samples, and the records of a stream over it.
#pragma once

#include <vector>

#include "simulator/motion.hpp"
#include "steadywarp/eis.h"

namespace bench {

using steadywarp::tool::Motion;
using steadywarp::tool::MotionProfile;

inline constexpr uint64_t kFirstSof = 2000000;
inline constexpr uint64_t kFrameUs = 33333;
inline constexpr uint32_t kFrames = 300;

inline is_init_common_data common_data(uint32_t is_type = IS_TYPE_EIS_2_0) {
    is_init_common_data common{};
    common.is_type = is_type;
    common.deployment_type = DEP_TYPE_ICA_V30;
    common.output_width = 1920;
    common.output_height = 1080;
    common.frame_fps = 30;
    common.buffer_delay = 1;
    return common;
}

inline is_init_sensor_data sensor_data(uint32_t gyro_hz) {
    is_init_sensor_data sensor{};
    sensor.ife_input_frame_width = sensor.ife_input_frame_undistorted_width = 1920;
    sensor.ife_input_frame_height = sensor.ife_input_frame_undistorted_height = 1080;
    sensor.input_width = 1920;
    sensor.input_height = 1080;
    sensor.sensor_mount_angle = 180;
    sensor.tuning.top.gyro_frequency = gyro_hz;
    sensor.tuning.general.minimal_total_margin = 0.1f;
    sensor.tuning.general.focal_length = 1500;
    sensor.tuning.general.gyro_noise_floor = 0.003f;
    return sensor;
}

enum MotionKind { kStill, kHandHeld, kPanning, kBreaching };

inline MotionProfile profile_of(int64_t kind) {
    MotionProfile profile;
    profile.seed = 3;
    switch (kind) {
        case kStill:
            profile.tones = 0;
            break;
        case kHandHeld:
            profile.rms_rate = 0.06;
            break;
        case kPanning:
            profile.rms_rate = 0.03;
            profile.turn_rate = 0.5;
            break;
        default:
            profile.rms_rate = 0.8;
            break;
    }
    return profile;
}

struct Frame {
    is_frame_times times;
    std::vector<_sample_data_s> samples;
};

// All frames of a recording with their samples, gathered once.
inline std::vector<Frame> make_frames(const Motion& motion, uint64_t period_us) {
    std::vector<Frame> frames;
    for (uint32_t f = 0; f < kFrames; ++f) {
        Frame frame;
        frame.times = {kFirstSof + f * kFrameUs, kFrameUs, 10000, 25000};
        const uint64_t from = (frame.times.sof - 20000) / period_us * period_us;
        for (uint64_t ts = from; ts <= frame.times.sof + 32000; ts += period_us) {
            const auto rate = motion.body_rate(static_cast<double>(ts) * 1e-6);
            frame.samples.push_back({{rate[0], -rate[1], -rate[2]}, ts});
        }
        frames.push_back(frame);
    }
    return frames;
}

// An output record with its arrays.
struct Output {
    is_output record{};
    std::vector<NcLibWarpGridCoord> grids = std::vector<NcLibWarpGridCoord>(2 * EIS_GRID_POINTS);
    NcLibPerspTransformSingle matrices[3];

    Output() {
        record.distortion_correction_grid.grid = grids.data();
        record.stabilization_transform.grid.grid = grids.data() + EIS_GRID_POINTS;
        record.stabilization_transform.matrices.perspMatrices = &matrices[0];
        record.alignment_matrix_domain_undistorted.perspMatrices = &matrices[1];
        record.alignment_matrix_domain_stabilized.perspMatrices = &matrices[2];
    }
};

inline is_input input_of(const Frame& frame, uint32_t frame_id) {
    constexpr is_crop_window kFull = {1920, 1080, 1920, 1080, 0, 0};
    is_input input{};
    input.frame_id = frame_id;
    input.frame_time_input = frame.times;
    input.gyro = {frame.samples.data(), static_cast<uint32_t>(frame.samples.size())};
    input.window_regions = {kFull, kFull, kFull, {1920, 1080, 1728, 972, 96, 54}};
    input.focus_distance = 1.0f;
    return input;
}

}  // namespace bench
