// SPDX-License-Identifier: Apache-2.0
#include "platform/os_utils.hpp"

#include <glib.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Zelm::OsUtils {

size_t StrLCpy(char* target, const char* source, size_t size) {
    return g_strlcpy(target, source, size);
}

size_t StrLCat(char* target, const char* source, size_t size) {
    return g_strlcat(target, source, size);
}

int StrNICmp(const char* left, const char* right, size_t count) {
    return g_ascii_strncasecmp(left, right, count);
}

int32_t GetProcessID() {
    return static_cast<int32_t>(getpid());
}

int32_t GetThreadID() {
    // The C library of Debian 12 has gettid() behind a feature switch only.
    return static_cast<int32_t>(syscall(SYS_gettid));
}

}  // namespace Zelm::OsUtils
