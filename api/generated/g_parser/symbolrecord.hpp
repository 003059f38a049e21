// SPDX-License-Identifier: Apache-2.0
/// @file symbolrecord.hpp
/// One record of the symbol table or of the data table, as it lies in the file.
#pragma once

#include "steadywarp/tuning/parameterfilesymboltable.h"

/// The fields of a record; those that it does not have are 0, its name is empty then.
struct SymbolRecord {
    static constexpr uint32_t kNoMode = 0xFFFFFFFF;

    uint32_t id = 0;
    char const* name = "";  // in the record: 32 characters, or less with a nul behind them
    VersionUnion version;
    uint32_t modeId = 0;
    uint32_t dataOffset = 0;
    uint32_t dataSize = 0;
    uint32_t duplicateId = 0;  // its ID where the format has none
    bool whole = true;
};

/// One field of a record at hand.
template <typename T>
T RecordField(unsigned char const* record, uint8_t at) {
    T value;
    std::memcpy(&value, record + at, sizeof value);
    return value;
}

/// Take the fields out of a record that is there as a whole.
inline SymbolRecord DecodeSymbolRecord(ParameterRecordLayout const& layout,
                                       unsigned char const* bytes) {
    SymbolRecord record;
    record.id = RecordField<uint32_t>(bytes, 0);
    if (layout.isModule) {
        record.name = reinterpret_cast<char const*>(bytes + layout.name);
        record.version = RecordField<VersionUnion>(bytes, layout.version);
        record.modeId = RecordField<uint32_t>(bytes, layout.modeId);
    }
    record.dataOffset = RecordField<uint32_t>(bytes, layout.dataOffset);
    record.dataSize = RecordField<uint32_t>(bytes, layout.dataSize);
    record.duplicateId = RecordField<uint32_t>(bytes, layout.duplicateId);
    return record;
}

/// As ReadSymbolRecord(), for a record that ends too early.
SymbolRecord ReadCutRecord(ParameterRecordLayout layout, unsigned char const* buffer,
                           unsigned int length, unsigned int* pos, IParameterLoggingAPI* logger);

/// Read the record at `*pos`, which ends up behind it. One that is cut short has a line in the log,
/// and 0 in the fields from there on.
inline SymbolRecord ReadSymbolRecord(ParameterRecordLayout const& layout,
                                     unsigned char const* buffer, unsigned int length,
                                     unsigned int* pos, IParameterLoggingAPI* logger) {
    const unsigned int start = *pos;
    if (buffer == nullptr || uint64_t{start} + layout.end > length) [[unlikely]] {
        return ReadCutRecord(layout, buffer, length, pos, logger);
    }
    *pos = start + layout.stride;
    return DecodeSymbolRecord(layout, buffer + start);
}
