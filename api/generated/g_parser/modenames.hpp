// SPDX-License-Identifier: Apache-2.0
/// @file modenames.hpp
/// The names of the steps of a mode path.
#pragma once

#include <cstdint>

/// Name of a mode, or NULL if the number has none.
char const* NameOfMode(uint32_t mode);
/// Name of a sub-mode, or NULL if the number has none.
char const* NameOfSubMode(uint32_t mode, uint32_t subMode);
/// Number of a mode's name, in any case of letters. @return false if there is no such name.
bool FindModeName(char const* name, uint32_t* mode);
/// Number of a sub-mode's name; a decimal number of 16 bits stands for itself.
bool FindSubModeName(uint32_t mode, char const* name, uint32_t* subMode);
