// SPDX-License-Identifier: Apache-2.0
// Fields by path: printing, changing and listing them.
#include <cmath>
#include <limits>

#include "parameterfields.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parameterstructure.h"
#include "steadywarp/tuning/parameterutils.h"

namespace {

using Descriptor = ParameterStructureDescriptor;
using Field = ParameterFieldDescriptor;

constexpr unsigned int kNameSize = 129;
constexpr uint32_t kNoIndex = UINT32_MAX;
constexpr unsigned int kFloatDecimals = 10;
// The longest float, 39 digits with a sign, and its decimals.
constexpr size_t kNumberSize = 64;

char const* WordOf(ParameterKind kind) {
    switch (kind) {
        case ParameterKind::Int32:
            return "Int32";
        case ParameterKind::UInt32:
            return "UInt32";
        case ParameterKind::Float:
            return "Float";
        case ParameterKind::Boolean:
            return "Boolean";
        case ParameterKind::Enum:
            return "Enum";
        case ParameterKind::UInt16:
            return "UInt16";
        case ParameterKind::UInt8:
            return "UInt8";
        case ParameterKind::Int64:
            return "Int64";
        case ParameterKind::UInt64:
            return "UInt64";
        case ParameterKind::String:
            return "String";
        case ParameterKind::Structure:
            return "Structure";
    }
    return "";
}

unsigned int DecimalsOf(ParameterKind kind) {
    return kind == ParameterKind::Float ? kFloatDecimals : 0;
}

double NumberAt(unsigned char const* element, ParameterKind kind) {
    switch (kind) {
        case ParameterKind::Int32:
            return Fetch<int32_t>(element);
        case ParameterKind::Float:
            return static_cast<double>(Fetch<float>(element));
        case ParameterKind::UInt16:
            return Fetch<uint16_t>(element);
        case ParameterKind::UInt8:
            return Fetch<uint8_t>(element);
        case ParameterKind::Int64:
            return static_cast<double>(Fetch<int64_t>(element));
        case ParameterKind::UInt64:
            return static_cast<double>(Fetch<uint64_t>(element));
        default:
            return Fetch<uint32_t>(element);
    }
}

// Store a number cut to T. @return false if it does not fit.
template <typename T>
bool StoreCut(unsigned char* element, double number) {
    const double whole = std::trunc(number);
    // The highest T plus one is a power of two, and exact.
    const double beyond = std::ldexp(1.0, std::numeric_limits<T>::digits);
    if (!(whole >= static_cast<double>(std::numeric_limits<T>::min()) && whole < beyond)) {
        return false;
    }
    Store(element, static_cast<T>(whole));
    return true;
}

bool StoreFloat(unsigned char* element, double number) {
    if (!(std::fabs(number) <= static_cast<double>(std::numeric_limits<float>::max()))) {
        return false;
    }
    Store(element, static_cast<float>(number));
    return true;
}

bool StoreEnum(ParameterEnumDescriptor const& enumeration, unsigned char* element, double number) {
    unsigned char stored[sizeof(uint32_t)];
    if (!StoreCut<uint32_t>(stored, number) || !enumeration.Contains(Fetch<uint32_t>(stored))) {
        return false;
    }
    std::memcpy(element, stored, sizeof stored);
    return true;
}

bool StoreNumber(Field const& field, unsigned char* element, double number) {
    switch (field.kind) {
        case ParameterKind::Int32:
            return StoreCut<int32_t>(element, number);
        case ParameterKind::UInt32:
        case ParameterKind::Boolean:
            return StoreCut<uint32_t>(element, number);
        case ParameterKind::Float:
            return StoreFloat(element, number);
        case ParameterKind::Enum:
            return StoreEnum(*field.enumeration, element, number);
        case ParameterKind::UInt16:
            return StoreCut<uint16_t>(element, number);
        case ParameterKind::UInt8:
            return StoreCut<uint8_t>(element, number);
        case ParameterKind::Int64:
            return StoreCut<int64_t>(element, number);
        case ParameterKind::UInt64:
            return StoreCut<uint64_t>(element, number);
        case ParameterKind::String:
        case ParameterKind::Structure:
            break;
    }
    return false;
}

// Where a path leads.
struct Place {
    Descriptor const* descriptor;
    unsigned char* values;
    Field const* field;  // NULL: the structure as a whole
    uint32_t index;      // kNoIndex: the field as a whole

    bool HasElement() const {
        return field != nullptr &&
               (field->shape == ParameterShape::Single || index < CountOf(values, *field));
    }
    unsigned char* Element() const {
        const uint32_t at = field->shape == ParameterShape::Single ? 0 : index;
        return ElementsOf(values, *field) + at * ElementSize(*field);
    }
};

// Walk down a path as far as it goes. @return false if it names a field that is not there.
bool FindPlace(Descriptor const& descriptor, void* values, char const* path, Place* place) {
    *place = {&descriptor, static_cast<unsigned char*>(values), nullptr, kNoIndex};
    while (path != nullptr && *path != '\0') {
        if (place->field != nullptr) {
            if (place->field->kind != ParameterKind::Structure || !place->HasElement()) {
                return false;
            }
            *place = {place->field->structure, place->Element(), nullptr, kNoIndex};
        }
        char name[kNameSize];
        place->index = kNoIndex;
        const unsigned int length =
            ParameterUtils::GetVariable(path, name, place->index, sizeof name);
        if (length == 0) {
            return false;
        }
        path += length;
        for (uint32_t i = 0; i < place->descriptor->fieldCount; ++i) {
            Field const& field = place->descriptor->fields[i];
            place->field = std::strcmp(field.name, name) == 0 ? &field : place->field;
        }
        if (place->field == nullptr) {
            return false;
        }
    }
    return path != nullptr;
}

bool PrintNumber(Place const& place, char* value, unsigned int size) {
    bool ok = false;
    ParameterUtils::DoubleToString(NumberAt(place.Element(), place.field->kind), value, size,
                                   DecimalsOf(place.field->kind), ok);
    return ok;
}

// A number that is not finite leaves its place between the commas empty.
bool PrintAll(Place place, char* value, unsigned int size) {
    size_t used = 0;
    const uint32_t count = CountOf(place.values, *place.field);
    for (place.index = 0; place.index < count; ++place.index) {
        char number[kNumberSize] = ",";
        PrintNumber(place, number + 1, sizeof number - 1);
        char const* part = place.index > 0 ? number : number + 1;
        const size_t length = std::strlen(part);
        if (used + length >= size) {
            value[0] = '\0';
            return false;
        }
        std::memcpy(value + used, part, length + 1);
        used += length;
    }
    return true;
}

bool AddElement(Place const& place, PList<ParameterParserInfo>& list) {
    const ParameterKind kind = place.field->kind;
    return list.Add(
        {place.field->name, WordOf(kind), NumberAt(place.Element(), kind), DecimalsOf(kind)});
}

// The entry of a field as a whole.
bool AddField(Place const& place, PList<ParameterParserInfo>& list) {
    Field const& field = *place.field;
    char const* word = WordOf(field.kind);
    if (field.shape != ParameterShape::Single) {
        return list.Add({field.name, word, true, false, CountOf(place.values, field)});
    }
    if (field.kind == ParameterKind::Structure) {
        return list.Add({field.name, word});
    }
    if (field.kind == ParameterKind::String) {
        return list.Add(
            {field.name, word, static_cast<char const*>(LoadPointer(place.values, field))});
    }
    return AddElement(place, list);
}

bool AddFields(Descriptor const& descriptor, unsigned char* values,
               PList<ParameterParserInfo>& list) {
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        if (!AddField({&descriptor, values, &descriptor.fields[i], kNoIndex}, list)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool ParameterGetValue(ParameterStructureDescriptor const& descriptor, void const* values,
                       char const* path, char* value, unsigned int size) {
    if (value == nullptr || size == 0) {
        return false;
    }
    value[0] = '\0';
    Place place;
    if (!FindPlace(descriptor, const_cast<void*>(values), path, &place) || place.field == nullptr ||
        place.field->kind == ParameterKind::Structure) {
        return false;
    }
    if (place.field->kind == ParameterKind::String) {
        auto const* text = static_cast<char const*>(LoadPointer(place.values, *place.field));
        if (text != nullptr) {
            Zelm::OsUtils::StrLCpy(value, text, size);
        }
        return text != nullptr;
    }
    return place.HasElement() ? PrintNumber(place, value, size) : PrintAll(place, value, size);
}

bool ParameterSetValue(ParameterStructureDescriptor const& descriptor, void* values,
                       char const* path, char const* value) {
    bool ok = false;
    const double number = ParameterUtils::StringToDouble(value, ok);
    Place place;
    return ok && FindPlace(descriptor, values, path, &place) && place.HasElement() &&
           StoreNumber(*place.field, place.Element(), number);
}

bool ParameterGetInfo(ParameterStructureDescriptor const& descriptor, void const* values,
                      char const* path, PList<ParameterParserInfo>& list) {
    Place place;
    if (!FindPlace(descriptor, const_cast<void*>(values), path, &place)) {
        return false;
    }
    if (place.field == nullptr) {
        return AddFields(descriptor, place.values, list);
    }
    if (place.field->kind == ParameterKind::Structure && place.HasElement()) {
        return AddFields(*place.field->structure, place.Element(), list);
    }
    if (place.field->kind == ParameterKind::String || !place.HasElement()) {
        return AddField(place, list);
    }
    return AddElement(place, list);
}
