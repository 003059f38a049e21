// SPDX-License-Identifier: Apache-2.0
/// @file parametercatalogue.h
/// A set manager with a catalogue of module classes; the generated set managers derive from it.
#pragma once

#include "steadywarp/tuning/parametersetmanager.h"
#include "steadywarp/tuning/parametertypeclass.h"

/// One name of the catalogue.
struct ParameterCatalogueRow {
    char const* name;  ///< full module name
    ParameterModuleDescriptor const* module;
    /// Make the class object. @return NULL if memory is exhausted.
    ParameterModule* (*make)(char const* name);
};

/// The rows that one definition file gives.
struct ParameterCatalogueFamily {
    ParameterCatalogueRow const* rows;
    uint32_t count;
};

/// Everything that a set manager knows how to parse.
struct ParameterCatalogue {
    char const* manager;  ///< class name of the set manager
    ParameterCatalogueFamily const* const* families;
    uint32_t count;
};

/// What the factory of a row does.
template <typename Type>
ParameterModule* ParameterMakeClassObject(char const* name) {
    return new (std::nothrow) ParameterTypeClass<Type>(name);
}

/// What the generated set managers have in common. Files are used from disk, 17 modes beyond the
/// resident ones stay loaded, errors and warnings are logged.
class STEADYWARP_API ParameterCatalogueManager : public ParameterSetManager {
  public:
    ~ParameterCatalogueManager() override;
    ParameterCatalogueManager(const ParameterCatalogueManager&) = delete;
    ParameterCatalogueManager& operator=(const ParameterCatalogueManager&) = delete;

    DefaultModule* GetDefaultModule(char const* type) override;
    void SaveAndClearModules() override;
    /// Enter a class object in the catalogue under its type name; owned from here on.
    /// @return false, with the object deleted, if the name is taken or memory is exhausted.
    bool AddModule(ParameterModule* classObject);

  protected:
    /// @param catalogue a constant; rows without memory are left out.
    explicit ParameterCatalogueManager(ParameterCatalogue const& catalogue);

    /// What GetModule_<name>() does.
    template <typename Type>
    Type* GetTyped(char const* name, TuningMode const* branch, unsigned int count, Type* previous) {
        using Class = ParameterTypeClass<Type>;
        return static_cast<Class*>(GetModule(name, branch, count, static_cast<Class*>(previous)));
    }

  private:
    ParameterCatalogue const& m_catalogue;
};
