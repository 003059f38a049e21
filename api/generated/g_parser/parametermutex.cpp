// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <new>

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parameterutils.h"

bool ParameterMutex::OthersWrite(std::thread::id self) const {
    return m_writeCount > 0 && m_writer != self;
}

bool ParameterMutex::OthersRead(std::thread::id self) const {
    const size_t others = m_readCounts.size() - m_readCounts.count(self);
    return others > 0;
}

void ParameterMutex::Lock(bool shared) {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!shared) {
        m_changed.wait(lock, [&] { return !OthersWrite(self) && !OthersRead(self); });
        ++m_writeCount;
        m_writer = self;
        return;
    }
    for (;;) {
        m_changed.wait(lock, [&] { return !OthersWrite(self); });
        try {
            ++m_readCounts[self];
            return;
        } catch (const std::bad_alloc&) {
            // A reader that cannot be counted does not hold the lock; there is no way to tell the
            // caller, so it waits until there is memory again.
            m_changed.wait_for(lock, std::chrono::milliseconds(1));
        }
    }
}

void ParameterMutex::Unlock(bool shared) {
    bool unbalanced = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (shared) {
            const auto own = m_readCounts.find(std::this_thread::get_id());
            if (own != m_readCounts.end() && --own->second == 0) {
                m_readCounts.erase(own);
            }
        } else if (m_writeCount == 0) {
            unbalanced = true;
        } else if (--m_writeCount == 0) {
            m_writer = std::thread::id();
        }
        // Under the mutex: the last user may destroy this object as soon as it can lock it.
        m_changed.notify_all();
    }
    if (unbalanced) {
        PARAMETER_LOG_ERROR(m_logger, "ParameterMutex::Unlock called when lock count is zero\n");
    }
}
