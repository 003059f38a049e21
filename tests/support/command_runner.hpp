// SPDX-License-Identifier: Apache-2.0
/// @file command_runner.hpp
/// The real command in a process of its own, with a folder that goes away after the test.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

namespace steadywarp::test {

inline std::string content(const std::filesystem::path& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

/// What a process left behind.
struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// A test with a folder of its own; '@' in a command line stands for it.
class CommandTest : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = testing::TempDir() + "steadywarp-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string with_folder(std::string text) const {
        for (size_t at = 0; (at = text.find('@', at)) != std::string::npos;) {
            text.replace(at, 1, folder_.string());
        }
        return text;
    }

    /// Run any program by a shell.
    Outcome shell(const std::string& line) const {
        const std::string whole = with_folder(line) + " >" + (folder_ / "stdout").string() + " 2>" +
                                  (folder_ / "stderr").string();
        const int status = std::system(whole.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(folder_ / "stdout"),
                content(folder_ / "stderr")};
    }

    /// Run the command with arguments.
    Outcome run(const std::string& arguments) const {
        return shell(std::string(STEADYWARP_COMMAND) + " " + arguments);
    }

    void file(const std::string& name, const std::string& text) const {
        std::ofstream(folder_ / name, std::ios::binary) << text;
    }

    nlohmann::json json(const std::string& name) const {
        return nlohmann::json::parse(content(folder_ / name));
    }

    std::filesystem::path folder_;
};

}  // namespace steadywarp::test
