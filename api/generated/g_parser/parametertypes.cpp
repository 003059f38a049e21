// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametertypes.h"

#include <charconv>

#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parameterutils.h"

namespace {

constexpr size_t kMaxIdDigits = 9;  // what surely fits in 32 bits

bool ReadInteger(char const* text, int64_t& number) {
    char const* end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, number);
    return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

ParameterParserInfo::ParameterParserInfo(char const* entryName, char const* typeWord)
    : name(entryName), type(typeWord) {}

ParameterParserInfo::ParameterParserInfo(char const* entryName, char const* typeWord, double number,
                                         unsigned int decimals)
    : name(entryName), type(typeWord) {
    bool ok = false;
    ParameterUtils::DoubleToString(number, value, sizeof value, decimals, ok);
}

ParameterParserInfo::ParameterParserInfo(char const* entryName, char const* typeWord,
                                         char const* text)
    : name(entryName), type(typeWord) {
    if (text != nullptr) {
        Zelm::OsUtils::StrLCpy(value, text, sizeof value);
    }
}

ParameterParserInfo::ParameterParserInfo(char const* entryName, char const* typeWord, bool array,
                                         bool reserved, uint32_t count)
    : name(entryName), type(typeWord), isArray(array), isReserved(reserved), elementCount(count) {}

ParameterCTValue ParameterCTValue::FromInteger(uint32_t id, int64_t number) {
    ParameterCTValue result;
    result.id = id;
    result.value.integer = number;
    result.valid = true;
    return result;
}

ParameterCTValue ParameterCTValue::FromDouble(uint32_t id, double number) {
    ParameterCTValue result;
    result.id = id;
    result.value.real = number;
    result.valid = true;
    result.isInteger = false;
    return result;
}

bool ParameterCTValue::ToString(char* text, unsigned int size, bool valueOnly) const {
    if (text == nullptr || size == 0) {
        return false;
    }
    text[0] = '\0';
    // "4294967295=" and the longest double, 309 digits with a sign and six decimals.
    char line[352];
    char* next = line;
    char* const end = line + sizeof line - 1;
    if (!valueOnly) {
        next = std::to_chars(next, end, id).ptr;
        *next++ = '=';
    }
    // As "%f" would, but with a point in every locale.
    next = isInteger ? std::to_chars(next, end, value.integer).ptr
                     : std::to_chars(next, end, value.real, std::chars_format::fixed, 6).ptr;
    *next = '\0';
    const size_t needed = static_cast<size_t>(next - line) + 1;
    if (needed > size) {
        return false;
    }
    std::memcpy(text, line, needed);
    return true;
}

bool ParameterCTValue::FromString(char const* text) {
    *this = ParameterCTValue();
    const int equals = ParameterUtils::GetStringPos(text, '=');
    if (equals < 1 || static_cast<size_t>(equals) > kMaxIdDigits) {
        return false;
    }
    uint32_t number = 0;
    const auto result = std::from_chars(text, text + equals, number);
    if (result.ec != std::errc() || result.ptr != text + equals) {
        return false;
    }
    char const* digits = text + equals + 1;
    bool ok = false;
    if (std::strchr(digits, '.') != nullptr) {
        const double real = ParameterUtils::StringToDouble(digits, ok);
        *this = FromDouble(number, real);
    } else {
        int64_t integer = 0;
        ok = ReadInteger(digits, integer);
        *this = FromInteger(number, integer);
    }
    valid = ok;
    return ok;
}
