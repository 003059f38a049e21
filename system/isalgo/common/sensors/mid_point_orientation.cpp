// SPDX-License-Identifier: Apache-2.0
#include "sensors/mid_point_orientation.hpp"

#include <algorithm>
#include <array>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

// Five rows, of which the last but one stands at the wanted time.
constexpr uint32_t kRows = 5;
constexpr uint32_t kWantedRow = 3;
constexpr uint32_t kLongestGapUs = 4000;
// Lens shift is read this much to each side, with the wanted time in the middle.
constexpr uint64_t kOisReachUs = 1000;

uint32_t report_missing(uint64_t mof_time) {
    EIS_ERR("IS0018", "Failed to get MOF gyro sample: %lu", mof_time);
    return EIS_ERROR_GENERAL;
}

}  // namespace

uint32_t interp_mid_point_orientation(const eis_context_samplers& samplers, uint32_t sensor,
                                      uint64_t mof_time, uint32_t frame_id, bool first_frame,
                                      const LensModule& lens_module, Vec3<double>& out,
                                      InterpStats& stats) {
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
    out = {};
    stats = get_interp(samplers.gyro, request, rows.data());
    if (stats.num_error != 0) {
        return report_missing(mof_time);
    }
    const bool hangs_in_gimbal = lens_module.type == kOisGimbalA || lens_module.type == kOisGimbalB;
    if (hangs_in_gimbal && samplers.has_ois(sensor)) {
        request.first_ts = mof_time - kOisReachUs;
        request.last_ts = mof_time + kOisReachUs;
        std::array<Point2, kRows> shifts;
        stats = samplers.ois->interp(request, shifts.data());
        if (stats.num_error != 0) {
            return report_missing(mof_time);
        }
        out = process_gimbal_ois(shifts[kRows / 2], lens_module);
    }
    out = rows[kWantedRow] + out;
    return EIS_SUCCESS;
}

}  // namespace steadywarp
