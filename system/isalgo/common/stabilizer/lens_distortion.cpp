// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/lens_distortion.hpp"

#include <algorithm>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "nclib/Logic/WarpAdjust/grid_geometry.hpp"
#include "nclib/Logic/WarpAdjust/resample.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "nclib/Logic/WarpAdjust/windows.hpp"
#include "steadywarp/nclib_chip.hpp"
#include "validation/init_grids_validation.hpp"

namespace steadywarp {
namespace {

// The image processor that the grids' sizes are those of.
constexpr uint32_t kChipVersion = 0x40800;
constexpr uint32_t kChipHardware = 7;

// The size code of 35 by 27 nodes, which all tuned grids have.
constexpr uint32_t kTunedGeometry = 1;

// Values are virtual units already.
void copy_tuned_grid(const float* x, const float* y, NcLibIcaGrid& ica) {
    const nclib::GridGeometry& geometry = nclib::kGridGeometries[kTunedGeometry];
    ica.enable = 1;
    ica.extrapolatedCorners = 0;
    ica.transformDefinedOn = nclib::kVirtualSize;
    ica.geometry = kTunedGeometry;
    for (uint32_t i = 0; i < geometry.num_rows * geometry.num_columns; ++i) {
        ica.grid[i] = {x[i], y[i]};
    }
}

std::unique_ptr<Grid> make_grid(const NcLibIcaGrid& ica, uint32_t width, uint32_t height) {
    std::unique_ptr<Grid> grid = allocate<Grid>(width, height);
    if (grid == nullptr) {
        EIS_ERR("IS0004", "Out of memory");
        return nullptr;
    }
    const nclib::GridGeometry& geometry = nclib::kGridGeometries[ica.geometry];
    grid->uniform_poly_extarp(ica.grid, geometry.num_rows, geometry.num_columns,
                              ica.transformDefinedOn.widthPixels,
                              ica.transformDefinedOn.heightLines);
    return grid;
}

// Part of a picture that a window covers, from its corner; a picture of no size is all window.
struct Part {
    float offset;
    float size;
};

Part part_of(float offset, float size, float full) {
    return full > 0.0f && size > 0.0f ? Part{offset / full, size / full} : Part{0.0f, 1.0f};
}

// The stage's input as a window of the calibrated picture.
NcLibROI stage_window(const LdcDomain& domain, uint32_t width, uint32_t height) {
    double padded = height;
    if (domain.ife_width != 0) {
        padded = std::max(static_cast<double>(width) * domain.ife_height / domain.ife_width,
                          static_cast<double>(height));
    }
    const float part_y = static_cast<float>(height / padded);
    const NcLibROI in_ife = {{0.0f, (1.0f - part_y) / 2.0f}, {1.0f, part_y}};
    if (domain.calib_domain != kCalibFullSensor) {
        return in_ife;
    }
    const is_crop_window& crop = domain.image_sensor_crop;
    const Part x = part_of(crop.windowLeft, crop.windowWidth, crop.fullWidth);
    const Part y = part_of(crop.windowTop, crop.windowHeight, crop.fullHeight);
    return {{x.offset + in_ife.offset.x * x.size, y.offset + in_ife.offset.y * y.size},
            {in_ife.size.x * x.size, in_ife.size.y * y.size}};
}

// Grids of either source on the virtual domain.
uint32_t take_ica_grids(const is_init_sensor_data& sensor, NcLibIcaGrid& in2out,
                        NcLibIcaGrid& out2in) {
    uint32_t status =
        convert_NcLibWarpGrid_to_virtual_domain_NcLibIcaGrid(*sensor.ldc_in2out, in2out);
    if (status == EIS_SUCCESS) {
        status = convert_NcLibWarpGrid_to_virtual_domain_NcLibIcaGrid(*sensor.ldc_out2in, out2in);
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002",
                "convert_NcLibWarpGrid_to_virtual_domain_NcLibIcaGrid function failed 0x%08x",
                status);
    }
    return status;
}

void take_tuned_grids(const is_tessaline_lens_distortion_correction& ldc, NcLibIcaGrid& in2out,
                      NcLibIcaGrid& out2in) {
    copy_tuned_grid(ldc.distorted_input_to_undistorted_ldc_grid_x_tab,
                    ldc.distorted_input_to_undistorted_ldc_grid_y_tab, in2out);
    copy_tuned_grid(ldc.undistorted_to_distorted_input_ldc_grid_x_tab,
                    ldc.undistorted_to_distorted_input_ldc_grid_y_tab, out2in);
}

}  // namespace

uint32_t init_ldc_grids(const is_init_sensor_data& sensor, uint32_t width, uint32_t height,
                        std::unique_ptr<Grid>& out2in, std::unique_ptr<Grid>& in2out) {
    bool no_grid = false;
    uint32_t status = is_valid_init_input_grids(sensor, width, height, no_grid);
    if (status != EIS_SUCCESS || no_grid) {
        return status;
    }
    const auto in2out_ica = allocate<NcLibIcaGrid>();
    const auto out2in_ica = allocate<NcLibIcaGrid>();
    if (in2out_ica == nullptr || out2in_ica == nullptr) {
        EIS_ERR("IS0004",
                "Failed to allocate temporary buffers - ldc_in2out_ica and ldc_out2in_ica");
        return EIS_ERROR_NO_MEMORY;
    }
    const is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    const bool is_tuned = ldc.ldc_grid_source == 0;
    if (is_tuned) {
        take_tuned_grids(ldc, *in2out_ica, *out2in_ica);
    } else {
        status = take_ica_grids(sensor, *in2out_ica, *out2in_ica);
    }
    if (status != EIS_SUCCESS) {
        return status;
    }
    const uint32_t calib_domain = is_tuned ? ldc.ldc_calib_domain : sensor.ldc_calib_domain;
    if (is_tuned && calib_domain == kCalibStageInput) {
        in2out = make_grid(*in2out_ica, width, height);
        out2in = make_grid(*out2in_ica, width, height);
        return in2out != nullptr && out2in != nullptr ? EIS_SUCCESS : EIS_ERROR_NO_MEMORY;
    }
    const LdcDomain domain = {calib_domain, sensor.image_sensor_crop, sensor.ife_input_frame_width,
                              sensor.ife_input_frame_height};
    status = ldc_resample_grid(*in2out_ica, *out2in_ica, domain, width, height, in2out, out2in);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "ldc_resample_grid function failed 0x%08x", status);
    }
    return status;
}

uint32_t convert_NcLibWarpGrid_to_virtual_domain_NcLibIcaGrid(const NcLibWarpGrid& grid,
                                                              NcLibIcaGrid& ica_grid) {
    NcLibChipInfo::Set(kChipVersion, kChipHardware);
    const auto tmp_grid = allocate_array<NcLibWarpGridCoord>(NC_LIB_ICA_GRID_MAX_POINTS);
    if (tmp_grid == nullptr) {
        EIS_ERR("IS0002", "Failed to allocate temporary buffer - tmp_grid");
        return EIS_ERROR_NO_MEMORY;
    }
    NcLibWarp from{};
    from.grid = grid;
    NcLibWarp to{};
    to.grid.grid = tmp_grid.get();
    // Both sizes that get here have a ring; explicit corners beside one, or an unknown kind, are
    // what the warp library ends the process for.
    const bool has_known_kind = grid.extrapolateType != EXTRAPOLATION_TYPE_FOUR_CORNERS &&
                                grid.extrapolateType < EXTRAPOLATION_TYPE_MAX_VAL;
    const int32_t status =
        has_known_kind ? NcLibWarpConvertToVirtualDomain(&from, &to) : NC_LIB_INVALID_INPUT;
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002", "NcLibWarpConvertToVirtualDomain function failed 0x%08x",
                static_cast<uint32_t>(status));
        return EIS_ERROR_GENERAL;
    }
    NcLibWarpGridToIcaGrid(&to.grid, &ica_grid);
    return EIS_SUCCESS;
}

uint32_t ldc_resample_grid(const NcLibIcaGrid& in2out, const NcLibIcaGrid& out2in,
                           const LdcDomain& domain, uint32_t width, uint32_t height,
                           std::unique_ptr<Grid>& grid_in2out, std::unique_ptr<Grid>& grid_out2in) {
    NcLibChipInfo::Set(kChipVersion, kChipHardware);
    if (domain.calib_domain != kCalibFullSensor && domain.calib_domain != kCalibIfeInput) {
        return EIS_ERROR_GENERAL;
    }
    const NcLibROI distorted = stage_window(domain, width, height);
    NcLibROI undistorted{};
    int32_t status = NcLibCalcMaxOutputWindowFloat(&distorted, &distorted, &in2out, &undistorted);
    if (status != NC_LIB_SUCCESS) {
        EIS_ERR("IS0002", "NcLibCalcMaxOutputWindowFloat function failed 0x%08x",
                static_cast<uint32_t>(status));
        return EIS_ERROR_GENERAL;
    }
    const auto resampled = allocate<NcLibIcaGrid>();
    if (resampled == nullptr) {
        EIS_ERR("IS0004", "Failed to allocate temporary buffer - tmp_ica_grid_resampled");
        return EIS_ERROR_NO_MEMORY;
    }
    // Each grid stands on the window of its own side and is seen from that of the other.
    struct Direction {
        const NcLibIcaGrid& from;
        const NcLibROI& at;
        const NcLibROI& seen_from;
        std::unique_ptr<Grid>& to;
    };
    for (const Direction& direction : {Direction{in2out, distorted, undistorted, grid_in2out},
                                       Direction{out2in, undistorted, distorted, grid_out2in}}) {
        status = NcLibResampleGridFloat(&direction.from, &direction.at, &direction.seen_from,
                                        resampled.get());
        if (status != NC_LIB_SUCCESS) {
            EIS_ERR("IS0002", "NcLibResampleGridFloat function failed 0x%08x",
                    static_cast<uint32_t>(status));
            return EIS_ERROR_GENERAL;
        }
        direction.to = make_grid(*resampled, width, height);
        if (direction.to == nullptr) {
            return EIS_ERROR_NO_MEMORY;
        }
    }
    return EIS_SUCCESS;
}

}  // namespace steadywarp
