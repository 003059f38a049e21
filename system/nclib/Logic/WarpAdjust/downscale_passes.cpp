// SPDX-License-Identifier: Apache-2.0
// How many downscale passes a frame leaves room for.
#include <algorithm>

#include "nclib/nclib_log.hpp"
#include "nclib/numeric.hpp"
#include "steadywarp/nclib_geometries.h"

namespace {

constexpr uint32_t kLevels = 4;
constexpr uint32_t kLeastHeight = 28;
constexpr uint32_t kLeastWidth = 32;

uint32_t FirstLevel(uint32_t input, uint32_t margin, float ratio) {
    return nclib::TruncateToUint32(static_cast<double>(static_cast<float>(input - margin) * ratio));
}

// A quarter, rounded up to even.
uint32_t NextLevel(uint32_t length) {
    return static_cast<uint32_t>((uint64_t{length} + 7) >> 3) * 2;
}

}  // namespace

int32_t NcLibGetMaxNumOfPasses(const NcLibImageSize* ipeInputSize,
                               const NcLibImageSize* stabilizationMargins,
                               float icaUpScaleRatio_AtDZx1, uint32_t maxNumOfPassesByFlow,
                               uint32_t* maxNumOfPasses) {
    NC_LIB_REQUIRE_NOT_NULL(ipeInputSize, "ipeInputSize");
    NC_LIB_REQUIRE_NOT_NULL(stabilizationMargins, "stabilizationMargins");
    NC_LIB_REQUIRE_NOT_NULL(maxNumOfPasses, "maxNumOfPasses");
    NC_LIB_REQUIRE(stabilizationMargins->heightLines < ipeInputSize->heightLines,
                   NC_LIB_INVALID_INPUT, "invalid heightLines");
    NC_LIB_REQUIRE(stabilizationMargins->widthPixels < ipeInputSize->widthPixels,
                   NC_LIB_INVALID_INPUT, "invalid widthPixels");
    NC_LIB_REQUIRE(icaUpScaleRatio_AtDZx1 >= 1.0f, NC_LIB_INVALID_INPUT,
                   "invalid icaUpScaleRatio_AtDZx1");
    NC_LIB_REQUIRE(maxNumOfPassesByFlow >= 1 && maxNumOfPassesByFlow <= kLevels,
                   NC_LIB_INVALID_INPUT, "invalid maxNumOfPassesByFlow");
    uint32_t height = FirstLevel(ipeInputSize->heightLines, stabilizationMargins->heightLines,
                                 icaUpScaleRatio_AtDZx1);
    uint32_t width = FirstLevel(ipeInputSize->widthPixels, stabilizationMargins->widthPixels,
                                icaUpScaleRatio_AtDZx1);
    // Levels only shrink, so those that count are the first ones.
    uint32_t levels = 0;
    while (levels < kLevels && height >= kLeastHeight && width >= kLeastWidth) {
        ++levels;
        height = NextLevel(height);
        width = NextLevel(width);
    }
    *maxNumOfPasses = std::min(levels, maxNumOfPassesByFlow);
    return NC_LIB_SUCCESS;
}
