// SPDX-License-Identifier: Apache-2.0
#include "nclib/geometry/correspondence_sums.hpp"

namespace {

// How far a transform misses a destination, times w on each axis, so that nothing is divided.
struct Miss {
    float squared;  // du^2 + dv^2
    float w_squared;
};

Miss MissOf(const float* H, const nclib::Pair<float>& p, float w) {
    const float du = (H[0] * p.x + H[1] * p.y + H[2]) - p.u * w;
    const float dv = (H[3] * p.x + H[4] * p.y + H[5]) - p.v * w;
    return {du * du + dv * dv, w * w};
}

Miss HomographyMiss(const float* H, const nclib::Pair<float>& p) {
    return MissOf(H, p, H[6] * p.x + H[7] * p.y + H[8]);
}

Miss AffineMiss(const float* H, const nclib::Pair<float>& p) {
    return MissOf(H, p, 1.0f);
}

template <typename MissFunction>
int Score(const bcvCorrespondences* c, const float* H, float threshold, MissFunction miss_of,
          unsigned short* inliers, int* count, float* score) {
    if (count == nullptr || score == nullptr) {
        return -1;
    }
    *count = 0;
    *score = 0.0f;
    if (!nclib::HasPointers(c) || H == nullptr || inliers == nullptr) {
        return -1;
    }
    nclib::LaneSums<float, 1> sum;
    for (uint32_t i = 0; i < c->numIndices; ++i) {
        const Miss miss = nclib::IsIndexInside(*c, i) ? miss_of(H, nclib::PairAt<float>(*c, i))
                                                      : Miss{0.0f, 0.0f};
        const float error = miss.squared / miss.w_squared;
        if (miss.w_squared != 0.0f && error < threshold) {
            inliers[(*count)++] = c->indices[i];
            sum.Add(i, {error});
        } else {
            sum.Add(i, {threshold});
        }
    }
    *score = sum.Total()[0];
    return static_cast<uint32_t>(*count) == c->numIndices ? 0 : -1;
}

}  // namespace

int bcvGeomHomographyEvaluatef32(const bcvCorrespondences* correspondences, float* H,
                                 float threshold, int, unsigned short* inliers, int* count) {
    if (count == nullptr) {
        return -1;
    }
    *count = 0;
    if (!nclib::HasPointers(correspondences) || H == nullptr || inliers == nullptr) {
        return -1;
    }
    const bcvCorrespondences& c = *correspondences;
    for (uint32_t i = 0; i < c.numIndices; ++i) {
        if (!nclib::IsIndexInside(c, i)) {
            continue;
        }
        const Miss miss = HomographyMiss(H, nclib::PairAt<float>(c, i));
        if (miss.squared < threshold * miss.w_squared) {
            inliers[(*count)++] = c.indices[i];
        }
    }
    return static_cast<uint32_t>(*count) == c.numIndices ? 0 : -1;
}

int bcvGeomHomographyEvaluateMSACf32(const bcvCorrespondences* correspondences, float* H,
                                     float threshold, unsigned short* inliers, int* count,
                                     float* score) {
    return Score(correspondences, H, threshold, HomographyMiss, inliers, count, score);
}

int bcvGeomAffineTransformEvaluatef32(const bcvCorrespondences* correspondences, float* H,
                                      float threshold, unsigned short* inliers, int* count,
                                      float* score) {
    return Score(correspondences, H, threshold, AffineMiss, inliers, count, score);
}
