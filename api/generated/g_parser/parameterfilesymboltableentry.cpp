// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterfilesymboltableentry.h"

#include <memory>
#include <new>

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parameterfilesymboltable.h"
#include "steadywarp/tuning/parametersetmanager.h"
#include "symbolrecord.hpp"

namespace {

struct FreeDeleter {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
};

}  // namespace

IParameterLoggingAPI* ParameterFileSymbolTableEntry::GetLogger() const {
    return m_table != nullptr ? m_table->Logger() : nullptr;
}

bool ParameterFileSymbolTableEntry::FetchPayload(ParameterBinaryFile* file,
                                                 SymbolRecord const& record,
                                                 unsigned int dataOffset) {
    unsigned char const* image = m_table->m_image;
    if (record.dataSize == 0 || (file == nullptr && image == nullptr)) {
        return true;
    }
    uint64_t start = 0;
    if (!m_table->LocatePayload(record.dataOffset, record.dataSize, dataOffset, &start)) {
        return false;
    }
    if (file != nullptr) {
        m_data = file->Read(static_cast<unsigned int>(start), record.dataSize);
        m_owner = file->GetName();
        if (m_data == nullptr) {
            return false;
        }
    } else {
        m_data = image + start;
    }
    m_size = record.dataSize;
    return true;
}

bool ParameterFileSymbolTableEntry::Load(unsigned char const* buffer, char const*,
                                         ParameterBinaryFile* file, unsigned int length,
                                         unsigned int* pos, unsigned int dataOffset,
                                         IModeTable* modeTable, bool isModule,
                                         unsigned char alignment) {
    if (m_table == nullptr || pos == nullptr) {
        return false;
    }
    const ParameterRecordLayout layout(m_table->m_version, alignment, isModule);
    SymbolRecord record;
    record.whole = false;
    std::unique_ptr<unsigned char, FreeDeleter> fromFile;  // the record's name lies there
    if (file != nullptr) {
        const bool inDataTable = !isModule && m_table->m_dataTableOffset != 0;
        const uint64_t start =
            uint64_t{*pos} + (inDataTable ? m_table->m_dataTableOffset : m_table->m_symbolOffset);
        const uint64_t left = start < m_table->m_fileLength ? m_table->m_fileLength - start : 0;
        // A short record at the very end of the file is read as far as the file goes.
        const auto size = static_cast<unsigned int>(
            std::min<uint64_t>(m_table->GetSymbolEntrySize(alignment), left));
        fromFile.reset(size > 0 ? file->Read(static_cast<unsigned int>(start), size) : nullptr);
        unsigned int consumed = 0;
        if (fromFile != nullptr) {
            record = ReadSymbolRecord(layout, fromFile.get(), size, &consumed, GetLogger());
        }
        *pos += consumed;
    } else {
        record = ReadSymbolRecord(layout, buffer, length, pos, GetLogger());
    }
    m_id = record.id;
    m_duplicateId = record.duplicateId;
    m_table->CheckDuplicate(record.duplicateId, isModule);
    if (isModule && record.modeId != SymbolRecord::kNoMode) {
        m_moduleData =
            new (m_room) ModuleData(m_id, m_duplicateId, modeTable, record.name, record.version,
                                    record.modeId, m_table->m_owner, m_table);
    }
    return FetchPayload(file, record, dataOffset) && record.whole;
}

void ParameterFileSymbolTableEntry::ReportShortRead(size_t size) const {
    PARAMETER_LOG_ERROR(
        GetLogger(), "Failed to read %lld bytes from binary file offset %d, length %d\n",
        static_cast<long long>(size), static_cast<int>(m_pos), static_cast<int>(m_size));
}

bool ParameterFileSymbolTableEntry::ReadBuffer(void* value, unsigned int count,
                                               unsigned char alignment) {
    unsigned int pos = GetPos();
    const bool good = ParameterUtils::ReadBuffer(static_cast<unsigned char*>(value), m_data, m_size,
                                                 &pos, count, alignment, GetLogger());
    m_pos = pos;
    return good;
}

unsigned int ParameterFileSymbolTableEntry::ReadEnum(bool* ok, unsigned char alignment) {
    uint32_t value = 0;
    if (!ReadScalar(value, alignment)) {
        *ok = false;
        return 0;
    }
    return value;
}

bool ParameterFileSymbolTableEntry::ReadString(char** value, unsigned int count,
                                               unsigned char alignment) {
    constexpr unsigned int kLocation = __LINE__;  // one place, so one type of object
    DupObjInfo const* shared = GetDupObject(1, __FILE__, kLocation);
    if (shared != nullptr && shared->Object != nullptr) {
        *value = static_cast<char*>(shared->Object);
        m_pos += count;
        return true;
    }
    const bool there = m_table != nullptr && m_data != nullptr;
    const uint64_t left = m_pos < m_size ? std::min<uint64_t>(m_size - m_pos, count) : 0;
    char const* text = reinterpret_cast<char const*>(m_data) + (left > 0 ? m_pos : 0);
    *value = there ? m_table->AllocateText(text, strnlen(text, left)) : nullptr;
    if (*value == nullptr) {
        PARAMETER_LOG_ERROR(GetLogger(), "Failed to read or allocate a string of %u bytes\n",
                            count);
        return false;
    }
    unsigned int pos = GetPos();
    ParameterUtils::Advance(&pos, count, alignment);
    m_pos = pos;
    SetDupObject(*value, 1, __FILE__, kLocation);
    return true;
}

DupObjInfo* ParameterFileSymbolTableEntry::GetDupObject(unsigned int count, char const* file,
                                                        unsigned int line) {
    return m_table != nullptr
               ? m_table->GetDupObject(m_moduleData != nullptr, m_id, count, file, line)
               : nullptr;
}

DupObjInfo* ParameterFileSymbolTableEntry::SetDupObject(void* object, unsigned int count,
                                                        char const* file, unsigned int line) {
    return m_table != nullptr
               ? m_table->SetDupObject(m_moduleData != nullptr, m_id, object, count, file, line)
               : nullptr;
}
