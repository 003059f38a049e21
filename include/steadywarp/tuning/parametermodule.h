// SPDX-License-Identifier: Apache-2.0
/// @file parametermodule.h
/// A module: the parsed values of one record of the tuning file, and what is known of the record.
#pragma once

#include <atomic>
#include <new>

#include "steadywarp/tuning/parametertypekey.h"

class ModeEntry;
class ParameterFileSymbolTable;
class ParameterModule;
class ParameterSetManager;

/// What a module knows of its record. Owned by the symbol table of the load that read the record.
class STEADYWARP_API ModuleData {
  public:
    /// Room for a type name as a record holds it, the nul included.
    static constexpr unsigned int kTypeSize = 33;

    /// @param type a type name as a record holds it, 32 characters or less with a nul behind them;
    ///        copied.
    /// @param modeTable finds the mode; may be NULL.
    ModuleData(uint32_t id, uint32_t duplicateId, IModeTable* modeTable, char const* type,
               VersionUnion const& version, uint32_t modeId, ParameterSetManager* setManager,
               ParameterFileSymbolTable* table);

    /// Shorten a module name to the type name of a record: without a leading "tessaline_" or
    /// "tessaline", in any case of letters, if something follows; a rest above 32 characters
    /// becomes its first 8, a "-" and its last 23.
    /// @param out receives at most 33 bytes, the nul included.
    static void GetType(char* out, char const* name);
    /// What ParameterTypeKey compares.
    char const* TypeName() const { return Type; }

    uint32_t ID;
    uint32_t DuplicateID;
    char Type[kTypeSize] = {};  ///< zero behind the text
    VersionUnion Version;
    uint32_t ModeId;
    ModeEntry* Mode;       ///< NULL once the mode tree of this load is gone
    char const* ModePath;  ///< numeric path of the mode, in the table's keeping; NULL if unknown
    ParameterSetManager* SetManager;
    ParameterFileSymbolTable* SymbolTable;
};

/// A module in the row of its type.
struct ModuleLink {
    ParameterModule* module;
    ModuleLink* next;
};

/// Every instance of one module type, in the order of their making.
///
/// The links lie in the instances, so that neither entering one nor taking it out of use can fail.
class STEADYWARP_API DefaultModule {
  public:
    /// @param classObject makes the instances; owned from here on. NULL for a row of instances
    ///        that are out of use.
    explicit DefaultModule(ParameterModule* classObject);
    /// Deletes the instances, then the class object.
    ~DefaultModule();
    DefaultModule(const DefaultModule&) = delete;
    DefaultModule& operator=(const DefaultModule&) = delete;

    ParameterModule* GetClassObject() const { return m_classObject; }
    /// The type name of the class object, and so of all instances.
    ParameterTypeKey const& Key() const { return m_key; }
    /// Find the first instance without data, or with this record ID. @return NULL if none.
    ParameterModule* Find(uint32_t id) const;
    /// Append an instance that stands in no row; owned from here on.
    void AddModule(ParameterModule* module);
    /// Unlink an instance without deleting it. @return false if it is not linked.
    bool RemoveModule(ParameterModule const* module);
    /// Unlink the first instance and give it up. @return NULL if there is none.
    ParameterModule* TakeFirst();
    /// Give one instance to the end of another row. @return false if it is not linked here.
    bool MoveModule(ParameterModule const* module, DefaultModule& target);
    /// Give all instances to the end of another row.
    void MoveAll(DefaultModule& target);
    /// Delete the instances that nobody holds any more; see ParameterModule::GetHolders().
    void DeleteReleased();
    /// Tell whether an instance was read through this table.
    bool Uses(ParameterFileSymbolTable const* table) const;

  private:
    ModuleLink* Unlink(ParameterModule const* module);
    void Append(ModuleLink* link);

    ParameterModule* m_classObject;
    ParameterTypeKey m_key;
    ModuleLink* m_first = nullptr;
    ModuleLink* m_last = nullptr;
    uint32_t m_highestId = 0;  // no linked record ID is above
};

/// Base of every module class.
///
/// A class object, one per module type, only makes instances; an instance belongs to one record
/// and loads and unloads its values. Loading runs under the locks of the set manager; the state
/// that is asked for here may be read from any thread.
class STEADYWARP_API ParameterModule {
  public:
    virtual ~ParameterModule();
    ParameterModule(const ParameterModule&) = delete;
    ParameterModule& operator=(const ParameterModule&) = delete;

    /// @name Memory of modules
    /// `new (data) Module(...)` makes an instance in the memory of the load that `data` belongs to,
    /// where instances live as long as the load, else on the heap; the other forms make it on the
    /// heap. `delete` knows where it lies.
    /// @{
    static void* operator new(size_t size, ModuleData const* data) noexcept;
    static void* operator new(size_t size, std::nothrow_t const&) noexcept;
    static void* operator new(size_t size);
    static void operator delete(void* module) noexcept { Free(module); }
    static void operator delete(void* module, ModuleData const*) noexcept { Free(module); }
    static void operator delete(void* module, std::nothrow_t const&) noexcept { Free(module); }
    /// @}

    /// Give the instance for a record: an existing one for a duplicate, else a new one that
    /// `defaults` owns. @return NULL if the record is of another type or version.
    virtual ParameterModule* Create(ModuleData* data, DefaultModule* defaults) const = 0;
    /// Parse the values. @return true if they are there; on failure the module is unloaded.
    virtual bool LoadModule(ParameterFileSymbolTable* table) = 0;
    /// Give up the values. Does nothing if they are not loaded.
    virtual void UnloadModule() = 0;
    /// Write the value at a dotted path as text. @return false if there is none.
    virtual bool GetValue(char const* path, char* value, unsigned int size);
    /// Change the value at a dotted path. @return false if it cannot be changed.
    virtual bool SetValue(char const* path, char const* value);
    /// Append one entry per field below a dotted path, or at the top for an empty one.
    virtual bool GetInfo(char const* path, PList<ParameterParserInfo>& list);

    /// Give back a reference that GetModule() of the set manager took. Any thread.
    void Release() const;
    /// Number of loads so far; a change tells that the values are new.
    int GetModified() const { return static_cast<int>(m_loadCounter.load()); }

    char const* GetModuleName() const { return m_name; }
    char const* GetModuleType() const { return m_type; }
    const VersionUnion& GetVersion() const { return m_version; }
    const ModeUnion& GetMode() const { return m_mode; }
    ModuleData* GetData() const { return m_data; }
    bool IsLoaded() const { return m_loaded.load(std::memory_order_acquire); }
    /// Remember the mode that took this module. Called by the set manager.
    void SetMode(const ModeUnion& mode) { m_mode = mode; }

    /// @{
    /// The mode that counts the references of an instance ends before an instance that is out of
    /// use; from then on it counts those that are left itself. Called by the set manager.
    void AddHolders(uint32_t holders) const { m_holders += holders; }
    void DropHolder() const {
        if (m_holders > 0) {
            DropOneHolder();
        }
    }
    uint32_t GetHolders() const { return m_holders; }
    /// @}

  protected:
    /// @param name full module name, a text that outlives the object.
    /// @param data NULL for a class object.
    ParameterModule(char const* name, const VersionUnion& version, ModuleData* data);

    /// Note that the values were read, well or not.
    void MarkLoaded() {
        // One thread at a time, under the locks: nothing to be locked out by the count itself.
        m_loadCounter.store(m_loadCounter.load(std::memory_order_relaxed) + 1,
                            std::memory_order_relaxed);
        m_loaded.store(true, std::memory_order_release);
    }
    /// Note that the values were given up.
    void MarkUnloaded() { m_loaded.store(false, std::memory_order_release); }

  private:
    friend class DefaultModule;

    void DropOneHolder() const;
    static void* Place(void* room, bool pooled);
    static void Free(void* module);

    ModuleLink m_link{this, nullptr};
    char const* m_name;
    char m_type[ModuleData::kTypeSize] = {};
    VersionUnion m_version;
    ModeUnion m_mode;
    ModuleData* m_data;
    std::atomic<bool> m_loaded{false};
    std::atomic<uint32_t> m_loadCounter{0};
    mutable std::atomic<uint32_t> m_holders{0};
};
