// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <optional>
#include <set>
#include <tuple>

#include "input/camera.hpp"
#include "input/camera_keys.hpp"
#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

constexpr std::string_view kSensorPrefix = "sensor_data\\idx";

/// Which records a section speaks of.
struct SectionName {
    std::string_view group;
    uint32_t sensor = 0;
};

/// The words of one sensor's own distortion grids, by key.
using GridWords = std::map<std::string, const IniEntry*>;

/// Takes entries one by one into a camera.
class CameraBuilder {
  public:
    CameraBuilder(const std::string& path, CameraFileKind kind)
        : path_(path), kind_(kind), camera_(built_in_camera()) {
        camera_.path = path;
        if (kind == CameraFileKind::kCapture) {
            camera_.common = {};
            camera_.sensors.front() = {};
        }
    }

    Result<Camera> build(const std::vector<IniEntry>& entries);

  private:
    Fault fault(uint64_t line, std::string expected) const {
        return Fault{path_, line, std::move(expected)};
    }
    std::optional<Fault> take_count(const std::vector<IniEntry>& entries);
    std::optional<Fault> take(const IniEntry& entry);
    std::optional<Fault> take_key(const IniEntry& entry, const SectionName& section);
    std::optional<Fault> take_grid(uint32_t sensor, const std::string& prefix);
    std::optional<Fault> check_mount(const IniEntry& entry, const SectionName& section) const;
    void follow_input_size(uint32_t sensor);
    void fill_in_sizes();
    std::optional<Fault> find_missing(uint64_t last_line) const;
    bool given(uint32_t sensor, std::string_view group, std::string_view key) const {
        return given_.contains({sensor, std::string(group), std::string(key)});
    }

    const std::string& path_;
    CameraFileKind kind_;
    Camera camera_;
    std::set<std::tuple<uint32_t, std::string, std::string>> given_;  ///< sensor, group, key
    std::vector<GridWords> grid_words_;
};

/// Tell which records a section speaks of; nothing if there is no such section.
std::optional<SectionName> parse_section(std::string_view section) {
    if (section == "common") {
        return SectionName{section, 0};
    }
    if (!section.starts_with(kSensorPrefix)) {
        return std::nullopt;
    }
    const auto parts = split(section.substr(kSensorPrefix.size()), '\\');
    const auto sensor = parse_u32(parts[0]);
    if (!sensor || parts.size() > 2) {
        return std::nullopt;
    }
    return SectionName{parts.size() == 1 ? "sensor" : parts[1], *sensor};
}

std::string section_name(std::string_view group, uint32_t sensor) {
    if (group == "common") {
        return "[common]";
    }
    const std::string name = std::string(kSensorPrefix) + std::to_string(sensor);
    return "[" + name + (group == "sensor" ? "" : "\\" + std::string(group)) + "]";
}

bool is_grid_key(const SectionName& section, std::string_view key) {
    return section.group == "sensor" &&
           (key.starts_with("ldc_in2out_") || key.starts_with("ldc_out2in_"));
}

std::optional<Fault> CameraBuilder::take_count(const std::vector<IniEntry>& entries) {
    uint32_t count = 1;
    for (const IniEntry& entry : entries) {
        if (entry.section == "sensor_data") {
            const auto value = parse_u32(entry.value);
            if (entry.key != "num_sensors" || !value || *value < 1 ||
                *value > EIS_MAX_NUM_SENSORS) {
                return fault(entry.line, "expected num_sensors from 1 to 16, found " +
                                             quoted(entry.key + " = " + entry.value));
            }
            count = *value;
        }
    }
    const is_init_sensor_data sensor = camera_.sensors.front();
    camera_.sensors.assign(count, sensor);
    camera_.has_gyro_frequency.assign(count, false);
    grid_words_.resize(count);
    return std::nullopt;
}

std::optional<Fault> CameraBuilder::check_mount(const IniEntry& entry,
                                                const SectionName& section) const {
    const is_init_sensor_data& sensor = camera_.sensors[section.sensor];
    if (kind_ == CameraFileKind::kCapture) {
        return std::nullopt;  // what the library took is right, whatever it made of it
    }
    if (section.group == "sensor" && entry.key == "sensor_mount_angle" &&
        !device_to_camera(0, sensor.sensor_mount_angle)) {
        return fault(entry.line,
                     "expected sensor_mount_angle 0, 90, 180 or 270, found " + quoted(entry.value));
    }
    if (section.group == "sensor" && entry.key == "camera_position" &&
        !device_to_camera(sensor.camera_position, 0)) {
        return fault(entry.line, "expected camera_position 0 (rear) or 1 (front), found " +
                                     quoted(entry.value));
    }
    return std::nullopt;
}

std::optional<Fault> CameraBuilder::take_key(const IniEntry& entry, const SectionName& section) {
    const CameraKey* const key = find_camera_key(section.group, entry.key);
    if (key == nullptr) {
        return fault(entry.line, "expected a key of the section " +
                                     printable("[" + entry.section + "]", 64) + ", found " +
                                     quoted(entry.key));
    }
    is_init_sensor_data& sensor = camera_.sensors[section.sensor];
    const auto words = split_blanks(entry.value);
    if (!store_words(*key, words, camera_.common, sensor)) {
        return fault(entry.line, "expected " + entry.key + " as " + words_wanted(*key) +
                                     ", found " + quoted(entry.value));
    }
    given_.insert({section.sensor, std::string(section.group), entry.key});
    if (key->group == "top" && key->name == "gyro_frequency") {
        camera_.has_gyro_frequency[section.sensor] = true;
    }
    camera_.has_frame_fps |= key->group == "common" && key->name == "frame_fps";
    return check_mount(entry, section);
}

std::optional<Fault> CameraBuilder::take(const IniEntry& entry) {
    if (entry.section == "sensor_data") {
        return std::nullopt;
    }
    if (entry.section == "test") {
        camera_.test.push_back(entry);
        return std::nullopt;
    }
    const auto section = parse_section(entry.section);
    if (!section) {
        return fault(entry.line, "expected a section of a camera file, found " +
                                     quoted("[" + entry.section + "]"));
    }
    if (section->sensor >= camera_.sensors.size()) {
        return fault(entry.line, "expected a sensor below num_sensors, found " +
                                     quoted("[" + entry.section + "]"));
    }
    if (is_grid_key(*section, entry.key)) {
        grid_words_[section->sensor][entry.key] = &entry;
        return std::nullopt;
    }
    return take_key(entry, *section);
}

/// Read the words of one grid key. @return false if one is no number or the count is not `count`.
bool grid_numbers(const GridWords& words, const std::string& key, size_t count,
                  std::vector<float>& numbers) {
    for (const std::string_view word : split_blanks(words.at(key)->value)) {
        const auto value = parse_number(word);
        if (!value || std::abs(*value) > 1e9) {
            return false;
        }
        numbers.push_back(static_cast<float>(*value));
    }
    return numbers.size() == count;
}

std::optional<Fault> CameraBuilder::take_grid(uint32_t sensor, const std::string& prefix) {
    constexpr const char* kSizes[] = {"width", "height", "num_rows", "num_cols",
                                      "extrapolate_type"};
    const GridWords& words = grid_words_[sensor];
    const auto first = words.lower_bound(prefix);
    if (first == words.end() || !first->first.starts_with(prefix)) {
        return std::nullopt;
    }
    uint32_t sizes[5] = {};
    for (size_t i = 0; i < 5; ++i) {
        const auto entry = words.find(prefix + kSizes[i]);
        const auto value = entry == words.end() ? std::nullopt : parse_u32(entry->second->value);
        if (!value) {
            return fault(first->second->line,
                         "expected " + prefix + kSizes[i] + " beside it, an integer");
        }
        sizes[i] = *value;
    }
    // Four explicit corners have no key in this format.
    if (sizes[2] > 51 || sizes[3] > 67 || sizes[4] == 1 || sizes[4] > 2) {
        return fault(first->second->line,
                     "expected a grid of at most 51 rows by 67 columns, extrapolate type 0 or 2");
    }
    const size_t count = size_t{sizes[2]} * sizes[3];
    std::vector<float> x;
    std::vector<float> y;
    if (!words.contains(prefix + "grid_x") || !words.contains(prefix + "grid_y") ||
        !grid_numbers(words, prefix + "grid_x", count, x) ||
        !grid_numbers(words, prefix + "grid_y", count, y)) {
        return fault(first->second->line, "expected " + prefix + "grid_x and " + prefix +
                                              "grid_y of " + std::to_string(count) + " numbers");
    }
    auto owned = std::make_unique<OwnedGrid>();
    for (size_t i = 0; i < count; ++i) {
        owned->points.push_back({x[i], y[i]});
    }
    owned->grid = {
        true,     {sizes[0], sizes[1]}, sizes[2],
        sizes[3], owned->points.data(), static_cast<NcLibWarpGridExtrapolationType>(sizes[4]),
        nullptr};
    is_init_sensor_data& record = camera_.sensors[sensor];
    (prefix == "ldc_in2out_" ? record.ldc_in2out : record.ldc_out2in) = &owned->grid;
    camera_.grids.push_back(std::move(owned));
    return std::nullopt;
}

void CameraBuilder::follow_input_size(uint32_t sensor) {
    is_init_sensor_data& s = camera_.sensors[sensor];
    const struct {
        const char* key;
        uint32_t& value;
        uint32_t input;
    } sizes[] = {
        {"ife_input_frame_width", s.ife_input_frame_width, s.input_width},
        {"ife_input_frame_height", s.ife_input_frame_height, s.input_height},
        {"ife_input_frame_undistorted_width", s.ife_input_frame_undistorted_width, s.input_width},
        {"ife_input_frame_undistorted_height", s.ife_input_frame_undistorted_height,
         s.input_height},
    };
    for (const auto& size : sizes) {
        if (!given(sensor, "sensor", size.key)) {
            size.value = size.input;
        }
    }
    const auto width = static_cast<float>(s.input_width);
    const auto height = static_cast<float>(s.input_height);
    const struct {
        const char* key;
        float& value;
        float input;
    } crop[] = {
        {"image_sensor_crop_fullWidth", s.image_sensor_crop.fullWidth, width},
        {"image_sensor_crop_fullHeight", s.image_sensor_crop.fullHeight, height},
        {"image_sensor_crop_windowWidth", s.image_sensor_crop.windowWidth, width},
        {"image_sensor_crop_windowHeight", s.image_sensor_crop.windowHeight, height},
    };
    for (const auto& size : crop) {
        if (!given(sensor, "sensor", size.key)) {
            size.value = size.input;
        }
    }
}

void CameraBuilder::fill_in_sizes() {
    for (uint32_t sensor = 0; sensor < camera_.sensors.size(); ++sensor) {
        follow_input_size(sensor);
    }
    if (!given(0, "common", "output_width")) {
        camera_.common.output_width = camera_.sensors[0].input_width;
    }
    if (!given(0, "common", "output_height")) {
        camera_.common.output_height = camera_.sensors[0].input_height;
    }
}

std::optional<Fault> CameraBuilder::find_missing(uint64_t last_line) const {
    for (uint32_t sensor = 0; sensor < camera_.sensors.size(); ++sensor) {
        for (const CameraKey& key : camera_keys()) {
            if (is_written(key, camera_.sensors[sensor].tuning) &&
                (key.group != "common" || sensor == 0) && !given(sensor, key.group, key.name)) {
                return fault(last_line, "expected the key " + quoted(key.name) + " in " +
                                            section_name(key.group, sensor) +
                                            " before the end of the file");
            }
        }
    }
    return std::nullopt;
}

Result<Camera> CameraBuilder::build(const std::vector<IniEntry>& entries) {
    if (auto bad = take_count(entries)) {
        return *bad;
    }
    for (const IniEntry& entry : entries) {
        if (auto bad = take(entry)) {
            return *bad;
        }
    }
    for (uint32_t sensor = 0; sensor < camera_.sensors.size(); ++sensor) {
        for (const char* prefix : {"ldc_in2out_", "ldc_out2in_"}) {
            if (auto bad = take_grid(sensor, prefix)) {
                return *bad;
            }
        }
    }
    if (kind_ == CameraFileKind::kDescription) {
        fill_in_sizes();
    } else if (auto missing = find_missing(entries.empty() ? 1 : entries.back().line)) {
        return *missing;
    }
    return std::move(camera_);
}

}  // namespace

Result<Camera> parse_camera(std::string_view text, const std::string& path, CameraFileKind kind) {
    const Result<std::vector<IniEntry>> entries = parse_ini(text, path);
    if (!entries.ok()) {
        return entries.fault();
    }
    return CameraBuilder(path, kind).build(entries.value());
}

Result<Camera> read_camera(const std::string& path) {
    const Result<std::string> text = read_file(path);
    if (!text.ok()) {
        return text.fault();
    }
    return parse_camera(text.value(), path);
}

}  // namespace steadywarp::tool
