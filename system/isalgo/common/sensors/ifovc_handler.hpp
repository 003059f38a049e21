// SPDX-License-Identifier: Apache-2.0
/// @file ifovc_handler.hpp
/// The lens-position streams of all sensors, read as a scale of the picture per row.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/delay_line.hpp"
#include "sensors/multi_sensor_data_buffer.hpp"
#include "sensors/multi_sensor_data_handler.hpp"
#include "sensors/resampling.hpp"
#include "sensors/z_lens_position.hpp"

namespace steadywarp {

class IFOVCInitInfo final : public MultiSensorInitInfo {
  public:
    IFOVCInitInfo(const is_init_common_data& common_data, const is_init_sensor_data* sensor_data,
                  uint32_t sensor_count);
    uint32_t get_frequency(uint32_t sensor) const override {
        return sensors[sensor].tuning.top.ifovc_frequency;
    }
    float get_noise_floor(uint32_t) const override { return 0.0f; }
};

class IFOVCHandler : public MultiSensorDataHandler, public MultiSensorDataBuffer {
  public:
    /// @param status set to EIS_ERROR_NO_MEMORY, or to what a part fails with.
    IFOVCHandler(const IFOVCInitInfo& info, uint32_t& status);

    /// Whether `sensor` has the stream and its compensation is switched on.
    bool is_active(uint32_t sensor) const;

    /// Judge a batch; false is an error of the frame. Remembers how many samples fell into the
    /// interval that the caller was asked for.
    bool is_valid(const is_sample_array& samples, uint32_t sensor, uint32_t frame_id);

    /// Take the samples of a batch that are newer than the sensor's last one, and step the delay
    /// line, with or without samples.
    /// @param ifovc_offset microseconds, subtracted from their times.
    void process_input(const is_sample_array& samples, uint32_t sensor, int32_t ifovc_offset);

    /// The scales at the rows of the request's sensor, which must be active. All are above 0 and
    /// at most 1.
    /// @param request of 51 rows at most.
    /// @param frame_time microseconds; above 33 frames a second missing samples are not reported.
    InterpStats get_scales(InterpRequest request, uint32_t frame_time, double* out);

    /// Forget all samples.
    void reset();

    uint32_t state() const { return _line.state(); }

  private:
    struct Window;
    Window look_at(const is_sample_array& samples, uint32_t sensor, uint32_t frame_id) const;
    void report_window(const Window& window, const is_sample_array& samples, uint32_t sensor,
                       uint32_t frame_id) const;
    double scale_of_row(const Point2& row, uint32_t index, const eis_z_lens_position& lens) const;

    DelayLine _line;
    uint32_t _last_window_samples = 0;  ///< in the interval of the frame before
    bool _is_fast = false;              ///< the last frame came above 33 frames a second
    std::array<std::unique_ptr<eis_z_lens_position>, EIS_MAX_NUM_SENSORS> _z_lens;  ///< by sensor
};

}  // namespace steadywarp
