// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// What the fuzzer started from, and everything it ever found, stays survivable.
TEST(FuzzCorpus, EveryInputIsSurvived) {
    size_t inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TUNING_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++inputs;
    }
    EXPECT_GE(inputs, 12u);
}
