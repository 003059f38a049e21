// SPDX-License-Identifier: Apache-2.0
/// @file thread_fence.hpp
/// A memory fence that one thread makes for all.
///
/// Two threads that each store and then load what the other stored need a fence between the two, on
/// both sides, so that one sees the other. Where one side is taken a million times as often, that
/// one can do with keeping the compiler from reordering (std::atomic_signal_fence), if the other
/// calls FenceAllThreads().
#pragma once

namespace platform {

/// Tell whether the system can do it; does not change while the program runs. Any thread.
bool CanFenceAllThreads();

/// Put a fence between what every thread of this process does before and behind this call. Takes
/// some microseconds. Only where CanFenceAllThreads(). Any thread.
void FenceAllThreads();

}  // namespace platform
