// SPDX-License-Identifier: Apache-2.0
#include "sensors/camera.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace steadywarp {
namespace {

Camera full_hd() {
    Camera camera;
    camera.focal_x = camera.focal_y = 1500.0;
    camera.center_x = 959.5;
    camera.center_y = 539.5;
    camera.width = 1920;
    camera.height = 1080;
    return camera;
}

// Values by rotation_reference.py: the product of the five matrices in 50 decimal digits.
TEST(RotationToHomography, IsTheProductOfItsFiveMatrices) {
    struct Row {
        Vec3<double> angles;
        double scale;
        Matrix3 expected;
    };
    // clang-format off
    const Row kRows[] = {
#include "isalgo/sensors/rotation_reference.inc"
    };
    // clang-format on
    for (const Row& row : kRows) {
        const Matrix3 got = rotation_to_homography(full_hd(), row.angles, row.scale);
        for (size_t i = 0; i < 9; ++i) {
            EXPECT_NEAR(got[i], row.expected[i], 1e-12 * std::max(1.0, std::fabs(row.expected[i])))
                << i;
        }
    }
}

TEST(RotationToHomography, MovesThePictureTheWayTheCameraTurns) {
    const Camera camera = full_hd();
    const Point2 center = {959.5, 539.5};
    // To the right about y: what was in the centre moves to the left by f * angle.
    const Point2 by_y = map_point(rotation_to_homography(camera, {0.0, 0.001, 0.0}, 1.0), center);
    EXPECT_NEAR(by_y.x, 959.5 - 1.5, 1e-5);
    EXPECT_NEAR(by_y.y, 539.5, 1e-9);
    // Up about x: it moves down.
    const Point2 by_x = map_point(rotation_to_homography(camera, {0.001, 0.0, 0.0}, 1.0), center);
    EXPECT_NEAR(by_x.y, 539.5 + 1.5, 1e-5);
    // Half the picture is seen twice as large.
    const Point2 cropped =
        map_point(rotation_to_homography(camera, {0.001, 0.0, 0.0}, 0.5), center);
    EXPECT_NEAR(cropped.y, 539.5 + 3.0, 1e-5);
    // Clockwise about z: the picture turns counterclockwise.
    const Point2 by_z = map_point(rotation_to_homography(camera, {0.0, 0.0, 0.001}, 1.0),
                                  {center.x + 100.0, center.y});
    EXPECT_NEAR(by_z.x, center.x + 100.0, 1e-4);
    EXPECT_NEAR(by_z.y, center.y - 0.1, 1e-6);
}

}  // namespace
}  // namespace steadywarp
