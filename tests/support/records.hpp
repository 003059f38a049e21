// SPDX-License-Identifier: Apache-2.0
/// @file records.hpp
/// A configuration that is right in every respect, for tests to spoil one field at a time, and
/// memory for what comes out.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "steadywarp/eis.h"

namespace steadywarp::test {

inline constexpr uint32_t kWidth = 1920;
inline constexpr uint32_t kHeight = 1080;
inline constexpr uint32_t kFocalLength = 1500;
inline constexpr float kMargin = 0.1f;
/// The crop that a margin of 0.1 leaves of the frame.
inline constexpr uint32_t kCropWidth = 1728;
inline constexpr uint32_t kCropHeight = 972;

/// The stabilizer at 30 fps, 1920x1080 in and out, no optional stream.
is_init_common_data valid_common();

/// A rear camera with mount angle 180, whose camera axes are the phone's turned about x.
is_init_sensor_data valid_sensor();

/// Give the general model of lens shift one that moves by the raw position, there and back.
/// @param x, y pixels of the full frame that a unit of the raw position moves by.
void set_linear_model(is_tessaline_info_s& tuning, float x, float y);

/// Give a sensor tuned distortion grids that distort nothing.
void set_identity_grids(is_init_sensor_data& sensor);

/// The full picture in front of the stabilizer, and a centred crop of it.
is_window_regions centred_windows(uint32_t width = kWidth, uint32_t height = kHeight,
                                  uint32_t crop_width = kCropWidth,
                                  uint32_t crop_height = kCropHeight);

/// An output record with its arrays. Not copied: the record points into the object.
struct OutputMemory {
    is_output output{};
    std::array<NcLibWarpGridCoord, EIS_GRID_POINTS> distortion_grid{};
    std::array<NcLibWarpGridCoord, EIS_GRID_POINTS> transform_grid{};
    NcLibPerspTransformSingle transform{};
    NcLibPerspTransformSingle alignment_undistorted{};
    NcLibPerspTransformSingle alignment_stabilized{};

    OutputMemory();
    OutputMemory(const OutputMemory&) = delete;
    OutputMemory& operator=(const OutputMemory&) = delete;

    /// The same memory as the outputs of the two passes.
    is_output_distortion_correction first_pass();
    is_output_stabilize second_pass();
};

/// An instance that releases itself.
class Instance {
  public:
    Instance(const is_init_common_data& common, const std::vector<is_init_sensor_data>& sensors);
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    eis_context* get() const { return _context; }
    uint32_t status() const { return _status; }

  private:
    eis_context* _context = nullptr;
    uint32_t _status;
};

/// Run `action` and give what it wrote to standard error.
template <typename Action>
std::string log_of(Action&& action);

/// How often `text` stands in `log`.
size_t count_of(const std::string& log, const std::string& text);

}  // namespace steadywarp::test

#include <gtest/gtest.h>

template <typename Action>
std::string steadywarp::test::log_of(Action&& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}
