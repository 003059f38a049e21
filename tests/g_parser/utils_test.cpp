// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "support/tuning_fixture.hpp"

TEST(Crc, TheFastFormGivesTheStandardValue) {
    // 0xCBF43926 is the published check value of this CRC.
    const auto* digits = reinterpret_cast<const unsigned char*>("123456789");
    EXPECT_EQ(ParameterBinaryFile::ComputeCRC(digits, 9), 0xCBF43926u);
    tuning::Bytes bytes;
    uint32_t state = 1;
    for (size_t length = 0; length < 300; ++length) {
        EXPECT_EQ(ParameterBinaryFile::ComputeCRC(bytes.data(), length),
                  ParameterBinaryFile::ComputeCRCByTable(bytes.data(), length));
        EXPECT_EQ(ParameterBinaryFile::ComputeCRC(bytes.data(), length),
                  tuning::Crc32(bytes.data(), length));
        state = state * 1664525u + 1013904223u;
        bytes.push_back(static_cast<uint8_t>(state >> 24));
    }
}

TEST(Utils, NumbersAsText) {
    const struct {
        double value;
        unsigned int decimals;
        const char* text;
    } kCases[] = {{2.0, 0, "2"},
                  {2.5, 0, "3"},
                  {0.125, 2, "0.13"},
                  {2.0, 10, "2.0"},
                  {-1.5, 3, "-1.5"},
                  {999.96, 1, "1000.0"},
                  {-0.001, 2, "0.0"},
                  {0.1f, 10, "0.1000000015"},
                  {4294967295.0, 0, "4294967295"}};
    for (const auto& c : kCases) {
        char text[65];
        bool ok = false;
        ParameterUtils::DoubleToString(c.value, text, sizeof text, c.decimals, ok);
        EXPECT_TRUE(ok);
        EXPECT_STREQ(text, c.text);
    }
    char small[3];
    bool ok = true;
    ParameterUtils::DoubleToString(123.0, small, sizeof small, 0, ok);
    EXPECT_FALSE(ok);
}

TEST(Utils, TextAsNumbers) {
    const struct {
        const char* text;
        bool ok;
        double value;
    } kCases[] = {{"12.5", true, 12.5},  {"-3", true, -3.0},  {"12-3", true, -3.0},
                  {".5", true, 0.5},     {"", false, 0.0},    {"-", false, 0.0},
                  {"1.2.3", false, 0.0}, {"inf", false, 0.0}, {"1e3", false, 0.0}};
    for (const auto& c : kCases) {
        bool ok = !c.ok;
        EXPECT_EQ(ParameterUtils::StringToDouble(c.text, ok), c.value) << c.text;
        EXPECT_EQ(ok, c.ok) << c.text;
    }
}

TEST(Utils, FirstComponentOfAPath) {
    const std::string longest(129, 'a');
    const struct {
        std::string path;
        unsigned int consumed;
        const char* name;
        unsigned int index;
    } kCases[] = {{"top.gain", 4, "top", 99},
                  {"tab[12].x", 8, "tab", 12},
                  {"gain", 4, "gain", 99},
                  {"tab[]", 0, "", 99},
                  {longest, 0, "", 99}};
    for (const auto& c : kCases) {
        char name[129];
        unsigned int index = 99;
        EXPECT_EQ(ParameterUtils::GetVariable(c.path.c_str(), name, index, sizeof name),
                  c.consumed);
        EXPECT_STREQ(name, c.name);
        EXPECT_EQ(index, c.index);
    }
}

TEST(Utils, FieldsAtTheEndOfABuffer) {
    const unsigned char bytes[] = {'a', 'b', 'c', 'd', 'e'};
    char text[9];
    unsigned int pos = 2;
    EXPECT_FALSE(ParameterUtils::ReadString(text, bytes, 5, &pos, sizeof text, 6, 8, nullptr));
    EXPECT_STREQ(text, "cde");
    EXPECT_EQ(pos, 10u);  // the field of 6 and its padding to 8
    pos = 0;
    EXPECT_TRUE(ParameterUtils::ReadString(text, bytes, 5, &pos, 4, 5, 1, nullptr));
    EXPECT_STREQ(text, "abc");
    unsigned char out[4] = {};
    pos = 0xFFFFFFFE;
    EXPECT_FALSE(ParameterUtils::ReadBuffer(out, bytes, 5, &pos, 4, 8, nullptr));
    EXPECT_EQ(pos, 0xFFFFFFFFu);
}

TEST(List, GrowsShiftsAndForgivesABadIndex) {
    PList<int> list;
    for (const int value : {1, 2, 4}) {
        EXPECT_TRUE(list.Add(value));
    }
    EXPECT_TRUE(list.Insert(2, 3));
    EXPECT_TRUE(list.Remove(0));
    EXPECT_FALSE(list.Remove(3));
    ASSERT_EQ(list.Count(), 3u);
    EXPECT_EQ(list[0], 2);
    EXPECT_EQ(list[1], 3);
    EXPECT_EQ(list[2], 4);
    EXPECT_EQ(list[3], 0);
    EXPECT_EQ(&list[3], &PList<int>()[0]);
}

TEST(Mutex, TheOnlyReaderBecomesTheWriterAndOthersWait) {
    ParameterMutex mutex;
    mutex.Lock(true);
    mutex.Lock(false);
    mutex.Lock(true);
    std::atomic<bool> entered{false};
    std::thread other([&] {
        const ParameterScopedLock lock(mutex, true);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered);
    mutex.Unlock(true);
    mutex.Unlock(false);
    mutex.Unlock(true);
    other.join();
    EXPECT_TRUE(entered);
    LogLines lines;
    mutex.Unlock(false);
    EXPECT_EQ(lines.Count("ParameterMutex::Unlock called when lock count is zero"), 1u);
}

TEST(ControlValue, TextForms) {
    ParameterCTValue value;
    char text[64];
    ASSERT_TRUE(value.FromString("7=-3"));
    EXPECT_TRUE(value.isInteger && value.value.integer == -3);
    ASSERT_TRUE(value.FromString("999999999=0.5"));
    EXPECT_TRUE(value.ToString(text, sizeof text));
    EXPECT_STREQ(text, "999999999=0.500000");
    EXPECT_TRUE(value.ToString(text, sizeof text, true));
    EXPECT_STREQ(text, "0.500000");
    for (const char* bad : {"", "=1", "1234567890=1", "a=1", "1=", "1=x", "1"}) {
        EXPECT_FALSE(value.FromString(bad)) << bad;
    }
}

TEST(File, ReferencesOpenAndClose) {
    SampleFile disk;
    disk.Write(tuning::Bytes(10, 1));
    LogLines lines;
    ParameterBinaryFile file(disk.Name(), nullptr, false);
    ASSERT_TRUE(file.IsValid());
    EXPECT_EQ(file.Reference(-5), 0);
    EXPECT_EQ(lines.Count("File Reference is less than adjust amount"), 1u);
    unsigned int pos = 0;
    unsigned char byte = 0;
    EXPECT_FALSE(file.Read(&byte, 0, &pos, 1, 1));
    EXPECT_EQ(lines.Count("Read called with null file"), 1u);
    EXPECT_EQ(file.Reference(1), 1);
    EXPECT_TRUE(file.Read(&byte, 8, &pos, 1, 8));
    EXPECT_EQ(pos, 8u);
    EXPECT_FALSE(file.Read(&byte, 9, &pos, 1, 1));
    disk.Write(tuning::Bytes(10, 2));
    file.Reference(-1);
    file.Reference(1);
    pos = 0;
    EXPECT_FALSE(file.Read(&byte, 0, &pos, 1, 1));
    EXPECT_EQ(lines.Count("file modified, must reload"), 1u);
}

TEST(ModuleData, TypeNames) {
    const struct {
        const char* name;
        const char* type;
    } kCases[] = {{"tessaline_eis13", "eis13"},
                  {"TessalineAFD", "AFD"},
                  {"tessaline_", "_"},
                  {"tessaline", "tessaline"},
                  {"abcdefghijklmnopqrstuvwxyz0123456789", "abcdefgh-nopqrstuvwxyz0123456789"}};
    for (const auto& c : kCases) {
        char type[ModuleData::kTypeSize];
        ModuleData::GetType(type, c.name);
        EXPECT_STREQ(type, c.type);
    }
}
