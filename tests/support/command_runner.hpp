// SPDX-License-Identifier: Apache-2.0
/// @file command_runner.hpp
/// The real command in a process of its own, with a folder that goes away after the test.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "support/scratch_folder.hpp"

namespace steadywarp::test {

inline std::string content(const std::filesystem::path& path) {
    return read_text(path);
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
        write_text(folder_ / name, text);
    }

    nlohmann::json json(const std::string& name) const {
        return nlohmann::json::parse(content(folder_ / name));
    }

  private:
    const TemporaryFolder temporary_;

  protected:
    const std::filesystem::path& folder_ = temporary_.path();
};

}  // namespace steadywarp::test
