// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <map>

#include "input/gyro_rows.hpp"
#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

/// A value of the head and the line it stands on.
struct HeadValue {
    std::string_view value;
    uint64_t line;
};
using Head = std::map<std::string_view, HeadValue>;

/// What the head of a log tells about its rows.
struct LogFormat {
    double t_to_us = 0.0;
    RowScale scale;
    size_t columns = 0;
};

bool is_column_header(const std::vector<std::string_view>& cells) {
    constexpr std::string_view kColumns[] = {"gx", "gy", "gz", "ax", "ay", "az", "mx", "my", "mz"};
    if ((cells[0] != "t" && cells[0] != "time") ||
        (cells.size() != 4 && cells.size() != 7 && cells.size() != 10)) {
        return false;
    }
    for (size_t i = 1; i < cells.size(); ++i) {
        if (cells[i] != kColumns[i - 1]) {
            return false;
        }
    }
    return true;
}

/// Read the key,value lines up to the column header; @return its number of columns.
Result<size_t> read_head(LineCursor& cursor, const std::string& path, Head& head) {
    while (cursor.next()) {
        const auto cells = split(cursor.line(), ',');
        if (is_column_header(cells)) {
            return cells.size();
        }
        const size_t comma = cursor.line().find(',');
        if (comma == std::string_view::npos || parse_number(cells[0])) {
            return Fault{path, cursor.number(),
                         "expected a key,value line or the column header t,gx,gy,gz, found " +
                             quoted(cursor.line())};
        }
        head[cells[0]] = {trim(cursor.line().substr(comma + 1)), cursor.number()};
    }
    return Fault{path, cursor.number(), "expected the column header t,gx,gy,gz ahead of the end"};
}

/// Read a number of the head. @return a fault unless it lies within [least, most].
Result<double> head_number(const Head& head, const std::string& path, const std::string& key,
                           double least, double most) {
    const HeadValue& entry = head.at(key);
    const auto value = parse_number(entry.value);
    if (!value || !(*value >= least && *value <= most)) {
        return Fault{path, entry.line,
                     "expected " + key + " as a number in its range, found " + quoted(entry.value)};
    }
    return *value;
}

Result<AxisMap> head_axes(const Head& head, const std::string& path) {
    const HeadValue& entry = head.at("orientation");
    const auto axes = log_to_camera(entry.value);
    if (!axes) {
        return Fault{path, entry.line,
                     "expected orientation as the letters x, y, z in some order and case, found " +
                         quoted(entry.value)};
    }
    if (!is_proper(*axes)) {
        return Fault{path, entry.line,
                     "expected an orientation that does not mirror, found " + quoted(entry.value)};
    }
    return *axes;
}

std::optional<Fault> take_readout(const Head& head, const std::string& path,
                                  GyroRecording& recording) {
    if (head.contains("frame_readout_time")) {
        const auto ms = head_number(head, path, "frame_readout_time", 0.0, 1000.0);
        if (!ms.ok()) {
            return ms.fault();
        }
        recording.readout_us = static_cast<uint32_t>(std::lround(ms.value() * 1000.0));
    }
    if (head.contains("frame_readout_direction")) {
        const HeadValue& entry = head.at("frame_readout_direction");
        const auto direction = parse_u32(entry.value);
        if (!direction || *direction > 3) {
            return Fault{
                path, entry.line,
                "expected frame_readout_direction as 0 to 3, found " + quoted(entry.value)};
        }
        recording.readout_direction = static_cast<ReadoutDirection>(*direction);
    }
    return std::nullopt;
}

Result<LogFormat> take_format(const Head& head, const std::string& path, uint64_t header_line) {
    for (const char* key : {"version", "id", "orientation", "tscale", "gscale"}) {
        if (!head.contains(key)) {
            return Fault{path, header_line,
                         std::string("expected the key ") + key + " ahead of the column header"};
        }
    }
    // Every version so far starts with 1; another one may mean anything.
    const auto version = head_number(head, path, "version", 1.0, 1.999);
    const auto t_scale = head_number(head, path, "tscale", 1e-12, 1e6);
    const auto g_scale = head_number(head, path, "gscale", -1e6, 1e6);
    const auto axes = head_axes(head, path);
    for (const Result<double>* number : {&version, &t_scale, &g_scale}) {
        if (!number->ok()) {
            return number->fault();
        }
    }
    if (!axes.ok()) {
        return axes.fault();
    }
    if (g_scale.value() == 0.0) {
        return Fault{path, head.at("gscale").line, "expected gscale other than 0"};
    }
    return LogFormat{t_scale.value() * 1e6, {g_scale.value(), axes.value()}, 0};
}

std::optional<Fault> read_log_rows(LineCursor& cursor, const std::string& path,
                                   const LogFormat& format, GyroRecording& recording) {
    while (cursor.next()) {
        const auto cells = split(cursor.line(), ',');
        if (cells.size() != format.columns) {
            return Fault{path, cursor.number(),
                         "expected " + std::to_string(format.columns) +
                             " cells as in the column header, found " +
                             std::to_string(cells.size())};
        }
        const auto t = parse_number(cells[0]);
        const double t_us = t.value_or(0.0) * format.t_to_us;
        if (!t || !(std::abs(t_us) <= static_cast<double>(kLatestTime))) {
            return Fault{path, cursor.number(),
                         "expected the time t as a number, found " + quoted(cells[0])};
        }
        if (auto fault = add_row(recording, std::llround(t_us), std::span(cells).subspan(1, 3),
                                 format.scale, {path, cursor.number(), {}})) {
            return fault;
        }
    }
    return std::nullopt;
}

}  // namespace

Result<GyroRecording> parse_gyro_log(LineCursor& cursor, const std::string& path) {
    Head head;
    const Result<size_t> columns = read_head(cursor, path, head);
    if (!columns.ok()) {
        return columns.fault();
    }
    Result<LogFormat> format = take_format(head, path, cursor.number());
    if (!format.ok()) {
        return format.fault();
    }
    format.value().columns = columns.value();
    GyroRecording recording;
    recording.in_camera_axes = true;
    if (auto fault = take_readout(head, path, recording)) {
        return *fault;
    }
    if (auto fault = read_log_rows(cursor, path, format.value(), recording)) {
        return *fault;
    }
    return recording;
}

}  // namespace steadywarp::tool
