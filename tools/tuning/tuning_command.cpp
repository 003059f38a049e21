// SPDX-License-Identifier: Apache-2.0
#include "tuning_command.hpp"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tuning_description.hpp"

namespace {

constexpr int kDone = 0;
constexpr int kCheckFailed = 1;
constexpr int kBadInput = 2;

int Refuse(const std::string& text) {
    std::cerr << text << "\n";
    return kBadInput;
}

std::optional<std::string> ReadFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        return std::nullopt;
    }
    return text.str();
}

// Written beside the target and renamed, so that a failure leaves no half of a file.
bool WriteFile(const std::string& name, const char* bytes, size_t count) {
    const std::string part = name + ".part";
    std::ofstream file(part, std::ios::binary | std::ios::trunc);
    file.write(bytes, static_cast<std::streamsize>(count));
    file.close();
    if (!file || std::rename(part.c_str(), name.c_str()) != 0) {
        std::remove(part.c_str());
        return false;
    }
    return true;
}

int Build(const std::string& input, const std::string& output, const std::string& version_text) {
    std::optional<tuning::FileVersion> version;
    if (!version_text.empty()) {
        version = tuning::ParseVersion(version_text);
        if (!version || *version > tuning::FileVersion{5, 0, 0}) {
            return Refuse("--format-version " + version_text + ": expected at most 5.0.0");
        }
    }
    const auto text = ReadFile(input);
    if (!text) {
        return Refuse(input + ": cannot be read");
    }
    std::string error;
    const auto image = tuning::ParseDescription(*text, input, version, &error);
    if (!image) {
        return Refuse(error);
    }
    const tuning::Bytes bytes = tuning::Encode(*image);
    if (!WriteFile(output, reinterpret_cast<const char*>(bytes.data()), bytes.size())) {
        return Refuse(output + ": cannot be written");
    }
    return kDone;
}

int Examine(const std::string& input, bool dump) {
    const auto text = ReadFile(input);
    if (!text) {
        return Refuse(input + ": cannot be read");
    }
    std::vector<tuning::Finding> findings;
    const tuning::Image image =
        tuning::Decode(tuning::Bytes(text->begin(), text->end()), &findings);
    for (const tuning::Finding& finding : findings) {
        (dump ? std::cerr : std::cout)
            << input << ": offset " << finding.offset << ": " << finding.text << "\n";
    }
    if (dump) {
        std::cout << tuning::PrintDescription(image);
    }
    return findings.empty() ? kDone : kCheckFailed;
}

}  // namespace

int RunTuning(int argc, char** argv) {
    CLI::App app("Build, print and check tuning files", "steadywarp tuning");
    app.require_subcommand(1);
    std::string input;
    std::string output;
    std::string version;
    CLI::App* build = app.add_subcommand("build", "Make a tuning file from a description");
    build->add_option("description", input, "TOML file")->required()->type_name("FILE");
    build->add_option("-o,--output", output, "tuning file to write")->required()->type_name("FILE");
    build->add_option("--format-version", version, "version of the file, such as 5.0.0");
    build->footer("Example: steadywarp tuning build camera.toml -o camera.bin");
    CLI::App* dump = app.add_subcommand("dump", "Print a tuning file as a description");
    dump->add_option("file", input, "tuning file")->required()->type_name("FILE");
    dump->footer("Example: steadywarp tuning dump camera.bin > camera.toml");
    CLI::App* check = app.add_subcommand("check", "Say what is wrong with a tuning file");
    check->add_option("file", input, "tuning file")->required()->type_name("FILE");
    check->footer("Example: steadywarp tuning check camera.bin");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kBadInput;
    }
    return build->parsed() ? Build(input, output, version) : Examine(input, dump->parsed());
}
