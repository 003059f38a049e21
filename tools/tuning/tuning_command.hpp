// SPDX-License-Identifier: Apache-2.0
/// @file tuning_command.hpp
/// The subcommands `tuning build`, `tuning dump` and `tuning check`.
#pragma once

/// Run one of them. @return 0 done, 1 `check` found something, 2 bad input.
int RunTuning(int argc, char** argv);
