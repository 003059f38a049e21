// SPDX-License-Identifier: Apache-2.0
/// @file staged_files.hpp
/// A set of output files that appears whole or not at all.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "input/result.hpp"

namespace steadywarp::tool {

/// Files written under temporary names in one folder and renamed together at the end.
///
/// Unless commit() succeeds the destructor removes the temporary files, and the folder too if it
/// was made here.
class StagedFiles {
  public:
    explicit StagedFiles(std::string folder) : folder_(std::move(folder)) {}
    ~StagedFiles();
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;

    /// Make the folder if it does not exist; its parent must.
    std::optional<Fault> open();

    /// Begin a file. @return NULL and the fault if it cannot be created.
    std::FILE* add(const std::string& name, std::optional<Fault>& fault);

    /// Reserve a name for a file that someone else writes, and say where to write it; empty and a
    /// fault if the name cannot be used.
    std::string add_path(const std::string& name, std::optional<Fault>& fault);

    /// Close all files and give them their names. A file that could not be written to its end is a
    /// fault, and none appears.
    std::optional<Fault> commit();

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    struct Entry {
        std::string name;
        std::string staged;
        std::unique_ptr<std::FILE, CloseFile> file;
    };

    std::string staged_path(const std::string& name, std::optional<Fault>& fault) const;
    Fault fault_with_reason(const std::string& path) const;

    std::string folder_;
    bool made_folder_ = false;
    bool committed_ = false;
    std::vector<Entry> entries_;
};

}  // namespace steadywarp::tool
