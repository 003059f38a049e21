// SPDX-License-Identifier: Apache-2.0
/// @file parametertypes.h
/// The small types that the tuning machinery and its users share.
///
/// Texts are nul-terminated bytes; a size given with an output text is the room in bytes, the nul
/// included. All numbers of a tuning file are little-endian, and so are the machines this runs on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#ifndef STEADYWARP_API
#define STEADYWARP_API __attribute__((visibility("default")))
#endif

class ModeEntry;

/// Version of a file or of a module, in the order of its bytes in the file.
struct VersionUnion {
    uint16_t major = 0;
    uint16_t minor = 0;
    uint32_t patch = 0;

    /// Order by major, then minor, then patch. @return 1, 0 or -1.
    constexpr int Compare(const VersionUnion& other) const {
        if (major != other.major) {
            return major > other.major ? 1 : -1;
        }
        if (minor != other.minor) {
            return minor > other.minor ? 1 : -1;
        }
        return patch == other.patch ? 0 : (patch > other.patch ? 1 : -1);
    }
    /// The eight bytes as one number; equal exactly for equal versions, not ordered like them.
    constexpr uint64_t Value() const {
        return uint64_t{major} | uint64_t{minor} << 16 | uint64_t{patch} << 32;
    }
};
static_assert(sizeof(VersionUnion) == 8);

/// @{
/// By major, minor and patch, in this order.
constexpr bool operator==(const VersionUnion& a, const VersionUnion& b) {
    return a.Compare(b) == 0;
}
constexpr bool operator!=(const VersionUnion& a, const VersionUnion& b) {
    return a.Compare(b) != 0;
}
constexpr bool operator>(const VersionUnion& a, const VersionUnion& b) {
    return a.Compare(b) > 0;
}
constexpr bool operator>=(const VersionUnion& a, const VersionUnion& b) {
    return a.Compare(b) >= 0;
}
constexpr bool operator<(const VersionUnion& a, const VersionUnion& b) {
    return a.Compare(b) < 0;
}
constexpr bool operator<=(const VersionUnion& a, const VersionUnion& b) {
    return a.Compare(b) <= 0;
}
/// @}

/// One step of the mode tree as the file stores it.
struct ModeUnion {
    uint16_t mode = 0;
    uint16_t subMode = 0;
    uint32_t reserved = 0;
};
static_assert(sizeof(ModeUnion) == 8);

/// Kinds of steps on a mode path, outermost first.
enum class ModeType : uint32_t {
    Default = 0,
    Sensor = 1,
    Usecase = 2,
    Feature1 = 3,
    Feature2 = 4,
    Scene = 5,
    Effect = 6,
};

/// One step of a mode path. A mode branch is an array of these; element 0 is the Default mode.
struct TuningMode {
    uint32_t mode = 0;  ///< a ModeType; only the low 16 bits are compared
    uint16_t subMode = 0;
    uint16_t reserved = 0;

    constexpr bool IsDefault() const { return mode == 0 && subMode == 0; }
};
static_assert(sizeof(TuningMode) == 8);

/// Severity of a line of the tuning machinery.
enum class ParameterLogLevel : uint32_t { Debug = 0, Warning = 1, Error = 2 };

/// Small vector of plain elements that never throws and never faults on a bad index.
///
/// Grows by a fixed number of elements; new room is zero bytes. Not safe for two threads, and the
/// element that a bad index yields is one for the whole process: do not write to it.
template <typename T>
class PList {
    static_assert(std::is_trivially_copyable_v<T>, "elements move as bytes");

  public:
    PList() = default;
    /// @param increment elements added at a time; 0 counts as 1.
    explicit PList(uint32_t increment) : m_increment(increment == 0 ? 1 : increment) {}
    ~PList() { std::free(m_elements); }
    PList(const PList&) = delete;
    PList& operator=(const PList&) = delete;

    uint32_t Count() const { return m_count; }
    uint32_t Capacity() const { return m_capacity; }
    /// Change how many elements the next growth adds; 0 counts as 1.
    void SetIncrement(uint32_t increment) { m_increment = increment == 0 ? 1 : increment; }

    /// Element `index`, or the dummy element if there is none.
    T& operator[](uint32_t index) { return index < m_count ? m_elements[index] : Dummy(); }
    const T& operator[](uint32_t index) const {
        return index < m_count ? m_elements[index] : Dummy();
    }

    /// Make room, so that no Add() up to this many elements can fail.
    /// @return false if memory is exhausted; the list is as it was.
    bool Reserve(uint32_t capacity) { return capacity <= m_capacity || GrowTo(capacity); }

    /// Change the number of elements; new ones are zero bytes. @return as Add().
    bool Resize(uint32_t count) {
        if (!Reserve(count)) {
            return false;
        }
        if (count > m_count) {
            std::memset(static_cast<void*>(m_elements + m_count), 0,
                        size_t{count - m_count} * sizeof(T));
        }
        m_count = count;
        return true;
    }

    /// Append. @return false if memory is exhausted; the list is as it was.
    bool Add(const T& element) { return Insert(m_count, element); }

    /// Insert before `index`, at the end if `index` is past it. @return as Add().
    bool Insert(uint32_t index, const T& element) {
        const T copy = element;  // it may be one of ours, and growth moves those
        if (m_count == m_capacity && !Grow()) {
            return false;
        }
        if (index > m_count) {
            index = m_count;
        }
        std::memmove(static_cast<void*>(m_elements + index + 1), m_elements + index,
                     size_t{m_count - index} * sizeof(T));
        m_elements[index] = copy;
        ++m_count;
        return true;
    }

    /// Remove element `index`. @return false if there is none.
    bool Remove(uint32_t index) {
        if (index >= m_count) {
            return false;
        }
        --m_count;
        std::memmove(static_cast<void*>(m_elements + index), m_elements + index + 1,
                     size_t{m_count - index} * sizeof(T));
        return true;
    }

    /// Remove all elements; the room stays.
    void Clear() { m_count = 0; }

    /// Exchange the elements of two lists.
    void Swap(PList& other) noexcept {
        const PListState mine = State();
        SetState(other.State());
        other.SetState(mine);
    }

    T* begin() { return m_elements; }
    T* end() { return m_elements + m_count; }
    const T* begin() const { return m_elements; }
    const T* end() const { return m_elements + m_count; }

  private:
    struct PListState {
        T* elements;
        uint32_t count, capacity, increment;
    };
    PListState State() const { return {m_elements, m_count, m_capacity, m_increment}; }
    void SetState(const PListState& state) {
        m_elements = state.elements;
        m_count = state.count;
        m_capacity = state.capacity;
        m_increment = state.increment;
    }

    static T& Dummy() {
        static T dummy{};
        return dummy;
    }

    bool Grow() {
        return m_increment <= UINT32_MAX - m_capacity && GrowTo(m_capacity + m_increment);
    }

    bool GrowTo(uint32_t capacity) {
        void* grown = std::realloc(static_cast<void*>(m_elements), size_t{capacity} * sizeof(T));
        if (grown == nullptr) {
            return false;
        }
        m_elements = static_cast<T*>(grown);
        std::memset(static_cast<void*>(m_elements + m_capacity), 0,
                    size_t{capacity - m_capacity} * sizeof(T));
        m_capacity = capacity;
        return true;
    }

    T* m_elements = nullptr;
    uint32_t m_count = 0;
    uint32_t m_capacity = 0;
    uint32_t m_increment = 1;
};

/// Who logs, and which lines are wanted. Implemented by the set manager.
class IParameterLoggingAPI {
  public:
    /// Name that stands in every line; never NULL, valid for the life of the object. Any thread.
    virtual char const* GetLogName() const = 0;
    /// Tell whether lines of this level are wanted. Any thread.
    virtual bool IsLogLevelOn(ParameterLogLevel level) const = 0;

  protected:
    ~IParameterLoggingAPI() = default;
};

/// One entry of a module's list of fields.
struct STEADYWARP_API ParameterParserInfo {
    char const* name = nullptr;  ///< text of the parser's code or of a module that lives on
    char const* type = nullptr;  ///< type word: "Int32", "Float", "Structure", "Module", ...
    char value[1024] = {};       ///< empty if the entry has no value of its own
    alignas(4) bool isArray = false;
    bool isReserved = false;  ///< always false
    uint32_t elementCount = 0;

    ParameterParserInfo() = default;
    /// An entry without a value.
    ParameterParserInfo(char const* entryName, char const* typeWord);
    /// The number as text with at most `decimals` digits behind the point.
    ParameterParserInfo(char const* entryName, char const* typeWord, double number,
                        unsigned int decimals);
    /// The text, cut to fit; NULL counts as empty.
    ParameterParserInfo(char const* entryName, char const* typeWord, char const* text);
    /// An entry that may be an array of `count` elements, without a value.
    ParameterParserInfo(char const* entryName, char const* typeWord, bool array, bool reserved,
                        uint32_t count);
};

/// What a live view of the tuning needs of a set manager. Every operation may be called from any
/// thread. Mode paths are numeric, as "0.0|2.2".
class IParameterDataAPI : public IParameterLoggingAPI {
  public:
    virtual ~IParameterDataAPI() = default;
    /// Write a value as text. @return false, with an empty text, if it is not there or does not
    /// fit.
    virtual bool GetValue(char const* modes, char const* module, char const* variable, char* value,
                          unsigned int size) = 0;
    /// Change a value. @return false if it is not there or does not take the text.
    virtual bool SetValue(char const* modes, char const* module, char const* variable,
                          char const* value) = 0;
    /// List the fields of a module. @return false if it is not there or memory is exhausted.
    virtual bool GetInfo(char const* modes, char const* module,
                         PList<ParameterParserInfo>& list) = 0;
    /// Write the named paths of the modes in use. @return false if they do not fit.
    virtual bool GetActiveModes(char* modes, unsigned int size) = 0;
    /// @{
    /// Write all values as `id=value`, joined by ",". @return false if they do not fit.
    virtual bool GetControlValues(char* values, unsigned int size) = 0;
    virtual bool GetTriggerValues(char* values, unsigned int size) = 0;
    /// @}
    /// Write the names of the modes below a mode. @return the bytes written, the nul included.
    virtual unsigned int GetChildModes(char const* path, unsigned char* modes,
                                       unsigned int size) = 0;
    /// Turn a named path into the numeric form. @return false if it is none or does not fit.
    virtual bool GetModeShorthand(char const* modes, char* shorthand, unsigned int size) = 0;
};

/// Finds a mode by its number in the file.
class IModeTable {
  public:
    /// @return NULL if the file has no such mode.
    virtual ModeEntry* GetModeEntry(unsigned int modeId) = 0;

  protected:
    ~IModeTable() = default;
};

/// One control or trigger value: a number that somebody else's algorithm steers by.
struct STEADYWARP_API ParameterCTValue {
    uint32_t id = 0;
    /// Which of the two it is says `isInteger`.
    union Number {
        int64_t integer;
        double real;
    } value = {0};
    bool valid = false;
    bool isInteger = true;

    /// @{
    /// A valid value.
    static ParameterCTValue FromInteger(uint32_t id, int64_t number);
    static ParameterCTValue FromDouble(uint32_t id, double number);
    /// @}

    /// Write "7=-3" or "7=0.500000", or the value alone.
    /// @return false if it does not fit; the text is then empty.
    bool ToString(char* text, unsigned int size, bool valueOnly = false) const;
    /// Read `id=value`: an ID of at most 9 digits; a value with a point is a double.
    /// @return false, with `valid` clear, if the text is anything else.
    bool FromString(char const* text);
};
