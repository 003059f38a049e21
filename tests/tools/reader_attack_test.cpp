// SPDX-License-Identifier: Apache-2.0
// Damaged input: whatever stands in a file, a reader gives a recording that keeps its promises or
// one line that names a place in the file.
#include <gtest/gtest.h>

#include "simulator/random.hpp"
#include "support/checked_readers.hpp"

namespace steadywarp::tool {
namespace {

using test::kCheckedReaders;
using test::promise_one_line;

TEST(DamagedInput, CutAtEveryByte) {
    for (const auto& reader : kCheckedReaders) {
        ASSERT_FALSE(reader.read(reader.text)) << reader.read(reader.text)->text();
        size_t refused = 0;
        for (size_t length = 0; length < reader.text.size(); ++length) {
            const std::string text = reader.text.substr(0, length);
            if (const auto fault = reader.read(text)) {
                promise_one_line(*fault, text);
                ++refused;
            }
        }
        EXPECT_GT(refused, reader.text.size() / 20) << reader.name;
    }
}

TEST(DamagedInput, BytesReplacedDoubledAndRemoved) {
    constexpr uint64_t kSeed = 20240607;
    SCOPED_TRACE(kSeed);
    using std::string_view_literals::operator""sv;
    constexpr std::string_view kBytes = "\0\n\r ,;=[]\\.-+eEnaif0123456789\xFF\x80x"sv;
    Random random(kSeed);
    for (const auto& reader : kCheckedReaders) {
        size_t refused = 0;
        size_t taken = 0;
        for (int round = 0; round < 4000; ++round) {
            std::string text = reader.text;
            for (uint64_t hits = 1 + random.next() % 4; hits > 0; --hits) {
                const size_t at = random.next() % text.size();
                const char byte = kBytes[random.next() % kBytes.size()];
                switch (random.next() % 3) {
                    case 0:
                        text[at] = byte;
                        break;
                    case 1:
                        text.insert(at, 1, byte);
                        break;
                    default:
                        text.erase(at, 1 + random.next() % 8);
                        break;
                }
            }
            if (const auto fault = reader.read(text)) {
                promise_one_line(*fault, text);
                ++refused;
            } else {
                ++taken;
            }
        }
        EXPECT_GT(refused, 400u) << reader.name;
        EXPECT_GT(taken, 100u) << reader.name;
    }
}

}  // namespace
}  // namespace steadywarp::tool
