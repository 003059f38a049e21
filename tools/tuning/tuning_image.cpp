// SPDX-License-Identifier: Apache-2.0
#include "tuning_image.hpp"

#include <algorithm>
#include <set>

namespace tuning {
namespace {

constexpr char kTag[] = "ZBR Tessaline Header";
constexpr size_t kMinFile = 320;
constexpr size_t kLongestLinkChain = 64;  // readers follow no more

class Writer {
  public:
    explicit Writer(uint32_t alignment) : m_alignment(alignment) {}
    void Number(uint64_t value, size_t width) {
        for (size_t i = 0; i < width; ++i) {
            bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
    }
    void Aligned(uint64_t value, size_t width) {
        Number(value, width);
        Zeroes(width < m_alignment ? m_alignment - width : 0);
    }
    void Text(const std::string& text, size_t width) {
        for (size_t i = 0; i < width; ++i) {
            bytes.push_back(i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0});
        }
    }
    void Zeroes(size_t count) { bytes.insert(bytes.end(), count, 0); }
    Bytes bytes;

  private:
    uint32_t m_alignment;
};

uint64_t VersionNumber(const FileVersion& version) {
    return uint64_t{version.major} | uint64_t{version.minor} << 16 | uint64_t{version.patch} << 32;
}

// What the section's size counts for a record, which for aligned files is more than it takes.
size_t SymbolStride(const FileVersion& version) {
    if (AlignmentOf(version) == 8) {
        return 76;
    }
    return version > FileVersion{3, 0, 1} ? 60 : version == FileVersion{3, 0, 1} ? 56 : 64;
}

size_t ModeStride(const FileVersion& version) {
    if (AlignmentOf(version) == 8) {
        return version < FileVersion{2, 0, 0} ? 24 : 32;
    }
    return version < FileVersion{3, 0, 1} ? 16 : version < FileVersion{5, 0, 0} ? 20 : 24;
}

Bytes EncodeSymbols(const Image& image) {
    Writer out(AlignmentOf(image.version));
    for (const SymbolRow& row : image.symbols) {
        out.Aligned(row.id, 4);
        out.Text(row.type, 32);
        out.Aligned(VersionNumber(row.version), 8);
        if (AlignmentOf(image.version) == 1 && image.version < FileVersion{3, 0, 1}) {
            out.Zeroes(8);
        }
        out.Aligned(row.mode_id, 4);
        out.Aligned(row.data_offset, 4);
        out.Aligned(row.data_size, 4);
        if (HasDuplicates(image.version)) {
            out.Aligned(row.duplicate_id, 4);
        }
    }
    out.bytes.resize(SymbolStride(image.version) * image.symbols.size());
    return out.bytes;
}

Bytes EncodeDataRows(const Image& image) {
    Writer out(1);
    for (const DataRow& row : image.data_rows) {
        out.Number(row.id, 4);
        out.Number(row.data_offset, 4);
        out.Number(row.data_size, 4);
        out.Number(row.duplicate_id, 4);
    }
    return out.bytes;
}

Bytes EncodeModes(const Image& image) {
    Writer out(AlignmentOf(image.version));
    if (HasDataTable(image.version)) {
        out.Text(image.mode_table_name, 32);
    }
    for (const ModeRow& row : image.modes) {
        out.Aligned(row.id, 4);
        out.Aligned(uint64_t{row.mode} | uint64_t{row.sub_mode} << 16, 8);
        out.Aligned(row.parent, 4);
        if (image.version >= FileVersion{2, 0, 0}) {
            out.Aligned(row.link, 4);
        }
        if (image.version >= FileVersion{5, 0, 0}) {
            out.Aligned(row.flags, 4);
        }
    }
    return out.bytes;
}

struct SectionRow {
    uint32_t type;
    Bytes bytes;
};

// Reads numbers at any offset; past the end of the file it notes a finding once and gives 0.
class Reader {
  public:
    Reader(const Bytes& file, std::vector<Finding>* findings)
        : m_file(file), m_findings(findings) {}
    uint64_t Number(uint64_t* at, size_t width, size_t step) {
        uint64_t value = 0;
        if (!Has(*at, width)) {
            return 0;
        }
        for (size_t i = 0; i < width; ++i) {
            value |= uint64_t{m_file[*at + i]} << (8 * i);
        }
        *at += std::max(step, width);
        return value;
    }
    uint32_t U32(uint64_t* at, size_t step = 4) {
        return static_cast<uint32_t>(Number(at, 4, step));
    }
    FileVersion Version(uint64_t* at) {
        const uint64_t value = Number(at, 8, 8);
        return {static_cast<uint16_t>(value), static_cast<uint16_t>(value >> 16),
                static_cast<uint32_t>(value >> 32)};
    }
    std::string Text(uint64_t* at, size_t width) {
        if (!Has(*at, width)) {
            return "";
        }
        const auto begin = m_file.begin() + static_cast<std::ptrdiff_t>(*at);
        const auto end = begin + static_cast<std::ptrdiff_t>(width);
        *at += width;
        return std::string(begin, std::find(begin, end, 0));
    }
    bool Has(uint64_t at, uint64_t width) {
        if (at + width <= m_file.size()) {
            return true;
        }
        if (!m_short) {
            Note(at, "the file ends here, " + std::to_string(width) + " more bytes were expected");
        }
        m_short = true;
        return false;
    }
    bool Short() const { return m_short; }
    void Note(uint64_t at, std::string text) { m_findings->push_back({at, std::move(text)}); }

  private:
    const Bytes& m_file;
    std::vector<Finding>* m_findings;
    bool m_short = false;
};

struct SectionPlace {
    uint64_t record = 0;  // where the section table names it
    uint32_t offset = 0;
    uint32_t size = 0;
};

uint32_t CountRows(Reader& in, const SectionPlace& place, size_t head, size_t stride,
                   uint64_t file_size, const char* name) {
    if (place.offset == 0 || place.size == 0) {
        return 0;
    }
    if (uint64_t{place.offset} + place.size > file_size) {
        in.Note(place.record, std::string(name) + " passes the end of the file");
        return 0;
    }
    if (place.size < head || (place.size - head) % stride != 0) {
        in.Note(place.record, std::string(name) + " of " + std::to_string(place.size) +
                                  " bytes does not hold whole records of " +
                                  std::to_string(stride));
        return 0;
    }
    return static_cast<uint32_t>((place.size - head) / stride);
}

void CheckPayload(Reader& in, uint64_t at, const SectionPlace& data, uint32_t offset,
                  uint32_t size) {
    if (uint64_t{offset} + size > data.size) {
        in.Note(at, "payload of " + std::to_string(size) + " bytes at " + std::to_string(offset) +
                        " passes the end of the data section");
    }
}

void CheckId(Reader& in, uint64_t at, uint32_t id, uint32_t count, std::set<uint32_t>& seen) {
    if (id == 0 || id > count) {
        in.Note(at, "ID " + std::to_string(id) + " is out of range 1 to " + std::to_string(count));
    } else if (!seen.insert(id).second) {
        in.Note(at, "ID " + std::to_string(id) + " is used twice");
    }
}

void DecodeSymbols(Reader& in, const SectionPlace& place, const SectionPlace& data, uint32_t count,
                   Image* image) {
    const size_t step = AlignmentOf(image->version);
    std::set<uint32_t> seen;
    uint64_t at = place.offset;
    for (uint32_t i = 0; i < count && !in.Short(); ++i) {
        const uint64_t begin = at;
        SymbolRow row;
        row.id = in.U32(&at, step);
        row.type = in.Text(&at, 32);
        row.version = in.Version(&at);
        at += step == 1 && image->version < FileVersion{3, 0, 1} ? 8 : 0;
        row.mode_id = in.U32(&at, step);
        row.data_offset = in.U32(&at, step);
        row.data_size = in.U32(&at, step);
        row.duplicate_id = HasDuplicates(image->version) ? in.U32(&at, step) : row.id;
        CheckId(in, begin, row.id, count, seen);
        CheckPayload(in, begin, data, row.data_offset, row.data_size);
        if (row.duplicate_id == 0 || row.duplicate_id > count) {
            in.Note(begin, "DuplicateID " + std::to_string(row.duplicate_id) + " names no record");
        }
        image->symbols.push_back(row);
    }
}

void DecodeDataRows(Reader& in, const SectionPlace& place, const SectionPlace& data, uint32_t count,
                    Image* image) {
    std::set<uint32_t> seen;
    uint64_t at = place.offset;
    for (uint32_t i = 0; i < count && !in.Short(); ++i) {
        const uint64_t begin = at;
        const uint32_t id = in.U32(&at);
        const uint32_t offset = in.U32(&at);
        const uint32_t size = in.U32(&at);
        const uint32_t duplicate = in.U32(&at);
        CheckId(in, begin, id, count, seen);
        CheckPayload(in, begin, data, offset, size);
        if (duplicate == 0 || duplicate > count) {
            in.Note(begin, "DuplicateID " + std::to_string(duplicate) + " names no record");
        }
        image->data_rows.push_back({id, offset, size, duplicate});
    }
}

void DecodeModes(Reader& in, const SectionPlace& place, size_t head, uint32_t count, Image* image) {
    const size_t step = AlignmentOf(image->version);
    uint64_t at = place.offset;
    if (head > 0 && count > 0) {
        image->mode_table_name = in.Text(&at, head);
    }
    std::vector<bool> filled(count);
    for (uint32_t i = 0; i < count && !in.Short(); ++i) {
        const uint64_t begin = at;
        ModeRow row;
        row.id = in.U32(&at, step);
        const uint64_t mode = in.Number(&at, 8, 8);
        row.mode = static_cast<uint16_t>(mode);
        row.sub_mode = static_cast<uint16_t>(mode >> 16);
        row.parent = in.U32(&at, step);
        row.link = image->version >= FileVersion{2, 0, 0} ? in.U32(&at, step) : kNone;
        row.flags = image->version >= FileVersion{5, 0, 0} ? in.U32(&at, step) : 0;
        if (row.id >= count || row.parent >= count || (row.link >= count && row.link != kNone)) {
            in.Note(begin, "a mode, parent or link number is not below " + std::to_string(count));
        } else {
            if (filled[row.id]) {
                in.Note(begin, "mode " + std::to_string(row.id) + " is stored twice");
            }
            if (row.parent != row.id && !filled[row.parent]) {
                in.Note(begin, "the parent of mode " + std::to_string(row.id) + " comes later");
            }
            filled[row.id] = true;
        }
        image->modes.push_back(row);
    }
}

void CheckReferences(Reader& in, const Image& image, uint64_t symbols_at) {
    const size_t count = image.has_mode_table ? image.modes.size() : 1;
    for (const SymbolRow& row : image.symbols) {
        if (row.mode_id != kNone && row.mode_id >= count) {
            in.Note(symbols_at, "record " + std::to_string(row.id) + " names mode " +
                                    std::to_string(row.mode_id) + ", which is not there");
        }
    }
    for (const ModeRow& row : image.modes) {
        uint32_t link = row.link;
        size_t steps = 0;
        while (link < image.modes.size() && steps <= kLongestLinkChain) {
            link = image.modes[link].link;
            ++steps;
        }
        if (steps > kLongestLinkChain) {
            in.Note(symbols_at, "the links of mode " + std::to_string(row.id) +
                                    " do not end within " + std::to_string(kLongestLinkChain) +
                                    " modes");
        }
    }
}

void DecodeSections(Reader& in, const Bytes& file, uint64_t at, uint32_t count, Image* image) {
    const size_t step = AlignmentOf(image->version);
    SectionPlace places[4];
    for (uint32_t i = 0; i < count && !in.Short(); ++i) {
        SectionPlace place;
        place.record = at;
        const uint32_t type = in.U32(&at, step);
        place.offset = in.U32(&at, step);
        place.size = in.U32(&at, step);
        if (type > 3) {
            in.Note(place.record, "section type " + std::to_string(type) + " does not exist");
            continue;
        }
        places[type] = place;
    }
    const SectionPlace& data = places[1];
    image->has_mode_table = places[2].offset != 0 && places[2].size != 0;
    image->has_data_table = places[3].offset != 0 && places[3].size != 0;
    if (uint64_t{data.offset} + data.size > file.size()) {
        in.Note(data.record, "data section passes the end of the file");
    } else {
        image->data.assign(file.begin() + data.offset, file.begin() + data.offset + data.size);
    }
    const size_t head = HasDataTable(image->version) ? 32 : 0;
    DecodeSymbols(
        in, places[0], data,
        CountRows(in, places[0], 0, SymbolStride(image->version), file.size(), "symbol table"),
        image);
    DecodeDataRows(in, places[3], data, CountRows(in, places[3], 0, 16, file.size(), "data table"),
                   image);
    DecodeModes(
        in, places[2], head,
        CountRows(in, places[2], head, ModeStride(image->version), file.size(), "mode table"),
        image);
    CheckReferences(in, *image, places[0].offset);
}

}  // namespace

uint32_t AlignmentOf(const FileVersion& version) {
    return version >= FileVersion{1, 1, 0} && version < FileVersion{3, 0, 1} ? 8 : 1;
}
bool HasDuplicates(const FileVersion& version) {
    return version > FileVersion{3, 0, 1};
}
bool HasDataTable(const FileVersion& version) {
    return version >= FileVersion{4, 0, 0};
}

uint32_t Crc32(const uint8_t* bytes, size_t count) {
    uint32_t crc = 0xFFFFFFFF;
    for (size_t i = 0; i < count; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320u : 0u);
        }
    }
    return ~crc;
}

void MendCrc(Bytes* file) {
    if (file->size() < 4) {
        return;
    }
    const size_t end = file->size() - 4;
    const uint32_t crc = Crc32(file->data(), end);
    for (size_t i = 0; i < 4; ++i) {
        (*file)[end + i] = static_cast<uint8_t>(crc >> (8 * i));
    }
}

Bytes Encode(const Image& image) {
    std::vector<SectionRow> sections;
    sections.push_back({0, EncodeSymbols(image)});
    sections.push_back({1, image.data});
    if (image.has_mode_table) {
        sections.push_back({2, EncodeModes(image)});
    }
    if (image.has_data_table) {
        sections.push_back({3, EncodeDataRows(image)});
    }
    Writer out(AlignmentOf(image.version));
    out.Text(kTag, 28);
    out.Number(0, 4);  // the file's length, known at the end
    out.Number(VersionNumber(image.version), 8);
    if (image.version >= FileVersion{1, 0, 2}) {
        out.Text(image.tool, 48);
        out.Text(image.tag, 64);
    }
    if (image.version >= FileVersion{3, 0, 0}) {
        out.Number(image.flags, 8);
    }
    out.Number(out.bytes.size() + 8, 4);
    out.Number(sections.size(), 4);
    const size_t field = std::max<size_t>(4, AlignmentOf(image.version));
    size_t offset = out.bytes.size() + sections.size() * 3 * field;
    // The data comes last, so that a table record read with the stride of another never meets the
    // end of the file.
    const size_t order[] = {0, 3, 2, 1};
    std::vector<size_t> offsets(sections.size());
    for (const size_t i : order) {
        if (i < sections.size()) {
            offsets[i] = offset;
            offset += sections[i].bytes.size();
        }
    }
    for (size_t i = 0; i < sections.size(); ++i) {
        out.Aligned(sections[i].type, 4);
        out.Aligned(offsets[i], 4);
        out.Aligned(sections[i].bytes.size(), 4);
    }
    for (const size_t i : order) {
        if (i < sections.size()) {
            out.bytes.insert(out.bytes.end(), sections[i].bytes.begin(), sections[i].bytes.end());
        }
    }
    out.Zeroes(out.bytes.size() + 4 < kMinFile ? kMinFile - 4 - out.bytes.size() : 0);
    out.Zeroes(4);
    for (size_t i = 0; i < 4; ++i) {
        out.bytes[28 + i] = static_cast<uint8_t>(out.bytes.size() >> (8 * i));
    }
    MendCrc(&out.bytes);
    return out.bytes;
}

Image Decode(const Bytes& file, std::vector<Finding>* findings) {
    Image image;
    Reader in(file, findings);
    uint64_t at = 0;
    if (in.Text(&at, 28) != kTag) {
        in.Note(0, std::string("the file does not begin with \"") + kTag + "\"");
        return image;
    }
    const uint32_t size = in.U32(&at);
    if (size > file.size()) {
        in.Note(28, "binary size " + std::to_string(size) + " is above the file's length of " +
                        std::to_string(file.size()));
    }
    image.version = in.Version(&at);
    if (image.version > FileVersion{5, 0, 0}) {
        in.Note(32, "the version is above 5.0.0");
        return image;
    }
    if (image.version >= FileVersion{1, 0, 2}) {
        image.tool = in.Text(&at, 48);
        image.tag = in.Text(&at, 64);
    }
    const uint64_t flags_at = at;
    image.flags = image.version >= FileVersion{3, 0, 0} ? in.Number(&at, 8, 8) : 0;
    if ((image.flags & 2) != 0) {
        in.Note(flags_at, "the file is compressed, which no reader supports any more");
    }
    const uint64_t table_at = at;
    const uint32_t table = in.U32(&at);
    const uint32_t count = in.U32(&at);
    if (count < 2 || count > 4) {
        in.Note(table_at + 4, std::to_string(count) + " sections; 2 to 4 are allowed");
        return image;
    }
    if (file.size() < 5 ||
        Crc32(file.data(), file.size() - 4) !=
            (file[file.size() - 4] | file[file.size() - 3] << 8 | file[file.size() - 2] << 16 |
             static_cast<uint32_t>(file[file.size() - 1]) << 24)) {
        in.Note(file.size() < 4 ? 0 : file.size() - 4, "the CRC does not match");
    }
    if (!in.Short()) {
        DecodeSections(in, file, table, count, &image);
    }
    return image;
}

}  // namespace tuning
