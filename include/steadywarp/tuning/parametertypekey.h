// SPDX-License-Identifier: Apache-2.0
/// @file parametertypekey.h
/// The name of a module type as a key.
#pragma once

#include <string_view>

#include "steadywarp/tuning/parametertypes.h"

/// The name of a module type, of at most 32 characters, and its hash.
///
/// Made of any module name; a long one is shortened as a record would hold it.
class STEADYWARP_API ParameterTypeKey {
  public:
    /// Longest name of a type; see ModuleData::GetType() for what becomes of a longer one.
    static constexpr size_t kLongest = 32;

    /// @param moduleName full name of a module; not kept.
    explicit ParameterTypeKey(char const* moduleName) {
        char const* text = StripPrefix(moduleName);
        const size_t length = std::strlen(text);
        char shortened[kLongest];
        if (length > kLongest) {
            Shorten(shortened, {text, length});
            Take(shortened, kLongest);
        } else {
            Take(text, length);
        }
    }

    uint32_t Hash() const { return static_cast<uint32_t>(m_hash); }
    /// Tell whether an entry tells this as its `TypeName()`: `kLongest` bytes, zero behind the
    /// name.
    template <typename Entry>
    bool Matches(Entry const& entry) const {
        char const* type = entry.TypeName();
#pragma GCC unroll 1
        for (uint32_t i = 0; i < m_count; ++i, type += sizeof m_words[i]) {
            if (WordAt<uint64_t>(type) != m_words[i]) {
                return false;
            }
        }
        return true;
    }

    /// Find the part of a module name that its type name is made of: what follows a leading
    /// "tessaline_" or "tessaline" in any case of letters, if something does.
    static char const* StripPrefix(char const* moduleName) {
        const bool maybe = moduleName[0] == 't' || moduleName[0] == 'T';
        return maybe ? StripLetters(moduleName) : moduleName;
    }
    /// Shorten the rest of a name that is longer, to `kLongest` characters without a nul.
    static void Shorten(char* out, std::string_view rest);

  private:
    static constexpr size_t kWord = sizeof(uint64_t);

    template <typename Word>
    static uint64_t WordAt(char const* text) {
        Word word;
        std::memcpy(&word, text, sizeof word);
        return word;
    }
    // Up to seven characters as a word that is zero behind them. Reads that overlap take the place
    // of a loop: a key is made for every look-up.
    static uint64_t PartOfWord(char const* text, size_t length) {
        if (length >= 4) {
            return WordAt<uint32_t>(text) | WordAt<uint32_t>(text + length - 4) << 8 * (length - 4);
        }
        uint64_t word = 0;
        for (size_t i = 0; i < length; ++i) {
            word |= uint64_t{static_cast<unsigned char>(text[i])} << 8 * i;
        }
        return word;
    }
    static char const* StripLetters(char const* moduleName);
    void Take(char const* text, size_t length) {
        for (; length >= kWord; length -= kWord, text += kWord) {
            Add(WordAt<uint64_t>(text));
        }
        if (m_count < kLongest / kWord) {
            Add(PartOfWord(text, length));  // zero for the end of a name that fills its words
        }
    }
    // Only spreads names over the slots of a map; nothing that leaves the process depends on it.
    void Add(uint64_t word) {
        constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;  // the golden ratio's digits
        m_words[m_count++] = word;
        m_hash = (m_hash ^ word) * kOdd;
        m_hash ^= m_hash >> 32;
    }

    uint64_t m_words[kLongest / kWord];  // the characters and zeroes up to the end of a word
    uint32_t m_count = 0;                // words so far
    uint64_t m_hash = 0;
};
