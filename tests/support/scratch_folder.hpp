// SPDX-License-Identifier: Apache-2.0
/// @file scratch_folder.hpp
/// A folder of a test's own that is the working directory while it exists, with the folder that
/// captures are written to.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace steadywarp::test {

class ScratchFolder {
  public:
    ScratchFolder() : _before(std::filesystem::current_path()) {
        std::string name = std::filesystem::temp_directory_path() / "steadywarp-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            std::abort();
        }
        _path = name;
        std::filesystem::create_directories(captures());
        std::filesystem::current_path(_path);
    }
    ~ScratchFolder() {
        std::filesystem::current_path(_before);
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return _path; }
    std::filesystem::path captures() const { return _path / "data/vendor/camera"; }

  private:
    std::filesystem::path _before;
    std::filesystem::path _path;
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
