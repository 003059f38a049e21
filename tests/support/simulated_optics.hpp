// SPDX-License-Identifier: Apache-2.0
/// @file simulated_optics.hpp
/// What stands between a pinhole camera and its sensor: a prism, a distorting lens that shifts, and
/// focus that breathes. Known at every moment and in closed form, nothing of it from the library.
///
/// From a raw pixel u to the pinhole's pixel q, c being the picture's centre:
///
///     q = turn back by the prism of  distort^-1 ( c + (u - c) s + shift )
///
/// Pixels count from the centre of the top-left pixel.
#pragma once

#include <cstdint>
#include <vector>

#include "steadywarp/eis.h"
#include "support/simulated_camera.hpp"

namespace steadywarp::test {

/// No lens that shifts; the other values are module types of the tuning.
inline constexpr uint32_t kFixedLens = 0xFFFFFFFFu;

struct SimulatedOptics {
    uint32_t module_type = kFixedLens;
    bool breathes = false;   ///< the scale swings between 0.955 and 0.995
    double corner_px = 0.0;  ///< by which distortion draws the corners of the raw picture inward

    /// Raw lens positions at a time: a few units either way, at two slow frequencies.
    _sample_data_s lens_sample(uint64_t ts) const;
    /// [0]: a focus position, [1]: the scale s that belongs to it.
    _sample_data_s focus_sample(uint64_t ts) const;

    /// Where the sensor has what the pinhole would put at `ideal`.
    Pixel to_raw(const Pixel& ideal, double time_us) const;
    /// What the prism alone does to a pixel, and back.
    Pixel through_prism(const Pixel& pixel, double time_us) const;
    Pixel back_through_prism(const Pixel& pixel, double time_us) const;
    /// Distorted to undistorted, and back.
    Pixel undistort(const Pixel& pixel) const;
    Pixel distort(const Pixel& pixel) const;

    /// Write these optics into a configuration: streams, conversions, and how fast they come.
    void configure(is_init_common_data& common, is_init_sensor_data& sensor) const;
};

/// The two directions of a distortion as grids of 27 rows by 35 columns or 51 by 67, with a ring of
/// nodes outside the frame; values are pixels from the centre of a kWidth by kHeight picture.
/// Not copied: the records point into the object.
struct DistortionGrids {
    DistortionGrids(const SimulatedOptics& optics, uint32_t rows, uint32_t columns);
    DistortionGrids(const DistortionGrids&) = delete;
    DistortionGrids& operator=(const DistortionGrids&) = delete;

    std::vector<NcLibWarpGridCoord> in2out_nodes;
    std::vector<NcLibWarpGridCoord> out2in_nodes;
    NcLibWarpGrid in2out{};
    NcLibWarpGrid out2in{};
};

/// Write grids of 27 by 35 nodes into a tuning, given on the stabilizer's input.
void set_tuned_grids(is_tessaline_info_s& tuning, const DistortionGrids& grids);

}  // namespace steadywarp::test
