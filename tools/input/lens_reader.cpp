// SPDX-License-Identifier: Apache-2.0
#include "input/lens_reader.hpp"

#include <algorithm>

#include "input/text_file.hpp"

namespace steadywarp::tool {

Result<std::vector<LensSample>> parse_lens_log(std::string_view text, const std::string& path,
                                               std::string_view header) {
    LineCursor cursor(text);
    if (!cursor.next() || split(cursor.line(), ',') != split(header, ',')) {
        return Fault{
            path, std::max<uint64_t>(cursor.number(), 1),
            "expected the header " + std::string(header) + ", found " + quoted(cursor.line())};
    }
    std::vector<LensSample> out;
    while (cursor.next()) {
        const auto cells = split(cursor.line(), ',');
        const auto t_us = parse_i64(cells[0]);
        const auto first = cells.size() == 3 ? parse_number(cells[1]) : std::nullopt;
        const auto second = cells.size() == 3 ? parse_number(cells[2]) : std::nullopt;
        if (!t_us || *t_us < -kLatestTime || *t_us > kLatestTime || !first || !second) {
            return Fault{
                path, cursor.number(),
                "expected a time in microseconds and two numbers, found " + quoted(cursor.line())};
        }
        if (!out.empty() && *t_us <= out.back().t_us) {
            return Fault{path, cursor.number(), "expected a time after that of the row before"};
        }
        out.push_back({*t_us, {*first, *second}});
    }
    if (out.empty()) {
        return Fault{path, cursor.number(), "expected at least one row ahead of the end"};
    }
    return out;
}

Result<std::vector<LensSample>> read_lens_log(const std::string& path, std::string_view header) {
    const Result<std::string> text = read_file(path);
    if (!text.ok()) {
        return text.fault();
    }
    return parse_lens_log(text.value(), path, header);
}

}  // namespace steadywarp::tool
