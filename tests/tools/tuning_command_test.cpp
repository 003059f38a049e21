// SPDX-License-Identifier: Apache-2.0
#include "tuning_command.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/scratch_folder.hpp"

namespace {

namespace fs = std::filesystem;
using steadywarp::test::read_text;
using steadywarp::test::TemporaryFolder;
using steadywarp::test::write_text;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome run(std::vector<std::string> words) {
    words.insert(words.begin(), "tuning");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = RunTuning(static_cast<int>(argv.size()), argv.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

class TuningCommand : public testing::Test {
  protected:
    std::string at(const char* name) const { return (_folder.path() / name).string(); }

    const TemporaryFolder _folder;
};

TEST_F(TuningCommand, BuildsDumpsAndBuildsTheSameBytes) {
    const std::string seed = TUNING_SEED;
    for (const char* version : {"1.0.1", "1.0.2", "2.0.0", "3.0.0", "4.0.0", "5.0.0"}) {
        ASSERT_EQ(run({"build", seed, "-o", at("a.bin"), "--format-version", version}).status, 0)
            << version;
        const Outcome check = run({"check", at("a.bin")});
        EXPECT_EQ(check.status, 0) << version << check.out;
        const Outcome dump = run({"dump", at("a.bin")});
        ASSERT_EQ(dump.status, 0) << version << dump.err;
        write_text(at("b.toml"), dump.out);
        ASSERT_EQ(run({"build", at("b.toml"), "-o", at("b.bin")}).status, 0) << version;
        EXPECT_EQ(read_text(at("a.bin")), read_text(at("b.bin"))) << version;
        EXPECT_GT(read_text(at("a.bin")).size(), 300u);
    }
}

TEST_F(TuningCommand, SaysWhereAFileIsWrong) {
    ASSERT_EQ(run({"build", TUNING_SEED, "-o", at("a.bin")}).status, 0);
    std::string bytes = read_text(at("a.bin"));
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 0x55);
    write_text(at("a.bin"), bytes);
    const Outcome spoiled = run({"check", at("a.bin")});
    EXPECT_EQ(spoiled.status, 1);
    EXPECT_NE(spoiled.out.find("a.bin: offset "), std::string::npos) << spoiled.out;
    write_text(at("a.bin"), bytes.substr(0, 40));
    EXPECT_EQ(run({"check", at("a.bin")}).status, 1);
}

TEST_F(TuningCommand, RefusesBadInputAndLeavesNothing) {
    write_text(at("bad.toml"), "version = \"5.0.0\"\n[[mode]\n");
    struct Row {
        std::vector<std::string> words;
        const char* text;
    };
    const std::vector<Row> rows = {
        {{"build", at("none.toml"), "-o", at("x.bin")}, "none.toml: cannot be read"},
        {{"build", at("bad.toml"), "-o", at("x.bin")}, "bad.toml:2"},
        {{"build", TUNING_SEED, "-o", at("x.bin"), "--format-version", "6.0.0"}, "at most 5.0.0"},
        {{"build", TUNING_SEED, "-o", at("no/such/folder/x.bin")}, "cannot be written"},
        {{"dump", at("none.bin")}, "cannot be read"},
        {{"frobnicate"}, ""},
    };
    for (const Row& row : rows) {
        const Outcome outcome = run(row.words);
        EXPECT_EQ(outcome.status, 2) << row.words[0];
        EXPECT_NE(outcome.err.find(row.text), std::string::npos) << outcome.err;
    }
    EXPECT_FALSE(fs::exists(at("x.bin")));
    EXPECT_FALSE(fs::exists(at("x.bin.part")));
}

}  // namespace
