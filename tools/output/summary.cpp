// SPDX-License-Identifier: Apache-2.0
#include "output/summary.hpp"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "analysis/orientation.hpp"

namespace steadywarp::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kSceneNames[] = {"still",   "handheld",       "shake",  "scene 3",
                                       "panning", "strong_panning", "motion", "unknown"};

std::optional<double> ratio(const std::optional<double>& after,
                            const std::optional<double>& before) {
    return after && before && *before > 0.0 ? std::optional(*after / *before) : std::nullopt;
}

Json json_of(const std::optional<double>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json json_of(const ShakeFigure& figure) {
    Json before = Json::array();
    Json after = Json::array();
    Json ratios = Json::array();
    for (size_t axis = 0; axis < 3; ++axis) {
        before.push_back(json_of(figure.before[axis]));
        after.push_back(json_of(figure.after[axis]));
        ratios.push_back(json_of(ratio(figure.after[axis], figure.before[axis])));
    }
    return {{"above_hz", figure.cut_hz},
            {"before_rad", before},
            {"after_rad", after},
            {"ratio", ratios}};
}

Json json_of_camera(const Summary& summary) {
    const is_init_common_data& common = summary.settings->common;
    const is_init_sensor_data& sensor = summary.settings->sensors.front();
    const is_crop_window& crop = summary.windows.output_crop_fov;
    return {{"file", summary.camera},
            {"is_type", common.is_type},
            {"input", {sensor.input_width, sensor.input_height}},
            {"output", {common.output_width, common.output_height}},
            {"crop", {crop.windowWidth, crop.windowHeight}},
            {"focal_length_px", focal_length_px(sensor)},
            {"camera_position", sensor.camera_position},
            {"sensor_mount_angle", sensor.sensor_mount_angle},
            {"frame_fps", common.frame_fps},
            {"gyro_frequency_hz", sensor.tuning.top.gyro_frequency}};
}

Json json_of(const BeforeAfter& figure) {
    return {{"before", json_of(figure.before)},
            {"after", json_of(figure.after)},
            {"ratio", json_of(ratio(figure.after, figure.before))}};
}

Json json_of(const PixelFigures& pixels) {
    Json json = {{"pictures", pixels.pictures},
                 {"without_warp", pixels.without_warp},
                 {"empty_share", pixels.empty_share},
                 {"empty_share_feasible", pixels.empty_share_feasible},
                 {"seconds_drawing", pixels.seconds_drawing}};
    if (pixels.tracked) {
        for (const PixelShake& shake : pixels.shake) {
            json["shake"].push_back({{"above_hz", shake.above_hz},
                                     {"px", json_of(shake.px)},
                                     {"across_px", json_of(shake.across_px)},
                                     {"down_px", json_of(shake.down_px)},
                                     {"turn_rad", json_of(shake.turn_rad)}});
        }
        json["edge_bow_px"] = json_of(pixels.bow_px);
        json["largest_edge_bow_px"] = json_of(pixels.largest_bow_px);
        json["edges"] = {pixels.edges_before, pixels.edges_after};
        json["lost_steps"] = pixels.lost_steps;
    }
    return json;
}

/// Lines of a label and a value each, values starting in one column.
class Table {
  public:
    void row(const std::string& label, const std::string& value) {
        constexpr size_t kLabelWidth = 30;
        text_ += label + std::string(kLabelWidth - std::min(label.size(), kLabelWidth - 1), ' ') +
                 value + '\n';
    }
    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

std::string fixed(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string both(const BeforeAfter& figure, double unit) {
    const auto one = [unit](const std::optional<double>& value) {
        return value ? fixed("%12.4f", *value * unit) : std::string(11, ' ') + "-";
    };
    const std::optional<double> part = ratio(figure.after, figure.before);
    return one(figure.before) + one(figure.after) +
           (part ? fixed("%12.4f", *part) : std::string(11, ' ') + "-");
}

std::string three(const std::array<std::optional<double>, 3>& values, double unit) {
    std::string out;
    for (const auto& value : values) {
        out += value ? fixed("%12.4f", *value * unit) : std::string(11, ' ') + "-";
    }
    return out;
}

void pixel_rows(const PixelFigures& pixels, Table& table) {
    if (pixels.tracked) {
        table.row("pixels", "      before       after       ratio");
        for (const PixelShake& shake : pixels.shake) {
            const std::string cut = fixed("above %g Hz", shake.above_hz);
            table.row("  shake " + cut + " [px RMS]", both(shake.px, 1.0));
            table.row("    across", both(shake.across_px, 1.0));
            table.row("    up and down", both(shake.down_px, 1.0));
            table.row("  turn " + cut + " [mrad]", both(shake.turn_rad, 1e3));
        }
        table.row("  bow of upright edges [px]", both(pixels.bow_px, 1.0));
        table.row("  the same, 95 of 100 below", both(pixels.largest_bow_px, 1.0));
    }
    table.row("empty output pixels",
              fixed("%.6f %%", 100.0 * pixels.empty_share) +
                  fixed(", %.6f %% while feasible", 100.0 * pixels.empty_share_feasible));
}

}  // namespace

std::string scene_name(uint32_t scene_type) {
    return scene_type < std::size(kSceneNames) ? kSceneNames[scene_type]
                                               : "scene " + std::to_string(scene_type);
}

TimeFigure time_figure(std::vector<double>& seconds) {
    TimeFigure out;
    if (seconds.empty()) {
        return out;
    }
    std::sort(seconds.begin(), seconds.end());
    const auto at = [&seconds](double part) {
        const double rank = std::ceil(part * static_cast<double>(seconds.size())) - 1.0;
        return 1e6 * seconds[static_cast<size_t>(std::max(rank, 0.0))];
    };
    for (const double value : seconds) {
        out.mean += 1e6 * value / static_cast<double>(seconds.size());
    }
    out.median = at(0.5);
    out.p99 = at(0.99);
    out.max = at(1.0);
    return out;
}

std::string summary_json(const Summary& s) {
    Json scenes = Json::object();
    for (const auto& [type, count] : s.scenes) {
        scenes[scene_name(type)] = count;
    }
    Json json = {
        {"source", s.source},
        {"camera", json_of_camera(s)},
        {"frames",
         {{"in", s.frames_in},
          {"outside_gyro_log", s.frames_outside_log},
          {"out", s.frames_out},
          {"dropped", s.frames_dropped}}},
        {"gyro",
         {{"samples", s.gyro_samples},
          {"rate_hz", s.spacing.rate_hz},
          {"gaps", s.spacing.gaps},
          {"longest_step_us", s.spacing.longest_step_us},
          {"repeated_stamps", s.repeated_stamps}}},
        {"orientation_rms", {json_of(s.shake[0]), json_of(s.shake[1])}},
        {"crop_corners",
         {{"largest_overshoot_px", json_of(s.largest_overshoot_px)},
          {"frames_outside_input", s.frames_with_corner_outside}}},
        {"scenes", scenes},
        {"time_per_frame_us",
         {{"mean", s.time.mean},
          {"median", s.time.median},
          {"p99", s.time.p99},
          {"max", s.time.max}}},
    };
    if (s.pixels) {
        json["pixels"] = json_of(*s.pixels);
    }
    // Paths may hold any bytes; those that are no text are replaced.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string summary_table(const Summary& s) {
    Table table;
    table.row("source", s.source);
    table.row("camera", s.camera);
    table.row("frames in", std::to_string(s.frames_in));
    table.row("  outside the gyro log", std::to_string(s.frames_outside_log));
    table.row("  out", std::to_string(s.frames_out));
    table.row("  dropped", std::to_string(s.frames_dropped));
    table.row("gyro samples", std::to_string(s.gyro_samples) + " at " +
                                  fixed("%.1f Hz, ", s.spacing.rate_hz) +
                                  std::to_string(s.spacing.gaps) + " gaps, longest step " +
                                  std::to_string(s.spacing.longest_step_us) + " us");
    table.row("orientation RMS [mrad]", "     about x     about y     about z");
    for (const ShakeFigure& figure : s.shake) {
        std::array<std::optional<double>, 3> ratios;
        for (size_t axis = 0; axis < 3; ++axis) {
            ratios[axis] = ratio(figure.after[axis], figure.before[axis]);
        }
        const std::string label = "  above " + fixed("%g Hz, ", figure.cut_hz);
        table.row(label + "before", three(figure.before, 1e3));
        table.row(label + "after", three(figure.after, 1e3));
        table.row(label + "ratio", three(ratios, 1.0));
    }
    table.row("largest corner overshoot",
              s.largest_overshoot_px ? fixed("%.2f px", *s.largest_overshoot_px) : "-");
    table.row("frames with a corner outside", std::to_string(s.frames_with_corner_outside));
    if (s.pixels) {
        pixel_rows(*s.pixels, table);
    }
    std::string scenes;
    for (const auto& [type, count] : s.scenes) {
        scenes += (scenes.empty() ? "" : ", ") + scene_name(type) + " " + std::to_string(count);
    }
    table.row("scenes", scenes.empty() ? "-" : scenes);
    table.row("time per frame [us]",
              fixed("mean %.1f", s.time.mean) + fixed(", median %.1f", s.time.median) +
                  fixed(", p99 %.1f", s.time.p99) + fixed(", max %.1f", s.time.max));
    return table.take();
}

}  // namespace steadywarp::tool
