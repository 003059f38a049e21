// SPDX-License-Identifier: Apache-2.0
// Which of two alignments a frame uses.
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_temporal.h"

namespace {

constexpr int32_t kGridConfidence = 256;

struct Choice {
    uint32_t state;
    uint32_t count;
};

bool IsUsable(const NcLibWarp* candidate) {
    return candidate != nullptr &&
           (candidate->grid.enable ||
            (candidate->matrices.enable && candidate->matrices.confidence != 0));
}

bool IsSecondForced(const NcLibAlignmentFusionIn& in) {
    return (in.forceCount > in.forceCountLimit && in.forceLevel > in.forceLevelLimit) ||
           in.mode == NC_LIB_FUSION_SECOND_ONLY;
}

// The count that follows from a state.
Choice Counted(const NcLibAlignmentFusionIn& in, uint32_t state) {
    return {state, state == in.previousState ? in.previousCount + 1 : 0};
}

Choice ChooseByConfidence(const NcLibAlignmentFusionIn& in, bool is_first_usable,
                          bool is_second_usable) {
    const uint32_t first_or_none = is_first_usable ? NC_LIB_FUSION_FIRST : NC_LIB_FUSION_NONE;
    if (!is_second_usable) {
        return Counted(in, first_or_none);
    }
    int32_t confidence = 0;
    if (is_first_usable) {
        confidence = in.firstAlignment->grid.enable
                         ? kGridConfidence
                         : static_cast<int32_t>(in.firstAlignment->matrices.confidence);
    }
    if (confidence < in.lowConfidenceThreshold) {
        return Counted(in, NC_LIB_FUSION_SECOND);
    }
    if (in.previousState == NC_LIB_FUSION_SECOND) {
        return confidence >= in.highConfidenceThreshold ? Choice{first_or_none, 0}
                                                        : Counted(in, NC_LIB_FUSION_SECOND);
    }
    return Counted(in, first_or_none);
}

Choice Choose(const NcLibAlignmentFusionIn& in) {
    const bool is_first_usable = !in.disableFirst && IsUsable(in.firstAlignment);
    const bool is_second_usable = IsUsable(in.secondAlignment);
    if (IsSecondForced(in)) {
        return Counted(in, is_second_usable ? NC_LIB_FUSION_SECOND : NC_LIB_FUSION_NONE);
    }
    if (in.mode == NC_LIB_FUSION_FIRST_ONLY) {
        return Counted(in, is_first_usable ? NC_LIB_FUSION_FIRST : NC_LIB_FUSION_NONE);
    }
    const bool had_choice =
        in.previousState == NC_LIB_FUSION_FIRST || in.previousState == NC_LIB_FUSION_SECOND;
    if (had_choice && in.previousCount < in.holdCount) {
        return {in.previousState, in.previousCount + 1};
    }
    return ChooseByConfidence(in, is_first_usable, is_second_usable);
}

}  // namespace

int32_t NcLibAlignmentFusion(const NcLibAlignmentFusionIn* in, NcLibAlignmentFusionOut* out) {
    NC_LIB_REQUIRE_NOT_NULL(in, "in");
    NC_LIB_REQUIRE_NOT_NULL(out, "out");
    const Choice choice = Choose(*in);
    out->alignment = choice.state == NC_LIB_FUSION_FIRST    ? in->firstAlignment
                     : choice.state == NC_LIB_FUSION_SECOND ? in->secondAlignment
                                                            : nullptr;
    out->state = choice.state;
    out->count = choice.count;
    return NC_LIB_SUCCESS;
}
