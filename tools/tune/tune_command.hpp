// SPDX-License-Identifier: Apache-2.0
/// @file tune_command.hpp
/// The subcommand `tune`: talk to a running live tuning service.
#pragma once

/// Run it. @return 0 done, 1 the service refused a value or has no answer, 2 bad input, no
/// connection or no reply.
int RunTune(int argc, char** argv);
