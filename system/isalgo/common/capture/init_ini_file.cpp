// SPDX-License-Identifier: Apache-2.0
#include "capture/init_ini_file.hpp"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "base/eis_log.hpp"
#include "capture/format/init_keys.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kIniBuffer = 256 << 10;
constexpr const char* kBuildId = "19172";

// Ahead of the key of the same name.
constexpr struct {
    std::string_view key;
    const char* lines;
} kComments[] = {
    {"is_type",
     "; 4 - IS_TYPE_EIS_2_0 (IS_TYPE_EIS_NFL)\n"
     "; 5 - IS_TYPE_EIS_3_0 (IS_TYPE_EIS_FL)\n"
     "; 6 - IS_TYPE_DISTORTION_CORRECTION_ONLY\n"},
    {"operation_mode",
     "; 0 - IS_OPT_REGULAR\n"
     "; 1 - IS_OPT_CALIBRATION_SYMMETRIC (deprecated)\n"
     "; 2 - IS_OPT_CALIBRATION_ASYMMETRIC\n"
     "; 3 - IS_OPT_CALIBRATION_ASYMMETRIC_ROBUST\n"
     "; 10 - IS_OPT_UNDISTORTION_ONLY (IS_OPT_TEST_DISTORTION_CORRECTION_ONLY)\n"
     "; 11 - IS_OPT_IDENTITY_ONLY_ROBUST\n"
     "; 12 - IS_OPT_IFOVC_LDC_ONLY\n"
     "; 101 - IS_OPT_TEST_SAT_PASS_THROUGH\n"
     "; 102 - IS_OPT_TEST_MARGINS_LIMITS\n"
     "; 104 - IS_OPT_TEST_REGULAR_MERGE_DIS_EIS\n"},
    {"deployment_type",
     "; 0 - DEP_TYPE_ICA_V20\n"
     "; 1 - DEP_TYPE_ICA_V30 (DEP_TYPE_ICA_V40)\n"
     "; 10 - DEP_TYPE_GPU_PRE\n"
     "; 11 - DEP_TYPE_GPU_POST\n"},
};

// How many words a key has in this tuning.
size_t word_count(const InitKey& key, const is_tessaline_info_s& tuning) {
    if (!is_grid_table(key)) {
        return key.most;
    }
    const is_tessaline_lens_distortion_correction& ldc = tuning.lens_distortion_correction;
    const bool is_forward = key.name.starts_with("distorted");
    const uint32_t geometry = is_forward ? ldc.distorted_input_to_undistorted_ldc_grid_geometry
                                         : ldc.undistorted_to_distorted_input_ldc_grid_geometry;
    return geometry == 0 ? key.least : key.most;
}

template <typename Value>
Value value_at(const void* record, size_t offset) {
    Value value;
    std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
    return value;
}

// A value that is kept as a float.
float float_at(const InitKey& key, size_t index, const is_init_sensor_data& sensor) {
    const auto slot = static_cast<uint32_t>(key.offset);
    switch (key.kind) {
        case KeyKind::kGeneralModel:
            return eis_tuning_get_general_model_parameter(&sensor.tuning,
                                                          static_cast<uint32_t>(index));
        case KeyKind::kOis:
            return eis_tuning_get_ois(&sensor.tuning, slot);
        case KeyKind::kBehaviour:
            return eis_tuning_get_behaviour(&sensor.tuning, slot);
        case KeyKind::kDis:
            return eis_tuning_get_dis(&sensor.tuning, slot);
        default:
            return value_at<float>(&sensor, key.offset + index * sizeof(float));
    }
}

class IniWriter {
  public:
    IniWriter(const CaptureTarget& target, const InitData& data, uint32_t flags, uint32_t& status)
        : _file(target.prefix, target.is_type, info_of(CaptureFile::kInit).name, kIniBuffer,
                status),
          _row(target.row),
          _target(target),
          _data(data),
          _flags(flags) {}

    // Returns the number of failures.
    uint32_t write();

    const char* path() const { return _file.path(); }

  private:
    void keys(std::string_view group, const is_init_sensor_data& sensor);
    void key(const InitKey& key, const is_init_sensor_data& sensor);
    void integer(const InitKey& key, const void* record);
    void sensor(uint32_t index);
    void grid(const char* name, const NcLibWarpGrid* grid);
    void coordinates(const char* name, const char* axis, const NcLibWarpGrid& grid, bool is_x);
    void words(std::string_view name);
    void test();

    FileBuffer _file;
    RowText& _row;
    const CaptureTarget& _target;
    const InitData& _data;
    uint32_t _flags;
    uint32_t _failed = 0;
};

// The row holds the words.
void IniWriter::words(std::string_view name) {
    const char* const text = _row.text();
    if (text == nullptr) {
        EIS_ERR("IS0002", "failed to write line");
        ++_failed;
        return;
    }
    _failed += _file.print_line("%.*s = %s\n", static_cast<int>(name.size()), name.data(), text);
}

void IniWriter::integer(const InitKey& key, const void* record) {
    int64_t value = 0;
    switch (key.kind) {
        case KeyKind::kBool:
            value = value_at<unsigned char>(record, key.offset) != 0 ? 1 : 0;
            break;
        case KeyKind::kU16:
            value = value_at<uint16_t>(record, key.offset);
            break;
        case KeyKind::kU32:
            value = value_at<uint32_t>(record, key.offset);
            break;
        default:
            value = value_at<int32_t>(record, key.offset);
            break;
    }
    _failed += _file.print_line("%.*s = %" PRId64 "\n", static_cast<int>(key.name.size()),
                                key.name.data(), value);
}

void IniWriter::key(const InitKey& key, const is_init_sensor_data& sensor) {
    for (const auto& comment : kComments) {
        if (key.name == comment.key) {
            _failed += _file.print_line("%s", comment.lines);
        }
    }
    if (key.kind <= KeyKind::kI32) {
        const bool is_common = key.group == "common";
        integer(key, is_common ? static_cast<const void*>(_data.common) : &sensor);
        return;
    }
    _row.start();
    const size_t count = word_count(key, sensor.tuning);
    for (size_t i = 0; i < count; ++i) {
        const float value = float_at(key, i, sensor);
        if (key.kind == KeyKind::kGeneralModel) {
            _row.word_fixed16(value);
        } else {
            _row.word_short(value);
        }
    }
    words(key.name);
}

void IniWriter::keys(std::string_view group, const is_init_sensor_data& sensor) {
    for (const InitKey& entry : kInitKeys) {
        if (entry.group == group && is_written(entry, sensor.tuning)) {
            key(entry, sensor);
        }
    }
}

void IniWriter::coordinates(const char* name, const char* axis, const NcLibWarpGrid& grid,
                            bool is_x) {
    _row.start();
    for (size_t i = 0; i < size_t{grid.numRows} * grid.numColumns; ++i) {
        _row.word_short(is_x ? grid.grid[i].x : grid.grid[i].y);
    }
    char key[32];
    std::snprintf(key, sizeof key, "%s_grid_%s", name, axis);
    words(key);
}

void IniWriter::grid(const char* name, const NcLibWarpGrid* grid) {
    if (grid == nullptr || !grid->enable) {
        return;
    }
    _failed += _file.print_line("%s_width = %u\n", name, grid->transformDefinedOn.widthPixels);
    _failed += _file.print_line("%s_height = %u\n", name, grid->transformDefinedOn.heightLines);
    _failed += _file.print_line("%s_num_rows = %u\n", name, grid->numRows);
    _failed += _file.print_line("%s_num_cols = %u\n", name, grid->numColumns);
    _failed += _file.print_line("%s_extrapolate_type = %u\n", name,
                                static_cast<uint32_t>(grid->extrapolateType));
    coordinates(name, "x", *grid, true);
    coordinates(name, "y", *grid, false);
}

void IniWriter::sensor(uint32_t index) {
    constexpr const char* kGroups[] = {
        "top", "general", "timing",           "blur_masking",    "ois",
        "dis", "selfie",  "motion_detection", "z_lens_position", "lens_distortion_correction"};
    const is_init_sensor_data& record = _data.sensors[index];
    _failed += _file.print_line("\n[sensor_data\\idx%u]\n", index);
    keys("sensor", record);
    grid("ldc_in2out", record.ldc_in2out);
    grid("ldc_out2in", record.ldc_out2in);
    for (const char* group : kGroups) {
        _failed += _file.print_line("\n[sensor_data\\idx%u\\%s]\n", index, group);
        keys(group, record);
    }
}

void IniWriter::test() {
    _failed += _file.print_line("\n[test]\n");
    uint32_t version[3] = {};
    eis_get_lib_version(&version[0], &version[1], &version[2]);
    _failed += _file.print_line("API_version = %u.%u.%u\n", version[0], version[1], version[2]);
    _failed += _file.print_line("build_id = %s\n", kBuildId);
    const char* const type = type_word(_target.is_type);
    for (const bool is_output : {false, true}) {
        for (size_t i = 0; i < kNumCaptureFiles; ++i) {
            const CaptureFileInfo& info = kCaptureFiles[i];
            if (info.kind == CaptureKind::kInit || info.is_output != is_output ||
                !is_in_capture(info, _flags, _target.is_type)) {
                continue;
            }
            const std::string_view stem = stem_of(static_cast<CaptureFile>(i));
            const bool is_named_output = stem.starts_with("output_");
            _failed += _file.print_line(
                "%s%.*s_filename = %s_%s_%s\n", is_output && !is_named_output ? "output_" : "",
                static_cast<int>(stem.size()), stem.data(), _target.prefix, type, info.name);
        }
    }
    _failed += _file.print_line(
        "; Options of a replay; remove the semicolon to set one.\n"
        "; the corners of every output must stay inside the input\n"
        "; check_margin_breach = 1\n"
        "; a figure may differ by this many units of its last printed digit\n"
        "; fail_error_threshold = 4\n");
}

uint32_t IniWriter::write() {
    _failed += _file.print_line("; What the stabilizer was initialized with.\n\n[common]\n");
    keys("common", _data.sensors[0]);
    _failed += _file.print_line("\n[sensor_data]\nnum_sensors = %u\n", _data.num_sensors);
    for (uint32_t i = 0; i < _data.num_sensors; ++i) {
        sensor(i);
    }
    test();
    return _failed + _file.flush_buffer();
}

}  // namespace

void write_init_ini(const CaptureTarget& target, const InitData& data, uint32_t flags,
                    uint32_t& status) {
    uint32_t file_status = EIS_SUCCESS;
    IniWriter writer(target, data, flags, file_status);
    if (file_status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Cannot create init INI file");
        status = file_status;
        return;
    }
    const uint32_t failed = writer.write();
    if (failed != 0) {
        EIS_ERR("IS0002", "Failed to write %u lines in file: %s", failed, writer.path());
        EIS_ERR("IS0002", "Cannot write values init INI file");
        status = EIS_ERROR_CAPTURE_FILE;
    }
}

}  // namespace steadywarp
