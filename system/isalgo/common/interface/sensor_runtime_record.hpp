// SPDX-License-Identifier: Apache-2.0
/// @file sensor_runtime_record.hpp
/// What an instance keeps of each sensor's configuration, and the little that changes per frame.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>

#include "sensors/gimbal_ois.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// What a lens-shift module is told; the third mode is the usual one.
enum OisMode : uint32_t { kOisNoCommand = 0, kOisCentre = 1, kOisNormal = 2 };

/// Times in microseconds, sizes in pixels.
struct sensor_runtime_record {
    uint32_t sensor_mount_angle = 0;
    uint32_t camera_position = 0;
    uint32_t input_width = 0;
    uint32_t input_height = 0;
    uint32_t ife_input_frame_width = 0;
    uint32_t ife_input_frame_height = 0;
    int32_t s3d_offset = 0;
    int32_t ois_offset = 0;
    int32_t ifovc_offset = 0;
    LensModule lens_module;
    float minimal_total_margin_x = 0.0f;
    float minimal_total_margin_y = 0.0f;
    double crop_ratio_y = 0.0;  ///< part of the input frame that the output covers
    double crop_ratio_x = 0.0;
    double upscale = 1.0;           ///< crop width over output width, if the transform scales
    uint32_t readout_duration = 0;  ///< of the last frame's crop; 0 until there was one
    bool ois_centring_enabled = false;
    float ois_centring_exposure_th = std::numeric_limits<float>::quiet_NaN();
    uint32_t ois_response_time = 0;
    uint64_t ois_time_in_mode = 0;
    uint32_t ois_mode = kOisNoCommand;
};

sensor_runtime_record make_sensor_runtime_record(const is_init_common_data& common,
                                                 const is_init_sensor_data& sensor);

/// The records of all sensors, on the heap.
class MultisensorData {
  public:
    /// @param status set to EIS_ERROR_NO_MEMORY on failure.
    MultisensorData(const is_init_common_data& common, const is_init_sensor_data* sensors,
                    uint32_t num_sensors, uint32_t& status);

    bool is_allocated() const { return _records != nullptr; }
    uint32_t size() const { return _num_sensors; }
    sensor_runtime_record& operator[](uint32_t sensor) { return _records[sensor]; }
    const sensor_runtime_record& operator[](uint32_t sensor) const { return _records[sensor]; }
    sensor_runtime_record* begin() { return _records.get(); }
    sensor_runtime_record* end() { return _records.get() + _num_sensors; }

  private:
    uint32_t _num_sensors;
    std::unique_ptr<sensor_runtime_record[]> _records;
};

}  // namespace steadywarp
