// SPDX-License-Identifier: Apache-2.0
/// @file is_log_buffered.hpp
/// A capture: the configuration it was made for, and its files while they are open.
#pragma once

#include <memory>

#include "capture/is_log.hpp"

namespace steadywarp {

class IsLogBuffered {
  public:
    /// Copy the configuration, with the sensors' enabled distortion grids.
    ///
    /// @param status set on failure, behind a line in the log; left as it is on success.
    IsLogBuffered(const eis_utils_log_config& config, uint32_t& status);

    /// Create the files; those that are open are flushed and closed first.
    /// @param prefix NULL: the configuration's.
    uint32_t openlogs(const char* prefix);
    bool is_opened() const { return static_cast<bool>(_log); }
    uint32_t write(const eis_utils_log_data& data);
    uint32_t flush();
    uint32_t close_logs();

  private:
    // A grid with its own points.
    struct GridCopy {
        NcLibWarpGrid grid{};
        std::unique_ptr<NcLibWarpGridCoord[]> points;
        NcLibWarpGridCoord corners[4] = {};
    };

    bool copy_grid(const NcLibWarpGrid*& grid, GridCopy& copy);
    uint32_t copy_sensors(const eis_utils_log_config& config);

    is_init_common_data _common;
    uint32_t _num_sensors;
    uint32_t _flags;
    char _configured_prefix[512] = {};
    char _prefix[512] = {};  ///< of the open files
    std::unique_ptr<is_init_sensor_data[]> _sensors;
    std::unique_ptr<GridCopy[]> _grids;  ///< in2out and out2in of each sensor
    std::unique_ptr<IsLog> _log;         ///< empty while closed
};

}  // namespace steadywarp
