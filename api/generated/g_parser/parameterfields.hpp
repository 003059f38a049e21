// SPDX-License-Identifier: Apache-2.0
/// @file parameterfields.hpp
/// Access to the memory of a field by its descriptor.
#pragma once

#include <cstring>

#include "steadywarp/tuning/parameterstructure.h"

template <typename T>
void Store(unsigned char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

template <typename T>
T Fetch(unsigned char const* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

inline void StorePointer(unsigned char* values, ParameterFieldDescriptor const& field,
                         void* object) {
    Store(values + field.pointer, object);
}

inline void* LoadPointer(unsigned char const* values, ParameterFieldDescriptor const& field) {
    return Fetch<void*>(values + field.pointer);
}

/// Bytes of a scalar, in memory and on file alike; 0 for what is none.
inline size_t ScalarSize(ParameterKind kind) {
    switch (kind) {
        case ParameterKind::UInt8:
            return 1;
        case ParameterKind::UInt16:
            return 2;
        case ParameterKind::Int64:
        case ParameterKind::UInt64:
            return 8;
        case ParameterKind::String:
        case ParameterKind::Structure:
            return 0;
        default:
            return 4;
    }
}

/// Bytes of one element in memory.
inline size_t ElementSize(ParameterFieldDescriptor const& field) {
    return field.kind == ParameterKind::Structure ? field.structure->size : ScalarSize(field.kind);
}

/// Least bytes of one element on file.
inline size_t LeastBytes(ParameterFieldDescriptor const& field) {
    return field.kind == ParameterKind::Structure ? field.structure->leastBytes
                                                  : ScalarSize(field.kind);
}

/// Tell whether a table of these is read as one extent; enumerators are checked one by one.
inline bool HasPlainElements(ParameterFieldDescriptor const& field) {
    return field.kind != ParameterKind::Structure && field.kind != ParameterKind::Enum;
}

/// Number of elements at hand.
inline uint32_t CountOf(unsigned char const* values, ParameterFieldDescriptor const& field) {
    switch (field.shape) {
        case ParameterShape::Table:
            return field.elements;
        case ParameterShape::Array:
            return LoadPointer(values, field) != nullptr ? Fetch<uint32_t>(values + field.offset)
                                                         : 0;
        default:
            return 1;
    }
}

/// The first element.
inline unsigned char* ElementsOf(unsigned char* values, ParameterFieldDescriptor const& field) {
    return field.shape == ParameterShape::Array
               ? static_cast<unsigned char*>(LoadPointer(values, field))
               : values + field.offset;
}
