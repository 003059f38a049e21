// SPDX-License-Identifier: Apache-2.0
/// @file tuning_file.hpp
/// A tuning file of any size.
#pragma once

#include <algorithm>

#include "tuning_image.hpp"

namespace bench {

/// `records` modules spread over 64 modes, each with a text and four numbers of its own.
inline tuning::Bytes MakeFile(uint32_t records) {
    tuning::Image image;
    const uint32_t modes = std::min(records, 64u);
    for (uint32_t mode = 0; mode < modes; ++mode) {
        image.modes.push_back({mode, static_cast<uint16_t>(mode == 0 ? 0 : 2),
                               static_cast<uint16_t>(mode), 0, tuning::kNone, 0});
    }
    const auto put = [&image](uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            image.data.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
    };
    const auto end = [&image] { return static_cast<uint32_t>(image.data.size()); };
    for (uint32_t record = 1; record <= records; ++record) {
        const uint32_t text = 2 * record - 1;
        image.symbols.push_back({record, "alpha", {1, 2, 3}, record % modes, end(), 20, record});
        for (const uint32_t value : {record, 4u, text, 4u, text + 1}) {
            put(value);
        }
        image.data_rows.push_back({text, end(), 4, text});
        put(0x00747874);
        image.data_rows.push_back({text + 1, end(), 16, text + 1});
        for (uint32_t i = 0; i < 4; ++i) {
            put(record + i);
        }
    }
    return tuning::Encode(image);
}

}  // namespace bench
