// SPDX-License-Identifier: Apache-2.0
/// @file corpus.hpp
/// The packed captures under tests/corpus.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace steadywarp::test {

inline const std::filesystem::path kCorpus = CAPTURE_CORPUS;
inline constexpr const char* kPacked = ".tar.xz";

/// Names of the captures, in order.
inline std::vector<std::string> corpus_names() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kCorpus)) {
        const std::string file = entry.path().filename().string();
        if (file.ends_with(kPacked)) {
            names.push_back(file.substr(0, file.find(kPacked)));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Unpack a capture into a folder of its name below `target`.
inline void unpack_capture(const std::string& name, const std::filesystem::path& target) {
    const std::string command =
        "tar -xJf '" + (kCorpus / (name + kPacked)).string() + "' -C '" + target.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

}  // namespace steadywarp::test
