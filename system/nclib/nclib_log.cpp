// SPDX-License-Identifier: Apache-2.0
#include "nclib/nclib_log.hpp"

// Assertions of this library stay active in every build.
#undef NDEBUG
#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "platform/log.hpp"
#include "platform/os_utils.hpp"
#include "platform/trace.hpp"

namespace nclib {
namespace {

constexpr char kGroupLabel[] = "[CORE   ]";

bool TraceIsOn() {
    return Zelm::g_traceInfo.enable.load(std::memory_order_relaxed) == 1 &&
           (Zelm::g_traceInfo.groups.load(std::memory_order_relaxed) & Zelm::Log::kGroupCore) != 0;
}

// Both forms carry the same message; the long one says where it comes from.
void Report(const char* file, int line, const char* function, const char* message,
            bool is_assertion) {
    // The number behind the label is part of the text that users search for.
    Zelm::Log::LogSystem(Zelm::Log::kGroupCore, Zelm::Log::Level::kError,
                         "[ERROR]%d %d %s %s:126 %s() Assertion failed: %s, file %s, line %d",
                         Zelm::OsUtils::GetProcessID(), Zelm::OsUtils::GetThreadID(), kGroupLabel,
                         Zelm::Log::GetFileName(file), function, message,
                         Zelm::Log::GetFileName(file), line);
    if (TraceIsOn()) {
        char text[512];
        if (is_assertion) {
            std::snprintf(text, sizeof text, "[ERROR]Assertion failed: %s, file %s, line %d",
                          message, Zelm::Log::GetFileName(file), line);
        } else {
            std::snprintf(text, sizeof text, "[ERROR]%s", message);
        }
        Zelm::OsUtils::TraceBegin(text);
        Zelm::OsUtils::TraceEnd();
    }
}

}  // namespace

void ReportError(const char* file, int line, const char* function, const char* format, ...) {
    char message[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    Report(file, line, function, message, false);
}

void FailAssertion(const char* file, int line, const char* function, const char* expression) {
    Report(file, line, function, expression, true);
    assert(false);
    std::abort();
}

}  // namespace nclib
