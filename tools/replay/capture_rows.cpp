// SPDX-License-Identifier: Apache-2.0
#include "replay/capture_rows.hpp"

#include <algorithm>
#include <charconv>

namespace steadywarp::tool {
namespace {

/// Three times the widest row that a capture has.
constexpr size_t kLongestRow = 1 << 20;

template <class T>
std::optional<T> parse_integer(std::string_view cell) {
    T value{};
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    if (error != std::errc() || end != cell.data() + cell.size() || cell.empty()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

const std::string CaptureRows::kNoPath;

std::optional<std::string_view> CaptureRow::remark(std::string_view name) const {
    for (const auto& [key, value] : remarks_) {
        if (key == name) {
            return value;
        }
    }
    return std::nullopt;
}

CaptureRows::CaptureRows(std::string_view text, const std::string& path)
    : path_(&path), rest_(text) {}

Fault CaptureRows::fault(std::string expected) const {
    return {*path_, has_row_ ? row_.line_ : std::max<uint64_t>(number_, 1), std::move(expected)};
}

bool CaptureRows::next_line(std::optional<Fault>& problem) {
    while (!rest_.empty()) {
        ++number_;
        // A file can be of any size, and need not have a single line end.
        const size_t end = rest_.substr(0, kLongestRow).find('\n');
        if (end == std::string_view::npos) {
            problem =
                fault(rest_.size() > kLongestRow
                          ? "expected a row of at most " + std::to_string(kLongestRow) + " bytes"
                          : "expected a whole row; the file ends within it");
            return false;
        }
        line_ = trim(rest_.substr(0, end));
        rest_.remove_prefix(end + 1);
        if (!line_.empty()) {
            return true;
        }
    }
    return false;
}

std::optional<Fault> CaptureRows::open() {
    if (path_ == &kNoPath) {
        return std::nullopt;
    }
    std::optional<Fault> problem;
    if (!next_line(problem) || !line_.starts_with(';')) {
        return Fault{*path_, 1,
                     "expected a capture: a header behind a semicolon, found " +
                         quoted(problem ? rest_.substr(0, kLongestRow) : line_)};
    }
    return next();
}

std::optional<Fault> CaptureRows::next() {
    has_row_ = false;
    std::optional<Fault> problem;
    while (next_line(problem)) {
        if (!line_.starts_with(';')) {
            return parse();
        }
    }
    return problem;
}

std::optional<Fault> CaptureRows::parse() {
    row_.line_ = number_;
    row_.cells_ = split(line_, ',');
    row_.remarks_.clear();
    if (row_.cells_.back().empty()) {
        row_.cells_.pop_back();
    }
    if (!row_.cells_.empty() && row_.cells_.back().find('=') != std::string_view::npos) {
        for (const std::string_view word : split_blanks(row_.cells_.back())) {
            const size_t equals = word.find('=');
            if (equals == std::string_view::npos) {
                return fault("expected remarks name=value, found " + quoted(word));
            }
            row_.remarks_.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        }
        row_.cells_.pop_back();
    }
    const auto id = row_.cells_.empty() ? std::nullopt : parse_u32(row_.cells_.front());
    if (!id) {
        return fault("expected a frame number, found " +
                     quoted(row_.cells_.empty() ? "" : row_.cells_.front()));
    }
    row_.frame_id_ = *id;
    has_row_ = true;
    return std::nullopt;
}

void CellReader::refuse(std::string expected) {
    if (!fault_) {
        fault_ = rows_.fault(std::move(expected));
    }
}

void CellReader::refuse_cell(const char* what, const char* kind, std::string_view cell) {
    refuse(std::string("expected ") + what + " as " + kind + ", found " + quoted(cell));
}

std::string_view CellReader::cell(const char* what) {
    if (fault_) {
        return {};
    }
    if (left() == 0) {
        refuse(std::string("expected ") + what + " behind " + std::to_string(at_) + " cells");
        return {};
    }
    return row_.cells()[at_++];
}

uint32_t CellReader::u32(const char* what) {
    const std::string_view text = cell(what);
    const auto value = parse_u32(text);
    if (!value) {
        refuse_cell(what, "an integer from 0 to 4294967295", text);
    }
    return fault_ ? 0 : *value;
}

uint64_t CellReader::u64(const char* what) {
    const std::string_view text = cell(what);
    const auto value = parse_integer<uint64_t>(text);
    if (!value) {
        refuse_cell(what, "an integer from 0 to 18446744073709551615", text);
    }
    return fault_ ? 0 : *value;
}

double CellReader::real(const char* what) {
    const std::string_view text = cell(what);
    const auto value = parse_any_number(text);
    if (!value) {
        refuse_cell(what, "a number", text);
    }
    return fault_ ? 0.0 : *value;
}

bool CellReader::flag(const char* what) {
    const std::string_view text = cell(what);
    if (text != "0" && text != "1") {
        refuse_cell(what, "0 or 1", text);
    }
    return text == "1";
}

void CellReader::expect_end() {
    if (!fault_ && left() != 0) {
        refuse("expected " + std::to_string(at_) + " cells, found " +
               std::to_string(row_.cells().size()));
    }
}

std::optional<std::vector<uint64_t>> parse_hex_words(std::string_view text, size_t digits) {
    std::vector<uint64_t> words;
    while (!text.empty()) {
        if (text.size() < digits) {
            return std::nullopt;
        }
        uint64_t word = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + digits, word, 16);
        if (error != std::errc() || end != text.data() + digits) {
            return std::nullopt;
        }
        words.push_back(word);
        text.remove_prefix(digits);
        if (!text.empty()) {
            if (text.front() != ':' || text.size() == 1) {
                return std::nullopt;
            }
            text.remove_prefix(1);
        }
    }
    return words;
}

std::optional<double> parse_any_number(std::string_view cell) {
    double value = 0.0;
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    if (error != std::errc() || end != cell.data() + cell.size() || cell.empty()) {
        return std::nullopt;
    }
    return value;
}

std::string fixed_text(double value, int decimals) {
    char digits[400];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), value,
                                      std::chars_format::fixed, decimals);
    return {digits, result.ptr};
}

}  // namespace steadywarp::tool
