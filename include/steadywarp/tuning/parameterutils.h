// SPDX-License-Identifier: Apache-2.0
/// @file parameterutils.h
/// What the tuning machinery stands on: field readers, the lock, and the file.
///
/// Positions, offsets and lengths are unsigned 32-bit bytes. `alignment` is that of the file's
/// version, 1 or 8: a field read advances by its own width plus the padding to that alignment.
/// Sums of offsets and lengths are made in 64 bits, so that none wraps.
#pragma once

#include <sys/stat.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>

#include "steadywarp/tuning/parametertypes.h"

/// Stateless readers and writers of fields and texts. Nothing here locks; any thread.
class STEADYWARP_API ParameterUtils {
  public:
    /// Copy a string field, cut to `valueSize - 1` characters and always nul-terminated, then
    /// advance by the whole field.
    /// @return true only if all `fieldSize` bytes were there.
    static bool ReadString(char* value, unsigned char const* buffer, unsigned int length,
                           unsigned int* pos, unsigned int valueSize, unsigned int fieldSize,
                           unsigned char alignment, IParameterLoggingAPI* logger);

    /// Move a position behind a field of `count` bytes and its padding. Positions stop at the
    /// largest number instead of wrapping, so that every later read fails.
    static void Advance(unsigned int* pos, unsigned int count, unsigned char alignment) {
        uint64_t next = uint64_t{*pos} + count;
        if (alignment > 1 && count % alignment != 0) {
            next += alignment - count % alignment;
        }
        *pos = static_cast<unsigned int>(next < UINT32_MAX ? next : UINT32_MAX);
    }

    /// Tell how many characters a string field at `pos` has before its first nul, or before the end
    /// of the field or of the buffer.
    static unsigned int TextLength(unsigned char const* buffer, unsigned int length,
                                   unsigned int pos, unsigned int fieldSize);

    /// Read a string field into a new string of the characters before the first nul.
    /// @return NULL if `buffer` is NULL or memory is exhausted; release with free().
    static char* ReadString(unsigned char const* buffer, unsigned int length, unsigned int* pos,
                            unsigned int fieldSize, unsigned char alignment);

    /// Copy min(count, length - *pos) bytes, then advance by `count` plus padding.
    /// @return true only if all `count` bytes were there.
    static bool ReadBuffer(unsigned char* value, unsigned char const* buffer, unsigned int length,
                           unsigned int* pos, unsigned int count, unsigned char alignment,
                           IParameterLoggingAPI* logger);

    /// Append a string; NULL appends an empty one. `*pos` stops before the nul unless
    /// `includeNul`. @return false, with nothing written, if string and nul do not fit.
    static bool WriteString(char const* value, unsigned char* buffer, unsigned int length,
                            unsigned int* pos, bool includeNul, IParameterLoggingAPI* logger);

    /// Tell the index of the first `c` in `text`, or -1.
    static int GetStringPos(char const* text, char c);

    /// Copy up to the delimiter or the end, cut at `outSize - 1` characters.
    /// @return the number of characters before the delimiter, cut or not.
    static unsigned int GetSubString(char const* text, char delimiter, char* out,
                                     unsigned int outSize);

    /// Read digits with at most one point. A minus anywhere makes the number negative, and the
    /// digits are taken from behind it. @return 0 with `ok` false for any other text.
    static double StringToDouble(char const* text, bool& ok);

    /// Write a decimal text, rounded half up at `decimals` digits behind the point, without
    /// zeroes at its end but one behind the point; with `decimals` 0 there is no point.
    /// @return `out`; `ok` is false, and the text empty, if it does not fit or is not finite.
    static char* DoubleToString(double value, char* out, unsigned int outSize,
                                unsigned int decimals, bool& ok);

    /// Split the first component of a dotted path, of at most 128 characters, into its name and
    /// the number in square brackets behind it; `index` stays as it was without one.
    /// @return the characters consumed, the point included; 0 if the component is too long, does
    ///         not fit in `nameSize`, or its brackets hold no number.
    static unsigned int GetVariable(char const* path, char* name, unsigned int& index,
                                    unsigned long nameSize);
};

/// Recursive lock of many readers and one writer, with a read count for every thread.
///
/// A thread may lock again in the mode it holds; the writer may read; a thread that is the only
/// reader may become the writer. Two readers that both want to become the writer wait for ever:
/// hold nothing when asking for the exclusive mode.
///
/// A reader that meets no writer neither takes the inner mutex nor writes what other readers write:
/// it counts in a slot of its own. Writers look at all slots. Readers of a lock that is mostly read
/// do without a memory fence, which is most of what they cost; a writer then makes one for all
/// threads, which takes microseconds.
class STEADYWARP_API ParameterMutex {
  public:
    /// @param logger told of an Unlock() without its Lock(); may be NULL.
    /// @param mostlyRead readers pay next to nothing, writers some microseconds.
    explicit ParameterMutex(IParameterLoggingAPI* logger = nullptr, bool mostlyRead = false);
    ParameterMutex(const ParameterMutex&) = delete;
    ParameterMutex& operator=(const ParameterMutex&) = delete;

    /// Wait for the lock. @param shared as a reader, else as the writer.
    void Lock(bool shared) { shared ? LockShared(Self()) : LockExclusive(Self()); }
    /// Undo one Lock() of the same mode; one that the thread does not hold changes nothing.
    void Unlock(bool shared) { shared ? UnlockShared(Self()) : UnlockExclusive(Self()); }

  private:
    using Thread = uintptr_t;  // 0 for none
    // The first thread that comes by owns a slot for good, or whoever inherits its ID.
    struct ReaderSlot {
        std::atomic<Thread> owner{0};
        std::atomic<uint32_t> count{0};
    };
    static constexpr size_t kSlots = 16;

    static Thread Self() { return reinterpret_cast<Thread>(__builtin_thread_pointer()); }
    static size_t FirstSlot(Thread self) {
        constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;  // the golden ratio's digits
        return (uint64_t{self} * kOdd >> 32) % kSlots;
    }
    // The thread's own slot, or NULL if there is none left for it.
    ReaderSlot* SlotOf(Thread self) {
        ReaderSlot& first = m_slots[FirstSlot(self)];
        if (first.owner.load(std::memory_order_relaxed) == self) [[likely]] {
            return &first;
        }
        return SearchSlots(self);
    }
    ReaderSlot* SearchSlots(Thread self);
    void LockShared(Thread self) {
        ReaderSlot* slot = SlotOf(self);
        if (slot == nullptr || !TryToRead(*slot, self)) [[unlikely]] {
            LockSharedSlowly(self, slot);
        }
    }
    bool TryToRead(ReaderSlot& slot, Thread self);
    void LockSharedSlowly(Thread self, ReaderSlot* slot);
    void LockExclusive(Thread self);
    void UnlockShared(Thread self) {
        ReaderSlot* slot = SlotOf(self);
        const uint32_t held = slot != nullptr ? slot->count.load(std::memory_order_relaxed) : 0;
        const bool nobodyWaits = m_waiting.load(std::memory_order_relaxed) == 0;
        if (held > 0 && (nobodyWaits || held > 1)) [[likely]] {
            // With this the last user may destroy the lock, so nothing is touched behind it.
            slot->count.store(held - 1, std::memory_order_release);
        } else {
            UnlockSharedSlowly(self, slot, held);
        }
    }
    void UnlockSharedSlowly(Thread self, ReaderSlot* slot, uint32_t held);
    void UnlockExclusive(Thread self);
    bool TryToWrite(Thread self);
    bool OthersWrite(Thread self) const {
        const Thread writer = m_writer;
        return writer != 0 && writer != self;
    }
    bool OthersHaveSlots(Thread self) const;
    bool OthersRead(Thread self) const;

    std::mutex m_mutex;
    bool m_writersFence;              // for the readers too
    std::atomic<Thread> m_writer{0};  // changes under the mutex
    int32_t m_writeCount = 0;         // the writer's own
    std::atomic<uint32_t> m_waiting{0};
    ReaderSlot m_slots[kSlots];
    std::map<Thread, uint32_t> m_readCounts;  // of threads without a slot
    std::condition_variable m_changed;
    IParameterLoggingAPI* m_logger;
};

inline bool ParameterMutex::TryToRead(ReaderSlot& slot, Thread self) {
    const uint32_t held = slot.count.load(std::memory_order_relaxed);
    if (held > 0) [[unlikely]] {
        slot.count.store(held + 1, std::memory_order_relaxed);  // nobody else can write now
        return true;
    }
    if (m_writersFence) [[likely]] {
        slot.count.store(1, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
        slot.count.store(1);
    }
    if (!OthersWrite(self)) [[likely]] {
        return true;
    }
    slot.count.store(0);
    return false;
}

/// Holds a ParameterMutex until the end of a scope.
class ParameterScopedLock {
  public:
    /// Locks; see ParameterMutex::Lock().
    ParameterScopedLock(ParameterMutex& mutex, bool shared) : m_mutex(&mutex), m_shared(shared) {
        Lock();
    }
    ~ParameterScopedLock() { Unlock(); }
    ParameterScopedLock(const ParameterScopedLock&) = delete;
    ParameterScopedLock& operator=(const ParameterScopedLock&) = delete;

    /// Take the lock again after it was given up.
    void Lock() {
        m_mutex->Lock(m_shared);
        m_held = true;
    }
    /// Give the lock up early; once is enough.
    void Unlock() {
        if (m_held) {
            m_held = false;
            m_mutex->Unlock(m_shared);
        }
    }

  private:
    ParameterMutex* m_mutex;
    bool m_shared;
    bool m_held = false;
};

/// A tuning file on disk that is open only while somebody needs it.
///
/// Once a change on disk was met, every read fails until a new object takes this one's place. Any
/// thread, but for Open() and Close().
class STEADYWARP_API ParameterBinaryFile {
  public:
    /// Room for the name, the nul and one spare byte included.
    static constexpr unsigned int kNameSize = 1024;

    /// Opens the file and takes the first reference.
    /// @param name at most 1022 characters.
    /// @param validateCRC read the whole file and check its closing CRC.
    ParameterBinaryFile(char const* name, IParameterLoggingAPI* logger, bool validateCRC);
    ~ParameterBinaryFile();
    ParameterBinaryFile(const ParameterBinaryFile&) = delete;
    ParameterBinaryFile& operator=(const ParameterBinaryFile&) = delete;

    /// Read `count` bytes at `offset + *pos`, then advance `*pos` by `count` plus padding.
    /// Tries up to four times, with the file opened anew. @return false if nothing was read.
    bool Read(unsigned char* value, unsigned int offset, unsigned int* pos, unsigned long count,
              unsigned char alignment);
    /// Read `count` bytes into a new buffer. @return NULL on failure; release with free().
    unsigned char* Read(unsigned int offset, unsigned long count);

    /// Check the CRC that closes `buffer`: the last four bytes are the CRC-32 of those before.
    static bool ValidateCRC(unsigned char const* buffer, unsigned int length,
                            IParameterLoggingAPI* logger);
    /// Check the CRC of the whole file and remember the result.
    void ValidateCRC();

    /// Change the number of users; the file is open while there are any. @return the new number.
    int Reference(int adjust);

    /// Tell whether the file could be opened.
    bool IsValid();
    /// Tell what the last check of the whole file's CRC found.
    bool IsCRCValid();
    /// Length in bytes at the last open that counted.
    unsigned int GetLength();
    char const* GetName() const { return m_name; }
    /// Reads that reached the disk since construction.
    uint64_t GetReadCount();

    /// CRC-32 of ISO 3309 (reflected, polynomial 0xEDB88320) of `length` bytes.
    static uint32_t ComputeCRC(unsigned char const* buffer, size_t length);
    /// The same value, byte by byte through the plain table; ComputeCRC() is held against it.
    static uint32_t ComputeCRCByTable(unsigned char const* buffer, size_t length);

  private:
    bool Open(bool logFailure);
    void Close();
    bool AdoptStatus(const struct stat& status);
    bool CheckReadArguments(unsigned char const* value, unsigned int offset,
                            unsigned int const* pos, unsigned long count);
    bool ReadOnce(unsigned char* value, unsigned int offset, unsigned int pos, unsigned long count);
    void AddReferences(int adjust);
    void DropReferences(int adjust);

    static const std::array<uint32_t, 256> m_crcLookupTable;

    FILE* m_file = nullptr;
    uint32_t m_length = 0;
    int32_t m_references = 0;
    char m_name[kNameSize] = {};
    bool m_valid = false;
    bool m_crcValid = false;
    bool m_modified = false;
    uint64_t m_reads = 0;
    struct timespec m_modificationTime = {};
    ParameterMutex m_lock;
    IParameterLoggingAPI* m_logger;
};
