// SPDX-License-Identifier: Apache-2.0
/// @file parallel.hpp
/// Work on the rows of a picture with all cores.
#pragma once

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

namespace steadywarp::tool {

/// Cut rows 0 to `rows` into one span per core and call `work(first, end)` for each, side by side;
/// returns when all are done. `work` must not throw.
template <class Work>
void for_row_spans(uint32_t rows, const Work& work) {
    const uint32_t cores = std::clamp(std::thread::hardware_concurrency(), 1u, 16u);
    const auto start_of = [rows, cores](uint32_t i) {
        return static_cast<uint32_t>(static_cast<uint64_t>(rows) * i / cores);
    };
    std::vector<std::jthread> others;
    for (uint32_t i = 1; i < cores; ++i) {
        others.emplace_back(
            [&work, first = start_of(i), end = start_of(i + 1)] { work(first, end); });
    }
    work(0, start_of(1));
}

}  // namespace steadywarp::tool
