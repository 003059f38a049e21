// SPDX-License-Identifier: Apache-2.0
// Every allocation of a load, a look-up, a reload and an update fails once: nothing crashes,
// nothing is lost, whoever asked is told, and the next try succeeds.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "support/allocation_counter.hpp"
#include "support/dialin_fixture.hpp"
#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

using steadywarp::test::fail_any_allocation;
using steadywarp::test::live_blocks;

constexpr char kAdrc[] = "0.0|1.0|2.2|3.2";
constexpr TuningMode kAdrcBranch[] = {{0, 0, 0}, {1, 0, 0}, {2, 2, 0}, {3, 2, 0}};

std::atomic<size_t> complaints{0};
// Without memory to count duplicates a table counts as read and holds nothing.
std::atomic<bool> table_is_empty{false};

void CountComplaints(uint32_t, Zelm::Log::Level level, const char* text, void*) {
    complaints += level == Zelm::Log::Level::kError ? 1 : 0;
    if (std::strstr(text, "space for duplicates variable") != nullptr) {
        table_is_empty = true;
    }
}

class ServedManager : public SampleManager {
  public:
    using SampleManager::CreateWorker;
    using SampleManager::DeleteWorker;
    using SampleManager::SampleManager;
};

class TuningAllocation : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        _bytes = SampleBytes(SampleText(100));
        _next = SampleBytes(SampleText(200));
        _disk.Write(_bytes);
        Zelm::Log::SetSink(CountComplaints, nullptr);
    }
    void TearDown() override { Zelm::Log::SetSink(nullptr, nullptr); }

    bool Load(SampleManager& manager) {
        return GetParam() ? manager.LoadBinaryParameters(_disk.Name())
                          : manager.LoadBinaryParameters(_bytes.data(), _bytes.size());
    }

    // Runs `operation` on a manager of its own with the n-th allocation failing, for every n.
    // @param loaded whether the manager has its file before.
    // @param operation tells whether it had its full effect.
    // @return for how many n it had not.
    size_t FailEach(bool loaded, const std::function<bool(SampleManager&)>& operation,
                    const std::function<void(SampleManager&)>& recovered) {
        size_t refused = 0;
        bool reached_the_end = false;
        for (size_t n = 1; n < 5000 && !reached_the_end; ++n) {
            const size_t live = live_blocks();
            {
                ServedManager manager(GetParam());
                EXPECT_TRUE(!loaded || Load(manager));
                complaints = 0;
                table_is_empty = false;
                fail_any_allocation(n);
                const bool good = operation(manager);
                reached_the_end = fail_any_allocation(0) != 0;
                EXPECT_TRUE(good || !reached_the_end);
                EXPECT_TRUE(good || complaints > 0) << "allocation " << n << " failed in silence";
                refused += good ? 0 : 1;
                recovered(manager);
            }
            EXPECT_EQ(live_blocks(), live) << "allocation " << n;
            if (HasFailure()) {
                break;  // what a failed expectation allocates would be taken for a leak
            }
        }
        EXPECT_TRUE(reached_the_end);
        return refused;
    }

    uint32_t NumberOfAdrc(SampleManager& manager) {
        auto* module =
            static_cast<SampleModule*>(manager.GetModule("alpha", kAdrcBranch, 4, nullptr));
        const uint32_t number = module != nullptr ? module->number : 0;
        manager.ReleaseModule(module);
        return number;
    }

    SampleFile _disk;
    tuning::Bytes _bytes;
    tuning::Bytes _next;
};

TEST_P(TuningAllocation, ALoadFailsWholeAndCanBeRepeated) {
    const size_t refused = FailEach(
        false,
        [&](SampleManager& manager) {
            // In buffer mode a module that found no memory is missing, and the load good.
            return Load(manager) && NumberOfAdrc(manager) == 132;
        },
        [&](SampleManager& manager) {
            EXPECT_TRUE(manager.IsLoaded() || Load(manager)) << manager.GetLastError();
            if (NumberOfAdrc(manager) != 132) {
                EXPECT_TRUE(manager.UpdateBinaryParameters(_bytes.data(), _bytes.size()));
            }
            EXPECT_TRUE(NumberOfAdrc(manager) == 132 || table_is_empty);
        });
    EXPECT_GT(refused, GetParam() ? 20u : 10u);  // a load in memory makes few allocations
}

TEST_P(TuningAllocation, ALookUpGivesAShallowerModuleOrNone) {
    FailEach(
        true,
        [&](SampleManager& manager) {
            auto* module =
                static_cast<SampleModule*>(manager.GetModule("alpha", kAdrcBranch, 4, nullptr));
            const bool good = module != nullptr && module->number == 132;
            EXPECT_TRUE(module == nullptr || module->IsLoaded());
            manager.ReleaseModule(module);
            return good;
        },
        [&](SampleManager& manager) {
            EXPECT_TRUE(manager.IsLoaded() || Load(manager)) << manager.GetLastError();
            EXPECT_EQ(NumberOfAdrc(manager), 132u);
        });
}

TEST_P(TuningAllocation, ViewsAndValues) {
    FailEach(
        true,
        [&](SampleManager& manager) {
            char text[256];
            unsigned char modes[256];
            PList<ParameterParserInfo> list, modules;
            PList<ParameterCTValue> copies;
            const bool values = manager.SetControlValues("1=1,2=2") &&
                                manager.GetControlValues(text, 256) &&
                                manager.GetControlValues(copies);
            manager.GetChildModes("0.0", modes, sizeof modes);
            const bool read = manager.LoadMode(kAdrcBranch, 4, nullptr) == GetParam() &&
                              manager.GetValue(kAdrc, "alpha", nullptr, text, sizeof text);
            const bool active = manager.GetActiveModes(text, sizeof text) == GetParam();
            const bool listed = manager.GetInfo(kAdrc, "alpha", list) &&
                                manager.GetInfo(kAdrcBranch, 4, "", modules);
            ++complaints;  // these tell by their result alone
            return values && active && read && listed;
        },
        [&](SampleManager& manager) {
            EXPECT_TRUE(manager.IsLoaded() || Load(manager));
            EXPECT_EQ(NumberOfAdrc(manager), 132u);
        });
}

TEST_P(TuningAllocation, AnUpdateKeepsHeldModules) {
    FailEach(
        true,
        [&](SampleManager& manager) {
            const size_t rest = fail_any_allocation(0);
            auto* held =
                static_cast<SampleModule*>(manager.GetModule("alpha", kAdrcBranch, 3, nullptr));
            fail_any_allocation(rest);
            const bool good = manager.UpdateBinaryParameters(_next.data(), _next.size());
            EXPECT_EQ(held->number, 122u);
            EXPECT_STREQ(held->text, "same");
            held->Release();
            return good;
        },
        [&](SampleManager& manager) {
            ASSERT_TRUE(manager.IsLoaded() || Load(manager)) << manager.GetLastError();
            EXPECT_TRUE(manager.UpdateBinaryParameters(_next.data(), _next.size()))
                << manager.GetLastError();
            EXPECT_TRUE(NumberOfAdrc(manager) == 232 || table_is_empty);
        });
}

TEST_P(TuningAllocation, TheServiceAnswersOrSaysNothing) {
    const std::string adrc = std::string(kAdrc) + ":alpha";
    std::vector<Frame> requests = {RawFrame(0, ""),
                                   RawFrame(1, ""),
                                   RawFrame(2, ""),
                                   Request(3, 1, "Default"),
                                   Request(4, 2, adrc),
                                   Request(5, 3, adrc),
                                   Request(6, 4, adrc + ":number=132"),
                                   RawFrame(7, ""),
                                   Request(8, 5, "x")};
    for (Frame& request : requests) {
        request.push_back(0);
    }
    FailEach(
        true,
        [&](SampleManager& manager) {
            const size_t rest = fail_any_allocation(0);
            auto* com = new PieceCom(&manager);
            auto worker = std::make_unique<ParameterDialinWorker>(&manager, com);
            bool good = true;
            fail_any_allocation(rest);
            for (Frame& request : requests) {
                worker->Process(request.data(), static_cast<unsigned int>(request.size()) - 1, 0);
                ParameterDialinComBase::Packet const* reply = com->TakeReply();
                // A shorter text is an answer too, and which one it is tells the log or the text.
                good = good && reply != nullptr && reply->length > 6;
                delete reply;
            }
            ++complaints;
            worker.reset();
            return good;
        },
        [&](SampleManager& manager) {
            EXPECT_TRUE(manager.IsLoaded() || Load(manager));
            EXPECT_EQ(NumberOfAdrc(manager), 132u);
        });
}

TEST_P(TuningAllocation, AServiceStartsOrDoesNot) {
    ParameterDialinCom::LoopbackOnly = true;
    FailEach(
        false,
        [&](SampleManager& manager) {
            auto& served = static_cast<ServedManager&>(manager);
            const bool created = served.CreateWorker();
            const bool good = Load(manager) && NumberOfAdrc(manager) == 132;
            served.DeleteWorker();
            ++complaints;  // by its result alone
            return created && good;
        },
        [&](SampleManager& manager) { EXPECT_TRUE(manager.IsLoaded() || Load(manager)); });
}

INSTANTIATE_TEST_SUITE_P(Modes, TuningAllocation, testing::Bool(),
                         [](const auto& test) { return test.param ? "file" : "buffer"; });

class TuningReload : public TuningAllocation {};

TEST_P(TuningReload, FailsWholeAndCanBeRepeated) {
    FailEach(
        true,
        [&](SampleManager& manager) {
            const size_t rest = fail_any_allocation(0);
            SampleModule* held = manager.Get(kAdrc);
            fail_any_allocation(rest);
            const bool good = manager.ReloadBinaryParameters(false);
            EXPECT_EQ(held->number, 132u);
            held->Release();
            return good;
        },
        [&](SampleManager& manager) {
            EXPECT_TRUE(manager.ReloadBinaryParameters(false)) << manager.GetLastError();
            EXPECT_EQ(NumberOfAdrc(manager), 132u);
        });
}

INSTANTIATE_TEST_SUITE_P(Modes, TuningReload, testing::Values(true),
                         [](const auto&) { return "file"; });

TEST(MutexAllocation, AReaderThatCannotBeCountedWaitsForMemory) {
    ParameterMutex mutex;
    constexpr int kMoreThanHaveSlots = 20;
    std::barrier together(kMoreThanHaveSlots);  // or they could be one thread after another
    std::vector<std::thread> earlier;
    for (int i = 0; i < kMoreThanHaveSlots; ++i) {
        earlier.emplace_back([&] {
            mutex.Lock(true);
            mutex.Unlock(true);
            together.arrive_and_wait();
        });
    }
    for (std::thread& thread : earlier) {
        thread.join();
    }
    std::atomic<bool> written{false};
    const auto write = [&] {
        mutex.Lock(false);
        written = true;
        mutex.Unlock(false);
    };
    fail_any_allocation(1);
    mutex.Lock(true);
    EXPECT_EQ(fail_any_allocation(0), 0u);
    std::thread writer(write);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(written);
    mutex.Unlock(true);
    writer.join();
    EXPECT_TRUE(written);
}

TEST(ModuleAllocation, AModuleOfTheCallerThrowsAsObjectsDo) {
    fail_any_allocation(1);
    EXPECT_THROW(std::make_unique<SampleModule>("beta", nullptr), std::bad_alloc);
    EXPECT_EQ(fail_any_allocation(0), 0u);
}

TEST(TextAllocation, ATextWithoutMemoryIsNone) {
    const unsigned char bytes[] = "text";
    const struct {
        unsigned int length, field;
        const char* text;
    } kRows[] = {{0, 0, ""}, {0, 5, ""}, {3, 5, "tex"}, {5, 5, "text"}};
    for (const auto& row : kRows) {
        for (const bool fails : {true, false}) {
            unsigned int at = 0;
            fail_any_allocation(fails ? 1 : 0);
            char* text = ParameterUtils::ReadString(bytes, row.length, &at, row.field, 1);
            EXPECT_EQ(fail_any_allocation(0), 0u);
            EXPECT_STREQ(text, fails ? nullptr : row.text);
            std::free(text);
        }
    }
}

}  // namespace
