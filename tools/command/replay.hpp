// SPDX-License-Identifier: Apache-2.0
/// @file replay.hpp
/// The command `steadywarp replay`: a capture in, the library's answers to it against those that
/// the capture holds.
#pragma once

#include <string>

namespace steadywarp::tool {

/// What the user asked for.
struct ReplayOptions {
    std::string source;   ///< folder or start of the files' names
    std::string capture;  ///< prefix under which the replay is recorded; empty: not at all
    std::string bits;     ///< file for the bits of every output; empty: none
};

/// Run the command: a table of differences to standard output, one line about bad input to standard
/// error.
///
/// @return kExitDone; kExitCheckFailed when an output differs by more than the capture's own
/// precision, or what it records of the replay is not whole; kExitBadInput; kExitStopped after an
/// interrupt.
int replay(const ReplayOptions& options);

}  // namespace steadywarp::tool
