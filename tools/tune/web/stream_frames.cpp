// SPDX-License-Identifier: Apache-2.0
#include "stream_frames.hpp"

#include <bit>

namespace tune {
namespace {

constexpr uint64_t kFramesSince = 1;
constexpr unsigned int kAnswered = 1;
constexpr size_t kHeaderSize = 24;
constexpr size_t kLeastRecord = 52;  // a longer one has more behind, which is passed over

float FloatAt(const std::vector<uint8_t>& bytes, size_t at) {
    return std::bit_cast<float>(static_cast<uint32_t>(GetNumber(bytes, at, 4)));
}

StreamFrame FrameAt(const std::vector<uint8_t>& bytes, size_t at) {
    StreamFrame frame;
    const uint64_t flags = GetNumber(bytes, at + 4, 4);
    frame.id = static_cast<uint32_t>(GetNumber(bytes, at, 4));
    frame.valid = (flags & 1) != 0;
    frame.restarted = (flags & 2) != 0;
    frame.t_us = static_cast<int64_t>(GetNumber(bytes, at + 8, 8));
    for (size_t axis = 0; axis < 3; ++axis) {
        frame.before[axis] = FloatAt(bytes, at + 16 + 4 * axis);
        frame.after[axis] = FloatAt(bytes, at + 28 + 4 * axis);
    }
    frame.margin_use = FloatAt(bytes, at + 40);
    frame.scene = static_cast<uint32_t>(GetNumber(bytes, at + 44, 4));
    frame.margin = FloatAt(bytes, at + 48);
    return frame;
}

}  // namespace

std::optional<StreamFigures> AskFigures(Connection& connection, uint64_t since) {
    std::vector<uint8_t> question;
    PutNumber(&question, kFramesSince, 2);
    PutNumber(&question, since, 8);
    const CustomAnswer answer = connection.AskCustom(question);
    const size_t record = GetNumber(answer.bytes, 20, 4);
    if (answer.result != kAnswered || answer.bytes.size() < kHeaderSize || record < kLeastRecord) {
        return std::nullopt;
    }
    StreamFigures figures;
    figures.stream = GetNumber(answer.bytes, 0, 8);
    figures.first = GetNumber(answer.bytes, 8, 8);
    figures.period_us = static_cast<uint32_t>(GetNumber(answer.bytes, 16, 4));
    for (size_t at = kHeaderSize; at + record <= answer.bytes.size(); at += record) {
        figures.frames.push_back(FrameAt(answer.bytes, at));
    }
    return figures;
}

}  // namespace tune
