// SPDX-License-Identifier: Apache-2.0
/// @file parametersetmanager.h
/// The mode tree of a tuning file and the manager that answers for a mode path with a module.
///
/// A mode path is a list of steps from Default inwards. The module that answers for it is that of
/// the deepest mode on the path that has one. Locks, outermost first: tree, module, then those of
/// the file and of the symbol table; the control lock stands alone.
#pragma once

#include <optional>
#include <string>

#include "steadywarp/tuning/parameterfilesymboltable.h"
#include "steadywarp/tuning/parameterhashmap.h"
#include "steadywarp/tuning/parametertypekey.h"

class ParameterDialinWorker;

/// A module in a mode, and how many users hold it.
struct ModuleReference {
    /// @param held not NULL; nobody holds it yet.
    explicit ModuleReference(ParameterModule* held) : module(held) {}
    /// For a mode's list as it grows, while nobody else counts.
    ModuleReference(const ModuleReference& other)
        : module(other.module), references(other.references.load()), hash(other.hash) {}
    ModuleReference& operator=(const ModuleReference&) = delete;

    /// What the entry is found by.
    char const* TypeName() const { return module->GetModuleType(); }

    ParameterModule* module;
    std::atomic<uint32_t> references{0};
    uint32_t hash = 0;
};

/// One node of the mode tree.
///
/// Operations that read children or modules act on the mode that the links lead to. The tree lock
/// of the set manager guards the shape; the module lock guards the modules and their counts.
///
/// Lies in the memory of the load that it belongs to, and so do its path and its list of modules.
class STEADYWARP_API ModeEntry {
  public:
    /// @param logger logs in this mode's name; may be NULL.
    /// @param pool the memory of the load; outlives this mode.
    ModeEntry(IParameterLoggingAPI* logger, ParameterPool& pool) : m_logger(logger), m_pool(pool) {}
    ~ModeEntry() = default;
    ModeEntry(const ModeEntry&) = delete;
    ModeEntry& operator=(const ModeEntry&) = delete;

    /// @param link slot in the mode table of the mode that really holds the modules, or NULL.
    void Initialize(uint32_t id, const ModeUnion& mode, ModeEntry** link, bool loaded,
                    bool resident);
    /// Append a child. @return false if memory is exhausted.
    bool AddMode(ModeEntry* child);
    /// Make the numeric path, once the place in the tree is known.
    /// @return false if memory is exhausted. A path of more than 127 characters is none.
    bool MakePath();
    /// Find the first child with this mode and sub-mode, in file order. @return NULL if none.
    ModeEntry* FindMode(TuningMode const* step) { return Resolve()->FindModeHere(step); }
    /// Find a chain of descendants that matches `count - index` of the steps, in any order.
    ModeEntry* FindMode(TuningMode const* steps, unsigned int count, unsigned int index);
    /// Write the numeric path from the root. @return false, with an empty text, if it does not fit.
    bool GetModePath(char* path, unsigned int size) const;
    /// The numeric path from the root, valid for the life of the load; NULL if it is too long.
    char const* GetPath() const { return m_path; }

    /// @{
    /// Find a module by its type name. @return NULL if there is none.
    ParameterModule* FindModule(std::string const* name);
    ParameterModule* FindModule(ParameterTypeKey const& key) {
        return Resolve()->FindModuleHere(key);
    }
    /// @}
    /// @{
    /// Take a module under its type name. @return false if memory is exhausted.
    bool AddModule(ParameterModule* module) {
        return AddModule(module, ParameterTypeKey(module->GetModuleType()));
    }
    bool AddModule(ParameterModule* module, ParameterTypeKey const& key);
    /// @}
    /// Put a module in the place of the one with its type name. Cannot fail for memory.
    /// @return the module that was there; NULL, with nothing done, if there was none.
    ParameterModule* ReplaceModule(ParameterModule* module);

    /// @{
    /// Count one user more, or less, of a module in this mode. The module lock must be held.
    void AddReference(ParameterModule const* module);
    void ReleaseReference(ParameterModule const* module);
    /// @}
    /// Set every count to 0; one that was not is logged.
    void ReleaseReferences();
    /// Count the references of a module, or of all of this mode's own modules for NULL.
    uint32_t GetReferenceCount(ParameterModule const* module) const;
    /// Tell whether a module that belongs to this mode is in use.
    bool IsActive() const { return GetReferenceCount(nullptr) > 0; }
    /// Tell whether a module in this mode belongs to it, and not to a mode with the same content.
    bool HasLocalModules() const;
    /// Tell whether this mode is an ancestor of `other`.
    bool IsParent(ModeEntry const* other) const;

    /// @{
    /// Name of the mode or sub-mode, or NULL if the number has none.
    char const* GetModeName() const;
    char const* GetSubModeName() const;
    /// @}

  private:
    friend class ParameterSetManager;
    // A child by its step; the first one of a step answers for it.
    struct Child {
        explicit Child(ModeEntry* mode) : entry(mode) {}
        ModeEntry* entry;
        uint32_t hash = 0;
    };
    class StepKey {
      public:
        explicit StepKey(ModeUnion const& mode)
            : m_step(uint32_t{mode.mode} << 16 | mode.subMode) {}
        explicit StepKey(TuningMode const& step) : m_step(step.mode << 16 | step.subMode) {}
        // One to one, so that equal hashes tell equal steps.
        uint32_t Hash() const { return m_step ^ m_step >> 16; }
        bool Matches(Child const&) const { return true; }

      private:
        uint32_t m_step;
    };
    using Modules = ParameterHashMap<ModuleReference>;

    // Chains that do not end were cut when the tree was built.
    ModeEntry* Resolve() {
        ModeEntry* entry = this;
        while (entry->m_link != nullptr && *entry->m_link != nullptr) {
            entry = *entry->m_link;
        }
        return entry;
    }
    // Without following the links of this very mode.
    ParameterModule* FindModuleHere(ParameterTypeKey const& key) const {
        ModuleReference const* found = m_modules.Find(key);
        return found != nullptr ? found->module : nullptr;
    }
    ModeEntry* FindModeHere(TuningMode const* step) const {
        Child const* child = m_children.Find(StepKey(*step));
        return child != nullptr ? child->entry : nullptr;
    }
    ModeEntry* Search(TuningMode const* steps, unsigned int count, unsigned int index,
                      unsigned int* budget);

    uint32_t m_id = 0;
    ModeUnion m_mode;
    bool m_loaded = false;
    bool m_resident = false;
    uint32_t m_depth = 0;
    ModeEntry** m_link = nullptr;
    ModeEntry* m_parent = nullptr;
    ModeEntry* m_firstChild = nullptr;
    ModeEntry* m_lastChild = nullptr;
    ModeEntry* m_nextSibling = nullptr;
    char const* m_path = nullptr;
    ParameterHashMap<Child> m_children;
    Modules m_modules;
    IParameterLoggingAPI* m_logger;
    ParameterPool& m_pool;
};

/// Owner of one tuning file's modules.
///
/// A subclass brings the catalogue of module types. Loads fail softly: operations return false or
/// NULL, and the last error text tells why. In file mode a module stays readable until its last
/// holder has released it, whatever happens to the file meanwhile; in buffer mode for the life of
/// the manager. Memory that is exhausted fails the operation and nothing else. Threads: any, unless
/// stated otherwise.
class STEADYWARP_API ParameterSetManager : public IModeTable, public IParameterDataAPI {
  public:
    ParameterSetManager();
    ParameterSetManager(const ParameterSetManager&) = delete;
    ParameterSetManager& operator=(const ParameterSetManager&) = delete;

    /// Find a mode by its number in the file; the tree lock must be held for the use of it.
    ModeEntry* GetModeEntry(unsigned int modeId) override;
    ~ParameterSetManager() override;

    /// @param modes numeric path. @param module `name`, or `name.path` for a part of it.
    /// @param variable path in the module; NULL or empty writes all as "name=value;name=value".
    bool GetValue(char const* modes, char const* module, char const* variable, char* value,
                  unsigned int size) override;
    /// Change a value of a loaded module; it stays until the module is loaded anew.
    /// @param modes,module,variable as for GetValue(). @return false if it cannot be changed.
    bool SetValue(char const* modes, char const* module, char const* variable,
                  char const* value) override;
    /// List the fields of a module, or the modules of the root mode without a module name.
    bool GetInfo(char const* modes, char const* module, PList<ParameterParserInfo>& list) override;
    /// Write the named paths of the modes in use, joined by ";". File mode only.
    bool GetActiveModes(char* modes, unsigned int size) override;
    /// Turn a named path into the numeric form; numeric steps stay as they are.
    bool GetModeShorthand(char const* modes, char* shorthand, unsigned int size) override;
    /// @{
    /// Write the values as `id=value`, joined by ",". @return false if they do not fit.
    bool GetControlValues(char* values, unsigned int size) override;
    bool GetTriggerValues(char* values, unsigned int size) override;
    /// @}
    /// Find the mode at a numeric path. @return NULL for another text, or if the tree ends before.
    virtual ModeEntry* GetModeEntry(char const* path);
    /// Find the mode at a path; without steps, the root. @return NULL if the tree ends before it.
    virtual ModeEntry* GetModeEntry(TuningMode const* branch, unsigned int count);
    /// Write the children of a mode as `Name` or `Name.Sub`, joined by ",".
    /// @return the bytes written, the nul included.
    unsigned int GetChildModes(char const* path, unsigned char* modes, unsigned int size) override;
    /// The binary tag of the file; texts of earlier files stay valid too.
    char const* GetLogName() const override;
    bool IsLogLevelOn(ParameterLogLevel level) const override;
    /// Find the catalogue's row for a type name. @return NULL if the type is unknown.
    virtual DefaultModule* GetDefaultModule(char const* type) = 0;
    /// Move every instance out of the catalogue into the list of replaced modules.
    virtual void SaveAndClearModules() = 0;

    /// Load a file from disk; in file mode modules are read when their mode is first needed.
    bool LoadBinaryParameters(char const* fileName);
    /// Load an image of a file; `buffer` can be freed afterwards.
    bool LoadBinaryParameters(unsigned char* buffer, unsigned long length);
    /// Replace everything by what the file holds now. Modules in use stay readable.
    bool ReloadBinaryParameters(bool bufferMode);
    /// Take over the modules of `other`, mode by mode, where this tree has the mode.
    bool UpdateParameters(ParameterSetManager* other);

    /// Load the modules on a path, from the root on. File mode only. Modules that cannot be read
    /// mean that the file is another one by now: it is loaded anew, twice at most.
    bool LoadMode(TuningMode const* branch, unsigned int count, char const* moduleName);
    /// Unload the modules of the last mode of a path. File mode only.
    bool UnloadMode(TuningMode const* branch, unsigned int count);
    /// Find the module that answers for a path, load it, and take a reference.
    /// @param previous released, whatever the result; may be NULL.
    /// @return NULL if no mode on the path has a module that can be loaded.
    ParameterModule* GetModule(char const* name, TuningMode const* branch, unsigned int count,
                               ParameterModule* previous);
    /// Give back a reference. Does nothing in buffer mode, nor for NULL.
    void ReleaseModule(ParameterModule const* module);

    /// @{
    /// Set one value, or replace all; read one by its ID, or all. Text is `id=value` records joined
    /// by ",". @return false for an unknown ID, for NULL, if memory is exhausted, and if a record
    /// was left out because it cannot be read.
    bool SetControlValue(ParameterCTValue const& value);
    bool SetControlValues(ParameterCTValue const* values, unsigned int count);
    bool SetControlValues(PList<ParameterCTValue> const& values);
    bool SetControlValues(char const* values);
    bool GetControlValue(unsigned int id, ParameterCTValue& value);
    bool GetControlValues(PList<ParameterCTValue>& values);
    bool SetTriggerValue(ParameterCTValue const& value);
    bool SetTriggerValues(ParameterCTValue const* values, unsigned int count);
    bool SetTriggerValues(PList<ParameterCTValue> const& values);
    bool SetTriggerValues(char const* values);
    bool GetTriggerValue(unsigned int id, ParameterCTValue& value);
    bool GetTriggerValues(PList<ParameterCTValue>& values);
    /// @}

    /// @{
    /// The same as with a numeric path; `branch` are its `count` steps.
    bool GetValue(TuningMode const* branch, unsigned int count, char const* module,
                  char const* variable, char* value, unsigned int size);
    bool SetValue(TuningMode const* branch, unsigned int count, char const* module,
                  char const* variable, char const* value);
    bool GetInfo(TuningMode const* branch, unsigned int count, char const* module,
                 PList<ParameterParserInfo>& list);
    /// @}

    /// Read a numeric path. @return false, with an empty list, for any other text.
    bool GetModeBranchFromPath(char const* path, PList<TuningMode>& branch) const;
    /// Write a numeric path. @return false, with an empty text, if it does not fit.
    bool GetPathFromModeBranch(TuningMode const* branch, unsigned int count, char* path,
                               unsigned int size) const;
    /// @{
    /// Number of a mode or sub-mode name, without regard to case; 0 for an unknown one.
    unsigned int GetModeIndex(char const* name) const;
    unsigned int GetSubModeIndex(unsigned short mode, char const* name) const;
    /// @}
    /// Turn numeric paths, joined by ";", into named ones.
    bool GetDialinModesString(char const* paths, char* modes, unsigned int size) const;

    /// Store and log an error text, with what is known of a record if `data` is not NULL.
    void SetError(char const* text, ModuleData const* data = nullptr);
    /// The last error text; valid until the calling thread asks again. Never NULL.
    char const* GetLastError() const;
    /// Start the live tuning service behind a good load, if there is a worker; on unless cleared.
    void SetStartService(bool start) { m_startService = start; }
    /// The worker of the live tuning service. @return NULL if this class of manager has none.
    ParameterDialinWorker* GetWorker() { return m_worker.get(); }
    /// Tell whether the last load was good.
    bool IsLoaded() const { return m_loaded; }

    /// The outermost lock, for the parts of the tuning machinery that read a file in pieces.
    ParameterMutex& TreeLock() { return m_treeLock; }

  protected:
    /// Enter a class object in the catalogue under its type name; owned from here on.
    bool AddDefaultModule(ParameterModule* classObject);
    /// What GetDefaultModule() of a subclass does.
    DefaultModule* FindDefaultModule(char const* type);
    /// What SaveAndClearModules() of a subclass does.
    void SaveAndClearDefaultModules();
    /// Delete the catalogue with its instances; for the destructor of a subclass.
    void DeleteDefaultModules();
    /// Replace the values by those of an image.
    /// @param other an unloaded manager of the same class; owned from here on.
    bool UpdateFromBuffer(ParameterSetManager* other, unsigned char* buffer, unsigned long length);

    /// Make the worker of the live tuning service; for the constructor of a subclass.
    /// @return false if memory is exhausted.
    bool CreateWorker();
    /// Stop and delete the worker. First thing in the destructor of a subclass that made one: a
    /// command that is being run needs the whole object. Hold no lock.
    void DeleteWorker();

    /// @{
    /// Settings of a subclass, for its constructor.
    void SetLogEnables(bool error, bool warning, bool debug);
    void SetModeCacheSize(uint32_t modes) { m_modeCacheSize = modes; }
    void SetFileModeEnabled(bool enabled) { m_fileModeEnabled = enabled; }
    void SetQuietMissingModules(bool quiet) { m_quietMissingModules = quiet; }
    /// @}
    /// The tables of the load at hand, or NULL. The tree lock must be held.
    ParameterFileSymbolTable* GetSymbolTable() { return m_symbolTable; }

  private:
    struct Section {
        uint32_t offset = 0;
        uint32_t size = 0;
    };
    struct Image {
        unsigned char const* bytes;
        unsigned int length;      // bytes at hand
        unsigned int fileLength;  // bytes of the whole file
        ParameterBinaryFile* file;
    };
    // The row of a type in the catalogue.
    struct CatalogueRow {
        explicit CatalogueRow(DefaultModule* defaults) : row(defaults) {}
        char const* TypeName() const { return row->GetClassObject()->GetModuleType(); }

        DefaultModule* row;
        uint32_t hash = 0;
    };
    struct ModeRecord;
    struct LoadRequest;
    // The locks under which a module is looked up and read.
    struct ReadAccess {
        ParameterScopedLock tree;
        std::optional<ParameterScopedLock> modules;  // first to go
    };
    using CTValues = PList<ParameterCTValue>;

    bool InFileMode() const { return m_fileModeEnabled && m_fileName[0] != '\0'; }

    // Loading.
    void DiscardFailedLoad();
    bool ReadHeader(unsigned char const* buffer, unsigned int length, unsigned int* pos,
                    unsigned int* sectionOffset, unsigned char* alignment);
    bool ReadHeaderFields(unsigned char const* buffer, unsigned int length, unsigned int* pos,
                          unsigned int* sectionOffset, uint32_t* binarySize);
    bool CheckVersion();
    bool ReadSectionInfo(unsigned char const* buffer, unsigned int length, unsigned int* pos,
                         unsigned char alignment);
    bool ReadSections(const Image& image, unsigned int* pos, unsigned char alignment);
    bool LoadSymbolTable(const Image& image, unsigned char alignment);
    bool CreateModules();
    bool CreateModule(ModuleData* data, DefaultModule* defaults);
    bool AddModule(ParameterModule* module, ModuleData* data, ParameterTypeKey const& key);
    bool LoadFile(char const* fileName);
    bool LoadOpenFile(std::unique_ptr<ParameterBinaryFile> file, char const* fileName);
    bool LoadImage(unsigned char const* buffer, unsigned int length);
    bool LoadBuffer(unsigned char const* buffer, unsigned long length);
    bool LoadNamedFile(char const* fileName);
    void StartWorker(bool loaded);
    bool LoadFromFileHeader(std::unique_ptr<ParameterBinaryFile> file, char const* fileName,
                            unsigned char* whole);
    void SetBinaryTag(char const* tag);

    // The tree.
    bool ReadModeSection(const Image& image, unsigned char alignment);
    bool CreateDefaultMode();
    bool AllocateModes(uint32_t count);
    ModeEntry* NewMode();
    bool MakePath(ModeEntry* entry);
    bool ReadModeRecords(unsigned char const* bytes, uint32_t size, unsigned char alignment);
    bool CheckModeRecord(const ModeRecord& record);
    bool PlaceMode(const ModeRecord& record);
    void CutEndlessLinks();
    // Follow the run of steps at `*index` that are of one mode; `*index` ends up behind them.
    // `at` is a mode whose links were followed.
    static ModeEntry* NextMode(ModeEntry* at, TuningMode const* branch, unsigned int count,
                               unsigned int* index) {
        const unsigned int first = *index;
        unsigned int end = first + 1;
        while (end < count && branch[end].mode == branch[first].mode) {
            ++end;
        }
        *index = end;
        if (end == first + 1) [[likely]] {
            return at->FindModeHere(branch + first);
        }
        return at->FindMode(branch + first, end - first, 0);
    }
    ModeEntry* FindEntry(TuningMode const* branch, unsigned int count);

    // Modes on demand.
    bool LoadModules(ModeEntry* mode, bool load, const LoadRequest& request);
    bool LoadEntryModules(ModeEntry* entry, PList<ModeEntry*>& touched);
    void UnloadEntryModules(ModeEntry* entry);
    void TouchMode(ModeEntry* entry);
    void ForgetMode(ModeEntry const* entry);
    void TrimLoadedModes(const LoadRequest& request);
    bool LoadModeInternal(TuningMode const* branch, unsigned int count, char const* name);
    bool LoadsOnDemand() const { return m_rootMode != nullptr && InFileMode(); }
    bool LoadPath(ReadAccess& access, TuningMode const* branch, unsigned int count,
                  char const* name);
    bool ReloadIfStill(uint64_t generation);
    ParameterModule* Select(char const* name, TuningMode const* branch, unsigned int count);
    ParameterModule* SelectModule(char const* name, TuningMode const* branch, unsigned int count);
    bool EnsureLoaded(ParameterModule* module) { return module->IsLoaded() || LoadModule(module); }
    bool LoadModule(ParameterModule* module);
    void ReferenceResult(ParameterModule* module);
    void CheckLookUp(char const* name, TuningMode const* branch, unsigned int count) {
        const bool usual = count == 0 || (branch != nullptr && branch[0].IsDefault());
        if (!usual || m_defaultModules.Empty()) [[unlikely]] {
            LogUnusualLookUp(name, branch, count);
        }
    }
    [[gnu::noinline]] ParameterModule* GetModuleOnDemand(char const* name, TuningMode const* branch,
                                                         unsigned int count,
                                                         ParameterModule* previous);
    // Texts on the stack are nothing that a look-up should pay for.
    [[gnu::cold, gnu::noinline]] void LogUnusualLookUp(char const* name, TuningMode const* branch,
                                                       unsigned int count);
    [[gnu::cold, gnu::noinline]] void LogNotInRoot(char const* name, TuningMode const* branch,
                                                   unsigned int count);
    [[gnu::cold, gnu::noinline]] void LogSkipped(char const* name, ModeEntry const* entry);
    [[gnu::cold, gnu::noinline]] void LogNothingLoaded(char const* name, TuningMode const* branch,
                                                       unsigned int count);
    template <typename Operation>
    bool WithModule(TuningMode const* branch, unsigned int count, char const* module, bool writes,
                    Operation operation);

    // Replacing.
    bool ReloadAsBuffer();
    void FreeReplacedParameters();
    void FreeBinaryParameters();
    void KeepHolders();
    void RetireSymbolTable();
    bool UpdateEntry(ModeEntry* target, ModeEntry* source, ParameterSetManager* other);
    bool TakeOver(ModeEntry* target, ParameterModule* module, ParameterSetManager* other);

    // Values.
    static bool InsertValue(CTValues& list, ParameterCTValue const& value);
    bool SetValues(CTValues& list, ParameterCTValue const* values, unsigned int count);
    bool SetValues(CTValues& list, char const* values);
    bool FindValue(CTValues const& list, unsigned int id, ParameterCTValue& value);
    bool CopyValues(CTValues const& list, CTValues& values);
    bool WriteValues(CTValues const& list, char* values, unsigned int size);

    mutable std::mutex m_textMutex;  // guards the error text and the set of tags
    char m_errorText[2048] = {};
    std::unordered_map<std::string, int> m_tags;  // every tag there was: lines may name an old one
    std::atomic<char const*> m_binaryTag{""};
    std::atomic<bool> m_loaded{false};
    uint64_t m_flags = 0;
    VersionUnion m_version;
    uint32_t m_sectionCount = 0;
    Section m_symbolSection, m_dataSection, m_modeSection, m_dataTableSection;
    std::atomic<bool> m_logEnables[3] = {true, true, true};  // by ParameterLogLevel
    bool m_quietMissingModules = false;
    std::atomic<bool> m_startService{true};
    std::unique_ptr<ParameterDialinWorker> m_worker;
    ParameterPool m_catalogueMemory;
    ParameterHashMap<CatalogueRow> m_defaultModules;
    ParameterFileSymbolTable* m_symbolTable = nullptr;
    ParameterMutex m_moduleLock{this};
    ParameterMutex m_treeLock{this, true};
    ParameterMutex m_controlLock{this};
    uint32_t m_modeCacheSize = 0;
    bool m_fileModeEnabled = false;
    char m_fileName[ParameterBinaryFile::kNameSize] = {};
    uint64_t m_generation = 0;  // loads so far; guarded by the tree lock
    DefaultModule m_replacedModules{nullptr};
    PList<ParameterSetManager*> m_retiredManagers;
    PList<ParameterFileSymbolTable*> m_retiredTables;
    ModeEntry* m_rootMode = nullptr;
    std::unique_ptr<ModeEntry*[]> m_modes;  // slots by Mode ID
    uint32_t m_modeCount = 0;
    PList<ModeEntry*> m_ownedModes;   // every entry once, however many slots lead to it
    PList<ModeEntry*> m_loadedModes;  // most recently used first
    CTValues m_controlValues, m_triggerValues;
};
