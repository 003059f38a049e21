// SPDX-License-Identifier: Apache-2.0
#include "platform/eis_log.hpp"

#include <cstdarg>
#include <cstdio>

namespace steadywarp {

void eis_log(const char* severity, const char* tag, const char* function, int line,
             const char* format, ...) {
    std::fprintf(stderr, "%s ", severity);
    std::fprintf(stderr, "%s: ", tag);
    std::fprintf(stderr, "%s: ", "V2");
    std::fprintf(stderr, "%s(%d): ", function, line);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "\n");
}

}  // namespace steadywarp
