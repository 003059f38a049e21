// SPDX-License-Identifier: Apache-2.0
// The mode tree in use: who answers, what is loaded, what stays, and what is said.
#include <gtest/gtest.h>

#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

class Modes : public testing::Test {
  protected:
    void Load(SampleManager& manager, const std::string& text) {
        _disk.Write(SampleBytes(text));
        ASSERT_TRUE(manager.LoadBinaryParameters(_disk.Name())) << manager.GetLastError();
    }
    PList<TuningMode>& Branch(SampleManager& manager, char const* path) {
        manager.GetModeBranchFromPath(path, _branch);
        return _branch;
    }
    bool LoadMode(SampleManager& manager, char const* path) {
        Branch(manager, path);
        return manager.LoadMode(_branch.begin(), _branch.Count(), nullptr);
    }
    bool UnloadMode(SampleManager& manager, char const* path) {
        Branch(manager, path);
        return manager.UnloadMode(_branch.begin(), _branch.Count());
    }

    LogLines _lines;
    SampleFile _disk;
    PList<TuningMode> _branch;
};

std::string Mode(const std::string& path, const std::string& more = "") {
    return "[[mode]]\npath = \"" + path + "\"\n" + more;
}

}  // namespace

TEST_F(Modes, QuestionsThatCannotBeAnswered) {
    SampleManager manager(true);
    const TuningMode usecase[] = {{2, 2, 0}};
    EXPECT_EQ(manager.GetModule(nullptr, usecase, 1, nullptr), nullptr);
    EXPECT_STREQ(manager.GetLastError(), "GetModule called with nullptr module name");
    EXPECT_EQ(manager.GetModule("alpha", usecase, 1, nullptr), nullptr);
    EXPECT_EQ(_lines.Count("GetModule alpha called with no binary loaded"), 1u);
    EXPECT_FALSE(LoadMode(manager, "0.0"));
    EXPECT_STREQ(manager.GetLastError(), "LoadMode called with no binary file loaded");
    EXPECT_FALSE(UnloadMode(manager, "0.0"));
    EXPECT_STREQ(manager.GetLastError(), "UnloadMode is not valid in buffer mode");
    PList<ParameterParserInfo> list;
    EXPECT_FALSE(manager.GetInfo("", "alpha", list));
    EXPECT_EQ(_lines.Count("GetInfo called with null or empty modeBranch"), 1u);

    Load(manager, SampleText());
    EXPECT_NE(manager.GetModule("alpha", nullptr, 3, nullptr), nullptr);
    EXPECT_EQ(_lines.Count("GetModule(alpha) called with modeBranch == null and modeCount = 3"),
              1u);
    EXPECT_NE(manager.GetModule("alpha", usecase, 1, nullptr), nullptr);
    EXPECT_EQ(_lines.Count("GetModule(alpha) called with first mode != Default, might not return "
                           "module data from the desired mode path: 2.2"),
              1u);
    // Found deeper although the root has none; and nowhere.
    EXPECT_NE(manager.Get("0.0|1.0|2.2", "beta"), nullptr);
    EXPECT_EQ(_lines.Count("GetModule beta module not found in default scenario (sample), mode "
                           "path: 0.0|1.0|2.2"),
              1u);
    EXPECT_EQ(manager.Get("0.0|1.0", "beta"), nullptr);
    EXPECT_EQ(_lines.Count("GetModule beta failed to find a loaded module in 0.0|1.0, returning "
                           "null"),
              1u);
    EXPECT_FALSE(UnloadMode(manager, "0.0|1.7"));
    EXPECT_TRUE(LoadMode(manager, "0.0|1.7"));

    SampleManager buffer;
    Load(buffer, SampleText());
    EXPECT_FALSE(LoadMode(buffer, "0.0"));
    EXPECT_STREQ(buffer.GetLastError(), "LoadMode is not valid in buffer mode");
    EXPECT_FALSE(UnloadMode(buffer, "0.0"));
    EXPECT_STREQ(buffer.GetLastError(), "UnloadMode is not valid in buffer mode");
    SampleModule* module = buffer.Get("0.0");
    module->Release();
    module->Release();  // buffer mode counts nothing
    EXPECT_EQ(_lines.Count("unreferenced"), 0u);
}

TEST_F(Modes, AResidentModeIsAlwaysThere) {
    SampleManager manager(true);
    Load(manager, Mode("Default") + Mode("Default|Scene.Night", "resident = true\n") +
                      Mode("Default|Scene.Party") + SampleModuleText("Default|Scene.Night", 1) +
                      SampleModuleText("Default|Scene.Party", 2));
    const uint64_t reads = manager.GetSymbolTable()->GetFile()->GetReadCount();
    SampleModule* night = manager.Get("0.0|5.5");
    EXPECT_EQ(manager.GetSymbolTable()->GetFile()->GetReadCount(), reads) << "read at the load";
    manager.ReleaseModule(night);
    EXPECT_TRUE(UnloadMode(manager, "0.0|5.5"));
    EXPECT_TRUE(night->IsLoaded());
    SampleModule* party = manager.Get("0.0|5.13");
    EXPECT_GT(manager.GetSymbolTable()->GetFile()->GetReadCount(), reads);
    EXPECT_EQ(party->GetModified(), 1);
    EXPECT_TRUE(UnloadMode(manager, "0.0|5.13"));
    EXPECT_FALSE(party->IsLoaded());
    EXPECT_EQ(_lines.Count("Unloading referenced module alpha, Mode: 0.0|5.13, Ref count: 1"), 1u);
    EXPECT_EQ(_lines.Count("Unloading mode with 1 unreleased modules: 0.0|5.13"), 1u);
    EXPECT_EQ(_lines.Count("ReleaseReferences called with unreleased module: alpha, RefCnt: 1"),
              1u);
    EXPECT_EQ(manager.Get("0.0|5.13"), party);
    EXPECT_EQ(party->GetModified(), 2);
}

TEST_F(Modes, LinksLeadLoadsAndUnloadsToTheirTarget) {
    SampleManager manager(true);
    Load(manager, SampleText());
    SampleModule* video = manager.Get("0.0|1.0|2.2");
    EXPECT_EQ(manager.Get("0.0|1.0|2.3", "alpha", video), video);
    char modes[64];
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "Default|Sensor.0|Usecase.Video");
    manager.ReleaseModule(video);
    EXPECT_TRUE(UnloadMode(manager, "0.0|1.0|2.3"));
    EXPECT_FALSE(video->IsLoaded());
    EXPECT_TRUE(LoadMode(manager, "0.0|1.0|2.3"));
    EXPECT_TRUE(video->IsLoaded());
    EXPECT_EQ(video->GetMode().mode, 2);
    EXPECT_STREQ(video->GetData()->ModePath, "0.0|1.0|2.2");
}

TEST_F(Modes, EqualRecordsAreOneInstanceOfTheFirstMode) {
    SampleManager manager(true);
    Load(manager, Mode("Default") + Mode("Default|Scene.Night") + Mode("Default|Scene.Party") +
                      SampleModuleText("Default|Scene.Night", 5) +
                      SampleModuleText("Default|Scene.Party", 5));
    SampleModule* party = manager.Get("0.0|5.13");
    SampleModule* night = manager.Get("0.0|5.5");
    EXPECT_EQ(party, night);
    EXPECT_EQ(night->GetMode().subMode, 5);
    // Held through either, it belongs to the first: that mode is in use, and unloads it.
    char modes[64];
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "Default|Scene.Night");
    party->Release();
    night->Release();
    EXPECT_TRUE(UnloadMode(manager, "0.0|5.13"));
    EXPECT_TRUE(night->IsLoaded());
    EXPECT_TRUE(UnloadMode(manager, "0.0|5.5"));
    EXPECT_FALSE(night->IsLoaded());
    EXPECT_EQ(manager.Get("0.0|5.13"), party) << "loaded once more on the way";
    EXPECT_TRUE(party->IsLoaded());
}

TEST_F(Modes, TheDeepestActiveModesAreShown) {
    SampleManager manager(true);
    Load(manager, SampleText());
    char modes[128];
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "");
    SampleModule* video = manager.Get("0.0|1.0|2.2");
    SampleModule* adrc = manager.Get("0.0|1.0|2.2|3.2");
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "Default|Sensor.0|Usecase.Video|Feature1.ADRC");
    EXPECT_FALSE(manager.GetActiveModes(modes, 5));
    adrc->Release();
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "Default|Sensor.0|Usecase.Video");
    video->Release();
    EXPECT_TRUE(manager.GetActiveModes(modes, sizeof modes));
    EXPECT_STREQ(modes, "");
}

TEST_F(Modes, WithoutACacheNothingIsUnloadedAndALittleIsRemembered) {
    for (const uint32_t cache : {0u, 1u}) {
        SampleManager manager(true);
        manager.SetModeCacheSize(cache);
        std::string text = Mode("Default");
        for (int i = 0; i < 8; ++i) {
            text += Mode("Default|Usecase." + std::to_string(100 + i));
        }
        for (int i = 0; i < 8; ++i) {
            text += SampleModuleText("Default|Usecase." + std::to_string(100 + i), i);
        }
        Load(manager, text);
        std::vector<SampleModule*> modules;
        for (int i = 0; i < 8; ++i) {
            const std::string path = "0.0|2." + std::to_string(100 + i);
            modules.push_back(manager.Get(path.c_str()));
            manager.ReleaseModule(modules.back());
        }
        // A cache is never smaller than five modes.
        for (size_t i = 0; i < modules.size(); ++i) {
            EXPECT_EQ(modules[i]->IsLoaded(), cache == 0 || i >= 3) << i;
        }
    }
}

TEST_F(Modes, NamesAboveAFieldAreShortenedAlike) {
    SampleManager manager;
    manager.AddType("tessaline_a_module_with_a_name_that_no_record_holds");
    const std::string stored = "a_module-e_that_no_record_holds";
    char type[ModuleData::kTypeSize];
    ModuleData::GetType(type, "tessaline_a_module_with_a_name_that_no_record_holds");
    Load(manager, Mode("Default") + SampleModuleText("Default", 9, type));
    SampleModule* module =
        manager.Get("0.0", "tessaline_a_module_with_a_name_that_no_record_holds");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(std::strlen(type), 32u);
    EXPECT_EQ(manager.Get("0.0", type), module);
}

TEST_F(Modes, ChildrenByName) {
    SampleManager manager;
    Load(manager, Mode("Default") + Mode("Default|Sensor.3") + Mode("Default|Usecase.Video") +
                      Mode("Default|Usecase.77") + Mode("Default|Default.1") + Mode("Default|9.4") +
                      SampleModuleText("Default", 1));
    unsigned char text[128];
    char const* all = "Sensor.3,Usecase.Video,Usecase.77,Default,9.4";
    for (const char* path : {"0.0", "0.0|6.6", "nonsense", ""}) {
        EXPECT_EQ(manager.GetChildModes(path, text, sizeof text), std::strlen(all) + 1) << path;
        EXPECT_STREQ(reinterpret_cast<char*>(text), all);
    }
    EXPECT_EQ(manager.GetChildModes("0.0|1.3", text, sizeof text), 1u);
    EXPECT_STREQ(reinterpret_cast<char*>(text), "");
    EXPECT_EQ(manager.GetChildModes("0.0", text, 24), 23u) << "what fits whole, and its nul";
    EXPECT_STREQ(reinterpret_cast<char*>(text), "Sensor.3,Usecase.Video");
    EXPECT_EQ(manager.GetChildModes("0.0", text, 0), 0u);
}

TEST_F(Modes, EntriesAreFoundByTheirPath) {
    SampleManager manager(true);
    Load(manager, SampleText());
    ModeEntry* const video = manager.GetModeEntry("0.0|1.0|2.2");
    ASSERT_NE(video, nullptr);
    Branch(manager, "0.0|1.0|2.2");
    EXPECT_EQ(manager.GetModeEntry(_branch.begin(), _branch.Count()), video);
    EXPECT_NE(manager.GetModeEntry("0.0|1.0"), video);
    EXPECT_EQ(manager.GetModeEntry("0.0|x"), nullptr);
    const std::string type = "alpha", missing = "gamma";
    EXPECT_EQ(manager.GetModeEntry("0.0")->FindModule(&type), manager.Get("0.0", "alpha"));
    EXPECT_EQ(manager.GetModeEntry("0.0")->FindModule(&missing), nullptr);
}

TEST_F(Modes, ControlValuesAreSortedReplacedAndBounded) {
    SampleManager manager;
    const ParameterCTValue values[] = {ParameterCTValue::FromInteger(9, -1),
                                       ParameterCTValue::FromDouble(2, 0.5),
                                       ParameterCTValue::FromInteger(9, INT64_MIN)};
    char text[128];
    EXPECT_TRUE(manager.SetTriggerValues(values, 3));
    EXPECT_TRUE(manager.SetTriggerValue(ParameterCTValue::FromInteger(5, 7)));
    EXPECT_TRUE(manager.GetTriggerValues(text, sizeof text));
    EXPECT_STREQ(text, "2=0.500000,5=7,9=-9223372036854775808");
    EXPECT_FALSE(manager.GetTriggerValues(text, 12));
    ParameterCTValue value;
    EXPECT_TRUE(manager.GetTriggerValue(2, value));
    EXPECT_TRUE(!value.isInteger && value.value.real == 0.5);
    EXPECT_FALSE(manager.GetTriggerValue(3, value));
    EXPECT_FALSE(manager.GetControlValue(2, value)) << "the two lists are two";
    PList<ParameterCTValue> list;
    EXPECT_TRUE(manager.GetTriggerValues(list));
    ASSERT_EQ(list.Count(), 3u);
    EXPECT_EQ(list[1].id, 5u);
    EXPECT_TRUE(manager.SetControlValues(list));
    EXPECT_TRUE(manager.GetControlValue(9, value));
    // What is set takes the place of all that was.
    EXPECT_TRUE(manager.SetControlValues(values + 1, 1));
    EXPECT_FALSE(manager.GetControlValue(9, value));
    EXPECT_TRUE(manager.SetTriggerValues(list));
    EXPECT_TRUE(manager.GetTriggerValues(text, sizeof text));
    EXPECT_STREQ(text, "2=0.500000,5=7,9=-9223372036854775808");
    // A record of 63 characters is taken, a longer one is not; an empty text empties the list.
    const std::string longest = "1=0." + std::string(59, '5');
    EXPECT_TRUE(manager.SetControlValues(longest.c_str()));
    EXPECT_FALSE(manager.SetControlValues((longest + "5").c_str()));
    EXPECT_TRUE(manager.SetControlValues(""));
    EXPECT_TRUE(manager.GetControlValues(text, sizeof text));
    EXPECT_STREQ(text, "");
}

TEST_F(Modes, PartsOfAModule) {
    SampleManager manager(true);
    Load(manager, SampleText());
    char text[128];
    EXPECT_TRUE(manager.GetValue("0.0|1.0", "alpha.numbers[1]", "", text, sizeof text));
    EXPECT_FALSE(manager.GetValue("0.0|1.0", "alpha", "nothing", text, sizeof text));
    EXPECT_FALSE(manager.GetValue("0.0|1.0", "", "number", text, sizeof text));
    EXPECT_FALSE(manager.GetValue(nullptr, "alpha", "number", text, sizeof text));
    EXPECT_FALSE(manager.GetValue("0.0|1.0", "alpha", "number", text, 0));
    EXPECT_FALSE(manager.GetValue("0.0|1.0", "alpha", "", text, 10)) << "all of it does not fit";
    EXPECT_FALSE(manager.SetValue("0.0|1.0", "alpha", "number", ""));
    EXPECT_FALSE(manager.SetValue("0.0|1.0", "alpha", "", "1"));
    const std::string endless(600, 'x');
    EXPECT_FALSE(manager.GetValue("0.0|1.0", endless.c_str(), "number", text, sizeof text));
    EXPECT_FALSE(manager.GetValue("0.0|1.0", "alpha", endless.c_str(), text, sizeof text));
}
