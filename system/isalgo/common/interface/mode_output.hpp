// SPDX-License-Identifier: Apache-2.0
/// @file mode_output.hpp
/// What the operation modes make of a frame's output: which parts leave the first pass, and what
/// stands in place of the stabilizing transform.
#pragma once

#include <cstdint>

#include "filter/frame_records.hpp"
#include "interface/eis_context.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// The parts of a frame's first output that an operation mode shows.
struct FirstPassParts {
    bool grid;
    bool alignment;
    bool valid;  ///< a frame comes out at all
};
FirstPassParts first_pass_parts(uint32_t operation_mode);

/// Write the scale that undoes the crop, for a calibration that wants to see the whole frame.
///
/// @param newest the frame whose output window says how much is cropped; NULL: what the
///        configuration leaves.
void write_calibration_scale(eis_context& context, uint32_t sensor, const FilterInput* newest,
                             NcLibWarpMatrices& out);

/// Put what the instance's operation mode wants in place of a regular output's transform.
void apply_operation_mode(eis_context& context, is_output_stabilize& output);

/// The first pass of a frame in the robust modes: nothing is read or stored.
void write_robust_first_output(const is_input_distortion_correction& input,
                               is_output_distortion_correction& output);

/// The second pass of a frame in the robust modes: frames leave in order, with a transform that
/// does not depend on any motion.
void stabilize_robustly(eis_context& context, const is_input_stabilize& input,
                        is_output_stabilize& output);

}  // namespace steadywarp
