// SPDX-License-Identifier: Apache-2.0
/// @file motion.hpp
/// Camera motion whose orientation is known in closed form at every instant.
///
/// Conventions
/// - Camera axes: x right, y down, z forward. The world frame is the camera's at zero angles.
/// - Times are seconds from the start of the motion, as double.
/// - Orientation C(t) takes camera coordinates to world coordinates:
///     C = Ry(y + turn_rate t + sweeps) Rx(x) Rz(z)
///   with the three angles sums of sines,
///     angle(t) = sum over tones of rate / (2 pi hz) * sin(2 pi hz t + phase).
/// - Position is metres from where the motion starts, in world axes; it too is a sum of sines.
/// - The body rate w is what a perfect gyroscope in the camera reads: C' = C [w]x, exactly, at any
///   size of the angles.
#pragma once

#include <cstdint>
#include <vector>

#include "geometry/rotation.hpp"

namespace steadywarp::tool {

/// One sine of an angle.
struct Tone {
    double hz;     ///< frequency, above 0
    double rate;   ///< amplitude of the angle's rate, rad/s
    double phase;  ///< radians
};

/// More shake: a band of frequencies with its own strength about each axis.
struct ShakeBand {
    double low_hz;
    double high_hz;
    Vector3 rms_rate;  ///< rad/s about x, y, z; flat in rate over the band
    uint32_t tones;    ///< sines per angle
};

/// A turn of the view about the vertical that starts and ends at rest. Its rate is a raised cosine.
struct Sweep {
    double start;    ///< seconds
    double seconds;  ///< above 0
    double angle;    ///< radians, to the right if positive
};

/// What kind of motion to make.
struct MotionProfile {
    uint64_t seed = 1;
    /// RMS rate of the shake of each angle, rad/s. Its spectrum is flat in rate over the band: the
    /// band is cut into `tones` equal slots and each holds one sine, at a random place and phase.
    double rms_rate = 0.06;
    double low_hz = 1.0;
    double high_hz = 9.0;
    uint32_t tones = 24;     ///< sines per angle; 0: no shake
    double turn_rate = 0.0;  ///< steady turn about the vertical, rad/s, to the right if positive
    /// Gait: the body's fall at each step, as rate amplitudes in rad/s. The pitch (about x) swings
    /// with the step, the yaw (about y) and the roll (about z) with the stride of two steps.
    double step_hz = 1.9;
    double gait_pitch_rate = 0.0;
    double gait_yaw_rate = 0.0;
    double gait_roll_rate = 0.0;
    std::vector<ShakeBand> bands;
    std::vector<Sweep> sweeps;
    /// Amplitudes of the camera's own path, metres: up and down with the step, to the sides with
    /// the stride.
    double bob_height = 0.0;
    double bob_side = 0.0;
};

/// A person who walks and films: hand-held shake, gait, and a slow turn.
MotionProfile hand_held_walk(uint64_t seed);

/// A motion; immutable after construction, so any thread may read it.
class Motion {
  public:
    explicit Motion(const MotionProfile& profile);

    /// Orientation at a time: camera to world.
    Matrix3 orientation(double seconds) const;

    /// Rate about the camera's own axes at a time, rad/s.
    Vector3 body_rate(double seconds) const;

    /// The three angles about x, y and z, with the turn in y.
    Vector3 angles(double seconds) const;

    /// The time derivatives of angles().
    Vector3 angle_rates(double seconds) const;

    /// Where the camera is, metres in world axes.
    Vector3 position(double seconds) const;

    /// The tones of the angle about x, y or z.
    const std::vector<Tone>& tones(size_t axis) const { return tones_[axis]; }

  private:
    double turn_rate_;
    std::array<std::vector<Tone>, 3> tones_;
    std::vector<Sweep> sweeps_;
    std::array<Tone, 2> bob_{};  ///< to the side, down; `rate` is the amplitude in metres
};

}  // namespace steadywarp::tool
