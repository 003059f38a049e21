// SPDX-License-Identifier: Apache-2.0
// The file on disk: references, reads, changes, and what is no tuning file at all.
#include <gtest/gtest.h>

#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

TEST(File, NamesThatCannotBeOpened) {
    LogLines lines;
    EXPECT_FALSE(ParameterBinaryFile(nullptr, nullptr, true).IsValid());
    EXPECT_EQ(lines.Count("ParameterBinaryFile constructor called with null file name"), 1u);
    EXPECT_FALSE(ParameterBinaryFile(std::string(1023, 'x').c_str(), nullptr, true).IsValid());
    EXPECT_EQ(lines.Count("constructor file name length (1023) exceeds max length: 1023"), 1u);
    EXPECT_FALSE(ParameterBinaryFile(std::string(1022, 'x').c_str(), nullptr, true).IsValid());
    EXPECT_EQ(lines.Count("Failed to open binary file 'xxx"), 1u);
    for (const char* name : {"/", "/dev/null", "/dev/zero", ""}) {
        EXPECT_FALSE(ParameterBinaryFile(name, nullptr, true).IsValid()) << name;
        SampleManager manager(true);
        EXPECT_FALSE(manager.LoadBinaryParameters(name));
    }
    EXPECT_EQ(lines.Count("Failed to load binary file "), 4u);
    SampleManager manager;
    EXPECT_FALSE(manager.LoadBinaryParameters(static_cast<char const*>(nullptr)));
    EXPECT_STREQ(manager.GetLastError(), "LoadBinaryParameters called with nullptr file name");
    EXPECT_FALSE(manager.LoadBinaryParameters(std::string(1023, 'x').c_str()));
    EXPECT_EQ(lines.Count("File name length (1023) exceeds max file name length of 1023"), 1u);
}

TEST(File, ReadsThatCannotBeServed) {
    SampleFile disk;
    disk.Write({1, 2, 3, 4, 5, 6, 7, 8});
    LogLines lines;
    ParameterBinaryFile file(disk.Name(), nullptr, false);
    unsigned char byte = 0;
    unsigned int pos = 0;
    EXPECT_FALSE(file.Read(nullptr, 0, &pos, 1, 1));
    EXPECT_FALSE(file.Read(&byte, 0, nullptr, 1, 1));
    EXPECT_EQ(file.Read(0, 0), nullptr);
    EXPECT_FALSE(file.Read(&byte, 8, &pos, 1, 1));
    pos = 0xFFFFFFFF;
    EXPECT_FALSE(file.Read(&byte, 0xFFFFFFFF, &pos, 0xFFFFFFFF, 1));
    EXPECT_EQ(pos, 0xFFFFFFFFu);
    EXPECT_EQ(lines.Count("Read called with null value"), 1u);
    EXPECT_EQ(lines.Count("Read called with null pos"), 1u);
    EXPECT_EQ(lines.Count("Read called with 0 count"), 1u);
    EXPECT_EQ(lines.Count("attempted to read past the end of the file, offset: 8, pos: 0, count: "
                          "1, length: 8"),
              1u);
    pos = 2;
    EXPECT_TRUE(file.Read(&byte, 1, &pos, 1, 4));
    EXPECT_EQ(byte, 4);
    EXPECT_EQ(pos, 6u);  // one byte and its padding
    unsigned char* bytes = file.Read(4, 4);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes[3], 8);
    std::free(bytes);
    SampleFile empty;
    empty.Write({});
    ParameterBinaryFile nothing(empty.Name(), nullptr, true);
    pos = 0;
    EXPECT_TRUE(nothing.IsValid());
    EXPECT_FALSE(nothing.IsCRCValid());
    EXPECT_FALSE(nothing.Read(&byte, 0, &pos, 1, 1));
    EXPECT_EQ(lines.Count("Read called with a zero length file"), 1u);
}

TEST(File, AChangeIsMetByTheFirstReadThatFails) {
    SampleFile disk;
    disk.Write(tuning::Bytes(64, 1));
    LogLines lines;
    ParameterBinaryFile file(disk.Name(), nullptr, false);
    unsigned char bytes[64] = {};
    unsigned int pos = 0;
    // Another file takes the name: what is open stays readable.
    disk.Write(tuning::Bytes(10, 2));
    EXPECT_TRUE(file.Read(bytes, 0, &pos, 64, 1));
    EXPECT_EQ(bytes[63], 1);
    EXPECT_EQ(lines.Count("file modified"), 0u);
    // Closed and opened again it is the other one, and stays of no use.
    file.Reference(-1);
    file.Reference(1);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(lines.Count("ParameterBinaryFile::Open, file modified, must reload"), 1u);
    for (int i = 0; i < 2; ++i) {
        pos = 0;
        EXPECT_FALSE(file.Read(bytes, 0, &pos, 1, 1));
        EXPECT_EQ(file.Read(0, 1), nullptr);
    }
}

TEST(File, AFileCutShortIsReadFourTimes) {
    SampleFile disk;
    disk.Write(tuning::Bytes(64, 1));
    LogLines lines;
    ParameterBinaryFile file(disk.Name(), nullptr, false);
    // The same file with the same time, but shorter than it was.
    disk.CutTo(10);
    unsigned char bytes[64] = {};
    unsigned int pos = 0;
    EXPECT_FALSE(file.Read(bytes, 0, &pos, 64, 1));
    EXPECT_EQ(pos, 0u);
    EXPECT_EQ(lines.Count("ParameterBinaryFile::Read failed, retrying"), 3u);
    EXPECT_EQ(lines.Count("requested: 64, actual: "), 4u);
    EXPECT_EQ(file.GetReadCount(), 4u);
}

TEST(File, ReferencesAreTold) {
    SampleFile disk;
    disk.Write(tuning::Bytes(64, 1));
    LogLines lines;
    {
        ParameterBinaryFile file(disk.Name(), nullptr, false);
        EXPECT_EQ(file.Reference(2), 3);
        EXPECT_EQ(file.Reference(0), 3);
        EXPECT_EQ(file.Reference(-1), 2);
    }
    EXPECT_EQ(lines.Count("ParameterBinaryFile deleted with outstanding references: 2"), 1u);
    ParameterBinaryFile file(disk.Name(), nullptr, false);
    EXPECT_EQ(file.Reference(-1), 0);
    EXPECT_EQ(file.Reference(-1), 0);
    EXPECT_EQ(lines.Count("Called when file was already closed"), 1u);
    disk.Remove();
    EXPECT_EQ(file.Reference(1), 1) << "the count grows although the file is gone";
    EXPECT_EQ(file.Reference(1), 2);
    EXPECT_EQ(lines.Count("Failed to open binary file"), 2u);
    EXPECT_EQ(lines.Count("Binary File was null when file reference was 1"), 1u);
}

TEST(File, ALostFileIsReportedAndTheNextOneLoads) {
    SampleFile disk;
    disk.Write(SampleBytes(SampleText(100)));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    SampleModule* held = manager.Get("0.0|1.0");
    disk.Remove();
    LogLines lines;
    EXPECT_EQ(manager.Get("0.0|1.0|2.2|3.2"), nullptr);
    EXPECT_FALSE(manager.IsLoaded());
    EXPECT_EQ(lines.Count("GetModule alpha called with no binary loaded"), 1u);
    EXPECT_EQ(held->number, 110u);
    disk.Write(SampleBytes(SampleText(200)));
    ASSERT_TRUE(manager.ReloadBinaryParameters(false));
    EXPECT_EQ(manager.Get("0.0|1.0|2.2|3.2")->number, 232u);
    EXPECT_EQ(held->number, 110u);
    EXPECT_STREQ(held->text, "same");
    held->Release();
}
