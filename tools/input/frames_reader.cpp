// SPDX-License-Identifier: Apache-2.0
#include "input/frames_reader.hpp"

#include <algorithm>
#include <cmath>

#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

constexpr uint32_t kLongestExposure = 1000000;
constexpr uint32_t kUsualExposure = 10000;
constexpr uint32_t kUnrecorded = UINT32_MAX;
constexpr uint32_t kSingleFramePeriod = 33333;
constexpr double kMostFrames = 1e7;

/// Read a duration; an empty cell is the default.
std::optional<uint32_t> parse_duration(std::string_view cell, uint32_t otherwise) {
    return cell.empty() ? std::optional(otherwise) : parse_u32(cell);
}

/// Read one row; an exposure that was not recorded is kUnrecorded.
Result<Frame> parse_row(std::string_view line, const FrameDefaults& defaults) {
    const auto cells = split(line, ',');
    const auto expected = [](const std::string& what, std::string_view found) {
        return Fault{{}, 0, "expected " + what + ", found " + quoted(found)};
    };
    if (cells.size() != 4) {
        return Fault{{},
                     0,
                     "expected 4 cells frame,sof_us,exposure_us,readout_us, found " +
                         std::to_string(cells.size())};
    }
    const auto id = parse_u32(cells[0]);
    const auto sof = parse_i64(cells[1]);
    const auto exposure = parse_duration(cells[2], kUnrecorded);
    const auto readout = parse_duration(cells[3], defaults.readout_us);
    if (!id) {
        return expected("a frame number from 0 to 4294967295", cells[0]);
    }
    if (!sof || *sof < -kLatestTime || *sof > kLatestTime) {
        return expected("sof_us as integer microseconds", cells[1]);
    }
    if (!exposure || (!cells[2].empty() && *exposure > kLongestExposure)) {
        return expected("exposure_us from 0 to 1000000 or nothing", cells[2]);
    }
    if (!readout) {
        return expected("readout_us as whole microseconds or nothing", cells[3]);
    }
    return Frame{*id, *sof, *exposure, *readout};
}

uint32_t median_period(const std::vector<Frame>& frames) {
    std::vector<int64_t> steps;
    for (size_t i = 1; i < frames.size(); ++i) {
        steps.push_back(frames[i].sof_us - frames[i - 1].sof_us);
    }
    if (steps.empty()) {
        return kSingleFramePeriod;
    }
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return static_cast<uint32_t>(std::min<int64_t>(*middle, UINT32_MAX));
}

uint32_t usual_exposure(const FrameDefaults& defaults, uint32_t period_us) {
    return defaults.exposure_us.value_or(std::min(kUsualExposure, period_us / 2));
}

std::string too_slow(uint32_t readout_us, uint32_t period_us) {
    return "expected a read-out shorter than the frame period of " + std::to_string(period_us) +
           " us, found " + std::to_string(readout_us) + " us";
}

}  // namespace

Result<FrameSequence> parse_frames(std::string_view text, const std::string& path,
                                   const FrameDefaults& defaults) {
    constexpr std::string_view kHeader = "frame,sof_us,exposure_us,readout_us";
    LineCursor cursor(text);
    if (!cursor.next() || split(cursor.line(), ',') != split(kHeader, ',')) {
        return Fault{
            path, std::max<uint64_t>(cursor.number(), 1),
            "expected the header " + std::string(kHeader) + ", found " + quoted(cursor.line())};
    }
    FrameSequence out;
    std::vector<uint64_t> lines;
    while (cursor.next()) {
        Result<Frame> frame = parse_row(cursor.line(), defaults);
        if (!frame.ok()) {
            return Fault{path, cursor.number(), frame.fault().expected};
        }
        if (!out.frames.empty() && (frame.value().id <= out.frames.back().id ||
                                    frame.value().sof_us <= out.frames.back().sof_us)) {
            return Fault{path, cursor.number(),
                         "expected a frame number and a time above those of the row before"};
        }
        out.frames.push_back(frame.value());
        lines.push_back(cursor.number());
    }
    if (out.frames.empty()) {
        return Fault{path, cursor.number(), "expected at least one frame ahead of the end"};
    }
    out.period_us = median_period(out.frames);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (out.frames[i].exposure_us == kUnrecorded) {
            out.frames[i].exposure_us = usual_exposure(defaults, out.period_us);
        }
        if (out.frames[i].readout_us >= out.period_us) {
            return Fault{path, lines[i], too_slow(out.frames[i].readout_us, out.period_us)};
        }
    }
    return out;
}

Result<FrameSequence> read_frames(const std::string& path, const FrameDefaults& defaults) {
    const Result<std::string> text = read_file(path);
    if (!text.ok()) {
        return text.fault();
    }
    return parse_frames(text.value(), path, defaults);
}

Result<FrameSequence> make_frames(int64_t first_us, const std::vector<int64_t>& times_us,
                                  const std::string& path, const FrameDefaults& defaults) {
    FrameSequence out;
    for (const int64_t time : times_us) {
        if (!out.frames.empty() && first_us + time <= out.frames.back().sof_us) {
            return Fault{path, 0, "expected pictures whose times increase"};
        }
        out.frames.push_back(
            {static_cast<uint32_t>(out.frames.size()), first_us + time, 0, defaults.readout_us});
    }
    out.period_us = median_period(out.frames);
    if (defaults.readout_us >= out.period_us) {
        return Fault{{}, 0, too_slow(defaults.readout_us, out.period_us)};
    }
    for (Frame& frame : out.frames) {
        frame.exposure_us = usual_exposure(defaults, out.period_us);
    }
    return out;
}

Result<FrameSequence> make_even_frames(int64_t first_us, int64_t last_us, double fps,
                                       const FrameDefaults& defaults) {
    const double period = 1e6 / fps;
    const double count = std::floor(static_cast<double>(last_us - first_us) / period) + 1.0;
    if (!(count >= 1.0 && count <= kMostFrames)) {
        return Fault{{}, 0, "expected a rate that makes one to ten million frames over the log"};
    }
    FrameSequence out;
    out.period_us = static_cast<uint32_t>(std::lround(period));
    if (defaults.readout_us >= out.period_us) {
        return Fault{{}, 0, too_slow(defaults.readout_us, out.period_us)};
    }
    const uint32_t exposure_us = usual_exposure(defaults, out.period_us);
    out.frames.reserve(static_cast<size_t>(count));
    for (uint32_t i = 0; i < static_cast<uint32_t>(count); ++i) {
        out.frames.push_back(
            {i, first_us + std::llround(i * period), exposure_us, defaults.readout_us});
    }
    return out;
}

}  // namespace steadywarp::tool
