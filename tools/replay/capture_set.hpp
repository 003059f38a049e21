// SPDX-License-Identifier: Apache-2.0
/// @file capture_set.hpp
/// The files of one capture: found on disk, or texts in memory.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "capture_files.hpp"
#include "input/camera.hpp"
#include "input/mapped_file.hpp"

namespace steadywarp::tool {

/// The files as texts, by CaptureFile.
struct CaptureTexts {
    struct Text {
        std::string path;                      ///< for messages
        std::optional<std::string_view> text;  ///< nothing: the capture has no such file
    };
    std::array<Text, kNumCaptureFiles> files;

    const Text& of(CaptureFile file) const { return files[static_cast<size_t>(file)]; }
    Text& of(CaptureFile file) { return files[static_cast<size_t>(file)]; }
};

/// What init_data.ini says.
struct CaptureSetup {
    Camera camera;
    bool names_files = false;  ///< a capture's own; then it tells which files there are
    /// The files that it names, by CaptureFile.
    std::array<bool, kNumCaptureFiles> named{};
    /// Units of the last printed digit by which a figure may differ.
    double fail_error_threshold = 1.0;
    bool check_margin_breach = false;
};

/// Read init_data.ini.
Result<CaptureSetup> parse_setup(const CaptureTexts::Text& ini);

/// Check that a capture has all that a replay needs.
std::optional<Fault> check_complete(const CaptureTexts& texts, const CaptureSetup& setup);

/// A capture on disk.
class CaptureSet {
  public:
    /// Find a capture by its folder, if it is the only one there, or by the start of its files'
    /// names, with or without the word for its type.
    static Result<CaptureSet> open(const std::string& folder_or_prefix);

    const CaptureTexts& texts() const { return texts_; }
    const CaptureSetup& setup() const { return setup_; }

  private:
    std::optional<Fault> map_files(const std::string& stem);

    std::array<MappedFile, kNumCaptureFiles> files_;
    CaptureTexts texts_;
    CaptureSetup setup_;
};

}  // namespace steadywarp::tool
