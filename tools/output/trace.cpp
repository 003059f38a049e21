// SPDX-License-Identifier: Apache-2.0
#include "output/trace.hpp"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "analysis/spectrum.hpp"

namespace steadywarp::tool {
namespace {

using Json = nlohmann::ordered_json;

/// Meshes of long recordings would make pages that no phone opens.
constexpr size_t kMostMeshes = 900;
constexpr uint32_t kMeshColumns = (EIS_GRID_COLUMNS + 1) / 2;
constexpr uint32_t kMeshRows = (EIS_GRID_ROWS + 1) / 2;

double rounded(double value, double step) {
    return std::round(value / step) * step;
}

/// A number with few digits: pages carry thousands of them.
Json brief(double value, double step) {
    const double near = rounded(value, step);
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", near);
    return Json(std::strtod(text, nullptr));
}

/// One array of a column; NaN becomes null.
template <class Value>
Json column(const std::vector<TraceFrame>& frames, const Value& value) {
    Json out = Json::array();
    for (const TraceFrame& frame : frames) {
        out.push_back(value(frame));
    }
    return out;
}

Json angles(const std::vector<TraceFrame>& frames, size_t axis, bool with_correction) {
    return column(frames, [axis, with_correction](const TraceFrame& f) {
        if (!f.valid) {
            return Json(nullptr);
        }
        return brief(1e3 * (f.before[axis] + (with_correction ? f.correction[axis] : 0.0)), 1e-3);
    });
}

Json spectra(const std::vector<TraceFrame>& frames, double period_us) {
    const double rate = 1e6 / period_us;
    const auto hz = even_octaves(0.2, 0.48 * rate, 90);
    Json out = {{"hz", Json::array()}, {"before", Json::array()}, {"after", Json::array()}};
    for (const double f : hz) {
        out["hz"].push_back(brief(f, 1e-4));
    }
    for (const bool corrected : {false, true}) {
        for (size_t axis = 0; axis < 3; ++axis) {
            std::vector<double> values;
            for (const TraceFrame& frame : frames) {
                if (frame.valid) {
                    values.push_back(
                        1e3 * (frame.before[axis] + (corrected ? frame.correction[axis] : 0.0)));
                }
            }
            Json densities = Json::array();
            for (const double value : amplitude_density(values, rate, hz)) {
                densities.push_back(brief(value, 1e-6));
            }
            out[corrected ? "after" : "before"].push_back(densities);
        }
    }
    return out;
}

Json meshes(const std::vector<TraceFrame>& frames) {
    const size_t stride = frames.size() / kMostMeshes + 1;
    Json out = Json::array();
    for (size_t i = 0; i < frames.size(); i += stride) {
        out.push_back(base64(frames[i].mesh.data(), frames[i].mesh.size() * sizeof(int16_t)));
    }
    return {{"columns", kMeshColumns}, {"rows", kMeshRows}, {"stride", stride}, {"frames", out}};
}

Json path_json(const Signal& signal) {
    Json out = Json::array();
    for (const double value : signal.value) {
        out.push_back(brief(value, 1e-2));
    }
    return out;
}

}  // namespace

double held_back(const Vector3& wanted, const Vector3& given) {
    double along = 0.0;
    double length = 0.0;
    for (size_t axis = 0; axis < 3; ++axis) {
        along += wanted[axis] * given[axis];
        length += wanted[axis] * wanted[axis];
    }
    // Below a fiftieth of a milliradian there is nothing to hold back.
    return length > 4e-10 ? std::clamp(1.0 - along / length, 0.0, 1.0) : 0.0;
}

std::vector<int16_t> thin_mesh(const FrameWarp& warp, uint32_t width, uint32_t height) {
    std::vector<int16_t> out;
    const auto sixteenths = [](double offset) {
        return static_cast<int16_t>(std::lround(std::clamp(offset * 16.0, -32767.0, 32767.0)));
    };
    for (uint32_t j = 0; j < EIS_GRID_ROWS; j += 2) {
        for (uint32_t i = 0; i < EIS_GRID_COLUMNS; i += 2) {
            const NcLibWarpGridCoord& node = warp.grid[j * EIS_GRID_COLUMNS + i];
            out.push_back(sixteenths(static_cast<double>(node.x) - (i - 17.0) * width / 32.0));
            out.push_back(sixteenths(static_cast<double>(node.y) - (j - 13.0) * height / 24.0));
        }
    }
    return out;
}

std::string base64(const void* bytes, size_t count) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto* const in = static_cast<const uint8_t*>(bytes);
    std::string out;
    out.reserve((count + 2) / 3 * 4);
    for (size_t i = 0; i < count; i += 3) {
        const size_t left = std::min<size_t>(3, count - i);
        uint32_t word = 0;
        for (size_t k = 0; k < 3; ++k) {
            word = word << 8 | (k < left ? in[i + k] : 0u);
        }
        for (size_t k = 0; k < 4; ++k) {
            out += k <= left ? kDigits[word >> (18 - 6 * k) & 63u] : '=';
        }
    }
    return out;
}

std::string trace_json(const std::vector<TraceFrame>& frames, double period_us,
                       const ContentPaths& paths, const std::vector<FilmPicture>& film) {
    const double start = frames.empty() ? 0.0 : frames[0].t_us;
    Json json;
    json["period_us"] = period_us;
    json["frame"] = column(frames, [](const TraceFrame& f) { return f.id; });
    json["t"] = column(
        frames, [start](const TraceFrame& f) { return brief((f.t_us - start) * 1e-6, 1e-5); });
    json["valid"] = column(frames, [](const TraceFrame& f) { return f.valid ? 1 : 0; });
    for (size_t axis = 0; axis < 3; ++axis) {
        json["before_mrad"].push_back(angles(frames, axis, false));
        json["after_mrad"].push_back(angles(frames, axis, true));
        json["correction_mrad"].push_back(column(
            frames, [axis](const TraceFrame& f) { return brief(1e3 * f.correction[axis], 1e-3); }));
        json["wanted_mrad"].push_back(column(
            frames, [axis](const TraceFrame& f) { return brief(1e3 * f.wanted[axis], 1e-3); }));
        json["panning"].push_back(
            column(frames, [axis](const TraceFrame& f) { return f.panning[axis] ? 1 : 0; }));
    }
    json["held_back"] = column(
        frames, [](const TraceFrame& f) { return brief(held_back(f.wanted, f.correction), 1e-3); });
    json["margin_use"] =
        column(frames, [](const TraceFrame& f) { return brief(f.margin_use, 1e-3); });
    json["feasible"] = column(frames, [](const TraceFrame& f) { return f.feasible ? 1 : 0; });
    json["rows_left"] = column(frames, [](const TraceFrame& f) { return f.rows_left ? 1 : 0; });
    json["scene"] = column(frames, [](const TraceFrame& f) { return f.scene; });
    json["blur_px"] = column(frames, [](const TraceFrame& f) { return brief(f.blur_px, 1e-2); });
    json["motion_px"] = column(
        frames, [](const TraceFrame& f) { return brief(static_cast<double>(f.motion_px), 1e-2); });
    json["samples"] = column(frames, [](const TraceFrame& f) { return f.samples; });
    json["longest_step_us"] = column(frames, [](const TraceFrame& f) { return f.longest_step_us; });
    json["library_us"] =
        column(frames, [](const TraceFrame& f) { return brief(f.library_us, 0.01); });
    json["spectrum"] = spectra(frames, period_us);
    json["mesh"] = meshes(frames);
    if (!paths.frame.empty()) {
        json["path"] = {{"frame", paths.frame},
                        {"before_x", path_json(paths.before_x)},
                        {"before_y", path_json(paths.before_y)},
                        {"after_x", path_json(paths.after_x)},
                        {"after_y", path_json(paths.after_y)}};
    }
    for (const FilmPicture& picture : film) {
        json["film"].push_back({{"frame", picture.frame},
                                {"before", base64(picture.before.data(), picture.before.size())},
                                {"after", base64(picture.after.data(), picture.after.size())}});
    }
    return json.dump() + "\n";
}

}  // namespace steadywarp::tool
