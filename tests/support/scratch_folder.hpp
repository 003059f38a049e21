// SPDX-License-Identifier: Apache-2.0
/// @file scratch_folder.hpp
/// Folders of a test's own, and whole files as texts.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace steadywarp::test {

/// A folder that goes away with the object.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = std::filesystem::temp_directory_path() / "steadywarp-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            std::abort();
        }
        _path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return _path; }

  private:
    std::filesystem::path _path;
};

/// One that is the working directory while it exists, with the folder that captures are written to.
class ScratchFolder : public TemporaryFolder {
  public:
    ScratchFolder() : _before(std::filesystem::current_path()) {
        std::filesystem::create_directories(captures());
        std::filesystem::current_path(path());
    }
    ~ScratchFolder() { std::filesystem::current_path(_before); }

    std::filesystem::path captures() const { return path() / "data/vendor/camera"; }

  private:
    std::filesystem::path _before;
};

inline std::string read_text(const std::filesystem::path& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

inline void write_text(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace steadywarp::test
