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

// Chains that do not end were cut when the tree was built.
ModeEntry* ModeEntry::Resolve() {
    ModeEntry* entry = this;
    while (entry->m_link != nullptr && *entry->m_link != nullptr) {
        entry = *entry->m_link;
    }
    return entry;
}

void ModeEntry::AddMode(ModeEntry* child) {
    child->m_parent = this;
    child->m_depth = m_depth + 1;
    (m_lastChild != nullptr ? m_lastChild->m_nextSibling : m_firstChild) = child;
    m_lastChild = child;
}

ModeEntry* ModeEntry::FindMode(TuningMode const* step) {
    for (ModeEntry* child = Resolve()->m_firstChild; child != nullptr;
         child = child->m_nextSibling) {
        if (child->m_mode.mode == static_cast<uint16_t>(step->mode) &&
            child->m_mode.subMode == step->subMode) {
            return child;
        }
    }
    return nullptr;
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

bool ModeEntry::GetModePath(char* path, unsigned int size) const {
    if (path == nullptr || size == 0) {
        return false;
    }
    path[0] = '\0';
    // Built from the end: the root is the last one met.
    constexpr size_t kLongest = 128;
    char text[kLongest];
    char* first = text + kLongest - 1;
    *first = '\0';
    for (ModeEntry const* entry = this; entry != nullptr; entry = entry->m_parent) {
        char step[16];
        const int length = std::snprintf(step, sizeof step, "%u.%u%s", entry->m_mode.mode,
                                         entry->m_mode.subMode, *first != '\0' ? "|" : "");
        if (length > first - text) {
            return false;
        }
        first -= length;
        std::memcpy(first, step, static_cast<size_t>(length));
    }
    const size_t needed = std::strlen(first) + 1;
    if (needed > size) {
        return false;
    }
    std::memcpy(path, first, needed);
    return true;
}

ParameterModule* ModeEntry::FindModule(std::string const* name) {
    const Modules& modules = Resolve()->m_modules;
    const auto found = modules.find(*name);
    return found != modules.end() ? found->second.module : nullptr;
}

bool ModeEntry::AddModule(ParameterModule* module) {
    try {
        m_modules[module->GetModuleType()].module = module;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

ParameterModule* ModeEntry::ReplaceModule(ParameterModule* module) {
    for (auto& [name, reference] : m_modules) {
        if (name == module->GetModuleType()) {
            ParameterModule* old = reference.module;
            old->AddHolders(reference.references.exchange(0));
            reference.module = module;
            return old;
        }
    }
    return nullptr;
}

void ModeEntry::AddReference(ParameterModule const* module) {
    for (auto& [name, reference] : m_modules) {
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
    for (auto& [name, reference] : m_modules) {
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
    for (auto& [name, reference] : m_modules) {
        if (reference.references > 0) {
            PARAMETER_LOG_WARNING(
                m_logger, "ReleaseReferences called with unreleased module: %s, RefCnt: %d\n",
                name.c_str(), static_cast<int>(reference.references.load()));
            reference.references = 0;
        }
    }
}

uint32_t ModeEntry::GetReferenceCount(ParameterModule const* module) const {
    uint32_t sum = 0;
    for (const auto& [name, reference] : m_modules) {
        ModuleData const* data = reference.module->GetData();
        const bool counts =
            module != nullptr ? reference.module == module : data != nullptr && data->Mode == this;
        sum += counts ? reference.references.load() : 0;
    }
    return sum;
}

bool ModeEntry::HasLocalModules() const {
    for (const auto& [name, reference] : m_modules) {
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
