// SPDX-License-Identifier: Apache-2.0
#include "platform/thread_fence.hpp"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {
namespace {

bool Command(int command) {
    return syscall(SYS_membarrier, command, 0, 0) == 0;
}

}  // namespace

bool CanFenceAllThreads() {
    static const bool can = Command(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) &&
                            Command(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
    return can;
}

void FenceAllThreads() {
    if (!Command(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) {
        // A child of the process that registered; registering twice does no harm.
        Command(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
        Command(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
    }
}

}  // namespace platform
