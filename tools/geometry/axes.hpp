// SPDX-License-Identifier: Apache-2.0
/// @file axes.hpp
/// Renaming and negating axes: from a gyroscope's axes to the camera's and back.
///
/// Camera axes are x right, y down, z forward. Device axes are what the table at the top of
/// steadywarp/eis.h takes to them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "geometry/rotation.hpp"

namespace steadywarp::tool {

/// A signed permutation: output axis i is `sign[i]` times input axis `source[i]`.
struct AxisMap {
    std::array<uint8_t, 3> source = {0, 1, 2};
    std::array<int8_t, 3> sign = {1, 1, 1};

    bool operator==(const AxisMap&) const = default;
};

/// Apply a map to a vector.
Vector3 map_axes(const AxisMap& map, const Vector3& v);

/// Undo a map.
AxisMap inverse(const AxisMap& map);

/// Tell whether a map keeps handedness; the others mirror.
bool is_proper(const AxisMap& map);

/// The library's table from device axes to camera axes.
///
/// @param camera_position 0 rear, 1 front.
/// @param mount_angle degrees.
/// @return nothing for an angle other than 0, 90, 180, 270 or another position.
std::optional<AxisMap> device_to_camera(uint32_t camera_position, uint32_t mount_angle);

/// The map from a gyro log's own axes to camera axes.
///
/// Letter i of `orientation` names the sensor axis that feeds output axis i, lower case means
/// negated; output axes are x up, y left, z backward.
/// @return nothing unless each of x, y, z stands once. The map may be a mirror: see is_proper().
std::optional<AxisMap> log_to_camera(std::string_view orientation);

}  // namespace steadywarp::tool
