// SPDX-License-Identifier: Apache-2.0
/// @file nclib_log.hpp
/// The two ways in which the warp library reports trouble: a refused argument, which is logged and
/// returned as a status, and a broken invariant, which is logged and ends the process.
#pragma once

namespace nclib {

/// Log one line in the long form, and trace its short form "[ERROR]" + text if tracing is on.
///
/// @param file path of the source; only its base name is printed.
/// @param function name of the function that found the fault.
/// @param format text of the message; what ", file %s, line %d" adds stands in front of nothing.
void ReportError(const char* file, int line, const char* function, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// Log "Assertion failed: <expression>" in the same way and end the process.
[[noreturn]] void FailAssertion(const char* file, int line, const char* function,
                                const char* expression);

}  // namespace nclib

/// Report a refused argument or a computation that cannot be carried out.
#define NC_LIB_ERROR(...) ::nclib::ReportError(__FILE__, __LINE__, __func__, __VA_ARGS__)

/// Hold an invariant, in every build. `text` is the expression as it is known to users.
#define NC_LIB_ASSERT_TEXT(condition, text)                               \
    do {                                                                  \
        if (!(condition)) [[unlikely]] {                                  \
            ::nclib::FailAssertion(__FILE__, __LINE__, __func__, (text)); \
        }                                                                 \
    } while (false)
#define NC_LIB_ASSERT(condition) NC_LIB_ASSERT_TEXT(condition, #condition)
