// SPDX-License-Identifier: Apache-2.0
/// @file pass_validation.hpp
/// Everything that is tested before a pass touches any state: its input, the caller's memory, and
/// the order of the calls.
#pragma once

#include <cstdint>

#include "interface/eis_context.hpp"
#include "steadywarp/eis.h"
#include "validation/fault_counts.hpp"

namespace steadywarp {

/// Test all sample batches of a frame.
bool is_valid_samples(const eis_context_samplers& samplers,
                      const is_input_distortion_correction& input, bool first_frame,
                      bool sensor_switched);

void is_valid_dist_corr_input(const eis_context& context,
                              const is_input_distortion_correction& input, FaultCounts& counts);
void is_valid_stab_input(const eis_context& context, const is_input_stabilize& input,
                         FaultCounts& counts);

/// @return the number of missing arrays.
uint32_t is_valid_dist_corr_output(const is_output_distortion_correction& output);
uint32_t is_valid_stab_output(const is_output_stabilize& output);

/// Test frame id and call order. @return the number of faults.
uint32_t is_valid_dist_corr_internal_state(const eis_context& context,
                                           const is_input_distortion_correction& input);
uint32_t is_valid_stab_internal_state(const eis_context& context, const is_input_stabilize& input);

/// Test that the first frame of a stream brings what it must.
uint32_t is_valid_first_frame(const eis_context& context,
                              const is_input_distortion_correction& input);

/// All tests of a pass together.
uint32_t is_valid_process_input_dist_corr(const eis_context& context,
                                          const is_input_distortion_correction& input,
                                          const is_output_distortion_correction& output);
uint32_t is_valid_process_input_stabilize(const eis_context& context,
                                          const is_input_stabilize& input,
                                          const is_output_stabilize& output);

/// Test the input of an interval query.
uint32_t is_valid_input_get_time_intervals(const eis_context& context,
                                           const is_frame_times& frame_times, uint32_t sensor_idx);

}  // namespace steadywarp
