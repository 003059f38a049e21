// SPDX-License-Identifier: Apache-2.0
// Any bytes as what a live tuning client sends, in pieces: the first input byte says how long they
// are and (bit 7) that the client changes in the middle. Every reply is a frame that adds up.
#include <cstdlib>

#include "support/dialin_fixture.hpp"
#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

void Require(bool good, const char* what) {
    if (!good) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

// Answers with as many bytes as the payload's first two say.
struct Echo : IParameterDialinCustom {
    uint16_t ProcessCustom(unsigned char const* payload, unsigned int payloadLength,
                           unsigned int room, unsigned char* output,
                           uint16_t& outputLength) override {
        outputLength =
            static_cast<uint16_t>(payloadLength > 1 ? payload[0] | payload[1] << 8 : payloadLength);
        std::memset(output, 0x55, std::min<unsigned int>(outputLength, room));
        return outputLength;
    }
};

void CheckReply(const ParameterDialinComBase::Packet& reply) {
    if (reply.length == 0) {
        return;  // what would not fit in a frame
    }
    const Frame frame(reply.data, reply.data + reply.length);
    Require(frame.size() >= 7 || NumberAt(frame, 2, 2) == 3, "a reply has a text");
    Require(NumberAt(frame, 0, 2) == 0x425A, "a reply has the start tag");
    Require(NumberAt(frame, 2, 2) < 9, "a reply is to a command that there is");
    Require(NumberAt(frame, 4, 2) == frame.size(), "a reply is as long as it says");
    Require(NumberAt(frame, 2, 2) == 8 || frame.back() == 0, "a text ends");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const tuning::Bytes image = SampleBytes();
    if (size == 0) {
        return 0;
    }
    LogLines lines;
    SampleManager manager;
    tuning::Bytes bytes = image;
    Require(manager.LoadBinaryParameters(bytes.data(), bytes.size()), "the sample loads");
    auto* com = new PieceCom(&manager);
    ParameterDialinWorker worker(&manager, com);
    Echo echo;
    worker.SetCustomHandler(&echo);
    const size_t piece = (data[0] & 0x7F) + size_t{1};
    for (size_t at = 1; at < size; at += piece) {
        com->pieces.push_back(Frame(data + at, data + std::min(size, at + piece)));
    }
    if ((data[0] & 0x80) != 0) {
        com->pieces.insert(
            com->pieces.begin() + static_cast<std::ptrdiff_t>(com->pieces.size() / 2), Frame());
    }
    for (Frame& frame : com->ReceiveAll()) {
        frame.push_back(0);
        worker.Process(frame.data(), static_cast<unsigned int>(frame.size()) - 1, 0);
        while (ParameterDialinComBase::Packet* reply = com->TakeReply()) {
            CheckReply(*reply);
            delete reply;
        }
    }
    return 0;
}
