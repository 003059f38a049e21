// SPDX-License-Identifier: Apache-2.0
#include "toml_letters.hpp"

namespace tuning {
namespace {

// U+E080 to U+E0FF in UTF-8: 0xEE, 0x82 or 0x83, and six bits more.
constexpr unsigned char kFirst = 0xEE;
constexpr unsigned char kSecond = 0x80;
constexpr unsigned char kThird = 0x80;

unsigned char ByteAt(const std::string& text, size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : static_cast<unsigned char>(0);
}

}  // namespace

std::string HideBytes(const std::string& document) {
    std::string hidden;
    hidden.reserve(document.size());
    for (size_t i = document.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0; i < document.size(); ++i) {
        const unsigned char byte = ByteAt(document, i);
        if (byte < 0x80) {
            hidden += static_cast<char>(byte);
            continue;
        }
        hidden += static_cast<char>(kFirst);
        hidden += static_cast<char>(kSecond | byte >> 6);
        hidden += static_cast<char>(kThird | (byte & 0x3F));
    }
    return hidden;
}

std::string RevealBytes(const std::string& text) {
    std::string revealed;
    revealed.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char second = ByteAt(text, i + 1);
        if (ByteAt(text, i) == kFirst && (second == (kSecond | 2) || second == (kSecond | 3))) {
            revealed += static_cast<char>((second & 3) << 6 | (ByteAt(text, i + 2) & 0x3F));
            i += 2;
        } else {
            revealed += text[i];
        }
    }
    return revealed;
}

}  // namespace tuning
