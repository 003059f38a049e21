// SPDX-License-Identifier: Apache-2.0
#include "parameterlogging.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/log.hpp"

namespace {

// The log's group of the tuning machinery; a bit of its own beside that of the warp library.
constexpr uint32_t kGroupParameter = 0x20000;

struct Tag {
    char const* text;
    Zelm::Log::Level level;
};

Tag TagOf(ParameterLogLevel level) {
    switch (level) {
        case ParameterLogLevel::Debug:
            return {"[DEBUG]", Zelm::Log::Level::kDebug};
        case ParameterLogLevel::Warning:
            return {"[WARNING]", Zelm::Log::Level::kWarning};
        default:
            return {"[ERROR]", Zelm::Log::Level::kError};
    }
}

}  // namespace

void ParameterLogging(IParameterLoggingAPI const* logger, ParameterLogLevel level, char const* file,
                      int line, char const* format, ...) {
    const bool wanted =
        logger != nullptr ? logger->IsLogLevelOn(level) : level != ParameterLogLevel::Debug;
    if (!wanted) {
        return;
    }
    // Room for a last error text of 2047 characters with its surroundings.
    char message[2560];
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (written < 0) {
        return;
    }
    const size_t length = std::strlen(message);
    if (length > 0 && message[length - 1] == '\n') {
        message[length - 1] = '\0';
    }
    const Tag tag = TagOf(level);
    char const* name = logger != nullptr ? logger->GetLogName() : "";
    Zelm::Log::LogSystem(kGroupParameter, tag.level, "%s ParameterParser: %p (%s): %s:%d: %s",
                         tag.text, static_cast<void const*>(logger), name,
                         Zelm::Log::GetFileName(file), line, message);
}
