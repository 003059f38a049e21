// SPDX-License-Identifier: Apache-2.0
/// @file frames_reader.hpp
/// Frame times, from a file or made up at an even rate.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "input/recording.hpp"
#include "input/result.hpp"

namespace steadywarp::tool {

/// What a frame takes where its own value was not recorded.
struct FrameDefaults {
    /// Nothing: 10000, or half the frame period if that is less.
    std::optional<uint32_t> exposure_us;
    uint32_t readout_us = 0;  ///< 0: a global shutter
};

/// Read a CSV with the header `frame,sof_us,exposure_us,readout_us`.
///
/// The two last cells of a row may be empty. Faults: ids or times that do not increase, an exposure
/// above one second, a read-out that is not shorter than the frame period.
Result<FrameSequence> read_frames(const std::string& path, const FrameDefaults& defaults);

/// As read_frames(), from a text in memory; `path` serves messages only.
Result<FrameSequence> parse_frames(std::string_view text, const std::string& path,
                                   const FrameDefaults& defaults);

/// Make frames at given times, microseconds from `first_us`; ids count from 0.
///
/// @param times_us what a video says; at least one. @param path of the video, for messages.
/// Faults: times that do not increase; a read-out that is not shorter than the frame period.
Result<FrameSequence> make_frames(int64_t first_us, const std::vector<int64_t>& times_us,
                                  const std::string& path, const FrameDefaults& defaults);

/// Make evenly spaced frames, the first at `first_us`, none after `last_us`; ids count from 0.
///
/// @param fps above 0. Faults: more than ten million frames; a read-out that is not shorter than
///        the frame period.
Result<FrameSequence> make_even_frames(int64_t first_us, int64_t last_us, double fps,
                                       const FrameDefaults& defaults);

}  // namespace steadywarp::tool
