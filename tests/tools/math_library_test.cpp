// SPDX-License-Identifier: Apache-2.0
// How far the C library's sine and its kin can move an answer. Two of them may differ in the last
// bit, as x86-64 with and without fused multiply-add does; here every call of the stabilizer
// answers one unit lower, the same or one higher, and the corpus is replayed against its
// undisturbed self.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "replay/output_bits.hpp"
#include "replay/replay_session.hpp"
#include "support/corpus.hpp"
#include "support/scratch_folder.hpp"

namespace {

// 0: undisturbed.
uint64_t g_seed = 0;
uint64_t g_disturbed = 0;

template <typename Function>
Function* next_of(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

uint64_t mixed(uint64_t x) {
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

// The same argument gets the same answer, as from any library. Zero and one stay: they are exact.
double disturbed(double value, uint64_t function) {
    if (g_seed == 0 || value == 0.0 || std::fabs(value) == 1.0 || !std::isfinite(value)) {
        return value;
    }
    const uint64_t choice = mixed(std::bit_cast<uint64_t>(value) ^ mixed(g_seed + function)) % 3;
    g_disturbed += choice != 0 ? 1 : 0;
    return choice == 0 ? value : std::nextafter(value, choice == 1 ? -HUGE_VAL : HUGE_VAL);
}

}  // namespace

// The dynamic linker takes a program's names ahead of the C library's, for the shared library too.
#define STEADYWARP_VISIBLE __attribute__((visibility("default")))
extern "C" {
STEADYWARP_VISIBLE double sin(double x) noexcept {
    static auto* const next = next_of<double(double)>("sin");
    return disturbed(next(x), 1);
}
STEADYWARP_VISIBLE double cos(double x) noexcept {
    static auto* const next = next_of<double(double)>("cos");
    return disturbed(next(x), 2);
}
STEADYWARP_VISIBLE void sincos(double x, double* sine, double* cosine) noexcept {
    static auto* const next = next_of<void(double, double*, double*)>("sincos");
    next(x, sine, cosine);
    *sine = disturbed(*sine, 1);
    *cosine = disturbed(*cosine, 2);
}
STEADYWARP_VISIBLE double asin(double x) noexcept {
    static auto* const next = next_of<double(double)>("asin");
    return disturbed(next(x), 3);
}
STEADYWARP_VISIBLE double atan2(double y, double x) noexcept {
    static auto* const next = next_of<double(double, double)>("atan2");
    return disturbed(next(y, x), 4);
}
STEADYWARP_VISIBLE double exp(double x) noexcept {
    static auto* const next = next_of<double(double)>("exp");
    return disturbed(next(x), 5);
}
}

namespace steadywarp::test {
namespace {

using tool::BitKind;
using tool::BitRow;

std::vector<BitRow> answers(const tool::CaptureSet& set, uint64_t seed) {
    std::vector<BitRow> rows;
    tool::OutputComparison comparison(set.texts(), 1.0);
    EXPECT_FALSE(comparison.open());
    testing::internal::CaptureStderr();
    g_seed = seed;
    const auto replayed = replay_capture(
        set.texts(), set.setup(), comparison,
        [&](const eis_utils_log_data& records) {
            const std::vector<BitRow> more = tool::bit_rows(records);
            rows.insert(rows.end(), more.begin(), more.end());
        },
        nullptr);
    g_seed = 0;
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(replayed.ok());
    return rows;
}

struct Figures {
    uint64_t compared = 0;
    uint64_t different = 0;
};

// docs/aarch64.md has the same bounds.
constexpr double kNearZero = 1e-12;
constexpr uint64_t kComparedForEachDifferent = 10000;

void compare(const BitRow& row, const BitRow& other, Figures& figures) {
    ASSERT_EQ(row.frame_id, other.frame_id);
    ASSERT_STREQ(row.field, other.field);
    ASSERT_EQ(row.numbers.size(), other.numbers.size()) << row.field;
    if (row.kind != BitKind::kFloat) {
        EXPECT_EQ(row.numbers, other.numbers) << row.field << " in frame " << row.frame_id;
        return;
    }
    for (size_t i = 0; i < row.numbers.size(); ++i) {
        ++figures.compared;
        if (row.numbers[i] == other.numbers[i]) {
            continue;
        }
        ++figures.different;
        const auto here = std::bit_cast<float>(static_cast<uint32_t>(row.numbers[i]));
        const auto there = std::bit_cast<float>(static_cast<uint32_t>(other.numbers[i]));
        EXPECT_TRUE(std::nextafter(here, there) == there ||
                    std::fabs(double{here} - double{there}) <= kNearZero)
            << row.field << " in frame " << row.frame_id << ": " << here << ", " << there;
    }
}

TEST(MathLibrary, ALastBitMovesAnswersByNoMoreThanDocumented) {
    Figures figures;
    for (const std::string& name : corpus_names()) {
        SCOPED_TRACE(name);
        const ScratchFolder folder;
        unpack_capture(name, folder.path());
        const auto set = tool::CaptureSet::open((folder.path() / name).string());
        ASSERT_TRUE(set.ok());
        const std::vector<BitRow> undisturbed = answers(set.value(), 0);
        for (uint64_t seed = 1; seed <= 3; ++seed) {
            const std::vector<BitRow> moved = answers(set.value(), seed);
            ASSERT_EQ(undisturbed.size(), moved.size());
            for (size_t i = 0; i < moved.size(); ++i) {
                compare(undisturbed[i], moved[i], figures);
            }
        }
    }
    EXPECT_GT(g_disturbed, 10000u);
    EXPECT_GT(figures.compared, 1000000u);
    EXPECT_LE(figures.different * kComparedForEachDifferent, figures.compared);
    RecordProperty("disturbed", std::to_string(g_disturbed));
    RecordProperty("different", std::to_string(figures.different));
}

}  // namespace
}  // namespace steadywarp::test
