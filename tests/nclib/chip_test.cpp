// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "steadywarp/nclib_chip.hpp"

namespace {

TEST(NcLibChipInfo, MapsEveryVersionCodeToItsCapabilities) {
    struct Row {
        uint32_t code;
        uint32_t word;
        uint32_t ica_version;
        bool corners;
        bool high_res;
    };
    constexpr Row kRows[] = {
        // code     word         ica  corners high-res
        {0x10500, 0x00010900, 10, true, false},  {0x10700, 0x00010900, 10, true, false},
        {0x10605, 0x00011200, 20, false, false}, {0x10705, 0x00011200, 20, false, false},
        {0x40907, 0x00011200, 20, false, false}, {0x40908, 0x00011200, 20, false, false},
        {0x40800, 0x490A3301, 30, false, true},  {0x50700, 0x8B1A3301, 30, false, true},
        {0x50800, 0x8B1A3301, 30, false, true},  {0x60800, 0x33BA3401, 40, false, true},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << std::hex << row.code);
        NcLibChipInfo::Set(row.code, 7);
        const auto capabilities = NcLibChipInfo::GetCapabilities();
        EXPECT_EQ(NcLibChipInfo::GetOrlokVersion(), row.code);
        EXPECT_EQ(capabilities.word, row.word);
        EXPECT_EQ(NcLibGetIpeIcaVersion(), row.ica_version);
        EXPECT_EQ(capabilities.IcaGridExtrapolationCorners(), row.corners);
        EXPECT_EQ(capabilities.IcaHighResGrid(), row.high_res);
    }
}

TEST(NcLibChipInfo, UnknownCodeHasNoCapabilitiesAndNoVersion) {
    NcLibChipInfo::Set(0x12345, 1);
    EXPECT_EQ(NcLibChipInfo::GetCapabilities().word, 0u);
    EXPECT_DEATH(NcLibGetIpeIcaVersion(), "NcLibGetIpeIcaVersion\\(\\) Assertion failed: version");
}

TEST(NcLibChipInfo, AcceptsGridSizesByHardwareVersion) {
    struct Row {
        uint32_t version;
        bool takes_25x33;
        bool takes_27x35;
        bool takes_51x67;
    };
    constexpr Row kRows[] = {
        {10, true, false, false}, {20, false, true, false}, {30, false, true, true},
        {40, false, true, true},  {0, false, false, false}, {50, false, false, false},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.version);
        EXPECT_EQ(NcLibIsGridSizeMatchesIcaHw(25, 33, row.version), row.takes_25x33);
        EXPECT_EQ(NcLibIsGridSizeMatchesIcaHw(27, 35, row.version), row.takes_27x35);
        EXPECT_EQ(NcLibIsGridSizeMatchesIcaHw(51, 67, row.version), row.takes_51x67);
        EXPECT_FALSE(NcLibIsGridSizeMatchesIcaHw(35, 27, row.version));
    }
}

TEST(NcLibChipInfo, WritesItsVersionOnlyIntoABufferOfAReasonableSize) {
    char text[300];
    std::memset(text, '#', sizeof text);
    NcLibChipInfo::GetNcLibVersion(text, 257);
    EXPECT_EQ(text[0], '#');
    NcLibChipInfo::GetNcLibVersion(nullptr, 10);
    NcLibChipInfo::GetNcLibVersion(text, 256);
    EXPECT_EQ(std::string(text), "NcLib_3.7.7");
    NcLibChipInfo::GetNcLibVersion(text, 6);
    EXPECT_EQ(std::string(text), "NcLib");
}

}  // namespace
