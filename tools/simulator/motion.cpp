// SPDX-License-Identifier: Apache-2.0
#include "simulator/motion.hpp"

#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

void add_shake(const MotionProfile& profile, Random& random, std::vector<Tone>& tones) {
    if (profile.tones == 0 || profile.rms_rate <= 0.0) {
        return;
    }
    // n sines of amplitude A have the mean square n A^2 / 2.
    const double rate = profile.rms_rate * std::sqrt(2.0 / profile.tones);
    const double slot = (profile.high_hz - profile.low_hz) / profile.tones;
    for (uint32_t i = 0; i < profile.tones; ++i) {
        const double hz = profile.low_hz + slot * (i + random.uniform());
        tones.push_back({hz, rate, 2.0 * kPi * random.uniform()});
    }
}

void add_tone(double hz, double rate, Random& random, std::vector<Tone>& tones) {
    const double phase = 2.0 * kPi * random.uniform();
    if (rate != 0.0) {
        tones.push_back({hz, rate, phase});
    }
}

}  // namespace

MotionProfile hand_held_walk(uint64_t seed) {
    MotionProfile profile;
    profile.seed = seed;
    profile.turn_rate = 0.03;
    profile.gait_pitch_rate = 0.08;
    profile.gait_yaw_rate = 0.05;
    profile.gait_roll_rate = 0.03;
    return profile;
}

Motion::Motion(const MotionProfile& profile) : turn_rate_(profile.turn_rate) {
    Random random(profile.seed);
    for (auto& tones : tones_) {
        add_shake(profile, random, tones);
    }
    add_tone(profile.step_hz, profile.gait_pitch_rate, random, tones_[0]);
    add_tone(profile.step_hz * 0.5, profile.gait_yaw_rate, random, tones_[1]);
    add_tone(profile.step_hz * 0.5, profile.gait_roll_rate, random, tones_[2]);
}

Vector3 Motion::angles(double seconds) const {
    Vector3 out = {0.0, turn_rate_ * seconds, 0.0};
    for (size_t axis = 0; axis < 3; ++axis) {
        for (const Tone& tone : tones_[axis]) {
            const double w = 2.0 * kPi * tone.hz;
            out[axis] += tone.rate / w * std::sin(w * seconds + tone.phase);
        }
    }
    return out;
}

Vector3 Motion::angle_rates(double seconds) const {
    Vector3 out = {0.0, turn_rate_, 0.0};
    for (size_t axis = 0; axis < 3; ++axis) {
        for (const Tone& tone : tones_[axis]) {
            out[axis] += tone.rate * std::cos(2.0 * kPi * tone.hz * seconds + tone.phase);
        }
    }
    return out;
}

Matrix3 Motion::orientation(double seconds) const {
    const Vector3 a = angles(seconds);
    return multiply(multiply(rotation_y(a[1]), rotation_x(a[0])), rotation_z(a[2]));
}

// With C = Ry Rx Rz each angle turns about its axis as the rotations to its right leave it:
//   w = Rz^T Rx^T (y' e_y) + Rz^T (x' e_x) + z' e_z
Vector3 Motion::body_rate(double seconds) const {
    const Vector3 a = angles(seconds);
    const Vector3 rate = angle_rates(seconds);
    Vector3 w = multiply(rotation_x(-a[0]), Vector3{0.0, rate[1], 0.0});
    w[0] += rate[0];
    w = multiply(rotation_z(-a[2]), w);
    w[2] += rate[2];
    return w;
}

}  // namespace steadywarp::tool
