// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametertypekey.h"

#include "platform/os_utils.hpp"

namespace {

constexpr char kPrefix[] = "tessaline_";
constexpr size_t kPrefixLength = sizeof kPrefix - 1;
constexpr size_t kLongHead = 8;
constexpr size_t kLongTail = 23;
static_assert(kLongHead + 1 + kLongTail == ParameterTypeKey::kLongest);

}  // namespace

char const* ParameterTypeKey::StripLetters(char const* moduleName) {
    // A name that is nothing but the prefix keeps it.
    for (const size_t length : {kPrefixLength, kPrefixLength - 1}) {
        if (Zelm::OsUtils::StrNICmp(moduleName, kPrefix, length) == 0 &&
            moduleName[length] != '\0') {
            return moduleName + length;
        }
    }
    return moduleName;
}

void ParameterTypeKey::Shorten(char* out, std::string_view rest) {
    std::memcpy(out, rest.data(), kLongHead);
    out[kLongHead] = '-';
    std::memcpy(out + kLongHead + 1, rest.data() + rest.size() - kLongTail, kLongTail);
}
