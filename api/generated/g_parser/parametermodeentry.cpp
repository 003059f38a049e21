// SPDX-License-Identifier: Apache-2.0
#include <new>

#include "atomiccount.hpp"
#include "modenames.hpp"
#include "parameterlogging.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

// A branch search tries the steps of one kind in every order. Honest branches have one or two; a
// tree whose links lead back up would let a long one search for ever.
constexpr unsigned int kSearchBudget = 16384;

}  // namespace

void ModeEntry::Initialize(uint32_t id, const ModeUnion& mode, ModeEntry** link, bool loaded,
                           bool resident) {
    m_id = id;
    m_mode = mode;
    m_link = link;
    m_loaded = loaded;
    m_resident = resident;
}

bool ModeEntry::AddMode(ModeEntry* child) {
    const StepKey key(child->m_mode);
    if (m_children.Find(key) == nullptr && m_children.Add(m_pool, key, child) == nullptr) {
        return false;
    }
    child->m_parent = this;
    child->m_depth = m_depth + 1;
    (m_lastChild != nullptr ? m_lastChild->m_nextSibling : m_firstChild) = child;
    m_lastChild = child;
    return true;
}

ModeEntry* ModeEntry::Search(TuningMode const* steps, unsigned int count, unsigned int index,
                             unsigned int* budget) {
    ModeEntry* entry = Resolve();
    for (unsigned int k = 0; k<count&& * budget> 0; ++k) {
        --*budget;
        ModeEntry* child = entry->FindMode(&steps[k]);
        if (child == nullptr) {
            continue;
        }
        if (count <= index + 1) {
            return child;
        }
        ModeEntry* found = child->Search(steps, count, index + 1, budget);
        if (found != nullptr) {
            return found;
        }
    }
    return nullptr;
}

ModeEntry* ModeEntry::FindMode(TuningMode const* steps, unsigned int count, unsigned int index) {
    // Each level of the search takes one step of the run, and a level costs stack.
    constexpr unsigned int kLongestRun = 64;
    if (count > kLongestRun) {
        PARAMETER_LOG_ERROR(m_logger, "FindMode: %u steps of one mode, at most %u are searched\n",
                            count, kLongestRun);
        return nullptr;
    }
    unsigned int budget = kSearchBudget;
    ModeEntry* found = Search(steps, count, index, &budget);
    if (found == nullptr && budget == 0) {
        PARAMETER_LOG_ERROR(m_logger, "FindMode: gave up after %u steps\n", kSearchBudget);
    }
    return found;
}

bool ModeEntry::MakePath() {
    constexpr size_t kLongest = 128;  // paths built by the program, the nul included
    if (m_parent != nullptr && m_parent->m_path == nullptr) {
        return true;
    }
    char text[kLongest];
    const int length =
        std::snprintf(text, sizeof text, "%s%s%u.%u", m_parent != nullptr ? m_parent->m_path : "",
                      m_parent != nullptr ? "|" : "", m_mode.mode, m_mode.subMode);
    if (length < 0 || static_cast<size_t>(length) >= sizeof text) {
        return true;
    }
    auto* path = static_cast<char*>(m_pool.Allocate(static_cast<size_t>(length) + 1));
    if (path == nullptr) {
        return false;
    }
    std::memcpy(path, text, static_cast<size_t>(length) + 1);
    m_path = path;
    return true;
}

bool ModeEntry::GetModePath(char* path, unsigned int size) const {
    if (path == nullptr || size == 0) {
        return false;
    }
    path[0] = '\0';
    const size_t needed = m_path != nullptr ? std::strlen(m_path) + 1 : 0;
    if (needed == 0 || needed > size) {
        return false;
    }
    std::memcpy(path, m_path, needed);
    return true;
}

ParameterModule* ModeEntry::FindModule(std::string const* name) {
    return FindModule(ParameterTypeKey(name->c_str()));
}

bool ModeEntry::AddModule(ParameterModule* module, ParameterTypeKey const& key) {
    ModuleReference* present = m_modules.Find(key);
    if (present != nullptr) {
        present->module = module;
        return true;
    }
    return m_modules.Add(m_pool, key, module) != nullptr;
}

ParameterModule* ModeEntry::ReplaceModule(ParameterModule* module) {
    ModuleReference* present = m_modules.Find(ParameterTypeKey(module->GetModuleType()));
    if (present == nullptr) {
        return nullptr;
    }
    ParameterModule* old = present->module;
    old->AddHolders(present->references.exchange(0));
    present->module = module;
    return old;
}

void ModeEntry::AddReference(ParameterModule const* module) {
    for (ModuleReference& reference : m_modules) {
        if (reference.module == module) {
            ++reference.references;
            return;
        }
    }
    PARAMETER_LOG_ERROR(m_logger,
                        "Attempt to add reference to a non-existant module.  Mode: %d, SubMode: "
                        "%d, Module %s\n",
                        m_mode.mode, m_mode.subMode, module->GetModuleName());
}

void ModeEntry::ReleaseReference(ParameterModule const* module) {
    for (ModuleReference& reference : m_modules) {
        // Under the shared side of the module lock only.
        if (reference.module == module && DropOne(reference.references)) {
            return;
        }
    }
    PARAMETER_LOG_ERROR(m_logger,
                        "Attempt to release unreferenced module.  Mode: %d, SubMode: %d, Module "
                        "%s\n",
                        m_mode.mode, m_mode.subMode, module->GetModuleName());
}

void ModeEntry::ReleaseReferences() {
    for (ModuleReference& reference : m_modules) {
        if (reference.references > 0) {
            PARAMETER_LOG_WARNING(
                m_logger, "ReleaseReferences called with unreleased module: %s, RefCnt: %d\n",
                reference.module->GetModuleType(), static_cast<int>(reference.references.load()));
            reference.references = 0;
        }
    }
}

uint32_t ModeEntry::GetReferenceCount(ParameterModule const* module) const {
    uint32_t sum = 0;
    for (ModuleReference const& reference : m_modules) {
        ModuleData const* data = reference.module->GetData();
        const bool counts =
            module != nullptr ? reference.module == module : data != nullptr && data->Mode == this;
        sum += counts ? reference.references.load() : 0;
    }
    return sum;
}

bool ModeEntry::HasLocalModules() const {
    for (ModuleReference const& reference : m_modules) {
        ModuleData const* data = reference.module->GetData();
        if (data != nullptr && data->Mode == this) {
            return true;
        }
    }
    return false;
}

bool ModeEntry::IsParent(ModeEntry const* other) const {
    for (ModeEntry const* entry = other->m_parent; entry != nullptr; entry = entry->m_parent) {
        if (entry == this) {
            return true;
        }
    }
    return false;
}

char const* ModeEntry::GetModeName() const {
    return NameOfMode(m_mode.mode);
}

char const* ModeEntry::GetSubModeName() const {
    return NameOfSubMode(m_mode.mode, m_mode.subMode);
}
