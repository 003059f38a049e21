// SPDX-License-Identifier: Apache-2.0
#include "simulator/optics.hpp"

namespace steadywarp::tool {
namespace {

/// Strength of the cubic: a point at distance r from the middle moves to r (1 + k r^2).
double cubic_strength(const LensModel& lens) {
    const double corner2 = 0.25 * (static_cast<double>(lens.width) * lens.width +
                                   static_cast<double>(lens.height) * lens.height);
    return lens.distortion_px / (corner2 * std::sqrt(corner2));
}

Point2 middle(const LensModel& lens) {
    return {(lens.width - 1.0) * 0.5, (lens.height - 1.0) * 0.5};
}

}  // namespace

Point2 undistort(const LensModel& lens, const Point2& recorded) {
    const Point2 c = middle(lens);
    const double x = recorded.x - c.x;
    const double y = recorded.y - c.y;
    const double gain = 1.0 + cubic_strength(lens) * (x * x + y * y);
    return {c.x + x * gain, c.y + y * gain};
}

Point2 distort(const LensModel& lens, const Point2& ideal) {
    const Point2 c = middle(lens);
    const double x = ideal.x - c.x;
    const double y = ideal.y - c.y;
    const double k = cubic_strength(lens);
    const double target = std::sqrt(x * x + y * y);
    // Newton's steps for r + k r^3 = target; mild distortions need three.
    double r = target;
    for (int i = 0; i < 8; ++i) {
        r -= (r + k * r * r * r - target) / (1.0 + 3.0 * k * r * r);
    }
    const double gain = target > 0.0 ? r / target : 1.0;
    return {c.x + x * gain, c.y + y * gain};
}

Point2 to_ideal(const LensModel& lens, const LensState& state, const Point2& recorded) {
    const Point2 c = middle(lens);
    return undistort(lens, {c.x + (recorded.x - c.x) * state.scale + state.shift.x,
                            c.y + (recorded.y - c.y) * state.scale + state.shift.y});
}

Point2 to_recorded(const LensModel& lens, const LensState& state, const Point2& ideal) {
    const Point2 c = middle(lens);
    const Point2 p = distort(lens, ideal);
    return {c.x + (p.x - state.shift.x - c.x) / state.scale,
            c.y + (p.y - state.shift.y - c.y) / state.scale};
}

double Lens::position(double seconds) const {
    return motion_.breathing > 0.0
               ? 0.5 - 0.5 * std::cos(2.0 * kPi * motion_.breathing_hz * seconds)
               : 0.0;
}

LensState Lens::at(double seconds) const {
    LensState out;
    if (motion_.follow != 0.0) {
        // A turn to the right (about y) takes the content f * angle to the left, one downward
        // (about minus x) upward. The lens brings part of it back, so the undoing has its sign.
        double angle[2] = {};
        for (size_t axis = 0; axis < 2; ++axis) {
            for (const Tone& tone : camera_.tones(axis)) {
                if (tone.hz >= motion_.follow_above_hz) {
                    const double w = 2.0 * kPi * tone.hz;
                    angle[axis] += tone.rate / w * std::sin(w * seconds + tone.phase);
                }
            }
        }
        out.shift.x = -motion_.follow * model_.focal_px * angle[1];
        out.shift.y = motion_.follow * model_.focal_px * angle[0];
    }
    out.scale = 1.0 - motion_.breathing * position(seconds);
    return out;
}

}  // namespace steadywarp::tool
