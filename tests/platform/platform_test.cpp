// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>

#include "platform/log.hpp"
#include "platform/memory.hpp"
#include "platform/os_utils.hpp"
#include "platform/trace.hpp"

namespace {

using namespace Zelm;

struct Seen {
    std::string text;
    uint32_t group = 0;
    Log::Level level = Log::Level::kDebug;
};

void Remember(uint32_t group, Log::Level level, const char* text, void* user) {
    *static_cast<Seen*>(user) = {text, group, level};
}

TEST(Log, FormatsCutsAndHandsOnToTheSink) {
    Seen seen;
    Log::SetSink(Remember, &seen);
    Log::LogSystem(0x20000, Log::Level::kWarning, "%s is %d", "answer", 42);
    EXPECT_EQ(seen.text, "answer is 42");
    EXPECT_EQ(seen.group, 0x20000u);
    EXPECT_EQ(seen.level, Log::Level::kWarning);
    const std::string longer(5000, 'x');
    Log::LogSystem(1, Log::Level::kError, "%s", longer.c_str());
    EXPECT_EQ(seen.text, longer.substr(0, 4095));
    Log::SetSink(nullptr, nullptr);
    testing::internal::CaptureStderr();
    Log::LogSystem(1, Log::Level::kError, "to standard error");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to standard error\n");
    EXPECT_EQ(seen.text.size(), 4095u);
}

TEST(Log, GetFileNameGivesWhatStandsBehindTheLastSlash) {
    const char* const kRows[][2] = {{"/a/b/c.cpp", "c.cpp"},
                                    {"c.cpp", "c.cpp"},
                                    {"a/", ""},
                                    {"", ""},
                                    {"a\\b.cpp", "a\\b.cpp"}};
    for (const auto& row : kRows) {
        EXPECT_STREQ(Log::GetFileName(row[0]), row[1]);
    }
}

TEST(Trace, CallsTheHooksThatThereAre) {
    OsUtils::TraceBegin("nobody listens");
    OsUtils::TraceEnd();
    std::string seen;
    OsUtils::SetTraceHooks(
        {[](const char* text, void* user) { *static_cast<std::string*>(user) += text; }, nullptr,
         &seen});
    OsUtils::TraceBegin("begin");
    OsUtils::TraceEnd();
    OsUtils::SetTraceHooks(
        {nullptr, [](void* user) { *static_cast<std::string*>(user) += ";"; }, &seen});
    OsUtils::TraceBegin("lost");
    OsUtils::TraceEnd();
    OsUtils::SetTraceHooks({});
    EXPECT_EQ(seen, "begin;");
}

TEST(OsUtils, BoundedStringsAlwaysEndAndTellTheWantedLength) {
    char text[8];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(OsUtils::StrLCpy(text, "abc", sizeof text), 3u);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(OsUtils::StrLCat(text, "defghij", sizeof text), 10u);
    EXPECT_STREQ(text, "abcdefg");
    EXPECT_EQ(OsUtils::StrLCpy(text, "0123456789", 4), 10u);
    EXPECT_STREQ(text, "012");
    EXPECT_EQ(text[4], 'e');  // nothing behind the given size is touched
    EXPECT_EQ(OsUtils::StrNICmp("Gyro_A", "gYRO_b", 5), 0);
    EXPECT_LT(OsUtils::StrNICmp("Gyro_A", "gYRO_b", 6), 0);
    EXPECT_GT(OsUtils::StrNICmp("b", "A", 9), 0);
}

TEST(OsUtils, TellsProcessAndThread) {
    EXPECT_EQ(OsUtils::GetProcessID(), getpid());
    const int32_t here = OsUtils::GetThreadID();
    EXPECT_EQ(here, getpid());  // the first thread carries the process's number
    int32_t there = here;
    std::thread([&] { there = OsUtils::GetThreadID(); }).join();
    EXPECT_NE(there, here);
}

TEST(Memory, IsZeroAndAlignedOrNotThere) {
    for (const size_t alignment : {0u, 1u, 8u, 16u, 64u, 4096u}) {
        auto* block =
            static_cast<unsigned char*>(ZelmCalloc(1000, alignment, ZelmMemoryType::kGeneral));
        ASSERT_NE(block, nullptr) << alignment;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % (alignment != 0 ? alignment : 16), 0u);
        EXPECT_EQ(block[0] | block[500] | block[999], 0);
        std::memset(block, 0xA5, 1000);
        ZelmFree(block, ZelmMemoryType::kGeneral);
    }
    EXPECT_EQ(ZelmCalloc(0, 8, ZelmMemoryType::kGeneral), nullptr);
    EXPECT_EQ(ZelmCalloc(8, 24, ZelmMemoryType::kGeneral), nullptr);
    ZelmFree(nullptr, ZelmMemoryType::kParameter);
}

}  // namespace
