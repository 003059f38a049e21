// SPDX-License-Identifier: Apache-2.0
/// @file progress.hpp
/// A bar on standard error, for people only: nothing is written unless it is a terminal.
#pragma once

#include <unistd.h>

#include <cstdio>

namespace steadywarp::tool {

/// Shows how much of a known amount of work is done; wipes itself out at its end.
class Progress {
  public:
    explicit Progress(size_t total) : total_(total), shown_(isatty(STDERR_FILENO) != 0) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() {
        if (shown_) {
            std::fputs("\r\033[K", stderr);
        }
    }

    /// Draw the bar if it has grown by a column since it was drawn last.
    void step(size_t done) {
        constexpr size_t kColumns = 40;
        const size_t columns = done * kColumns / total_;
        if (!shown_ || (done != 1 && columns == columns_)) {
            return;
        }
        columns_ = columns;
        constexpr const char* kBar = "########################################";
        std::fprintf(stderr, "\r[%-40.*s] %zu of %zu frames", static_cast<int>(columns), kBar, done,
                     total_);
    }

  private:
    size_t total_;
    size_t columns_ = 0;
    bool shown_;
};

}  // namespace steadywarp::tool
