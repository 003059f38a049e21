// SPDX-License-Identifier: Apache-2.0
/// @file camera.hpp
/// A camera: everything the library is configured with, and the INI file that describes it.
///
/// The file has the sections [common], [sensor_data], [sensor_data\idxN] and
/// [sensor_data\idxN\GROUP] with the groups top, general, timing, blur_masking, ois, dis, selfie,
/// motion_detection, z_lens_position and lens_distortion_correction; tables are blank-separated.
/// The keys are those of the public records (camera_keys.cpp lists them all). A section [test] is
/// kept as it is for whoever replays a capture.
///
/// A key that is missing has the value of the built-in phone camera, with these exceptions:
/// - The sizes `ife_*` and the `image_sensor_crop_*` of a sensor follow its input size, and the
///   output size follows the input size of sensor 0.
/// - `gyro_frequency` and `frame_fps` follow the recording: adapt_camera().
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/axes.hpp"
#include "input/ini_file.hpp"
#include "input/result.hpp"
#include "steadywarp/eis.h"

namespace steadywarp::tool {

/// A distortion grid with its own memory.
struct OwnedGrid {
    NcLibWarpGrid grid{};
    std::vector<NcLibWarpGridCoord> points;
};

/// A camera. It can be moved, not copied: the records point into `grids`.
struct Camera {
    std::string path;  ///< of the file it came from; empty: built in
    is_init_common_data common{};
    std::vector<is_init_sensor_data> sensors;  ///< 1 to 16
    std::vector<std::unique_ptr<OwnedGrid>> grids;
    std::vector<IniEntry> test;  ///< the section [test]
    bool has_frame_fps = false;
    std::vector<bool> has_gyro_frequency;  ///< one per sensor

    Camera() = default;
    Camera(Camera&&) = default;
    Camera& operator=(Camera&&) = default;
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;
    ~Camera() = default;
};

/// The built-in phone camera: rear, mount angle 90, 1920x1080 in and out, focal length 1500 pixels,
/// a tenth of the frame as margin.
Camera built_in_camera();

/// Read a camera from an INI file.
Result<Camera> read_camera(const std::string& path);

/// What a camera file is.
enum class CameraFileKind {
    kDescription,  ///< written by a person: what is missing has the values above
    kCapture,      ///< init_data.ini: every key that a capture writes must be there
};

/// As read_camera(), from a text in memory; `path` serves messages only.
Result<Camera> parse_camera(std::string_view text, const std::string& path,
                            CameraFileKind kind = CameraFileKind::kDescription);

/// Fill in what the camera left open by what the recording shows: the gyroscope's rate, rounded to
/// Hz, and of the nominal frame rates 24, 30 and 60 the nearest.
void adapt_camera(Camera& camera, double gyro_hz, double fps);

/// The table from device axes to the axes of a sensor's camera.
AxisMap camera_axes(const is_init_sensor_data& sensor);

/// The windows of a frame whose whole input is used and whose output is the centred crop that
/// leaves the sensor's margin free.
///
/// @return false if the library knows no such crop.
bool full_frame_windows(const Camera& camera, size_t sensor_idx, is_window_regions& windows);

}  // namespace steadywarp::tool
