// SPDX-License-Identifier: Apache-2.0
/// @file replay_session.hpp
/// Runs a captured session through the library's exported functions.
#pragma once

#include <memory>
#include <optional>

#include "output/session_capture.hpp"
#include "replay/capture_set.hpp"
#include "replay/output_comparison.hpp"

namespace steadywarp::tool {

/// What a replay came to.
struct ReplayFigures {
    uint64_t frames = 0;           ///< given to the library
    uint64_t frames_out = 0;       ///< that a valid output came of
    uint64_t breached_frames = 0;  ///< with a corner outside the input; counted when asked for
};

/// Read a whole capture without running it. @return the first thing wrong.
std::optional<Fault> check_capture(const CaptureTexts& texts, const CaptureSetup& setup);

/// Run a capture that check_capture() found right, and compare what comes out.
///
/// @param capture records the replay; NULL: none.
/// @param stop asked ahead of each frame; true ends the replay.
/// @return the figures, or a fault when the library refuses the configuration.
Result<ReplayFigures> replay_capture(const CaptureTexts& texts, const CaptureSetup& setup,
                                     OutputComparison& comparison, SessionCapture* capture,
                                     bool (*stop)());

}  // namespace steadywarp::tool
