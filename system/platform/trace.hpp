// SPDX-License-Identifier: Apache-2.0
/// @file trace.hpp
/// The framework's trace: short texts that a profiler or a crash recorder may want to see.
#pragma once

#include <atomic>
#include <cstdint>

namespace Zelm {

/// Which traces are on. Written by the integrator, read wherever a trace is about to be made.
struct TraceInfo {
    std::atomic<uint32_t> enable{0};  ///< 1: tracing is on
    std::atomic<uint32_t> groups{0};  ///< bit per log group
};
extern TraceInfo g_traceInfo;

namespace OsUtils {

/// What the integrator wants called at the begin and the end of a traced stretch; either may be
/// NULL. Set them before tracing is switched on.
struct TraceHooks {
    void (*begin)(const char* text, void* user) = nullptr;
    void (*end)(void* user) = nullptr;
    void* user = nullptr;
};
void SetTraceHooks(const TraceHooks& hooks);

/// Open a stretch named `text`. Does nothing without a hook.
void TraceBegin(const char* text);
/// Close the stretch opened last.
void TraceEnd();

}  // namespace OsUtils
}  // namespace Zelm
