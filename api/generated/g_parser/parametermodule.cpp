// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametermodule.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "atomiccount.hpp"
#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

// Stands in front of every module, and tells delete what to do.
struct alignas(ParameterPool::kAlignment) Origin {
    bool pooled;
};

}  // namespace

void ModuleData::GetType(char* out, char const* name) {
    char const* rest = ParameterTypeKey::StripPrefix(name);
    const size_t length = std::strlen(rest);
    if (length <= ParameterTypeKey::kLongest) {
        std::memcpy(out, rest, length + 1);
        return;
    }
    ParameterTypeKey::Shorten(out, {rest, length});
    out[ParameterTypeKey::kLongest] = '\0';
}

ModuleData::ModuleData(uint32_t id, uint32_t duplicateId, IModeTable* modeTable, char const* type,
                       VersionUnion const& version, uint32_t modeId,
                       ParameterSetManager* setManager, ParameterFileSymbolTable* table)
    : ID(id),
      DuplicateID(duplicateId),
      Version(version),
      ModeId(modeId),
      Mode(modeTable != nullptr ? modeTable->GetModeEntry(modeId) : nullptr),
      ModePath(Mode != nullptr ? Mode->GetPath() : nullptr),
      SetManager(setManager),
      SymbolTable(table) {
    std::memcpy(Type, type, strnlen(type, sizeof Type - 1));
}

DefaultModule::DefaultModule(ParameterModule* classObject)
    : m_classObject(classObject),
      m_key(classObject != nullptr ? classObject->GetModuleType() : "") {}

DefaultModule::~DefaultModule() {
    while (ParameterModule* module = TakeFirst()) {
        delete module;
    }
    delete m_classObject;
}

ParameterModule* DefaultModule::Find(uint32_t id) const {
    // Records come in the order of their IDs, so a load mostly asks for what cannot be there yet.
    if (id > m_highestId) {
        return nullptr;
    }
    for (ModuleLink const* link = m_first; link != nullptr; link = link->next) {
        ModuleData const* data = link->module->GetData();
        if (data == nullptr || data->ID == id) {
            return link->module;
        }
    }
    return nullptr;
}

void DefaultModule::AddModule(ParameterModule* module) {
    Append(&module->m_link);
}

void DefaultModule::Append(ModuleLink* link) {
    link->next = nullptr;
    (m_last != nullptr ? m_last->next : m_first) = link;
    m_last = link;
    ModuleData const* data = link->module->GetData();
    m_highestId = data != nullptr ? std::max(m_highestId, data->ID) : UINT32_MAX;
}

ModuleLink* DefaultModule::Unlink(ParameterModule const* module) {
    ModuleLink* before = nullptr;
    for (ModuleLink* link = m_first; link != nullptr; before = link, link = link->next) {
        if (link->module != module) {
            continue;
        }
        (before != nullptr ? before->next : m_first) = link->next;
        if (m_last == link) {
            m_last = before;
        }
        return link;
    }
    return nullptr;
}

bool DefaultModule::RemoveModule(ParameterModule const* module) {
    return Unlink(module) != nullptr;
}

ParameterModule* DefaultModule::TakeFirst() {
    if (m_first == nullptr) {
        return nullptr;
    }
    ModuleLink* link = m_first;
    ParameterModule* module = link->module;
    m_first = link->next;
    if (m_first == nullptr) {
        m_last = nullptr;
    }
    return module;
}

bool DefaultModule::MoveModule(ParameterModule const* module, DefaultModule& target) {
    ModuleLink* link = Unlink(module);
    if (link == nullptr) {
        return false;
    }
    target.Append(link);
    return true;
}

void DefaultModule::MoveAll(DefaultModule& target) {
    while (m_first != nullptr) {
        target.Append(Unlink(m_first->module));
    }
}

void DefaultModule::DeleteReleased() {
    ModuleLink* link = m_first;
    m_first = nullptr;
    m_last = nullptr;
    while (link != nullptr) {
        ModuleLink* next = link->next;
        if (link->module->GetHolders() > 0) {
            Append(link);
        } else {
            delete link->module;
        }
        link = next;
    }
}

bool DefaultModule::Uses(ParameterFileSymbolTable const* table) const {
    for (ModuleLink const* link = m_first; link != nullptr; link = link->next) {
        ModuleData const* data = link->module->GetData();
        if (data != nullptr && data->SymbolTable == table) {
            return true;
        }
    }
    return false;
}

void* ParameterModule::Place(void* room, bool pooled) {
    return room != nullptr ? new (room) Origin{pooled} + 1 : nullptr;
}

void* ParameterModule::operator new(size_t size, ModuleData const* data) noexcept {
    ParameterFileSymbolTable* table = data != nullptr ? data->SymbolTable : nullptr;
    if (table == nullptr || !table->IsPooled()) {
        return operator new(size, std::nothrow);
    }
    return Place(table->Pool().Allocate(sizeof(Origin) + size), true);
}

void* ParameterModule::operator new(size_t size, std::nothrow_t const&) noexcept {
    return Place(::operator new(sizeof(Origin) + size, std::nothrow), false);
}

void* ParameterModule::operator new(size_t size) {
    return Place(::operator new(sizeof(Origin) + size), false);
}

void ParameterModule::Free(void* module) {
    if (module == nullptr) {
        return;
    }
    Origin* origin = static_cast<Origin*>(module) - 1;
    if (!origin->pooled) {
        ::operator delete(origin);
    }
}

ParameterModule::ParameterModule(char const* name, const VersionUnion& version, ModuleData* data)
    : m_name(name), m_version(version), m_data(data) {
    if (data != nullptr) {
        std::memcpy(m_type, data->Type, sizeof m_type);  // what the name would give
    } else {
        ModuleData::GetType(m_type, name);
    }
}

ParameterModule::~ParameterModule() = default;

bool ParameterModule::GetValue(char const*, char*, unsigned int) {
    return false;
}

bool ParameterModule::SetValue(char const*, char const*) {
    return false;
}

bool ParameterModule::GetInfo(char const*, PList<ParameterParserInfo>&) {
    return false;
}

void ParameterModule::DropOneHolder() const {
    DropOne(m_holders);
}

void ParameterModule::Release() const {
    if (m_data == nullptr || m_data->SetManager == nullptr) {
        PARAMETER_LOG_ERROR(nullptr,
                            "Attempt to release module reference when Data or SetManager is "
                            "nullptr. Module %s\n",
                            m_name);
        return;
    }
    m_data->SetManager->ReleaseModule(this);
}
