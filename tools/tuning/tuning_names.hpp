// SPDX-License-Identifier: Apache-2.0
/// @file tuning_names.hpp
/// How descriptions write modes and bytes.
#pragma once

#include <string>
#include <vector>

#include "tuning_image.hpp"

namespace tuning {

/// Longest path of a mode in a description, in bytes.
inline constexpr size_t kLongestPath = 1024;

struct Names {
    const char* mode;
    std::vector<const char*> subs;
};
/// Names of the modes in the order of their numbers, each with those of its sub-modes.
const std::vector<Names>& ModeNames();

/// "Usecase.Video", or numbers where there is no name.
std::string StepName(const ModeRow& row);

/// "00ff01a0 2b", four bytes in a group.
std::string Hex(const uint8_t* bytes, size_t count);

}  // namespace tuning
