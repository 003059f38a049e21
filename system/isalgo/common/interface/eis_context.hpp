// SPDX-License-Identifier: Apache-2.0
/// @file eis_context.hpp
/// The instance: one heap block with everything a stream needs, built once.
#pragma once

#include <cstdint>
#include <memory>

#include "base/guard.hpp"
#include "base/ring_buffer.hpp"
#include "interface/sensor_runtime_record.hpp"
#include "sensors/samplers.hpp"
#include "stabilizer/dis_stabilizer.hpp"
#include "stabilizer/distortion_stage.hpp"
#include "stabilizer/eis_stabilizer.hpp"
#include "stabilizer/test_mode_borders.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// One frame's output of the first pass, with the memory that its pointers mean.
struct StoredOutput {
    is_output_distortion_correction output{};
    NcLibWarpGridCoord grid[NC_LIB_ICA_GRID_MAX_POINTS] = {};
    NcLibPerspTransformSingle alignment{};
    bool is_filled = false;  ///< a frame's output is in it
};
using StoredOutputRing = RingBuffer<StoredOutput>;

/// The first pass of an instance.
class eis_context_distortion_correction {
  public:
    /// @param own_status of this object's parts alone; callers leave it out.
    eis_context_distortion_correction(const is_init_common_data& common,
                                      const is_init_sensor_data* sensors, uint32_t num_sensors,
                                      uint32_t& status, uint32_t own_status = EIS_SUCCESS);

    bool is_intact() const { return _start_guard == kStartGuard && _end_guard == kEndGuard; }

    uint64_t _start_guard = 0;
    StabilizerDistortionCorrection stage;
    std::unique_ptr<StoredOutputRing> grid_buffer;  ///< NULL without a second pass
    uint64_t _end_guard = 0;
};

/// A frame that waits in the modes that run on whatever comes.
struct RobustFrame {
    uint32_t frame_id = 0;
    uint32_t sensor = 0;
};
using RobustRing = RingBuffer<RobustFrame>;

/// The second pass of an instance.
class eis_context_stabilize {
  public:
    /// @param status set on failure. A stage for image-based correction that cannot be had leaves
    ///        it alone, but then the guards stay unwritten and every entry refuses the instance.
    eis_context_stabilize(const is_init_common_data& common, const is_init_sensor_data* sensors,
                          uint32_t num_sensors, const StabilizerDistortionCorrection& stage,
                          uint32_t& status);

    bool is_intact() const { return _start_guard == kStartGuard && _end_guard == kEndGuard; }

    /// Forget all frames; for a new stream.
    void reset();

    uint64_t _start_guard = 0;
    uint32_t dis_delay;
    EisStabilizer eis;
    std::unique_ptr<DisStabilizer> _dis;                    ///< NULL without image-based correction
    std::unique_ptr<RobustRing> _buffer_calib_mode_robust;  ///< only in the two robust modes
    std::unique_ptr<TestModeBorders> test_borders;          ///< only in the mode that walks them
    uint64_t _end_guard = 0;

  private:
    uint32_t init_mode(const is_init_common_data& common);
};

/// The mode that an instance runs in: without a second pass, the modes that only shape its output
/// mean the regular one.
uint32_t effective_operation_mode(const is_init_common_data& common);

/// The modes that must keep running through bad data.
constexpr bool is_robust_operation_mode(uint32_t operation_mode) {
    return operation_mode == IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST ||
           operation_mode == IS_OPT_IDENTITY_ONLY_ROBUST;
}

/// Entries that the ring of stored outputs needs. @return 0 for an unknown type, after a line.
uint32_t calc_num_needed_buffers(uint32_t is_type, uint32_t buffer_delay);

}  // namespace steadywarp

/// Members are destroyed from the last to the first: the passes before the samples they read.
struct eis_context {
    /// @param status left 0 on success; on failure the guards stay unwritten.
    eis_context(const is_init_common_data& common, const is_init_sensor_data* sensors,
                uint32_t num_sensors, uint32_t& status);

    /// Whether every guard word stands where it should.
    bool is_intact() const;

    /// Whether the frame's sensor differs from the one before; false on a first frame.
    bool is_sensor_switch(uint32_t sensor_idx) const {
        return !first_frame && sensor_idx != prev_sensor_idx;
    }

    bool is_robust_mode() const { return steadywarp::is_robust_operation_mode(operation_mode); }

    uint64_t _start_guard = 0;
    uint32_t frames_without_gyro = 0;  ///< since the stream's start
    uint32_t frames_with_gyro = 0;     ///< since the stream's start
    uint64_t prev_sof = 0;             ///< of the last finished frame
    uint32_t prev_frame_time = 33333;
    uint32_t _prev_frame_id_dist_corr = 0;
    uint32_t _prev_frame_id_stab = 0;
    uint32_t prev_sensor_idx = 0xFFFFFFFFu;
    int32_t focus_distance_cm = 10000000;
    bool first_frame = true;  ///< the next frame opens a stream
    bool do_virtual_upscale_in_transform;
    bool force_split_grid_matrix;
    bool is_sat_enabled;
    uint32_t operation_mode;
    uint32_t deployment_type;
    uint32_t is_type;
    uint32_t buffer_delay;
    steadywarp::MultisensorData sensors;
    uint32_t output_height;
    uint32_t output_width;
    steadywarp::eis_context_samplers _samplers;
    steadywarp::eis_context_distortion_correction distortion;
    std::unique_ptr<steadywarp::eis_context_stabilize> _stabilize;  ///< NULL without a second pass
    uint64_t _end_guard = 0;
};
