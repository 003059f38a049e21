// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/tuning_sample.hpp"

TEST(Writer, BuildDumpBuildGivesTheSameBytes) {
    // Siblings of one path, texts with quotes, resident modes, nested arrays, equal payloads.
    const std::string rich =
        "tag = \"a \\\"quoted\\\" t\u00e4g \xff\xc3\"\n[[mode]]\npath = \"Default\"\n"
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
         "f:3: the number does not fit in f32"}};
    for (const auto& c : kCases) {
        std::string error;
        EXPECT_FALSE(tuning::ParseDescription(c.text, "f", std::nullopt, &error));
        EXPECT_EQ(error.rfind(c.error, 0), 0u) << error;
    }
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
}
