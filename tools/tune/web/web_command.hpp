// SPDX-License-Identifier: Apache-2.0
/// @file web_command.hpp
/// `steadywarp tune ADDRESS --web`: the live tuning page.
#pragma once

#include <cstdint>
#include <string>

namespace tune {

/// Serve the page until an interrupt; tell its address on standard output.
///
/// The service need not be there: the page says so and goes on when it is.
/// @param port of the page; 0: a free one. @return 0, or 2 if the port cannot be had.
/// @throw BadAddress
int RunWeb(const std::string& address, double timeout_seconds, uint16_t port);

}  // namespace tune
