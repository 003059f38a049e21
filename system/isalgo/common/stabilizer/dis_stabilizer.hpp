// SPDX-License-Identifier: Apache-2.0
/// @file dis_stabilizer.hpp
/// The stage ahead of the filter that could correct a frame by its image: a delay line which for
/// now gives each frame the identity.
#pragma once

#include <cstdint>

#include "base/delay_line.hpp"
#include "base/matrix3.hpp"
#include "filter/filter.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// An image-based correction, output to input, pixels from the centre of the top-left pixel.
struct DisEntry {
    Matrix3 matrix = kIdentity3;
    uint32_t frame_id = 0;
    bool valid = false;  ///< the matrix counts
};

/// Frames by which an image-based correction comes later than its frame; 0 when none is configured:
/// it must be announced, and tuned on for some sensor.
uint32_t calc_dis_delay(const is_init_common_data& common, const is_init_sensor_data* sensors,
                        uint32_t num_sensors);

class DisStabilizer {
  public:
    explicit DisStabilizer(uint32_t dis_delay) : _line(dis_delay) {}

    /// Step by one frame.
    ///
    /// @param is_terminating the frame came without samples.
    /// @param inputs of the frames so far, the present one last.
    /// @param entry receives the correction; invalid while none comes out.
    /// @return EIS_ERROR_GENERAL once the stream was ended; there is no entry then.
    uint32_t update(bool is_terminating, const InputRing& inputs, DisEntry& entry);

    /// Forget all frames; for a new stream.
    void reset();

    uint32_t state() const { return _line.state(); }
    uint32_t output_kind() const { return _output_kind; }

  private:
    DelayLine _line;
    uint32_t _output_kind = DelayLine::kNone;
    uint32_t _next_frame_id = 0;
};

}  // namespace steadywarp
