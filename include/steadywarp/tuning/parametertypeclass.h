// SPDX-License-Identifier: Apache-2.0
/// @file parametertypeclass.h
/// The class of a module: a ParameterModule whose values follow it in the same allocation.
#pragma once

#include <new>

#include "steadywarp/tuning/parametermodule.h"
#include "steadywarp/tuning/parameterpool.h"
#include "steadywarp/tuning/parameterstructure.h"

/// What the classes of modules differ in.
struct ParameterModuleDescriptor {
    ParameterStructureDescriptor const* values;
    char const* className;     ///< for the log
    char const* const* names;  ///< full names of the modules that this class parses
    uint32_t nameCount;
    VersionUnion version;  ///< the only one that the class parses
    bool hasPaths;         ///< values can be read and changed by path
};

/// What the classes of modules have in common. See ParameterModule for threads.
class STEADYWARP_API ParameterDescribedModule : public ParameterModule {
  public:
    /// Records with one DuplicateID give one instance.
    ParameterModule* Create(ModuleData* data, DefaultModule* defaults) const override;
    bool LoadModule(ParameterFileSymbolTable* table) override;
    void UnloadModule() override;
    bool GetValue(char const* path, char* value, unsigned int size) override;
    bool SetValue(char const* path, char const* value) override;
    bool GetInfo(char const* path, PList<ParameterParserInfo>& list) override;

    /// Give the full name whose type name `type` is; `type` itself if the class has none such.
    static char const* FindName(ParameterModuleDescriptor const& descriptor, char const* type);

  protected:
    /// As for ParameterModule.
    ParameterDescribedModule(char const* name, VersionUnion const& version, ModuleData* data)
        : ParameterModule(name, version, data) {}

    /// The fields of the values.
    virtual ParameterModuleDescriptor const& Descriptor() const = 0;
    /// The values; they open with the u32 SymbolTableID.
    virtual void* Values() = 0;
    /// Make an instance of the same class and name. @return NULL if memory is exhausted.
    virtual ParameterDescribedModule* New(ModuleData* data) const = 0;
};

/// The class of the module whose values are a `Type`, which has a `kModule`. Adds no fields, so
/// that a `Type*` given out leads back to its module by a fixed displacement.
template <typename Type>
class ParameterTypeClass final : public ParameterDescribedModule, public Type {
    static_assert(alignof(Type) <= ParameterPool::kAlignment &&
                  alignof(ParameterModule) <= ParameterPool::kAlignment);

  public:
    /// Make the class object of a catalogue.
    explicit ParameterTypeClass(char const* name) : ParameterTypeClass(name, nullptr) {}
    /// Make the instance for a record.
    ParameterTypeClass(char const* name, ModuleData* data)
        : ParameterDescribedModule(name, Type::kModule.version, data), Type() {}
    ~ParameterTypeClass() override { ParameterTypeClass::UnloadModule(); }

    /// As FindName(), for this class.
    static char const* GetName(char const* type) {
        return ParameterDescribedModule::FindName(Type::kModule, type);
    }

    using ParameterDescribedModule::GetInfo;
    using ParameterDescribedModule::GetModified;
    using ParameterDescribedModule::GetValue;
    using ParameterDescribedModule::Release;
    using ParameterDescribedModule::SetValue;

  private:
    ParameterModuleDescriptor const& Descriptor() const override { return Type::kModule; }
    void* Values() override { return static_cast<Type*>(this); }
    ParameterDescribedModule* New(ModuleData* data) const override {
        return new (data) ParameterTypeClass(GetModuleName(), data);
    }
};

/// What the values of a module can do beyond a structure, as `Base` is one: reach their module.
/// Only for values inside of one, as a set manager gives out.
template <typename Type, template <typename> class Base>
struct ParameterValues : Base<Type> {
    /// Number of loads of the module so far; a change tells that the values are new. Any thread.
    int GetModified() const { return Module()->GetModified(); }
    /// Give back the reference that GetModule_*() of the set manager took. Any thread.
    void Release() const { Module()->Release(); }

  private:
    ParameterTypeClass<Type> const* Module() const {
        return static_cast<ParameterTypeClass<Type> const*>(static_cast<Type const*>(this));
    }
};
