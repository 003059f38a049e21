// SPDX-License-Identifier: Apache-2.0
#include "validation/frame_validation.hpp"

#include <cmath>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"

namespace steadywarp {
namespace {

// Part of the full size by which a window may lie off centre without a word.
constexpr float kCentreTolerance = 0.007f;

bool is_virtual_domain(const NcLibImageSize& size) {
    return size.widthPixels == VIRTUAL_DOMAIN_WIDTH && size.heightLines == VIRTUAL_DOMAIN_HEIGHT;
}

bool is_valid_older_sof(uint64_t sof, uint64_t prev_sof, uint32_t frame_time,
                        bool sensor_switched) {
    if (!sensor_switched) {
        EIS_ERR("IS0007", "SOF time stamps are not strictly monotonically increasing: %lu, %lu",
                prev_sof, sof);
        return false;
    }
    if (prev_sof - sof > frame_time) {
        EIS_ERR("IS0007",
                "Sensor switch and SOF is too old. time stamps are not strictly monotonically "
                "increasing: %lu, %lu",
                prev_sof, sof);
        return false;
    }
    EIS_ERR("IS0516",
            "Sensor switch and SOF time stamps are not strictly monotonically increasing: %lu, %lu",
            prev_sof, sof);
    return true;
}

bool is_valid_equal_sof(uint64_t sof, bool sensor_switched) {
    if (!sensor_switched) {
        EIS_ERR("IS0008", "SOF time stamps are equal, debug is needed : %lu", sof);
        return false;
    }
    EIS_ERR("IS0516", "Sensor switch and SOF time stamps are equal, debug is needed : %lu", sof);
    return true;
}

}  // namespace

uint32_t longest_time_in_frame(uint32_t frame_time) {
    return cut_to_u32(frame_time * 1.0015);
}

bool is_frame_drop(uint64_t sof_delta, uint32_t frame_time) {
    return static_cast<float>(sof_delta) > static_cast<float>(frame_time) * 1.2f;
}

bool is_valid_frame_times(const is_frame_times& times, uint64_t prev_sof, uint32_t prev_frame_time,
                          bool sensor_switched) {
    const uint64_t sof = times.sof;
    if (sof == 0 || times.frame_time == 0 || times.exposure_time == 0) {
        EIS_ERR("IS0515", "Invalid frame time (SOF, frame time, exposure time): %lu, %u , %u", sof,
                times.frame_time, times.exposure_time);
    }
    const uint32_t longest = longest_time_in_frame(times.frame_time);
    if (times.exposure_time >= longest) {
        EIS_ERR("IS0517", "Invalid exposure time (exposure time, maximal frame time): %u , %u",
                times.exposure_time, longest);
    }
    if (sof < prev_sof) {
        return is_valid_older_sof(sof, prev_sof, times.frame_time, sensor_switched);
    }
    if (sof == prev_sof) {
        return is_valid_equal_sof(sof, sensor_switched);
    }
    const uint64_t delta = sof - prev_sof;
    if (delta >= kPauseResumeUs) {
        if (prev_sof != 0) {
            EIS_HIGH("IS1024", "Pause-resume use case was detected - : %lu, %lu", sof, prev_sof);
        }
        return true;
    }
    if (is_frame_drop(delta, times.frame_time)) {
        const double frames = std::round(static_cast<double>(delta) / prev_frame_time);
        EIS_HIGH("IS1028",
                 "Frame drop was detected. (# of missing frames, current frame SOF, previous frame "
                 "SOF): %d, %lu, %lu",
                 cut_to_i32(frames - 1.0), sof, prev_sof);
    }
    return true;
}

bool is_valid_frame_id(bool first_frame, uint32_t frame_id, uint32_t prev_frame_id) {
    if (first_frame) {
        return true;
    }
    if (frame_id <= prev_frame_id) {
        EIS_ERR("IS0012", "Invalid frame ID (previous frame ID, input frame ID) : %u, %u",
                prev_frame_id, frame_id);
        return false;
    }
    if (frame_id - prev_frame_id != 1) {
        EIS_ERR("IS0012",
                "Invalid frame ID, algorithm was not called for frame ID # %u (previous frame ID, "
                "input frame ID) : %u, %u",
                prev_frame_id + 1, prev_frame_id, frame_id);
    }
    return true;
}

bool is_valid_crop_roi(const is_crop_window& window) {
    if (window.fullWidth == 0.0f || window.fullHeight == 0.0f || window.windowWidth == 0.0f ||
        window.windowHeight == 0.0f) {
        EIS_ERR("IS0010", "Un-initialized crop window");
        return false;
    }
    if (window.windowHeight + window.windowTop > window.fullHeight ||
        window.windowWidth + window.windowLeft > window.fullWidth) {
        EIS_ERR("IS0011", "Invalid ROI. ROI is outside of image");
        return false;
    }
    const float off_y =
        std::fabs((window.fullHeight - window.windowHeight) * 0.5f - window.windowTop) /
        window.fullHeight;
    const float off_x =
        std::fabs((window.fullWidth - window.windowWidth) * 0.5f - window.windowLeft) /
        window.fullWidth;
    if (off_y > kCentreTolerance || off_x > kCentreTolerance) {
        EIS_ERR("IS0527",
                " ROI is not centered (full Width, full Height, window Width, window Height, "
                "window Left, window Top): %f %f %f %f %f %f",
                static_cast<double>(window.fullWidth), static_cast<double>(window.fullHeight),
                static_cast<double>(window.windowWidth), static_cast<double>(window.windowHeight),
                static_cast<double>(window.windowLeft), static_cast<double>(window.windowTop));
    }
    return true;
}

bool is_valid_window_regions(const is_window_regions& regions) {
    bool is_valid = true;
    if (!is_valid_crop_roi(regions.eis_pre_crop_vIN)) {
        EIS_ERR("IS0003", "Invalid eis_pre_crop_vIN window");
        is_valid = false;
    }
    if (!is_valid_crop_roi(regions.eis_pre_crop_vOUT)) {
        EIS_ERR("IS0003", "Invalid eis_pre_crop_vOUT window");
        is_valid = false;
    }
    // The output's window is looked at twice, and its lines appear twice.
    for (int round = 0; round < 2; ++round) {
        if (!is_valid_crop_roi(regions.output_crop_fov)) {
            EIS_ERR("IS0003", "Invalid output_crop_fov window");
            is_valid = false;
        }
    }
    if (!is_valid_crop_roi(regions.image_sensor_crop)) {
        EIS_ERR("IS0003", "Invalid image_sensor_crop window");
    }
    return is_valid;
}

uint32_t find_upstream_faults(const NcLibWarp& warp) {
    if (!warp.grid.enable && !warp.matrices.enable) {
        return 0;
    }
    uint32_t faults = warp.direction != OUT_2_IN ? uint32_t{kUpstreamDirection} : 0;
    if (warp.grid.enable) {
        faults |= warp.grid.grid == nullptr ? uint32_t{kUpstreamGridMissing} : 0;
        faults |=
            is_virtual_domain(warp.grid.transformDefinedOn) ? 0 : uint32_t{kUpstreamGridNotVirtual};
    }
    if (warp.matrices.enable) {
        const NcLibWarpMatrices& matrices = warp.matrices;
        faults |= matrices.perspMatrices == nullptr ? uint32_t{kUpstreamMatricesMissing} : 0;
        faults |= is_virtual_domain(matrices.transformDefinedOn)
                      ? 0
                      : uint32_t{kUpstreamMatricesNotVirtual};
        faults |= matrices.numRows == 1 && matrices.numColumns == 1
                      ? 0
                      : uint32_t{kUpstreamTooManyMatrices};
    }
    return faults;
}

bool is_valid_pre_eis_transform_margins_reduction(const NcLibWarp* warp) {
    const uint32_t faults = warp != nullptr ? find_upstream_faults(*warp) : 0;
    if ((faults & kUpstreamDirection) != 0) {
        EIS_ERR("IS0003", "Invalid pre_eis_transform_margins_reduction direction: %u",
                warp->direction);
    }
    if ((faults & kUpstreamGridMissing) != 0) {
        EIS_ERR("IS0003", "NULL pointer: pre_eis_transform_margins_reduction->grid.grid direction");
    }
    if ((faults & kUpstreamGridNotVirtual) != 0) {
        EIS_ERR("IS0003",
                "pre_eis_transform_margins_reduction->grid is not in virtual domain, need to "
                "call NcLibWarpConvertToVirtualDomain() API before calling EIS process");
    }
    if ((faults & kUpstreamMatricesMissing) != 0) {
        EIS_ERR("IS0003",
                "NULL pointer: pre_eis_transform_margins_reduction->matrices.perspMatrices");
    }
    if ((faults & kUpstreamMatricesNotVirtual) != 0) {
        EIS_ERR("IS0003",
                "pre_eis_transform_margins_reduction->matrices is not in virtual domain, need "
                "to call NcLibWarpConvertToVirtualDomain() API before calling EIS process");
    }
    if ((faults & kUpstreamTooManyMatrices) != 0) {
        EIS_ERR("IS0003",
                "Too many matrices were defined, current implementation only supports single "
                "matrix. (numRows, numColumns): (%u, %u)",
                warp->matrices.numRows, warp->matrices.numColumns);
    }
    return faults == 0;
}

}  // namespace steadywarp
