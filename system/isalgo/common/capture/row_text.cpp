// SPDX-License-Identifier: Apache-2.0
#include "capture/row_text.hpp"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>

#include "base/allocation.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

RowText::RowText(uint32_t capacity, uint32_t& status)
    : _block(allocate_array<char>(capacity)), _capacity(capacity) {
    if (!_block) {
        _capacity = 0;
        status = EIS_ERROR_NO_MEMORY;
    }
}

void RowText::start() {
    _used = 0;
    _is_void = false;
    _has_remark = false;
}

void RowText::append(std::string_view piece) {
    if (_is_void || piece.size() >= _capacity - _used) {
        _is_void = true;
        return;
    }
    std::memcpy(_block.get() + _used, piece.data(), piece.size());
    _used += static_cast<uint32_t>(piece.size());
}

void RowText::separate() {
    if (_used != 0) {
        append(",");
    }
}

void RowText::number(uint64_t value) {
    separate();
    char digits[24];
    append({digits, std::to_chars(digits, std::end(digits), value).ptr});
}

void RowText::scientific(float value) {
    separate();
    char digits[32];
    const auto wide = static_cast<double>(value);
    append({digits,
            std::to_chars(digits, std::end(digits), wide, std::chars_format::scientific, 4).ptr});
}

void RowText::fixed(double value, int decimals) {
    // The largest double has 309 digits ahead of the point.
    char digits[344];
    append(
        {digits,
         std::to_chars(digits, std::end(digits), value, std::chars_format::fixed, decimals).ptr});
}

void RowText::precise(double value) {
    separate();
    fixed(value, 15);
}

void RowText::element(float value) {
    separate();
    fixed(static_cast<double>(value), 6);
}

void RowText::point(float x, float y) {
    // Any number has six characters or more; only "nan" and "inf" fall short of the width of 4.
    const auto pad = [this](float value) {
        if (!(value - value == 0.0f) && !std::signbit(value)) {
            append(" ");
        }
        fixed(static_cast<double>(value), 4);
    };
    separate();
    pad(x);
    append(", ");
    pad(y);
}

void RowText::begin_remark(std::string_view name) {
    append(_has_remark ? " " : ",");
    _has_remark = true;
    append(name);
    append("=");
}

void RowText::remark(std::string_view name, uint64_t value) {
    begin_remark(name);
    char digits[24];
    append({digits, std::to_chars(digits, std::end(digits), value).ptr});
}

void RowText::remark(std::string_view name, std::string_view value) {
    begin_remark(name);
    append(value);
}

template <typename Word>
void RowText::hexadecimal(Word word, bool is_first) {
    constexpr const char* kDigits = "0123456789abcdef";
    constexpr size_t kCount = 2 * sizeof(Word);
    char text[kCount + 1];
    text[0] = ':';
    for (size_t i = kCount; i > 0; --i) {
        text[i] = kDigits[word & 15];
        word >>= 4;
    }
    append({text + (is_first ? 1 : 0), text + kCount + 1});
}

void RowText::remark_bits(const float* values, size_t count) {
    begin_remark("bits");
    for (size_t i = 0; i < count; ++i) {
        hexadecimal(std::bit_cast<uint32_t>(values[i]), i == 0);
    }
}

void RowText::remark_bits(const double* values, size_t count) {
    begin_remark("bits");
    for (size_t i = 0; i < count; ++i) {
        hexadecimal(std::bit_cast<uint64_t>(values[i]), i == 0);
    }
}

void RowText::remark_words(std::string_view name, const uint32_t* words, size_t count) {
    begin_remark(name);
    for (size_t i = 0; i < count; ++i) {
        hexadecimal(words[i], i == 0);
    }
}

void RowText::word_short(float value) {
    if (_used != 0) {
        append(" ");
    }
    char digits[32];
    const auto wide = static_cast<double>(value);
    append(
        {digits, std::to_chars(digits, std::end(digits), wide, std::chars_format::general, 9).ptr});
}

void RowText::word_fixed16(float value) {
    if (_used != 0) {
        append(" ");
    }
    fixed(static_cast<double>(value), 16);
}

const char* RowText::text() {
    if (_is_void || _capacity == 0) {
        return nullptr;
    }
    _block[_used] = '\0';
    return _block.get();
}

}  // namespace steadywarp
