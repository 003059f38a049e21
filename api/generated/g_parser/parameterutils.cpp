// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterutils.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "parameterlogging.hpp"

namespace {

constexpr unsigned int kMaxComponent = 128;  // longest component of a dotted path
constexpr unsigned int kMaxIndexDigits = 9;  // what surely fits in 32 bits
// Digits printed behind the one that decides the rounding. No double lies as close as that to a
// boundary without lying on it, so the text that is rounded stands for the exact value.
constexpr int kExactDigits = 40;
constexpr unsigned int kMaxDecimals = 40;

unsigned int Available(unsigned int length, unsigned int pos) {
    return pos < length ? length - pos : 0;
}

// Round a text "123.456..." half up at `decimals` digits behind its point, in place.
// `digits` has one byte of room in front, which takes the carry.
void RoundHalfUp(char* digits, unsigned int decimals) {
    char* point = std::strchr(digits, '.');
    char* deciding = point + 1 + decimals;
    const bool up = *deciding >= '5';
    *deciding = '\0';
    if (!up) {
        return;
    }
    for (char* digit = deciding - 1; digit >= digits; --digit) {
        if (*digit == '.') {
            continue;
        }
        if (*digit != '9') {
            ++*digit;
            return;
        }
        *digit = '0';
    }
    digits[-1] = '1';
}

void TrimFraction(char* digits, unsigned int decimals) {
    char* point = std::strchr(digits, '.');
    if (decimals == 0) {
        *point = '\0';
        return;
    }
    char* last = digits + std::strlen(digits) - 1;
    while (*last == '0' && last > point + 1) {
        *last-- = '\0';
    }
}

}  // namespace

bool ParameterUtils::ReadString(char* value, unsigned char const* buffer, unsigned int length,
                                unsigned int* pos, unsigned int valueSize, unsigned int fieldSize,
                                unsigned char alignment, IParameterLoggingAPI* logger) {
    if (value == nullptr) {
        PARAMETER_LOG_ERROR(logger,
                            "ReadBuffer failed to allocate space for a string of %d length\n",
                            static_cast<int>(fieldSize));
        return false;
    }
    if (valueSize == 0 || buffer == nullptr) {
        return false;
    }
    const unsigned int available = Available(length, *pos);
    const unsigned int copied = std::min({fieldSize, available, valueSize});
    if (copied > 0) {
        std::memcpy(value, buffer + *pos, copied);
    }
    std::memset(value + copied, 0, valueSize - copied);
    value[valueSize - 1] = '\0';
    Advance(pos, fieldSize, alignment);
    return available >= fieldSize;
}

unsigned int ParameterUtils::TextLength(unsigned char const* buffer, unsigned int length,
                                        unsigned int pos, unsigned int fieldSize) {
    const unsigned int room = std::min(fieldSize, Available(length, pos));
    if (buffer == nullptr || room == 0) {
        return 0;
    }
    void const* nul = std::memchr(buffer + pos, 0, room);
    return nul != nullptr
               ? static_cast<unsigned int>(static_cast<unsigned char const*>(nul) - (buffer + pos))
               : room;
}

char* ParameterUtils::ReadString(unsigned char const* buffer, unsigned int length,
                                 unsigned int* pos, unsigned int fieldSize,
                                 unsigned char alignment) {
    if (buffer == nullptr) {
        return nullptr;
    }
    const unsigned int room = TextLength(buffer, length, *pos, fieldSize) + 1;
    char* text = static_cast<char*>(std::malloc(room));
    if (text != nullptr) {
        ReadString(text, buffer, length, pos, room, fieldSize, alignment, nullptr);
    }
    return text;
}

bool ParameterUtils::ReadBuffer(unsigned char* value, unsigned char const* buffer,
                                unsigned int length, unsigned int* pos, unsigned int count,
                                unsigned char alignment, IParameterLoggingAPI* logger) {
    if (buffer == nullptr) {
        PARAMETER_LOG_ERROR(logger, "ReadBuffer called with nullptr buffer\n");
        return count == 0;
    }
    if (value == nullptr) {
        PARAMETER_LOG_ERROR(logger, "ReadBuffer called with nullptr value\n");
        return count == 0;
    }
    const unsigned int copied = std::min(count, Available(length, *pos));
    if (copied > 0) {
        std::memcpy(value, buffer + *pos, copied);
    }
    Advance(pos, count, alignment);
    if (copied != count) {
        PARAMETER_LOG_ERROR(logger, "ReadBuffer failed, read %d bytes, expected %d bytes\n",
                            static_cast<int>(copied), static_cast<int>(count));
        return false;
    }
    return true;
}

bool ParameterUtils::WriteString(char const* value, unsigned char* buffer, unsigned int length,
                                 unsigned int* pos, bool includeNul, IParameterLoggingAPI* logger) {
    char const* text = value != nullptr ? value : "";
    const size_t size = std::strlen(text) + 1;
    if (size > Available(length, *pos)) {
        PARAMETER_LOG_ERROR(logger, "Failed to write %lld bytes to binary offset %d, length %d\n",
                            static_cast<long long>(size), static_cast<int>(*pos),
                            static_cast<int>(length));
        return false;
    }
    std::memcpy(buffer + *pos, text, size);
    *pos += static_cast<unsigned int>(includeNul ? size : size - 1);
    return true;
}

int ParameterUtils::GetStringPos(char const* text, char c) {
    char const* found = text != nullptr ? std::strchr(text, c) : nullptr;
    return found != nullptr && c != '\0' ? static_cast<int>(found - text) : -1;
}

unsigned int ParameterUtils::GetSubString(char const* text, char delimiter, char* out,
                                          unsigned int outSize) {
    size_t consumed = 0;
    while (text != nullptr && text[consumed] != '\0' && text[consumed] != delimiter) {
        ++consumed;
    }
    if (out != nullptr && outSize > 0) {
        const size_t copied = std::min<size_t>(consumed, outSize - 1);
        if (copied > 0) {
            std::memcpy(out, text, copied);
        }
        out[copied] = '\0';
    }
    return static_cast<unsigned int>(consumed);
}

double ParameterUtils::StringToDouble(char const* text, bool& ok) {
    ok = false;
    if (text == nullptr) {
        return 0.0;
    }
    char const* minus = std::strrchr(text, '-');
    char const* digits = minus != nullptr ? minus + 1 : text;
    char const* end = digits + std::strlen(digits);
    // The conversion below would also take words such as "inf".
    for (char const* c = digits; c < end; ++c) {
        if ((*c < '0' || *c > '9') && *c != '.') {
            return 0.0;
        }
    }
    double value = 0.0;
    const auto result = std::from_chars(digits, end, value, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != end) {
        return 0.0;
    }
    ok = true;
    return minus != nullptr ? -value : value;
}

char* ParameterUtils::DoubleToString(double value, char* out, unsigned int outSize,
                                     unsigned int decimals, bool& ok) {
    ok = false;
    if (out == nullptr || outSize == 0) {
        return out;
    }
    out[0] = '\0';
    if (!std::isfinite(value)) {
        return out;
    }
    decimals = std::min(decimals, kMaxDecimals);
    // 309 digits before the point at most; a sign and a carry in front.
    char text[512];
    char* digits = text + 2;
    const auto end =
        std::to_chars(digits, text + sizeof text - 1, std::fabs(value), std::chars_format::fixed,
                      static_cast<int>(decimals) + kExactDigits);
    *end.ptr = '\0';
    text[1] = '\0';
    RoundHalfUp(digits, decimals);
    TrimFraction(digits, decimals);
    char* first = text[1] != '\0' ? text + 1 : digits;
    if (value < 0.0 && std::strspn(first, "0.") != std::strlen(first)) {
        *--first = '-';
    }
    const size_t length = std::strlen(first);
    if (length >= outSize) {
        return out;
    }
    std::memcpy(out, first, length + 1);
    ok = true;
    return out;
}

unsigned int ParameterUtils::GetVariable(char const* path, char* name, unsigned int& index,
                                         unsigned long nameSize) {
    if (path == nullptr || name == nullptr || nameSize == 0) {
        return 0;
    }
    name[0] = '\0';
    char component[kMaxComponent + 1];
    const unsigned int length = GetSubString(path, '.', component, sizeof component);
    if (length > kMaxComponent) {
        return 0;
    }
    const int bracket = GetStringPos(component, '[');
    const size_t nameLength = bracket >= 0 ? static_cast<size_t>(bracket) : length;
    if (nameLength >= nameSize) {
        return 0;
    }
    if (bracket >= 0) {
        char const* digits = component + bracket + 1;
        const size_t count = std::strspn(digits, "0123456789");
        if (count == 0 || count > kMaxIndexDigits || std::strcmp(digits + count, "]") != 0) {
            return 0;
        }
        std::from_chars(digits, digits + count, index);
    }
    std::memcpy(name, component, nameLength);
    name[nameLength] = '\0';
    return path[length] == '.' ? length + 1 : length;
}
