// SPDX-License-Identifier: Apache-2.0
#include "input/text_file.hpp"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace steadywarp::tool {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

template <class T>
std::optional<T> parse_all(std::string_view cell) {
    T value{};
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    if (error != std::errc() || end != cell.data() + cell.size() || cell.empty()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

Result<std::string> read_file(const std::string& path) {
    const auto cannot = [&path] {
        return Fault{path, 0, std::string("cannot be read: ") + std::strerror(errno)};
    };
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        return cannot();
    }
    std::string text;
    char chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file.get())) != 0) {
        text.append(chunk, got);
    }
    if (std::ferror(file.get()) != 0) {
        return cannot();
    }
    return text;
}

LineCursor::LineCursor(std::string_view text) : rest_(text) {
    if (rest_.starts_with(kByteOrderMark)) {
        rest_.remove_prefix(kByteOrderMark.size());
    }
}

bool LineCursor::next() {
    while (!rest_.empty()) {
        const size_t end = rest_.find('\n');
        line_ = trim(rest_.substr(0, end));
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        ++number_;
        if (!line_.empty()) {
            return true;
        }
    }
    return false;
}

std::string_view trim(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> split(std::string_view line, char separator) {
    std::vector<std::string_view> cells;
    for (;;) {
        const size_t end = line.find(separator);
        cells.push_back(trim(line.substr(0, end)));
        if (end == std::string_view::npos) {
            return cells;
        }
        line.remove_prefix(end + 1);
    }
}

std::vector<std::string_view> split_blanks(std::string_view line) {
    std::vector<std::string_view> cells;
    for (line = trim(line); !line.empty(); line = trim(line)) {
        const size_t end = std::min(line.find_first_of(kBlanks), line.size());
        cells.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
    return cells;
}

std::optional<int64_t> parse_i64(std::string_view cell) {
    return parse_all<int64_t>(cell);
}

std::optional<uint32_t> parse_u32(std::string_view cell) {
    return parse_all<uint32_t>(cell);
}

std::optional<double> parse_number(std::string_view cell) {
    const std::optional<double> value = parse_all<double>(cell);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::string printable(std::string_view text, size_t longest) {
    std::string out;
    for (const char c : text.substr(0, longest)) {
        out += c >= ' ' && c <= '~' ? c : '?';
    }
    return text.size() > longest ? out + "..." : out;
}

std::string quoted(std::string_view cell) {
    return "'" + printable(cell, 32) + "'";
}

}  // namespace steadywarp::tool
