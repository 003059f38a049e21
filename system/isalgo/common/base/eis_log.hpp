// SPDX-License-Identifier: Apache-2.0
/// @file eis_log.hpp
/// The log line, which stands on the platform floor because the tuning conversion writes it too.
#pragma once

#include "platform/eis_log.hpp"  // IWYU pragma: export
