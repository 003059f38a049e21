// SPDX-License-Identifier: Apache-2.0
/// @file camera_keys.hpp
/// The keys of a camera file: looking them up, and storing their words in the public records.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "init_keys.hpp"
#include "steadywarp/eis.h"

namespace steadywarp::tool {

/// One key. The table is the one by which the library writes a capture's init_data.ini.
using CameraKey = InitKey;

/// All keys but those of the sensor's own distortion grids (`ldc_in2out_*`, `ldc_out2in_*`).
std::span<const CameraKey> camera_keys();

/// Look a key up; NULL if there is none.
const CameraKey* find_camera_key(std::string_view group, std::string_view name);

/// Store the words of a key, numbers only.
///
/// @param common,sensor the records; only the one that the key belongs to is written.
/// @return false if the count or a word does not fit the key; the record may be written in part.
bool store_words(const CameraKey& key, std::span<const std::string_view> words,
                 is_init_common_data& common, is_init_sensor_data& sensor);

/// Say what store_words() would take: "10 numbers", "0 or 1", ...
std::string words_wanted(const CameraKey& key);

}  // namespace steadywarp::tool
