// SPDX-License-Identifier: Apache-2.0
#include "platform/log.hpp"

#include <cstdio>
#include <cstring>
#include <mutex>

namespace Zelm::Log {
namespace {

constexpr int kLineCapacity = 4096;

void WriteToStandardError(uint32_t, Level, const char* text, void*) {
    // One call per line, so that lines of two threads do not interleave.
    std::fprintf(stderr, "%s\n", text);
}

struct SinkSlot {
    Sink sink = WriteToStandardError;
    void* user = nullptr;
};

std::mutex sink_mutex;
SinkSlot sink_slot;

SinkSlot CurrentSink() {
    const std::lock_guard<std::mutex> lock(sink_mutex);
    return sink_slot;
}

}  // namespace

void SetSink(Sink sink, void* user) {
    const std::lock_guard<std::mutex> lock(sink_mutex);
    sink_slot = sink != nullptr ? SinkSlot{sink, user} : SinkSlot{};
}

void LogSystemV(uint32_t group, Level level, const char* format, va_list arguments) {
    char line[kLineCapacity];
    if (std::vsnprintf(line, sizeof line, format, arguments) < 0) {
        return;
    }
    const SinkSlot slot = CurrentSink();
    slot.sink(group, level, line, slot.user);
}

void LogSystem(uint32_t group, Level level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogSystemV(group, level, format, arguments);
    va_end(arguments);
}

const char* GetFileName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

}  // namespace Zelm::Log
