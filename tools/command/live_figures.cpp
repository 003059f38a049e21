// SPDX-License-Identifier: Apache-2.0
#include "command/live_figures.hpp"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>

namespace steadywarp::tool {
namespace {

constexpr uint64_t kFramesSince = 1;  ///< the question that is answered
constexpr unsigned int kQuestionSize = 10;
constexpr unsigned int kHeaderSize = 24;
constexpr uint16_t kAnswered = 1;
constexpr uint16_t kNotUnderstood = 0;

constexpr uint32_t kValid = 1;
constexpr uint32_t kRestarted = 2;

/// Shake is what moves faster than this, Hz, or a fifth of a slow camera's rate.
constexpr double kShakeCut = 0.5;
constexpr double kSlowestPart = 0.2;

uint64_t get(unsigned char const* bytes, unsigned int width) {
    uint64_t value = 0;
    for (unsigned int i = 0; i < width; ++i) {
        value |= uint64_t{bytes[i]} << (8 * i);
    }
    return value;
}

unsigned char* put(unsigned char* at, uint64_t value, unsigned int width) {
    for (unsigned int i = 0; i < width; ++i) {
        *at++ = static_cast<unsigned char>(value >> (8 * i));
    }
    return at;
}

uint32_t bits(double value) {
    return std::bit_cast<uint32_t>(static_cast<float>(value));
}

}  // namespace

LiveFigures::LiveFigures(uint32_t period_us)
    : stream_(static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count())),
      period_us_(period_us),
      shake_([period_us] {
          const double rate_hz = 1e6 / period_us;
          const RunningHighPass filter(rate_hz, std::min(kShakeCut, kSlowestPart * rate_hz));
          const Shake axis{filter, filter};
          return std::array{axis, axis, axis};
      }()) {}

void LiveFigures::add(const TraceFrame& frame, float margin, bool restarted) {
    std::array<uint32_t, kWords> words{};
    const auto t_us = static_cast<uint64_t>(std::llround(frame.t_us));
    words[0] = frame.id;
    words[1] = (frame.valid ? kValid : 0) | (restarted ? kRestarted : 0);
    words[2] = static_cast<uint32_t>(t_us);
    words[3] = static_cast<uint32_t>(t_us >> 32);
    for (size_t axis = 0; frame.valid && axis < shake_.size(); ++axis) {
        const double before = frame.before[axis];
        const double after = before + frame.correction[axis];
        Shake& filters = shake_[axis];
        if (!settled_) {
            filters.before.settle(before);
            filters.after.settle(after);
        }
        words[4 + axis] = bits(1e3 * filters.before.step(before));
        words[7 + axis] = bits(1e3 * filters.after.step(after));
    }
    // What was not seen between two frames would count as shake.
    settled_ = frame.valid;
    words[10] = bits(frame.margin_use);
    words[11] = frame.scene;
    words[12] = std::bit_cast<uint32_t>(margin);

    // Who reads a word of this frame also sees, from then on, the count that was stored before.
    const uint64_t index = count_.load(std::memory_order_relaxed);
    Record& record = records_[index % kKept];
    for (size_t i = 0; i < kWords; ++i) {
        record[i].store(words[i], std::memory_order_release);
    }
    count_.store(index + 1, std::memory_order_release);
}

uint16_t LiveFigures::ProcessCustom(unsigned char const* payload, unsigned int payload_length,
                                    unsigned int room, unsigned char* output,
                                    uint16_t& output_length) {
    constexpr unsigned int kRecordSize = 4 * kWords;
    output_length = 0;
    if (payload_length < kQuestionSize || get(payload, 2) != kFramesSince ||
        room < kHeaderSize + kKept * kRecordSize) {
        return kNotUnderstood;
    }
    const uint64_t count = count_.load(std::memory_order_acquire);
    const uint64_t oldest = count > kKept ? count - kKept : 0;
    const uint64_t wanted = std::clamp(get(payload + 2, 8), oldest, count);
    unsigned char* at = output + kHeaderSize;
    for (uint64_t index = wanted; index < count; ++index) {
        for (const std::atomic<uint32_t>& word : records_[index % kKept]) {
            at = put(at, word.load(std::memory_order_acquire), 4);
        }
    }
    // The frame after the newest goes over the oldest one: what that may have hit is not told.
    const uint64_t now = count_.load(std::memory_order_acquire);
    const uint64_t whole = now >= kKept ? now - kKept + 1 : 0;
    const uint64_t first = std::min(std::max(wanted, whole), count);
    unsigned char* const told = output + kHeaderSize + (first - wanted) * kRecordSize;
    unsigned char* const end = std::copy(told, at, output + kHeaderSize);
    unsigned char* header = put(output, stream_, 8);
    header = put(header, first, 8);
    header = put(header, period_us_, 4);
    put(header, kRecordSize, 4);
    output_length = static_cast<uint16_t>(end - output);
    return kAnswered;
}

}  // namespace steadywarp::tool
