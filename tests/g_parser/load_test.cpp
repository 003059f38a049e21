// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

bool LoadBytes(SampleManager& manager, tuning::Bytes bytes) {
    // A copy of exactly this size, so that a read past the image is seen.
    std::unique_ptr<unsigned char[]> image(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), image.get());
    return manager.LoadBinaryParameters(image.get(), bytes.size());
}

uint32_t NumberAt(SampleManager& manager, const char* path, const char* name = "alpha") {
    SampleModule* module = manager.Get(path, name);
    const uint32_t number = module != nullptr ? module->number : 0;
    manager.ReleaseModule(module);
    return number;
}

constexpr char kVideo[] = "0.0|1.0|2.2";
constexpr char kAdrc[] = "0.0|1.0|2.2|3.2";

}  // namespace

class EveryVersion : public testing::TestWithParam<std::tuple<const char*, bool>> {};

TEST_P(EveryVersion, FindsTheDeepestModule) {
    const auto [version, fileMode] = GetParam();
    SampleFile disk;
    disk.Write(SampleBytes(SampleText(), version));
    SampleManager manager(fileMode);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name())) << manager.GetLastError();
    EXPECT_EQ(NumberAt(manager, "0.0"), 100u);
    EXPECT_EQ(NumberAt(manager, "0.0|1.0"), 110u);
    EXPECT_EQ(NumberAt(manager, kVideo), 122u);
    EXPECT_EQ(NumberAt(manager, kAdrc), 132u);
    EXPECT_EQ(NumberAt(manager, "0.0|1.0|2.0|3.2"), 110u);  // no Preview: the walk ends there
    EXPECT_EQ(NumberAt(manager, "0.0|1.0|2.2|3.1"), 122u);
    EXPECT_EQ(NumberAt(manager, kVideo, "beta"), 105u);
    EXPECT_EQ(NumberAt(manager, "0.0", "beta"), 0u);
    const bool links = std::string(version) >= "2.0.0";
    EXPECT_EQ(NumberAt(manager, "0.0|1.0|2.3"), links ? 122u : 110u);
    EXPECT_EQ(NumberAt(manager, "0.0|1.0|2.3|3.2"), links ? 132u : 110u);
    SampleModule* module = manager.Get(kAdrc);
    ASSERT_NE(module, nullptr);
    EXPECT_STREQ(module->text, "same");
    ASSERT_EQ(module->count, 2u);
    EXPECT_EQ(module->numbers[0], 7u);
    EXPECT_EQ(module->numbers[1], 8u);
    // Equal payloads exist once where the format can say so.
    SampleModule* root = manager.Get("0.0");
    const bool shares = std::string(version) > "3.0.1";
    EXPECT_EQ(root->text == module->text, shares);
    EXPECT_EQ(root->numbers == module->numbers, shares);
    if (std::string(version) < "1.0.2") {
        EXPECT_EQ(std::string(manager.GetLastError()).rfind("Warning: This is an older", 0), 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Versions, EveryVersion,
                         testing::Combine(testing::Values("1.0.1", "1.0.2", "1.1.0", "2.0.0",
                                                          "3.0.0", "3.0.1", "3.1.0", "4.0.0",
                                                          "5.0.0"),
                                          testing::Bool()),
                         [](const auto& test) {
                             std::string name = std::get<0>(test.param);
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name + (std::get<1>(test.param) ? "_file" : "_buffer");
                         });

TEST(Header, EdgesOfTheFormat) {
    const auto withVersion = [](tuning::FileVersion version) {
        tuning::Image image = SampleImage();
        image.version = version;
        return tuning::Encode(image);
    };
    SampleManager manager;
    EXPECT_FALSE(LoadBytes(manager, withVersion({5, 0, 1})));
    EXPECT_EQ(std::string(manager.GetLastError()).rfind("Unsupported binary header version", 0),
              0u);
    for (const uint8_t sections : {uint8_t{1}, uint8_t{5}}) {
        tuning::Bytes bytes = SampleBytes();
        bytes[164] = sections;
        tuning::MendCrc(&bytes);
        EXPECT_FALSE(LoadBytes(manager, bytes));
        EXPECT_STREQ(manager.GetLastError(), "Invalid binary file section count");
    }
    tuning::Bytes compressed = SampleBytes();
    compressed[152] = 2;
    compressed[31] = 0x7F;  // and a binary size far above the file's
    tuning::MendCrc(&compressed);
    EXPECT_FALSE(LoadBytes(manager, compressed));
    EXPECT_STREQ(manager.GetLastError(),
                 "Compressed binary file not supported (support ended with V5.1.0)");
    tuning::Bytes broken = SampleBytes();
    broken.back() ^= 1;
    EXPECT_FALSE(LoadBytes(manager, broken));
    // After all of these the manager still takes a good file, but only one.
    EXPECT_TRUE(LoadBytes(manager, SampleBytes()));
    EXPECT_FALSE(LoadBytes(manager, SampleBytes()));
    EXPECT_STREQ(manager.GetLastError(), "Binary file already loaded");
}

TEST(Header, AFileThatFailsLeavesTheManagerInNoMode) {
    tuning::Image image = SampleImage();
    image.flags = 2;
    SampleFile disk;
    disk.Write(tuning::Encode(image));
    SampleManager manager(true);
    EXPECT_FALSE(manager.LoadBinaryParameters(disk.Name()));
    ASSERT_TRUE(LoadBytes(manager, SampleBytes()));
    EXPECT_EQ(NumberAt(manager, kAdrc), 132u);
    EXPECT_FALSE(manager.ReloadBinaryParameters(false));
    EXPECT_STREQ(manager.GetLastError(), "ReloadBinaryParameters called with empty file name");
}

TEST(Header, FileModeNeeds316Bytes) {
    tuning::Image image;
    image.version = {5, 0, 0};
    image.modes = {{}};
    image.data = {1, 2, 3, 4};
    image.has_data_table = false;
    tuning::Bytes bytes = tuning::Encode(image);
    for (const size_t length : {size_t{315}, size_t{316}}) {
        tuning::Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        cut[28] = static_cast<uint8_t>(length);
        cut[29] = static_cast<uint8_t>(length >> 8);
        tuning::MendCrc(&cut);
        SampleFile disk;
        disk.Write(cut);
        LogLines lines;
        EXPECT_EQ(SampleManager(true).LoadBinaryParameters(disk.Name()), length == 316);
        EXPECT_EQ(lines.Count("Failed to read 316 bytes from binary file"),
                  length == 315 ? 1u : 0u);
    }
}

TEST(Tree, WithoutModeTableAllIsDefault) {
    SampleManager manager;
    ASSERT_TRUE(LoadBytes(manager, SampleBytes("[[module]]\ntype = \"alpha\"\nversion = \"1.2.3\"\n"
                                               "values = [{ u32 = 5 }, { text = \"x\" }, "
                                               "{ array = [] }]\n")));
    EXPECT_EQ(NumberAt(manager, kVideo), 5u);
}

TEST(Tree, StepsOfOneKindMatchInAnyOrder) {
    SampleManager manager;
    ASSERT_TRUE(LoadBytes(
        manager, SampleBytes("[[mode]]\npath = \"Default\"\n"
                             "[[mode]]\npath = \"Default|Feature1.ISPHDR\"\n"
                             "[[mode]]\npath = \"Default|Feature1.ISPHDR|Feature1.ADRC\"\n" +
                             SampleModuleText("Default", 1) +
                             SampleModuleText("Default|Feature1.ISPHDR|Feature1.ADRC", 2))));
    EXPECT_EQ(NumberAt(manager, "0.0|3.1|3.2"), 2u);
    EXPECT_EQ(NumberAt(manager, "0.0|3.2|3.1"), 2u);
    EXPECT_EQ(NumberAt(manager, "0.0|3.2"), 1u);
}

TEST(Tree, CirclesAndGapsEnd) {
    tuning::Image image = SampleImage();
    image.modes[2].link = 4;  // Video -> ZSL -> Video
    LogLines lines;
    SampleManager circle;
    EXPECT_TRUE(LoadBytes(circle, tuning::Encode(image)));
    EXPECT_EQ(lines.Count("do not end"), 1u);
    EXPECT_NE(circle.Get(kVideo), nullptr);
    image = SampleImage();
    image.modes[4].id = 3;  // slot 4 stays empty, mode 3 is stored twice
    image.symbols[0].mode_id = 4;
    SampleManager gap;
    EXPECT_FALSE(LoadBytes(gap, tuning::Encode(image)));
    EXPECT_EQ(lines.Count("no record for ModeId(4)"), 1u);
    image = SampleImage();
    image.modes[1].parent = 2;  // Sensor and Video are each other's parents
    SampleManager parents;
    EXPECT_TRUE(LoadBytes(parents, tuning::Encode(image)));
    EXPECT_EQ(NumberAt(parents, kVideo), 100u);
    // Two ways at each of twenty levels, and none leads far enough.
    std::string text = "[[mode]]\npath = \"Default\"\n";
    for (int level = 0; level <= 20; ++level) {
        const std::string path = "Default|Usecase." + std::to_string(100 + level);
        text += "[[mode]]\npath = \"" + path + "\"\n";
        for (int way = 1; way <= 2 && level < 20; ++way) {
            text += "[[mode]]\npath = \"" + path + "|Feature1." + std::to_string(way) +
                    "\"\nlink = \"Default|Usecase." + std::to_string(101 + level) + "\"\n";
        }
    }
    SampleManager maze;
    ASSERT_TRUE(LoadBytes(maze, SampleBytes(text + SampleModuleText("Default", 1))));
    std::vector<TuningMode> branch(32, TuningMode{3, 1, 0});
    branch[0] = {0, 0, 0};
    branch[1] = {2, 100, 0};
    branch.back().subMode = 2;
    EXPECT_NE(maze.GetModule("alpha", branch.data(), 32, nullptr), nullptr);
    EXPECT_EQ(lines.Count("FindMode: gave up"), 1u);
}

TEST(SymbolTable, ARecordOutOfRangeHidesThoseBehindIt) {
    tuning::Image image = SampleImage();
    image.symbols[2].id = 99;
    LogLines lines;
    SampleManager manager;
    EXPECT_TRUE(LoadBytes(manager, tuning::Encode(image)));
    EXPECT_EQ(lines.Count("Symbol table entry ID 99 out of range 1 - 5"), 3u);
    EXPECT_EQ(NumberAt(manager, "0.0|1.0"), 110u);
    EXPECT_EQ(NumberAt(manager, kAdrc), 110u);
}

TEST(SymbolTable, ObjectsAreSharedByPlaceAndCount) {
    // Records 1 and 2 are duplicates, 3 stands alone.
    tuning::Image image = SampleImage();
    tuning::Bytes bytes = tuning::Encode(image);
    std::vector<tuning::Finding> findings;
    SampleManager manager(true);
    SampleFile disk;
    disk.Write(bytes);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    ParameterFileSymbolTable& table = *manager.GetSymbolTable();
    const auto& rows = image.data_rows;
    ASSERT_GE(rows.size(), 3u);
    ASSERT_EQ(rows[2].duplicate_id, rows[0].duplicate_id);
    manager.Get("0.0");  // parses nothing new: the root is resident
    int first = 0;
    int second = 0;
    EXPECT_NE(table.SetDupObject(false, 1, &first, 3, "place", 1), nullptr);
    EXPECT_EQ(table.SetDupObject(false, 3, &second, 3, "place", 1), nullptr);
    DupObjInfo* shared = table.GetDupObject(false, 3, 3, "place", 1);
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(shared->Object, &first);
    EXPECT_EQ(shared->RefCount, 2u);
    EXPECT_EQ(table.GetDupObject(false, 3, 4, "place", 1), nullptr);
    EXPECT_EQ(table.GetDupObject(false, 3, 3, "place", 2), nullptr);
    EXPECT_TRUE(table.ReleaseDupObject(&second));
    EXPECT_FALSE(table.ReleaseDupObject(&first));
    EXPECT_TRUE(table.ReleaseDupObject(&first));
    EXPECT_EQ(shared->Object, nullptr);
    EXPECT_EQ(table.SetDupObject(false, 1, &second, 3, "place", 1), shared);
    EXPECT_TRUE(table.ReleaseDupObject(&second));
    LogLines lines;
    ParameterFileSymbolTableEntry entry;
    EXPECT_FALSE(table.Find(entry, 0, true));
    EXPECT_FALSE(table.Find(entry, 6, true));
    EXPECT_TRUE(table.Find(entry, 5, true));
    EXPECT_EQ(lines.Count("out of range 1 - 5"), 2u);
    table.GetDupObject(false, 1000, 3, "place", 1);
    EXPECT_EQ(lines.Count("GetDupObject called with invalid values"), 1u);
}

namespace {

// `count` use cases by number below Default, each with a module.
std::string ManyModes(int count) {
    std::string text = "[[mode]]\npath = \"Default\"\n";
    std::string modules = SampleModuleText("Default", 1);
    for (int i = 0; i < count; ++i) {
        const std::string path = "Default|Usecase." + std::to_string(100 + i);
        text += "[[mode]]\npath = \"" + path + "\"\n";
        modules += SampleModuleText(path, 1000 + i);
    }
    return text + modules;
}

std::string UsecasePath(int i) {
    return "0.0|2." + std::to_string(100 + i);
}

}  // namespace

TEST(Cache, EvictsTheLeastRecentModeThatNobodyHolds) {
    SampleFile disk;
    disk.Write(SampleBytes(ManyModes(30)));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    SampleModule* held = manager.Get(UsecasePath(0).c_str());
    SampleModule* first = manager.Get(UsecasePath(1).c_str());
    ASSERT_TRUE(held != nullptr && first != nullptr);
    manager.ReleaseModule(first);
    for (int i = 2; i < 17; ++i) {
        EXPECT_EQ(NumberAt(manager, UsecasePath(i).c_str()), 1000u + i);
    }
    EXPECT_TRUE(first->IsLoaded());
    EXPECT_EQ(NumberAt(manager, UsecasePath(17).c_str()), 1017u);
    EXPECT_TRUE(first->IsLoaded()) << "the oldest is held, so the list is one too long";
    EXPECT_EQ(NumberAt(manager, UsecasePath(18).c_str()), 1018u);
    EXPECT_FALSE(first->IsLoaded());
    EXPECT_TRUE(held->IsLoaded());
    EXPECT_EQ(held->number, 1000u);
    char modes[64];
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "Default|Usecase.100");
    held->Release();
    LogLines lines;
    held->Release();
    EXPECT_EQ(lines.Count("Attempt to release unreferenced module."), 1u);
    PList<TuningMode> branch;
    manager.GetModeBranchFromPath("0.0", branch);
    EXPECT_TRUE(manager.UnloadMode(branch.begin(), 1));
    EXPECT_EQ(NumberAt(manager, "0.0"), 1u);
}

TEST(Reload, AChangedFileIsMetAndHeldModulesStay) {
    SampleFile disk;
    disk.Write(SampleBytes(SampleText(100)));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    SampleModule* held = manager.Get("0.0|1.0");
    const int loads = held->GetModified();
    disk.Write(SampleBytes(SampleText(200)));
    LogLines lines;
    EXPECT_EQ(NumberAt(manager, kAdrc), 232u);
    EXPECT_EQ(lines.Count("Reloading binary file"), 1u);
    EXPECT_EQ(held->number, 110u);
    EXPECT_STREQ(held->text, "same");
    EXPECT_EQ(held->GetModified(), loads);
    SampleModule* fresh = manager.Get("0.0|1.0", "alpha", held);
    EXPECT_EQ(lines.Count("Attempt to release module with a nullptr Data->Mode object."), 1u);
    EXPECT_NE(fresh, held);
    EXPECT_EQ(fresh->number, 210u);
    // Handed over in the very call that meets the next change.
    PList<TuningMode> branch;
    manager.GetModeBranchFromPath(kAdrc, branch);
    EXPECT_TRUE(manager.UnloadMode(branch.begin(), branch.Count()));
    disk.Write(SampleBytes(SampleText(300)));
    SampleModule* next = manager.Get(kAdrc, "alpha", fresh);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->number, 332u);
    disk.Write(tuning::Bytes(400, 1));
    EXPECT_FALSE(manager.ReloadBinaryParameters(false));
    EXPECT_EQ(manager.Get("0.0"), nullptr);
    EXPECT_EQ(next->number, 332u);
}

TEST(Reload, AModeThatCannotBeLoadedReloadsTwiceAndHarmsNoHolder) {
    tuning::Image image = SampleImage();
    image.symbols[3].data_size = 2;
    SampleFile disk;
    disk.Write(tuning::Encode(image));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    SampleModule* held = manager.Get(kVideo);
    SampleModule* previous = manager.Get("0.0|1.0");
    LogLines lines;
    const int live = SampleModule::live;
    for (size_t call = 1; call <= 3; ++call) {
        EXPECT_EQ(NumberAt(manager, kAdrc), 122u);
        EXPECT_EQ(lines.Count("path: 0.0|1.0|2.2|3.2, skipping"), call);
        EXPECT_EQ(lines.Count("Reloading"), 2 * call);
        EXPECT_EQ(held->number, 122u);
        EXPECT_STREQ(held->text, "same");
    }
    SampleModule* fresh = manager.Get(kAdrc, "alpha", previous);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(lines.Count("Attempt to release module with a nullptr Data->Mode object."), 1u);
    EXPECT_NE(fresh, held);
    held->Release();
    fresh->Release();
    PList<TuningMode> branch;
    manager.GetModeBranchFromPath(kAdrc, branch);
    EXPECT_FALSE(manager.LoadMode(branch.begin(), branch.Count(), "alpha"));
    EXPECT_TRUE(manager.LoadMode(branch.begin(), 3, "alpha"));
    // What nobody holds any more is gone, but for one file's modules out of use.
    EXPECT_EQ(SampleModule::live, live + 5);
}

TEST(Update, ReplacesValuesFromABuffer) {
    for (const bool fileMode : {false, true}) {
        SampleFile disk;
        disk.Write(SampleBytes(SampleText(100)));
        SampleManager manager(fileMode);
        tuning::Bytes bytes = SampleBytes(SampleText(500));
        EXPECT_FALSE(manager.UpdateBinaryParameters(bytes.data(), bytes.size()));
        ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
        SampleModule* held = manager.Get(kVideo);
        EXPECT_TRUE(manager.UpdateBinaryParameters(bytes.data(), bytes.size()));
        EXPECT_EQ(NumberAt(manager, kVideo), 522u);
        EXPECT_EQ(NumberAt(manager, kAdrc), 532u);
        EXPECT_EQ(held->number, 122u);
        bytes = SampleBytes(SampleText(600));
        EXPECT_TRUE(manager.UpdateBinaryParameters(bytes.data(), bytes.size()));
        EXPECT_EQ(NumberAt(manager, kVideo), 622u);
        EXPECT_STREQ(held->text, "same");
        held->Release();
    }
}

TEST(Values, ReadWriteAndList) {
    for (const bool fileMode : {false, true}) {
        SampleFile disk;
        disk.Write(SampleBytes());
        SampleManager manager(fileMode);
        ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
        char text[256];
        EXPECT_TRUE(manager.GetValue(kVideo, "alpha", "numbers[1]", text, sizeof text));
        EXPECT_STREQ(text, "8");
        EXPECT_TRUE(manager.SetValue(kVideo, "alpha", "number", "77"));
        EXPECT_FALSE(manager.SetValue(kVideo, "alpha", "text", "77"));
        EXPECT_TRUE(manager.GetValue(kVideo, "alpha", nullptr, text, sizeof text));
        EXPECT_STREQ(text, "number=77;numbers=7,8");
        EXPECT_FALSE(manager.GetValue(kVideo, "gamma", "number", text, sizeof text));
        EXPECT_FALSE(manager.GetValue("0.0|x", "alpha", "number", text, sizeof text));
        PList<ParameterParserInfo> list;
        EXPECT_TRUE(manager.GetInfo("0.0", "", list));
        ASSERT_EQ(list.Count(), 1u);
        EXPECT_STREQ(list[0].name, "alpha");
        EXPECT_STREQ(list[0].type, "Module");
        EXPECT_STREQ(list[0].value, "0.0");
        unsigned char children[64];
        EXPECT_EQ(manager.GetChildModes("0.0|1.0", children, sizeof children), 26u);
        EXPECT_STREQ(reinterpret_cast<char*>(children), "Usecase.Video,Usecase.ZSL");
    }
}

TEST(Values, PathsByNameAndByNumber) {
    SampleManager manager;
    char text[64];
    EXPECT_TRUE(manager.GetModeShorthand("Default|sensor.3|USECASE.video|3.1", text, sizeof text));
    EXPECT_STREQ(text, "0.0|1.3|2.2|3.1");
    EXPECT_TRUE(manager.GetDialinModesString("0.0|1.3;0.0|2.2|9.1", text, sizeof text));
    EXPECT_STREQ(text, "Default|Sensor.3;Default|Usecase.Video|9.1");
    PList<TuningMode> branch;
    for (const char* bad : {"", "0", "0.0|", "0.0|a.1", "1.1234567", "1.70000", "-1.0"}) {
        EXPECT_FALSE(manager.GetModeBranchFromPath(bad, branch)) << bad;
    }
    // Names of modes are numbers, whatever the case of their letters.
    EXPECT_EQ(manager.GetModeIndex("sensor"), 1u);
    EXPECT_EQ(manager.GetModeIndex("Sensors"), 0u);
    EXPECT_EQ(manager.GetModeIndex(nullptr), 0u);
    EXPECT_EQ(manager.GetSubModeIndex(2, "VIDEO"), 2u);
    EXPECT_EQ(manager.GetSubModeIndex(3, "Video"), 0u);
    EXPECT_EQ(manager.GetSubModeIndex(2, nullptr), 0u);
    EXPECT_TRUE(manager.SetControlValues("5=1,3=0.25,5=2"));
    EXPECT_TRUE(manager.GetControlValues(text, sizeof text));
    EXPECT_STREQ(text, "3=0.250000,5=2");
    EXPECT_FALSE(manager.SetTriggerValues("1=1,nonsense"));
    EXPECT_TRUE(manager.GetTriggerValues(text, sizeof text));
    EXPECT_STREQ(text, "1=1");
}
