// SPDX-License-Identifier: Apache-2.0
#include "simulator/profiles.hpp"

namespace steadywarp::tool {
namespace {

constexpr std::string_view kNames[] = {"tripod",  "hand-held", "walking", "running",
                                       "panning", "whip",      "vehicle"};

void hold_by_hand(MotionProfile& profile) {
    profile.bands = {{0.3, 1.0, {0.02, 0.02, 0.014}, 8},
                     {1.0, 6.0, {0.03, 0.03, 0.02}, 20},
                     {8.0, 12.0, {0.012, 0.012, 0.008}, 12}};
}

/// Sweeps there and back, with rests, until the end of the recording.
void sweep_to_and_fro(MotionProfile& profile, const Sweep& first, double rest, double seconds) {
    Sweep sweep = first;
    while (sweep.start < seconds) {
        profile.sweeps.push_back(sweep);
        sweep.start += sweep.seconds + rest;
        sweep.angle = -sweep.angle;
    }
}

}  // namespace

std::span<const std::string_view> profile_names() {
    return kNames;
}

MotionProfile motion_profile(std::string_view name, uint64_t seed, double seconds) {
    constexpr double kDegree = kPi / 180.0;
    MotionProfile profile;
    profile.seed = seed;
    profile.rms_rate = 0.0;
    if (name == "hand-held") {
        hold_by_hand(profile);
    } else if (name == "walking") {
        hold_by_hand(profile);
        profile.turn_rate = 0.03;
        profile.gait_pitch_rate = 0.08;
        profile.gait_yaw_rate = 0.05;
        profile.gait_roll_rate = 0.03;
        profile.bob_height = 0.012;
        profile.bob_side = 0.008;
    } else if (name == "running") {
        profile.bands = {{1.0, 10.0, {0.12, 0.12, 0.08}, 24}};
        profile.step_hz = 2.8;
        profile.gait_pitch_rate = 0.32;
        profile.gait_yaw_rate = 0.2;
        profile.gait_roll_rate = 0.12;
        profile.bob_height = 0.025;
        profile.bob_side = 0.015;
    } else if (name == "panning") {
        hold_by_hand(profile);
        sweep_to_and_fro(profile, {0.5, 3.0, 50.0 * kDegree}, 1.0, seconds);
    } else if (name == "whip") {
        hold_by_hand(profile);
        sweep_to_and_fro(profile, {1.5, 0.6, 70.0 * kDegree}, 2.0, seconds);
    } else if (name == "vehicle") {
        profile.bands = {{0.8, 3.0, {0.05, 0.03, 0.03}, 12}, {8.0, 20.0, {0.06, 0.04, 0.036}, 24}};
        profile.turn_rate = 0.05;
    } else {
        profile.bands = {{2.0, 14.0, {0.0008, 0.0008, 0.0008}, 16}};
    }
    return profile;
}

}  // namespace steadywarp::tool
