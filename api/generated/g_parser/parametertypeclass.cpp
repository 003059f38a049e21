// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametertypeclass.h"

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

// Values open with the number of their record.
uint32_t& SymbolTableID(void* values) {
    return *static_cast<uint32_t*>(values);
}

}  // namespace

char const* ParameterDescribedModule::FindName(ParameterModuleDescriptor const& descriptor,
                                               char const* type) {
    for (uint32_t i = 0; i < descriptor.nameCount; ++i) {
        char shortName[ModuleData::kTypeSize];
        ModuleData::GetType(shortName, descriptor.names[i]);
        if (std::strcmp(shortName, type) == 0) {
            return descriptor.names[i];
        }
    }
    return type;
}

ParameterModule* ParameterDescribedModule::Create(ModuleData* data, DefaultModule* defaults) const {
    if (data->Version != GetVersion()) {
        PARAMETER_LOG_ERROR(data->SetManager,
                            "Unable to create %s, binary version (%lld) does not match source "
                            "version (%lld)\n",
                            Descriptor().className, static_cast<long long>(data->Version.Value()),
                            static_cast<long long>(GetVersion().Value()));
        return nullptr;
    }
    if (std::strcmp(GetModuleType(), data->Type) != 0) {
        PARAMETER_LOG_ERROR(
            data->SetManager,
            "Unable to create %s, binary name (%s) does not match source name (%s)\n",
            Descriptor().className, data->Type, GetModuleType());
        return nullptr;
    }
    const uint32_t id = data->DuplicateID != 0 ? data->DuplicateID : data->ID;
    if (ParameterModule* shared = defaults->Find(id)) {
        return shared;
    }
    ParameterDescribedModule* made = New(data);
    if (made == nullptr) {
        return nullptr;
    }
    SymbolTableID(made->Values()) = id;
    defaults->AddModule(made);
    return made;
}

bool ParameterDescribedModule::LoadModule(ParameterFileSymbolTable* table) {
    if (IsLoaded()) {
        return true;
    }
    const uint32_t id = SymbolTableID(Values());
    ParameterFileSymbolTableEntry entry;
    bool good = false;
    if (table != nullptr && table->Find(entry, id, true)) {
        good = ParameterLoad(*Descriptor().values, Values(), &entry, table->GetAlignment());
    } else {
        ModuleData const* data = GetData();
        PARAMETER_LOG_ERROR(data != nullptr ? data->SetManager : nullptr,
                            "%s::LoadModule Failed to find module ID (%d) in Symbol Table\n",
                            Descriptor().className, static_cast<int>(id));
    }
    MarkLoaded();
    if (!good) {
        UnloadModule();
    }
    return good;
}

void ParameterDescribedModule::UnloadModule() {
    if (!IsLoaded()) {
        return;
    }
    ModuleData const* data = GetData();
    ParameterFileSymbolTable* table = data != nullptr ? data->SymbolTable : nullptr;
    if (table == nullptr) {
        PARAMETER_LOG_ERROR(data != nullptr ? data->SetManager : nullptr,
                            "UnloadModule %s called with nullptr Data->SymbolTable object\n",
                            GetModuleName());
    }
    ParameterUnload(*Descriptor().values, Values(), table);
    MarkUnloaded();
}

bool ParameterDescribedModule::GetValue(char const* path, char* value, unsigned int size) {
    return Descriptor().hasPaths &&
           ParameterGetValue(*Descriptor().values, Values(), path, value, size);
}

bool ParameterDescribedModule::SetValue(char const* path, char const* value) {
    return Descriptor().hasPaths && ParameterSetValue(*Descriptor().values, Values(), path, value);
}

bool ParameterDescribedModule::GetInfo(char const* path, PList<ParameterParserInfo>& list) {
    return Descriptor().hasPaths && ParameterGetInfo(*Descriptor().values, Values(), path, list);
}
