// SPDX-License-Identifier: Apache-2.0
// Fits recover the transform that made the points; evaluators count and score by hand.
#include <algorithm>
#include <cstring>

#include "nclib/geometry/geometric_fit.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;

struct Points {
    std::vector<float> from, to;
    std::vector<uint16_t> indices;
    bcvCorrespondences record = {};

    // Strides of 3 and 2 floats; the points stand in the square -1 .. 1 scaled by `extent`.
    Points(Rng& rng, uint32_t count, float extent, const double* h) {
        for (uint32_t i = 0; i < count; ++i) {
            const auto p = rng.Point(extent, extent);
            from.insert(from.end(), {p.x, p.y, -99});
            const double w = h[6] * p.x + h[7] * p.y + h[8];
            to.push_back(static_cast<float>((h[0] * p.x + h[1] * p.y + h[2]) / w));
            to.push_back(static_cast<float>((h[3] * p.x + h[4] * p.y + h[5]) / w));
            indices.push_back(static_cast<uint16_t>(i));
        }
        Refresh();
    }
    Points(const Points&) = delete;

    void Refresh() {
        record = {from.data(),
                  to.data(),
                  3,
                  2,
                  static_cast<uint32_t>(to.size() / 2),
                  indices.data(),
                  static_cast<uint32_t>(indices.size())};
    }
};

using Fit = void (*)(const bcvCorrespondences*, float*);

TEST(Fits, RecoverTheTransformThatMadeThePoints) {
    struct Row {
        const char* what;
        Fit fit;
        float extent;
        double tolerance;  // of the carried points, relative to `extent`
        int kind;          // 0 similarity, 1 affine, 2 homography
    };
    // Single precision squares the condition of the system; the double form rounds once.
    constexpr Row kRows[] = {
        {"homography, unit square", bcvGeomHomographyFitf32, 1, 2e-4, 2},
        {"homography, double, unit square", bcvGeomHomographyFitDPf32C, 1, 1e-6, 2},
        {"homography, double, a frame", bcvGeomHomographyFitDPf32C, 4000, 2e-6, 2},
        {"affine, unit square", bcvGeomAffineTransformFitf32, 1, 1e-5, 1},
        {"affine, a frame", bcvGeomAffineTransformFitf32, 4000, 1e-5, 1},
        {"rigid", bcvGeomRigidTransformFitf32, 1, 1e-5, 0},
        {"rigid, a frame", bcvGeomRigidTransformFitf32, 4000, 1e-4, 0},
        {"rigid, double", bcvGeomRigidTransformFitDP, 4000, 1e-6, 0},
    };
    Rng rng(15);
    for (const Row& row : kRows) {
        for (int i = 0; i < 50; ++i) {
            const double a = 1 + rng.Uniform(-0.1f, 0.1f), b = rng.Uniform(-0.1f, 0.1f);
            const double s = row.extent;
            const double h[9] = {a,
                                 b,
                                 0.2 * s,
                                 row.kind == 0 ? -b : 0.05,
                                 row.kind == 0 ? a : 1.1,
                                 -0.1 * s,
                                 row.kind == 2 ? 0.1 / s : 0,
                                 row.kind == 2 ? -0.05 / s : 0,
                                 1};
            const Points points(rng, 40, row.extent, h);
            float fitted[9];
            row.fit(&points.record, fitted);
            ASSERT_EQ(fitted[8], 1.0f) << row.what;
            double worst = 0;
            for (size_t k = 0; k < 40; ++k) {
                const double x = points.from[3 * k], y = points.from[3 * k + 1];
                const double w = fitted[6] * x + fitted[7] * y + 1;
                worst = std::max(worst, std::fabs((fitted[0] * x + fitted[1] * y + fitted[2]) / w -
                                                  points.to[2 * k]));
                worst = std::max(worst, std::fabs((fitted[3] * x + fitted[4] * y + fitted[5]) / w -
                                                  points.to[2 * k + 1]));
            }
            EXPECT_LT(worst, row.tolerance * row.extent) << row.what << " seed " << rng.Seed();
        }
    }
}

TEST(Fits, FourPointsOfATranslationAndWhatHasNoAnswer) {
    Rng rng(16);
    const double shift[9] = {1, 0, 5, 0, 1, -7, 0, 0, 1};
    Points four(rng, 4, 1, shift);
    four.from = {0, 0, 0, 8, 0, 0, 0, 8, 0, 8, 8, 0};
    four.to = {5, -7, 13, -7, 5, 1, 13, 1};
    four.Refresh();
    Points few(rng, 3, 1, shift);
    Points stray(rng, 9, 1, shift);
    stray.indices[8] = 9;
    const Fit fits[] = {bcvGeomHomographyFitf32, bcvGeomHomographyFitDPf32C,
                        bcvGeomAffineTransformFitf32, bcvGeomRigidTransformFitf32,
                        bcvGeomRigidTransformFitDP};
    for (const Fit fit : fits) {
        float h[9];
        fit(&four.record, h);
        for (int i = 0; i < 9; ++i) {
            EXPECT_NEAR(h[i], shift[i], 2e-3) << i;
        }
        EXPECT_EQ(h[8], 1.0f);
        for (const Points* none : {&few, &stray}) {
            std::fill_n(h, 9, 3.0f);
            fit(&none->record, h);
            EXPECT_TRUE(std::all_of(h, h + 9, [](float v) { return v == 0; }));
        }
        std::fill_n(h, 9, 3.0f);
        fit(nullptr, h);
        bcvCorrespondences hollow = four.record;
        hollow.indices = nullptr;
        fit(&hollow, h);
        fit(&four.record, nullptr);
        EXPECT_EQ(h[4], 3.0f);
    }
}

TEST(Fits, WhereSinglePrecisionFailsTheDoubleFormsResultStands) {
    // Points on a line make no positive definite system; in single precision the pivots vanish.
    Rng rng(17);
    const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    Points line(rng, 12, 1, identity);
    for (int i = 0; i < 12; ++i) {
        line.from[3 * i] = line.from[3 * i + 1] = static_cast<float>(i);
        line.to[2 * i] = line.to[2 * i + 1] = static_cast<float>(i);
    }
    float fitted[9], by_double[9];
    bcvGeomHomographyFitf32(&line.record, fitted);
    bcvGeomHomographyFitDPf32C(&line.record, by_double);
    EXPECT_EQ(0, std::memcmp(fitted, by_double, sizeof fitted));
    bcvGeomAffineTransformFitf32(&line.record, fitted);
    EXPECT_TRUE(std::all_of(fitted, fitted + 9, [](float v) { return v == 0; }));
}

TEST(Fits, SumsRunInFourLanes) {
    // 2^24 + 1 is lost in one running sum; in four lanes the ones of lanes 1 to 3 survive:
    // (2^24 + (1+1)) + ((1+1) + (1+1)), with lane 0 swallowing its second one.
    std::vector<float> from, to;
    std::vector<uint16_t> indices;
    const float x[8] = {4096, 1, 1, 1, 1, 1, 1, 1};
    for (uint16_t i = 0; i < 8; ++i) {
        from.insert(from.end(), {x[i], static_cast<float>(i & 1)});
        to.insert(to.end(), {x[i], static_cast<float>(i & 1)});
        indices.push_back(i);
    }
    const bcvCorrespondences c = {from.data(), to.data(), 2, 2, 8, indices.data(), 8};
    // Threshold 1 scores each outlier 1; H shifts by far, and the first point by 2^12 in score.
    float h[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    unsigned short inliers[8];
    int count;
    float score;
    h[0] = 2;  // errors are x^2: 2^24 once, 1 otherwise
    EXPECT_EQ(bcvGeomAffineTransformEvaluatef32(&c, h, 1e9f, inliers, &count, &score), 0);
    EXPECT_EQ(score, 16777216.0f + 6.0f);
}

TEST(Evaluators, ListInliersAndScoreTheRest) {
    // A shift by 1 in x misses the four points by 0, 1, 2 and 3.
    const float from[] = {0, 0, 0, 0, 0, 0, 0, 0};
    const float to[] = {1, 0, 2, 0, 3, 0, 4, 0};
    const uint16_t indices[] = {3, 1, 0, 2, 7};
    bcvCorrespondences c = {from, to, 2, 2, 4, indices, 4};
    float h[9] = {1, 0, 1, 0, 1, 0, 0, 0, 1};
    unsigned short inliers[5];
    int count;
    float score;
    EXPECT_EQ(bcvGeomHomographyEvaluatef32(&c, h, 4.0f, 0, inliers, &count), -1);
    ASSERT_EQ(count, 2);  // strictly below 4: points 1 and 0
    EXPECT_EQ(inliers[0], 1);
    EXPECT_EQ(inliers[1], 0);
    EXPECT_EQ(bcvGeomHomographyEvaluatef32(&c, h, 10.0f, 0, inliers, &count), 0);
    EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(&c, h, 4.0f, inliers, &count, &score), -1);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(score, 4 + 1 + 0 + 4);
    EXPECT_EQ(bcvGeomAffineTransformEvaluatef32(&c, h, 10.0f, inliers, &count, &score), 0);
    EXPECT_EQ(score, 9 + 1 + 0 + 4);
    EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(&c, h, 0.0f, inliers, &count, &score), -1);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(score, 0);
    h[8] = 0;  // w = 0 everywhere
    EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(&c, h, 4.0f, inliers, &count, &score), -1);
    EXPECT_EQ(score, 16);
    h[8] = 1;
    c.numIndices = 5;  // the last index is outside the points
    EXPECT_EQ(bcvGeomHomographyEvaluatef32(&c, h, 10.0f, 0, inliers, &count), -1);
    EXPECT_EQ(count, 4);
}

TEST(Evaluators, UseAllOfTheMatrix) {
    // H takes (1, 2) to (12, 30) / 8 and (3, 1) to (13, 33) / 8; `to` misses by (1/2, -1/4) and
    // (1/4, 1), whose squares are 5/16 and 17/16.
    const float from[] = {1, 2, 3, 1};
    const float to[] = {2, 3.5f, 1.875f, 5.125f};
    const uint16_t indices[] = {0, 1};
    const bcvCorrespondences c = {from, to, 2, 2, 2, indices, 2};
    float h[9] = {2, 3, 4, 5, 7, 11, 1, 2, 3};
    unsigned short inliers[2];
    int count;
    float score;
    EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(&c, h, 2, inliers, &count, &score), 0);
    EXPECT_EQ(score, 1.375f);
    // On the threshold is outside, and an outlier scores it.
    EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(&c, h, 1.0625f, inliers, &count, &score), -1);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(score, 1.375f);
    EXPECT_EQ(bcvGeomHomographyEvaluatef32(&c, h, 1.0625f, 0, inliers, &count), -1);
    EXPECT_EQ(count, 1);
    // Affine: (12, 30) and (13, 33), so that the misses are (10, 26.5) and (11.125, 27.875).
    EXPECT_EQ(bcvGeomAffineTransformEvaluatef32(&c, h, 2000, inliers, &count, &score), 0);
    EXPECT_EQ(score, 1703.03125f);
}

TEST(Evaluators, FindNothingWithoutTheirMemory) {
    const float points[] = {0, 0};
    const uint16_t index = 0;
    bcvCorrespondences c = {points, points, 2, 2, 1, &index, 1};
    bcvCorrespondences bare = {nullptr, points, 2, 2, 1, &index, 1};
    float h[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    unsigned short inlier;
    float score;
    struct Row {
        bcvCorrespondences* c;
        float* h;
        unsigned short* inliers;
    };
    for (const Row& row : {Row{nullptr, h, &inlier},
                           {&bare, h, &inlier},
                           {&c, nullptr, &inlier},
                           {&c, h, nullptr}}) {
        int count[] = {5, 5, 5};
        score = 5;
        EXPECT_EQ(bcvGeomHomographyEvaluatef32(row.c, row.h, 1, 0, row.inliers, &count[0]), -1);
        EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(row.c, row.h, 1, row.inliers, &count[1], &score),
                  -1);
        EXPECT_EQ(
            bcvGeomAffineTransformEvaluatef32(row.c, row.h, 1, row.inliers, &count[2], &score), -1);
        EXPECT_EQ(count[0] + count[1] + count[2], 0);
        EXPECT_EQ(score, 0);
    }
    int count;
    EXPECT_EQ(bcvGeomHomographyEvaluatef32(&c, h, 1, 0, &inlier, nullptr), -1);
    EXPECT_EQ(bcvGeomHomographyEvaluateMSACf32(&c, h, 1, &inlier, nullptr, &score), -1);
    EXPECT_EQ(bcvGeomAffineTransformEvaluatef32(&c, h, 1, &inlier, &count, nullptr), -1);
}

TEST(Solvers, SolveSmallSystemsAndTellWhenTheyCannot) {
    float a[9] = {4, 2, 2, 2, 5, 3, 2, 3, 6};
    const float b[3] = {8, 10, 11};  // x = (1, 1, 1)
    float work[3], x[3];
    ASSERT_NE(bcvSolveCholeskyf32(a, b, work, 3, x), 0);
    for (const float v : x) {
        EXPECT_NEAR(v, 1, 1e-6);
    }
    float indefinite[4] = {1, 2, 2, 1};
    x[0] = 9;
    EXPECT_EQ(bcvSolveCholeskyf32(indefinite, b, work, 2, x), 0);
    EXPECT_EQ(x[0], 9);
    double needs_exchange[4][5] = {
        {0, 2, 0, 0, 2}, {1, 0, 0, 0, 3}, {0, 0, 0, 4, 4}, {0, 0, 5, 0, 10}};
    ASSERT_TRUE((GaussJordan<4, double>(needs_exchange)));
    EXPECT_DOUBLE_EQ(needs_exchange[0][4], 3);
    EXPECT_DOUBLE_EQ(needs_exchange[2][4], 2);
    float singular[4][5] = {{1, 1, 0, 0, 1}, {1, 1, 0, 0, 1}, {0, 0, 1, 0, 1}, {0, 0, 0, 1, 1}};
    EXPECT_FALSE((GaussJordan<4, float>(singular)));
}

}  // namespace
