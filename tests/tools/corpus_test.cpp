// SPDX-License-Identifier: Apache-2.0
// The captures under tests/corpus: what the library answered when they were made it answers today.
// A change that is meant remakes them with scripts/update-corpus.
#include <gtest/gtest.h>

#include <algorithm>

#include "replay/replay_session.hpp"
#include "support/records.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> archives() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(CAPTURE_CORPUS)) {
        const std::string name = entry.path().filename().string();
        if (name.ends_with(".tar.xz")) {
            names.push_back(name.substr(0, name.size() - 7));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Corpus, IsThereAndSmall) {
    EXPECT_GE(archives().size(), 12u) << CAPTURE_CORPUS;
    uintmax_t bytes = 0;
    for (const std::string& name : archives()) {
        bytes += fs::file_size(fs::path(CAPTURE_CORPUS) / (name + ".tar.xz"));
    }
    EXPECT_LT(bytes, 400000u);
}

class Corpus : public testing::TestWithParam<std::string> {};

TEST_P(Corpus, AnswersAsItDid) {
    const ScratchFolder folder;
    const std::string command = "tar -xJf '" CAPTURE_CORPUS "/" + GetParam() + ".tar.xz' -C '" +
                                folder.path().string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    const auto set = tool::CaptureSet::open((folder.path() / GetParam()).string());
    ASSERT_TRUE(set.ok()) << set.fault().text();
    const auto& texts = set.value().texts();
    const auto fault = check_capture(texts, set.value().setup());
    ASSERT_FALSE(fault) << fault->text();
    tool::OutputComparison comparison(texts, 1.0);
    ASSERT_FALSE(comparison.open());
    testing::internal::CaptureStderr();
    const auto figures = replay_capture(texts, set.value().setup(), comparison, nullptr, nullptr);
    testing::internal::GetCapturedStderr();
    ASSERT_TRUE(figures.ok()) << figures.fault().text();
    EXPECT_GE(figures.value().frames_out, 5u);
    for (const tool::FieldFigure& field : comparison.figures()) {
        EXPECT_EQ(field.different, 0u) << field.name << ": largest difference " << field.largest
                                       << ", first in frame " << field.first_frame.value_or(0);
    }
}

INSTANTIATE_TEST_SUITE_P(Captures, Corpus, testing::ValuesIn(archives()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace steadywarp::test
