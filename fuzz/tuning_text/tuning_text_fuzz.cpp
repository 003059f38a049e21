// SPDX-License-Identifier: Apache-2.0
// The two ways into the tuning commands. First byte even: a description; what it makes must read
// back without a finding, and its dump must make the same bytes. First byte odd: a file of any
// bytes; it is listed and dumped, and the dump is a description or is refused.
#include <cstdio>
#include <cstdlib>

#include "tuning_description.hpp"

namespace {

void Require(bool good, const char* what) {
    if (!good) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

bool OnlyLinks(const std::vector<tuning::Finding>& findings) {
    for (const tuning::Finding& finding : findings) {
        if (finding.text.find("the links of mode") == std::string::npos) {
            return false;
        }
    }
    return true;
}

void TryDescription(const std::string& text) {
    std::string error;
    const auto image = tuning::ParseDescription(text, "fuzz", std::nullopt, &error);
    Require(image || error.rfind("fuzz:", 0) == 0, "an error names its place");
    if (!image || image->version > tuning::FileVersion{5, 0, 0}) {
        return;
    }
    const tuning::Bytes bytes = tuning::Encode(*image);
    std::vector<tuning::Finding> findings;
    const tuning::Image back = tuning::Decode(bytes, &findings);
    // A description may say links that lead in a circle; nothing else that it can say is wrong.
    Require(OnlyLinks(findings), "what was built is in order");
    const std::string dump = tuning::PrintDescription(back);
    const auto again = tuning::ParseDescription(dump, "dump", std::nullopt, &error);
    Require(again.has_value(), "a dump is a description");
    Require(tuning::Encode(*again) == bytes, "build, dump, build gives the same bytes");
}

void TryFile(const tuning::Bytes& bytes) {
    std::vector<tuning::Finding> findings;
    const tuning::Image image = tuning::Decode(bytes, &findings);
    for (const tuning::Finding& finding : findings) {
        Require(!finding.text.empty(), "a finding says something");
    }
    std::string error;
    tuning::ParseDescription(tuning::PrintDescription(image), "dump", std::nullopt, &error);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    if ((data[0] & 1) == 0) {
        TryDescription(std::string(data + 1, data + size));
    } else {
        TryFile(tuning::Bytes(data + 1, data + size));
    }
    return 0;
}
