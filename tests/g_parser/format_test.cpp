// SPDX-License-Identifier: Apache-2.0
// The format, rule by rule: what a reader takes, and the words with which it refuses.
#include <gtest/gtest.h>

#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

constexpr size_t kSectionTable = 168;  // in version 5.0.0, behind the header

void PutU32(tuning::Bytes& bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

uint32_t U32At(const tuning::Bytes& bytes, size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 |
           static_cast<uint32_t>(bytes[at + 3]) << 24;
}

// Where a version 5.0.0 file has section `type`; the writer stores the records in their order.
size_t SectionStart(const tuning::Bytes& bytes, size_t type) {
    return U32At(bytes, kSectionTable + type * 12 + 4);
}

// From memory and from disk. A text must be in the log or be the last error.
void ExpectLoad(tuning::Bytes bytes, bool loads, const std::string& text, const char* what) {
    tuning::MendCrc(&bytes);
    SampleFile disk;
    disk.Write(bytes);
    for (const bool file_mode : {false, true}) {
        LogLines lines;
        SampleManager manager(file_mode);
        EXPECT_EQ(manager.LoadBinaryParameters(disk.Name()), loads) << what << file_mode;
        EXPECT_TRUE(lines.Count(text) > 0 || manager.GetLastError() == text)
            << what << file_mode << ": " << manager.GetLastError();
    }
}

struct Patch {
    const char* what;
    size_t at;
    uint32_t value;
    bool loads;
    const char* text;
};

}  // namespace

TEST(Format, FieldsOfTheHeader) {
    const tuning::Bytes good = SampleBytes();
    const auto length = static_cast<uint32_t>(good.size());
    const Patch kRows[] = {
        {"tag", 0, 0x20202020, false, "Invalid binary header tag:     Tessaline Header"},
        {"rest of the tag field", 24, 0x41414141, true, ""},
        {"size as it is", 28, length, true, ""},
        {"size below", 28, 1, true, ""},
        {"size above", 28, length + 1, false, "Binary header data too small: Expected: "},
        {"version 5.0.1", 36, 1, false,
         "Unsupported binary header version : 5.0.1. Please re-generate parser code using the "
         "latest version of ParameterParser"},
        {"version 5.1.0", 32, 0x00010005, false, "Unsupported binary header version : 5.1.0."},
        {"other flags", 152, 0xFFFFFFFD, true, ""},
        {"no sections", 164, 0, false, "Section count 0 is less than Min sections 2"},
        {"one section", 164, 1, false, "Section count 1 is less than Min sections 2"},
        {"five sections", 164, 5, false, "Section count 5 is greater than Max sections 4"},
        {"section table behind the end", 160, 0xFFFFFFF0, false,
         "Error reading data from header sections"},
        {"section type", kSectionTable, 4, false, "Invalid binary section type 4"},
    };
    for (const Patch& row : kRows) {
        tuning::Bytes bytes = good;
        PutU32(bytes, row.at, row.value);
        ExpectLoad(bytes, row.loads, row.text, row.what);
    }
}

TEST(Format, SectionsThatAreMissingOrDoNotFit) {
    const tuning::Bytes good = SampleBytes();
    const auto field = [](size_t type, size_t word) {
        return kSectionTable + type * 12 + word * 4;
    };
    const uint32_t symbols = U32At(good, field(0, 2));
    const uint32_t modes = U32At(good, field(2, 2));
    const uint32_t rows = U32At(good, field(3, 2));
    const Patch kRows[] = {
        {"no symbols", field(0, 2), 0, true,
         "ReadModeSection: Binary missing symbol table or data"},
        {"no data", field(1, 1), 0, true, "ReadModeSection: Binary missing symbol table or data"},
        {"symbols cut", field(0, 2), symbols - 1, false, "Invalid symbol table size: "},
        {"data table cut", field(3, 2), rows - 4, false, "Invalid data table size: "},
        {"modes cut", field(2, 2), modes - 1, false, "does not match expected size"},
        {"modes shorter than their name", field(2, 2), 31, false, "does not match expected size"},
        {"no mode at all", field(2, 2), 32, false, "AddModule: m_rootMode is nullptr"},
        {"modes behind the end", field(2, 1), 0x10000, false, "ReadModeSection: Failed to read"},
        {"symbols behind the end", field(0, 1), 0x10000, false, "Invalid symbol table section"},
        // A second record of a type takes the place of the first: here the modes are the symbols'.
        {"modes named symbols", field(2, 0), 0, false, "Invalid symbol table size: "},
    };
    for (const Patch& row : kRows) {
        tuning::Bytes bytes = good;
        PutU32(bytes, row.at, row.value);
        ExpectLoad(bytes, row.loads, row.text, row.what);
    }
}

TEST(Format, NumbersOfModes) {
    const tuning::Bytes good = SampleBytes();
    const size_t record = SectionStart(good, 2) + 32 + 2 * 24;  // mode 2, Video
    const Patch kRows[] = {
        {"id", record, 5, false, "ReadModeSection: Mode ID exceeds mode count"},
        {"parent", record + 12, 5, false, "ReadModeSection: Parent Mode ID exceeds mode count"},
        {"link", record + 16, 5, false, "ReadModeSection: Link Mode ID exceeds mode count"},
        {"no link", record + 16, 0xFFFFFFFF, true, ""},
        {"a module's mode", SectionStart(good, 0) + 44, 5, false,
         "AddModule: moduleData->ModeId(5) >= m_modeCount(5)"},
        {"no mode for a module", SectionStart(good, 0) + 44, 0xFFFFFFFF, true, ""},
    };
    for (const Patch& row : kRows) {
        tuning::Bytes bytes = good;
        PutU32(bytes, row.at, row.value);
        ExpectLoad(bytes, row.loads, row.text, row.what);
    }
}

TEST(Format, NumbersOfRecords) {
    const tuning::Bytes good = SampleBytes();
    const size_t symbol = SectionStart(good, 0);
    const size_t row3 = SectionStart(good, 3);
    const Patch kRows[] = {
        {"duplicate of none", symbol + 56, 99, true,
         "Invalid DuplicateID value 99, should be less than module table count: 5"},
        {"data duplicate of none", row3 + 12, 99, true,
         "Invalid DuplicateID value 99, should be less than data table count: 10"},
        {"data id", row3, 0, true, "Symbol table entry ID 0 out of range 1 - 10"},
        {"payload behind the end", symbol + 48, 0xFFFFFFF0, true, "from binary file offset"},
        {"parser's version", symbol + 40, 4, false,
         "Failed to parse binary header data for:  Type: alpha, Major: 1, Minor: 2, Patch: 4, "
         "Mode: 0"},
        {"type", symbol + 4, 0x78787878, false,
         "Failed to find header module:  Type: xxxxa, Major: 1, Minor: 2, Patch: 3, Mode: 0"},
    };
    for (const Patch& row : kRows) {
        tuning::Bytes bytes = good;
        PutU32(bytes, row.at, row.value);
        ExpectLoad(bytes, row.loads, row.text, row.what);
    }
}

TEST(Format, AWrongCrcLeavesTheLastErrorAsItWas) {
    tuning::Bytes bytes = SampleBytes();
    bytes.back() ^= 1;
    LogLines lines;
    SampleManager manager;
    manager.SetError("before");
    EXPECT_FALSE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
    EXPECT_STREQ(manager.GetLastError(), "before");
    EXPECT_EQ(lines.Count("Binary file CRC validation failed. Expected: "), 1u);
}

// With and without mode table and data table, in every layout of records.
class EveryTable : public testing::TestWithParam<const char*> {};

TEST_P(EveryTable, ModulesAreFoundWithWhatThereIs) {
    const std::string modules = SampleModuleText("Default", 100);
    const std::string version = GetParam();
    for (const bool mode_table : {false, true}) {
        for (const bool data_table : {false, true}) {
            std::string text = data_table ? "" : "data-table = false\n";
            text += mode_table ? "[[mode]]\npath = \"Default\"\n" : "";
            text += mode_table
                        ? modules
                        : "[[module]]\ntype = \"alpha\"\nversion = \"1.2.3\"\nvalues = "
                          "[{ u32 = 100 }, { text = \"same\" }, { array = [[{ u32 = 7 }]] }]";
            const tuning::Image image = SampleImage(text, version);
            EXPECT_EQ(image.has_mode_table, mode_table);
            EXPECT_EQ(image.has_data_table, data_table && version >= "4.0.0");
            SampleFile disk;
            disk.Write(tuning::Encode(image));
            for (const bool file_mode : {false, true}) {
                SampleManager manager(file_mode);
                ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name())) << manager.GetLastError();
                SampleModule* module = manager.Get("0.0");
                ASSERT_NE(module, nullptr) << mode_table << data_table << file_mode;
                EXPECT_EQ(module->number, 100u);
                EXPECT_STREQ(module->text, "same");
                EXPECT_EQ(module->numbers[0], 7u);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Versions, EveryTable,
                         testing::Values("1.0.0", "1.0.1", "1.0.2", "1.1.0", "1.9.9", "2.0.0",
                                         "3.0.0", "3.0.1", "3.0.2", "3.9.9", "4.0.0", "4.9.9",
                                         "5.0.0"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

TEST(Format, ADataTableBeforeItsVersionIsEmpty) {
    tuning::Image image = SampleImage(SampleText(), "3.1.0");
    image.has_data_table = true;
    image.data_rows = {{1, 0, 4, 1}};
    LogLines lines;
    SampleManager manager;
    tuning::Bytes bytes = tuning::Encode(image);
    // The load is good, and every pointer in it leads nowhere.
    EXPECT_TRUE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
    EXPECT_EQ(lines.Count("Data table entry size is zero"), 1u);
    EXPECT_EQ(manager.Get("0.0"), nullptr);
    EXPECT_GT(lines.Count("out of range 1 - 0"), 0u);
}

TEST(Format, ARecordLikeItsParentIsItsParent) {
    tuning::Image image = SampleImage();
    // Mode 2 gets the mode of mode 1, its parent; mode 3 stands below both then.
    image.modes[2].mode = image.modes[1].mode;
    image.modes[2].sub_mode = image.modes[1].sub_mode;
    tuning::Bytes bytes = tuning::Encode(image);
    SampleManager manager;
    ASSERT_TRUE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
    EXPECT_EQ(manager.GetModeEntry(1u), manager.GetModeEntry(2u));
    EXPECT_EQ(manager.Get("0.0|1.0|3.2")->number, 132u);
    EXPECT_EQ(manager.Get("0.0|1.0")->number, 122u) << "the later module of the name stays";
}

TEST(Format, StringsWithoutEnd) {
    tuning::Image image = SampleImage();
    image.tag = std::string(64, 't');
    image.tool = std::string(48, 'o');
    image.symbols[0].type = std::string(32, 'a');
    tuning::Bytes bytes = tuning::Encode(image);
    // And a text of a payload that does not end inside it: the first pointed record loses its nul.
    const tuning::DataRow& row = image.data_rows[0];
    const size_t at = SectionStart(bytes, 1) + row.data_offset;
    ASSERT_EQ(std::string(bytes.begin() + at, bytes.begin() + at + 4), "same");
    bytes[at + 4] = 's';
    tuning::MendCrc(&bytes);
    SampleManager manager;
    manager.SetQuietMissingModules(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
    EXPECT_EQ(std::string(manager.GetLogName()), std::string(64, 't'));
    EXPECT_STREQ(manager.Get("0.0|1.0")->text, "sames");
    EXPECT_EQ(manager.Get("0.0"), nullptr) << "its type is unknown, and nobody complains";
}

TEST(Format, SectionsThatOverlap) {
    const tuning::Bytes good = SampleBytes();
    for (size_t one = 0; one < 4; ++one) {
        for (size_t other = 0; other < 4; ++other) {
            tuning::Bytes bytes = good;
            PutU32(bytes, kSectionTable + one * 12 + 4,
                   U32At(good, kSectionTable + other * 12 + 4) + (one == other ? 3 : 0));
            tuning::MendCrc(&bytes);
            SampleFile disk;
            disk.Write(bytes);
            for (const bool file_mode : {false, true}) {
                LogLines lines;
                SampleManager manager(file_mode);
                const bool loaded = manager.LoadBinaryParameters(disk.Name());
                EXPECT_TRUE(loaded || lines.Count("[ERROR]") > 0) << one << other;
                manager.ReleaseModule(manager.Get("0.0|1.0|2.2|3.2"));
            }
        }
    }
}

TEST(Cursor, ReadsStopAtTheEndOfThePayload) {
    tuning::Image image = SampleImage();
    tuning::Bytes bytes = tuning::Encode(image);
    SampleFile disk;
    disk.Write(bytes);
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    LogLines lines;
    ParameterFileSymbolTable& table = *manager.GetSymbolTable();
    ParameterFileSymbolTableEntry entry;
    ASSERT_TRUE(table.Find(entry, 1, true));
    ASSERT_EQ(entry.GetSize(), 20u);
    ASSERT_NE(entry.GetModuleData(), nullptr);
    EXPECT_STREQ(entry.GetModuleData()->Type, "alpha");
    bool ok = true;
    EXPECT_EQ(entry.ReadEnum(&ok, 1), 100u);
    EXPECT_TRUE(ok);
    uint64_t wide = 0;
    EXPECT_TRUE(entry.ReadScalar(wide, 8));
    EXPECT_EQ(entry.GetPos(), 12u);
    unsigned char plain[5] = {};
    EXPECT_TRUE(entry.ReadBuffer(plain, 5, 4));
    EXPECT_EQ(entry.GetPos(), 20u);  // five bytes and their padding
    EXPECT_EQ(entry.ReadEnum(&ok, 1), 0u);
    EXPECT_FALSE(ok);
    EXPECT_EQ(entry.GetPos(), 20u);
    EXPECT_EQ(lines.Count("Failed to read 4 bytes from binary file offset 20, length 20"), 1u);
    ParameterFileSymbolTableEntry target;
    EXPECT_FALSE(table.ReadPointerEntry(target, &entry, 1));
    ParameterFileSymbolTableEntry none;
    EXPECT_FALSE(none.ReadScalar(wide, 1));
    EXPECT_EQ(none.GetDupObject(1, "place", 1), nullptr);
}
