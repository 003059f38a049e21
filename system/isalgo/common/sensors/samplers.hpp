// SPDX-License-Identifier: Apache-2.0
/// @file samplers.hpp
/// All sample streams of an instance, and the row buffers they are resampled into.
#pragma once

#include <cstdint>
#include <memory>

#include "base/guard.hpp"
#include "base/vec3.hpp"
#include "sensors/gyro_handler.hpp"
#include "sensors/ifovc_handler.hpp"
#include "sensors/ois_handler.hpp"
#include "sensors/scene_detection.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Time rows of a frame: rows 1 to 25 span it, rows 0 and 26 lie one step outside.
inline constexpr uint32_t kTimeRows = 27;
/// The time row of the frame's middle.
inline constexpr uint32_t kMiddleRow = 13;

class eis_context_samplers {
  public:
    /// @param status set to EIS_ERROR_INVALID_INPUT or EIS_ERROR_NO_MEMORY on failure.
    /// @param own_status of this object's parts alone; callers leave it out.
    eis_context_samplers(const is_init_common_data& common, const is_init_sensor_data* sensors,
                         uint32_t num_sensors, uint32_t& status, uint32_t own_status = EIS_SUCCESS);

    bool is_intact() const { return _start_guard == kStartGuard && _end_guard == kEndGuard; }

    /// Forget all samples; keeps the measured rates.
    void reset();

    uint64_t _start_guard = 0;
    GyroHandler gyro;
    SceneDetection scene;
    uint32_t _num_interp_points;
    std::unique_ptr<Vec3<double>[]> _angles;  ///< orientation per row, radians
    std::unique_ptr<Point2[]> _ois_samples;   ///< raw lens shift per row; empty without OIS
    std::unique_ptr<double[]> _ifovc_scales;  ///< scale per row; empty without iFOVC
    std::unique_ptr<OISHandler> ois;          ///< NULL when no sensor has the stream
    std::unique_ptr<IFOVCHandler> ifovc;      ///< NULL when no sensor has the stream
    uint64_t _end_guard = 0;

    /// Whether `sensor` has a lens-shift stream.
    bool has_ois(uint32_t sensor) const {
        return ois != nullptr && ois->handler(sensor) != nullptr;
    }
    /// Whether `sensor` has a lens-position stream that is switched on.
    bool has_ifovc(uint32_t sensor) const { return ifovc != nullptr && ifovc->is_active(sensor); }

  private:
    bool build_ifovc(const IFOVCInitInfo& info, uint32_t& status);
    bool build_ois(const OISInitInfo& info, uint32_t& status);
};

}  // namespace steadywarp
