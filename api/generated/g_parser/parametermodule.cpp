// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametermodule.h"

#include <algorithm>
#include <new>

#include "atomiccount.hpp"
#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

constexpr char kPrefix[] = "tessaline_";
constexpr size_t kPrefixLength = sizeof kPrefix - 1;
constexpr size_t kMaxType = ModuleData::kTypeSize - 1;
constexpr size_t kLongHead = 8;
constexpr size_t kLongTail = 23;
static_assert(kLongHead + 1 + kLongTail == kMaxType);

constexpr unsigned int kMaxPath = 128;  // paths built by the program, the nul included

// A name that is nothing but the prefix keeps it.
char const* StripPrefix(char const* name) {
    for (const size_t length : {kPrefixLength, kPrefixLength - 1}) {
        if (Zelm::OsUtils::StrNICmp(name, kPrefix, length) == 0 && name[length] != '\0') {
            return name + length;
        }
    }
    return name;
}

}  // namespace

void ModuleData::GetType(char* out, char const* name) {
    char const* rest = StripPrefix(name);
    const size_t length = std::strlen(rest);
    if (length <= kMaxType) {
        std::memcpy(out, rest, length + 1);
        return;
    }
    std::memcpy(out, rest, kLongHead);
    out[kLongHead] = '-';
    std::memcpy(out + kLongHead + 1, rest + length - kLongTail, kLongTail + 1);
}

ModuleData* ModuleData::Make(uint32_t id, uint32_t duplicateId, IModeTable* modeTable,
                             char const* type, const VersionUnion& version, uint32_t modeId,
                             ParameterSetManager* setManager, ParameterFileSymbolTable* table) {
    auto* data = new (std::nothrow) ModuleData();
    if (data == nullptr) {
        return nullptr;
    }
    data->ID = id;
    data->DuplicateID = duplicateId;
    data->Version = version;
    data->ModeId = modeId;
    data->SetManager = setManager;
    data->SymbolTable = table;
    data->Type = strdup(type);
    if (data->Type == nullptr) {
        delete data;
        return nullptr;
    }
    data->Mode = modeTable != nullptr ? modeTable->GetModeEntry(modeId) : nullptr;
    char path[kMaxPath];
    if (data->Mode != nullptr && data->Mode->GetModePath(path, sizeof path)) {
        data->ModePath = strdup(path);  // only shown, so doing without is no failure
    }
    return data;
}

ModuleData::~ModuleData() {
    std::free(Type);
    std::free(ModePath);
}

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

bool DefaultModule::AddModule(ParameterModule* module) {
    auto* link = new (std::nothrow) ModuleLink{module, nullptr};
    if (link == nullptr) {
        return false;
    }
    Append(link);
    return true;
}

void DefaultModule::Append(ModuleLink* link) {
    link->next = nullptr;
    (m_last != nullptr ? m_last->next : m_first) = link;
    m_last = link;
    ModuleData const* data = link->module->GetData();
    m_highestId = data != nullptr ? std::max(m_highestId, data->ID) : UINT32_MAX;
}

DefaultModule::ModuleLink* DefaultModule::Unlink(ParameterModule const* module) {
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
    ModuleLink* link = Unlink(module);
    delete link;
    return link != nullptr;
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
    delete link;
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
            delete link;
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

ParameterModule::ParameterModule(char const* name, const VersionUnion& version, ModuleData* data)
    : m_name(name), m_version(version), m_data(data) {
    ModuleData::GetType(m_type, name);
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

void ParameterModule::DropHolder() const {
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
