// SPDX-License-Identifier: Apache-2.0
/// @file orientation.hpp
/// The camera's orientation from its gyroscope, and the stabilized camera's from the warps.
///
/// Orientation is three angles about the camera's x, y and z, radians, each the integral of its own
/// rate from the start of the log. That is an orientation for small turns only; the command looks
/// at its fast part alone, where all turns are small.
#pragma once

#include <span>

#include "input/camera.hpp"
#include "input/recording.hpp"

namespace steadywarp::tool {

/// The integrated log.
class OrientationTrack {
  public:
    /// Integrate by the trapezoid rule. @param gyro device axes, at least one sample.
    OrientationTrack(std::span<const GyroSample> gyro, const AxisMap& device_to_camera);

    /// Angles at a time, by straight lines between samples; held beyond the ends.
    Vector3 at(double t_us) const;

  private:
    std::vector<double> t_us_;
    std::vector<Vector3> angles_;
};

/// What a stabilization matrix adds to the orientation of its frame.
///
/// The matrix is K R K^-1, relative to the centre, with K the sensor's camera matrix and
/// R = Rx(c.x) Ry(c.y) Rz(c.z), times the upscale if the transform does it; this finds c.
Vector3 correction_angles(const std::array<float, 9>& matrix, const Camera& camera,
                          uint32_t sensor_idx);

/// Focal length of a sensor in pixels of its input.
double focal_length_px(const is_init_sensor_data& sensor);

}  // namespace steadywarp::tool
