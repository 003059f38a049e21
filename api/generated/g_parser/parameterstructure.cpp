// SPDX-License-Identifier: Apache-2.0
// Payload to structure and back to nothing. Paths are in parameterstructure_values.cpp.
#include "steadywarp/tuning/parameterstructure.h"

#include <algorithm>

#include "parameterfields.hpp"
#include "parameterlogging.hpp"
#include "steadywarp/tuning/parameterfilesymboltable.h"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

using Descriptor = ParameterStructureDescriptor;
using Field = ParameterFieldDescriptor;

// No honest module comes near it; a hostile one whose pointers lead many times to one payload, over
// several levels, would take all memory.
constexpr uint64_t kMostBytes = uint64_t{1} << 28;

// One payload and the structure that it fills.
class Loader {
  public:
    // `bytesLeft` is what the whole load may still put behind pointers.
    Loader(Descriptor const& descriptor, ParameterFileSymbolTableEntry* entry,
           unsigned char alignment, uint64_t& bytesLeft)
        : m_descriptor(descriptor),
          m_entry(*entry),
          m_alignment(alignment),
          m_bytesLeft(bytesLeft) {}

    bool Load(unsigned char* values) {
        std::memset(values + m_descriptor.kept, 0, m_descriptor.size - m_descriptor.kept);
        for (uint32_t i = 0; i < m_descriptor.fieldCount; ++i) {
            if (!LoadField(values, i)) {
                return false;
            }
        }
        return true;
    }

  private:
    bool LoadField(unsigned char* values, uint32_t index) {
        Field const& field = m_descriptor.fields[index];
        if (field.shape == ParameterShape::Array) {
            return LoadArray(values, index);
        }
        if (field.kind == ParameterKind::String) {
            return LoadString(values, field);
        }
        const uint32_t elements = field.shape == ParameterShape::Table ? field.elements : 1;
        return LoadElements(m_entry, field, values + field.offset, elements);
    }

    bool LoadElements(ParameterFileSymbolTableEntry& source, Field const& field,
                      unsigned char* first, uint32_t count) {
        const size_t size = ElementSize(field);
        if (field.shape == ParameterShape::Table && HasPlainElements(field)) {
            return source.ReadBuffer(first, static_cast<unsigned int>(count * size), m_alignment);
        }
        for (uint32_t i = 0; i < count; ++i) {
            if (!LoadElement(source, field, first + i * size)) {
                return false;
            }
        }
        return true;
    }

    bool LoadElement(ParameterFileSymbolTableEntry& source, Field const& field,
                     unsigned char* element) {
        switch (field.kind) {
            case ParameterKind::Structure:
                return Loader(*field.structure, &source, m_alignment, m_bytesLeft).Load(element);
            case ParameterKind::Enum:
                return LoadEnum(source, *field.enumeration, element);
            case ParameterKind::UInt8:
                return LoadScalar<uint8_t>(source, element);
            case ParameterKind::UInt16:
                return LoadScalar<uint16_t>(source, element);
            case ParameterKind::Int64:
            case ParameterKind::UInt64:
                return LoadScalar<uint64_t>(source, element);
            default:
                return LoadScalar<uint32_t>(source, element);
        }
    }

    template <typename T>
    bool LoadScalar(ParameterFileSymbolTableEntry& source, unsigned char* element) {
        T value = 0;
        const bool good = source.ReadScalar(value, m_alignment);
        Store(element, value);
        return good;
    }

    bool LoadEnum(ParameterFileSymbolTableEntry& source, ParameterEnumDescriptor const& enumeration,
                  unsigned char* element) {
        uint32_t value = 0;
        const bool good = ParameterReadEnum(enumeration, value, &source, m_alignment);
        Store(element, value);
        return good;
    }

    bool FollowPointer(ParameterFileSymbolTableEntry& target) {
        ParameterFileSymbolTable* table = m_entry.GetTable();
        if (table != nullptr && table->ReadPointerEntry(target, &m_entry, m_alignment)) {
            return true;
        }
        PARAMETER_LOG_ERROR(m_entry.GetLogger(), "Failed to read symbol table entry\n");
        return false;
    }

    bool LoadString(unsigned char* values, Field const& field) {
        uint32_t length = 0;
        ParameterFileSymbolTableEntry target;
        if (!m_entry.ReadScalar(length, m_alignment) || !FollowPointer(target)) {
            return false;
        }
        char* text = nullptr;
        const bool good = Spend(field, std::min(length, target.GetSize())) &&
                          target.ReadString(&text, length, m_alignment);
        unsigned char* head = values + field.offset;
        Store(head, length);
        Store(head + sizeof length, length);
        Store(head + 2 * sizeof length, target.GetID());
        StorePointer(values, field, text);
        return good;
    }

    // Elements are offered to readers of equal payloads before they are parsed.
    bool LoadArray(unsigned char* values, uint32_t index) {
        Field const& field = m_descriptor.fields[index];
        uint32_t count = 0;
        ParameterFileSymbolTableEntry target;
        if (!m_entry.ReadScalar(count, m_alignment) || !FollowPointer(target)) {
            return false;
        }
        unsigned char* head = values + field.offset;
        Store(head + sizeof count, target.GetID());
        DupObjInfo const* shared = target.GetDupObject(count, m_descriptor.name, index);
        if (shared != nullptr && shared->Object != nullptr) {
            Store(head, count);
            StorePointer(values, field, shared->Object);
            return true;
        }
        if (count == 0) {
            return true;
        }
        auto* elements = static_cast<unsigned char*>(Allocate(field, target, count));
        if (elements == nullptr) {
            return false;
        }
        Store(head, count);
        StorePointer(values, field, elements);
        target.SetDupObject(elements, count, m_descriptor.name, index);
        return LoadElements(target, field, elements, count);
    }

    // A count that the payload cannot hold is a lie, and maybe too much to allocate.
    void* Allocate(Field const& field, ParameterFileSymbolTableEntry const& target,
                   uint32_t count) {
        const uint64_t least = uint64_t{count} * std::max<uint64_t>(LeastBytes(field), 1);
        if (least > target.GetSize()) {
            PARAMETER_LOG_ERROR(m_entry.GetLogger(),
                                "Failed to read %lld bytes from binary file offset %d, length %d\n",
                                static_cast<long long>(least), 0,
                                static_cast<int>(target.GetSize()));
            return nullptr;
        }
        if (!Spend(field, uint64_t{count} * ElementSize(field))) {
            return nullptr;
        }
        void* elements = target.GetTable()->AllocateObject(size_t{count} * ElementSize(field));
        if (elements == nullptr) {
            PARAMETER_LOG_ERROR(m_entry.GetLogger(), "Failed to allocate %s\n", field.name);
        }
        return elements;
    }

    bool Spend(Field const& field, uint64_t bytes) {
        if (bytes > m_bytesLeft) {
            PARAMETER_LOG_ERROR(m_entry.GetLogger(), "Failed to allocate %s\n", field.name);
            return false;
        }
        m_bytesLeft -= bytes;
        return true;
    }

    Descriptor const& m_descriptor;
    ParameterFileSymbolTableEntry& m_entry;
    unsigned char m_alignment;
    uint64_t& m_bytesLeft;
};

void UnloadElements(Field const& field, unsigned char* first, uint32_t count,
                    ParameterFileSymbolTable* table) {
    for (uint32_t i = 0; field.kind == ParameterKind::Structure && i < count; ++i) {
        ParameterUnload(*field.structure, first + size_t{i} * field.structure->size, table);
    }
}

// Whether others share an object is known from its release, and until then its elements stay.
void UnloadPointer(Field const& field, unsigned char* values, ParameterFileSymbolTable* table) {
    auto* elements = static_cast<unsigned char*>(LoadPointer(values, field));
    if (table != nullptr && table->ReleaseDupObject(elements)) {
        if (field.kind != ParameterKind::String) {
            UnloadElements(field, elements, CountOf(values, field), table);
        }
        table->FreeObject(elements);
    }
    StorePointer(values, field, nullptr);
}

constexpr ParameterFieldDescriptor kModuleVersionFields[] = {
    {"major_revision", nullptr, nullptr, offsetof(ParameterModuleVersion, major_revision), 0, 1,
     ParameterKind::Int32, ParameterShape::Single},
    {"minor_revision", nullptr, nullptr, offsetof(ParameterModuleVersion, minor_revision), 0, 1,
     ParameterKind::Int32, ParameterShape::Single},
    {"incr_revision", nullptr, nullptr, offsetof(ParameterModuleVersion, incr_revision), 0, 1,
     ParameterKind::Int32, ParameterShape::Single},
};

constexpr ParameterFieldDescriptor kParameterVersionFields[] = {
    {"revision", nullptr, nullptr, offsetof(ParameterParameterVersion, length),
     offsetof(ParameterParameterVersion, revision), 1, ParameterKind::String,
     ParameterShape::Single},
};

}  // namespace

const ParameterStructureDescriptor ParameterModuleVersion::kDescriptor = {
    "module_versionStruct", sizeof(ParameterModuleVersion), 0, 12, 3, kModuleVersionFields};
const ParameterStructureDescriptor ParameterParameterVersion::kDescriptor = {
    "parameter_versionStruct", sizeof(ParameterParameterVersion), 0, 8, 1, kParameterVersionFields};

bool ParameterLoad(ParameterStructureDescriptor const& descriptor, void* values,
                   ParameterFileSymbolTableEntry* entry, unsigned char alignment) {
    uint64_t bytesLeft = kMostBytes;
    return Loader(descriptor, entry, alignment, bytesLeft)
        .Load(static_cast<unsigned char*>(values));
}

void ParameterUnload(ParameterStructureDescriptor const& descriptor, void* values,
                     ParameterFileSymbolTable* table) {
    auto* bytes = static_cast<unsigned char*>(values);
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        Field const& field = descriptor.fields[i];
        if (field.shape == ParameterShape::Array || field.kind == ParameterKind::String) {
            UnloadPointer(field, bytes, table);
        } else {
            UnloadElements(field, bytes + field.offset,
                           field.shape == ParameterShape::Table ? field.elements : 1, table);
        }
    }
}

bool ParameterReadEnum(ParameterEnumDescriptor const& descriptor, uint32_t& value,
                       ParameterFileSymbolTableEntry* entry, unsigned char alignment) {
    bool ok = true;
    const uint32_t number = entry->ReadEnum(&ok, alignment);
    const bool known = descriptor.Contains(number);
    if (ok && !known) {
        PARAMETER_LOG_ERROR(entry->GetLogger(), "Invalid value(%u) converting UINT32 to %s\n",
                            number, descriptor.name);
    }
    value = ok && known ? number : 0;
    return ok;
}
