// SPDX-License-Identifier: Apache-2.0
#include "nclib/nclib_log.hpp"

// Assertions of this library stay active in every build.
#undef NDEBUG
#include <cassert>
#include <cstdarg>
#include <cstdio>

#include "platform/log.hpp"
#include "platform/os_utils.hpp"
#include "platform/trace.hpp"

namespace nclib {
namespace {

constexpr char kGroupLabel[] = "[CORE   ]";

// Longest text of a message, the closing zero byte included; longer ones are cut.
constexpr size_t kMessageCapacity = 512;

bool TraceIsOn() {
    return Zelm::g_traceInfo.enable.load(std::memory_order_relaxed) == 1 &&
           (Zelm::g_traceInfo.groups.load(std::memory_order_relaxed) & Zelm::Log::kGroupCore) != 0;
}

// The log line says where the message comes from; the trace is the message alone.
void Report(const char* file, int line, const char* function, const char* message) {
    Zelm::Log::LogSystem(Zelm::Log::kGroupCore, Zelm::Log::Level::kError,
                         "[ERROR]%d %d %s %s:%d %s() %s", Zelm::OsUtils::GetProcessID(),
                         Zelm::OsUtils::GetThreadID(), kGroupLabel, Zelm::Log::GetFileName(file),
                         line, function, message);
    if (TraceIsOn()) {
        char text[kMessageCapacity];
        std::snprintf(text, sizeof text, "[ERROR]%s", message);
        Zelm::OsUtils::TraceBegin(text);
        Zelm::OsUtils::TraceEnd();
    }
}

}  // namespace

void ReportError(const char* file, int line, const char* function, const char* format, ...) {
    char message[kMessageCapacity];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    Report(file, line, function, message);
}

void FailAssertion(const char* file, int line, const char* function, const char* expression) {
    char message[kMessageCapacity];
    std::snprintf(message, sizeof message, "Assertion failed: %s, file %s, line %d", expression,
                  Zelm::Log::GetFileName(file), line);
    Report(file, line, function, message);
    // What assert(false) expands to, with the place of the caller instead of this one.
    __assert_fail("false", file, static_cast<unsigned>(line), function);
}

}  // namespace nclib
