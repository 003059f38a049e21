// SPDX-License-Identifier: Apache-2.0
#include "platform/trace.hpp"

#include <mutex>

namespace Zelm {

TraceInfo g_traceInfo;

namespace OsUtils {
namespace {

std::mutex hooks_mutex;
TraceHooks installed_hooks;

TraceHooks CurrentHooks() {
    const std::lock_guard<std::mutex> lock(hooks_mutex);
    return installed_hooks;
}

}  // namespace

void SetTraceHooks(const TraceHooks& hooks) {
    const std::lock_guard<std::mutex> lock(hooks_mutex);
    installed_hooks = hooks;
}

void TraceBegin(const char* text) {
    const TraceHooks hooks = CurrentHooks();
    if (hooks.begin != nullptr) {
        hooks.begin(text, hooks.user);
    }
}

void TraceEnd() {
    const TraceHooks hooks = CurrentHooks();
    if (hooks.end != nullptr) {
        hooks.end(hooks.user);
    }
}

}  // namespace OsUtils
}  // namespace Zelm
