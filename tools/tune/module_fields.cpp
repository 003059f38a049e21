// SPDX-License-Identifier: Apache-2.0
#include "module_fields.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace tune {
namespace {

constexpr std::array<std::string_view, 12> kTypes = {"Structure", "Int32",  "UInt32", "Float",
                                                     "Boolean",   "String", "Enum",   "UInt64",
                                                     "UInt16",    "Int64",  "UInt8",  "Module"};
constexpr int kDeepest = 32;  // levels; a service that tells more is not followed

std::optional<uint32_t> Number(std::string_view text) {
    uint32_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() ? std::optional(value)
                                                                           : std::nullopt;
}

// Cut what stands behind the last comma. @return nothing if there is none.
std::optional<std::string_view> CutLast(std::string_view& text) {
    const size_t comma = text.rfind(',');
    if (comma == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view last = text.substr(comma + 1);
    text = text.substr(0, comma);
    return last;
}

// @return nothing if the text is none, as the begin of one is whose value holds a semicolon.
std::optional<Entry> ParseEntry(std::string_view text) {
    Entry entry;
    std::optional<std::string_view> last = CutLast(text);
    entry.count = last ? Number(*last) : std::nullopt;
    if (entry.count) {
        last = CutLast(text);
    }
    if (!last || std::find(kTypes.begin(), kTypes.end(), *last) == kTypes.end()) {
        return std::nullopt;
    }
    entry.type = *last;
    const size_t equals = std::min(text.find('='), text.size());
    entry.name = text.substr(0, equals);
    entry.value = text.substr(std::min(equals + 1, text.size()));
    return entry;
}

std::string Element(const std::string& name, uint32_t index) {
    return name + "[" + std::to_string(index) + "]";
}

struct Visitor {
    Connection& connection;
    uint32_t longest;
    const std::function<void(const Entry&)>& visit;

    bool Run(const Place& place, const std::string& prefix, int depth) const {
        const std::vector<Entry> entries = place.Entries(connection);
        for (Entry entry : entries) {
            const std::string local = entry.name;
            entry.name = prefix + local;
            const uint32_t count = entry.count.value_or(1);
            if (!entry.IsStructure() || depth == kDeepest || count > longest) {
                visit(entry);
                continue;
            }
            for (uint32_t i = 0; i < count; ++i) {
                const std::string name = entry.count ? Element(local, i) : local;
                Run(place.Inside(name), prefix + name + ".", depth + 1);
            }
        }
        return !entries.empty();
    }
};

}  // namespace

std::vector<Entry> ParseEntries(const std::string& text) {
    std::vector<Entry> entries;
    for (size_t begin = 0, end = 0; begin < text.size() && end < text.size();) {
        end = std::min(text.find(';', end), text.size());
        if (auto entry = ParseEntry(std::string_view(text).substr(begin, end - begin))) {
            entries.push_back(std::move(*entry));
            begin = end + 1;
        }
        ++end;
    }
    return entries;
}

std::string Place::Text() const {
    return path + ":" + module + (at.empty() ? "" : "." + at);
}

std::vector<Entry> Place::Entries(Connection& connection) const {
    return ParseEntries(connection.Ask(kEntries, Text()));
}

std::string Place::Value(Connection& connection, const std::string& name) const {
    return connection.Ask(kGet, Text() + ":" + name);
}

Place Place::Inside(const std::string& name) const {
    return {path, module, at.empty() ? name : at + "." + name};
}

bool VisitFields(Connection& connection, const Place& place, uint32_t longest,
                 const std::function<void(const Entry&)>& visit) {
    return Visitor{connection, longest, visit}.Run(place, "", 0);
}

std::vector<std::string> Elements(Connection& connection, const Place& place,
                                  const std::string& name, uint32_t first, uint32_t end) {
    std::vector<std::string> values;
    for (uint32_t i = first; i < end; ++i) {
        values.push_back(place.Value(connection, Element(name, i)));
    }
    return values;
}

std::vector<std::string> Elements(Connection& connection, const Place& place, const Entry& array) {
    const std::string all = place.Value(connection, array.name);
    if (all.empty()) {
        return Elements(connection, place, array.name, 0, array.count.value_or(0));
    }
    std::vector<std::string> values;
    for (size_t begin = 0; begin <= all.size();) {
        const size_t end = std::min(all.find(',', begin), all.size());
        values.push_back(all.substr(begin, end - begin));
        begin = end + 1;
    }
    return values;
}

}  // namespace tune
