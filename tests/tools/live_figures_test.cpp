// SPDX-License-Identifier: Apache-2.0
// What a live run tells of its frames: whole records while it goes on, and none in between missing.
#include "command/live_figures.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <thread>
#include <vector>

namespace {

using steadywarp::tool::LiveFigures;
using steadywarp::tool::TraceFrame;

struct Told {
    uint16_t result = 0;
    uint64_t first = 0;
    std::vector<std::array<uint32_t, 13>> records;
};

Told ask(LiveFigures& figures, uint64_t since, unsigned int room = 65523) {
    unsigned char question[10] = {1, 0};
    std::memcpy(question + 2, &since, sizeof since);
    std::vector<unsigned char> reply(65523);
    uint16_t length = 0;
    Told told;
    told.result = figures.ProcessCustom(question, sizeof question, room, reply.data(), length);
    if (told.result != 0) {
        std::memcpy(&told.first, &reply[8], sizeof told.first);
        told.records.resize((length - 24u) / sizeof told.records[0]);
        if (!told.records.empty()) {
            std::memcpy(told.records.data(), &reply[24], length - 24u);
        }
    }
    return told;
}

TraceFrame frame_of(uint32_t id) {
    TraceFrame frame;
    frame.id = id;
    frame.t_us = 5e9 + id;
    frame.scene = id;
    frame.valid = true;
    return frame;
}

TEST(LiveFigures, AreWholeAndInOrderWhileFramesComeIn) {
    constexpr uint32_t kFrames = 200000;
    const auto figures = std::make_unique<LiveFigures>(33333);
    std::thread camera([&] {
        for (uint32_t id = 0; id < kFrames; ++id) {
            figures->add(frame_of(id), 0.1f, false);
        }
    });
    uint64_t next = 0;
    while (next < kFrames) {
        const Told told = ask(*figures, next);
        ASSERT_GE(told.first, next);
        for (size_t i = 0; i < told.records.size(); ++i) {
            const auto& record = told.records[i];
            ASSERT_EQ(record[0], told.first + i);
            ASSERT_EQ(record[11], record[0]);
            ASSERT_EQ(record[2], static_cast<uint32_t>(5000000000ull + record[0]));
        }
        next = told.first + told.records.size();
    }
    camera.join();
    EXPECT_EQ(ask(*figures, 0).records.size(), LiveFigures::kKept - 1);
    EXPECT_EQ(ask(*figures, kFrames - 3).records.size(), 3u);
    EXPECT_TRUE(ask(*figures, kFrames + 9).records.empty());
    EXPECT_EQ(ask(*figures, 0, 1000).result, 0) << "no room";
}

// A swing of 2 mrad at 3 Hz on a slow drift, of which a correction takes three quarters.
TEST(LiveFigures, TellTheFastPartOfTheMotion) {
    LiveFigures figures(20000);
    for (uint32_t id = 0; id < 500; ++id) {
        const double t = id * 0.02;
        const double swing = 2e-3 * std::sin(2 * std::numbers::pi * 3 * t);
        TraceFrame frame = frame_of(id);
        frame.before = {0.3 + 0.01 * t + swing, 0.0, 0.0};
        frame.correction = {-0.75 * swing, 0.0, 0.0};
        figures.add(frame, 0.25f, id == 400);
    }
    float most[2] = {0, 0};
    for (const auto& record : ask(figures, 250).records) {
        float values[2];
        std::memcpy(&values[0], &record[4], sizeof values[0]);
        std::memcpy(&values[1], &record[7], sizeof values[1]);
        most[0] = std::max(most[0], values[0]);
        most[1] = std::max(most[1], values[1]);
        EXPECT_EQ(record[1], record[0] == 400 ? 3u : 1u);
    }
    EXPECT_NEAR(most[0], 2.0f, 0.06f);
    EXPECT_NEAR(most[1], 0.5f, 0.02f);
}

}  // namespace
