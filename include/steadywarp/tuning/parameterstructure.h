// SPDX-License-Identifier: Apache-2.0
/// @file parameterstructure.h
/// Value structures of modules: what describes them, and what all of them can do.
///
/// A structure is plain memory; its descriptor lists its fields in the order of the payload. One
/// walker, behind the functions here, reads, releases, prints and changes any structure by its
/// descriptor. Both come out of the build, from the tables in api/definitions.
///
/// In memory a string is u32 length, u32 count, u32 ID and a pointer; an array through a pointer is
/// u32 count, u32 ID and a pointer. On file both are the first number and the ID.
///
/// Paths are names joined by points, `general.table[3]`. None of the functions locks: the set
/// manager holds its module lock around them.
#pragma once

#include "steadywarp/tuning/parametertypes.h"

class ParameterFileSymbolTable;
class ParameterFileSymbolTableEntry;
struct ParameterStructureDescriptor;

/// What one element of a field is.
enum class ParameterKind : uint8_t {
    Int32,
    UInt32,
    Float,
    Boolean,  ///< u32, 0 or 1
    Enum,     ///< u32, one of the enumerators
    UInt16,
    UInt8,
    Int64,
    UInt64,
    String,
    Structure,
};

/// How the elements of a field lie.
enum class ParameterShape : uint8_t {
    Single,
    Table,  ///< a fixed number of elements in place; scalars are one extent of the payload
    Array,  ///< a number of elements told by the payload, behind a pointer
};

/// The values that an enumeration takes.
struct ParameterEnumDescriptor {
    char const* name;
    uint32_t const* values;
    uint32_t count;

    /// Tell whether an enumerator has this number.
    constexpr bool Contains(uint32_t value) const {
        for (uint32_t i = 0; i < count; ++i) {
            if (values[i] == value) {
                return true;
            }
        }
        return false;
    }
};

/// One field. Offsets are bytes from the structure's begin.
struct ParameterFieldDescriptor {
    char const* name;
    ParameterStructureDescriptor const* structure;  ///< of a Structure's elements
    ParameterEnumDescriptor const* enumeration;     ///< of an Enum's elements
    uint32_t offset;    ///< of the elements; of the first number of a string or an array
    uint32_t pointer;   ///< of the pointer of a string or an array
    uint32_t elements;  ///< of a Table
    ParameterKind kind;
    ParameterShape shape;
};

/// A structure and its fields.
struct ParameterStructureDescriptor {
    char const* name;     ///< with its namespace; says in the log which code built an object
    uint32_t size;        ///< in memory
    uint32_t kept;        ///< leading bytes that are not of the payload and outlive a load
    uint32_t leastBytes;  ///< of the payload, at alignment 1
    uint32_t fieldCount;
    ParameterFieldDescriptor const* fields;
};

/// @name The walker
/// `values` points at a structure that `descriptor` describes.
/// @{

/// Clear the structure, then read its fields. Stops at the first read that fails.
/// @return false if one did; what was read until then stays and is released by Unload.
STEADYWARP_API bool ParameterLoad(ParameterStructureDescriptor const& descriptor, void* values,
                                  ParameterFileSymbolTableEntry* entry, unsigned char alignment);
/// Give up everything behind pointers and clear them. Without a table nothing is freed.
STEADYWARP_API void ParameterUnload(ParameterStructureDescriptor const& descriptor, void* values,
                                    ParameterFileSymbolTable* table);
/// Write the scalar, string or table at a path; a table without a valid index as its elements
/// joined by ",", a string cut to the room. @return false, with an empty text, if the path leads to
/// none of them, the number is not finite, or there is too little room.
STEADYWARP_API bool ParameterGetValue(ParameterStructureDescriptor const& descriptor,
                                      void const* values, char const* path, char* value,
                                      unsigned int size);
/// Change the scalar at a path; fractions are cut where whole numbers are kept.
/// @return false if the path leads to no scalar or the number does not fit there.
STEADYWARP_API bool ParameterSetValue(ParameterStructureDescriptor const& descriptor, void* values,
                                      char const* path, char const* value);
/// Append an entry per field of the structure that a path leads to, or the one entry of a field
/// without fields of its own. @return false if the path leads nowhere or memory is exhausted.
STEADYWARP_API bool ParameterGetInfo(ParameterStructureDescriptor const& descriptor,
                                     void const* values, char const* path,
                                     PList<ParameterParserInfo>& list);
/// Read an enumerator. Another number is logged and gives 0.
/// @return false only if there was nothing to read.
STEADYWARP_API bool ParameterReadEnum(ParameterEnumDescriptor const& descriptor, uint32_t& value,
                                      ParameterFileSymbolTableEntry* entry,
                                      unsigned char alignment);
/// @}

/// What a driver record can do. Empty; `Type` derives from it and has a `kDescriptor`.
template <typename Type>
struct ParameterRecord {
    /// As ParameterLoad().
    bool Load(ParameterFileSymbolTableEntry* entry, unsigned char alignment) {
        return ParameterLoad(Type::kDescriptor, static_cast<Type*>(this), entry, alignment);
    }
    /// As ParameterUnload().
    void Unload(ParameterFileSymbolTable* table) {
        ParameterUnload(Type::kDescriptor, static_cast<Type*>(this), table);
    }
};

/// What a structure of a tuning module can do: a record whose values are reached by path.
template <typename Type>
struct ParameterStructure : ParameterRecord<Type> {
    /// As ParameterGetValue().
    bool GetValue(char const* path, char* value, unsigned int size) {
        return ParameterGetValue(Type::kDescriptor, static_cast<Type*>(this), path, value, size);
    }
    /// As ParameterSetValue().
    bool SetValue(char const* path, char const* value) {
        return ParameterSetValue(Type::kDescriptor, static_cast<Type*>(this), path, value);
    }
    /// As ParameterGetInfo().
    bool GetInfo(char const* path, PList<ParameterParserInfo>& list) {
        return ParameterGetInfo(Type::kDescriptor, static_cast<Type*>(this), path, list);
    }
};

/// Version of a module's definition, as its payload opens with. Compared to nothing.
struct ParameterModuleVersion : ParameterStructure<ParameterModuleVersion> {
    int32_t major_revision;
    int32_t minor_revision;
    int32_t incr_revision;
    STEADYWARP_API static const ParameterStructureDescriptor kDescriptor;
};
static_assert(sizeof(ParameterModuleVersion) == 12);

/// Name of the set of values that a payload holds.
struct ParameterParameterVersion : ParameterStructure<ParameterParameterVersion> {
    uint32_t length;  ///< of the text on file, its nul included
    uint32_t revisionCount;
    uint32_t revisionID;
    char* revision;
    STEADYWARP_API static const ParameterStructureDescriptor kDescriptor;
};
static_assert(sizeof(ParameterParameterVersion) == 24 || sizeof(void*) != 8);
