// SPDX-License-Identifier: Apache-2.0
#include "geometry/axes.hpp"

namespace steadywarp::tool {
namespace {

struct MountRow {
    uint32_t camera_position;
    uint32_t mount_angle;
    AxisMap map;
};

// clang-format off
constexpr MountRow kMountRows[] = {
    // position, angle, source axes, signs
    {0,   0, {{0, 1, 2}, {-1,  1, -1}}},
    {0,  90, {{1, 0, 2}, {-1, -1, -1}}},
    {0, 180, {{0, 1, 2}, { 1, -1, -1}}},
    {0, 270, {{1, 0, 2}, { 1,  1, -1}}},
    {1,   0, {{0, 1, 2}, {-1, -1,  1}}},
    {1,  90, {{1, 0, 2}, {-1,  1,  1}}},
    {1, 180, {{0, 1, 2}, { 1,  1,  1}}},
    {1, 270, {{1, 0, 2}, { 1, -1,  1}}},
};
// clang-format on

}  // namespace

Vector3 map_axes(const AxisMap& map, const Vector3& v) {
    Vector3 out{};
    for (size_t i = 0; i < 3; ++i) {
        out[i] = map.sign[i] * v[map.source[i]];
    }
    return out;
}

AxisMap inverse(const AxisMap& map) {
    AxisMap out;
    for (uint8_t i = 0; i < 3; ++i) {
        out.source[map.source[i]] = i;
        out.sign[map.source[i]] = map.sign[i];
    }
    return out;
}

bool is_proper(const AxisMap& map) {
    // A permutation of three is even when it is a rotation of the order, that is when the step
    // from each source to the next is the same.
    const bool even = (map.source[1] + 3 - map.source[0]) % 3 == 1;
    return (even ? 1 : -1) * map.sign[0] * map.sign[1] * map.sign[2] == 1;
}

std::optional<AxisMap> device_to_camera(uint32_t camera_position, uint32_t mount_angle) {
    for (const MountRow& row : kMountRows) {
        if (row.camera_position == camera_position && row.mount_angle == mount_angle) {
            return row.map;
        }
    }
    return std::nullopt;
}

std::optional<AxisMap> log_to_camera(std::string_view orientation) {
    if (orientation.size() != 3) {
        return std::nullopt;
    }
    AxisMap to_output;
    unsigned seen = 0;
    for (size_t i = 0; i < 3; ++i) {
        const char letter = orientation[i];
        const bool negated = letter >= 'x' && letter <= 'z';
        if (!negated && (letter < 'X' || letter > 'Z')) {
            return std::nullopt;
        }
        to_output.source[i] = static_cast<uint8_t>(letter - (negated ? 'x' : 'X'));
        to_output.sign[i] = negated ? -1 : 1;
        seen |= 1u << to_output.source[i];
    }
    if (seen != 7u) {
        return std::nullopt;
    }
    // Right is minus left, down is minus up, forward is minus backward.
    constexpr uint8_t kOutputOfCamera[3] = {1, 0, 2};
    AxisMap out;
    for (size_t i = 0; i < 3; ++i) {
        out.source[i] = to_output.source[kOutputOfCamera[i]];
        out.sign[i] = static_cast<int8_t>(-to_output.sign[kOutputOfCamera[i]]);
    }
    return out;
}

}  // namespace steadywarp::tool
