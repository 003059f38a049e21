// SPDX-License-Identifier: Apache-2.0
/// @file simulated_camera.hpp
/// A pinhole camera with a rolling shutter that turns while it reads: what a real one would see of
/// fixed directions in space, computed from the known orientation and nothing of the library.
///
/// Camera axes are x right, y down, z forward. Pixels count from the centre of the top-left pixel.
#pragma once

#include <array>
#include <cstdint>

#include "geometry/rotation.hpp"
#include "simulator/motion.hpp"
#include "steadywarp/eis.h"
#include "support/stream.hpp"

namespace steadywarp::test {

struct Pixel {
    double x;
    double y;
};

struct SimulatedCamera {
    const tool::Motion& motion;
    double width = kWidth;
    double height = kHeight;
    double focal = kFocalLength;
    double epoch_us = 0.0;      ///< time at which the motion starts
    double readout_us = 25000;  ///< of the whole frame

    Pixel center() const { return {(width - 1.0) / 2.0, (height - 1.0) / 2.0}; }
    tool::Matrix3 orientation_at(double time_us) const;

    /// The direction in space that `pixel` sees at a time.
    tool::Vector3 direction(const Pixel& pixel, double time_us) const;
    /// Where the camera, held still at its orientation of a time, sees a direction.
    Pixel project(const tool::Vector3& direction, double time_us) const;
    /// Where the rolling shutter sees it: row y is read at
    /// first_row_us + readout * (y + 0.5) / height.
    Pixel project_rolling(const tool::Vector3& direction, double first_row_us) const;

    double middle_us(double first_row_us) const { return first_row_us + readout_us / 2.0; }
};

/// The rates that a gyroscope in the device reads, for a camera at this position and mount angle.
RateSource device_rates(const tool::Motion& motion, double epoch_us, uint32_t camera_position,
                        uint32_t sensor_mount_angle);

/// A point through a frame's grid, bilinear between its nodes. Both in pixels from the centre of
/// the top-left pixel.
Pixel through_grid(const NcLibWarpGrid& grid, const Pixel& point);

/// A point through a frame's homography.
Pixel through_matrix(const NcLibWarpMatrices& matrices, const Pixel& point);

/// The point that a homography takes to `point`.
Pixel back_through_matrix(const NcLibWarpMatrices& matrices, const Pixel& point);

}  // namespace steadywarp::test
