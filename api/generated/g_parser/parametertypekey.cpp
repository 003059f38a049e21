// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametertypekey.h"

#include "platform/os_utils.hpp"

namespace {

constexpr char kPrefix[] = "tessaline_";
constexpr size_t kPrefixLength = sizeof kPrefix - 1;
constexpr size_t kLongHead = 8;
constexpr size_t kLongTail = 23;
static_assert(kLongHead + 1 + kLongTail == ParameterTypeKey::kLongest);

template <typename Word>
uint64_t WordAt(char const* text) {
    Word word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

// Up to seven characters as a word that is zero behind them. Reads that overlap take the place of
// a loop: a key is made for every look-up.
uint64_t PartOfWord(char const* text, size_t length) {
    if (length >= 4) {
        return WordAt<uint32_t>(text) | WordAt<uint32_t>(text + length - 4) << 8 * (length - 4);
    }
    uint64_t word = 0;
    for (size_t i = 0; i < length; ++i) {
        word |= uint64_t{static_cast<unsigned char>(text[i])} << 8 * i;
    }
    return word;
}

// Only spreads names over the slots of a map; nothing that leaves the process depends on it.
uint64_t Mix(uint64_t hash, uint64_t word) {
    constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;  // the golden ratio's digits
    hash = (hash ^ word) * kOdd;
    return hash ^ hash >> 32;
}

}  // namespace

char const* ParameterTypeKey::StripPrefix(char const* moduleName) {
    if (moduleName[0] != 't' && moduleName[0] != 'T') {
        return moduleName;
    }
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

ParameterTypeKey::ParameterTypeKey(char const* moduleName) {
    char const* text = StripPrefix(moduleName);
    size_t left = std::strlen(text);
    char shortened[kLongest];
    if (left > kLongest) {
        Shorten(shortened, {text, left});
        text = shortened;
        left = kLongest;
    }
    uint64_t hash = 0;
    uint64_t* word = m_words;
    for (; left >= sizeof *word; left -= sizeof *word, text += sizeof *word) {
        *word = WordAt<uint64_t>(text);
        hash = Mix(hash, *word++);
    }
    if (left > 0) {
        *word = PartOfWord(text, left);
        hash = Mix(hash, *word);
    }
    m_hash = static_cast<uint32_t>(hash);
}
