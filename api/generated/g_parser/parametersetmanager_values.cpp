// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <new>

#include "modenames.hpp"
#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

constexpr unsigned int kMaxStep = 9;       // characters of a numeric step
constexpr unsigned int kMaxRecord = 64;    // text of one control value, the nul included
constexpr unsigned int kValueBuffer = 65;  // text of one value
constexpr unsigned int kMaxName = 512;

// Appends to a text of fixed room; remembers if something did not fit.
class TextWriter {
  public:
    TextWriter(char* text, unsigned int size) : m_text(text), m_size(size) {
        if (m_text != nullptr && m_size > 0) {
            m_text[0] = '\0';
        }
    }
    void Add(char const* part) {
        if (m_text == nullptr || m_size == 0) {
            m_good = false;
            return;
        }
        const size_t length = std::strlen(part);
        if (m_used + length >= m_size) {
            m_good = false;
            return;
        }
        std::memcpy(m_text + m_used, part, length + 1);
        m_used += length;
    }
    bool Good() const { return m_good; }
    bool Empty() const { return m_used == 0; }

  private:
    char* m_text;
    size_t m_size;
    size_t m_used = 0;
    bool m_good = true;
};

bool ParseStep(char const* text, size_t length, TuningMode* step) {
    char const* end = text + length;
    uint32_t mode = 0;
    uint16_t sub = 0;
    const auto first = std::from_chars(text, end, mode);
    if (length > kMaxStep || first.ec != std::errc() || first.ptr == end || *first.ptr != '.') {
        return false;
    }
    const auto second = std::from_chars(first.ptr + 1, end, sub);
    if (second.ec != std::errc() || second.ptr != end) {
        return false;
    }
    *step = {mode, sub, 0};
    return true;
}

// Apply `translate` to each step of paths that are joined by "|" and ";".
template <typename Translate>
bool TranslateSteps(char const* text, char* out, unsigned int size, Translate translate) {
    TextWriter writer(out, size);
    while (text != nullptr && *text != '\0') {
        const size_t length = std::strcspn(text, "|;");
        char step[128];
        if (length >= sizeof step) {
            return false;
        }
        std::memcpy(step, text, length);
        step[length] = '\0';
        translate(step, writer);
        text += length;
        if (*text != '\0') {
            const char separator[2] = {*text++, '\0'};
            writer.Add(separator);
        }
    }
    return text != nullptr && writer.Good();
}

void WriteShorthand(char const* step, TextWriter& writer) {
    if (step[0] == '\0' || std::strspn(step, "0123456789.") == std::strlen(step)) {
        writer.Add(step);
        return;
    }
    char name[128];
    const unsigned int length = ParameterUtils::GetSubString(step, '.', name, sizeof name);
    uint32_t mode = 0;
    uint32_t sub = 0;
    FindModeName(name, &mode);
    if (step[length] == '.') {
        FindSubModeName(mode, step + length + 1, &sub);
    }
    char number[32];
    std::snprintf(number, sizeof number, "%u.%u", mode, sub);
    writer.Add(number);
}

void WriteNames(char const* step, TextWriter& writer) {
    TuningMode numbers;
    if (!ParseStep(step, std::strlen(step), &numbers) || NameOfMode(numbers.mode) == nullptr) {
        writer.Add(step);
        return;
    }
    writer.Add(NameOfMode(numbers.mode));
    if (numbers.mode == 0) {
        return;
    }
    char number[16];
    std::snprintf(number, sizeof number, "%u", numbers.subMode);
    char const* sub = NameOfSubMode(numbers.mode, numbers.subMode);
    writer.Add(".");
    writer.Add(sub != nullptr ? sub : number);
}

bool SkippedInLists(ParameterParserInfo const& info) {
    return info.type == nullptr || info.name == nullptr || std::strcmp(info.type, "Module") == 0 ||
           std::strcmp(info.type, "Structure") == 0;
}

// "prefix.name", "prefix" or "name".
bool JoinPath(char* out, unsigned int size, char const* prefix, char const* name) {
    TextWriter writer(out, size);
    writer.Add(prefix);
    if (prefix[0] != '\0' && name[0] != '\0') {
        writer.Add(".");
    }
    writer.Add(name);
    return writer.Good();
}

void WriteEntry(ParameterModule& module, char const* prefix, ParameterParserInfo const& info,
                TextWriter& writer) {
    char path[kMaxName];
    if (!JoinPath(path, sizeof path, prefix, info.name)) {
        return;
    }
    writer.Add(writer.Empty() ? "" : ";");
    writer.Add(info.name);
    writer.Add("=");
    const uint32_t elements = info.isArray ? info.elementCount : 1;
    for (uint32_t i = 0; i < elements && writer.Good(); ++i) {
        char element[kMaxName + 16];
        char value[kValueBuffer] = "";
        if (info.isArray) {
            std::snprintf(element, sizeof element, "%s[%u]", path, i);
        } else {
            std::snprintf(element, sizeof element, "%s", path);
        }
        module.GetValue(element, value, sizeof value);
        writer.Add(i > 0 ? "," : "");
        writer.Add(value);
    }
}

bool WriteAll(ParameterModule& module, char const* prefix, char* value, unsigned int size) {
    PList<ParameterParserInfo> entries(16);
    if (!module.GetInfo(prefix, entries)) {
        return false;
    }
    TextWriter writer(value, size);
    for (ParameterParserInfo const& info : entries) {
        if (!SkippedInLists(info)) {
            WriteEntry(module, prefix, info, writer);
        }
    }
    return writer.Good();
}

}  // namespace

// ---- Paths ----

bool ParameterSetManager::GetModeBranchFromPath(char const* path, PList<TuningMode>& branch) const {
    branch.Clear();
    while (path != nullptr) {
        const size_t length = std::strcspn(path, "|");
        TuningMode step;
        if (!ParseStep(path, length, &step) || !branch.Add(step)) {
            branch.Clear();
            return false;
        }
        path = path[length] == '|' ? path + length + 1 : nullptr;
    }
    return branch.Count() > 0;
}

bool ParameterSetManager::GetPathFromModeBranch(TuningMode const* branch, unsigned int count,
                                                char* path, unsigned int size) const {
    TextWriter writer(path, size);
    for (unsigned int i = 0; branch != nullptr && i < count; ++i) {
        char step[32];
        std::snprintf(step, sizeof step, "%s%u.%u", i > 0 ? "|" : "", branch[i].mode,
                      branch[i].subMode);
        writer.Add(step);
    }
    if (!writer.Good() && path != nullptr && size > 0) {
        path[0] = '\0';
    }
    return writer.Good();
}

unsigned int ParameterSetManager::GetModeIndex(char const* name) const {
    uint32_t mode = 0;
    return name != nullptr && FindModeName(name, &mode) ? mode : 0;
}

unsigned int ParameterSetManager::GetSubModeIndex(unsigned short mode, char const* name) const {
    uint32_t sub = 0;
    return name != nullptr && FindSubModeName(mode, name, &sub) ? sub : 0;
}

bool ParameterSetManager::GetModeShorthand(char const* modes, char* shorthand, unsigned int size) {
    return TranslateSteps(modes, shorthand, size, WriteShorthand);
}

bool ParameterSetManager::GetDialinModesString(char const* paths, char* modes,
                                               unsigned int size) const {
    return TranslateSteps(paths, modes, size, WriteNames);
}

// ---- Values of modules ----

template <typename Operation>
bool ParameterSetManager::WithModule(TuningMode const* branch, unsigned int count,
                                     char const* module, bool writes, Operation operation) {
    if (branch == nullptr || count == 0 || module == nullptr || module[0] == '\0') {
        return false;
    }
    char name[kMaxName];
    const unsigned int length = ParameterUtils::GetSubString(module, '.', name, sizeof name);
    char const* path = module[length] == '.' ? module + length + 1 : "";
    ReadAccess access = {{m_treeLock, true}, {}};
    LoadPath(access, branch, count, name);
    ParameterModule* found = m_rootMode != nullptr ? SelectModule(name, branch, count) : nullptr;
    if (found == nullptr) {
        return false;
    }
    if (!access.modules) {
        access.modules.emplace(m_moduleLock, !writes);
    }
    return operation(*found, path);
}

bool ParameterSetManager::GetValue(TuningMode const* branch, unsigned int count, char const* module,
                                   char const* variable, char* value, unsigned int size) {
    if (value == nullptr || size == 0) {
        return false;
    }
    value[0] = '\0';
    return WithModule(branch, count, module, false, [&](ParameterModule& found, char const* path) {
        if (variable == nullptr || variable[0] == '\0') {
            return WriteAll(found, path, value, size);
        }
        char whole[kMaxName];
        return JoinPath(whole, sizeof whole, path, variable) && found.GetValue(whole, value, size);
    });
}

bool ParameterSetManager::SetValue(TuningMode const* branch, unsigned int count, char const* module,
                                   char const* variable, char const* value) {
    if (variable == nullptr || variable[0] == '\0' || value == nullptr || value[0] == '\0') {
        return false;
    }
    return WithModule(branch, count, module, true, [&](ParameterModule& found, char const* path) {
        char whole[kMaxName];
        return JoinPath(whole, sizeof whole, path, variable) && found.SetValue(whole, value);
    });
}

bool ParameterSetManager::GetInfo(TuningMode const* branch, unsigned int count, char const* module,
                                  PList<ParameterParserInfo>& list) {
    if (branch == nullptr || count == 0) {
        PARAMETER_LOG_ERROR(this, "GetInfo called with null or empty modeBranch\n");
        return false;
    }
    if (module != nullptr && module[0] != '\0') {
        return WithModule(
            branch, count, module, false,
            [&](ParameterModule& found, char const* path) { return found.GetInfo(path, list); });
    }
    const ParameterScopedLock tree(m_treeLock, true);
    if (m_rootMode == nullptr) {
        return false;
    }
    bool good = true;
    for (ModuleReference const& reference : m_rootMode->Resolve()->m_modules) {
        ModuleData const* data = reference.module->GetData();
        good = list.Add(ParameterParserInfo(reference.module->GetModuleType(), "Module",
                                            data != nullptr ? data->ModePath : nullptr)) &&
               good;
    }
    return good;
}

bool ParameterSetManager::GetValue(char const* modes, char const* module, char const* variable,
                                   char* value, unsigned int size) {
    PList<TuningMode> branch(8);
    return GetModeBranchFromPath(modes, branch) &&
           GetValue(branch.begin(), branch.Count(), module, variable, value, size);
}

bool ParameterSetManager::SetValue(char const* modes, char const* module, char const* variable,
                                   char const* value) {
    PList<TuningMode> branch(8);
    return GetModeBranchFromPath(modes, branch) &&
           SetValue(branch.begin(), branch.Count(), module, variable, value);
}

bool ParameterSetManager::GetInfo(char const* modes, char const* module,
                                  PList<ParameterParserInfo>& list) {
    PList<TuningMode> branch(8);
    GetModeBranchFromPath(modes, branch);
    return GetInfo(branch.begin(), branch.Count(), module, list);
}

// ---- Control and trigger values ----

bool ParameterSetManager::InsertValue(CTValues& list, ParameterCTValue const& value) {
    uint32_t at = 0;
    while (at < list.Count() && list[at].id < value.id) {
        ++at;
    }
    if (at < list.Count() && list[at].id == value.id) {
        list[at] = value;
        return true;
    }
    return list.Insert(at, value);
}

bool ParameterSetManager::SetValues(CTValues& list, ParameterCTValue const* values,
                                    unsigned int count) {
    const ParameterScopedLock lock(m_controlLock, false);
    list.Clear();
    bool good = values != nullptr || count == 0;
    for (unsigned int i = 0; values != nullptr && i < count; ++i) {
        good = InsertValue(list, values[i]) && good;
    }
    return good;
}

bool ParameterSetManager::SetValues(CTValues& list, char const* values) {
    const ParameterScopedLock lock(m_controlLock, false);
    list.Clear();
    bool good = values != nullptr;
    while (values != nullptr && *values != '\0') {
        char record[kMaxRecord];
        const unsigned int length =
            ParameterUtils::GetSubString(values, ',', record, sizeof record);
        ParameterCTValue value;
        const bool readable = length < sizeof record && value.FromString(record);
        good = readable && InsertValue(list, value) && good;
        values += length;
        values += *values == ',' ? 1 : 0;
    }
    return good;
}

bool ParameterSetManager::FindValue(CTValues const& list, unsigned int id,
                                    ParameterCTValue& value) {
    const ParameterScopedLock lock(m_controlLock, true);
    for (ParameterCTValue const& entry : list) {
        if (entry.id == id) {
            value = entry;
            return true;
        }
    }
    return false;
}

bool ParameterSetManager::CopyValues(CTValues const& list, CTValues& values) {
    const ParameterScopedLock lock(m_controlLock, true);
    values.Clear();
    bool good = true;
    for (ParameterCTValue const& entry : list) {
        good = values.Add(entry) && good;
    }
    return good;
}

bool ParameterSetManager::WriteValues(CTValues const& list, char* values, unsigned int size) {
    const ParameterScopedLock lock(m_controlLock, true);
    TextWriter writer(values, size);
    for (ParameterCTValue const& entry : list) {
        char record[kMaxRecord];
        if (!entry.ToString(record, sizeof record)) {
            return false;
        }
        writer.Add(writer.Empty() ? "" : ",");
        writer.Add(record);
    }
    return writer.Good();
}

bool ParameterSetManager::SetControlValue(ParameterCTValue const& value) {
    const ParameterScopedLock lock(m_controlLock, false);
    return InsertValue(m_controlValues, value);
}
bool ParameterSetManager::SetControlValues(ParameterCTValue const* values, unsigned int count) {
    return SetValues(m_controlValues, values, count);
}
bool ParameterSetManager::SetControlValues(PList<ParameterCTValue> const& values) {
    return SetValues(m_controlValues, values.begin(), values.Count());
}
bool ParameterSetManager::SetControlValues(char const* values) {
    return SetValues(m_controlValues, values);
}
bool ParameterSetManager::GetControlValue(unsigned int id, ParameterCTValue& value) {
    return FindValue(m_controlValues, id, value);
}
bool ParameterSetManager::GetControlValues(PList<ParameterCTValue>& values) {
    return CopyValues(m_controlValues, values);
}
bool ParameterSetManager::GetControlValues(char* values, unsigned int size) {
    return WriteValues(m_controlValues, values, size);
}
bool ParameterSetManager::SetTriggerValue(ParameterCTValue const& value) {
    const ParameterScopedLock lock(m_controlLock, false);
    return InsertValue(m_triggerValues, value);
}
bool ParameterSetManager::SetTriggerValues(ParameterCTValue const* values, unsigned int count) {
    return SetValues(m_triggerValues, values, count);
}
bool ParameterSetManager::SetTriggerValues(PList<ParameterCTValue> const& values) {
    return SetValues(m_triggerValues, values.begin(), values.Count());
}
bool ParameterSetManager::SetTriggerValues(char const* values) {
    return SetValues(m_triggerValues, values);
}
bool ParameterSetManager::GetTriggerValue(unsigned int id, ParameterCTValue& value) {
    return FindValue(m_triggerValues, id, value);
}
bool ParameterSetManager::GetTriggerValues(PList<ParameterCTValue>& values) {
    return CopyValues(m_triggerValues, values);
}
bool ParameterSetManager::GetTriggerValues(char* values, unsigned int size) {
    return WriteValues(m_triggerValues, values, size);
}
