// SPDX-License-Identifier: Apache-2.0
#include "simulator/motion.hpp"

#include <algorithm>

#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

/// A band of one angle.
struct Band {
    double low_hz;
    double high_hz;
    double rms_rate;
    uint32_t tones;
};

void add_band(const Band& band, Random& random, std::vector<Tone>& tones) {
    if (band.tones == 0 || band.rms_rate <= 0.0) {
        return;
    }
    // n sines of amplitude A have the mean square n A^2 / 2.
    const double rate = band.rms_rate * std::sqrt(2.0 / band.tones);
    const double slot = (band.high_hz - band.low_hz) / band.tones;
    for (uint32_t i = 0; i < band.tones; ++i) {
        const double hz = band.low_hz + slot * (i + random.uniform());
        tones.push_back({hz, rate, 2.0 * kPi * random.uniform()});
    }
}

void add_tone(double hz, double rate, Random& random, std::vector<Tone>& tones) {
    const double phase = 2.0 * kPi * random.uniform();
    if (rate != 0.0) {
        tones.push_back({hz, rate, phase});
    }
}

/// Part of a sweep that is done, from 0 to 1, and its rate; the integral of 1 - cos.
double sweep_part(const Sweep& sweep, double seconds) {
    const double s = std::clamp((seconds - sweep.start) / sweep.seconds, 0.0, 1.0);
    return s - std::sin(2.0 * kPi * s) / (2.0 * kPi);
}

double sweep_rate(const Sweep& sweep, double seconds) {
    const double s = std::clamp((seconds - sweep.start) / sweep.seconds, 0.0, 1.0);
    return sweep.angle / sweep.seconds * (1.0 - std::cos(2.0 * kPi * s));
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

Motion::Motion(const MotionProfile& profile)
    : turn_rate_(profile.turn_rate), sweeps_(profile.sweeps) {
    Random random(profile.seed);
    for (auto& tones : tones_) {
        add_band({profile.low_hz, profile.high_hz, profile.rms_rate, profile.tones}, random, tones);
    }
    add_tone(profile.step_hz, profile.gait_pitch_rate, random, tones_[0]);
    add_tone(profile.step_hz * 0.5, profile.gait_yaw_rate, random, tones_[1]);
    add_tone(profile.step_hz * 0.5, profile.gait_roll_rate, random, tones_[2]);
    for (const ShakeBand& band : profile.bands) {
        for (size_t axis = 0; axis < 3; ++axis) {
            add_band({band.low_hz, band.high_hz, band.rms_rate[axis], band.tones}, random,
                     tones_[axis]);
        }
    }
    bob_[0] = {profile.step_hz * 0.5, profile.bob_side, 2.0 * kPi * random.uniform()};
    bob_[1] = {profile.step_hz, profile.bob_height, 2.0 * kPi * random.uniform()};
}

Vector3 Motion::angles(double seconds) const {
    Vector3 out = {0.0, turn_rate_ * seconds, 0.0};
    for (size_t axis = 0; axis < 3; ++axis) {
        for (const Tone& tone : tones_[axis]) {
            const double w = 2.0 * kPi * tone.hz;
            out[axis] += tone.rate / w * std::sin(w * seconds + tone.phase);
        }
    }
    for (const Sweep& sweep : sweeps_) {
        out[1] += sweep.angle * sweep_part(sweep, seconds);
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
    for (const Sweep& sweep : sweeps_) {
        out[1] += sweep_rate(sweep, seconds);
    }
    return out;
}

Vector3 Motion::position(double seconds) const {
    const auto along = [seconds](const Tone& tone) {
        return tone.rate * std::sin(2.0 * kPi * tone.hz * seconds + tone.phase);
    };
    return {along(bob_[0]), along(bob_[1]), 0.0};
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
