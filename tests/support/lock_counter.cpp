// SPDX-License-Identifier: Apache-2.0
#include "support/lock_counter.hpp"

#include <pthread.h>

#include <atomic>

namespace {

std::atomic<size_t> count{0};

}  // namespace

#define COUNT_CALLS(function, Lock)     \
    int __real_##function(Lock* lock);  \
    int __wrap_##function(Lock* lock) { \
        ++count;                        \
        return __real_##function(lock); \
    }

extern "C" {
COUNT_CALLS(pthread_mutex_lock, pthread_mutex_t)
COUNT_CALLS(pthread_mutex_trylock, pthread_mutex_t)
COUNT_CALLS(pthread_rwlock_rdlock, pthread_rwlock_t)
COUNT_CALLS(pthread_rwlock_wrlock, pthread_rwlock_t)
}

namespace steadywarp::test {

size_t lock_count() {
    return count;
}

}  // namespace steadywarp::test
