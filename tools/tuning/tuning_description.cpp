// SPDX-License-Identifier: Apache-2.0
#include "tuning_description.hpp"

#include "toml_letters.hpp"
#include "tuning_names.hpp"

#include <toml++/toml.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <stdexcept>

namespace tuning {
namespace {

constexpr size_t kLongestType = 32;
constexpr size_t kLongestTool = 48;
constexpr size_t kLongestTag = 64;
constexpr int kDeepestValue = 16;
constexpr int64_t kMostZeros = 1 << 24;

// Used inside this file only; ParseDescription() turns it into its error text.
struct Complaint : std::runtime_error {
    Complaint(const toml::node& node, const std::string& text)
        : std::runtime_error(text), line(node.source().begin.line) {}
    uint32_t line;
};

Bytes ParseHex(const toml::node& node) {
    const auto text = node.value<std::string>();
    Bytes bytes;
    int high = -1;
    for (const char c : text.value_or("?")) {
        if (c == ' ' || c == '\n' || c == '\t') {
            continue;
        }
        constexpr std::string_view kDigits = "0123456789abcdef";
        const size_t digit = kDigits.find(c >= 'A' ? static_cast<char>(c | 0x20) : c);
        if (digit == std::string_view::npos) {
            throw Complaint(node, "expected a text of hexadecimal digits");
        }
        const int value = static_cast<int>(digit);
        if (high >= 0) {
            bytes.push_back(static_cast<uint8_t>(high * 16 + value));
        }
        high = high >= 0 ? -1 : value;
    }
    if (high >= 0) {
        throw Complaint(node, "expected two hexadecimal digits for each byte");
    }
    return bytes;
}

std::string Text(const toml::table& table, const char* key, size_t longest,
                 const char* fallback = nullptr) {
    const toml::node* node = table.get(key);
    if (node == nullptr && fallback != nullptr) {
        return fallback;
    }
    if (node == nullptr || !node->is_string()) {
        throw Complaint(node != nullptr ? *node : table, std::string("expected a text for ") + key);
    }
    const std::string text = RevealBytes(node->value_or(std::string()));
    if (text.size() > longest) {
        throw Complaint(*node,
                        std::string(key) + " takes at most " + std::to_string(longest) + " bytes");
    }
    if (text.find('\0') != std::string::npos) {
        throw Complaint(*node, std::string(key) + " takes no zero bytes");
    }
    return text;
}

bool Flag(const toml::table& table, const char* key, bool fallback) {
    const toml::node* node = table.get(key);
    if (node != nullptr && !node->is_boolean()) {
        throw Complaint(*node, std::string("expected true or false for ") + key);
    }
    return node != nullptr ? node->value_or(fallback) : fallback;
}

FileVersion Version(const toml::table& table, const char* key, const char* fallback) {
    const auto version = ParseVersion(Text(table, key, 32, fallback));
    if (!version) {
        throw Complaint(table, std::string("expected a version such as \"1.3.0\" for ") + key);
    }
    return *version;
}

std::optional<uint16_t> Number16(const std::string& text) {
    uint16_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && !text.empty()
               ? std::optional(number)
               : std::nullopt;
}

// The last step of a path, by name or by number.
ModeRow ParseStep(const toml::node& node, const std::string& step) {
    ModeRow row;
    const size_t point = step.find('.');
    const std::string mode = step.substr(0, point);
    const std::string sub = point != std::string::npos ? step.substr(point + 1) : "0";
    const auto& names = ModeNames();
    size_t index = 0;
    while (index < names.size() && names[index].mode != mode) {
        ++index;
    }
    const auto number = index < names.size() ? static_cast<uint16_t>(index) : Number16(mode);
    auto sub_number = Number16(sub);
    for (uint16_t i = 0; number && *number < names.size() && i < names[*number].subs.size(); ++i) {
        sub_number = names[*number].subs[i] == sub ? i : sub_number;
    }
    if (!number || !sub_number) {
        throw Complaint(node, "no mode is called \"" + step + "\"");
    }
    row.mode = *number;
    row.sub_mode = *sub_number;
    return row;
}

// Collects payloads, stores equal ones once and numbers the records that pointers lead to.
class PayloadStore {
  public:
    struct Place {
        uint32_t offset = 0;
        uint32_t size = 0;
        uint32_t first = 0;  // number of the first record with this content, from 1
    };

    PayloadStore(const FileVersion& version, uint32_t first_data_id)
        : m_alignment(AlignmentOf(version)), m_firstDataId(first_data_id) {}

    // Lay a payload out behind those before it; equal ones of one kind share their bytes.
    Place Store(const Bytes& bytes, const std::string& kind, uint32_t number) {
        const auto [known, added] = m_places.try_emplace(
            {kind, bytes}, Place{0, static_cast<uint32_t>(bytes.size()), number});
        if (added) {
            known->second.offset = static_cast<uint32_t>(m_data.size());
            m_data.insert(m_data.end(), bytes.begin(), bytes.end());
            m_data.resize((m_data.size() + 3) / 4 * 4);
        }
        return known->second;
    }

    uint32_t AddDataRow(const Bytes& bytes) {
        m_pointed.push_back(bytes);
        return static_cast<uint32_t>(m_pointed.size()) - 1 + m_firstDataId;
    }

    // Lay out what pointers lead to, behind everything else, in the order of the IDs.
    std::vector<DataRow> StoreDataRows() {
        std::vector<DataRow> rows;
        for (const Bytes& bytes : m_pointed) {
            const auto id = static_cast<uint32_t>(rows.size()) + m_firstDataId;
            const Place place = Store(bytes, "", id);
            rows.push_back({id, place.offset, place.size, place.first});
        }
        return rows;
    }

    // Bytes of a payload. `key` tells equal contents although their pointers differ.
    Bytes Write(const toml::array& values, std::string* key, int depth) {
        Bytes bytes;
        if (depth > kDeepestValue) {
            throw Complaint(values, "values are nested too deep");
        }
        for (const toml::node& node : values) {
            const toml::table* value = node.as_table();
            if (value == nullptr || value->size() != 1) {
                throw Complaint(node, "expected a value such as { u32 = 1 }");
            }
            const std::string type(value->begin()->first.str());
            WriteValue(type, value->begin()->second, depth, &bytes, key);
        }
        return bytes;
    }

    // Take back the pointed payloads that were added since there were `count`.
    size_t CountDataRows() const { return m_pointed.size(); }
    void DropDataRows(size_t count) { m_pointed.resize(count); }

    Bytes TakeData() { return std::move(m_data); }

  private:
    void Append(Bytes* bytes, std::string* key, uint64_t value, size_t width, bool aligned) {
        for (size_t i = 0; i < width; ++i) {
            bytes->push_back(static_cast<uint8_t>(value >> (8 * i)));
            key->push_back(static_cast<char>(value >> (8 * i)));
        }
        if (aligned) {
            bytes->resize((bytes->size() + m_alignment - 1) / m_alignment * m_alignment);
        }
    }

    void WriteValue(const std::string& type, const toml::node& node, int depth, Bytes* bytes,
                    std::string* key) {
        if (type == "bytes") {
            const Bytes raw = ParseHex(node);
            bytes->insert(bytes->end(), raw.begin(), raw.end());
            key->append(raw.begin(), raw.end());
        } else if (type == "zeros") {
            const auto count = node.value_exact<int64_t>();
            if (!count || *count < 0 || *count > kMostZeros) {
                throw Complaint(node, "expected a number of bytes for zeros");
            }
            bytes->insert(bytes->end(), static_cast<size_t>(*count), 0);
            key->append(static_cast<size_t>(*count), '\0');
        } else if (type == "text") {
            const std::string text = RevealBytes(node.value_or(std::string()));
            Bytes target(text.begin(), text.end());
            target.push_back(0);
            Append(bytes, key, target.size(), 4, true);
            WritePointer(target, "t" + text, bytes, key);
        } else if (type == "array") {
            WriteArray(node, depth, bytes, key);
        } else if (const toml::array* list = node.as_array()) {
            for (const toml::node& element : *list) {
                WriteNumber(type, element, false, bytes, key);
            }
            bytes->resize((bytes->size() + m_alignment - 1) / m_alignment * m_alignment);
        } else {
            WriteNumber(type, node, true, bytes, key);
        }
    }

    // { array = [ [element values], [element values] ] }
    void WriteArray(const toml::node& node, int depth, Bytes* bytes, std::string* key) {
        const toml::array* elements = node.as_array();
        if (elements == nullptr) {
            throw Complaint(node, "expected a list of elements, each a list of values");
        }
        Append(bytes, key, elements->size(), 4, true);
        Bytes target;
        std::string target_key = "a";
        for (const toml::node& element : *elements) {
            const toml::array* values = element.as_array();
            if (values == nullptr) {
                throw Complaint(element, "expected a list of values");
            }
            const Bytes part = Write(*values, &target_key, depth + 1);
            target.insert(target.end(), part.begin(), part.end());
        }
        WritePointer(target, target_key, bytes, key);
    }

    // Equal contents share the bytes of the first, with the pointers in them.
    void WritePointer(const Bytes& target, const std::string& target_key, Bytes* bytes,
                      std::string* key) {
        const auto known = m_contents.try_emplace(target_key, target).first;
        const uint32_t id = AddDataRow(known->second);
        std::string ignored;
        Append(bytes, &ignored, id, 4, true);
        *key += "*" + std::to_string(target_key.size()) + ":" + target_key;
    }

    void WriteNumber(const std::string& type, const toml::node& node, bool aligned, Bytes* bytes,
                     std::string* key) {
        if (type == "f32" && node.is_number()) {
            const double wanted = node.value_or(0.0);
            if (std::isfinite(wanted) &&
                std::fabs(wanted) > static_cast<double>(std::numeric_limits<float>::max())) {
                throw Complaint(node, "the number does not fit in f32");
            }
            const auto value = static_cast<float>(wanted);
            uint32_t bits = 0;
            std::memcpy(&bits, &value, sizeof bits);
            Append(bytes, key, bits, 4, aligned);
            return;
        }
        static const std::map<std::string, std::pair<size_t, std::pair<int64_t, int64_t>>> kTypes =
            {{"u8", {1, {0, UINT8_MAX}}},
             {"u16", {2, {0, UINT16_MAX}}},
             {"u32", {4, {0, UINT32_MAX}}},
             {"i32", {4, {INT32_MIN, INT32_MAX}}},
             {"i64", {8, {INT64_MIN, INT64_MAX}}}};
        const auto known = kTypes.find(type);
        if (known == kTypes.end() || !node.is_integer()) {
            throw Complaint(node,
                            "expected a number for one of u8, u16, u32, i32, i64, f32, a "
                            "\"text\", \"bytes\" or an array");
        }
        const int64_t value = node.value_or(int64_t{0});
        const auto [width, range] = known->second;
        if (value < range.first || value > range.second) {
            throw Complaint(node, std::to_string(value) + " does not fit in " + type);
        }
        Append(bytes, key, static_cast<uint64_t>(value), width, aligned);
    }

    uint32_t m_alignment;
    uint32_t m_firstDataId;
    Bytes m_data;
    std::map<std::pair<std::string, Bytes>, Place> m_places;
    std::map<std::string, Bytes> m_contents;
    std::vector<Bytes> m_pointed;
};

class DescriptionParser {
  public:
    explicit DescriptionParser(const toml::table& root) : m_root(root) {}

    Image Parse(const std::optional<FileVersion>& version) {
        m_image.version = version ? *version : Version(m_root, "format-version", "5.0.0");
        m_image.tool = Text(m_root, "tool", kLongestTool, "steadywarp tuning build");
        m_image.tag = Text(m_root, "tag", kLongestTag, "");
        m_image.mode_table_name = Text(m_root, "mode-table-name", 32, "");
        ParseModes();
        ParseModules();
        return std::move(m_image);
    }

  private:
    const toml::array& List(const char* key) {
        static const toml::array kEmpty;
        const toml::node* node = m_root.get(key);
        if (node != nullptr && !node->is_array_of_tables()) {
            throw Complaint(*node, std::string("expected [[") + key + "]] tables");
        }
        return node != nullptr ? *node->as_array() : kEmpty;
    }

    // A mode is named by its path, or by its number where two modes have one path.
    uint32_t FindMode(const toml::node& node) {
        if (const auto number = node.value_exact<int64_t>()) {
            if (*number >= 0 && *number < static_cast<int64_t>(m_image.modes.size())) {
                return static_cast<uint32_t>(*number);
            }
        } else if (const auto found = m_paths.find(RevealBytes(node.value_or(std::string())));
                   found != m_paths.end()) {
            return found->second;
        }
        throw Complaint(node, "expected the path or the number of a [[mode]]");
    }

    void ParseModes() {
        const toml::array& list = List("mode");
        m_image.has_mode_table = !list.empty();
        for (const toml::node& node : list) {
            const toml::table& table = *node.as_table();
            const std::string path = Text(table, "path", kLongestPath);
            const size_t bar = path.rfind('|');
            ModeRow row = ParseStep(node, bar != std::string::npos ? path.substr(bar + 1) : path);
            row.id = static_cast<uint32_t>(m_image.modes.size());
            row.parent = row.id;
            if (const toml::node* parent = table.get("parent")) {
                row.parent = FindMode(*parent);
            } else if (bar != std::string::npos) {
                const auto found = m_paths.find(path.substr(0, bar));
                if (found == m_paths.end()) {
                    throw Complaint(
                        node, "expected a [[mode]] \"" + path.substr(0, bar) + "\" above this one");
                }
                row.parent = found->second;
            }
            row.flags = Flag(table, "resident", false) ? 1 : 0;
            m_image.modes.push_back(row);
            m_paths.try_emplace(path, row.id);
        }
        size_t index = 0;
        for (const toml::node& node : list) {
            if (const toml::node* link = node.as_table()->get("link")) {
                m_image.modes[index].link = FindMode(*link);
            }
            ++index;
        }
    }

    void ParseModules() {
        const toml::array& modules = List("module");
        const toml::array& data = List("data");
        m_image.has_data_table = HasDataTable(m_image.version) && Flag(m_root, "data-table", true);
        const auto first_data =
            static_cast<uint32_t>(m_image.has_data_table ? 1 : modules.size() + 1);
        PayloadStore store(m_image.version, first_data);
        for (const toml::node& node : modules) {
            ParseModule(*node.as_table(), &store);
        }
        for (const toml::node& node : data) {
            const toml::node* payload = node.as_table()->get("payload");
            if (payload == nullptr) {
                throw Complaint(node, "expected a payload");
            }
            store.AddDataRow(ParseHex(*payload));
        }
        for (const DataRow& row : store.StoreDataRows()) {
            if (m_image.has_data_table) {
                m_image.data_rows.push_back(row);
            } else {
                m_image.symbols.push_back({row.id,
                                           "",
                                           {0, 0, 0},
                                           kNone,
                                           row.data_offset,
                                           row.data_size,
                                           row.duplicate_id});
            }
        }
        m_image.has_data_table = m_image.has_data_table && !m_image.data_rows.empty();
        m_image.data = store.TakeData();
        if (m_image.data.empty()) {
            m_image.data.resize(4);  // a file without data would be read as one without modules
        }
    }

    void ParseModule(const toml::table& table, PayloadStore* store) {
        SymbolRow row;
        row.id = static_cast<uint32_t>(m_image.symbols.size()) + 1;
        row.type = Text(table, "type", kLongestType);
        row.version = Version(table, "version", "1.0.0");
        const toml::node* mode = table.get("mode");
        row.mode_id = mode != nullptr ? FindMode(*mode) : 0;
        const std::string kind =
            "m" + row.type +
            Hex(reinterpret_cast<const uint8_t*>(&row.version), sizeof row.version);
        Bytes bytes;
        if (const toml::node* payload = table.get("payload")) {
            bytes = ParseHex(*payload);
        } else if (const toml::node* values = table.get("values"); values && values->is_array()) {
            // A module with the content of an earlier one takes its bytes, pointers and all.
            const size_t rows = store->CountDataRows();
            std::string key;
            bytes = store->Write(*values->as_array(), &key, 0);
            const auto [known, added] = m_moduleContents.try_emplace(kind + key, bytes);
            if (!added) {
                store->DropDataRows(rows);
            }
            bytes = known->second;
        } else {
            throw Complaint(table, "expected values = [...] or payload = \"...\"");
        }
        const PayloadStore::Place place = store->Store(bytes, kind, row.id);
        row.data_offset = place.offset;
        row.data_size = place.size;
        row.duplicate_id = place.first;
        m_image.symbols.push_back(row);
    }

    const toml::table& m_root;
    Image m_image;
    std::map<std::string, uint32_t> m_paths;
    std::map<std::string, Bytes> m_moduleContents;
};

}  // namespace

std::optional<FileVersion> ParseVersion(const std::string& text) {
    FileVersion version;
    const char* end = text.data() + text.size();
    const auto major = std::from_chars(text.data(), end, version.major);
    if (major.ec != std::errc() || major.ptr == end || *major.ptr != '.') {
        return std::nullopt;
    }
    const auto minor = std::from_chars(major.ptr + 1, end, version.minor);
    if (minor.ec != std::errc() || minor.ptr == end || *minor.ptr != '.') {
        return std::nullopt;
    }
    const auto patch = std::from_chars(minor.ptr + 1, end, version.patch);
    return patch.ec == std::errc() && patch.ptr == end ? std::optional(version) : std::nullopt;
}

std::optional<Image> ParseDescription(const std::string& text, const std::string& name,
                                      const std::optional<FileVersion>& version,
                                      std::string* error) {
    try {
        const toml::table root = toml::parse(HideBytes(text), name);
        return DescriptionParser(root).Parse(version);
    } catch (const toml::parse_error& failure) {
        *error = name + ":" + std::to_string(failure.source().begin.line) + ": " +
                 RevealBytes(std::string(failure.description()));
    } catch (const Complaint& complaint) {
        *error = name + ":" + std::to_string(complaint.line) + ": " + complaint.what();
    }
    return std::nullopt;
}

}  // namespace tuning
