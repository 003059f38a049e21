// SPDX-License-Identifier: Apache-2.0
/// @file parameterfilesymboltableentry.h
/// A cursor over one payload of the tuning file, and the reads that module parsers make through it.
#pragma once

#include <algorithm>

#include "steadywarp/tuning/parametermodule.h"
#include "steadywarp/tuning/parameterutils.h"

struct DupObjInfo;
struct SymbolRecord;

/// A cursor over one payload. Not safe for two threads.
class STEADYWARP_API ParameterFileSymbolTableEntry {
  public:
    // Not defaulted, as that would clear the room for the module data in every entry made.
    ParameterFileSymbolTableEntry() {}
    ~ParameterFileSymbolTableEntry() { FreePayload(); }
    ParameterFileSymbolTableEntry(const ParameterFileSymbolTableEntry&) = delete;
    ParameterFileSymbolTableEntry& operator=(const ParameterFileSymbolTableEntry&) = delete;

    /// Attach to a table and forget everything else.
    void Init(ParameterFileSymbolTable* table) { PointAt(table, 0, 0, nullptr, 0); }

    /// Parse one record of the symbol table or of the data table and find its payload.
    ///
    /// With `file` the record is read from disk at the table's offset plus `*pos`, and its payload
    /// becomes this entry's own; else both lie in memory and the payload is only pointed at.
    /// @param buffer image of the table, read at `*pos`, which ends up behind the record.
    /// @param length bytes of `buffer`.
    /// @param dataOffset start of the data section in the file.
    /// @return false if the record was short; the fields behind the end are 0.
    bool Load(unsigned char const* buffer, char const* fileName, ParameterBinaryFile* file,
              unsigned int length, unsigned int* pos, unsigned int dataOffset,
              IModeTable* modeTable, bool isModule, unsigned char alignment);

    /// Attach to a payload in memory without owning it, with the position at its begin.
    void PointAt(ParameterFileSymbolTable* table, uint32_t id, uint32_t duplicateId,
                 unsigned char const* data, uint32_t size) {
        FreePayload();
        m_moduleData = nullptr;
        m_table = table;
        m_id = id;
        m_duplicateId = duplicateId;
        m_data = data;
        m_pos = 0;
        m_size = data != nullptr ? size : 0;
    }

    /// Read a number of 4 or 8 bytes; a failed read moves nothing and is logged.
    template <typename T>
    bool ReadScalar(T& value, unsigned char alignment) {
        static_assert(std::is_arithmetic_v<T>);
        if (m_pos + sizeof(T) > m_size) {
            ReportShortRead(sizeof(T));
            return false;
        }
        std::memcpy(&value, m_data + m_pos, sizeof(T));
        m_pos += std::max<size_t>(alignment, sizeof(T));
        return true;
    }

    /// Read plain fields as they lie, `count` bytes in all.
    bool ReadBuffer(void* value, unsigned int count, unsigned char alignment);
    /// Read the number of an enumerator. @return 0, with `*ok` false, on a short read.
    unsigned int ReadEnum(bool* ok, unsigned char alignment);
    /// Read a string field of `count` bytes, or take the one that a duplicate payload gave before.
    /// @param value receives a text to give back to the table, see ReleaseDupObject().
    bool ReadString(char** value, unsigned int count, unsigned char alignment);

    /// @{
    /// Look up, or register, the object that this payload is parsed into; see the symbol table.
    DupObjInfo* GetDupObject(unsigned int count, char const* file, unsigned int line);
    DupObjInfo* SetDupObject(void* object, unsigned int count, char const* file, unsigned int line);
    /// @}

    ParameterFileSymbolTable* GetTable() const { return m_table; }
    /// Who logs the reads; may be NULL.
    IParameterLoggingAPI* GetLogger() const;
    uint32_t GetID() const { return m_id; }
    uint32_t GetDuplicateID() const { return m_duplicateId; }
    unsigned char const* GetPayload() const { return m_data; }
    /// Stops at the largest number; every read behind the end fails.
    uint32_t GetPos() const { return static_cast<uint32_t>(std::min<uint64_t>(m_pos, UINT32_MAX)); }
    uint32_t GetSize() const { return m_size; }
    /// What Load() found out of a module record that has a mode; NULL for any other entry.
    ModuleData const* GetModuleData() const { return m_moduleData; }

  private:
    bool FetchPayload(ParameterBinaryFile* file, SymbolRecord const& record,
                      unsigned int dataOffset);
    void ReportShortRead(size_t size) const;
    void FreePayload() {
        if (m_owner != nullptr) {
            std::free(const_cast<unsigned char*>(m_data));
            m_owner = nullptr;
        }
    }

    ParameterFileSymbolTable* m_table = nullptr;
    uint32_t m_id = 0;
    uint32_t m_duplicateId = 0;
    unsigned char const* m_data = nullptr;
    char const* m_owner = nullptr;  // file name if the payload is this entry's own
    uint64_t m_pos = 0;
    uint32_t m_size = 0;                 // 0 without a payload
    ModuleData* m_moduleData = nullptr;  // in the room behind it
    alignas(ModuleData) unsigned char m_room[sizeof(ModuleData)];
    static_assert(std::is_trivially_destructible_v<ModuleData>);
};
