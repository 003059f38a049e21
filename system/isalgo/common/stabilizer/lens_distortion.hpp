// SPDX-License-Identifier: Apache-2.0
/// @file lens_distortion.hpp
/// The two directions of a lens's distortion, between the pixels that the stage receives and those
/// of an ideal lens; and how they come from calibrated grids.
#pragma once

#include <cstdint>
#include <memory>

#include "filter/frame_records.hpp"
#include "stabilizer/grid.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Values of `ldc_calib_domain`: the picture that a grid was calibrated on.
enum LdcCalibDomain : uint32_t {
    kCalibFullSensor = 0,  ///< the sensor without its own crop
    kCalibIfeInput = 1,    ///< what the sensor puts out
    kCalibStageInput = 2   ///< what the stabilizer receives; tuned grids only
};

/// Borrowed grids of a sensor, both or neither.
struct LensDistortion {
    const Grid* in2out = nullptr;  ///< distorted to undistorted
    const Grid* out2in = nullptr;  ///< the way back
};

/// One direction of a lens's distortion in one frame: from a pixel of the frame to one of the
/// frame.
///
/// The grids hold for the picture without the crop ahead of the stage: a point goes out of the
/// crop, through the grid, and into the crop on the other side.
class DistortionInCrop {
  public:
    /// From the distorted to the undistorted picture. The grid must outlive the object.
    static DistortionInCrop undistorting(const LensDistortion& distortion,
                                         const frame_geometry_windows& windows) {
        return {*distortion.in2out,
                {windows.in_ratio_x, windows.in_ratio_y},
                {windows.out_ratio_x, windows.out_ratio_y}};
    }
    /// The way back.
    static DistortionInCrop distorting(const LensDistortion& distortion,
                                       const frame_geometry_windows& windows) {
        return {*distortion.out2in,
                {windows.out_ratio_x, windows.out_ratio_y},
                {windows.in_ratio_x, windows.in_ratio_y}};
    }

    Point2 apply(const Point2& p) const {
        const Point2 q =
            _grid->lookup({p.x * _before.x + _before_offset.x, p.y * _before.y + _before_offset.y});
        return {(q.x - _behind_offset.x) / _behind.x, (q.y - _behind_offset.y) / _behind.y};
    }

  private:
    /// @param before,behind the part of the picture that the crop leaves on each side.
    DistortionInCrop(const Grid& grid, const Point2& before, const Point2& behind)
        : _grid(&grid),
          _before(before),
          _before_offset(offset_of(before, grid)),
          _behind(behind),
          _behind_offset(offset_of(behind, grid)) {}

    // Of the crop in the picture, in pixels of the crop's size.
    static Point2 offset_of(const Point2& ratio, const Grid& grid) {
        return {(1.0 - ratio.x) / 2.0 * grid.width, (1.0 - ratio.y) / 2.0 * grid.height};
    }

    const Grid* _grid;
    Point2 _before;
    Point2 _before_offset;
    Point2 _behind;
    Point2 _behind_offset;
};

/// Build the grids of a sensor for its input's size; both stay empty if it has none.
///
/// @param width,height of the sensor's input, pixels.
/// @return EIS_ERROR_INVALID_INPUT for grids that cannot be used, EIS_ERROR_GENERAL if the warp
///         library refuses them, EIS_ERROR_NO_MEMORY.
uint32_t init_ldc_grids(const is_init_sensor_data& sensor, uint32_t width, uint32_t height,
                        std::unique_ptr<Grid>& out2in, std::unique_ptr<Grid>& in2out);

/// Express a grid on the virtual domain, in the form of fixed capacity.
/// @return EIS_ERROR_GENERAL, or EIS_ERROR_NO_MEMORY.
uint32_t convert_NcLibWarpGrid_to_virtual_domain_NcLibIcaGrid(const NcLibWarpGrid& grid,
                                                              NcLibIcaGrid& ica_grid);

/// The picture that a stage's input was cut from.
struct LdcDomain {
    uint32_t calib_domain;
    is_crop_window image_sensor_crop;  ///< without a size: no crop
    uint32_t ife_width;                ///< 0: as the stage's input
    uint32_t ife_height;
};

/// Cut two virtual grids out for a stage's input of `width` by `height`, which is the middle of the
/// calibrated picture.
///
/// The undistorted side is the largest centred window of the same aspect whose content the input
/// holds: a lens that needs pixels from beyond its border is zoomed into.
///
/// @return EIS_ERROR_GENERAL for an unknown domain or if the warp library refuses, or
///         EIS_ERROR_NO_MEMORY.
uint32_t ldc_resample_grid(const NcLibIcaGrid& in2out, const NcLibIcaGrid& out2in,
                           const LdcDomain& domain, uint32_t width, uint32_t height,
                           std::unique_ptr<Grid>& grid_in2out, std::unique_ptr<Grid>& grid_out2in);

}  // namespace steadywarp
