// SPDX-License-Identifier: Apache-2.0
#include "symbolrecord.hpp"

#include <algorithm>

#include "parameterlogging.hpp"

namespace {

constexpr uint8_t kReservedField = 8;

}  // namespace

ParameterRecordLayout::ParameterRecordLayout(VersionUnion const& fileVersion,
                                             unsigned char alignment, bool ofModule)
    : isModule(ofModule) {
    const auto place = [&](uint8_t size) {
        const uint8_t at = stride;
        fields[fieldCount++] = {at, size};
        end = static_cast<uint8_t>(at + size);
        stride = static_cast<uint8_t>(at + std::max(size, alignment));
        return at;
    };
    place(sizeof(uint32_t));  // the ID
    if (isModule) {
        name = place(kNameField);
        version = place(sizeof(VersionUnion));
        if (alignment == 1 && fileVersion < ParameterFileVersions::kPackedMin) {
            place(kReservedField);
        }
        modeId = place(sizeof(uint32_t));
    }
    dataOffset = place(sizeof(uint32_t));
    dataSize = place(sizeof(uint32_t));
    if (fileVersion > ParameterFileVersions::kPackedMin) {
        duplicateId = place(sizeof(uint32_t));
    }
}

SymbolRecord ReadCutRecord(ParameterRecordLayout layout, unsigned char const* buffer,
                           unsigned int length, unsigned int* pos, IParameterLoggingAPI* logger) {
    const uint64_t left = buffer != nullptr && *pos < length ? length - *pos : 0;
    ParameterRecordLayout::Field const* cut = layout.fields;
    while (cut->at + uint64_t{cut->size} <= left) {
        ++cut;
    }
    unsigned char bytes[ParameterRecordLayout::kLongest] = {};
    if (cut->at > 0) {
        std::memcpy(bytes, buffer + *pos, cut->at);
    }
    SymbolRecord record = DecodeSymbolRecord(layout, bytes);
    record.whole = false;
    const bool named = layout.isModule && cut->at >= layout.name + layout.kNameField;
    record.name = named ? reinterpret_cast<char const*>(buffer) + *pos + layout.name : "";
    *pos += cut->at;
    PARAMETER_LOG_ERROR(logger, "Failed to read %lld bytes from binary file offset %d, length %d\n",
                        static_cast<long long>(cut->size), static_cast<int>(*pos),
                        static_cast<int>(length));
    return record;
}
