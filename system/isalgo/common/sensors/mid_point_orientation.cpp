// SPDX-License-Identifier: Apache-2.0
#include "sensors/mid_point_orientation.hpp"

#include <algorithm>
#include <array>

#include "base/numeric.hpp"
#include "interface/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

// Five rows, of which the last but one stands at the wanted time.
constexpr uint32_t kRows = 5;
constexpr uint32_t kWantedRow = 3;
constexpr uint32_t kLongestGapUs = 4000;

}  // namespace

uint32_t interp_mid_point_orientation(const eis_context_samplers& samplers, uint32_t sensor,
                                      uint64_t mof_time, uint32_t frame_id, bool first_frame,
                                      Vec3<double>& out, InterpStats& stats) {
    const double frequency = static_cast<double>(samplers.gyro.frequency());
    const uint32_t gap = std::min(cut_to_u32(1.05 / frequency * 1e6), kLongestGapUs);
    InterpRequest request;
    request.first_ts = mof_time - 2 * uint64_t{gap};
    request.last_ts = mof_time;
    request.num_rows = kRows;
    request.sensor = sensor;
    request.frame_id = frame_id;
    request.first_frame = first_frame;
    std::array<Vec3<double>, kRows> rows;
    stats = get_interp(samplers.gyro, request, rows.data());
    if (stats.num_error != 0) {
        EIS_ERR("IS0018", "Failed to get MOF gyro sample: %lu", mof_time);
        out = {};
        return EIS_ERROR_GENERAL;
    }
    out = rows[kWantedRow];
    return EIS_SUCCESS;
}

}  // namespace steadywarp
