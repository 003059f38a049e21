// SPDX-License-Identifier: Apache-2.0
// One module of each shape through its whole life. definitions/shapes.toml has the fields.
#include <gtest/gtest.h>

#include "modules/module_payload.hpp"
#include "steadywarp/tuning/modules/deep.h"
#include "steadywarp/tuning/modules/nested_1_0_0.h"
#include "steadywarp/tuning/modules/scalars_1_2_3.h"
#include "steadywarp/tuning/modules/strings_2_0.h"
#include "steadywarp/tuning/modules/tables_1_0_0.h"
#include "steadywarp/tuning/shapessetmanager.h"

namespace {

using Scalars = scalars_1_2_3::tessaline_scalars123Type;
using Strings = strings_2_0::tessaline_strings20Type;
using Tables = tables_1_0_0::tessaline_tables10Type;
using Nested = nested_1_0_0::tessaline_nested10Type;
using Deep = deep::deepType;

constexpr TuningMode kRoot[] = {{0, 0, 0}};
constexpr TuningMode kVideo[] = {{0, 0, 0}, {1, 0, 0}, {2, 2, 0}};
constexpr char kDeepName[] = "tessaline_a_module_whose_name_no_record_can_hold";
constexpr char kDeepType[] = "a_module-name_no_record_can_hold";

std::string OneModule(const std::string& type, const VersionUnion& version,
                      const std::string& values) {
    return ModesText() + ModuleText(type, version, "Default", values);
}

// The head that opens a payload, and the content behind it.
std::string Values(const std::string& content) {
    return "[{ i32 = [7, -8, 9] }, { text = \"rev\" }, " + content + "]";
}

std::string GetText(ParameterModule& module, const std::string& path) {
    char value[256];
    return module.GetValue(path.c_str(), value, sizeof value) ? value : "(none)";
}

struct Shape {
    const char* name;
    ParameterModuleDescriptor const* module;
};

void PrintTo(const Shape& shape, std::ostream* out) {
    *out << shape.name;
}

class EveryShape : public testing::TestWithParam<std::tuple<Shape, const char*, bool>> {};

TEST_P(EveryShape, RoundTripsThroughTheWriter) {
    const auto& [shape, version, fromDisk] = GetParam();
    char type[ModuleData::kTypeSize];
    ModuleData::GetType(type, shape.name);
    const ModulePayload payload = PayloadMaker().Make(*shape.module->values);
    ASSERT_GT(payload.texts.size(), 4u);
    const tuning::Bytes bytes =
        SampleBytes(OneModule(type, shape.module->version, payload.values), version);
    ShapesSetManager manager;
    SampleFile disk;
    disk.Write(bytes);
    ASSERT_TRUE(fromDisk ? manager.LoadBinaryParameters(disk.Name())
                         : LoadImageBytes(manager, bytes))
        << manager.GetLastError();
    ParameterModule* module = manager.GetModule(shape.name, kRoot, 1, nullptr);
    ASSERT_NE(module, nullptr);
    for (const auto& [path, text] : payload.texts) {
        EXPECT_EQ(GetText(*module, path), text) << path;
    }
    EXPECT_EQ(module->GetModified(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, EveryShape,
    testing::Combine(testing::Values(Shape{"scalars123_sw", &Scalars::kModule},
                                     Shape{"strings20_right", &Strings::kModule},
                                     Shape{"tables10", &Tables::kModule},
                                     Shape{"nested10", &Nested::kModule},
                                     Shape{kDeepName, &Deep::kModule}),
                     testing::Values("1.0.2", "2.0.0", "5.0.0"), testing::Bool()),
    [](const auto& test) {
        std::string name = std::get<0>(test.param).name;
        name += std::string("_v") + std::get<1>(test.param)[0];
        return name + (std::get<2>(test.param) ? "_file" : "_buffer");
    });

// Bytes typed by hand, so that neither the writer nor a descriptor has a say in them.
TEST(Shapes, ScalarsOfEveryWidthReadTheirBytes) {
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(
        manager,
        SampleBytes(OneModule("scalars123_sw", {1, 2, 3},
                              Values("{ bytes = \"feffffff 00000080 0000c03f 01000000 0201 ff"
                                     " ffffffffffffffff 0000000000000080 02000000\" }")))));
    Scalars* values = manager.GetModule_scalars123_sw(kRoot, 1, nullptr);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values->module_version.major_revision, 7);
    EXPECT_EQ(values->module_version.minor_revision, -8);
    EXPECT_EQ(values->module_version.incr_revision, 9);
    EXPECT_EQ(values->parameter_version.length, 4u);
    EXPECT_STREQ(values->parameter_version.revision, "rev");
    EXPECT_EQ(values->i32, -2);
    EXPECT_EQ(values->u32, 2147483648u);
    EXPECT_EQ(values->f32, 1.5f);
    EXPECT_EQ(values->flag, 1u);
    EXPECT_EQ(values->u16, 0x0102);
    EXPECT_EQ(values->u8, 255);
    EXPECT_EQ(values->i64, -1);
    EXPECT_EQ(values->u64, uint64_t{1} << 63);
    EXPECT_EQ(values->color, scalars_1_2_3::Color::Value2);
}

TEST(Shapes, ArraysThroughPointersLieThreeDeep) {
    const std::string inner =
        "[{ u16 = 5 }, { array = [[{ u32 = 70 }], [{ u32 = 71 }]] }, "
        "{ u32 = 40 }]";
    const std::string middle = "[{ array = [" + inner + ", " + inner + "] }, { text = \"m\" }]";
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(
        manager, SampleBytes(OneModule(kDeepType, {1, 0, 0},
                                       Values("{ array = [[{ u32 = 3 }, { array = [" + middle +
                                              "] }]] }, { u32 = 99 }")))));
    Deep* values =
        manager.GetModule_tessaline_a_module_whose_name_no_record_can_hold(kRoot, 1, nullptr);
    ASSERT_NE(values, nullptr);
    ASSERT_EQ(values->outerCount, 1u);
    EXPECT_NE(values->outerID, 0u);
    EXPECT_EQ(values->outer[0].mark, 3u);
    ASSERT_EQ(values->outer[0].middleCount, 1u);
    EXPECT_STREQ(values->outer[0].middle[0].label, "m");
    ASSERT_EQ(values->outer[0].middle[0].innerCount, 2u);
    const deep::Inner& last = values->outer[0].middle[0].inner[1];
    EXPECT_EQ(last.value, 5);
    ASSERT_EQ(last.numbersCount, 2u);
    EXPECT_EQ(last.numbers[1], 71u);
    EXPECT_EQ(last.speed, deep::Speed::Value40);
    EXPECT_EQ(values->last, 99u);
    // Both inner elements point at the same numbers, which exist once.
    EXPECT_EQ(last.numbers, values->outer[0].middle[0].inner[0].numbers);
}

std::string ScalarsText(const std::string& color = "1") {
    return OneModule("scalars123_sw", {1, 2, 3},
                     Values("{ i32 = -1 }, { u32 = 2 }, { f32 = 0.1 }, { u32 = 1 }, { u16 = 3 }, "
                            "{ u8 = 4 }, { i64 = 5 }, { i64 = 6 }, { u32 = " +
                            color + " }"));
}

TEST(Paths, SetValueTakesWhatFits) {
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(manager, SampleBytes(ScalarsText())));
    Scalars* values = manager.GetModule_scalars123_sw(kRoot, 1, nullptr);
    ASSERT_NE(values, nullptr);
    const struct {
        const char* path;
        const char* text;
        const char* after;  ///< what the field holds then; NULL if refused
    } rows[] = {
        {"i32", "-2147483648", "-2147483648"},
        {"i32", "2147483648", nullptr},
        {"i32", "7.9", "7"},
        {"u32", "4294967295", "4294967295"},
        {"u32", "-1", nullptr},
        {"u32", "-0.5", "0"},
        {"u16", "65535", "65535"},
        {"u16", "65536", nullptr},
        {"u8", "256", nullptr},
        {"i64", "-9000000000", "-9000000000"},
        {"i64", "9223372036854775808", nullptr},
        {"u64", "18446744073709551616", nullptr},
        {"f32", "-0.25", "-0.25"},
        {"f32", "1000000000000000000000000000000000000000", nullptr},
        {"f32", "nan", nullptr},
        {"flag", "0", "0"},
        {"color", "3", "3"},
        {"color", "4", nullptr},
        {"module_version.minor_revision", "12", "12"},
        {"module_version", "1", nullptr},
        {"parameter_version.revision", "1", nullptr},
        {"nothing", "1", nullptr},
        {"i32.deeper", "1", nullptr},
        {"", "1", nullptr},
    };
    for (const auto& row : rows) {
        char before[64] = "";
        char after[64] = "";
        values->GetValue(row.path, before, sizeof before);
        EXPECT_EQ(values->SetValue(row.path, row.text), row.after != nullptr)
            << row.path << "=" << row.text;
        values->GetValue(row.path, after, sizeof after);
        EXPECT_STREQ(after, row.after != nullptr ? row.after : before) << row.path;
    }
    EXPECT_EQ(values->GetModified(), 1);
}

TEST(Paths, TablesPrintWholeOrByElement) {
    const ModulePayload payload = PayloadMaker().Make(*Tables::kModule.values);
    ShapesSetManager manager;
    ASSERT_TRUE(
        LoadImageBytes(manager, SampleBytes(OneModule("tables10", {1, 0, 0}, payload.values))));
    Tables* values = manager.GetModule_tables10(kRoot, 1, nullptr);
    ASSERT_NE(values, nullptr);
    // The running number starts with 1 at the version; the tables begin at 5.
    char text[64];
    ASSERT_TRUE(values->GetValue("f32_tab.f32", text, sizeof text));
    EXPECT_STREQ(text, "1.25,1.5,1.75,2.0");
    ASSERT_TRUE(values->f32_tab.GetValue("f32", text, sizeof text));
    EXPECT_STREQ(text, "1.25,1.5,1.75,2.0");
    ASSERT_TRUE(values->f32_tab.GetValue("f32[3]", text, sizeof text));
    EXPECT_STREQ(text, "2.0");
    ASSERT_TRUE(values->f32_tab.GetValue("f32[4]", text, sizeof text));
    EXPECT_STREQ(text, "1.25,1.5,1.75,2.0");
    ASSERT_TRUE(values->GetValue("plain", text, sizeof text));
    EXPECT_STREQ(text, "12,13,14,15,16");
    EXPECT_FALSE(values->GetValue("plain", text, 14));
    EXPECT_STREQ(text, "");
    EXPECT_FALSE(values->GetValue("points", text, sizeof text));
    EXPECT_FALSE(values->GetValue("points[2].x", text, sizeof text));
    EXPECT_FALSE(values->GetValue("points[1]", text, sizeof text));
    EXPECT_TRUE(values->GetValue("points[1].x", text, sizeof text));
    // One element at a time is set.
    EXPECT_FALSE(values->SetValue("plain", "1"));
    EXPECT_FALSE(values->SetValue("plain[5]", "1"));
    EXPECT_TRUE(values->SetValue("plain[4]", "99"));
    EXPECT_EQ(values->plain[4], 99);
    EXPECT_TRUE(values->SetValue("points[1].y", "-3"));
    EXPECT_EQ(values->points[1].y, -3);
}

std::string Listed(ParameterModule& module, const char* path) {
    PList<ParameterParserInfo> list;
    if (!module.GetInfo(path, list)) {
        return "(none)";
    }
    std::string text;
    for (ParameterParserInfo const& info : list) {
        text += std::string(text.empty() ? "" : ";") + info.name;
        text += info.value[0] != '\0' ? std::string("=") + info.value : "";
        text += std::string(",") + info.type;
        text += info.isArray ? "," + std::to_string(info.elementCount) : "";
    }
    return text;
}

TEST(Paths, InfoListsTheFieldsBelow) {
    const std::string modules = ModesText() +
                                ModuleText("tables10", {1, 0, 0}, "Default",
                                           PayloadMaker().Make(*Tables::kModule.values).values) +
                                ModuleText("nested10", {1, 0, 0}, "Default",
                                           PayloadMaker().Make(*Nested::kModule.values).values) +
                                ModuleText(kDeepType, {1, 0, 0}, "Default",
                                           PayloadMaker().Make(*Deep::kModule.values).values);
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(manager, SampleBytes(modules)));
    const struct {
        const char* module;
        const char* path;
        const char* listed;
    } rows[] = {
        {"tables10", "",
         "module_version,Structure;parameter_version,Structure;f32_tab,Structure;u8_tab,Structure;"
         "plain,UInt16,5;i64_tab,Structure;colors,Enum,3;points,Structure,2"},
        {"tables10", "f32_tab", "f32,Float,4"},
        {"tables10", "f32_tab.f32", "f32,Float,4"},
        {"tables10", "f32_tab.f32[1]", "f32=1.5,Float"},
        {"tables10", "parameter_version", "revision=text 4,String"},
        {"tables10", "points", "points,Structure,2"},
        {"tables10", "points[1]", "x=-24,Int32;y=-25,Int32"},
        {"tables10", "points[2].x", "(none)"},
        {"tables10", "nothing", "(none)"},
        {"tables10", "plain.x", "(none)"},
        {"nested10", "", "module_version,Structure;tessaline_nested10_reserve,Structure"},
        {"nested10", "tessaline_nested10_reserve.top",
         "first=4,UInt8;inner,Structure;name=text 10,String"},
        {"nested10", "tessaline_nested10_reserve.top.inner.c", "c=2.25,Float"},
        {kDeepName, "outer[0]", "mark=5,UInt32;middle,Structure,2"},
        {kDeepName, "outer[0].middle[1].inner[0]",
         "value=15,UInt16;numbers,UInt32,2;speed=10,Enum"},
    };
    for (const auto& row : rows) {
        ParameterModule* module = manager.GetModule(row.module, kRoot, 1, nullptr);
        ASSERT_NE(module, nullptr) << row.module;
        EXPECT_EQ(Listed(*module, row.path), row.listed) << row.path;
    }
    // The manager's own form of the same, as a live view asks for it.
    char text[256];
    ASSERT_TRUE(manager.GetValue("0.0", "tables10", nullptr, text, sizeof text));
    EXPECT_STREQ(text, "plain=12,13,14,15,16;colors=3,0,1");
    ASSERT_TRUE(manager.SetValue("0.0", "tables10", "plain[0]", "40000"));
    ASSERT_TRUE(manager.GetValue("0.0", "tables10.plain[0]", nullptr, text, sizeof text) ||
                manager.GetValue("0.0", "tables10", "plain[0]", text, sizeof text));
}

TEST(Enumerations, AnUnknownNumberIsReportedAndGivesZero) {
    LogLines lines;
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(manager, SampleBytes(ScalarsText("4"))));
    EXPECT_EQ(lines.Count("Invalid value(4) converting UINT32 to Color"), 1u);
    Scalars* values = manager.GetModule_scalars123_sw(kRoot, 1, nullptr);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values->color, scalars_1_2_3::Color::Value0);
    EXPECT_EQ(values->u64, 6u);
}

TEST(Enumerations, HaveAReaderOfTheirOwn) {
    ParameterFileSymbolTableEntry empty;
    scalars_1_2_3::Speed speed = scalars_1_2_3::Speed::Value20;
    EXPECT_FALSE(ReadEnum_Speed(&empty, speed, 1));
    EXPECT_EQ(static_cast<uint32_t>(speed), 0u);
    EXPECT_TRUE(scalars_1_2_3::kEnum_Speed.Contains(40));
    EXPECT_FALSE(scalars_1_2_3::kEnum_Speed.Contains(30));
}

TEST(Sharing, RecordsWithOneContentAreOneInstance) {
    const std::string values = PayloadMaker().Make(*Strings::kModule.values).values;
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(
        manager,
        SampleBytes(
            ModesText() + ModuleText("strings20_left", {2, 0, 0}, "Default", values) +
            ModuleText("strings20_left", {2, 0, 0}, "Default|Sensor.0|Usecase.Video", values) +
            ModuleText("strings20_right", {2, 0, 0}, "Default", values))));
    Strings* root = manager.GetModule_strings20_left(kRoot, 1, nullptr);
    EXPECT_EQ(manager.GetModule_strings20_left(kVideo, 3, nullptr), root);
    Strings* right = manager.GetModule_strings20_right(kRoot, 1, nullptr);
    ASSERT_NE(right, nullptr);
    EXPECT_NE(right, root);
    // Two modules, one text.
    EXPECT_EQ(right->first, root->first);
    EXPECT_EQ(right->SymbolTableID, 3u);
    static_cast<strings_2_0::tessaline_strings20TypeClass*>(root)->UnloadModule();
    EXPECT_EQ(root->first, nullptr);
    EXPECT_STREQ(right->first, "text 5");
}

TEST(Sharing, AnArraySharedIsFreedByItsLastUser) {
    const auto module = [](const char* mode, const char* last) {
        return ModuleText(
            kDeepType, {1, 0, 0}, mode,
            Values(std::string("{ array = [[{ u32 = 1 }, { array = [[{ array = [[{ u16 = 2 }, "
                               "{ array = [] }, { u32 = 10 }]] }, { text = \"t\" }]] }]] }, "
                               "{ u32 = ") +
                   last + " }"));
    };
    ShapesSetManager manager;
    SampleFile disk;
    disk.Write(SampleBytes(ModesText() + module("Default", "1") +
                           module("Default|Sensor.0|Usecase.Video", "2")));
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name())) << manager.GetLastError();
    auto* root = static_cast<deep::deepTypeClass*>(manager.GetModule(kDeepName, kRoot, 1, nullptr));
    auto* video =
        static_cast<deep::deepTypeClass*>(manager.GetModule(kDeepName, kVideo, 3, nullptr));
    ASSERT_NE(root, nullptr);
    ASSERT_NE(video, nullptr);
    EXPECT_NE(root, video);
    EXPECT_EQ(root->outer, video->outer);
    EXPECT_EQ(root->outer[0].middle[0].inner[0].numbers, nullptr);
    root->UnloadModule();
    EXPECT_EQ(root->outer, nullptr);
    EXPECT_STREQ(video->outer[0].middle[0].label, "t");
    video->UnloadModule();
    EXPECT_EQ(video->outer, nullptr);
    // Loaded anew, and told by the counter.
    Deep* again =
        manager.GetModule_tessaline_a_module_whose_name_no_record_can_hold(kVideo, 3, video);
    ASSERT_EQ(again, static_cast<Deep*>(video));
    EXPECT_STREQ(again->outer[0].middle[0].label, "t");
    EXPECT_EQ(again->GetModified(), 2);
    again->Release();
}

ParameterModule* LoadDeep(ShapesSetManager& manager, const tuning::Image& image) {
    SampleFile disk;
    disk.Write(tuning::Encode(image));
    EXPECT_TRUE(manager.LoadBinaryParameters(disk.Name())) << manager.GetLastError();
    return manager.GetModule(kDeepName, kVideo, 3, nullptr);
}

TEST(Failures, APayloadCutAnywhereIsNoModule) {
    tuning::Image image =
        SampleImage(ModesText() + ModuleText(kDeepType, {1, 0, 0}, "Default|Sensor.0|Usecase.Video",
                                             PayloadMaker().Make(*Deep::kModule.values).values));
    size_t cuts = 0;
    const auto cut_everywhere = [&](uint32_t& size, bool is_text) {
        const uint32_t whole = size;
        for (size = 0; size < whole; ++size, ++cuts) {
            LogLines quiet;
            ShapesSetManager manager;
            // A text that is cut is a shorter text.
            EXPECT_EQ(LoadDeep(manager, image) != nullptr, is_text && size > 0)
                << size << " of " << whole;
        }
    };
    cut_everywhere(image.symbols[0].data_size, false);
    for (tuning::DataRow& row : image.data_rows) {
        cut_everywhere(row.data_size, image.data[row.data_offset] == 't');
    }
    EXPECT_GT(cuts, 200u);
}

TEST(Failures, AModuleThatFailsLeavesTheShallowerOne) {
    tuning::Image image =
        SampleImage(ModesText() +
                    ModuleText(kDeepType, {1, 0, 0}, "Default",
                               PayloadMaker(100).Make(*Deep::kModule.values).values) +
                    ModuleText(kDeepType, {1, 0, 0}, "Default|Sensor.0|Usecase.Video",
                               PayloadMaker().Make(*Deep::kModule.values).values));
    --image.symbols[1].data_size;
    ShapesSetManager manager;
    ParameterModule* found = LoadDeep(manager, image);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(GetText(*found, "module_version.major_revision"), "-100");
}

TEST(Failures, ACountThatThePayloadCannotHoldAllocatesNothing) {
    LogLines lines;
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(
        manager, SampleBytes(OneModule(kDeepType, {1, 0, 0},
                                       Values("{ bytes = \"ffffff7f 01000000 00000000\" }")))));
    EXPECT_EQ(lines.Count("Failed to read"), 1u);
    EXPECT_EQ(manager.GetModule(kDeepName, kRoot, 1, nullptr), nullptr);
    EXPECT_EQ(lines.Count("Failed to allocate"), 0u);
}

// Three levels of a thousand pointers to one payload each: a billion elements out of a small file.
TEST(Failures, PointersThatMultiplyEndInsteadOfTakingAllMemory) {
    constexpr size_t kElements = 1000;
    // Records: 1 the name, 2 the outer, 3 the middle and 4 the inner elements.
    std::string text = "[[mode]]\npath = \"Default\"\n" +
                       ModuleText(kDeepType, {1, 0, 0}, "Default",
                                  "[{ zeros = 12 }, { u32 = [1, 1, 1000, 2, 0] }]") +
                       "[[data]]\npayload = \"00000000\"\n";
    const char* elements[] = {
        "00000000 e8030000 03000000 ",           // mark, 1000 middle elements
        "e8030000 04000000 01000000 01000000 ",  // 1000 inner elements, a label
        "0100 00000000 01000000 0a000000 ",      // a value, no numbers, a speed
    };
    for (const char* element : elements) {
        text += "[[data]]\npayload = \"";
        for (size_t i = 0; i < kElements; ++i) {
            text += element;
        }
        text += "\"\n";
    }
    LogLines lines;
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(manager, SampleBytes(text)));
    EXPECT_EQ(manager.GetModule(kDeepName, kRoot, 1, nullptr), nullptr);
    EXPECT_EQ(lines.Count("Failed to allocate inner"), 1u);
}

TEST(Failures, APointerToNothingIsReported) {
    LogLines lines;
    ShapesSetManager manager;
    ASSERT_TRUE(LoadImageBytes(
        manager, SampleBytes(OneModule(kDeepType, {1, 0, 0},
                                       Values("{ u32 = 1 }, { u32 = 77 }, { u32 = 0 }")))));
    EXPECT_EQ(lines.Count("Find: Symbol table entry ID 77 out of range"), 1u);
    EXPECT_EQ(manager.GetModule(kDeepName, kRoot, 1, nullptr), nullptr);
    EXPECT_EQ(lines.Count("Failed to read symbol table entry"), 1u);
}

TEST(Failures, AParserReadsExactlyItsVersion) {
    LogLines lines;
    ShapesSetManager manager;
    EXPECT_FALSE(LoadImageBytes(
        manager, SampleBytes(OneModule("scalars123_sw", {1, 2, 4}, "[{ u32 = 1 }]"))));
    // As one number: major, minor and patch from the lowest bits up.
    EXPECT_EQ(lines.Count("Unable to create tessaline_scalars123TypeClass, binary version "
                          "(17180000257) does not match source version (12885032961)"),
              1u);
    EXPECT_EQ(std::string(manager.GetLastError())
                  .rfind("Failed to parse binary header data for:  Type: scalars123_sw, Major: 1, "
                         "Minor: 2, Patch: 4",
                         0),
              0u);
    EXPECT_FALSE(LoadImageBytes(
        manager, SampleBytes(OneModule("tessaline_tables10", {1, 0, 0}, "[{ u32 = 1 }]"))));
    EXPECT_EQ(lines.Count("Unable to create tessaline_tables10TypeClass, binary name "
                          "(tessaline_tables10) does not match source name (tables10)"),
              1u);
}

TEST(Managers, TakeNoNameTwiceAndUpdate) {
    ShapesSetManager manager;
    EXPECT_FALSE(manager.AddModule(new nested_1_0_0::tessaline_nested10TypeClass("nested10")));
    EXPECT_TRUE(manager.AddModule(new nested_1_0_0::tessaline_nested10TypeClass("nested_too")));
    tuning::Bytes old = SampleBytes(ScalarsText("1"));
    tuning::Bytes fresh = SampleBytes(ScalarsText("2"));
    ASSERT_TRUE(LoadImageBytes(manager, old));
    Scalars* held = manager.GetModule_scalars123_sw(kRoot, 1, nullptr);
    ASSERT_NE(held, nullptr);
    ASSERT_TRUE(manager.UpdateBinaryParameters(fresh.data(), fresh.size()));
    EXPECT_EQ(held->color, scalars_1_2_3::Color::Value1);
    Scalars* values = manager.GetModule_scalars123_sw(kRoot, 1, held);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values->color, scalars_1_2_3::Color::Value2);
}

static_assert(offsetof(Scalars, parameter_version) == 16);
static_assert(offsetof(Scalars, i32) == 40);
static_assert(offsetof(Nested, tessaline_nested10_reserve) == 24);  // 20, but for its pointer
static_assert(sizeof(nested_1_0_0::tessaline_nested10TypeClass) <=
              sizeof(ParameterModule) + sizeof(Nested));

}  // namespace
