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
    explicit ParameterTypeKey(char const* moduleName);

    uint32_t Hash() const { return m_hash; }
    /// Tell whether an entry tells this as its `TypeName()`: `kLongest` bytes, zero behind the
    /// name.
    template <typename Entry>
    bool Matches(Entry const& entry) const {
        // Word by word, as they were just written: a wider read would wait for all of them.
        char const* type = entry.TypeName();
        for (uint64_t const word : m_words) {
            uint64_t theirs;
            std::memcpy(&theirs, type, sizeof theirs);
            if (theirs != word) {
                return false;
            }
            type += sizeof theirs;
        }
        return true;
    }

    /// Find the part of a module name that its type name is made of: what follows a leading
    /// "tessaline_" or "tessaline" in any case of letters, if something does.
    static char const* StripPrefix(char const* moduleName);
    /// Shorten the rest of a name that is longer, to `kLongest` characters without a nul.
    static void Shorten(char* out, std::string_view rest);

  private:
    uint64_t m_words[kLongest / sizeof(uint64_t)] = {};  // the characters, zero behind them
    uint32_t m_hash = 0;
};
