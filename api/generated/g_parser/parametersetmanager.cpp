// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametersetmanager.h"

#include <new>

#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parameterdialinworker.h"

ParameterSetManager::ParameterSetManager() = default;

ParameterSetManager::~ParameterSetManager() {
    PARAMETER_LOG_DEBUG(this, "ParameterSetManager deleting\n");
    DeleteWorker();
    {
        const ParameterScopedLock tree(m_treeLock, false);
        const ParameterScopedLock modules(m_moduleLock, false);
        DeleteDefaultModules();
        while (ParameterModule* module = m_replacedModules.TakeFirst()) {
            delete module;  // held or not
        }
        FreeReplacedParameters();
        FreeBinaryParameters();
        delete m_symbolTable;
    }
    // Modules of theirs were in use here; only now are those gone.
    for (ParameterSetManager* manager : m_retiredManagers) {
        delete manager;
    }
}

// ---- Live tuning ----

bool ParameterSetManager::CreateWorker() {
    m_worker.reset(new (std::nothrow) ParameterDialinWorker(this));
    return m_worker != nullptr;
}

void ParameterSetManager::DeleteWorker() {
    m_worker.reset();
}

void ParameterSetManager::StartWorker(bool loaded) {
    if (loaded && m_startService && m_worker != nullptr) {
        m_worker->Start();
    }
}

// ---- Lines and errors ----

char const* ParameterSetManager::GetLogName() const {
    return m_binaryTag;
}

bool ParameterSetManager::IsLogLevelOn(ParameterLogLevel level) const {
    const auto index = static_cast<uint32_t>(level);
    return index < std::size(m_logEnables) && m_logEnables[index];
}

void ParameterSetManager::SetLogEnables(bool error, bool warning, bool debug) {
    m_logEnables[static_cast<uint32_t>(ParameterLogLevel::Error)] = error;
    m_logEnables[static_cast<uint32_t>(ParameterLogLevel::Warning)] = warning;
    m_logEnables[static_cast<uint32_t>(ParameterLogLevel::Debug)] = debug;
}

void ParameterSetManager::SetError(char const* text, ModuleData const* data) {
    char line[sizeof m_errorText];
    if (data != nullptr) {
        std::snprintf(line, sizeof line, "%s Type: %s, Major: %u, Minor: %u, Patch: %u, Mode: %u",
                      text, data->Type, data->Version.major, data->Version.minor,
                      data->Version.patch, data->ModeId);
    } else {
        Zelm::OsUtils::StrLCpy(line, text, sizeof line);
    }
    {
        const std::lock_guard<std::mutex> lock(m_textMutex);
        std::memcpy(m_errorText, line, sizeof line);
    }
    PARAMETER_LOG_ERROR(this, "%s", line);
}

char const* ParameterSetManager::GetLastError() const {
    static thread_local char text[sizeof m_errorText];
    const std::lock_guard<std::mutex> lock(m_textMutex);
    std::memcpy(text, m_errorText, sizeof text);
    return text;
}

// ---- Catalogue ----

bool ParameterSetManager::AddDefaultModule(ParameterModule* classObject) {
    const ParameterScopedLock tree(m_treeLock, false);
    if (classObject == nullptr) {
        return false;
    }
    auto* row = new (std::nothrow) DefaultModule(classObject);
    if (row == nullptr) {
        delete classObject;
        return false;
    }
    if (m_defaultModules.Find(row->Key()) == nullptr &&
        m_defaultModules.Add(m_catalogueMemory, row->Key(), row) != nullptr) {
        return true;
    }
    delete row;
    return false;
}

DefaultModule* ParameterSetManager::FindDefaultModule(char const* type) {
    const ParameterScopedLock tree(m_treeLock, true);
    CatalogueRow const* found =
        type != nullptr ? m_defaultModules.Find(ParameterTypeKey(type)) : nullptr;
    if (found == nullptr) {
        PARAMETER_LOG_ERROR(this, "Failed to find module %s in DefaultModuleMap\n",
                            type != nullptr ? type : "");
        return nullptr;
    }
    return found->row;
}

void ParameterSetManager::DeleteDefaultModules() {
    const ParameterScopedLock modules(m_moduleLock, false);
    for (CatalogueRow const& entry : m_defaultModules) {
        delete entry.row;
    }
    m_defaultModules.Clear();
}

// ---- Getting and releasing modules ----

void ParameterSetManager::LogUnusualLookUp(char const* name, TuningMode const* branch,
                                           unsigned int count) {
    if (branch == nullptr && count != 0) {
        PARAMETER_LOG_WARNING(this,
                              "GetModule(%s) called with modeBranch == null and modeCount = %d, "
                              "will return default mode module data\n",
                              name, static_cast<int>(count));
    } else if (count != 0 && !branch[0].IsDefault()) {
        char path[128];
        GetPathFromModeBranch(branch, count, path, sizeof path);
        PARAMETER_LOG_WARNING(this,
                              "GetModule(%s) called with first mode != Default, might not return "
                              "module data from the desired mode path: %s\n",
                              name, path);
    }
    if (m_defaultModules.Empty()) {
        PARAMETER_LOG_ERROR(this,
                            "GetModule(%s) Uninitialized Set Manager. this: %lx, SymbolTable: "
                            "%lx, Modes: %lx, ModeCount: %d, RootMode: %lx\n",
                            name, reinterpret_cast<unsigned long>(this),
                            reinterpret_cast<unsigned long>(m_symbolTable),
                            reinterpret_cast<unsigned long>(m_modes.get()),
                            static_cast<int>(m_modeCount),
                            reinterpret_cast<unsigned long>(m_rootMode));
    }
}

void ParameterSetManager::LogNotInRoot(char const* name, TuningMode const* branch,
                                       unsigned int count) {
    char path[128] = "";
    GetPathFromModeBranch(branch, count, path, sizeof path);
    PARAMETER_LOG_WARNING(this,
                          "GetModule %s module not found in default scenario (%s), mode path: %s\n",
                          name, GetLogName(), path);
}

void ParameterSetManager::LogSkipped(char const* name, ModeEntry const* entry) {
    char path[128] = "";
    entry->GetModePath(path, sizeof path);
    PARAMETER_LOG_ERROR(this, "Failed to load module %s, path: %s, skipping\n", name, path);
}

void ParameterSetManager::LogNothingLoaded(char const* name, TuningMode const* branch,
                                           unsigned int count) {
    char path[128] = "";
    GetPathFromModeBranch(branch, count, path, sizeof path);
    PARAMETER_LOG_ERROR(this, "GetModule %s failed to find a loaded module in %s, returning null\n",
                        name, path);
}

bool ParameterSetManager::LoadModule(ParameterModule* module) {
    const ParameterScopedLock modules(m_moduleLock, false);
    if (!module->LoadModule(m_symbolTable)) {
        return false;
    }
    ModuleData const* data = module->GetData();
    if (InFileMode() && data != nullptr && data->Mode != nullptr) {
        TouchMode(data->Mode);
    }
    return true;
}

// The selection itself: the deepest mode on the path that has the module. Under the tree lock.
// Small enough to stand inside of GetModule(), whose cost it is.
[[gnu::always_inline]] inline ParameterModule* ParameterSetManager::Select(char const* name,
                                                                           TuningMode const* branch,
                                                                           unsigned int count) {
    const ParameterTypeKey key(name);
    ModeEntry* entry = m_rootMode->Resolve();
    ParameterModule* result = entry->FindModuleHere(key);
    if (result == nullptr) [[unlikely]] {
        LogNotInRoot(name, branch, count);
    } else if (!EnsureLoaded(result)) [[unlikely]] {
        result = nullptr;
    }
    const unsigned int steps = branch != nullptr ? count : 0;
    for (unsigned int index = 1; index < steps;) {
        ModeEntry* next = NextMode(entry, branch, count, &index);
        if (next == nullptr) {
            break;
        }
        entry = next->Resolve();
        ParameterModule* module = entry->FindModuleHere(key);
        if (module == nullptr) {
            continue;
        }
        if (EnsureLoaded(module)) [[likely]] {
            result = module;
        } else {
            LogSkipped(name, next);
        }
    }
    if (result == nullptr) [[unlikely]] {
        LogNothingLoaded(name, branch, count);
    }
    return result;
}

ParameterModule* ParameterSetManager::SelectModule(char const* name, TuningMode const* branch,
                                                   unsigned int count) {
    return Select(name, branch, count);
}

void ParameterSetManager::ReferenceResult(ParameterModule* module) {
    ModuleData const* data = module->GetData();
    if (data == nullptr || data->Mode == nullptr) {
        PARAMETER_LOG_ERROR(this,
                            "Attempt to add reference to module with a nullptr %s object.  Mode: "
                            "%d, SubMode: %d, Module %s\n",
                            data == nullptr ? "Data" : "Data->Mode", module->GetMode().mode,
                            module->GetMode().subMode, module->GetModuleName());
        return;
    }
    data->Mode->AddReference(module);
}

// A look-up where all is loaded, as it stands in the path of a stream's set-up.
ParameterModule* ParameterSetManager::GetModule(char const* name, TuningMode const* branch,
                                                unsigned int count, ParameterModule* previous) {
    {
        const ParameterScopedLock tree(m_treeLock, true);
        if (name != nullptr && m_rootMode != nullptr && !InFileMode()) [[likely]] {
            CheckLookUp(name, branch, count);
            ParameterModule* result = Select(name, branch, count);
            if (previous != nullptr) {
                // Counted in file mode, if at all; a reload, which would count it anew, waits for
                // the tree.
                previous->DropHolder();
            }
            return result;
        }
    }
    return GetModuleOnDemand(name, branch, count, previous);
}

ParameterModule* ParameterSetManager::GetModuleOnDemand(char const* name, TuningMode const* branch,
                                                        unsigned int count,
                                                        ParameterModule* previous) {
    if (name == nullptr) {
        SetError("GetModule called with nullptr module name");
        ReleaseModule(previous);
        return nullptr;
    }
    ReadAccess access = {{m_treeLock, true}, {}};
    LoadPath(access, branch, count, name);
    if (m_rootMode == nullptr) {
        PARAMETER_LOG_ERROR(this, "GetModule %s called with no binary loaded\n", name);
        ReleaseModule(previous);
        return nullptr;
    }
    CheckLookUp(name, branch, count);
    ParameterModule* result = SelectModule(name, branch, count);
    if (result != nullptr && InFileMode()) {
        ReferenceResult(result);
    }
    ReleaseModule(previous);
    return result;
}

void ParameterSetManager::ReleaseModule(ParameterModule const* module) {
    if (module == nullptr) {
        return;
    }
    // A reload clears the data's mode under the exclusive side, so what is seen here stays.
    const ParameterScopedLock modules(m_moduleLock, true);
    module->DropHolder();  // counted by itself since it went out of use
    if (!InFileMode()) {
        return;
    }
    ModuleData const* data = module->GetData();
    if (data == nullptr || data->Mode == nullptr) {
        PARAMETER_LOG_ERROR(this,
                            "Attempt to release module with a nullptr %s object.  Mode: %d, "
                            "SubMode: %d, Module %s\n",
                            data == nullptr ? "Data" : "Data->Mode", module->GetMode().mode,
                            module->GetMode().subMode, module->GetModuleName());
        return;
    }
    data->Mode->ReleaseReference(module);
}
