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
        size_t length = std::strlen(text);
        char shortened[kLongest];
        if (length > kLongest) [[unlikely]] {
            Shorten(shortened, {text, length});
            text = shortened;
            length = kLongest;
        }
        m_isLong = length >= kWord;
        m_words[0] = WordOf(text, length, 0);
        m_hash = Mix(m_words[0]);
        if (m_isLong) {
            m_words[1] = WordOf(text, length, 1);
            m_words[2] = WordOf(text, length, 2);
            m_words[3] = WordOf(text, length, 3);
            m_hash = Mix(Mix(Mix(m_hash ^ m_words[1]) ^ m_words[2]) ^ m_words[3]);
        }
    }

    uint32_t Hash() const { return static_cast<uint32_t>(m_hash); }
    /// Tell whether an entry tells this as its `TypeName()`: `kLongest` bytes, zero behind the
    /// name.
    template <typename Entry>
    bool Matches(Entry const& entry) const {
        char const* type = entry.TypeName();
        const auto same = [&](size_t i) {
            return WordAt<uint64_t>(type + i * kWord) == m_words[i];
        };
        return same(0) && (!m_isLong || (same(1) && same(2) && same(3)));
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
    static uint64_t WordOf(char const* text, size_t length, size_t index) {
        const size_t at = index * kWord;
        if (length >= at + kWord) {
            return WordAt<uint64_t>(text + at);
        }
        return length > at ? PartOfWord(text + at, length - at) : 0;
    }
    // Only spreads names over the slots of a map; nothing that leaves the process depends on it.
    static uint64_t Mix(uint64_t word) {
        constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;  // the golden ratio's digits
        word *= kOdd;
        return word ^ word >> 32;
    }

    uint64_t m_words[kLongest / kWord];  // the characters, zero behind them; a short name has one
    bool m_isLong;                       // the first word has no room for the nul
    uint64_t m_hash;
};
