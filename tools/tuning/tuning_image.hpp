// SPDX-License-Identifier: Apache-2.0
/// @file tuning_image.hpp
/// The bytes of a tuning file, written and read record by record.
///
/// Written from the format alone and sharing no code with the library, so that each can be held
/// against the other. Records are stored as they are given, honest or not: tests need both.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tuning {

using Bytes = std::vector<uint8_t>;

struct FileVersion {
    uint16_t major = 5;
    uint16_t minor = 0;
    uint32_t patch = 0;
    auto operator<=>(const FileVersion&) const = default;
};

inline constexpr uint32_t kNone = 0xFFFFFFFF;

struct ModeRow {
    uint32_t id = 0;
    uint16_t mode = 0;
    uint16_t sub_mode = 0;
    uint32_t parent = 0;
    uint32_t link = kNone;
    uint32_t flags = 0;  ///< bit 0: the mode stays loaded
};

/// A record of the symbol table.
struct SymbolRow {
    uint32_t id = 0;
    std::string type;
    FileVersion version;
    uint32_t mode_id = kNone;
    uint32_t data_offset = 0;
    uint32_t data_size = 0;
    uint32_t duplicate_id = 0;
};

/// A record of the data table.
struct DataRow {
    uint32_t id = 0;
    uint32_t data_offset = 0;
    uint32_t data_size = 0;
    uint32_t duplicate_id = 0;
};

/// A tuning file, table by table.
struct Image {
    FileVersion version;
    std::string tool;
    std::string tag;
    uint64_t flags = 0;
    bool has_mode_table = true;
    std::string mode_table_name;
    bool has_data_table = true;
    std::vector<ModeRow> modes;
    std::vector<SymbolRow> symbols;
    std::vector<DataRow> data_rows;
    Bytes data;
};

/// Fields take at least this many bytes from the section table on; 1 or 8.
uint32_t AlignmentOf(const FileVersion& version);
/// Whether a record of this version says whose payload it shares.
bool HasDuplicates(const FileVersion& version);
bool HasDataTable(const FileVersion& version);

/// CRC-32 of ISO 3309, bit by bit.
uint32_t Crc32(const uint8_t* bytes, size_t count);
/// Make the last four bytes of a file right again.
void MendCrc(Bytes* file);

/// Lay a file out: header, section table, symbol table, data table, mode table, data, CRC. A file
/// is padded to the 320 bytes that reading from disk needs.
Bytes Encode(const Image& image);

/// One thing that is wrong with a file, and the offset in bytes where it shows.
struct Finding {
    uint64_t offset = 0;
    std::string text;
};

/// Read a file as far as it goes and list what is wrong. @return the parts that could be read.
Image Decode(const Bytes& file, std::vector<Finding>* findings);

}  // namespace tuning
