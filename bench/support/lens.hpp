// SPDX-License-Identifier: Apache-2.0
/// @file lens.hpp
/// A lens that distorts, as a sensor's configuration tells of it.
#pragma once

#include <vector>

#include "steadywarp/eis.h"

namespace bench {

/// A radial distortion that draws the corners in by some 20 pixels, of 1920 by 1080.
class Lens {
  public:
    /// Give the lens to a sensor; it must outlive the sensor's start.
    void install(is_init_sensor_data& sensor) const {
        sensor.tuning.lens_distortion_correction.ldc_grid_source = 1;
        sensor.ldc_in2out = &_in2out;
        sensor.ldc_out2in = &_out2in;
        sensor.ldc_calib_domain = 1;
    }

    Lens() = default;
    Lens(const Lens&) = delete;
    Lens& operator=(const Lens&) = delete;

  private:
    static std::vector<NcLibWarpGridCoord> make_nodes(double sign) {
        std::vector<NcLibWarpGridCoord> nodes;
        for (int j = -13; j <= 13; ++j) {
            for (int i = -17; i <= 17; ++i) {
                const double x = 60.0 * i;
                const double y = 45.0 * j;
                const double grows = 1.0 + sign * 1.5e-8 * (x * x + y * y);
                nodes.push_back({static_cast<float>(x * grows), static_cast<float>(y * grows)});
            }
        }
        return nodes;
    }

    static NcLibWarpGrid make_grid(std::vector<NcLibWarpGridCoord>& nodes) {
        return {true,          {1920, 1080},
                EIS_GRID_ROWS, EIS_GRID_COLUMNS,
                nodes.data(),  EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                nullptr};
    }

    std::vector<NcLibWarpGridCoord> _in2out_nodes = make_nodes(1.0);
    std::vector<NcLibWarpGridCoord> _out2in_nodes = make_nodes(-1.0);
    NcLibWarpGrid _in2out = make_grid(_in2out_nodes);
    NcLibWarpGrid _out2in = make_grid(_out2in_nodes);
};

}  // namespace bench
