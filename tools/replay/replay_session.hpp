// SPDX-License-Identifier: Apache-2.0
/// @file replay_session.hpp
/// Runs a captured session through the library's exported functions.
#pragma once

#include <functional>
#include <optional>

#include "replay/capture_set.hpp"
#include "replay/output_comparison.hpp"
#include "steadywarp/eis_capture.h"

namespace steadywarp::tool {

/// What a replay came to.
struct ReplayFigures {
    uint64_t frames = 0;           ///< given to the library
    uint64_t frames_out = 0;       ///< that a valid output came of
    uint64_t breached_frames = 0;  ///< with a corner outside the input; counted when asked for
};

/// Takes the records of each frame, which live as long as the call.
using TakeRecords = std::function<void(const eis_utils_log_data&)>;

/// Read a whole capture without running it. @return the first thing wrong.
std::optional<Fault> check_capture(const CaptureTexts& texts, const CaptureSetup& setup);

/// Run a capture that check_capture() found right, and compare what comes out.
///
/// @param take called behind each frame; nullptr: nobody wants them.
/// @param stop asked ahead of each frame; true ends the replay.
/// @return the figures, or a fault when the library refuses the configuration.
Result<ReplayFigures> replay_capture(const CaptureTexts& texts, const CaptureSetup& setup,
                                     OutputComparison& comparison, const TakeRecords& take,
                                     bool (*stop)());

}  // namespace steadywarp::tool
