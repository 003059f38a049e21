// SPDX-License-Identifier: Apache-2.0
/// @file log_file.hpp
/// Standard error in a file of its own, to be looked at in between.
#pragma once

#include <cstdint>
#include <string>

namespace steadywarp::test {

/// While it lives, what is written to standard error goes to a file without a name.
class LogFile {
  public:
    LogFile();
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// What was written since the last clear().
    std::string text() const;
    void clear();

  private:
    int _saved;
    int _file;
};

}  // namespace steadywarp::test
