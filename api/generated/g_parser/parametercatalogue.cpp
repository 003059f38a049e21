// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parametercatalogue.h"

#include "parameterlogging.hpp"

namespace {

constexpr uint32_t kModeCacheSize = 17;
constexpr char kGeneration[] = "Parameter Parser V5.5.1 (2411131018)";

}  // namespace

ParameterCatalogueManager::ParameterCatalogueManager(ParameterCatalogue const& catalogue)
    : m_catalogue(catalogue) {
    SetLogEnables(true, true, false);
    SetModeCacheSize(kModeCacheSize);
    SetFileModeEnabled(true);
    for (uint32_t f = 0; f < catalogue.count; ++f) {
        ParameterCatalogueFamily const& family = *catalogue.families[f];
        for (uint32_t i = 0; i < family.count; ++i) {
            ParameterModule* classObject = family.rows[i].make(family.rows[i].name);
            if (classObject == nullptr || !AddDefaultModule(classObject)) {
                PARAMETER_LOG_ERROR(this, "Failed to allocate %s\n", family.rows[i].name);
            }
        }
    }
    PARAMETER_LOG_DEBUG(this, "%s constructed: %s\n", catalogue.manager, kGeneration);
}

ParameterCatalogueManager::~ParameterCatalogueManager() {
    PARAMETER_LOG_DEBUG(this, "%s deleting\n", m_catalogue.manager);
    DeleteDefaultModules();
}

DefaultModule* ParameterCatalogueManager::GetDefaultModule(char const* type) {
    return FindDefaultModule(type);
}

void ParameterCatalogueManager::SaveAndClearModules() {
    SaveAndClearDefaultModules();
}

bool ParameterCatalogueManager::AddModule(ParameterModule* classObject) {
    return AddDefaultModule(classObject);
}
