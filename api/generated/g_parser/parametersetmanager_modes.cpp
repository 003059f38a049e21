// SPDX-License-Identifier: Apache-2.0
#include "modenames.hpp"
#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

constexpr uint16_t kFirstLoadedOnDemand = 2;  // Default and Sensor are always there
constexpr uint32_t kSmallestCache = 5;        // the longest usual path
constexpr int kMaxReloads = 2;                // per call

}  // namespace

// What a load is for; shown in lines.
struct ParameterSetManager::LoadRequest {
    char const* name;
    TuningMode const* branch;
    unsigned int count;
    int* fileReferences;
};

// ---- Loading and unloading one mode, under the tree and module locks ----

bool ParameterSetManager::LoadEntryModules(ModeEntry* entry, PList<ModeEntry*>& touched) {
    for (ModuleReference const& reference : entry->m_modules) {
        ParameterModule* module = reference.module;
        ModuleData const* data = module->GetData();
        if (InFileMode() && m_modeCacheSize > 0 && data != nullptr && data->Mode != nullptr &&
            !touched.Add(data->Mode)) {
            TouchMode(data->Mode);
        }
        if (!module->LoadModule(m_symbolTable)) {
            entry->m_loaded = false;
            return false;
        }
    }
    entry->m_loaded = true;
    return true;
}

void ParameterSetManager::UnloadEntryModules(ModeEntry* entry) {
    char path[128] = "";
    entry->GetModePath(path, sizeof path);
    for (ModuleReference const& reference : entry->m_modules) {
        ParameterModule* module = reference.module;
        // A module of a mode with the same content is that mode's to unload.
        if (module->GetData() == nullptr || module->GetData()->Mode != entry) {
            continue;
        }
        if (module->IsLoaded() && reference.references > 0) {
            PARAMETER_LOG_WARNING(this, "Unloading referenced module %s, Mode: %s, Ref count: %u\n",
                                  module->GetModuleType(), path, reference.references.load());
        }
        module->UnloadModule();
    }
    entry->m_loaded = false;
    const uint32_t references = entry->GetReferenceCount(nullptr);
    if (references > 0) {
        PARAMETER_LOG_WARNING(this, "Unloading mode with %u unreleased modules: %s\n", references,
                              path);
        entry->ReleaseReferences();
    }
    ForgetMode(entry);
}

// Make a mode the most recently used one.
void ParameterSetManager::TouchMode(ModeEntry* entry) {
    if (entry->m_mode.mode < kFirstLoadedOnDemand) {
        return;
    }
    ForgetMode(entry);
    m_loadedModes.Insert(0, entry);  // there is room for every mode since the tree was made
}

void ParameterSetManager::ForgetMode(ModeEntry const* entry) {
    for (uint32_t i = m_loadedModes.Count(); i-- > 0;) {
        if (m_loadedModes[i] == entry) {
            m_loadedModes.Remove(i);
        }
    }
}

void ParameterSetManager::TrimLoadedModes(const LoadRequest& request) {
    const uint32_t limit = std::max(m_modeCacheSize, kSmallestCache);
    for (uint32_t i = m_loadedModes.Count(); i-- > limit;) {
        ModeEntry* entry = m_loadedModes[i];
        if (entry == nullptr) {
            continue;
        }
        if (m_modeCacheSize == 0 || entry->m_resident) {
            m_loadedModes.Remove(i);
        } else if (!entry->IsActive()) {
            LoadModules(entry, false, request);
        }
    }
}

bool ParameterSetManager::LoadModules(ModeEntry* mode, bool load, const LoadRequest& request) {
    if (mode == nullptr) {
        PARAMETER_LOG_ERROR(this, "LoadModules: mode is nullptr\n");
        return true;
    }
    ModeEntry* entry = mode->Resolve();
    if (!load && entry->m_resident) {
        return true;
    }
    PList<ModeEntry*> touched(8);
    bool good = true;
    if (!load || !entry->m_loaded) {
        char requested[128] = "";
        char path[128] = "";
        GetPathFromModeBranch(request.branch, request.count, requested, sizeof requested);
        entry->GetModePath(path, sizeof path);
        PARAMETER_LOG_DEBUG(this, "%soading modules (GetModule:%s:%s): %s->%s\n",
                            load ? "L" : "Unl", request.name != nullptr ? request.name : "Unknown",
                            GetLogName(), requested, path);
    }
    if (!load) {
        UnloadEntryModules(entry);
        return true;
    }
    if (!entry->m_loaded || entry->m_mode.mode >= kFirstLoadedOnDemand) {
        if (!entry->m_loaded && request.fileReferences != nullptr) {
            ++*request.fileReferences;
            m_symbolTable->FileReference(1);
        }
        if (entry->HasLocalModules() && !touched.Add(entry)) {
            TouchMode(entry);
        }
        good = entry->m_loaded || LoadEntryModules(entry, touched);
        for (ModeEntry* used : touched) {
            TouchMode(used);
        }
    }
    TrimLoadedModes(request);
    return good;
}

bool ParameterSetManager::LoadModeInternal(TuningMode const* branch, unsigned int count,
                                           char const* name) {
    int fileReferences = 0;
    const LoadRequest request = {name, branch, count, &fileReferences};
    bool good = LoadModules(m_rootMode, true, request);
    ModeEntry* entry = m_rootMode;
    for (unsigned int index = 1; good && branch != nullptr && index < count;) {
        entry = NextMode(entry->Resolve(), branch, count, &index);
        if (entry == nullptr) {
            break;
        }
        good = LoadModules(entry, true, request);
    }
    if (fileReferences > 0) {
        m_symbolTable->FileReference(-fileReferences);
    }
    return good;
}

// ---- Locks for reading, with reloads between ----

bool ParameterSetManager::ReloadIfStill(uint64_t generation) {
    const ParameterScopedLock tree(m_treeLock, false);
    // Another reader met the same change and was first.
    return m_generation != generation || ReloadBinaryParameters(false);
}

// A mode that cannot be loaded tells that the file is not what it was: it is loaded anew, and a
// second time, behind which nothing is tried any more. A reader gives up both locks before it asks
// for the tree alone, so that no two readers wait for each other.
// @return whether the whole path is loaded; the locks are held in either case, in file mode both.
bool ParameterSetManager::LoadPath(ReadAccess& access, TuningMode const* branch, unsigned int count,
                                   char const* name) {
    for (int reloads = 0; LoadsOnDemand(); ++reloads) {
        access.modules.emplace(m_moduleLock, false);
        if (reloads == kMaxReloads) {
            return false;
        }
        if (LoadModeInternal(branch, count, name)) {
            return true;
        }
        const uint64_t generation = m_generation;
        access.modules.reset();
        access.tree.Unlock();
        ReloadIfStill(generation);
        access.tree.Lock();
    }
    return false;
}

bool ParameterSetManager::LoadMode(TuningMode const* branch, unsigned int count,
                                   char const* moduleName) {
    ReadAccess access = {{m_treeLock, true}, {}};
    if (m_rootMode == nullptr) {
        SetError("LoadMode called with no binary file loaded");
        return false;
    }
    if (!InFileMode()) {
        SetError("LoadMode is not valid in buffer mode");
        return false;
    }
    return LoadPath(access, branch, count, moduleName);
}

bool ParameterSetManager::UnloadMode(TuningMode const* branch, unsigned int count) {
    const ParameterScopedLock tree(m_treeLock, true);
    if (!InFileMode()) {
        SetError("UnloadMode is not valid in buffer mode");
        return false;
    }
    if (m_rootMode == nullptr) {
        SetError("UnloadMode root mode is nullptr");
        return false;
    }
    const ParameterScopedLock modules(m_moduleLock, false);
    ModeEntry* entry = FindEntry(branch, count);
    return entry != nullptr && LoadModules(entry, false, {nullptr, branch, count, nullptr});
}

// ---- Views of the tree ----

bool ParameterSetManager::GetActiveModes(char* modes, unsigned int size) {
    if (modes == nullptr || size == 0) {
        return false;
    }
    modes[0] = '\0';
    const ParameterScopedLock tree(m_treeLock, true);
    const ParameterScopedLock modulesLock(m_moduleLock, false);
    if (!InFileMode()) {
        return false;
    }
    PList<ModeEntry*> kept;
    if (!kept.Reserve(m_loadedModes.Count())) {
        return false;
    }
    bool inactiveMet = false;
    for (ModeEntry* entry : m_loadedModes) {
        if (!entry->IsActive()) {
            inactiveMet = true;
            continue;
        }
        bool drop = inactiveMet && entry->m_resident;
        for (uint32_t i = 0; i < kept.Count() && !drop; ++i) {
            if (kept[i]->IsParent(entry)) {
                kept.Remove(i--);
            } else {
                drop = entry->IsParent(kept[i]);
            }
        }
        if (!drop) {
            kept.Add(entry);
        }
    }
    char paths[1024] = "";
    for (ModeEntry* entry : kept) {
        char path[128] = "";
        entry->GetModePath(path, sizeof path);
        if (std::strlen(paths) + std::strlen(path) + 2 > sizeof paths) {
            break;
        }
        Zelm::OsUtils::StrLCat(paths, paths[0] != '\0' ? ";" : "", sizeof paths);
        Zelm::OsUtils::StrLCat(paths, path, sizeof paths);
    }
    return GetDialinModesString(paths, modes, size);
}

unsigned int ParameterSetManager::GetChildModes(char const* path, unsigned char* modes,
                                                unsigned int size) {
    if (modes == nullptr || size == 0) {
        return 0;
    }
    modes[0] = '\0';
    const ParameterScopedLock tree(m_treeLock, true);
    PList<TuningMode> branch(8);
    ModeEntry* entry =
        GetModeBranchFromPath(path, branch) ? FindEntry(branch.begin(), branch.Count()) : nullptr;
    if (entry == nullptr) {
        entry = m_modeCount > 0 ? m_modes[0] : nullptr;
    }
    unsigned int pos = 0;
    ModeEntry* child = entry != nullptr ? entry->Resolve()->m_firstChild : nullptr;
    for (; child != nullptr; child = child->m_nextSibling) {
        char step[40];
        char const* mode = child->GetModeName();
        char const* sub = child->GetSubModeName();
        char numbers[2][8];
        std::snprintf(numbers[0], sizeof numbers[0], "%u", child->m_mode.mode);
        std::snprintf(numbers[1], sizeof numbers[1], "%u", child->m_mode.subMode);
        std::snprintf(step, sizeof step, "%s%s%s%s", pos > 0 ? "," : "",
                      mode != nullptr ? mode : numbers[0], child->m_mode.mode == 0 ? "" : ".",
                      child->m_mode.mode == 0 ? ""
                      : sub != nullptr        ? sub
                                              : numbers[1]);
        if (!ParameterUtils::WriteString(step, modes, size, &pos, false, this)) {
            break;
        }
    }
    return pos + 1;
}
