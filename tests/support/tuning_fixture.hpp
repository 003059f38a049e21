// SPDX-License-Identifier: Apache-2.0
/// @file tuning_fixture.hpp
/// A small catalogue of modules, files for it, and the lines of the log.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "platform/log.hpp"
#include "steadywarp/tuning/parametersetmanager.h"
#include "tuning_image.hpp"

/// A module of u32 number, a text and an array of u32, both through pointers.
class SampleModule : public ParameterModule {
  public:
    static constexpr VersionUnion kVersion{1, 2, 3};

    /// Objects that this thread made, less those that it deleted.
    static inline thread_local int live = 0;

    SampleModule(char const* name, ModuleData* data) : ParameterModule(name, kVersion, data) {
        ++live;
    }
    ~SampleModule() override {
        SampleModule::UnloadModule();
        --live;
    }

    ParameterModule* Create(ModuleData* data, DefaultModule* defaults) const override {
        if (std::strcmp(GetModuleType(), data->Type) != 0 || data->Version != kVersion) {
            return nullptr;
        }
        const uint32_t id = data->DuplicateID != 0 ? data->DuplicateID : data->ID;
        if (ParameterModule* shared = defaults->Find(id)) {
            return shared;
        }
        auto* made = new (data) SampleModule(GetModuleName(), data);
        if (made != nullptr) {
            made->m_recordId = id;
            defaults->AddModule(made);
        }
        return made;
    }

    bool LoadModule(ParameterFileSymbolTable* table) override {
        if (IsLoaded()) {
            return true;
        }
        ParameterFileSymbolTableEntry entry;
        const bool good =
            table != nullptr && table->Find(entry, m_recordId, true) && Parse(entry, *table);
        MarkLoaded();
        if (!good) {
            UnloadModule();
        }
        return good;
    }

    void UnloadModule() override {
        if (!IsLoaded()) {
            return;
        }
        Drop(text);
        Drop(numbers);
        number = 0;
        count = 0;
        MarkUnloaded();
    }

    bool GetValue(char const* path, char* value, unsigned int size) override {
        char name[129];
        unsigned int index = UINT32_MAX;
        ParameterUtils::GetVariable(path, name, index, sizeof name);
        bool ok = false;
        if (std::strcmp(name, "number") == 0) {
            ParameterUtils::DoubleToString(number, value, size, 0, ok);
        } else if (std::strcmp(name, "numbers") == 0 && index < count) {
            ParameterUtils::DoubleToString(numbers[index], value, size, 0, ok);
        }
        return ok;
    }
    bool SetValue(char const* path, char const* value) override {
        bool ok = false;
        const double wanted = ParameterUtils::StringToDouble(value, ok);
        if (ok && std::strcmp(path, "number") == 0 && wanted >= 0 && wanted < 4294967296.0) {
            number = static_cast<uint32_t>(wanted);
            return true;
        }
        return false;
    }
    bool GetInfo(char const*, PList<ParameterParserInfo>& list) override {
        return list.Add({"number", "UInt32", double{1} * number, 0u}) &&
               list.Add({"numbers", "UInt32", true, false, count});
    }

    uint32_t number = 0;
    char* text = nullptr;
    uint32_t count = 0;
    uint32_t* numbers = nullptr;

  private:
    bool Parse(ParameterFileSymbolTableEntry& entry, ParameterFileSymbolTable& table) {
        const unsigned char a = table.GetAlignment();
        uint32_t length = 0;
        ParameterFileSymbolTableEntry target;
        if (!entry.ReadScalar(number, a) || !entry.ReadScalar(length, a) ||
            !table.ReadPointerEntry(target, &entry, a) || !target.ReadString(&text, length, a)) {
            return false;
        }
        ParameterFileSymbolTableEntry elements;
        if (!entry.ReadScalar(count, a) || !table.ReadPointerEntry(elements, &entry, a)) {
            count = 0;
            return false;
        }
        if (count > elements.GetSize()) {
            count = 0;  // a lie, and too much to allocate
            return false;
        }
        DupObjInfo* shared = elements.GetDupObject(count, __FILE__, 1);
        if (shared != nullptr && shared->Object != nullptr) {
            numbers = static_cast<uint32_t*>(shared->Object);
            return true;
        }
        numbers =
            count > 0 ? static_cast<uint32_t*>(table.AllocateObject(size_t{count} * 4)) : nullptr;
        if (numbers == nullptr && count > 0) {
            Zelm::Log::LogSystem(0x20000, Zelm::Log::Level::kError, "Failed to allocate numbers");
            return false;
        }
        if (numbers == nullptr) {
            return true;
        }
        elements.SetDupObject(numbers, count, __FILE__, 1);
        for (uint32_t i = 0; i < count; ++i) {
            if (!elements.ReadScalar(numbers[i], a)) {
                return false;
            }
        }
        return true;
    }

    template <typename T>
    void Drop(T*& object) {
        ParameterFileSymbolTable* table = GetData() != nullptr ? GetData()->SymbolTable : nullptr;
        if (table != nullptr && table->ReleaseDupObject(object)) {
            table->FreeObject(object);
        }
        object = nullptr;
    }

    uint32_t m_recordId = 0;
};

/// A manager whose catalogue is "alpha" and "beta".
class SampleManager : public ParameterSetManager {
  public:
    explicit SampleManager(bool fileMode = false) {
        SetLogEnables(true, true, false);
        SetModeCacheSize(17);
        SetFileModeEnabled(fileMode);
        AddDefaultModule(new (std::nothrow) SampleModule("tessaline_alpha", nullptr));
        AddDefaultModule(new (std::nothrow) SampleModule("beta", nullptr));
    }
    ~SampleManager() override { DeleteDefaultModules(); }
    DefaultModule* GetDefaultModule(char const* type) override { return FindDefaultModule(type); }
    void SaveAndClearModules() override { SaveAndClearDefaultModules(); }
    bool UpdateBinaryParameters(unsigned char* buffer, unsigned long length) {
        return UpdateFromBuffer(new (std::nothrow) SampleManager(), buffer, length);
    }
    using ParameterSetManager::GetSymbolTable;
    using ParameterSetManager::SetModeCacheSize;
    using ParameterSetManager::SetQuietMissingModules;
    void ShowDebugLines() { SetLogEnables(true, true, true); }
    void AddType(char const* name) { AddDefaultModule(new SampleModule(name, nullptr)); }

    SampleModule* Get(char const* path, char const* name = "alpha",
                      SampleModule* previous = nullptr) {
        PList<TuningMode> branch;
        GetModeBranchFromPath(path, branch);
        return static_cast<SampleModule*>(
            GetModule(name, branch.begin(), branch.Count(), previous));
    }
};

/// Collects log lines for as long as it lives.
class LogLines {
  public:
    LogLines() { Zelm::Log::SetSink(Take, this); }
    ~LogLines() { Zelm::Log::SetSink(nullptr, nullptr); }
    size_t Count(const std::string& part) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        size_t count = 0;
        for (const std::string& line : m_lines) {
            count += line.find(part) != std::string::npos ? 1 : 0;
        }
        return count;
    }

  private:
    static void Take(uint32_t, Zelm::Log::Level, const char* text, void* user) {
        auto* self = static_cast<LogLines*>(user);
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        if (self->m_lines.size() < 10000) {
            self->m_lines.push_back(text);
        }
    }
    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

/// A file on disk with a modification time that grows with every write.
class SampleFile {
  public:
    SampleFile() {
        static std::atomic<int> count{0};
        char const* folder = std::getenv("TMPDIR");
        m_name = std::string(folder != nullptr ? folder : "/tmp") + "/steadywarp_" +
                 std::to_string(getpid()) + "_" + std::to_string(++count) + ".bin";
    }
    ~SampleFile() { std::remove(m_name.c_str()); }
    void Write(const tuning::Bytes& bytes) {
        const std::string part = m_name + ".part";
        std::ofstream(part, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        const struct timespec times[2] = {{++m_time, 0}, {m_time, 0}};
        utimensat(AT_FDCWD, part.c_str(), times, 0);
        std::rename(part.c_str(), m_name.c_str());
    }
    /// Shorten the file without a trace in its modification time.
    void CutTo(off_t length) {
        (void)!truncate(m_name.c_str(), length);
        const struct timespec times[2] = {{m_time, 0}, {m_time, 0}};
        utimensat(AT_FDCWD, m_name.c_str(), times, 0);
    }
    void Remove() { std::remove(m_name.c_str()); }
    char const* Name() const { return m_name.c_str(); }

  private:
    std::string m_name;
    time_t m_time = 1000000;
};
