// SPDX-License-Identifier: Apache-2.0
#include "input/camera_keys.hpp"

#include <cstring>
#include <limits>
#include <string>

#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

/// Put a value at its place in a record; the place has the type T by the table of keys.
template <class T>
void put(void* record, size_t offset, T value) {
    std::memcpy(static_cast<unsigned char*>(record) + offset, &value, sizeof value);
}

bool fits(double value, double least, double most) {
    return value >= least && value <= most &&
           value == static_cast<double>(static_cast<int64_t>(value));
}

bool store_integer(const CameraKey& key, double value, void* record) {
    switch (key.kind) {
        case KeyKind::kBool:
            put(record, key.offset, value != 0.0);
            return fits(value, 0, 1);
        case KeyKind::kU16:
            if (fits(value, 0, UINT16_MAX)) {
                put(record, key.offset, static_cast<uint16_t>(value));
                return true;
            }
            return false;
        case KeyKind::kU32:
            if (fits(value, 0, UINT32_MAX)) {
                put(record, key.offset, static_cast<uint32_t>(value));
                return true;
            }
            return false;
        default:
            if (fits(value, INT32_MIN, INT32_MAX)) {
                put(record, key.offset, static_cast<int32_t>(value));
                return true;
            }
            return false;
    }
}

void store_float(const CameraKey& key, size_t index, float value, void* record,
                 is_tessaline_info_s& tuning) {
    const auto slot = static_cast<uint32_t>(key.offset);
    switch (key.kind) {
        case KeyKind::kGeneralModel:
            eis_tuning_set_general_model_parameter(&tuning, static_cast<uint32_t>(index), value);
            break;
        case KeyKind::kOis:
            eis_tuning_set_ois(&tuning, slot, value);
            break;
        case KeyKind::kBehaviour:
            eis_tuning_set_behaviour(&tuning, slot, value);
            break;
        case KeyKind::kDis:
            eis_tuning_set_dis(&tuning, slot, value);
            break;
        default:
            put(record, key.offset + index * sizeof(float), value);
            break;
    }
}

bool is_integer_kind(KeyKind kind) {
    return kind <= KeyKind::kI32;
}

bool count_fits(const CameraKey& key, size_t count) {
    return is_grid_table(key) ? count == key.least || count == key.most
                              : count >= key.least && count <= key.most;
}

}  // namespace

std::span<const CameraKey> camera_keys() {
    return kInitKeys;
}

const CameraKey* find_camera_key(std::string_view group, std::string_view name) {
    for (const CameraKey& key : kInitKeys) {
        if (key.group == group && key.name == name) {
            return &key;
        }
    }
    return nullptr;
}

bool store_words(const CameraKey& key, std::span<const std::string_view> words,
                 is_init_common_data& common, is_init_sensor_data& sensor) {
    if (!count_fits(key, words.size())) {
        return false;
    }
    void* const record = key.group == "common" ? static_cast<void*>(&common) : &sensor;
    for (size_t i = 0; i < words.size(); ++i) {
        const auto value = parse_number(words[i]);
        if (!value || std::abs(*value) > static_cast<double>(std::numeric_limits<float>::max())) {
            return false;
        }
        if (is_integer_kind(key.kind)) {
            return store_integer(key, *value, record);
        }
        store_float(key, i, static_cast<float>(*value), record, sensor.tuning);
    }
    return true;
}

std::string words_wanted(const CameraKey& key) {
    switch (key.kind) {
        case KeyKind::kBool:
            return "0 or 1";
        case KeyKind::kU16:
            return "an integer from 0 to 65535";
        case KeyKind::kU32:
            return "an integer from 0 to 4294967295";
        case KeyKind::kI32:
            return "an integer from -2147483648 to 2147483647";
        default:
            break;
    }
    if (key.most == 1) {
        return "a number";
    }
    if (key.least == key.most) {
        return std::to_string(key.most) + " numbers";
    }
    return std::to_string(key.least) + (is_grid_table(key) ? " or " : " to ") +
           std::to_string(key.most) + " numbers";
}

}  // namespace steadywarp::tool
