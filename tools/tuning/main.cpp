// SPDX-License-Identifier: Apache-2.0
#include "tuning_command.hpp"

int main(int argc, char** argv) {
    return RunTuning(argc, argv);
}
