// SPDX-License-Identifier: Apache-2.0
// Every allocation of a catalogue, of an instance and of an array fails once.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "modules/module_payload.hpp"
#include "steadywarp/tuning/modules/deep.h"
#include "steadywarp/tuning/shapessetmanager.h"
#include "support/allocation_counter.hpp"

namespace {

using steadywarp::test::fail_allocation;
using steadywarp::test::fail_any_allocation;
using steadywarp::test::fail_c_allocation;
using steadywarp::test::live_blocks;

constexpr TuningMode kRoot[] = {{0, 0, 0}};
constexpr TuningMode kVideo[] = {{0, 0, 0}, {1, 0, 0}, {2, 2, 0}};
constexpr char kDeepName[] = "tessaline_a_module_whose_name_no_record_can_hold";

std::atomic<size_t> failures{0};

// Without memory of its own, which is what is failing.
void CountFailures(uint32_t, Zelm::Log::Level, const char* text, void*) {
    const bool is_failure = std::strstr(text, "Failed to allocate ") != nullptr ||
                            std::strstr(text, "Failed to read or allocate ") != nullptr;
    failures += is_failure ? 1 : 0;
}

class ModuleAllocation : public testing::Test {
  protected:
    void SetUp() override {
        _bytes = SampleBytes(
            Text() + ModuleText("a_module-name_no_record_can_hold", {1, 0, 0}, "Default",
                                PayloadMaker().Make(*deep::deepType::kModule.values).values));
        Zelm::Log::SetSink(CountFailures, nullptr);
    }
    void TearDown() override { Zelm::Log::SetSink(nullptr, nullptr); }

    static std::string Text() {
        return "tag = \"a tag that is too long to be kept in place\"\n" + std::string(ModesText());
    }
    bool Load(ParameterSetManager& manager) {
        return manager.LoadBinaryParameters(_bytes.data(), _bytes.size());
    }

    tuning::Bytes _bytes;
};

TEST_F(ModuleAllocation, ARowWithoutMemoryIsLeftOutAndSaidSo) {
    const uint32_t rows = ShapesSetManager::Catalogue().families[0]->count;
    size_t left_out = 0;
    // Class object and row for each; the map is a piece of a block that all of them share.
    for (size_t n = 1; n <= 2 * rows + 5; ++n) {
        const size_t live = live_blocks();
        {
            failures = 0;
            fail_allocation(n);
            ShapesSetManager manager;
            fail_allocation(0);
            left_out += failures;
            EXPECT_LE(failures, 1u);
            Load(manager);
        }
        EXPECT_EQ(live_blocks(), live) << n;
    }
    EXPECT_EQ(left_out, 2 * rows);
}

// With each allocation of a load failing, the whole load or the module it was for, and never in
// silence: the image is gone, so there is no second try.
TEST_F(ModuleAllocation, ALoadInMemoryIsWholeOrSaysWhatIsMissing) {
    bool came = true;
    size_t n = 0;
    while (came && n < 200) {
        const size_t live = live_blocks();
        {
            ShapesSetManager manager;
            failures = 0;
            fail_any_allocation(++n);
            const bool loaded = Load(manager);
            came = fail_any_allocation(0) == 0;
            const bool said = failures > 0 || manager.GetLastError()[0] != '\0';
            EXPECT_TRUE(said || loaded) << n;
            EXPECT_TRUE(said || manager.GetModule(kDeepName, kRoot, 1, nullptr) != nullptr) << n;
        }
        EXPECT_EQ(live_blocks(), live) << n;
    }
    EXPECT_FALSE(came);
    EXPECT_GT(n, 10u);
}

// What was given back and is lost would be the address sanitizer's to tell.
TEST_F(ModuleAllocation, APoolKeepsWhatCameBeforeAMark) {
    ParameterPool pool;
    auto* first = static_cast<unsigned char*>(pool.Allocate(100));
    ASSERT_NE(first, nullptr);
    std::memset(first, 1, 100);
    const ParameterPool::Mark mark = pool.GetMark();
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 100; ++i) {
            void* piece = pool.Allocate(1000);
            ASSERT_NE(piece, nullptr);
            std::memset(piece, 2, 1000);
        }
        EXPECT_EQ(pool.Allocate(SIZE_MAX), nullptr);
        fail_any_allocation(1);
        EXPECT_EQ(pool.Allocate(size_t{1} << 21), nullptr);
        fail_any_allocation(0);
        EXPECT_EQ(std::count(first, first + 100, 1), 100);
        pool.Rewind(mark);
    }
}

TEST_F(ModuleAllocation, AModuleOnDemandSurvivesAnyFailureAndLoadsTheNextTime) {
    SampleFile disk;
    disk.Write(SampleBytes(
        ModesText() + ModuleText("a_module-name_no_record_can_hold", {1, 0, 0},
                                 "Default|Sensor.0|Usecase.Video",
                                 PayloadMaker().Make(*deep::deepType::kModule.values).values)));
    bool came = true;
    size_t n = 0;
    while (came && n < 2000) {
        const size_t live = live_blocks();
        {
            ShapesSetManager manager;
            ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
            fail_any_allocation(++n);
            manager.GetModule(kDeepName, kVideo, 3, nullptr);
            came = fail_any_allocation(0) == 0;
            EXPECT_NE(manager.GetModule(kDeepName, kVideo, 3, nullptr), nullptr) << n;
        }
        EXPECT_EQ(live_blocks(), live) << n;
    }
    EXPECT_FALSE(came);
    EXPECT_GT(n, 40u);
}

TEST_F(ModuleAllocation, EveryOperationSurvivesAnyFailure) {
    SampleFile disk;
    disk.Write(_bytes);
    const struct {
        const char* what;
        bool loaded;
        std::function<void(ShapesSetManager&)> run;
    } kRows[] = {
        {"load from memory", false, [&](auto& manager) { Load(manager); }},
        {"load from disk", false,
         [&](auto& manager) { manager.LoadBinaryParameters(disk.Name()); }},
        {"update", true,
         [&](auto& manager) {
             manager.LoadMode(kRoot, 1, nullptr);
             manager.UpdateBinaryParameters(_bytes.data(), _bytes.size());
         }},
        {"list", true,
         [&](auto& manager) {
             // Lists that grow with every entry.
             PList<ParameterParserInfo> modules(1), fields(1);
             manager.GetInfo(kRoot, 1, "", modules);
             if (ParameterModule* module = manager.GetModule(kDeepName, kRoot, 1, nullptr)) {
                 module->GetInfo("", fields);
                 module->GetInfo("outer[0]", fields);
             }
         }},
    };
    for (const auto& row : kRows) {
        bool came = true;
        for (size_t n = 1; came && n < 5000; ++n) {
            const size_t live = live_blocks();
            {
                ShapesSetManager manager;
                ASSERT_TRUE(!row.loaded || manager.LoadBinaryParameters(disk.Name()));
                fail_any_allocation(n);
                row.run(manager);
                came = fail_any_allocation(0) == 0;
                EXPECT_TRUE(manager.IsLoaded() || Load(manager)) << row.what << n;
            }
            EXPECT_EQ(live_blocks(), live) << row.what << n;
        }
        EXPECT_FALSE(came) << row.what;
    }
}

TEST_F(ModuleAllocation, AnInstanceWithoutMemoryIsRefused) {
    deep::deepTypeClass classObject(kDeepName);
    DefaultModule row(new deep::deepTypeClass(classObject.GetModuleName()));
    ModuleData data(1, 1, nullptr, classObject.GetModuleType(), {1, 0, 0}, 0, nullptr, nullptr);
    const size_t live = live_blocks();
    fail_allocation(1);
    EXPECT_EQ(classObject.Create(&data, &row), nullptr);
    fail_allocation(0);
    EXPECT_EQ(live_blocks(), live);
    EXPECT_NE(classObject.Create(&data, &row), nullptr);
}

}  // namespace
