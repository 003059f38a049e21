// SPDX-License-Identifier: Apache-2.0
#include "support/log_file.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace steadywarp::test {

LogFile::LogFile() : _saved(dup(2)), _file(memfd_create("log", 0)) {
    std::fflush(stderr);
    if (_saved < 0 || _file < 0 || dup2(_file, 2) < 0) {
        std::abort();
    }
}

LogFile::~LogFile() {
    std::fflush(stderr);
    dup2(_saved, 2);
    close(_saved);
    close(_file);
}

std::string LogFile::text() const {
    std::fflush(stderr);
    // The two descriptors share one position: that of the end.
    const off_t size = lseek(_file, 0, SEEK_CUR);
    std::string content(static_cast<size_t>(size), '\0');
    const ssize_t count = pread(_file, content.data(), content.size(), 0);
    content.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return content;
}

void LogFile::clear() {
    std::fflush(stderr);
    if (ftruncate(_file, 0) != 0 || lseek(_file, 0, SEEK_SET) != 0) {
        std::abort();
    }
}

}  // namespace steadywarp::test
