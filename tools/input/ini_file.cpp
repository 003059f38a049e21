// SPDX-License-Identifier: Apache-2.0
#include "input/ini_file.hpp"

#include <set>

#include "input/text_file.hpp"

namespace steadywarp::tool {

Result<std::vector<IniEntry>> parse_ini(std::string_view text, const std::string& path) {
    std::vector<IniEntry> entries;
    std::set<std::string> seen;
    std::string section;
    LineCursor cursor(text);
    while (cursor.next()) {
        const std::string_view line = trim(cursor.line().substr(0, cursor.line().find(';')));
        if (line.empty()) {
            continue;
        }
        if (line.front() == '[' && line.back() == ']') {
            section = trim(line.substr(1, line.size() - 2));
            continue;
        }
        const size_t equals = line.find('=');
        const std::string key(trim(line.substr(0, equals)));
        if (equals == std::string_view::npos || key.empty()) {
            return Fault{path, cursor.number(),
                         "expected [section] or key = value, found " + quoted(line)};
        }
        if (!seen.insert(section + '\n' + key).second) {
            return Fault{path, cursor.number(),
                         "expected the key " + quoted(key) + " once in its section"};
        }
        entries.push_back(
            {section, key, std::string(trim(line.substr(equals + 1))), cursor.number()});
    }
    return entries;
}

}  // namespace steadywarp::tool
