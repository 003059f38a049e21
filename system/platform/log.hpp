// SPDX-License-Identifier: Apache-2.0
/// @file log.hpp
/// The framework's log: one function that every subsystem but the stabilizer writes through.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace Zelm::Log {

/// Log groups are bits; only the group of the warp library is named here.
inline constexpr uint32_t kGroupCore = 0x10000;

/// Severity words of a log call, lowest first.
enum class Level : uint32_t { kDebug = 0, kWarning = 1, kError = 2 };

/// Where finished lines go.
///
/// `text` is one line without its line end and is valid during the call only. A sink may be called
/// from any thread that logs, several at a time, and must not log itself.
using Sink = void (*)(uint32_t group, Level level, const char* text, void* user);

/// Replace the sink; NULL restores the built-in one, which writes each line to standard error with
/// one call. Takes effect for lines that start after it returns. Any thread.
void SetSink(Sink sink, void* user);

/// Format one line and hand it to the sink. Lines above 4096 bytes are cut. Any thread; allocates
/// nothing.
void LogSystem(uint32_t group, Level level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// As LogSystem(), from an argument list.
void LogSystemV(uint32_t group, Level level, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

/// Tell the part of a path behind its last slash; points into `path`.
const char* GetFileName(const char* path);

}  // namespace Zelm::Log
