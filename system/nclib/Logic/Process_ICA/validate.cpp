// SPDX-License-Identifier: Apache-2.0
// What a frame brings beside its tuning, held against the bounds of the warp hardware.
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_ica.h"

namespace {

constexpr uint32_t kMaxMatrices = NC_LIB_ICA_MATRICES_MAX;
constexpr uint32_t kMaxConfidence = 256;

bool IsWithin(const char* name, uint64_t value, uint32_t lowest, uint32_t highest) {
    NC_LIB_REQUIRE(value >= lowest && value <= highest, false,
                   "VALIDATE_MIN_MAX_PARAM failed param: %s minVal: %u, maxVal: %u, actualVal: %u",
                   name, lowest, highest, static_cast<uint32_t>(value));
    return true;
}

bool IsAtMost(const char* name, uint32_t value, uint32_t highest) {
    NC_LIB_REQUIRE(value <= highest, false,
                   "VALIDATE_MAX_PARAM failed, param: %s, maxVal: %u, actualVal: %u", name, highest,
                   value);
    return true;
}

bool HasLastElements(const NcLibWarpMatrices& persp, uint32_t count) {
    NC_LIB_REQUIRE(persp.perspMatrices != nullptr, false, "NULL pointer: persp->perspMatrices");
    bool is_valid = true;
    for (uint32_t i = 0; i < count; ++i) {
        if (persp.perspMatrices[i].T[8] == 0.0f) {
            NC_LIB_ERROR("VALIDATE failed param: persp->perspMatrices[%u].T[8], actualVal: 0", i);
            is_valid = false;
        }
    }
    return is_valid;
}

bool AreMatricesValid(const NcLibWarpMatrices& persp) {
    const uint64_t count = uint64_t{persp.numRows} * persp.numColumns;
    bool has_counts = IsWithin("persp->numRows", persp.numRows, 1, kMaxMatrices);
    has_counts &= IsWithin("persp->numColumns", persp.numColumns, 1, kMaxMatrices);
    has_counts &= IsWithin("numOfPerpActiveTransforms", count, 1, kMaxMatrices);
    bool is_valid = has_counts;
    is_valid &= IsAtMost("persp->centerType", persp.centerType,
                         count > 1 ? uint32_t{CENTERED} : uint32_t{NOT_CENTERED});
    is_valid &= IsAtMost("persp->confidence", persp.confidence, kMaxConfidence);
    return has_counts ? HasLastElements(persp, static_cast<uint32_t>(count)) && is_valid : is_valid;
}

}  // namespace

int32_t ValidateIcaNonTessalineParams(const NcLibWarpGrid* inGridFlow,
                                      const NcLibWarpMatrices* matrices,
                                      uint8_t icaIsGridEnabledByFlow, uint32_t icaVersion) {
    bool is_valid = matrices == nullptr || !matrices->enable || AreMatricesValid(*matrices);
    if (icaIsGridEnabledByFlow != 0 && inGridFlow != nullptr && icaVersion != 10 &&
        !NcLibIsGridSizeMatchesIcaHw(inGridFlow->numRows, inGridFlow->numColumns, icaVersion)) {
        NC_LIB_ERROR(
            "VALIDATE failed param: inGridFlow->numRows x numColumns, actualVal: %u x %u, ICA v.%u",
            inGridFlow->numRows, inGridFlow->numColumns, icaVersion);
        is_valid = false;
    }
    return is_valid ? NC_LIB_SUCCESS : NC_LIB_GENERAL_ERROR;
}
