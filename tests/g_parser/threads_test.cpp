// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

constexpr int kReaders = 4;
constexpr int kRounds = 60;

void RunAll(std::vector<std::thread>& threads) {
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

TEST(Threads, ReadersLoadEvictAndReadValues) {
    LogLines lines;
    SampleFile disk;
    disk.Write(SampleBytes());
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int reader = 0; reader < kReaders; ++reader) {
        threads.emplace_back([&, reader] {
            char text[128];
            SampleModule* module = nullptr;
            for (int round = 0; round < kRounds; ++round) {
                const bool deep = (round + reader) % 2 == 0;
                module = manager.Get(deep ? "0.0|1.0|2.2|3.2" : "0.0|1.0|2.3", "alpha", module);
                wrong += module == nullptr || module->number != (deep ? 132u : 122u);
                wrong += !manager.GetValue("0.0|1.0", "alpha", "number", text, sizeof text);
                manager.SetControlValue(ParameterCTValue::FromInteger(reader, round));
                manager.GetControlValues(text, sizeof text);
                manager.GetActiveModes(text, sizeof text);
            }
            manager.ReleaseModule(module);
        });
    }
    RunAll(threads);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(lines.Count("unreferenced module"), 0u);
}

// Many readers meet one change at a time: exactly one reload for each, and nobody waits for ever.
TEST(Threads, AFileThatChangesIsReloadedOnce) {
    LogLines lines;
    SampleFile disk;
    disk.Write(SampleBytes(SampleText(0)));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    std::atomic<int> wrong{0};
    PList<TuningMode> branch;
    manager.GetModeBranchFromPath("0.0|1.0|2.2|3.2", branch);
    for (int round = 1; round <= 10; ++round) {
        // A change shows when something has to be read.
        EXPECT_TRUE(manager.UnloadMode(branch.begin(), branch.Count()));
        const uint32_t base = static_cast<uint32_t>(round) * 1000;
        SampleModule* held = manager.Get("0.0|1.0");
        disk.Write(SampleBytes(SampleText(static_cast<int>(base))));
        std::vector<std::thread> threads;
        for (int reader = 0; reader < kReaders; ++reader) {
            threads.emplace_back([&] {
                SampleModule* module = manager.Get("0.0|1.0|2.2|3.2");
                wrong += module == nullptr || module->number != base + 32;
                manager.ReleaseModule(module);
            });
        }
        RunAll(threads);
        EXPECT_EQ(held->number, base - 1000 + 10);
        EXPECT_STREQ(held->text, "same");
        held->Release();
        EXPECT_EQ(lines.Count("Reloading binary file"), static_cast<size_t>(round));
    }
    EXPECT_EQ(wrong, 0);
}

// A mode that can never be loaded has every reader reload the file, two times a call. All of them
// end, each with the shallower module, and what somebody holds stays what it was.
TEST(Threads, AModeThatCannotBeLoadedStopsNobody) {
    LogLines lines;
    tuning::Image image = SampleImage();
    image.symbols[3].data_size = 2;
    SampleFile disk;
    disk.Write(tuning::Encode(image));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int reader = 0; reader < kReaders; ++reader) {
        threads.emplace_back([&, reader] {
            SampleModule* held = nullptr;
            for (int round = 0; round < kRounds / 4; ++round) {
                if (round % 5 == 0) {
                    held = manager.Get("0.0|1.0|2.3", "alpha", held);
                }
                SampleModule* module = manager.Get(reader % 2 == 0 ? "0.0|1.0|2.2|3.2" : "0.0|1.0");
                wrong += module == nullptr || module->number != (reader % 2 == 0 ? 122u : 110u);
                manager.ReleaseModule(module);
                wrong +=
                    held == nullptr || held->number != 122u || std::strcmp(held->text, "same") != 0;
            }
            manager.ReleaseModule(held);
        });
    }
    RunAll(threads);
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(lines.Count("Reloading binary file"), 1u);
}

// Everything at once: readers that hold, loads, unloads, reloads of a file that changes.
TEST(Threads, ReadersAmongLoadsUnloadsAndReloads) {
    LogLines lines;
    SampleFile disk;
    disk.Write(SampleBytes(SampleText(0)));
    SampleManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::atomic<int> fetched{0};
    std::vector<std::thread> threads;
    for (int reader = 0; reader < kReaders; ++reader) {
        threads.emplace_back([&] {
            char text[64];
            unsigned char modes[64];
            PList<ParameterParserInfo> list;
            SampleModule* held = nullptr;
            while (!stop) {
                held = manager.Get("0.0|1.0|2.2|3.2", "alpha", held);
                wrong += held == nullptr;
                fetched += held != nullptr ? 1 : 0;
                manager.GetValue("0.0|1.0", "alpha", "number", text, sizeof text);
                manager.GetChildModes("0.0|1.0", modes, sizeof modes);
                manager.GetInfo("0.0", "", list);
                list.Clear();
                manager.GetActiveModes(text, sizeof text);
                // Readers without a pause would keep whoever wants the tree alone waiting.
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            manager.ReleaseModule(held);
        });
    }
    threads.emplace_back([&] {
        PList<TuningMode> branch;
        manager.GetModeBranchFromPath("0.0|1.0|2.2|3.2", branch);
        for (int round = 0; round < kRounds; ++round) {
            manager.LoadMode(branch.begin(), branch.Count(), "alpha");
            manager.UnloadMode(branch.begin(), branch.Count() - 1);
            std::this_thread::yield();
        }
    });
    for (int round = 1; round <= 8; ++round) {
        disk.Write(SampleBytes(SampleText(round * 1000)));
        EXPECT_TRUE(manager.ReloadBinaryParameters(false));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    threads.back().join();
    threads.pop_back();
    stop = true;
    RunAll(threads);
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(fetched, kReaders);
    EXPECT_EQ(manager.Get("0.0|1.0|2.2|3.2")->number, 8032u);
}

TEST(Threads, UpdatesWhileOthersRead) {
    LogLines lines;
    tuning::Bytes bytes = SampleBytes(SampleText(100));
    SampleManager manager;
    ASSERT_TRUE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int reader = 0; reader < kReaders; ++reader) {
        threads.emplace_back([&] {
            char text[128];
            for (int round = 0; round < kRounds; ++round) {
                SampleModule* module = manager.Get("0.0|1.0|2.2|3.2");
                wrong += module == nullptr || module->number % 100 != 32;
                manager.GetValue("0.0|1.0", "alpha", nullptr, text, sizeof text);
                std::this_thread::yield();
            }
        });
    }
    for (int update = 2; update < 8; ++update) {
        tuning::Bytes next = SampleBytes(SampleText(update * 100));
        EXPECT_TRUE(manager.UpdateBinaryParameters(next.data(), next.size()));
    }
    RunAll(threads);
    EXPECT_EQ(wrong, 0);
}
