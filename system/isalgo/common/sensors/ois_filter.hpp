// SPDX-License-Identifier: Apache-2.0
/// @file ois_filter.hpp
/// The lens shift of one sensor at the time of each grid row.
#pragma once

#include <cstdint>
#include <memory>

#include "base/vec3.hpp"
#include "sensors/blackman.hpp"
#include "sensors/long_filter.hpp"
#include "sensors/multi_sensor_data_buffer.hpp"
#include "sensors/resampling.hpp"

namespace steadywarp {

class OISFilter {
  public:
    /// @param filter_mode half length of the window; 0: the one it is made with stays.
    /// @param max_half longest half length.
    /// @param module_type of the lens; types 3 and 4 do without the hold.
    /// @param status set to EIS_ERROR_NO_MEMORY on failure.
    OISFilter(uint32_t filter_mode, uint32_t max_half, uint32_t module_type, uint32_t frequency,
              float noise_floor, uint32_t& status);

    /// Choose the window for a frame of this period, microseconds.
    void retune(uint32_t frame_time);

    /// Resample one axis (0: x, 1: y) of the request's sensor into that member of the rows.
    ///
    /// Averages the samples around the frame under the window, holds them while the lens rests,
    /// and reads them linearly. Rows outside take the nearest value and count as errors.
    InterpStats interp(const InterpRequest& request, uint32_t axis,
                       const MultiSensorDataBuffer& buffer, Point2* out);

    /// Forget all samples; the window is chosen anew with the next frame.
    void reset();

    const Blackman& window() const { return _window; }
    uint32_t delay_us() const { return _delay_us; }

  private:
    void average(const RingBuffer<_sample_data_s>& samples, uint32_t start, uint32_t axis);
    void read_rows(const InterpRequest& request, uint32_t axis, Point2* out,
                   InterpStats& stats) const;

    uint32_t _filter_mode;
    Blackman _window;
    uint32_t _delay_us;
    uint32_t _max_samples;
    LongFilter _long_x;
    LongFilter _long_y;
    std::unique_ptr<double[]> _values;
    std::unique_ptr<uint64_t[]> _timestamps;
    uint32_t _num_values = 0;
    bool _is_fast = false;
    bool _kernel_dirty = true;
    bool _use_long_filter;
};

}  // namespace steadywarp
