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
        if (length > kLongest) [[unlikely]] {
            TakeShortened({text, length});
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
        return WordAt<uint64_t>(type) == m_first &&
               (!m_isLong || std::memcmp(type + kWord, m_rest, sizeof m_rest) == 0);
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
    void TakeShortened(std::string_view rest);
    void Take(char const* text, size_t length) {
        m_isLong = length >= kWord;
        m_first = m_isLong ? WordAt<uint64_t>(text) : PartOfWord(text, length);
        m_hash = Mix(m_first);
        for (size_t at = kWord; at <= length; at += kWord) {
            uint64_t& word = m_rest[at / kWord - 1];
            const size_t left = length - at;
            word = left >= kWord ? WordAt<uint64_t>(text + at) : PartOfWord(text + at, left);
            m_hash = Mix(m_hash ^ word);
            if (at + kWord == kLongest) {
                break;
            }
        }
    }
    // Only spreads names over the slots of a map; nothing that leaves the process depends on it.
    static uint64_t Mix(uint64_t word) {
        constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;  // the golden ratio's digits
        word *= kOdd;
        return word ^ word >> 32;
    }

    uint64_t m_first = 0;                     // the first characters, zero behind them
    uint64_t m_rest[kLongest / kWord - 1]{};  // those behind, where there are any
    bool m_isLong = false;                    // the first word has no room for the nul
    uint64_t m_hash = 0;
};
