// SPDX-License-Identifier: Apache-2.0
/// @file scene.hpp
/// What the simulated camera looks at: a square in a town, drawn by rule from a seed.
///
/// Conventions
/// - World axes are those of the camera at rest: x right, y down, z forward, metres.
/// - The far part (sky, hills, houses, pavement, lamp posts) is a cube of six pictures around the
///   camera's place at rest; it does not move when the camera does. Face k shows what a camera of
///   90 degrees sees whose right, down and forward axes are kFaceAxes[k].
/// - The near part is a few upright boards; they shift against the far part when the camera moves.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "geometry/rotation.hpp"
#include "video/picture.hpp"

namespace steadywarp::tool {

/// An axis of the world with a sign, as index 0 to 2 and +1 or -1.
struct SignedAxis {
    uint8_t index;
    int8_t sign;
};

/// Right, down and forward of each face: ahead, right, behind, left, down, up.
inline constexpr SignedAxis kFaceAxes[6][3] = {
    {{0, 1}, {1, 1}, {2, 1}},  {{2, -1}, {1, 1}, {0, 1}}, {{0, -1}, {1, 1}, {2, -1}},
    {{2, 1}, {1, 1}, {0, -1}}, {{0, 1}, {2, -1}, {1, 1}}, {{0, 1}, {2, 1}, {1, -1}},
};

/// An upright rectangle with a picture on it, facing its own direction.
struct Board {
    Vector3 centre{};
    double half_width = 0.0;   ///< metres
    double half_height = 0.0;  ///< metres
    double turn = 0.0;         ///< about the vertical; 0 faces the camera at rest
    Picture picture;
};

/// The scene; immutable once drawn.
struct Scene {
    uint32_t face_size = 0;  ///< pixels
    /// Pictures of face_size squared; a face nobody looks at may be empty.
    std::array<Picture, 6> faces;
    std::vector<Board> boards;
};

/// Index of the face a direction meets.
inline size_t face_of(const Vector3& direction) {
    const double x = std::abs(direction[0]);
    const double y = std::abs(direction[1]);
    const double z = std::abs(direction[2]);
    if (z >= x && z >= y) {
        return direction[2] >= 0.0 ? 0 : 2;
    }
    if (x >= y) {
        return direction[0] >= 0.0 ? 1 : 3;
    }
    return direction[1] >= 0.0 ? 4 : 5;
}

/// Draw the scene.
///
/// @param face_size even, pixels; about two focal lengths of the camera gives a pixel for a pixel.
/// @param wanted which faces to draw.
Scene draw_scene(uint64_t seed, uint32_t face_size, const std::array<bool, 6>& wanted);

}  // namespace steadywarp::tool
