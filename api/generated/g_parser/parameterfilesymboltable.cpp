// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterfilesymboltable.h"

#include <algorithm>
#include <new>
#include <optional>

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parametersetmanager.h"
#include "symbolrecord.hpp"

namespace {

using Versions = ParameterFileVersions;

struct FreeDeleter {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
};
using Bytes = std::unique_ptr<unsigned char, FreeDeleter>;

}  // namespace

ParameterFileSymbolTable::ParameterFileSymbolTable(ParameterSetManager* owner,
                                                   VersionUnion const& version)
    : m_owner(owner), m_version(version), m_lock(owner) {}

ParameterFileSymbolTable::~ParameterFileSymbolTable() {
    FreeEntryData();
    FreeLookupData();
    if (!m_objects.empty()) {
        PARAMETER_LOG_ERROR(Logger(), "%d DupInfo object were not released\n",
                            static_cast<int>(m_objects.size()));
    }
    FreeGroups(m_modules);
    FreeGroups(m_data);
}

IParameterLoggingAPI* ParameterFileSymbolTable::Logger() const {
    return m_owner;
}

unsigned int ParameterFileSymbolTable::GetSymbolEntrySize(unsigned char alignment) const {
    if (alignment == 8) {
        return 76;
    }
    if (m_version > Versions::kPackedMin) {
        return 60;
    }
    return m_version == Versions::kPackedMin ? 56 : 64;
}

unsigned int ParameterFileSymbolTable::GetDataTableEntrySize() const {
    return m_version >= Versions::kDataTable ? 16 : 0;
}

unsigned int ParameterFileSymbolTable::GetModeEntrySize(unsigned char alignment) const {
    if (alignment == 8) {
        return m_version < Versions::kModeLinks ? 24 : 32;
    }
    if (m_version < Versions::kPackedMin) {
        return 16;
    }
    return m_version < Versions::kResidentModes ? 20 : 24;
}

void ParameterFileSymbolTable::FreeEntryData() {
    m_modules.records = nullptr;
    m_data.records = nullptr;
}

void ParameterFileSymbolTable::FreeLookupData() {
    FreeEntryData();
    m_modules.lookup.reset();
    m_data.lookup.reset();
    m_image = nullptr;
}

void ParameterFileSymbolTable::FreeGroups(Table& table) {
    for (uint32_t group = 0; table.groups != nullptr && group < table.groupCount; ++group) {
        for (DupObjInfo* info : table.groups[group]) {
            delete info;
        }
    }
    table.groups.reset();
}

// ---- Loading ----

bool ParameterFileSymbolTable::SectionFits(char const* name, uint32_t offset, uint32_t size) const {
    if (uint64_t{offset} + size <= m_fileLength) {
        return true;
    }
    PARAMETER_LOG_ERROR(Logger(), "Invalid %s section: offset %u and size %u exceed length %u\n",
                        name, offset, size, m_fileLength);
    return false;
}

bool ParameterFileSymbolTable::SizeTable(Table& table, uint32_t size, uint32_t entrySize,
                                         char const* name) {
    if (entrySize == 0) {
        PARAMETER_LOG_ERROR(Logger(), "Data table entry size is zero\n");
        table.count = 0;
        return true;
    }
    table.count = size / entrySize;
    if (size % entrySize != 0) {
        PARAMETER_LOG_ERROR(Logger(), "Invalid %s table size: %d, expected: %d\n", name,
                            static_cast<int>(size), static_cast<int>(table.count * entrySize));
        table.count = 0;
        return false;
    }
    return true;
}

bool ParameterFileSymbolTable::AllocateTable(Table& table) {
    const size_t slots = size_t{table.count} + 1;
    table.lookup.reset(new (std::nothrow) EntryData[slots]());
    if (table.lookup == nullptr) {
        PARAMETER_LOG_ERROR(Logger(), "Failed to allocate entry/lookup tables\n");
        return false;
    }
    return true;
}

bool ParameterFileSymbolTable::Load(unsigned char const* buffer, unsigned int length,
                                    char const* fileName, ParameterBinaryFile* file,
                                    unsigned int fileLength, unsigned int symbolSize,
                                    unsigned int symbolOffset, unsigned int dataTableSize,
                                    unsigned int dataTableOffset, unsigned int dataSize,
                                    unsigned int dataOffset, IModeTable* modeTable,
                                    unsigned char alignment) {
    m_file.reset(file);
    m_fileName = file != nullptr ? fileName : nullptr;
    m_fileLength = file != nullptr ? fileLength : std::min(length, fileLength);
    m_image = file == nullptr ? buffer : nullptr;
    m_modeTable = modeTable;
    m_alignment = alignment;
    m_symbolSize = symbolSize;
    m_symbolOffset = symbolOffset;
    m_dataTableSize = dataTableSize;
    m_dataTableOffset = dataTableOffset;
    m_dataSize = dataSize;
    m_dataOffset = dataOffset;
    m_dataIsModule = dataTableOffset == 0 || dataTableSize == 0;

    if (!SectionFits("symbol table", symbolOffset, symbolSize) ||
        !SizeTable(m_modules, symbolSize, GetSymbolEntrySize(alignment), "symbol")) {
        return false;
    }
    if (!m_dataIsModule && (!SectionFits("data table", dataTableOffset, dataTableSize) ||
                            !SizeTable(m_data, dataTableSize, GetDataTableEntrySize(), "data"))) {
        return false;
    }
    if (!AllocateTable(m_modules) || (!m_dataIsModule && !AllocateTable(m_data))) {
        return false;
    }
    bool good = LoadTable(buffer, true, symbolOffset, symbolSize);
    if (good && !m_dataIsModule) {
        good = LoadTable(buffer, false, dataTableOffset, dataTableSize);
    }
    if (file != nullptr) {
        FreeEntryData();
    }
    return good;
}

bool ParameterFileSymbolTable::LoadTable(unsigned char const* buffer, bool isModule,
                                         uint32_t offset, uint32_t size) {
    char const* name = isModule ? "symbol" : "data";
    Table& table = isModule ? m_modules : m_data;
    if (table.count == 0) {
        return true;
    }
    table.layout = ParameterRecordLayout(m_version, m_alignment, isModule);
    Bytes fromFile;
    TableImage image = {nullptr, size};
    if (m_file != nullptr) {
        fromFile.reset(m_file->Read(offset, size));
        if (fromFile == nullptr) {
            PARAMETER_LOG_ERROR(
                Logger(),
                "Failed to read %s table buffer (offset: %d, size: %d) from binary file\n", name,
                static_cast<int>(offset), static_cast<int>(size));
            return false;
        }
        image.bytes = fromFile.get();
    } else {
        image.bytes = buffer + offset;
        table.records = image.bytes;
    }
    if (!ReadTable(image, isModule)) {
        PARAMETER_LOG_ERROR(Logger(), "Failed to read %s table from binary file\n", name);
        return false;
    }
    return true;
}

bool ParameterFileSymbolTable::ReadTable(const TableImage& image, bool isModule) {
    Table& table = isModule ? m_modules : m_data;
    const size_t slots = size_t{table.count} + 1;
    Duplicates duplicates;
    duplicates.counts.reset(new (std::nothrow) uint32_t[slots]());
    if (duplicates.counts == nullptr) {
        PARAMETER_LOG_ERROR(Logger(), "Failed to allocate space for duplicates variable\n");
        return true;
    }
    if (isModule && !m_moduleData.Resize(table.count)) {
        PARAMETER_LOG_ERROR(Logger(), "Failed to allocate module data list\n");
        return false;
    }
    const ParameterRecordLayout layout = table.layout;
    bool good = true;
    unsigned int pos = 0;
    for (uint32_t turn = 0; good && turn < table.count; ++turn) {
        good = ReadRecord(image, layout, &pos, duplicates);
    }
    if (isModule) {
        CloseModuleList();
    }
    if (good) {
        NumberGroups(table, duplicates);
    }
    return good;
}

// One turn of the pass. A record whose ID is out of range keeps the position where it is, so that
// the turns that are left meet it again.
bool ParameterFileSymbolTable::ReadRecord(const TableImage& image,
                                          ParameterRecordLayout const& layout, unsigned int* pos,
                                          Duplicates& duplicates) {
    const bool isModule = layout.isModule;
    Table& table = isModule ? m_modules : m_data;
    uint32_t id = 0;
    if (uint64_t{*pos} + sizeof id > image.length) {
        PARAMETER_LOG_ERROR(Logger(), "Failed to read entry ID from Symbol table\n");
        return false;
    }
    std::memcpy(&id, image.bytes + *pos, sizeof id);
    if (id == 0 || id > table.count) {
        PARAMETER_LOG_ERROR(Logger(), "Symbol table entry ID %d out of range 1 - %d\n",
                            static_cast<int>(id), static_cast<int>(table.count));
        return true;
    }
    EntryData& lookup = table.lookup[id];
    lookup.pos = *pos;
    const SymbolRecord record = ReadSymbolRecord(layout, image.bytes, image.length, pos, Logger());
    CheckDuplicate(record.duplicateId, isModule);
    lookup.duplicateGroup = record.duplicateId;
    if (record.duplicateId != 0 && record.duplicateId <= table.count) {
        duplicates.any = ++duplicates.counts[record.duplicateId] > 1 || duplicates.any;
    }
    uint64_t start = 0;
    if (m_image != nullptr && record.dataSize > 0) {
        // To report one that is none.
        LocatePayload(record.dataOffset, record.dataSize, m_dataOffset, &start);
    }
    return !isModule || KeepModuleData(record);
}

void ParameterFileSymbolTable::CheckDuplicate(uint32_t duplicateId, bool isModule) const {
    const bool inModules = isModule || m_dataIsModule;
    const uint32_t count = inModules ? m_modules.count : m_data.count;
    if (duplicateId > count) {
        PARAMETER_LOG_ERROR(
            Logger(), "Invalid DuplicateID value %u, should be less than %s table count: %u\n",
            duplicateId, inModules ? "module" : "data", count);
    }
}

// A payload that does not lie whole inside the file is none: its reads fail like those of an
// empty one.
bool ParameterFileSymbolTable::LocatePayload(uint32_t offset, uint32_t size, uint32_t dataOffset,
                                             uint64_t* start) const {
    *start = uint64_t{dataOffset} + offset;
    if (*start + size <= m_fileLength) {
        return true;
    }
    PARAMETER_LOG_ERROR(
        Logger(), "Failed to read %lld bytes from binary file offset %d, length %d\n",
        static_cast<long long>(size), static_cast<int>(*start), static_cast<int>(m_fileLength));
    return false;
}

// The last record of an ID counts, also if it has no mode.
bool ParameterFileSymbolTable::KeepModuleData(SymbolRecord record) {
    ModuleData*& kept = m_moduleData[record.id - 1];
    kept = nullptr;
    if (record.modeId == SymbolRecord::kNoMode) {
        return true;
    }
    void* room = m_pool.Allocate(sizeof(ModuleData));
    if (room == nullptr) {
        PARAMETER_LOG_ERROR(Logger(), "Failed to allocate ModuleData\n");
        return false;
    }
    kept = new (room) ModuleData(record.id, record.duplicateId, m_modeTable, record.name,
                                 record.version, record.modeId, m_owner, this);
    return true;
}

void ParameterFileSymbolTable::NumberGroups(Table& table, Duplicates& duplicates) {
    table.groupCount = 1;
    if (!duplicates.any) {
        for (uint32_t id = 1; id <= table.count; ++id) {
            table.lookup[id].duplicateGroup = 0;
        }
        return;
    }
    uint32_t* counters = duplicates.counts.get();
    uint32_t groups = 0;
    for (uint32_t id = 1; id <= table.count; ++id) {
        counters[id] = counters[id] > 1 ? ++groups : 0;
    }
    for (uint32_t id = 1; id <= table.count; ++id) {
        uint32_t& group = table.lookup[id].duplicateGroup;
        group = group <= table.count ? counters[group] : 0;
    }
    table.groupCount = groups + 1;
    // Without memory for the groups nothing is shared, and nothing else is lost.
    table.groups.reset(new (std::nothrow) PList<DupObjInfo*>[table.groupCount]);
}

// Let those follow each other that stand in the list by their IDs.
void ParameterFileSymbolTable::CloseModuleList() {
    ModuleData** end = std::remove(m_moduleData.begin(), m_moduleData.end(), nullptr);
    m_moduleData.Resize(static_cast<uint32_t>(end - m_moduleData.begin()));
}

// ---- Finding ----

// An ID without a record leads to position 0, where another one's lies; it has no payload, nor has
// one whose payload does not lie inside the file.
inline void ParameterFileSymbolTable::FindInImage(ParameterFileSymbolTableEntry& entry,
                                                  Table const& table, uint32_t id) {
    ParameterRecordLayout const& layout = table.layout;
    unsigned char const* record = table.records + table.lookup[id].pos;
    if (RecordField<uint32_t>(record, 0) != id) {
        entry.PointAt(this, id, 0, nullptr, 0);
        return;
    }
    const auto size = RecordField<uint32_t>(record, layout.dataSize);
    const uint64_t start =
        uint64_t{m_dataOffset} + RecordField<uint32_t>(record, layout.dataOffset);
    const bool there = size > 0 && start + size <= m_fileLength;
    entry.PointAt(this, id, RecordField<uint32_t>(record, layout.duplicateId),
                  there ? m_image + start : nullptr, there ? size : 0);
}

bool ParameterFileSymbolTable::Find(ParameterFileSymbolTableEntry& entry, unsigned int id,
                                    bool isModule) {
    Table& table = Select(isModule);
    if (id == 0 || id > table.count) {
        PARAMETER_LOG_ERROR(Logger(), "Find: Symbol table entry ID %d out of range 1 - %d\n",
                            static_cast<int>(id), static_cast<int>(table.count));
        return false;
    }
    if (table.records != nullptr) [[likely]] {
        FindInImage(entry, table, id);
        return true;
    }
    return m_file != nullptr && table.lookup != nullptr && FindInFile(entry, table, id, isModule);
}

bool ParameterFileSymbolTable::FindInFile(ParameterFileSymbolTableEntry& entry, Table& table,
                                          unsigned int id, bool isModule) {
    // A reload must not take the file away between two reads of one record.
    std::optional<ParameterScopedLock> tree;
    if (m_owner != nullptr) {
        tree.emplace(m_owner->TreeLock(), true);
    }
    FileReference(1);
    entry.Init(this);
    unsigned int pos = table.lookup[id].pos;
    const bool good = entry.Load(nullptr, m_fileName, m_file.get(), 0, &pos, m_dataOffset,
                                 m_modeTable, isModule || m_dataIsModule, m_alignment);
    FileReference(-1);
    return good;
}

bool ParameterFileSymbolTable::ReadPointerEntry(ParameterFileSymbolTableEntry& result,
                                                ParameterFileSymbolTableEntry* source,
                                                unsigned char alignment) {
    uint32_t id = 0;
    return source != nullptr && source->ReadScalar(id, alignment) && Find(result, id, false);
}

void ParameterFileSymbolTable::FileReference(int adjust) {
    if (m_file == nullptr) {
        PARAMETER_LOG_DEBUG(Logger(), "FileReference called with null File object, Adjust: %d\n",
                            adjust);
        return;
    }
    m_file->Reference(adjust);
}

// ---- Objects ----

void* ParameterFileSymbolTable::AllocateObject(size_t size) {
    if (!IsPooled()) {
        return std::calloc(1, size);
    }
    void* object = m_pool.Allocate(size);
    return object != nullptr ? std::memset(object, 0, size) : nullptr;
}

char* ParameterFileSymbolTable::AllocateText(char const* text, size_t length) {
    void* room = IsPooled() ? m_pool.Allocate(length + 1) : std::malloc(length + 1);
    auto* copy = static_cast<char*>(room);
    if (copy != nullptr) {
        std::memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

bool DupObjInfo::Release() {
    if (RefCount > 0 && --RefCount > 0) {
        return false;
    }
    Object = nullptr;
    return true;
}

DupObjInfo* ParameterFileSymbolTable::SearchGroup(PList<DupObjInfo*>& group, unsigned int count,
                                                  char const* file, unsigned int line,
                                                  bool isModule, unsigned int id) {
    for (DupObjInfo* info : group) {
        if (info->Line != line || std::strcmp(info->File, file) != 0) {
            continue;
        }
        if (info->Count == count) {
            return info;
        }
        PARAMETER_LOG_DEBUG(Logger(),
                            "GetDupObject found duplicate objects with differing counts: IsModule: "
                            "%d, ID: %u, Count: %u, Found: %u, Loc: %s:%d\n",
                            isModule, id, count, info->Count, file, static_cast<int>(line));
    }
    return nullptr;
}

DupObjInfo* ParameterFileSymbolTable::FindShared(bool isModule, unsigned int id, unsigned int count,
                                                 char const* file, unsigned int line) {
    Table& table = Select(isModule);
    if (table.lookup == nullptr || id > table.count) {
        PARAMETER_LOG_ERROR(Logger(),
                            "GetDupObject called with invalid values, This: %p, IsModule: %d, ID: "
                            "%u, DupCount: %u, LookupCnt: %u, DupEntries: %p, EntryLookup: %p, "
                            "Loc: %s:%d\n",
                            static_cast<void*>(this), isModule, id, table.groupCount, table.count,
                            static_cast<void*>(table.groups.get()),
                            static_cast<void*>(table.lookup.get()), file, static_cast<int>(line));
        return nullptr;
    }
    const uint32_t group = table.lookup[id].duplicateGroup;
    if (group >= std::max(table.groupCount, 1u)) {
        PARAMETER_LOG_ERROR(Logger(),
                            "GetDupObject called with invalid values, This: %p, IsModule: %d, ID: "
                            "%u, DupCount: %u, LookupCnt: %u, DupEntries: %p, EntryLookup: %p, "
                            "EntryLookup[id].Dup: %u, Loc: %s:%d\n",
                            static_cast<void*>(this), isModule, id, table.groupCount, table.count,
                            static_cast<void*>(table.groups.get()),
                            static_cast<void*>(table.lookup.get()), group, file,
                            static_cast<int>(line));
        return nullptr;
    }
    if (table.groups == nullptr) {
        return nullptr;
    }
    const ParameterScopedLock lock(m_lock, true);
    DupObjInfo* info = SearchGroup(table.groups[group], count, file, line, isModule, id);
    if (info != nullptr && info->Object != nullptr) {
        ++info->RefCount;
    }
    return info;
}

bool ParameterFileSymbolTable::EnterObject(void* object, DupObjInfo* info) {
    try {
        m_objects[object] = info;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Make a record for an object that is the first of its kind in the group.
DupObjInfo* ParameterFileSymbolTable::ShareObject(PList<DupObjInfo*>& group, void* object,
                                                  unsigned int count, char const* file,
                                                  unsigned int line) {
    auto* info = new (std::nothrow) DupObjInfo;
    if (info == nullptr) {
        return nullptr;
    }
    info->Object = object;
    info->Count = count;
    info->File = file;
    info->Line = line;
    info->RefCount = 1;
    if (!EnterObject(object, info)) {
        delete info;
        return nullptr;
    }
    if (!group.Add(info)) {
        m_objects.erase(object);
        delete info;
        return nullptr;
    }
    return info;
}

DupObjInfo* ParameterFileSymbolTable::Share(bool isModule, unsigned int id, void* object,
                                            unsigned int count, char const* file,
                                            unsigned int line) {
    Table& table = Select(isModule);
    if (table.lookup == nullptr || id > table.count) {
        PARAMETER_LOG_ERROR(Logger(),
                            "SetDupObject called with invalid values, This: %p, IsModule: %d, ID: "
                            "%u, Obj: %p, DupCount: %u, LookupCnt: %u, DupEntries: %p, "
                            "EntryLookup: %p, Loc: %s:%d\n",
                            static_cast<void*>(this), isModule, id, object, table.groupCount,
                            table.count, static_cast<void*>(table.groups.get()),
                            static_cast<void*>(table.lookup.get()), file, static_cast<int>(line));
        return nullptr;
    }
    const uint32_t number = table.lookup[id].duplicateGroup;
    if (object == nullptr || table.groups == nullptr) {
        PARAMETER_LOG_ERROR(Logger(),
                            "SetDupObject called with invalid values, This: %p, IsModule: %d, ID: "
                            "%u, Obj: %p, DupCount: %u, LookupCnt: %u, DupEntries: %p, "
                            "EntryLookup: %p, EntryLookup[id].Dup: %u, Loc: %s:%d\n",
                            static_cast<void*>(this), isModule, id, object, table.groupCount,
                            table.count, static_cast<void*>(table.groups.get()),
                            static_cast<void*>(table.lookup.get()), number, file,
                            static_cast<int>(line));
        return nullptr;
    }
    const ParameterScopedLock lock(m_lock, false);
    PList<DupObjInfo*>& group = table.groups[number];
    DupObjInfo* info = SearchGroup(group, count, file, line, isModule, id);
    if (info == nullptr) {
        return ShareObject(group, object, count, file, line);
    }
    if (info->Object != nullptr) {
        return nullptr;
    }
    if (info->RefCount != 0) {
        PARAMETER_LOG_ERROR(Logger(),
                            "SetDuplicateObject called on existing object with nullptr Object and "
                            "RefCount %d: ID: %d, DupID: %d, Loc: %s:%d, ignored\n",
                            static_cast<int>(info->RefCount.load()), static_cast<int>(id),
                            static_cast<int>(number), file, static_cast<int>(line));
    }
    if (!EnterObject(object, info)) {
        return nullptr;
    }
    info->Object = object;
    ++info->RefCount;
    return info;
}

bool ParameterFileSymbolTable::ReleaseShared(void* object) {
    const ParameterScopedLock lock(m_lock, false);
    const auto entry = m_objects.find(object);
    if (entry == m_objects.end()) {
        return true;
    }
    if (!entry->second->Release()) {
        return false;
    }
    m_objects.erase(entry);
    return true;
}
