// SPDX-License-Identifier: Apache-2.0
/// @file profiles.hpp
/// The ways of holding a camera that the simulator knows, each with its spectrum.
///
/// | name | shake (RMS rate of each angle) | what else moves |
/// |---|---|---|
/// | tripod | 0.0008 rad/s, 2 to 14 Hz | nothing |
/// | hand-held | 0.02 from 0.3 to 1 Hz, 0.03 from 1 to 6 Hz, tremor 0.012 from 8 to 12 Hz | nothing
/// | | walking | hand-held | gait at 1.9 steps a second, a slow turn, 12 mm up and down | | running
/// | 0.12 from 1 to 10 Hz | gait at 2.8 steps a second, four times as strong, 25 mm | | panning |
/// hand-held | sweeps of 50 degrees over 3 s, a second of rest between them | | whip | hand-held |
/// sweeps of 70 degrees over 0.6 s, two seconds of rest between them | | vehicle | body 0.05 from
/// 0.8 to 3 Hz, road 0.06 from 8 to 20 Hz, roll 0.6 of it | a slow bend |
///
/// Rates are flat over a band, so that angles fall off with the frequency, as those of a hand do.
#pragma once

#include <span>
#include <string_view>

#include "simulator/motion.hpp"

namespace steadywarp::tool {

/// Names of all profiles, in the order of the table.
std::span<const std::string_view> profile_names();

/// The motion of a profile. @param name one of profile_names(); any other gives a tripod's.
/// @param seconds how long the recording is; sweeps repeat until then.
MotionProfile motion_profile(std::string_view name, uint64_t seed, double seconds);

}  // namespace steadywarp::tool
