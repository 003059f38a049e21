// SPDX-License-Identifier: Apache-2.0
#include "replay/capture_set.hpp"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

namespace fs = std::filesystem;

/// Some ten times what sixteen sensors with all their grids take.
constexpr size_t kLargestSetup = 64 << 20;

constexpr std::string_view kIniEnding = "_init_data.ini";

bool is_file(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

/// Start of the files' names, ahead of "_NAME".
Result<std::string> stem_in_folder(const std::string& folder) {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string path = entry->path().string();
        if (path.ends_with(kIniEnding)) {
            found.push_back(path.substr(0, path.size() - kIniEnding.size()));
        }
    }
    if (error) {
        return Fault{folder, 0, "cannot be read: " + error.message()};
    }
    std::sort(found.begin(), found.end());
    if (found.empty()) {
        return Fault{folder, 0, "expected a capture in this folder, a file *_init_data.ini"};
    }
    if (found.size() > 1) {
        return Fault{folder, 0,
                     "expected one capture in this folder, found " + found[0] + ", " + found[1] +
                         (found.size() > 2 ? ", ..." : "") + "; name one of them"};
    }
    return found.front();
}

Result<std::string> find_stem(const std::string& name) {
    std::error_code error;
    if (fs::is_directory(name, error)) {
        return stem_in_folder(name);
    }
    std::vector<std::string> candidates = {name};
    for (const uint32_t type :
         {IS_TYPE_EIS_2_0, IS_TYPE_EIS_3_0, IS_TYPE_DISTORTION_CORRECTION_ONLY}) {
        candidates.push_back(name + "_" + type_word(type));
    }
    std::vector<std::string> found;
    for (const std::string& candidate : candidates) {
        if (is_file(candidate + std::string(kIniEnding))) {
            found.push_back(candidate);
        }
    }
    if (found.empty()) {
        return Fault{name, 0, "expected a folder with a capture, or the start of its files' names"};
    }
    if (found.size() > 1) {
        return Fault{name, 0,
                     "expected one capture of this name, found " + found[0] + " and " + found[1]};
    }
    return found.front();
}

std::string filename_key(CaptureFile file) {
    const std::string stem(stem_of(file));
    const bool needs_word = info_of(file).is_output && !stem.starts_with("output_");
    return (needs_word ? "output_" : "") + stem + "_filename";
}

Result<CaptureSetup> parse_options(Camera camera, const std::string& path) {
    CaptureSetup setup;
    for (const IniEntry& entry : camera.test) {
        for (size_t i = 0; i < kNumCaptureFiles; ++i) {
            if (entry.key == filename_key(static_cast<CaptureFile>(i))) {
                setup.named[i] = true;
            }
        }
        setup.names_files |= entry.key == "API_version";
        if (entry.key == "fail_error_threshold") {
            const auto value = parse_number(entry.value);
            if (!value || *value < 0.0) {
                return Fault{path, entry.line,
                             "expected fail_error_threshold as a number from 0, found " +
                                 tool::quoted(entry.value)};
            }
            setup.fail_error_threshold = *value;
        }
        if (entry.key == "check_margin_breach") {
            if (entry.value != "0" && entry.value != "1") {
                return Fault{
                    path, entry.line,
                    "expected check_margin_breach as 0 or 1, found " + tool::quoted(entry.value)};
            }
            setup.check_margin_breach = entry.value == "1";
        }
    }
    setup.camera = std::move(camera);
    return setup;
}

}  // namespace

Result<CaptureSetup> parse_setup(const CaptureTexts::Text& ini) {
    if (ini.text.value_or("").size() > kLargestSetup) {
        return Fault{ini.path, 0,
                     "expected a file of at most " + std::to_string(kLargestSetup) + " bytes"};
    }
    Result<Camera> camera = parse_camera(ini.text.value_or(""), ini.path, CameraFileKind::kCapture);
    if (!camera.ok()) {
        return camera.fault();
    }
    return parse_options(std::move(camera.value()), ini.path);
}

std::optional<Fault> check_complete(const CaptureTexts& texts, const CaptureSetup& setup) {
    const is_init_common_data& common = setup.camera.common;
    const struct {
        CaptureFile file;
        bool is_needed;
    } needs[] = {
        {CaptureFile::kFrame, true},
        {CaptureFile::kGyro, true},
        {CaptureFile::kOis, common.is_ois_enabled},
        {CaptureFile::kIfovc, common.is_ifovc_enabled},
        {CaptureFile::kSatMatrices,
         common.is_sat_enabled && common.is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY},
        {CaptureFile::kMotionVectors,
         common.is_dis_enabled && common.is_type != IS_TYPE_DISTORTION_CORRECTION_ONLY},
    };
    for (const auto& need : needs) {
        if (need.is_needed && !texts.of(need.file).text) {
            return Fault{texts.of(need.file).path, 0,
                         "expected this file, which a replay of such a session needs"};
        }
    }
    return std::nullopt;
}

std::optional<Fault> CaptureSet::map_files(const std::string& stem) {
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        CaptureTexts::Text& text = texts_.files[i];
        text.path = stem + "_" + kCaptureFiles[i].name;
        const bool is_ini = kCaptureFiles[i].kind == CaptureKind::kInit;
        // A file that the setup does not name may be left over from another capture.
        if (text.text || (!is_ini && setup_.names_files && !setup_.named[i]) ||
            (!is_ini && !setup_.names_files && !is_file(text.path))) {
            continue;
        }
        Result<MappedFile> file = MappedFile::open(text.path);
        if (!file.ok()) {
            return file.fault();
        }
        files_[i] = std::move(file.value());
        text.text = files_[i].text();
    }
    return std::nullopt;
}

Result<CaptureSet> CaptureSet::open(const std::string& folder_or_prefix) {
    const Result<std::string> stem = find_stem(folder_or_prefix);
    if (!stem.ok()) {
        return stem.fault();
    }
    CaptureSet set;
    CaptureTexts::Text& ini = set.texts_.of(CaptureFile::kInit);
    ini.path = stem.value() + std::string(kIniEnding);
    Result<MappedFile> file = MappedFile::open(ini.path);
    if (!file.ok()) {
        return file.fault();
    }
    MappedFile& kept = set.files_[static_cast<size_t>(CaptureFile::kInit)];
    kept = std::move(file.value());
    ini.text = kept.text();
    Result<CaptureSetup> setup = parse_setup(ini);
    if (!setup.ok()) {
        return setup.fault();
    }
    set.setup_ = std::move(setup.value());
    if (auto fault = set.map_files(stem.value())) {
        return *fault;
    }
    if (auto fault = check_complete(set.texts_, set.setup_)) {
        return *fault;
    }
    return set;
}

}  // namespace steadywarp::tool
