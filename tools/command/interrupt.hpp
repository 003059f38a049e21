// SPDX-License-Identifier: Apache-2.0
/// @file interrupt.hpp
/// Stopping by Ctrl-C or a termination request without leaving temporary files behind.
#pragma once

namespace steadywarp::tool {

/// Exit status of a run that was stopped, as shells report it for an interrupt.
inline constexpr int kExitStopped = 130;

/// From now on an interrupt or a termination request is noted instead of ending the process; a
/// second one ends it. Call once, from the main thread.
void note_interrupts();

/// Tell whether one was noted.
bool was_interrupted();

}  // namespace steadywarp::tool
