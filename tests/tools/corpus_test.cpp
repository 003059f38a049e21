// SPDX-License-Identifier: Apache-2.0
// The captures under tests/corpus: what the library answered when they were made it answers today.
// A change that is meant remakes them with scripts/update-corpus.
#include <gtest/gtest.h>

#include "replay/replay_session.hpp"
#include "support/corpus.hpp"
#include "support/records.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::test {
namespace {

namespace fs = std::filesystem;

TEST(Corpus, IsThereAndSmall) {
    EXPECT_GE(corpus_names().size(), 12u) << kCorpus;
    uintmax_t bytes = 0;
    for (const std::string& name : corpus_names()) {
        bytes += fs::file_size(kCorpus / (name + kPacked));
    }
    EXPECT_LT(bytes, 400000u);
}

class Corpus : public testing::TestWithParam<std::string> {};

TEST_P(Corpus, AnswersAsItDid) {
    const ScratchFolder folder;
    ASSERT_NO_FATAL_FAILURE(unpack_capture(GetParam(), folder.path()));
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

INSTANTIATE_TEST_SUITE_P(Captures, Corpus, testing::ValuesIn(corpus_names()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace steadywarp::test
