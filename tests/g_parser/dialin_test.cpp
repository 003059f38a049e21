// SPDX-License-Identifier: Apache-2.0
// Live tuning without a network: frames out of pieces, and every command's exact reply.
#include <gtest/gtest.h>

#include "support/dialin_fixture.hpp"
#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

constexpr char kVideo[] = "0.0|1.0|2.2";

Frame Join(std::initializer_list<Frame> frames) {
    Frame all;
    for (const Frame& frame : frames) {
        all.insert(all.end(), frame.begin(), frame.end());
    }
    return all;
}

class Dialin : public testing::Test {
  protected:
    void SetUp() override {
        tuning::Bytes bytes = SampleBytes();
        ASSERT_TRUE(_manager.LoadBinaryParameters(bytes.data(), bytes.size()));
    }
    // The reply to one request, or nothing.
    Frame Ask(Frame request) {
        request.push_back(0);  // as behind every packet
        _worker.Process(request.data(), static_cast<unsigned int>(request.size()) - 1, 0);
        const std::unique_ptr<ParameterDialinComBase::Packet> reply(_com->TakeReply());
        return reply != nullptr ? Frame(reply->data, reply->data + reply->length) : Frame();
    }
    std::string AskText(uint16_t command, const std::string& text) {
        const Frame reply = Ask(Request(command, 0xA1B2C3D4, text));
        EXPECT_EQ(NumberAt(reply, 0, 2), 0x425Au) << text;
        EXPECT_EQ(NumberAt(reply, 2, 2), command) << text;
        EXPECT_EQ(NumberAt(reply, 4, 2), reply.size()) << text;
        EXPECT_EQ(NumberAt(reply, 6, 4), 0xA1B2C3D4u) << text;
        EXPECT_TRUE(!reply.empty() && reply.back() == 0) << text;
        return TextAt(reply, 10);
    }

    LogLines _lines;
    SampleManager _manager;
    PieceCom* _com = new PieceCom(&_manager);
    ParameterDialinWorker _worker{&_manager, _com};
};

}  // namespace

TEST_F(Dialin, FramesSplitAtEveryByteAndGlued) {
    const Frame first = Request(5, 1, "0.0:alpha:number");
    const Frame second = Request(3, 2, "");
    const Frame both = Join({first, second});
    for (size_t cut = 1; cut < both.size(); ++cut) {
        PieceCom com(&_manager);
        com.pieces = {Frame(both.begin(), both.begin() + static_cast<std::ptrdiff_t>(cut)),
                      Frame(both.begin() + static_cast<std::ptrdiff_t>(cut), both.end())};
        EXPECT_EQ(com.ReceiveAll(), (std::vector<Frame>{first, second})) << cut;
    }
    PieceCom com(&_manager);
    for (const uint8_t byte : both) {
        com.pieces.push_back({byte});
    }
    EXPECT_EQ(com.ReceiveAll(), (std::vector<Frame>{first, second}));
}

TEST_F(Dialin, FramesOfEveryLength) {
    for (unsigned int length = 1; length <= 65535;
         length += length < 600 || length > 65500 ? 1 : 97) {
        PieceCom com(&_manager);
        const size_t bytes = std::max(length, 6u);
        const Frame frame = RawFrame(3, std::string(bytes - 6, '\0'), static_cast<int>(length));
        com.pieces = {frame};
        const std::vector<Frame> received = com.ReceiveAll();
        // A frame shorter than its own header leaves the rest of that behind as a new head.
        ASSERT_EQ(received.size(), 1u) << length;
        EXPECT_EQ(received[0].size(), length);
        EXPECT_TRUE(std::equal(received[0].begin(), received[0].end(), frame.begin())) << length;
    }
}

TEST_F(Dialin, FramesThatAreRefused) {
    const Frame good = Request(3, 7, "");
    const Frame tag = {1, 2, 3, 4, 5, 6, 7};
    const Frame nine = RawFrame(9, "rest");
    const Frame none = RawFrame(3, "rest", 0);
    const Frame leave;
    const struct {
        const char* what;
        std::deque<Frame> pieces;
        size_t received;
        const char* line;
    } kRows[] = {
        {"a wrong tag takes all with it",
         {Join({tag, good}), good},
         1,
         "Dialin request missing start tag, Expected: 16986, Received: 513: 0x0102030405"},
        {"command 9 stays", {nine, good, good}, 0, "Dialin request ID 9 exceeds Max 9"},
        {"command 9 leaves with its client",
         {nine, good, leave, good},
         1,
         "Dialin request ID 9 exceeds Max 9"},
        {"length 0 stays", {none, good}, 0, "Dialin request length is zero: 0x5a42030000"},
        {"length 0 leaves with its client",
         {none, leave, good},
         1,
         "Dialin request length is zero: 0x5a42030000"},
        {"a tag behind a good frame", {Join({good, tag}), good}, 2, "missing start tag"},
        {"no nul at the end",
         {RawFrame(3, "0123x")},
         1,
         "Dialin packet missing terminating nul character"},
        // The rest that the next client happens to send completes the frame.
        {"half a frame is met by the next client",
         {Frame(good.begin(), good.begin() + 7), leave, Frame(good.begin() + 7, good.end())},
         1,
         ""},
        // A full buffer has no room to read into, which counts as a client that has left.
        {"more than fits behind a frame that stays",
         {nine, Frame(70000, 'x'), good},
         1,
         "exceeds Max 9"},
    };
    for (const auto& row : kRows) {
        LogLines lines;
        PieceCom com(&_manager);
        com.pieces = row.pieces;
        EXPECT_EQ(com.ReceiveAll().size(), row.received) << row.what;
        EXPECT_TRUE(row.line[0] == '\0' || lines.Count(row.line) > 0) << row.what;
    }
}

TEST_F(Dialin, ARequestIsCutAtTheRoomThereIs) {
    _com->pieces = {Request(3, 1, std::string(100, 'x'))};
    bool stop = false;
    Frame out(21, 0xEE);
    EXPECT_EQ(_com->ReceiveDialinRequest(out.data(), 20, 9, -1, stop), 20u);
    EXPECT_EQ(out[20], 0xEE);
    EXPECT_EQ(_com->ReceiveDialinRequest(out.data(), 20, 9, 0, stop), 0u);
}

TEST_F(Dialin, InfoTellsTheVersionTheHandleAndTheName) {
    const Frame reply = Ask(RawFrame(0, ""));
    EXPECT_EQ(reply.size(), 16 + std::string("sample").size() + 1);
    EXPECT_EQ(NumberAt(reply, 0, 6), 0x425A | uint64_t{reply.size()} << 32);
    EXPECT_EQ(NumberAt(reply, 6, 2), 1u);
    IParameterDataAPI* api = &_manager;
    EXPECT_EQ(NumberAt(reply, 8, 8), reinterpret_cast<uintptr_t>(api));
    EXPECT_EQ(TextAt(reply, 16), "sample");
    // A frame without a command is answered alike.
    EXPECT_EQ(Ask({0x5A, 0x42, 5}), reply);
    EXPECT_EQ(_lines.Count("Failed to read 2 bytes from binary file offset 2, length 3"), 1u);
    // Without a name the handle stands for it.
    SampleManager nameless;
    ParameterDialinWorker worker(&nameless, new PieceCom(&nameless));
    worker.ProcessDeviceInfo();
    const std::unique_ptr<ParameterDialinComBase::Packet> packet(worker.GetCom()->TakeReply());
    ASSERT_NE(packet, nullptr);
    char name[32];
    std::snprintf(name, sizeof name, "0x%016lx",
                  reinterpret_cast<uintptr_t>(static_cast<IParameterDataAPI*>(&nameless)));
    EXPECT_STREQ(reinterpret_cast<char*>(packet->data + 16), name);
}

TEST_F(Dialin, ListsWithoutAnId) {
    EXPECT_TRUE(_manager.SetControlValues("5=1,3=0.25"));
    EXPECT_TRUE(_manager.SetTriggerValues("9=-4"));
    const struct {
        uint16_t command;
        const char* text;
    } kRows[] = {{1, ""}, {2, "3=0.250000,5=1"}, {7, "9=-4"}};
    for (const auto& row : kRows) {
        const Frame reply = Ask(RawFrame(row.command, std::string(1, '\0')));
        EXPECT_EQ(NumberAt(reply, 2, 2), row.command);
        EXPECT_EQ(NumberAt(reply, 4, 2), reply.size());
        EXPECT_EQ(TextAt(reply, 6), row.text);
    }
    // 4090 bytes hold a list, its nul included; a longer one is not sent in part.
    std::string longest = "1=" + std::to_string(INT64_MAX);
    for (int i = 2; longest.size() < 4080; ++i) {
        longest += "," + std::to_string(i) + "=" + std::to_string(INT64_MAX);
    }
    EXPECT_TRUE(_manager.SetControlValues(longest.c_str()));
    const std::string sent = TextAt(Ask(RawFrame(2, "")), 6);
    EXPECT_EQ(sent, longest.size() <= 4089 ? longest : "");
    EXPECT_TRUE(_manager.SetControlValues((longest + ",99999=1").c_str()));
    EXPECT_EQ(TextAt(Ask(RawFrame(2, "")), 6), "");
}

TEST_F(Dialin, ModesByNameAndByNumber) {
    EXPECT_EQ(AskText(3, "Default"), "Sensor.0");
    EXPECT_EQ(AskText(3, "0.0|1.0"), "Usecase.Video,Usecase.ZSL");
    EXPECT_EQ(AskText(3, "Default|Sensor.0|Usecase.Video"), "Feature1.ADRC");
    EXPECT_EQ(AskText(3, "Default|Sensor.0|usecase.zsl"), "Feature1.ADRC") << "through the link";
    EXPECT_EQ(AskText(3, ""), "Sensor.0");
    EXPECT_EQ(AskText(3, std::string(2000, 'x')), "Sensor.0") << "no such path: from the begin";
    const Frame reply = Ask(RawFrame(3, ""));
    EXPECT_EQ(_lines.Count("Failed to read 4 bytes from binary file offset 6, length 6"), 1u);
    EXPECT_EQ(NumberAt(reply, 6, 4), 0u);
    EXPECT_EQ(TextAt(reply, 10), "Sensor.0");
}

TEST_F(Dialin, EntriesOfAModule) {
    EXPECT_EQ(AskText(4, "Default:alpha"), "number=100,UInt32;numbers,UInt32,2");
    EXPECT_EQ(AskText(4, "Default"), "alpha=0.0,Module");
    EXPECT_EQ(AskText(4, "Default:"), "alpha=0.0,Module");
    EXPECT_EQ(AskText(4, ""), "");
    EXPECT_EQ(AskText(4, "Default:gamma"), "");
    EXPECT_EQ(AskText(4, std::string(512, 'm') + ":alpha"), "") << "no field is that long";
    EXPECT_EQ(Ask(RawFrame(4, std::string(4, '\0'))), Frame()) << "without even a nul";
}

TEST_F(Dialin, ValuesAreRead) {
    const std::string video = std::string(kVideo) + ":alpha:";
    EXPECT_EQ(AskText(5, video + "number"), "122");
    EXPECT_EQ(AskText(5, video + "numbers[1]"), "8");
    EXPECT_EQ(AskText(5, "Default|Sensor.0|Usecase.Video:alpha"), "number=122;numbers=7,8");
    for (const std::string& text :
         {std::string(), std::string(":"), std::string("::"), std::string(":::"), video + "x",
          std::string(kVideo) + ":gamma:number", std::string(60000, 'a'),
          std::string(kVideo) + ":" + std::string(600, 'b') + ":number"}) {
        EXPECT_EQ(AskText(5, text), "") << text.substr(0, 40);
    }
    EXPECT_EQ(Ask(RawFrame(5, std::string(5, '\0'))).size(), 11u);
    EXPECT_EQ(Ask(RawFrame(5, "")).size(), 11u);
}

TEST_F(Dialin, ValuesAreWrittenAndReadBack) {
    const std::string video = std::string(kVideo) + ":alpha:";
    EXPECT_EQ(AskText(6, video + "number=5"), "5");
    EXPECT_EQ(_manager.Get(kVideo)->number, 5u);
    EXPECT_EQ(_manager.Get("0.0")->number, 100u) << "another mode's module is another";
    EXPECT_EQ(AskText(6, video + "number=6;text=7;number=8"), "6;8")
        << "what is refused is missing";
    EXPECT_EQ(AskText(6, video + "number=;number=9;"), "9");
    EXPECT_EQ(AskText(6, video + "number;number=10;;=;=3"), "10");
    EXPECT_EQ(AskText(6, video + "number=-1"), "");
    EXPECT_EQ(AskText(6, video), "");
    EXPECT_EQ(AskText(6, ""), "");
    EXPECT_EQ(AskText(6, video + "number=" + std::string(600, '1') + ";number=11"), "11");
    EXPECT_EQ(_manager.Get(kVideo)->number, 11u);
}

TEST_F(Dialin, CustomCommandsGoToTheirHandler) {
    struct Handler : IParameterDialinCustom {
        uint16_t ProcessCustom(unsigned char const* payload, unsigned int payloadLength,
                               unsigned int room, unsigned char* output,
                               uint16_t& outputLength) override {
            seen.assign(payload, payload + payloadLength);
            EXPECT_EQ(room, 65523u);
            std::memset(output, 'o', std::min<unsigned int>(length, room));
            outputLength = length;
            return 0xBEEF;
        }
        std::string seen;
        uint16_t length = 3;
    } handler;
    const Frame request = RawFrame(8, std::string("\x04\x03\x02\x01\x00\xFFpay", 9));
    Frame reply = Ask(request);
    EXPECT_EQ(reply.size(), 12u);
    EXPECT_EQ(NumberAt(reply, 10, 2), 0u);
    EXPECT_EQ(_lines.Count("Dialin queued Custom command received with no handler installed"), 1u);
    _worker.SetCustomHandler(&handler);
    reply = Ask(request);
    EXPECT_EQ(handler.seen, std::string("\x00\xFFpay", 5));
    EXPECT_EQ(NumberAt(reply, 4, 2), 15u);
    EXPECT_EQ(NumberAt(reply, 6, 4), 0x01020304u);
    EXPECT_EQ(NumberAt(reply, 10, 2), 0xBEEFu);
    EXPECT_EQ(std::string(reply.begin() + 12, reply.end()), "ooo");
    // Without a payload nothing is done; what would make a frame of 65535 bytes is sent as nothing.
    EXPECT_EQ(Ask(RawFrame(8, "abcd")), Frame());
    handler.length = 0xFFFF;
    EXPECT_EQ(Ask(request), Frame());
    handler.length = 65522;
    EXPECT_EQ(Ask(request).size(), 65534u);
}

TEST_F(Dialin, UnknownCommandsAndTextsInTheLog) {
    EXPECT_EQ(Ask(RawFrame(9, "")), Frame());
    EXPECT_EQ(Ask(RawFrame(0xFFFF, "")), Frame());
    unsigned char text[] = {0x20, 'a', 0x7E, 0};
    EXPECT_TRUE(_worker.IsPrintable(text, sizeof text));
    EXPECT_TRUE(_worker.IsPrintable(text, 0));
    for (const int bad : {0x1F, 0x7F, 0x80, 0xFF}) {
        text[1] = static_cast<unsigned char>(bad);
        EXPECT_FALSE(_worker.IsPrintable(text, sizeof text)) << bad;
    }
    _manager.ShowDebugLines();
    AskText(5, std::string(kVideo) + ":alpha:number");
    EXPECT_EQ(_lines.Count("Dialin queued command: GetValues(5), ID: 2712847316, Payload: 122"),
              1u);
    Ask(RawFrame(0, ""));
    EXPECT_EQ(_lines.Count("Dialin queued command: Info(0), Version: 1.0, Name: sample"), 1u);
    ParameterDialinWorker nobody(nullptr, new PieceCom(nullptr));
    nobody.Start();
    EXPECT_EQ(_lines.Count("ParameterDialinComBase constructed with a nullptr Set Manager"), 1u);
    EXPECT_EQ(_lines.Count("ParameterDialinWorker constructed with a nullptr Set Manager"), 1u);
}
