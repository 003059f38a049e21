// SPDX-License-Identifier: Apache-2.0
/// @file tuning_description.hpp
/// Tuning files as text that people read and write.
#pragma once

#include <optional>
#include <string>

#include "tuning_image.hpp"

namespace tuning {

/// Read "5.0.0". @return nothing for any other form.
std::optional<FileVersion> ParseVersion(const std::string& text);

/// Turn a TOML description into a file's tables; payloads with the same content are stored once
/// and marked as duplicates.
/// @param name shown in errors. @param version overrides the description's own if given.
/// @param error receives "name:line: what was expected".
std::optional<Image> ParseDescription(const std::string& text, const std::string& name,
                                      const std::optional<FileVersion>& version,
                                      std::string* error);

/// Turn tables into a description from which ParseDescription() makes the same tables. Payloads
/// are printed as bytes, for the file does not say what they mean.
std::string PrintDescription(const Image& image);

}  // namespace tuning
