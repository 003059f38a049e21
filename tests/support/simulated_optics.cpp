// SPDX-License-Identifier: Apache-2.0
#include "support/simulated_optics.hpp"

#include <cmath>

#include "support/records.hpp"

namespace steadywarp::test {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr Pixel kCenter = {(kWidth - 1.0) / 2.0, (kHeight - 1.0) / 2.0};

// Pixels per unit of the raw position, and degrees per unit of the prism.
constexpr double kPixelsPerUnit = 5.0;
constexpr double kDegreesPerUnit = 0.05;

constexpr uint32_t kGeneralModel = 1;
constexpr uint32_t kPrismAndShift = 5;

// Focus in units of its table, which is straight: scale = 1 - 0.001 (100 - position).
constexpr double kFarthest = 100.0;
constexpr double kScalePerUnit = 0.001;

struct Pair {
    double x;
    double y;
};

Pair lens_position(double time_us) {
    const double t = time_us * 1e-6;
    return {3.0 * std::sin(2.0 * kPi * 2.1 * t), 2.0 * std::cos(2.0 * kPi * 3.3 * t)};
}

double focus_position(double time_us) {
    return 75.0 + 20.0 * std::sin(2.0 * kPi * 0.9 * time_us * 1e-6);
}

// What is added to a raw pixel to find where a lens at rest would have put it.
Pair shift_px(uint32_t module_type, double time_us) {
    const Pair position = lens_position(time_us);
    if (module_type == kFixedLens) {
        return {0.0, 0.0};
    }
    // The prism's module shifts the other way round, and in x alone.
    return module_type == kPrismAndShift
               ? Pair{-kPixelsPerUnit * position.x, 0.0}
               : Pair{kPixelsPerUnit * position.x, kPixelsPerUnit * position.y};
}

// Where a view that is turned by `angle` about the camera's x axis shows a pixel.
Pixel turned(const Pixel& p, double angle) {
    const double x = (p.x - kCenter.x) / kFocalLength;
    const double y = (p.y - kCenter.y) / kFocalLength;
    const double z = std::cos(angle) - std::sin(angle) * y;
    return {kCenter.x + kFocalLength * x / z,
            kCenter.y + kFocalLength * (std::sin(angle) + std::cos(angle) * y) / z};
}

double prism_angle(uint32_t module_type, double time_us) {
    return module_type == kPrismAndShift ? -kDegreesPerUnit * lens_position(time_us).y * kPi / 180.0
                                         : 0.0;
}

// Squared distance of the corners from the centre.
double corner_radius2() {
    return kWidth * kWidth / 4.0 + kHeight * kHeight / 4.0;
}

}  // namespace

_sample_data_s SimulatedOptics::lens_sample(uint64_t ts) const {
    const Pair position = lens_position(static_cast<double>(ts));
    return {{position.x, position.y}, ts};
}

_sample_data_s SimulatedOptics::focus_sample(uint64_t ts) const {
    const double position = focus_position(static_cast<double>(ts));
    return {{position, 1.0 - kScalePerUnit * (kFarthest - position)}, ts};
}

Pixel SimulatedOptics::through_prism(const Pixel& pixel, double time_us) const {
    return turned(pixel, prism_angle(module_type, time_us));
}

Pixel SimulatedOptics::back_through_prism(const Pixel& pixel, double time_us) const {
    return turned(pixel, -prism_angle(module_type, time_us));
}

// A radial cubic: r grows by corner_px (r / r_corner)^3.
Pixel SimulatedOptics::undistort(const Pixel& pixel) const {
    const double x = pixel.x - kCenter.x;
    const double y = pixel.y - kCenter.y;
    const double radius2 = corner_radius2();
    const double grows = 1.0 + corner_px * (x * x + y * y) / (radius2 * std::sqrt(radius2));
    return {kCenter.x + x * grows, kCenter.y + y * grows};
}

Pixel SimulatedOptics::distort(const Pixel& pixel) const {
    Pixel guess = pixel;
    // Each round leaves some percent of the error.
    for (int round = 0; round < 40; ++round) {
        const Pixel there = undistort(guess);
        guess = {guess.x + pixel.x - there.x, guess.y + pixel.y - there.y};
    }
    return guess;
}

Pixel SimulatedOptics::to_raw(const Pixel& ideal, double time_us) const {
    const Pixel bent = distort(through_prism(ideal, time_us));
    const Pair shift = shift_px(module_type, time_us);
    const double scale =
        breathes ? 1.0 - kScalePerUnit * (kFarthest - focus_position(time_us)) : 1.0;
    return {kCenter.x + (bent.x - shift.x - kCenter.x) / scale,
            kCenter.y + (bent.y - shift.y - kCenter.y) / scale};
}

void SimulatedOptics::configure(is_init_common_data& common, is_init_sensor_data& sensor) const {
    is_tessaline_info_s& tuning = sensor.tuning;
    if (module_type != kFixedLens) {
        common.is_ois_enabled = true;
        tuning.top.ois_frequency = 500;
        tuning.ois.module_type = module_type;
        tuning.ois.data_conversion_x_tab[1] = static_cast<float>(kPixelsPerUnit);
        tuning.ois.data_conversion_y_tab[2] =
            static_cast<float>(module_type == kPrismAndShift ? kDegreesPerUnit : kPixelsPerUnit);
        // No averaging: the window of one tap a side keeps only its middle.
        eis_tuning_set_ois(&tuning, EIS_TUNING_OIS_FILTER_MODE, 1.0f);
        if (module_type == kGeneralModel) {
            set_linear_model(tuning, static_cast<float>(kPixelsPerUnit),
                             static_cast<float>(kPixelsPerUnit));
        }
    }
    if (breathes) {
        common.is_ifovc_enabled = true;
        tuning.top.ifovc_frequency = 200;
        is_tessaline_z_lens_pos& lens = tuning.z_lens_pos;
        lens.enable = 1;
        lens.lut_len = 2;
        lens.min_scale_limit = 0.9f;
        lens.lut_z_lens_pos_tab[0] = static_cast<float>(kFarthest);
        lens.lut_scale_vs_z_lens_pos_tab[0] = 1.0f;
        lens.lut_z_lens_pos_tab[1] = 0.0f;
        lens.lut_scale_vs_z_lens_pos_tab[1] = static_cast<float>(1.0 - kScalePerUnit * kFarthest);
    }
}

DistortionGrids::DistortionGrids(const SimulatedOptics& optics, uint32_t rows, uint32_t columns)
    : in2out_nodes(size_t{rows} * columns), out2in_nodes(size_t{rows} * columns) {
    const double cell_x = double{kWidth} / (columns - 3.0);
    const double cell_y = double{kHeight} / (rows - 3.0);
    const auto from_center = [](const Pixel& p) {
        return NcLibWarpGridCoord{static_cast<float>(p.x - kCenter.x),
                                  static_cast<float>(p.y - kCenter.y)};
    };
    for (uint32_t j = 0; j < rows; ++j) {
        for (uint32_t i = 0; i < columns; ++i) {
            const Pixel node = {-0.5 + cell_x * (i - 1.0), -0.5 + cell_y * (j - 1.0)};
            in2out_nodes[j * columns + i] = from_center(optics.undistort(node));
            out2in_nodes[j * columns + i] = from_center(optics.distort(node));
        }
    }
    in2out = {true,    {kWidth, kHeight},   rows,
              columns, in2out_nodes.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
              nullptr};
    out2in = in2out;
    out2in.grid = out2in_nodes.data();
}

void set_tuned_grids(is_tessaline_info_s& tuning, const DistortionGrids& grids) {
    is_tessaline_lens_distortion_correction& ldc = tuning.lens_distortion_correction;
    ldc.ldc_grid_enable = 1;
    ldc.ldc_calib_domain = 2;
    ldc.image_size_distorted_x = ldc.image_size_undistorted_x = kWidth;
    ldc.image_size_distorted_y = ldc.image_size_undistorted_y = kHeight;
    const float per_x = 8192.0f / kWidth;
    const float per_y = 6144.0f / kHeight;
    for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
        ldc.distorted_input_to_undistorted_ldc_grid_x_tab[i] = grids.in2out_nodes[i].x * per_x;
        ldc.distorted_input_to_undistorted_ldc_grid_y_tab[i] = grids.in2out_nodes[i].y * per_y;
        ldc.undistorted_to_distorted_input_ldc_grid_x_tab[i] = grids.out2in_nodes[i].x * per_x;
        ldc.undistorted_to_distorted_input_ldc_grid_y_tab[i] = grids.out2in_nodes[i].y * per_y;
    }
}

}  // namespace steadywarp::test
