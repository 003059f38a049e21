// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "filter/filter_params.hpp"
#include "filter/non_future_looking_filter.hpp"
#include "filter/smooth_blend.hpp"
#include "support/random.hpp"
#include "support/records.hpp"

namespace steadywarp {
namespace {

using test::count_of;
using test::log_of;

Camera full_hd() {
    return {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
}

// A filter with the rings it reads, fed one frame at a time; the border is so wide that nothing
// ever breaches unless a test narrows it.
struct Bench {
    Camera camera = full_hd();
    BlurMaskingParams blur_params;
    FilterNFL_TimeVaryingW_Params params;
    uint32_t status = EIS_SUCCESS;
    NonFutureLookingFilter_TimeVaryingWin filter{&camera, &blur_params, 1, &params, status};
    OrientationRing angles{1};
    BoxRing boxes{1};
    InputRing inputs{1};
    RingBuffer<float> blur{11};
    double border = 1e5;  // pixels from the frame to the polygon
    uint32_t frame_time = 33333;
    uint32_t dropped = 0;
    bool feasible = false;

    Vec3<double> frame(const Vec3<double>& orientation) {
        FilterInput input;
        input.windows = compute_frame_geometry_windows(test::centred_windows(), 1920, 1080, 0.67);
        input.frame_time = frame_time;
        input.dropped_frames = dropped;
        inputs.push(input);
        angles.push(orientation);
        boxes.push(box());
        blur.push(0.0f);
        EXPECT_EQ(filter.update({angles, boxes, inputs}), EIS_SUCCESS);
        return filter.process({angles, boxes, inputs}, blur, feasible);
    }

    BoundingBox box() const {
        BoundingBox out;
        const double l = -border, t = -border, w = 1919 + 2 * border, h = 1079 + 2 * border;
        for (uint32_t i = 0; i < 4; ++i) {
            const double part = i / 4.0;
            out.points[i] = {l + w * part, t};
            out.points[4 + i] = {l + w, t + h * part};
            out.points[8 + i] = {l + w - w * part, t + h};
            out.points[12 + i] = {l, t + h - h * part};
        }
        return out;
    }
};

TEST(NonFutureLookingFilter, FirstFrameShowsATenthOfItsOrientation) {
    Bench bench;
    ASSERT_EQ(bench.status, EIS_SUCCESS);
    const Vec3<double> correction = bench.frame({0.01, -0.02, 0.03});
    EXPECT_EQ(bench.filter.window(0), 1u);
    // 0.1 of the orientation minus the orientation.
    const double kept = 0.1;
    EXPECT_NEAR(correction.x, (kept - 1.0) * 0.01, 1e-12);
    EXPECT_NEAR(correction.y, (kept - 1.0) * -0.02, 1e-12);
    EXPECT_NEAR(correction.z, (kept - 1.0) * 0.03, 1e-12);
    EXPECT_TRUE(bench.feasible);
}

TEST(NonFutureLookingFilter, AveragesUnderTheFallingHalfOfAHammingWindow) {
    Bench bench;
    std::vector<double> past;
    double correction = 0.0;
    for (int i = 0; i < 5; ++i) {
        past.insert(past.begin(), 0.001 * i * i);
        correction = bench.frame({past[0], 0.0, 0.0}).x;
    }
    // Window 5 on frame 4: 0.54 - 0.46 cos(pi + pi j / 4), scaled to a sum of 1.
    double sum = 0.0;
    double weighted = 0.0;
    for (int j = 0; j < 5; ++j) {
        const double weight = 0.54 - 0.46 * std::cos(3.14159265358979 * (1.0 + j / 4.0));
        sum += weight;
        weighted += weight * past[j];
    }
    const double fade = 0.9 * (1.0 - 4.0 / 59.0);
    EXPECT_NEAR(correction, (1.0 - fade) * weighted / sum - past[0], 1e-9);
    EXPECT_EQ(bench.filter.window(0), 5u);
}

TEST(NonFutureLookingFilter, LengthensItsWindowInShakeAndShortensItInASweep) {
    Bench bench;
    // x shakes every other frame, y goes one way, z rests.
    const auto motion = [](int i) {
        return Vec3<double>{i % 2 == 0 ? 0.001 : -0.001, 0.001 * i, 0.0};
    };
    int i = 0;
    for (; i < 59; ++i) {
        bench.frame(motion(i));
    }
    EXPECT_EQ(bench.filter.frame_counter(), 58u);
    for (uint32_t axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(bench.filter.window(axis), 14u) << axis;
    }
    // The rule begins at frame counter 59: two frames of window a frame, up to 44.
    bench.frame(motion(i++));
    EXPECT_EQ(bench.filter.window(0), 16u);
    for (; i < 90; ++i) {
        bench.frame(motion(i));
    }
    EXPECT_EQ(bench.filter.window(0), 44u);
    EXPECT_EQ(bench.filter.window(1), 14u);
    EXPECT_EQ(bench.filter.window(2), 14u);
    // A long sweep takes the window back down, two frames a frame, once the shake is out of sight.
    for (int k = 0; k < 160; ++k) {
        bench.frame({0.01 * k, 0.0, 0.0});
    }
    EXPECT_EQ(bench.filter.window(0), 14u);
}

// The rule to the letter, one axis and one value after the other, on frames at the usual rate.
struct PlainAxis {
    std::vector<double> past;  // newest first
    uint32_t window = 14;
    int on_the_mean = 0;

    int changes(size_t n) {
        float sum = 0.0f;
        for (size_t i = 0; i < n; ++i) {
            sum += static_cast<float>(past[i]);
        }
        const float mean = sum / static_cast<float>(n);
        int count = 0;
        for (size_t i = 1; i < n; ++i) {
            const float a = static_cast<float>(past[i - 1]) - mean;
            const float b = static_cast<float>(past[i]) - mean;
            count += (a <= 0.0f && b > 0.0f) || (a >= 0.0f && b < 0.0f) ? 1 : 0;
            on_the_mean += b == 0.0f ? 1 : 0;
        }
        return count;
    }
    void follow_motion() {
        const int count = std::max(changes(60), changes(30));
        if (count >= 4) {
            window = std::min(window + 2, 44u);
        } else if (count == 1 && window >= 16) {
            window -= 2;
        }
    }
    double average() const {
        std::vector<float> kernel;
        double total = 0.0;
        for (uint32_t j = 0; j < window; ++j) {
            const double phase = (window - 1 + j) * (2.0 * 3.141592653589793) / (2 * window - 2);
            kernel.push_back(static_cast<float>(0.54 - (1.0 - 0.54) * std::cos(phase)));
            total += static_cast<double>(kernel[j]);
        }
        double sum = 0.0;
        for (uint32_t j = 0; j < window; ++j) {
            const auto weight = static_cast<float>(static_cast<double>(kernel[j]) / total);
            sum += static_cast<double>(weight) * past[j];
        }
        return sum;
    }
};

TEST(NonFutureLookingFilter, GivesTheBitsOfThePlainRule) {
    Bench bench;
    test::Random random(11);
    PlainAxis axes[3];
    int averages = 0, windows_met[45] = {};
    uint32_t kinds[3] = {};
    double at[3] = {};
    for (int frame = 0; frame < 4000; ++frame) {
        for (int axis = 0; axis < 3; ++axis) {
            uint32_t& kind = kinds[axis];
            kind = random.once_in(90) ? random.below(5) : kind;
            constexpr double kStep = 0x1p-10;
            switch (kind) {
                case 0:
                    break;  // at rest
                case 1:
                    at[axis] += kStep;
                    break;  // a sweep
                case 2:
                    at[axis] = kStep * (1 - frame % 4) * (1 - frame % 2);
                    break;  // over its mean
                case 3:
                    at[axis] = random.between(-kStep, kStep);
                    break;  // shake
                default:
                    at[axis] = kStep * random.below(3);
            }
            axes[axis].past.insert(axes[axis].past.begin(), at[axis]);
        }
        const Vec3<double> correction = bench.frame({at[0], at[1], at[2]});
        for (uint32_t axis = 0; axis < 3 && frame >= 59; ++axis) {
            PlainAxis& plain = axes[axis];
            plain.follow_motion();
            ASSERT_EQ(bench.filter.window(axis), plain.window) << frame;
            ++windows_met[plain.window];
            // Where nothing breaches, the correction is the way to the average.
            if (bench.feasible && bench.filter.last_alpha() == 0.0) {
                ASSERT_EQ(correction[axis], plain.average() - at[axis]) << frame;
                ++averages;
            }
        }
    }
    EXPECT_GT(averages, 5000);
    for (uint32_t window = 14; window <= 44; window += 2) {
        EXPECT_GT(windows_met[window], 5) << window;
    }
    EXPECT_GT(axes[0].on_the_mean + axes[1].on_the_mean + axes[2].on_the_mean, 10000);
}

TEST(NonFutureLookingFilter, GlidesToTheWindowsOfAnotherFrameRate) {
    Bench bench;
    bench.frame({});
    EXPECT_EQ(bench.filter.params().history_length, 60u);
    bench.frame_time = 16667;
    for (int i = 0; i < 10; ++i) {
        bench.frame({});
    }
    EXPECT_EQ(bench.filter.params().history_length, 70u);
    EXPECT_EQ(bench.filter.params().window_min, 24u);
    EXPECT_EQ(bench.filter.params().window_max, 54u);
    for (int i = 0; i < 60; ++i) {
        bench.frame({});
    }
    EXPECT_EQ(bench.filter.params().history_length, 120u);
    EXPECT_EQ(bench.filter.params().window_min, 28u);
    EXPECT_EQ(bench.filter.params().window_max, 88u);
    // The first frame of a filter takes its targets at once.
    Bench fast;
    fast.frame_time = 24999;
    fast.frame({});
    EXPECT_EQ(fast.filter.params().history_length, 120u);
}

TEST(Filter, RetreatsFromABreachAtOnceAndComesBackSlowly) {
    Bench bench;
    for (int i = 0; i < 80; ++i) {
        bench.frame({});
    }
    // The border leaves the crop no room but its own place; the orientation jumps.
    bench.border = -90.0;
    bench.frame({0.0, 0.05, 0.0});
    EXPECT_EQ(bench.filter.last_alpha(), 1.0);
    bench.border = 1e5;
    // By 0.1 a frame, and below 0.5 by a fifth.
    for (const double expected : {0.9, 0.8, 0.7, 0.6, 0.5, 0.4, 0.32, 0.256}) {
        bench.frame({0.0, 0.05, 0.0});
        EXPECT_NEAR(bench.filter.last_alpha(), expected, 1e-7);
    }
}

TEST(Filter, SaysWhenNoCorrectionFits) {
    Bench bench;
    bench.border = -300.0;
    const std::string log = log_of([&] { bench.frame({}); });
    EXPECT_FALSE(bench.feasible);
    EXPECT_EQ(count_of(log, "[ERR]  IS0530: V2: fix_breach("), 2u) << log;
    EXPECT_EQ(count_of(log, "frame_id 0: calc_future_alpha() Failed to get blend with alternative"),
              1u);
    EXPECT_EQ(count_of(log, "frame_id 0: No feasible solution can be found due to severe shake."),
              1u);
}

TEST(Filter, EasesTheWayBackAfterManyDroppedFrames) {
    Bench bench;
    for (int i = 0; i < 5; ++i) {
        bench.frame({});
    }
    Bench reference;
    for (int i = 0; i < 5; ++i) {
        reference.frame({});
    }
    bench.dropped = 3;
    const Vec3<double> eased = bench.frame({0.01, 0.0, 0.0});
    const Vec3<double> plain = reference.frame({0.01, 0.0, 0.0});
    // The correction before was zero.
    EXPECT_NEAR(eased.x, 0.3 * plain.x, 1e-8);
    bench.dropped = 0;
    const Vec3<double> second = bench.frame({0.01, 0.0, 0.0});
    const Vec3<double> plain_second = reference.frame({0.01, 0.0, 0.0});
    EXPECT_NEAR(second.x, eased.x + 0.3 * (plain_second.x - eased.x), 1e-8);
}

TEST(Filter, EndsAfterItsLastFrameAndRefusesOneMore) {
    Bench bench;
    bench.frame({});
    const FrameRings rings = {bench.angles, bench.boxes, bench.inputs};
    EXPECT_EQ(bench.filter.state(), uint32_t{kStateRunning});
    bench.filter.process(rings, bench.blur, bench.feasible);
    EXPECT_EQ(bench.filter.state(), uint32_t{kStateDraining});
    EXPECT_EQ(bench.filter.output_kind(), uint32_t{DelayLine::kHistory});
    bench.filter.process(rings, bench.blur, bench.feasible);
    EXPECT_EQ(bench.filter.state(), uint32_t{kStateFinished});
    EXPECT_EQ(bench.filter.update(rings), EIS_ERROR_GENERAL);
    EXPECT_EQ(bench.filter.state(), uint32_t{kStateError});
    bench.filter.set_first_frame();
    EXPECT_EQ(bench.filter.update(rings), EIS_SUCCESS);
    EXPECT_EQ(bench.filter.state(), uint32_t{kStateRunning});
}

TEST(Filter, RefusesADelayLine) {
    Camera camera = full_hd();
    BlurMaskingParams blur;
    FilterNFL_TimeVaryingW_Params params;
    params.buffer_size = 2;
    uint32_t status = EIS_SUCCESS;
    const std::string log =
        log_of([&] { NonFutureLookingFilter_TimeVaryingWin(&camera, &blur, 1, &params, status); });
    EXPECT_EQ(status, EIS_ERROR_INVALID_INPUT);
    EXPECT_EQ(count_of(log, "[ERR]  IS0003"), 1u);
    EXPECT_EQ(count_of(log, "Buffer size too big"), 1u);
}

TEST(BlurRule, RisesOnALineBetweenItsTwoBlurs) {
    struct Row {
        const char* what;
        bool enable;
        float start, end, min_strength;
        uint32_t exposure;
        float blur;
        float expected;
    };
    constexpr Row kRows[] = {
        {"off", false, 4, 8, 0.5f, 20000, 100, 0.0f},
        {"short exposure", true, 4, 8, 0.5f, 9999, 100, 0.0f},
        {"full strength is always left", true, 4, 8, 1.0f, 20000, 100, 0.0f},
        {"thresholds crossed", true, 8, 4, 0.5f, 20000, 100, 0.0f},
        {"below the start", true, 4, 8, 0.5f, 20000, 3.9f, 0.0f},
        {"half way", true, 4, 8, 0.5f, 20000, 6, 0.25f},
        {"beyond the end", true, 4, 8, 0.5f, 20000, 100, 0.5f},
        {"a step, below", true, 4, 4, 0.2f, 20000, 4, 0.0f},
        {"a step, above", true, 4, 4, 0.2f, 20000, 4.1f, 0.8f},
    };
    for (const Row& row : kRows) {
        BlurMaskingParams params;
        params.enable = row.enable;
        params.exposure_time_th = 10000;
        params.start_decrease_at_blur = row.start;
        params.end_decrease_at_blur = row.end;
        params.min_strength = row.min_strength;
        EXPECT_NEAR(least_alpha_for_blur(params, row.blur, row.exposure), row.expected, 1e-6)
            << row.what;
    }
    is_tessaline_blur_masking tuning{};
    tuning.enable = 5;
    tuning.exposure_time_th = 0.02f;
    tuning.start_decrease_at_blur = 10.0f;
    const BlurMaskingParams params = make_blur_masking_params(tuning, 3840);
    EXPECT_TRUE(params.enable);
    EXPECT_NEAR(params.exposure_time_th, 20000u, 1u);
    EXPECT_EQ(params.start_decrease_at_blur, 20.0f);
}

TEST(SmoothBlend, FollowsItsMethod) {
    const AlphaKernel kernel = make_alpha_kernel(2.0);
    double sum = 0.0;
    for (const double tap : kernel) {
        sum += tap;
    }
    EXPECT_NEAR(sum, 1.0, 1e-12);
    EXPECT_NEAR(kernel[0] / kernel[10], std::exp(-(100.0 / 441.0) / 2.0), 1e-12);

    struct Row {
        const char* what;
        uint32_t method, lookahead;
        double previous, first, third;  // of the future: entries 0 and 2
        double expected;
    };
    constexpr Row kRows[] = {
        {"ramp without look-ahead", 0, 0, 0.5, 1.0, 1.0, 0.4},
        {"ramp meets the present need", 0, 3, 0.0, 0.3, 0.0, 0.3},
        {"ramp prepares a third of a need in three frames", 0, 3, 0.0, 0.0, 0.9, 0.3},
        {"recursive: up at once", 2, 1, 0.0, 0.7, 0.0, 0.7},
        {"recursive: down by the rate at most", 2, 1, 0.9, 0.0, 0.0, 0.8},
        {"recursive: down by a fifth when that is less", 2, 1, 0.3, 0.0, 0.0, 0.24},
        {"recursive: never above 1", 2, 1, 0.0, 2.0, 0.0, 1.0},
        {"smoothing of nothing", 1, 1, 0.0, 0.0, 0.0, 0.0},
    };
    for (const Row& row : kRows) {
        BlendParams params = kBlend;
        params.method = row.method;
        params.lookahead = row.lookahead;
        RingBuffer<double> history(4);
        history.push(row.previous);
        FutureAlphas future{};
        future[0] = row.first;
        future[2] = row.third;
        EXPECT_NEAR(smooth_blend(params, history, future, kernel), row.expected, 1e-7) << row.what;
    }
    // Smoothing spreads a need to the frames around it and never falls short of it.
    BlendParams params = kBlend;
    params.method = 1;
    FutureAlphas future{};
    future[5] = 1.0;
    const RingBuffer<double> none(4);
    const double early = smooth_blend(params, none, future, kernel);
    EXPECT_GT(early, 0.0);
    EXPECT_LT(early, 1.0);
    params.method = 9;
    const std::string log = log_of([&] { smooth_blend(params, none, future, kernel); });
    EXPECT_EQ(count_of(log, "IS0005"), 1u);
}

}  // namespace
}  // namespace steadywarp
