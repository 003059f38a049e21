// SPDX-License-Identifier: Apache-2.0
/// @file stream_control.hpp
/// Tells a pause, a new stream and a running one apart, and takes an instance back to a start.
#pragma once

#include "interface/eis_context.hpp"

namespace steadywarp {

/// Look at a frame of a running stream. After a pause or an end of samples the instance is reset
/// and `first_frame` set.
void eis3_pause_resume_or_new_stream(eis_context& context,
                                     const is_input_distortion_correction& input);

/// Forget all samples, frames and motion. Configuration, frame ids and the last frame's times stay.
void eis_internal_reset_state(eis_context& context);

}  // namespace steadywarp
