// SPDX-License-Identifier: Apache-2.0
/// @file optics.hpp
/// The simulated camera: from a pixel of a recorded frame to a direction, at that pixel's own time.
///
/// Conventions
/// - Pixels count from the centre of the top-left pixel; the optical axis goes through the middle
///   of the picture, c = ((width - 1) / 2, (height - 1) / 2).
/// - An ideal pixel q belongs to a pinhole with the focal length. A recorded pixel u belongs to
///     q = undistort(c + (u - c) * scale + shift)
///   with the lens's shift and the scale that undoes the breathing of the focus, both of the time
///   at which u's row was read.
/// - Row y is read around the time sof - exposure / 2 + readout * (y + 0.5) / height.
#pragma once

#include "simulator/motion.hpp"

namespace steadywarp::tool {

/// What does not change while recording.
struct LensModel {
    uint32_t width = 1280;
    uint32_t height = 720;
    double focal_px = 1000.0;
    /// How far undistort() moves a corner outward, pixels; it grows with the cube of the distance
    /// from the middle.
    double distortion_px = 0.0;
};

/// A point or a shift, pixels.
struct Point2 {
    double x = 0.0;
    double y = 0.0;
};

/// The lens at one instant.
struct LensState {
    Point2 shift;        ///< what is added to a recorded pixel to undo the lens's shift
    double scale = 1.0;  ///< at most 1: a recorded picture is 1 / scale times too large
};

/// Undo the distortion alone.
Point2 undistort(const LensModel& lens, const Point2& recorded);

/// The inverse, to a millionth of a pixel.
Point2 distort(const LensModel& lens, const Point2& ideal);

/// The ideal pixel of a recorded one.
Point2 to_ideal(const LensModel& lens, const LensState& state, const Point2& recorded);

/// The recorded pixel of an ideal one.
Point2 to_recorded(const LensModel& lens, const LensState& state, const Point2& ideal);

/// How a lens moves while it records.
struct LensMotion {
    /// The lens follows this part of the fast turns of the camera, as optical stabilization does:
    /// 0 for a lens that stands still.
    double follow = 0.0;
    double follow_above_hz = 2.0;
    /// The focus goes back and forth: the picture breathes by this part of its size; 0: never.
    double breathing = 0.0;
    double breathing_hz = 0.3;
};

/// A lens whose state is known in closed form at every instant.
class Lens {
  public:
    Lens(const LensModel& model, const LensMotion& motion, const Motion& camera)
        : model_(model), motion_(motion), camera_(camera) {}

    const LensModel& model() const { return model_; }
    const LensMotion& motion() const { return motion_; }
    LensState at(double seconds) const;

    /// Where the lens stands along its axis, from 0 (far) to 1 (near).
    double position(double seconds) const;

  private:
    LensModel model_;
    LensMotion motion_;
    const Motion& camera_;
};

}  // namespace steadywarp::tool
