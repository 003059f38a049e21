// SPDX-License-Identifier: Apache-2.0
#include "sensors/scene_detection.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "support/records.hpp"

namespace steadywarp {
namespace {

using test::count_of;
using test::log_of;

constexpr SceneWord kX = 1u << 28;
constexpr SceneWord kY = 1u << 29;
constexpr SceneWord kZ = 1u << 30;

// Rates over a window of ten samples.
using Window = std::function<_sample_data_s(int i)>;

SceneWord classify(const Window& window) {
    RingBuffer<_sample_data_s> ring(10);
    for (int i = 0; i < 10; ++i) {
        ring.push(window(i));
    }
    return classify_scene(ring);
}

// Scores worked out by hand from the rules: dominance and width over the six ordered pairs, then
// the two means and the changes of sign.
TEST(ClassifyScene, TellsPanningFromShake) {
    const auto rates = [](double x, double y, double z) { return _sample_data_s{{x, y, z}, 1}; };
    struct Row {
        const char* what;
        Window window;
        SceneWord expected;
    };
    const Row kRows[] = {
        // Narrow everywhere: -4 an axis. No change of sign +5: score 1, quiet.
        {"nothing", [&](int) { return rates(0.01, 0.01, 0.01); }, IS_SCENE_HANDHELD},
        // y alone turns at 1.5: span 1.5, y wide. Dominance of y over both is 4, twice: +8; as the
        // other axis it costs x and z 8 each. y: +8 +2 (wide) -2 (x and z narrow beside it)
        // +4 (mean abs above 0.8) +2 (mean above 0.4) +5 = 19.
        {"a fast steady turn about y", [&](int) { return rates(0.0, 1.5, 0.0); },
         IS_SCENE_STRONG_PANNING | kY},
        // z at 0.35: no dominance (lead 0.35 above 0.3: +1 twice). +2 +2 -2, mean abs 0.315 +1
        // high, mean +1 mid, crossings +5 = 9: strong by the high mean of magnitudes.
        {"a slow turn about z", [&](int) { return rates(0.0, 0.0, 0.35); },
         IS_SCENE_STRONG_PANNING | kZ},
        // x at 0.2: lead 0.2 gives nothing; +2 -2, mean abs 0.18 +1 mid, mean +1 mid, +5 = 7.
        {"a slower one about x", [&](int) { return rates(0.2, 0.0, 0.0); }, IS_SCENE_PANNING | kX},
        // Every axis wide (+2), changes of sign 9: -5, means of magnitude 0.45: +2 (mean 0.05).
        // Score -1, but wide: moving, all three.
        {"shake about all axes",
         [&](int i) {
             const double s = i % 2 == 0 ? 0.5 : -0.5;
             return rates(s, -s, s);
         },
         IS_SCENE_SHAKE},
        // x and y wide (+1 each beside the narrow z): moving. z: -2, and +5 for never changing its
        // sign: score 3, which counts as moving though nothing moves there.
        {"shake about two axes",
         [&](int i) {
             const double s = i % 2 == 0 ? 0.5 : -0.5;
             return rates(s, -s, 0.0);
         },
         IS_SCENE_SHAKE},
        // All three pan strongly: no axis stands out.
        {"a turn about all axes", [&](int) { return rates(1.0, 1.0, 1.0); }, IS_SCENE_SHAKE},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(classify(row.window), row.expected) << row.what;
    }
}

TEST(SceneWord, LeavesItsBitsOnlyWithPanning) {
    const is_scene_detection panning = to_scene_detection(IS_SCENE_PANNING | kZ | kX);
    EXPECT_EQ(panning.scene_type, uint32_t{IS_SCENE_PANNING});
    EXPECT_TRUE(panning.is_panning[0]);
    EXPECT_FALSE(panning.is_panning[1]);
    EXPECT_TRUE(panning.is_panning[2]);
    const is_scene_detection moving = to_scene_detection(IS_SCENE_MOTION | kZ);
    EXPECT_FALSE(moving.is_panning[0]);
}

// A detector that is fed batches of ten samples at one rate.
struct Feed {
    uint32_t status = EIS_SUCCESS;
    is_init_sensor_data sensor = test::valid_sensor();
    SceneDetection scene{sensor.tuning, status};
    uint64_t ts = 1000000;

    SceneWord frame(double rate, uint32_t count = 10, uint32_t dropped = 0, bool switched = false) {
        std::vector<_sample_data_s> samples;
        for (uint32_t i = 0; i < count; ++i) {
            samples.push_back({{rate, 0.0, 0.0}, ts += 2000});
        }
        scene.update({samples.data(), count}, dropped, switched);
        return scene_type(scene.scene());
    }
};

TEST(SceneDetection, NeedsOneFrameFromUnknownAndTwentyFiveFromMotion) {
    Feed feed;
    EXPECT_EQ(scene_type(feed.scene.scene()), uint32_t{IS_SCENE_UNKNOWN});
    EXPECT_EQ(feed.frame(0.001), uint32_t{IS_SCENE_STILL});
    EXPECT_EQ(feed.frame(0.5), uint32_t{IS_SCENE_MOTION});
    for (int i = 0; i < 24; ++i) {
        EXPECT_NE(feed.frame(0.001), uint32_t{IS_SCENE_STILL}) << i;
    }
    EXPECT_EQ(feed.frame(0.001), uint32_t{IS_SCENE_STILL});
    for (int i = 0; i < 24; ++i) {
        feed.frame(0.05);
    }
    EXPECT_EQ(feed.frame(0.05), uint32_t{IS_SCENE_HANDHELD});
    feed.scene.reset();
    EXPECT_EQ(feed.frame(0.05), uint32_t{IS_SCENE_HANDHELD});
}

TEST(SceneDetection, LosesTheSceneWithTooFewSamplesUnlessASensorSwitched) {
    Feed feed;
    feed.frame(0.5);
    const std::string log = log_of([&] { feed.frame(0.5, 2, 0, true); });
    EXPECT_EQ(scene_type(feed.scene.scene()), uint32_t{IS_SCENE_MOTION});
    EXPECT_EQ(count_of(log, "[HIGH] IS0530"), 1u) << log;
    // Eleven samples over four frames are fewer than three a frame.
    const std::string heavy = log_of([&] { feed.frame(0.5, 11, 3); });
    EXPECT_EQ(count_of(heavy, "Gyro data drop is heavy for scene detection!"), 1u);
    EXPECT_EQ(scene_type(feed.scene.scene()), uint32_t{IS_SCENE_UNKNOWN});
}

TEST(SceneDetection, HoldsAPanForFramesAfterItsWindow) {
    Feed feed;
    for (int i = 0; i < 20; ++i) {
        feed.frame(1.5);
    }
    EXPECT_EQ(scene_type(feed.scene.scene()), uint32_t{IS_SCENE_STRONG_PANNING});
    EXPECT_TRUE(feed.scene.is_settled());
    feed.frame(0.3);
    EXPECT_EQ(scene_type(feed.scene.scene()), uint32_t{IS_SCENE_STRONG_PANNING});
}

TEST(SceneDetection, TakesItsThresholdFromTheTuningOnlyWhenTold) {
    for (const float mode : {0.0f, 1.0f}) {
        uint32_t status = EIS_SUCCESS;
        is_init_sensor_data sensor = test::valid_sensor();
        eis_tuning_set_behaviour(&sensor.tuning, EIS_TUNING_MOTION_DETECTION_PARAMETER_MODE, mode);
        eis_tuning_set_behaviour(&sensor.tuning, EIS_TUNING_MOTION_DETECTION_HANDHELD_TH, 0.9f);
        SceneDetection scene(sensor.tuning, status);
        std::vector<_sample_data_s> samples;
        for (uint64_t i = 0; i < 10; ++i) {
            samples.push_back({{0.5, 0.0, 0.0}, 1000 + i});
        }
        scene.update({samples.data(), 10}, 0, false);
        EXPECT_EQ(scene_type(scene.scene()),
                  uint32_t{mode == 0.0f ? IS_SCENE_MOTION : IS_SCENE_HANDHELD});
    }
}

}  // namespace
}  // namespace steadywarp
