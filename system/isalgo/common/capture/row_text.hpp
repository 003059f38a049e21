// SPDX-License-Identifier: Apache-2.0
/// @file row_text.hpp
/// The text of one row while it is put together: cells, then remarks. The same text in every
/// locale; nothing is allocated after construction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace steadywarp {

/// A row in a fixed block. What does not fit makes the row void: text() gives NULL.
class RowText {
  public:
    /// @param status set to EIS_ERROR_NO_MEMORY when there is no block, else left as it is.
    RowText(uint32_t capacity, uint32_t& status);

    /// Begin an empty row.
    void start();

    /// A cell "%u" or "%lu".
    void number(uint64_t value);
    /// A cell "%.4e".
    void scientific(float value);
    /// A cell "%.15lf".
    void precise(double value);
    /// A cell "%lf".
    void element(float value);
    /// Two cells "%4.4lf, %4.4lf".
    void point(float x, float y);

    /// A remark `name=value`; remarks share the last cell of the row.
    void remark(std::string_view name, uint64_t value);
    void remark(std::string_view name, std::string_view value);
    /// A remark whose value is the bits of numbers, in hexadecimal with colons between them.
    void remark_bits(const float* values, size_t count);
    void remark_bits(const double* values, size_t count);
    void remark_words(std::string_view name, const uint32_t* words, size_t count);

    /// A word of an INI value: "%.9g", from which any float reads back, or "%.16lf"; behind a
    /// blank unless it is the first.
    void word_short(float value);
    void word_fixed16(float value);

    /// The row, ended by a zero byte; NULL if it did not fit.
    const char* text();

  private:
    void append(std::string_view piece);
    void separate();
    void fixed(double value, int decimals);
    void begin_remark(std::string_view name);
    template <typename Word>
    void hexadecimal(Word word, bool is_first);

    std::unique_ptr<char[]> _block;
    uint32_t _capacity;
    uint32_t _used = 0;
    bool _is_void = false;
    bool _has_remark = false;
};

}  // namespace steadywarp
