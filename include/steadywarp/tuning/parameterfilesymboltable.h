// SPDX-License-Identifier: Apache-2.0
/// @file parameterfilesymboltable.h
/// The tables of a tuning file as look-ups by ID, and the objects that equal payloads share.
#pragma once

#include <memory>
#include <unordered_map>

#include "steadywarp/tuning/parameterfilesymboltableentry.h"
#include "steadywarp/tuning/parameterpool.h"

/// One object that payloads with the same content share.
///
/// `File` and `Line` say which code builds the object, and so of which type it is.
struct DupObjInfo {
    void* Object = nullptr;  ///< NULL once all users have released it
    uint32_t Count = 0;      ///< number of elements it was built with
    char const* File = nullptr;
    uint32_t Line = 0;
    std::atomic<uint32_t> RefCount{0};

    /// Drop one user. @return true if it was the last; Object is then NULL.
    STEADYWARP_API bool Release();
};

/// Versions of the file format at which something changes.
struct ParameterFileVersions {
    static constexpr VersionUnion kModeTreeMin{1, 0, 2};    ///< tool and binary tag
    static constexpr VersionUnion kAlignedMin{1, 1, 0};     ///< fields aligned to 8 bytes
    static constexpr VersionUnion kModeLinks{2, 0, 0};      ///< links between modes
    static constexpr VersionUnion kFlags{3, 0, 0};          ///< flags in the header
    static constexpr VersionUnion kPackedMin{3, 0, 1};      ///< fields packed again
    static constexpr VersionUnion kDataTable{4, 0, 0};      ///< data table, mode table name
    static constexpr VersionUnion kResidentModes{5, 0, 0};  ///< flags of a mode
    static constexpr VersionUnion kNewest{5, 0, 0};

    /// Alignment of fields in a file of this version, 1 or 8.
    static constexpr unsigned char Alignment(const VersionUnion& version) {
        return version >= kAlignedMin && version < kPackedMin ? 8 : 1;
    }
};

/// Where the fields of a record lie in a table of the file, in bytes from the record's begin. Its
/// ID comes first, at 0.
struct ParameterRecordLayout {
    static constexpr uint8_t kNameField = 32;
    static constexpr uint8_t kLongest = 80;  ///< no record is longer, whatever its format

    struct Field {
        uint8_t at;
        uint8_t size;
    };

    ParameterRecordLayout() = default;
    /// @param ofModule whether it is a record of the symbol table.
    ParameterRecordLayout(VersionUnion const& fileVersion, unsigned char alignment, bool ofModule);

    bool isModule = false;
    uint8_t name = 0;  ///< of a symbol record, as are the next two
    uint8_t version = 0;
    uint8_t modeId = 0;
    uint8_t dataOffset = 0;
    uint8_t dataSize = 0;
    uint8_t duplicateId = 0;  ///< that of the ID where the format has none
    uint8_t end = 0;          ///< of the last field
    uint8_t stride = 0;       ///< from a record to the next
    uint8_t fieldCount = 0;
    Field fields[8] = {};  ///< in their order
};

/// The symbol table and the data table of one load.
///
/// Load() comes first and alone. Find() and ReadPointerEntry() may then run in any thread, as may
/// the operations on shared objects, which lock the bookkeeping.
class STEADYWARP_API ParameterFileSymbolTable {
  public:
    /// @param owner may be NULL; all lines are logged in its name.
    ParameterFileSymbolTable(ParameterSetManager* owner, VersionUnion const& version);
    ~ParameterFileSymbolTable();
    ParameterFileSymbolTable(const ParameterFileSymbolTable&) = delete;
    ParameterFileSymbolTable& operator=(const ParameterFileSymbolTable&) = delete;

    /// Read both tables.
    /// @param buffer the whole file in buffer mode; not read with a `file`.
    /// @param length bytes of `buffer`.
    /// @param file owned from here on, whatever the result; NULL in buffer mode.
    /// @param fileLength bytes of the file, in either mode. No section may pass it.
    /// @return false, with a line in the log, if a table cannot be sized or read.
    bool Load(unsigned char const* buffer, unsigned int length, char const* fileName,
              ParameterBinaryFile* file, unsigned int fileLength, unsigned int symbolSize,
              unsigned int symbolOffset, unsigned int dataTableSize, unsigned int dataTableOffset,
              unsigned int dataSize, unsigned int dataOffset, IModeTable* modeTable,
              unsigned char alignment);

    /// Find a record by ID and point `entry` at its payload.
    bool Find(ParameterFileSymbolTableEntry& entry, unsigned int id, bool isModule);
    /// Read a pointer at the cursor `source` and find the payload it leads to.
    bool ReadPointerEntry(ParameterFileSymbolTableEntry& result,
                          ParameterFileSymbolTableEntry* source, unsigned char alignment);

    /// Find the object that a payload equal to `id` was parsed into, and count one more user.
    /// @return NULL if there is none or the payload has no duplicates; the record may hold a NULL
    ///         object, whose users have all gone.
    DupObjInfo* GetDupObject(bool isModule, unsigned int id, unsigned int count, char const* file,
                             unsigned int line) {
        return StandsAlone(Select(isModule), id) ? nullptr
                                                 : FindShared(isModule, id, count, file, line);
    }
    /// Offer an object to the readers of equal payloads. @return NULL if it is not shared.
    DupObjInfo* SetDupObject(bool isModule, unsigned int id, void* object, unsigned int count,
                             char const* file, unsigned int line) {
        return StandsAlone(Select(isModule), id) ? nullptr
                                                 : Share(isModule, id, object, count, file, line);
    }
    /// Drop one user of an object. @return true if the caller must free it, by FreeObject() if it
    ///         came from AllocateObject().
    bool ReleaseDupObject(void* object) {
        // Without equal payloads in the file nothing was ever shared.
        const bool shares = m_modules.groups != nullptr || m_data.groups != nullptr;
        return object != nullptr && (!shares || ReleaseShared(object));
    }

    /// Tell whether what is read lives as long as this table, as in buffer mode; in file mode it
    /// comes and goes with its mode.
    bool IsPooled() const { return m_file == nullptr; }
    /// Memory that lives as long as this table. Not for two threads: while loading only.
    ParameterPool& Pool() { return m_pool; }
    /// Room for an object behind a pointer, all zero. @return NULL if memory is exhausted.
    void* AllocateObject(size_t size);
    /// A copy of `length` characters with a nul behind them, as AllocateObject() gives room.
    char* AllocateText(char const* text, size_t length);
    /// Give back an object that AllocateObject() gave; in buffer mode it stays with the table.
    void FreeObject(void* object) {
        if (!IsPooled()) {
            std::free(object);
        }
    }

    /// Change the number of users that want the file open.
    void FileReference(int adjust);

    /// @{
    /// Bytes by which a record counts in the size of its section. With alignment 8 a symbol record
    /// counts for four more bytes than it takes.
    unsigned int GetSymbolEntrySize(unsigned char alignment) const;
    unsigned int GetDataTableEntrySize() const;
    unsigned int GetModeEntrySize(unsigned char alignment) const;
    /// @}

    /// Drop the entries; in buffer mode nothing can be found from then on.
    void FreeEntryData();
    /// Drop the look-ups, and with them the last pointer into the caller's image.
    void FreeLookupData();

    const VersionUnion& GetVersion() const { return m_version; }
    unsigned char GetAlignment() const { return m_alignment; }
    ParameterBinaryFile* GetFile() const { return m_file.get(); }
    uint32_t GetModuleCount() const { return m_modules.count; }
    uint32_t GetDataCount() const { return m_dataIsModule ? m_modules.count : m_data.count; }
    /// The data of every record that has a mode, in ID order.
    PList<ModuleData*>& GetModuleList() { return m_moduleData; }

  private:
    friend class ParameterFileSymbolTableEntry;

    struct EntryData {
        uint32_t duplicateGroup;  // the record's DuplicateID until the groups are numbered
        uint32_t pos;
    };
    using Lookup = std::unique_ptr<EntryData[]>;
    using Groups = std::unique_ptr<PList<DupObjInfo*>[]>;

    // Either table with everything that belongs to it.
    struct Table {
        uint32_t count = 0;
        uint32_t groupCount = 0;
        ParameterRecordLayout layout;
        unsigned char const* records = nullptr;  // in the caller's image, while that is at hand
        Lookup lookup;
        Groups groups;
    };
    struct TableImage {
        unsigned char const* bytes;
        unsigned int length;
    };
    // How many records have each DuplicateID, and whether any has more than one.
    struct Duplicates {
        std::unique_ptr<uint32_t[]> counts;
        bool any = false;
    };

    Table& Select(bool isModule) { return isModule || m_dataIsModule ? m_modules : m_data; }
    IParameterLoggingAPI* Logger() const;
    // Tell whether a payload is known to have no equal, as most have none.
    static bool StandsAlone(Table const& table, uint32_t id) {
        return table.lookup != nullptr && id <= table.count && table.lookup[id].duplicateGroup == 0;
    }
    bool SizeTable(Table& table, uint32_t size, uint32_t entrySize, char const* name);
    bool SectionFits(char const* name, uint32_t offset, uint32_t size) const;
    bool AllocateTable(Table& table);
    bool LoadTable(unsigned char const* buffer, bool isModule, uint32_t offset, uint32_t size);
    bool ReadTable(const TableImage& image, bool isModule);
    bool ReadRecord(const TableImage& image, ParameterRecordLayout const& layout, unsigned int* pos,
                    Duplicates& duplicates);
    void CheckDuplicate(uint32_t duplicateId, bool isModule) const;
    bool LocatePayload(uint32_t offset, uint32_t size, uint32_t dataOffset, uint64_t* start) const;
    bool KeepModuleData(SymbolRecord record);
    static void NumberGroups(Table& table, Duplicates& duplicates);
    void CloseModuleList();
    void FindInImage(ParameterFileSymbolTableEntry& entry, Table const& table, uint32_t id);
    bool FindInFile(ParameterFileSymbolTableEntry& entry, Table& table, unsigned int id,
                    bool isModule);
    DupObjInfo* FindShared(bool isModule, unsigned int id, unsigned int count, char const* file,
                           unsigned int line);
    DupObjInfo* Share(bool isModule, unsigned int id, void* object, unsigned int count,
                      char const* file, unsigned int line);
    bool ReleaseShared(void* object);
    DupObjInfo* SearchGroup(PList<DupObjInfo*>& group, unsigned int count, char const* file,
                            unsigned int line, bool isModule, unsigned int id);
    DupObjInfo* ShareObject(PList<DupObjInfo*>& group, void* object, unsigned int count,
                            char const* file, unsigned int line);
    bool EnterObject(void* object, DupObjInfo* info);
    static void FreeGroups(Table& table);

    ParameterSetManager* m_owner;
    VersionUnion m_version;
    char const* m_fileName = nullptr;
    std::unique_ptr<ParameterBinaryFile> m_file;
    uint32_t m_fileLength = 0;
    uint32_t m_symbolSize = 0;
    uint32_t m_symbolOffset = 0;
    uint32_t m_dataTableSize = 0;
    uint32_t m_dataTableOffset = 0;
    uint32_t m_dataSize = 0;
    uint32_t m_dataOffset = 0;
    unsigned char const* m_image = nullptr;  // the caller's, in buffer mode, during the load
    IModeTable* m_modeTable = nullptr;
    unsigned char m_alignment = 1;
    bool m_dataIsModule = true;  // no data table: pointers lead into the symbol table
    Table m_modules;
    Table m_data;
    ParameterPool m_pool;
    PList<ModuleData*> m_moduleData;  // in the pool
    ParameterMutex m_lock;
    std::unordered_map<void*, DupObjInfo*> m_objects;
};
