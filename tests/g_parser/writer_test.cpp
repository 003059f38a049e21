// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/tuning_sample.hpp"

TEST(Writer, BuildDumpBuildGivesTheSameBytes) {
    // Siblings of one path, texts with quotes, resident modes, nested arrays, equal payloads.
    const std::string rich =
        "tag = \"a \\\"quoted\\\" t\u00e4g \xff\xc3\"\n"
        "tool = \"\\u0001\\u007F\"\nmode-table-name = \"modes\"\n[[mode]]\npath = \"Default\"\n"
        "[[mode]]\npath = \"Default|Scene.Night\"\nresident = true\n"
        "[[mode]]\npath = \"Default|Scene.Night\"\nlink = 1\n"
        "[[mode]]\npath = \"Default|12.7\"\nparent = 2\n"
        "[[module]]\ntype = \"t\"\nmode = 2\nvalues = [{ array = [[{ text = \"x\" }, { f32 = [1, "
        "2.5] }], [{ text = \"x\" }, { i64 = -1 }]] }, { u8 = [1, 2, 3] }]\n"
        "[[module]]\ntype = \"t\"\nmode = 3\nvalues = [{ array = [[{ text = \"x\" }, { f32 = [1, "
        "2.5] }], [{ text = \"x\" }, { i64 = -1 }]] }, { u8 = [1, 2, 3] }]\n";
    for (const char* version : {"1.0.1", "1.1.0", "2.0.0", "3.0.1", "3.1.0", "4.0.0", "5.0.0"}) {
        for (const std::string& text : {SampleText(), rich}) {
            const tuning::Bytes first = SampleBytes(text, version);
            std::vector<tuning::Finding> findings;
            const tuning::Image image = tuning::Decode(first, &findings);
            for (const tuning::Finding& finding : findings) {
                ADD_FAILURE() << version << " offset " << finding.offset << ": " << finding.text;
            }
            const std::string dump = tuning::PrintDescription(image);
            EXPECT_EQ(SampleBytes(dump, version), first) << version << "\n" << dump;
        }
    }
}

TEST(Writer, ErrorsNameTheLine) {
    const struct {
        const char* text;
        const char* error;
    } kCases[] = {
        {"[[mode]]\npath = \"Nowhere\"\n", "f:1: no mode is called \"Nowhere\""},
        {"[[mode]]\npath = \"Default|Sensor.1\"\n", "f:1: expected a [[mode]] \"Default\" above"},
        {"[[module]]\ntype = \"t\"\n", "f:1: expected values = [...]"},
        {"[[module]]\ntype = \"t\"\nvalues = [\n{ u8 = 300 }]\n", "f:4: 300 does not fit in u8"},
        {"tag = \n", "f:1: "},
        {"tool = \"\\u0000\"\n", "f:1: tool takes no zero bytes"},
        {"[[module]]\ntype = \"t\"\nvalues = [{ f32 = 1e300 }]\n",
         "f:3: the number does not fit in f32"},
        {"[[module]]\ntype = \"t\"\nversion = \"5.0\"\nvalues = []\n",
         "f:1: expected a version such as \"1.3.0\" for version"},
        {"tool = 5\n", "f:1: expected a text for tool"},
        {"mode-table-name = \"123456789012345678901234567890123\"\n",
         "f:1: mode-table-name takes at most 32 bytes"},
        {"data-table = 1\n", "f:1: expected true or false for data-table"},
        {"module = 1\n", "f:1: expected [[module]] tables"},
        {"[[module]]\ntype = \"t\"\nmode = 0\npayload = \"\"\n",
         "f:3: expected the path or the number of a [[mode]]"},
        {"[[data]]\nid = 1\n", "f:1: expected a payload"},
        {"[[data]]\npayload = \"0g\"\n", "f:2: expected a text of hexadecimal digits"},
        // Every bit but one of a digit is no digit.
        {"[[data]]\npayload = \"0\\u0010\"\n", "f:2: expected a text of hexadecimal digits"},
        {"[[data]]\npayload = \"0A b\"\n", "f:2: expected two hexadecimal digits for each byte"},
    };
    const struct {
        const char* value;
        const char* error;
    } kValues[] = {
        {"1", "f:3: expected a value such as { u32 = 1 }"},
        {"{ zeros = -1 }", "f:3: expected a number of bytes for zeros"},
        {"{ zeros = 16777217 }", "f:3: expected a number of bytes for zeros"},
        {"{ array = 1 }", "f:3: expected a list of elements, each a list of values"},
        {"{ array = [1] }", "f:3: expected a list of values"},
        {"{ u32 = \"1\" }", "f:3: expected a number for one of u8"},
        {"{ u64 = 1 }", "f:3: expected a number for one of u8"},
        {"{ i32 = -2147483649 }", "f:3: -2147483649 does not fit in i32"},
    };
    const auto expect = [](const std::string& text, const char* wanted) {
        std::string error;
        EXPECT_FALSE(tuning::ParseDescription(text, "f", std::nullopt, &error)) << text;
        EXPECT_EQ(error.rfind(wanted, 0), 0u) << error;
    };
    for (const auto& c : kCases) {
        expect(c.text, c.error);
    }
    const auto with = [](const std::string& value) {
        return "[[module]]\ntype = \"t\"\nvalues = [" + value + "]\n";
    };
    for (const auto& c : kValues) {
        expect(with(c.value), c.error);
    }
    std::string nested = "{ u8 = 1 }";
    for (int depth = 0; depth < 17; ++depth) {
        nested = "{ array = [[" + nested + "]] }";
    }
    expect(with(nested), "f:3: values are nested too deep");
}

TEST(Writer, CheckSaysWhereAFileIsWrong) {
    tuning::Bytes bytes = SampleBytes();
    bytes[bytes.size() - 1] ^= 1;
    bytes[164] = 4;
    bytes[168 + 4 + 3] = 0x7F;  // the symbol table's offset
    std::vector<tuning::Finding> findings;
    tuning::Decode(bytes, &findings);
    ASSERT_GE(findings.size(), 2u);
    EXPECT_EQ(findings[0].offset, bytes.size() - 4);
    EXPECT_EQ(findings[1].offset, 168u);
    EXPECT_EQ(findings[1].text, "symbol table passes the end of the file");
    bytes[0] ^= 1;
    findings.clear();
    tuning::Decode(bytes, &findings);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].text.rfind("the file does not begin with ", 0), 0u);
}

TEST(Writer, CheckFindsNumbersThatNameNothing) {
    const struct {
        void (*spoil)(tuning::Image&);
        const char* finding;
    } kCases[] = {
        {[](tuning::Image& i) {
             i.version = {6, 0, 0};
         },
         "the version is above 5.0.0"},
        {[](tuning::Image& i) { i.flags |= 2; }, "the file is compressed"},
        {[](tuning::Image& i) { i.symbols[1].id = 0; }, "ID 0 is out of range 1 to 5"},
        {[](tuning::Image& i) { i.symbols[1].id = 6; }, "ID 6 is out of range 1 to 5"},
        {[](tuning::Image& i) { i.symbols[1].id = 1; }, "ID 1 is used twice"},
        {[](tuning::Image& i) { i.symbols[1].duplicate_id = 6; }, "DuplicateID 6 names no record"},
        {[](tuning::Image& i) { i.symbols[1].mode_id = 5; },
         "record 2 names mode 5, which is not there"},
        {[](tuning::Image& i) { i.symbols[1].data_offset = 1u << 20; }, "payload of "},
        {[](tuning::Image& i) { i.data_rows[0].duplicate_id = 99; },
         "DuplicateID 99 names no record"},
        {[](tuning::Image& i) { i.modes[1].parent = 5; },
         "a mode, parent or link number is not below 5"},
        {[](tuning::Image& i) { i.modes[1].link = 5; },
         "a mode, parent or link number is not below 5"},
        {[](tuning::Image& i) { i.modes[2].id = 1; }, "mode 1 is stored twice"},
        {[](tuning::Image& i) { i.modes[1].parent = 2; }, "the parent of mode 1 comes later"},
    };
    for (const auto& c : kCases) {
        tuning::Image image = SampleImage();
        c.spoil(image);
        std::vector<tuning::Finding> findings;
        tuning::Decode(tuning::Encode(image), &findings);
        ASSERT_FALSE(findings.empty()) << c.finding;
        EXPECT_EQ(findings[0].text.rfind(c.finding, 0), 0u) << findings[0].text;
    }
}
