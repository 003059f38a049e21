// SPDX-License-Identifier: Apache-2.0
#include "output/staged_files.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace steadywarp::tool {

StagedFiles::~StagedFiles() {
    if (committed_) {
        return;
    }
    for (const Entry& entry : entries_) {
        unlink(entry.staged.c_str());
    }
    if (made_folder_) {
        rmdir(folder_.c_str());
    }
}

Fault StagedFiles::fault_with_reason(const std::string& path) const {
    return {path, 0, std::string("cannot be written: ") + std::strerror(errno)};
}

std::optional<Fault> StagedFiles::open() {
    if (mkdir(folder_.c_str(), 0777) == 0) {
        made_folder_ = true;
        return std::nullopt;
    }
    struct stat status {};
    if (errno != EEXIST || stat(folder_.c_str(), &status) != 0) {
        return fault_with_reason(folder_);
    }
    if (!S_ISDIR(status.st_mode)) {
        return Fault{folder_, 0, "expected a folder for the output"};
    }
    return std::nullopt;
}

std::string StagedFiles::staged_path(const std::string& name, std::optional<Fault>& fault) const {
    struct stat status {};
    const std::string path = folder_ + "/" + name;
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        // Found now, not when its neighbours have their names already.
        fault = Fault{path, 0, "expected no folder of this name"};
        return {};
    }
    // The process id keeps two runs into one folder apart.
    return folder_ + "/." + name + "." + std::to_string(getpid()) + ".tmp";
}

std::FILE* StagedFiles::add(const std::string& name, std::optional<Fault>& fault) {
    std::string staged = staged_path(name, fault);
    if (fault) {
        return nullptr;
    }
    std::unique_ptr<std::FILE, CloseFile> file(std::fopen(staged.c_str(), "wb"));
    if (!file) {
        fault = fault_with_reason(folder_ + "/" + name);
        return nullptr;
    }
    entries_.push_back({name, std::move(staged), std::move(file)});
    return entries_.back().file.get();
}

std::string StagedFiles::add_path(const std::string& name, std::optional<Fault>& fault) {
    std::string staged = staged_path(name, fault);
    if (!fault) {
        entries_.push_back({name, staged, nullptr});
    }
    return staged;
}

std::optional<Fault> StagedFiles::commit() {
    for (Entry& entry : entries_) {
        if (!entry.file) {
            continue;
        }
        const bool bad = std::ferror(entry.file.get()) != 0;
        if (std::fclose(entry.file.release()) != 0 || bad) {
            return fault_with_reason(folder_ + "/" + entry.name);
        }
    }
    for (const Entry& entry : entries_) {
        const std::string path = folder_ + "/" + entry.name;
        if (std::rename(entry.staged.c_str(), path.c_str()) != 0) {
            return fault_with_reason(path);
        }
    }
    committed_ = true;
    return std::nullopt;
}

}  // namespace steadywarp::tool
