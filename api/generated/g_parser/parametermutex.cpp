// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <new>

#include "parameterlogging.hpp"
#include "platform/thread_fence.hpp"
#include "steadywarp/tuning/parameterutils.h"

// A reader first counts itself and then looks for a writer; a writer first names itself and then
// looks at the counts. Between the two steps of each lies a fence, so that one of the two sees the
// other; for the readers of a lock that is mostly read the writer makes it. A reader that sees a
// writer takes its count back and asks again under the mutex; a writer that sees readers takes its
// name back and waits, while more readers may come.

namespace {

// Who waits is woken by whoever leaves and sees it waiting. A reader that leaves at the moment in
// which a writer begins to wait may miss that, and so no writer waits longer for readers without
// looking.
constexpr std::chrono::milliseconds kLongestWait{1};

}  // namespace

ParameterMutex::ParameterMutex(IParameterLoggingAPI* logger, bool mostlyRead)
    : m_writersFence(mostlyRead && platform::CanFenceAllThreads()), m_logger(logger) {}

// Slots are never given up, so a thread's own one always comes before the first free one.
ParameterMutex::ReaderSlot* ParameterMutex::SearchSlots(Thread self) {
    const size_t first = FirstSlot(self);
    for (size_t i = 0; i < kSlots; ++i) {
        ReaderSlot& slot = m_slots[(first + i) % kSlots];
        Thread owner = slot.owner.load(std::memory_order_relaxed);
        if (owner == self || (owner == 0 && slot.owner.compare_exchange_strong(owner, self))) {
            return &slot;
        }
    }
    return nullptr;
}

bool ParameterMutex::OthersHaveSlots(Thread self) const {
    for (ReaderSlot const& slot : m_slots) {
        const Thread owner = slot.owner;
        if (owner != 0 && owner != self) {
            return true;
        }
    }
    return false;
}

bool ParameterMutex::OthersRead(Thread self) const {
    for (ReaderSlot const& slot : m_slots) {
        if (slot.count != 0 && slot.owner != self) {
            return true;
        }
    }
    return m_readCounts.size() > m_readCounts.count(self);
}

void ParameterMutex::LockSharedSlowly(Thread self, ReaderSlot* slot) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.notify_all();  // a writer may have met the count that was taken back
    ++m_waiting;
    for (;;) {
        if (OthersWrite(self)) {
            m_changed.wait(lock);  // a writer leaves under the mutex, which cannot be missed
            continue;
        }
        if (slot != nullptr) {
            slot->count = 1;
            break;
        }
        try {
            ++m_readCounts[self];
            break;
        } catch (const std::bad_alloc&) {
            // A reader that cannot be counted does not hold the lock; there is no way to tell the
            // caller, so it waits until there is memory again.
            m_changed.wait_for(lock, kLongestWait);
        }
    }
    --m_waiting;
}

bool ParameterMutex::TryToWrite(Thread self) {
    if (OthersWrite(self)) {
        return false;
    }
    m_writer = self;
    // Who takes a slot after this sees the name without a fence: taking one is a fence.
    if (m_writersFence && OthersHaveSlots(self)) {
        platform::FenceAllThreads();
    }
    if (OthersRead(self)) {
        m_writer = 0;
        return false;
    }
    return true;
}

void ParameterMutex::LockExclusive(Thread self) {
    if (m_writer.load(std::memory_order_relaxed) != self) {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_waiting;
        while (!TryToWrite(self)) {
            if (OthersWrite(self)) {
                m_changed.wait(lock);
            } else {
                m_changed.wait_for(lock, kLongestWait);
            }
        }
        --m_waiting;
    }
    ++m_writeCount;
}

void ParameterMutex::UnlockSharedSlowly(Thread self, ReaderSlot* slot, uint32_t held) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (held == 1) {
        slot->count = 0;
    } else {
        const auto own = m_readCounts.find(self);
        if (own != m_readCounts.end() && --own->second == 0) {
            m_readCounts.erase(own);
        }
    }
    m_changed.notify_all();  // under the mutex, for the same reason
}

void ParameterMutex::UnlockExclusive(Thread self) {
    if (m_writer.load(std::memory_order_relaxed) != self) {
        PARAMETER_LOG_ERROR(m_logger, "ParameterMutex::Unlock called when lock count is zero\n");
        return;
    }
    if (--m_writeCount > 0) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_writer = 0;
    if (m_waiting > 0) {
        m_changed.notify_all();
    }
}
