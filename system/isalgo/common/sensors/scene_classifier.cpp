// SPDX-License-Identifier: Apache-2.0
// The verdict per axis and over all axes; the history around it is in scene_detection.cpp.
#include <algorithm>
#include <array>
#include <cmath>

#include "sensors/scene_detection.hpp"

namespace steadywarp {
namespace {

// rad/s
constexpr double kMeanLow = 0.1;
constexpr double kMeanHigh = 0.4;
constexpr double kSpanTh = 0.15;
constexpr double kDominanceTh = 0.6;

constexpr int32_t kMovingScore = 3;
constexpr int32_t kPanningScore = 6;
constexpr int32_t kStrongScore = 8;
constexpr uint32_t kPanningBitOfX = 28;

enum class Level { kLow, kMid, kHigh };

// What one axis did over the window.
struct AxisMotion {
    double sum = 0.0;
    double sum_abs = 0.0;
    double max = 0.0;
    double min = 0.0;
    double max_abs = 0.0;
    int32_t crossings = 0;
    int32_t score = 0;

    bool is_wide() const { return std::fabs(max - min) > kSpanTh; }
};
using Axes = std::array<AxisMotion, 3>;

Axes measure(const RingBuffer<_sample_data_s>& samples) {
    Axes axes;
    for (uint32_t i = samples.size() - 1; i > 0; --i) {
        for (uint32_t a = 0; a < 3; ++a) {
            const double newer = samples[i].data[a];
            const double older = samples[i - 1].data[a];
            AxisMotion& axis = axes[a];
            axis.sum += newer;
            axis.sum_abs += std::fabs(newer);
            axis.crossings += newer * older < 0.0 ? 1 : 0;
            axis.max = std::max(axis.max, newer);
            axis.min = std::min(axis.min, newer);
            axis.max_abs = std::max(axis.max_abs, std::fabs(newer));
        }
    }
    return axes;
}

int32_t dominance(double over_first, double over_second) {
    const double lead = std::min(over_first, over_second);
    if (lead > 2.0 * kDominanceTh) {
        return 4;
    }
    if (lead > kDominanceTh) {
        return 2;
    }
    return lead > 0.5 * kDominanceTh ? 1 : 0;
}

// Compare the axes pairwise. The width of axis j counts once for each partner i.
void score_against_each_other(Axes& axes) {
    for (uint32_t i = 0; i < 3; ++i) {
        for (uint32_t j = 0; j < 3; ++j) {
            if (i == j) {
                continue;
            }
            const uint32_t k = 3 - i - j;
            const int32_t amount =
                dominance(axes[i].max_abs - axes[j].max_abs, axes[i].max_abs - axes[k].max_abs);
            axes[i].score += amount;
            axes[j].score -= amount;
            axes[k].score -= amount;
            if (axes[j].is_wide()) {
                axes[j].score += 1;
            } else {
                axes[j].score -= 1;
                axes[k].score -= 1;
            }
        }
    }
}

Level score_mean_abs(double mean_abs, int32_t& score) {
    if (mean_abs < kMeanLow) {
        return Level::kLow;
    }
    if (mean_abs < 0.5 * kMeanHigh) {
        score += 1;
        return Level::kMid;
    }
    if (mean_abs < kMeanHigh) {
        score += 1;
        return Level::kHigh;
    }
    if (mean_abs < 2.0 * kMeanHigh) {
        score += 2;
        return Level::kHigh;
    }
    if (mean_abs > 2.0 * kMeanHigh) {
        score += 4;
        return Level::kHigh;
    }
    return Level::kLow;
}

Level score_mean(double mean, int32_t& score) {
    if (mean < kMeanLow) {
        return Level::kLow;
    }
    if (mean < kMeanHigh) {
        score += 1;
        return Level::kMid;
    }
    if (mean > kMeanHigh) {
        score += 2;
        return Level::kHigh;
    }
    return Level::kLow;
}

int32_t score_of_crossings(int32_t crossings) {
    constexpr int32_t kScores[] = {5, 3, -1, -3, -4, -5};
    return kScores[std::min(crossings, 5)];
}

}  // namespace

SceneWord classify_scene(const RingBuffer<_sample_data_s>& samples) {
    if (samples.is_empty()) {
        return IS_SCENE_HANDHELD;
    }
    Axes axes = measure(samples);
    score_against_each_other(axes);
    const double count = samples.size();
    SceneWord bits = 0;
    SceneWord type = IS_SCENE_PANNING;
    uint32_t num_moving = 0;
    uint32_t num_panning = 0;
    uint32_t num_strong = 0;
    for (uint32_t a = 0; a < 3; ++a) {
        AxisMotion& axis = axes[a];
        const Level of_abs = score_mean_abs(axis.sum_abs / count, axis.score);
        const Level of_mean = score_mean(std::fabs(axis.sum / count), axis.score);
        axis.score += score_of_crossings(axis.crossings);
        if (axis.score < kMovingScore && !axis.is_wide()) {
            continue;
        }
        if (axis.score < kPanningScore) {
            ++num_moving;
            continue;
        }
        const bool is_strong =
            axis.score >= kStrongScore && (of_abs == Level::kHigh || of_mean == Level::kHigh);
        ++num_panning;
        num_strong += is_strong ? 1 : 0;
        bits |= 1u << (kPanningBitOfX + a);
        // The last panning axis decides how strong the whole is.
        type = is_strong ? IS_SCENE_STRONG_PANNING : IS_SCENE_PANNING;
    }
    if (num_panning == 3) {
        return num_strong == 1 ? (IS_SCENE_STRONG_PANNING | bits) : SceneWord{IS_SCENE_SHAKE};
    }
    if (num_panning == 0) {
        return num_moving >= 3 ? IS_SCENE_SHAKE : IS_SCENE_HANDHELD;
    }
    return type | bits;
}

}  // namespace steadywarp
