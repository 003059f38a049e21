// SPDX-License-Identifier: Apache-2.0
// The live tuning client against the service itself.
#include "tune_command.hpp"

#include <gtest/gtest.h>

#include <thread>

#include "module_fields.hpp"
#include "support/dialin_fixture.hpp"
#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome RunWords(const std::string& address, std::vector<std::string> words) {
    words.insert(words.begin(), {"tune", "--timeout", "1", address});
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = RunTune(static_cast<int>(argv.size()), argv.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

class Tune : public testing::Test {
  protected:
    void SetUp() override {
        ParameterDialinCom::LoopbackOnly = true;
        tuning::Bytes bytes = SampleBytes();
        ASSERT_TRUE(_manager.LoadBinaryParameters(bytes.data(), bytes.size()));
        _worker.Start();
        const uint16_t port = static_cast<ParameterDialinCom*>(_worker.GetCom())->GetPort();
        ASSERT_NE(port, 0);
        _address = "127.0.0.1:" + std::to_string(port);
    }

    LogLines _lines;
    SampleManager _manager;
    ParameterDialinWorker _worker{&_manager};
    std::string _address;
};

}  // namespace

TEST_F(Tune, AnswersOneItemALine) {
    _manager.SetControlValues("3=4");
    const struct {
        std::vector<std::string> words;
        int status;
        const char* out;
    } kRows[] = {
        {{"modes"}, 0, "Sensor.0\n"},
        {{"modes", "Default|Sensor.0"}, 0, "Usecase.Video\nUsecase.ZSL\n"},
        {{"list"}, 0, "alpha=0.0,Module\n"},
        {{"list", "0.0", "alpha"}, 0, "number=100,UInt32\nnumbers,UInt32,2\n"},
        {{"get", "0.0|1.0|2.2", "alpha", "number"}, 0, "122\n"},
        {{"get", "0.0|1.0|2.2", "alpha"}, 0, "number=122\nnumbers=7,8\n"},
        {{"set", "0.0", "alpha", "number=5", "number=6"}, 0, "number=5\nnumber=6\n"},
        {{"get", "0.0", "alpha", "number"}, 0, "6\n"},
        {{"set", "0.0", "alpha", "text=5", "number=7"}, 1, "number=7\n"},
        {{"get", "0.0", "gamma"}, 1, ""},
        {{"list", "0.0", "gamma"}, 1, ""},
        {{"watch", "0.0", "alpha", "nothing"}, 1, ""},
    };
    for (const auto& row : kRows) {
        const Outcome outcome = RunWords(_address, row.words);
        EXPECT_EQ(outcome.status, row.status) << row.words[0] << outcome.err;
        EXPECT_EQ(outcome.out, row.out) << row.words[0];
        EXPECT_EQ(outcome.err.empty(), row.status == 0) << row.words[0] << outcome.err;
    }
    const Outcome info = RunWords(_address, {"info"});
    EXPECT_EQ(info.out.rfind("name: sample\nprotocol: 1\nhandle: 0x", 0), 0u) << info.out;
    EXPECT_NE(info.out.find("control values: 3=4\n"), std::string::npos) << info.out;
}

// A text may hold what parts entries.
TEST(Entries, AreReadAsTheServiceWritesThem) {
    const auto entries = tune::ParseEntries(
        "enable=1,Boolean;thresholds,Float,8;text=a;b,c=2,Int;d,String;empty,String;regions,"
        "Structure,2");
    std::string all;
    for (const tune::Entry& entry : entries) {
        all += entry.name + "|" + entry.value + "|" + entry.type + "|" +
               (entry.count ? std::to_string(*entry.count) : "-") + "\n";
    }
    EXPECT_EQ(all,
              "enable|1|Boolean|-\nthresholds||Float|8\ntext|a;b,c=2,Int;d|String|-\n"
              "empty||String|-\nregions||Structure|2\n");
}

TEST_F(Tune, WatchesAValueChange) {
    std::thread engineer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        _manager.SetValue("0.0", "alpha", "number", "55");
    });
    const Outcome outcome = RunWords(
        _address, {"watch", "0.0", "alpha", "number", "--interval", "0.05", "--count", "12"});
    engineer.join();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2) << outcome.out;
    EXPECT_NE(outcome.out.find(" 100\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find(" 55\n"), std::string::npos) << outcome.out;
}

TEST_F(Tune, SaysWhyThereIsNoAnswer) {
    const struct {
        std::string address;
        std::vector<std::string> words;
        const char* text;
    } kRows[] = {
        {"nonsense", {"info"}, "nonsense: expected HOST:PORT or unix:#NAME"},
        {"127.0.0.1:1", {"info"}, "127.0.0.1:1: Connection refused"},
        {"unix:#NobodyIsHere", {"info"}, "Connection refused"},
        {"unix:#" + std::string(200, 'x'), {"info"}, "the name is too long"},
        {_address, {"set", "0.0", "alpha", "number"}, "number: expected NAME=VALUE"},
        {_address, {"set", "0.0", "alpha", "number=1;x=2"}, "expected NAME=VALUE"},
        {_address, {"frobnicate"}, ""},
        {_address, {}, ""},
    };
    for (const auto& row : kRows) {
        const Outcome outcome = RunWords(row.address, row.words);
        EXPECT_EQ(outcome.status, 2) << row.address;
        EXPECT_NE(outcome.err.find(row.text), std::string::npos) << outcome.err;
    }
    // Somebody else is being served.
    DialinClient other(static_cast<ParameterDialinCom*>(_worker.GetCom())->GetPort());
    ASSERT_FALSE(other.Ask(RawFrame(0, "")).empty());
    const Outcome outcome = RunWords(_address, {"info"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("no answer; another client may be connected"), std::string::npos);
}
