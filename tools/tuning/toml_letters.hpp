// SPDX-License-Identifier: Apache-2.0
/// @file toml_letters.hpp
/// Takes bytes that are not ASCII past the TOML parser.
///
/// The parser asks of letters outside of texts whether they are spaces, and for some of them that
/// question has no defined answer in it. And a tag may be any bytes, not only UTF-8. So it gets to
/// see one harmless character for each such byte, U+E080 to U+E0FF of the private use area.
#pragma once

#include <string>

namespace tuning {

/// The document for the parser: ASCII as it is, a character for every other byte.
std::string HideBytes(const std::string& document);

/// A text that the parser gave back, with the bytes that the document had.
std::string RevealBytes(const std::string& text);

}  // namespace tuning
