// SPDX-License-Identifier: Apache-2.0
#include "sensors/z_lens_position.hpp"

#include <algorithm>
#include <iterator>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

constexpr uint32_t kLutCapacity =
    static_cast<uint32_t>(std::size(eis_z_lens_position{}.lut_z_lens_pos_tab));

double position_of(const eis_z_lens_position& lens, uint32_t entry) {
    return static_cast<double>(lens.lut_z_lens_pos_tab[entry]);
}

double scale_of(const eis_z_lens_position& lens, uint32_t entry) {
    return static_cast<double>(lens.lut_scale_vs_z_lens_pos_tab[entry]);
}

}  // namespace

uint32_t lut_length(const eis_z_lens_position& lens) {
    return std::min(lens.lut_len, kLutCapacity);
}

uint32_t copy_eis_z_lens_position(const eis_z_lens_position* from,
                                  std::unique_ptr<eis_z_lens_position>* to) {
    if (from == nullptr || to == nullptr) {
        EIS_ERR("IS0002", "Copy To NULL requested");
        return EIS_ERROR_GENERAL;
    }
    *to = allocate<eis_z_lens_position>(*from);
    if (*to == nullptr) {
        EIS_ERR("IS0004", "out of memory");
        return EIS_ERROR_NO_MEMORY;
    }
    return EIS_SUCCESS;
}

double scale_at_position(const eis_z_lens_position& lens, double position) {
    const uint32_t length = lut_length(lens);
    if (lens.enable == 0 || length == 0) {
        return 1.0;
    }
    if (position > position_of(lens, 0)) {
        return scale_of(lens, length - 1);
    }
    double scale = 1.0;
    if (position < position_of(lens, length - 1)) {
        scale = scale_of(lens, 0);
    } else {
        for (uint32_t k = 1; k < length; ++k) {
            const double above = position_of(lens, k - 1);
            const double below = position_of(lens, k);
            if (below <= position && position <= above) {
                const double t = (above - position) / (above - below);
                scale = (1.0 - t) * scale_of(lens, k - 1) + t * scale_of(lens, k);
                break;
            }
        }
    }
    return std::max(scale, static_cast<double>(lens.min_scale_limit));
}

}  // namespace steadywarp
