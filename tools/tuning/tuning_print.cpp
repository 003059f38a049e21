// SPDX-License-Identifier: Apache-2.0
// From tables back to a description.
#include <cstdio>
#include <map>

#include "tuning_description.hpp"
#include "tuning_names.hpp"

namespace tuning {
namespace {

std::string Quote(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", byte);
            out += escape;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string VersionText(const FileVersion& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

std::string PayloadText(const Image& image, uint32_t offset, uint32_t size) {
    if (uint64_t{offset} + size > image.data.size()) {
        return "\"\"  # the payload passes the end of the data section";
    }
    return "\"" + Hex(image.data.data() + offset, size) + "\"";
}

// How the modes of a file are called in its description.
class ModeCalls {
  public:
    explicit ModeCalls(const Image& image) {
        for (const ModeRow& row : image.modes) {
            std::string path = StepName(row);
            // A path that a description cannot hold begins anew below a parent by number.
            const bool below = row.parent < m_paths.size() &&
                               m_paths[row.parent].size() + 1 + path.size() <= kLongestPath;
            if (below) {
                path = m_paths[row.parent] + "|" + path;
            }
            m_below.push_back(below);
            ++m_uses[path];
            m_paths.push_back(std::move(path));
        }
    }
    const std::string& Path(size_t mode) const { return m_paths[mode]; }
    // The path if it is the only one of its name, else the number.
    std::string Text(uint32_t mode) const {
        return IsUnique(mode) ? Quote(m_paths[mode]) : std::to_string(mode);
    }
    // Whether the parent follows from the path.
    bool TellsParent(const ModeRow& row, size_t mode) const {
        return row.parent == row.id || (m_below[mode] && IsUnique(row.parent));
    }

  private:
    bool IsUnique(uint32_t mode) const {
        return mode < m_paths.size() && m_uses.at(m_paths[mode]) == 1;
    }
    std::vector<std::string> m_paths;
    std::vector<bool> m_below;
    std::map<std::string, size_t> m_uses;
};

}  // namespace

std::string PrintDescription(const Image& image) {
    std::string out = "format-version = \"" + VersionText(image.version) + "\"\n";
    out += "tool = " + Quote(image.tool) + "\ntag = " + Quote(image.tag) + "\n";
    if (!image.mode_table_name.empty()) {
        out += "mode-table-name = " + Quote(image.mode_table_name) + "\n";
    }
    bool pointed = false;
    for (const SymbolRow& row : image.symbols) {
        pointed = pointed || row.mode_id == kNone;
    }
    if (pointed && HasDataTable(image.version) && !image.has_data_table) {
        out += "data-table = false\n";
    }
    const ModeCalls calls(image);
    for (size_t i = 0; i < image.modes.size(); ++i) {
        const ModeRow& row = image.modes[i];
        out += "\n[[mode]]\npath = " + Quote(calls.Path(i)) + "\n";
        if (!calls.TellsParent(row, i)) {
            out += "parent = " + std::to_string(row.parent) + "\n";
        }
        out += row.link != kNone ? "link = " + calls.Text(row.link) + "\n" : "";
        out += (row.flags & 1) != 0 ? "resident = true\n" : "";
    }
    for (const SymbolRow& row : image.symbols) {
        if (row.mode_id == kNone) {
            continue;
        }
        out += "\n[[module]]\ntype = " + Quote(row.type) + "\nversion = \"" +
               VersionText(row.version) + "\"\n";
        out += image.has_mode_table ? "mode = " + calls.Text(row.mode_id) + "\n" : "";
        out += "payload = " + PayloadText(image, row.data_offset, row.data_size) + "\n";
    }
    for (const DataRow& row : image.data_rows) {
        out += "\n[[data]]  # ID " + std::to_string(row.id) +
               "\npayload = " + PayloadText(image, row.data_offset, row.data_size) + "\n";
    }
    for (const SymbolRow& row : image.symbols) {
        if (row.mode_id == kNone) {
            out += "\n[[data]]  # ID " + std::to_string(row.id) +
                   "\npayload = " + PayloadText(image, row.data_offset, row.data_size) + "\n";
        }
    }
    return out;
}

}  // namespace tuning
