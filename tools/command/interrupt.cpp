// SPDX-License-Identifier: Apache-2.0
#include "command/interrupt.hpp"

#include <csignal>

namespace steadywarp::tool {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void note(int signal) {
    interrupted = 1;
    std::signal(signal, SIG_DFL);
}

}  // namespace

void note_interrupts() {
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

bool was_interrupted() {
    return interrupted != 0;
}

}  // namespace steadywarp::tool
