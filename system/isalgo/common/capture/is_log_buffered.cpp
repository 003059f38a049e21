// SPDX-License-Identifier: Apache-2.0
#include "capture/is_log_buffered.hpp"

#include <algorithm>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "platform/os_utils.hpp"

namespace steadywarp {

IsLogBuffered::IsLogBuffered(const eis_utils_log_config& config, uint32_t& status)
    : _common(*config.common), _num_sensors(config.num_sensors), _flags(config.flags) {
    if (config.prefix != nullptr) {
        Zelm::OsUtils::StrLCpy(_configured_prefix, config.prefix, sizeof _configured_prefix);
    }
    const uint32_t copied = copy_sensors(config);
    if (copied != EIS_SUCCESS) {
        status = copied;
    }
}

uint32_t IsLogBuffered::copy_sensors(const eis_utils_log_config& config) {
    if (_num_sensors > EIS_MAX_NUM_SENSORS) {
        EIS_ERR("IS0003", "Invalid number of sensors (%u)", _num_sensors);
        return EIS_ERROR_INVALID_INPUT;
    }
    _sensors = allocate_array<is_init_sensor_data>(_num_sensors);
    _grids = allocate_array<GridCopy>(size_t{2} * _num_sensors);
    if (!_sensors || !_grids) {
        EIS_ERR("IS0004", "Out of memory");
        return EIS_ERROR_NO_MEMORY;
    }
    for (uint32_t i = 0; i < _num_sensors; ++i) {
        _sensors[i] = config.sensors[i];
        if (!copy_grid(_sensors[i].ldc_in2out, _grids[2 * i])) {
            EIS_ERR("IS0002", "ldc_in2out copy failed");
            return EIS_ERROR_NO_MEMORY;
        }
        if (!copy_grid(_sensors[i].ldc_out2in, _grids[2 * i + 1])) {
            EIS_ERR("IS0002", "ldc_out2in copy failed");
            return EIS_ERROR_NO_MEMORY;
        }
    }
    return EIS_SUCCESS;
}

// Point `grid` at a copy; a grid that is not enabled becomes none.
bool IsLogBuffered::copy_grid(const NcLibWarpGrid*& grid, GridCopy& copy) {
    if (grid == nullptr || !grid->enable) {
        grid = nullptr;
        return true;
    }
    const uint64_t count = uint64_t{grid->numRows} * grid->numColumns;
    if (grid->grid == nullptr || count > kMostGridPoints) {
        return false;
    }
    copy.points = allocate_array<NcLibWarpGridCoord>(count);
    if (!copy.points) {
        return false;
    }
    std::copy_n(grid->grid, count, copy.points.get());
    copy.grid = *grid;
    copy.grid.grid = copy.points.get();
    if (grid->gridExtrapolate != nullptr) {
        std::copy_n(grid->gridExtrapolate, 4, copy.corners);
        copy.grid.gridExtrapolate = copy.corners;
    }
    grid = &copy.grid;
    return true;
}

uint32_t IsLogBuffered::openlogs(const char* prefix) {
    const char* const wanted = prefix == nullptr ? _configured_prefix : prefix;
    if (_log) {
        EIS_HIGH(
            "IS1027",
            "Closing existing log files with prefix: %s, and opening new log files with prefix "
            "%s",
            _prefix, wanted);
        if (_log->flush() != 0) {
            EIS_ERR("IS0002", "Failed to flush buffers to memory, continue to open new files");
        }
        _log.reset();
    }
    Zelm::OsUtils::StrLCpy(_prefix, wanted, sizeof _prefix);
    uint32_t status = EIS_SUCCESS;
    _log =
        allocate<IsLog>(_prefix, InitData{&_common, _sensors.get(), _num_sensors}, _flags, status);
    if (!_log) {
        EIS_ERR("IS0004", "Out of memory");
        status = EIS_ERROR_NO_MEMORY;
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Failed to construct IsLog");
        _log.reset();
    }
    return status;
}

uint32_t IsLogBuffered::write(const eis_utils_log_data& data) {
    if (!_log) {
        EIS_ERR("IS0002", "No log files are open");
        return EIS_ERROR_GENERAL;
    }
    return _log->write(data);
}

uint32_t IsLogBuffered::flush() {
    if (!_log) {
        EIS_ERR("IS0002", "No log files are open");
        return EIS_ERROR_GENERAL;
    }
    return _log->flush() == 0 ? EIS_SUCCESS : EIS_ERROR_CAPTURE_FILE;
}

uint32_t IsLogBuffered::close_logs() {
    if (!_log) {
        EIS_HIGH("IS1027", "Close was called twice");
        return EIS_SUCCESS;
    }
    const uint32_t failed = _log->flush();
    _log.reset();
    return failed == 0 ? EIS_SUCCESS : EIS_ERROR_CAPTURE_FILE;
}

}  // namespace steadywarp
