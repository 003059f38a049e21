// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/boundary.hpp"

#include <algorithm>
#include <array>

#include "base/numeric.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kPointsPerSide = 4;

// Clockwise from the top left in steps of a quarter side.
BorderPoints frame_border(const frame_geometry_windows& windows) {
    const double left = windows.input_left;
    const double top = windows.input_top;
    const double step_x = (windows.input_right - left) / kPointsPerSide;
    const double step_y = (windows.input_bottom - top) / kPointsPerSide;
    BorderPoints border;
    for (uint32_t i = 0; i < kPointsPerSide; ++i) {
        border[i] = {left + step_x * i, top};
        border[kPointsPerSide + i] = {windows.input_right, top + step_y * i};
        border[2 * kPointsPerSide + i] = {windows.input_right - step_x * i, windows.input_bottom};
        border[3 * kPointsPerSide + i] = {left, windows.input_bottom - step_y * i};
    }
    return border;
}

uint32_t time_row_of(double y, uint32_t height) {
    const int32_t row = cut_to_i32(y / height * (kTimeRows - 3)) + 1;
    return static_cast<uint32_t>(std::clamp<int32_t>(row, 0, kTimeRows - 1));
}

// Largest shifts on the top and left side, smallest on the bottom, largest on the right.
void measure_extents(const BorderPoints& source, BoundingBox& box) {
    const auto shift = [&](uint32_t i) {
        const uint32_t k = i % kBorderPoints;
        return Point2{box.points[k].x - source[k].x, box.points[k].y - source[k].y};
    };
    box.extent_top = shift(0).y;
    box.extent_right = shift(4).x;
    box.extent_bottom = shift(8).y;
    box.extent_left = shift(12).x;
    for (uint32_t i = 0; i <= kPointsPerSide; ++i) {
        box.extent_top = std::max(box.extent_top, shift(i).y);
        box.extent_right = std::max(box.extent_right, shift(4 + i).x);
        box.extent_bottom = std::min(box.extent_bottom, shift(8 + i).y);
        box.extent_left = std::min(box.extent_left, shift(12 + i).x);
    }
}

}  // namespace

void compute_boundary(const RowAngles& row_angles, const FrameOptics& optics, const Camera& camera,
                      const FilterInput& frame_input, const PictureTransforms& transforms,
                      const BorderPoints* start_points, BoundingBox& out) {
    const BorderPoints source =
        start_points != nullptr ? *start_points : frame_border(frame_input.windows);
    const Point2 center = {static_cast<double>((camera.width - 1) / 2),
                           static_cast<double>((camera.height - 1) / 2)};
    const TurnedCamera turned(camera, frame_input.windows.scale);
    // Of the rows that a point asked for; most points share theirs with others.
    std::array<Matrix3, kTimeRows> back;
    std::array<bool, kTimeRows> is_known{};
    for (uint32_t i = 0; i < kBorderPoints; ++i) {
        const uint32_t row = time_row_of(source[i].y, camera.height);
        if (!is_known[row]) {
            back[row] = turned.homography(-row_angles[row]);
            for (const Matrix3* inverse : {transforms.dis_inverse, transforms.sat_inverse}) {
                if (inverse != nullptr) {
                    back[row] = multiply(back[row], *inverse);
                }
            }
            is_known[row] = true;
        }
        Point2 point = source[i];
        if (optics.row_scales != nullptr) {
            point = scaled_about(center, point, (*optics.row_scales)[row]);
        }
        if (optics.lens != nullptr) {
            point = optics.lens->apply(point, (*optics.row_shifts)[row]);
        }
        if (optics.distortion.in2out != nullptr) {
            point =
                DistortionInCrop::undistorting(optics.distortion, frame_input.windows).apply(point);
        }
        out.points[i] = map_point(back[row], point);
    }
    measure_extents(source, out);
}

}  // namespace steadywarp
