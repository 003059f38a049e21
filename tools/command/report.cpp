// SPDX-License-Identifier: Apache-2.0
#include "command/report.hpp"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "command/stabilize.hpp"
#include "input/text_file.hpp"
#include "output/staged_files.hpp"
#include "report/page.hpp"

namespace steadywarp::tool {
namespace {

/// Read a file that must be JSON and hold these keys.
Result<std::string> read_json(const std::string& path, std::initializer_list<const char*> keys) {
    Result<std::string> text = read_file(path);
    if (!text.ok()) {
        return text;
    }
    const auto json = nlohmann::json::parse(text.value(), nullptr, false);
    for (const char* key : keys) {
        if (!json.is_object() || !json.contains(key)) {
            return Fault{path, 0, std::string("expected what stabilize writes, with a key ") + key};
        }
    }
    return text;
}

std::optional<Fault> write_page(const std::string& folder) {
    const auto summary = read_json(folder + "/summary.json", {"source", "frames"});
    if (!summary.ok()) {
        return summary.fault();
    }
    const auto trace = read_json(folder + "/trace.json", {"frame", "t", "spectrum", "mesh"});
    if (!trace.ok()) {
        return trace.fault();
    }
    StagedFiles files(folder);
    std::optional<Fault> fault = files.open();
    std::FILE* const file = fault ? nullptr : files.add("report.html", fault);
    if (fault) {
        return fault;
    }
    const std::string page = report_page(summary.value(), trace.value());
    std::fwrite(page.data(), 1, page.size(), file);
    return files.commit();
}

}  // namespace

int report_again(const std::string& folder) {
    if (const auto fault = write_page(folder)) {
        std::fprintf(stderr, "steadywarp: %s\n", fault->text().c_str());
        return kExitBadInput;
    }
    std::printf("%s/report.html\n", folder.c_str());
    return kExitDone;
}

}  // namespace steadywarp::tool
