// SPDX-License-Identifier: Apache-2.0
/// @file fault_counts.hpp
/// What a validator counts. Only errors fail a call; severity of a log line is another matter.
#pragma once

#include <cstdint>

namespace steadywarp {

struct FaultCounts {
    uint32_t errors = 0;
    uint32_t warnings = 0;
    uint32_t infos = 0;
};

}  // namespace steadywarp
