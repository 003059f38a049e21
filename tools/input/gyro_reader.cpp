// SPDX-License-Identifier: Apache-2.0
#include "input/gyro_reader.hpp"

#include "input/gyro_rows.hpp"
#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

constexpr std::string_view kLogMagics[] = {"GYROFLOW IMU LOG", "CAMERA IMU LOG"};

Result<GyroRecording> parse_gyro_csv(LineCursor& cursor, const std::string& path) {
    GyroRecording recording;
    while (cursor.next()) {
        const Fault here{path, cursor.number(), {}};
        const auto cells = split(cursor.line(), ',');
        if (cells.size() != 4) {
            return Fault{path, here.line,
                         "expected 4 cells t_us,gx,gy,gz, found " + std::to_string(cells.size())};
        }
        const auto t_us = parse_i64(cells[0]);
        if (!t_us) {
            return Fault{path, here.line,
                         "expected t_us as integer microseconds, found " + quoted(cells[0])};
        }
        if (auto fault = add_row(recording, *t_us, std::span(cells).subspan(1), {}, here)) {
            return *fault;
        }
    }
    return recording;
}

}  // namespace

std::optional<Fault> add_row(GyroRecording& recording, int64_t t_us,
                             std::span<const std::string_view> rates, const RowScale& scale,
                             Fault where) {
    constexpr const char* kNames[3] = {"gx", "gy", "gz"};
    const auto fault = [&where](std::string expected) {
        where.expected = std::move(expected);
        return std::move(where);
    };
    if (t_us < -kLatestTime || t_us > kLatestTime) {
        return fault("expected a time within 2^60 microseconds");
    }
    Vector3 rate{};
    for (size_t i = 0; i < 3; ++i) {
        const auto cell = parse_number(rates[i]);
        rate[i] = cell.value_or(0.0) * scale.rate;
        if (!cell || !(std::abs(rate[i]) <= kLargestRate)) {
            return fault(std::string("expected the rate ") + kNames[i] +
                         " as a number of at most 1000 rad/s, found " + quoted(rates[i]));
        }
    }
    if (!recording.samples.empty() && t_us <= recording.samples.back().t_us) {
        const int64_t before = recording.samples.back().t_us;
        if (t_us < before) {
            return fault("expected a time after that of the row before, " + std::to_string(before) +
                         " us, found " + std::to_string(t_us) + " us");
        }
        ++recording.repeated_stamps;
        return std::nullopt;
    }
    recording.samples.push_back({t_us, map_axes(scale.axes, rate)});
    return std::nullopt;
}

Result<GyroRecording> parse_gyro(std::string_view text, const std::string& path) {
    LineCursor cursor(text);
    if (!cursor.next()) {
        return Fault{path, 1, "expected a gyroscope log, found an empty file"};
    }
    const bool is_log = cursor.line() == kLogMagics[0] || cursor.line() == kLogMagics[1];
    if (!is_log && split(cursor.line(), ',') != split("t_us,gx,gy,gz", ',')) {
        return Fault{path, cursor.number(),
                     "expected the header t_us,gx,gy,gz or the first line of a gyro log, found " +
                         quoted(cursor.line())};
    }
    Result<GyroRecording> out =
        is_log ? parse_gyro_log(cursor, path) : parse_gyro_csv(cursor, path);
    if (out.ok() && out.value().samples.size() < 2) {
        return Fault{path, cursor.number(), "expected at least two samples ahead of the end"};
    }
    return out;
}

Result<GyroRecording> read_gyro(const std::string& path) {
    const Result<std::string> text = read_file(path);
    if (!text.ok()) {
        return text.fault();
    }
    return parse_gyro(text.value(), path);
}

}  // namespace steadywarp::tool
