// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <new>

#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

// Locks of everything here: tree and module, both exclusive.

void ParameterSetManager::FreeReplacedParameters() {
    PARAMETER_LOG_DEBUG(this, "FreeReplacedParameters called\n");
    m_replacedModules.DeleteReleased();
    // Modules release their shared objects against their table, so tables go last.
    for (uint32_t i = m_retiredTables.Count(); i-- > 0;) {
        if (!m_replacedModules.Uses(m_retiredTables[i])) {
            delete m_retiredTables[i];
            m_retiredTables.Remove(i);
        }
    }
}

// The counts end with the tree; a module that is held must outlive more than one reload.
void ParameterSetManager::KeepHolders() {
    for (ModeEntry* entry : m_ownedModes) {
        for (ModuleReference const& reference : entry->m_modules) {
            reference.module->AddHolders(reference.references);
        }
    }
}

void ParameterSetManager::SaveAndClearDefaultModules() {
    const ParameterScopedLock modules(m_moduleLock, false);
    for (CatalogueRow const& entry : m_defaultModules) {
        entry.row->MoveAll(m_replacedModules);
    }
}

void ParameterSetManager::RetireSymbolTable() {
    if (m_symbolTable == nullptr) {
        return;
    }
    for (ModuleData* data : m_symbolTable->GetModuleList()) {
        data->Mode = nullptr;
    }
    m_retiredTables.Add(m_symbolTable);  // the room was made when the table was
    m_symbolTable = nullptr;
}

void ParameterSetManager::FreeBinaryParameters() {
    PARAMETER_LOG_DEBUG(this, "FreeBinaryParameters called\n");
    m_rootMode = nullptr;
    m_loadedModes.Clear();
    m_modes.reset();
    m_modeCount = 0;
    m_ownedModes.Clear();  // they go with the table whose memory they lie in
    m_binaryTag = "";
}

bool ParameterSetManager::ReloadBinaryParameters(bool bufferMode) {
    const ParameterScopedLock tree(m_treeLock, false);
    const ParameterScopedLock modules(m_moduleLock, false);
    if (m_fileName[0] == '\0') {
        SetError("ReloadBinaryParameters called with empty file name");
        return false;
    }
    char name[sizeof m_fileName];
    std::memcpy(name, m_fileName, sizeof name);
    PARAMETER_LOG_WARNING(this, "Reloading binary file %s%s\n", name,
                          bufferMode ? " in buffer mode" : "");
    KeepHolders();
    FreeReplacedParameters();
    SaveAndClearModules();
    if (bufferMode && m_symbolTable != nullptr && m_symbolTable->GetFile() != nullptr &&
        m_symbolTable->GetFile()->Reference(0) > 0) {
        m_symbolTable->FileReference(-1);
    }
    RetireSymbolTable();
    FreeBinaryParameters();
    m_loaded = false;
    return bufferMode ? ReloadAsBuffer() : LoadBinaryParameters(name);
}

bool ParameterSetManager::ReloadAsBuffer() {
    std::unique_ptr<ParameterBinaryFile> file(new (std::nothrow)
                                                  ParameterBinaryFile(m_fileName, this, true));
    if (file == nullptr || !file->IsValid() || !file->IsCRCValid()) {
        SetError(file == nullptr ? "ReloadBinaryParameters: Failed to allocate ParameterBinaryFile "
                                   "class"
                 : !file->IsValid() ? "ReloadBinaryParameters: Failed to open file"
                                    : "ReloadBinaryParameters: File CRC check failed");
        return false;
    }
    m_fileName[0] = '\0';
    unsigned char* image = file->Read(0, file->GetLength());
    if (image == nullptr) {
        SetError("ReloadBinaryParameters: Failed to allocate space to read data from file");
        return false;
    }
    const bool good = LoadBinaryParameters(image, file->GetLength());
    std::free(image);
    return good;
}

// ---- Taking over the modules of another manager ----

// One instance may stand in several modes of `other`; it changes owner with the first that has a
// partner here, and stays with `other` if none has.
bool ParameterSetManager::TakeOver(ModeEntry* target, ParameterModule* module,
                                   ParameterSetManager* other) {
    if (target->m_modules.Find(ParameterTypeKey(module->GetModuleType())) == nullptr) {
        return true;
    }
    DefaultModule* row = GetDefaultModule(module->GetModuleType());
    DefaultModule* theirs = other->GetDefaultModule(module->GetModuleType());
    if (row == nullptr || theirs == nullptr) {
        return false;
    }
    theirs->MoveModule(module, *row);
    ParameterModule* old = target->ReplaceModule(module);
    if (old != nullptr && old != module) {
        row->MoveModule(old, m_replacedModules);
    }
    return true;
}

bool ParameterSetManager::UpdateEntry(ModeEntry* target, ModeEntry* source,
                                      ParameterSetManager* other) {
    for (ModuleReference const& reference : source->m_modules) {
        if (!TakeOver(target, reference.module, other)) {
            return false;
        }
    }
    source->m_modules.Clear();
    for (ModeEntry* child = source->m_firstChild; child != nullptr; child = child->m_nextSibling) {
        ModeEntry::Child const* partner =
            target->m_children.Find(ModeEntry::StepKey(child->m_mode));
        if (partner == nullptr || !UpdateEntry(partner->entry, child, other)) {
            return false;
        }
    }
    return true;
}

bool ParameterSetManager::UpdateParameters(ParameterSetManager* other) {
    const ParameterScopedLock tree(m_treeLock, false);
    const ParameterScopedLock modules(m_moduleLock, false);
    if (other == nullptr || m_rootMode == nullptr || other->m_rootMode == nullptr) {
        return false;
    }
    return UpdateEntry(m_rootMode, other->m_rootMode, other);
}

bool ParameterSetManager::UpdateFromBuffer(ParameterSetManager* other, unsigned char* buffer,
                                           unsigned long length) {
    std::unique_ptr<ParameterSetManager> fresh(other);
    const ParameterScopedLock tree(m_treeLock, false);
    if (!m_loaded) {
        SetError("UpdateBinaryParameters failed, original parameter load is invalid");
        return false;
    }
    if (m_fileName[0] != '\0' && !ReloadBinaryParameters(true)) {
        SetError("UpdateBinaryParameters failed to reload parameters in buffer mode");
        return false;
    }
    if (fresh != nullptr) {
        fresh->SetStartService(false);  // one service is enough
    }
    // Modules of the new manager will be in use here, so it must find its place in the list.
    if (fresh == nullptr || !m_retiredManagers.Reserve(m_retiredManagers.Count() + 1) ||
        !fresh->LoadBinaryParameters(buffer, length)) {
        SetError("UpdateBinaryParameters failed to load parameters");
        return false;
    }
    const bool good = UpdateParameters(fresh.get());
    m_retiredManagers.Add(fresh.release());
    return good;
}
