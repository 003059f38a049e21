// SPDX-License-Identifier: Apache-2.0
/// @file symbolrecord.hpp
/// One record of the symbol table or of the data table, as it lies in the file.
#pragma once

#include "steadywarp/tuning/parametermodule.h"

/// The fields of a record; those that it does not have are 0, the name is zero behind its text.
struct SymbolRecord {
    static constexpr uint32_t kNoMode = 0xFFFFFFFF;

    uint32_t id = 0;
    char name[ModuleData::kTypeSize] = {};
    VersionUnion version;
    uint32_t modeId = 0;
    uint32_t dataOffset = 0;
    uint32_t dataSize = 0;
    uint32_t duplicateId = 0;  // its ID where the format has none
};

/// How the records of a table lie.
struct SymbolRecordFormat {
    VersionUnion version;  ///< of the file
    unsigned char alignment;
    bool isModule;  ///< of the symbol table
};

/// Read the record at `*pos`, which ends up behind it.
/// @return false, with a line in the log and 0 in the fields from there on, if it is cut short.
bool ReadSymbolRecord(SymbolRecordFormat const& format, unsigned char const* buffer,
                      unsigned int length, unsigned int* pos, IParameterLoggingAPI* logger,
                      SymbolRecord& record);
