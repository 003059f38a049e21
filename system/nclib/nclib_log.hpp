// SPDX-License-Identifier: Apache-2.0
/// @file nclib_log.hpp
/// The two ways in which the warp library reports trouble: a refused argument, which is logged and
/// returned as a status, and a broken invariant, which is logged and ends the process.
///
/// A log line reads "[ERROR]<process> <thread> [CORE   ] <file>:<line> <function>() <message>".
#pragma once

#include "steadywarp/nclib.h"

namespace nclib {

/// Log one message with its place, and trace "[ERROR]<message>" if tracing is on.
///
/// @param file path of the source; only its base name is printed.
/// @param function name of the function that found the fault.
/// @param format text of the message, cut at 511 bytes.
void ReportError(const char* file, int line, const char* function, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// Log "Assertion failed: <expression>, file <file>, line <line>" in the same way, then end the
/// process through the C library's assertion failure, which writes the second line.
[[noreturn]] void FailAssertion(const char* file, int line, const char* function,
                                const char* expression);

}  // namespace nclib

/// Report a refused argument or a computation that cannot be carried out.
#define NC_LIB_ERROR(...) ::nclib::ReportError(__FILE__, __LINE__, __func__, __VA_ARGS__)

/// Report the message and leave the function with `status` unless `condition` holds.
#define NC_LIB_REQUIRE(condition, status, ...) \
    do {                                       \
        if (!(condition)) [[unlikely]] {       \
            NC_LIB_ERROR(__VA_ARGS__);         \
            return (status);                   \
        }                                      \
    } while (false)

/// Refuse a NULL argument under the name that the caller knows it by.
#define NC_LIB_REQUIRE_NOT_NULL(pointer, name) \
    NC_LIB_REQUIRE((pointer) != nullptr, NC_LIB_INVALID_INPUT, "NULL pointer: %s", (name))

/// Hold an invariant, in every build. `text` is the expression as it is known to users.
#define NC_LIB_ASSERT_TEXT(condition, text)                               \
    do {                                                                  \
        if (!(condition)) [[unlikely]] {                                  \
            ::nclib::FailAssertion(__FILE__, __LINE__, __func__, (text)); \
        }                                                                 \
    } while (false)
#define NC_LIB_ASSERT(condition) NC_LIB_ASSERT_TEXT(condition, #condition)
