// SPDX-License-Identifier: Apache-2.0
/// @file camera_keys.hpp
/// The keys of a camera file, as data: which slot of the public records each one fills.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "steadywarp/eis.h"

namespace steadywarp::tool {

/// How a key's words are stored.
enum class KeyKind : uint8_t {
    kBool,  ///< 0 or 1
    kU16,
    kU32,
    kI32,
    kF32,           ///< also tables of float
    kGeneralModel,  ///< the lens-shift model's coefficients, by accessor
    kOis,           ///< `offset` is an EIS_TUNING_OIS_* slot
    kBehaviour,     ///< `offset` is a face distortion or motion detection slot
    kDis,           ///< `offset` is an EIS_TUNING_DIS_* slot
};

/// One key.
struct CameraKey {
    std::string_view group;  ///< "common", "sensor", or the last part of the section's name
    std::string_view name;
    KeyKind kind;
    size_t offset;  ///< bytes into is_init_common_data or is_init_sensor_data, or a slot
    /// How many words the key takes: from `least` to `most`, for distortion grids one of the two.
    size_t least = 1;
    size_t most = 1;
};

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
