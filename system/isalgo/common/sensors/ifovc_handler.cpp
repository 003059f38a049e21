// SPDX-License-Identifier: Apache-2.0
#include "sensors/ifovc_handler.hpp"

#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "base/numeric.hpp"

namespace steadywarp {
namespace {

constexpr char kName[] = "iFOVC";
constexpr uint32_t kNumAxes = 2;
constexpr uint32_t kLeastCapacity = 512;
// Frames whose samples are kept beyond the delay line.
constexpr uint32_t kReserveFrames = 6;

constexpr double kHighFps = 33.0;

// Rows that a frame is resampled to at most.
constexpr uint32_t kMaxRows = 51;

uint32_t buffer_capacity(const IFOVCInitInfo& info) {
    uint32_t frequency = 0;
    for (uint32_t i = 0; i < info.num_sensors; ++i) {
        frequency = std::max(frequency, info.get_frequency(i));
    }
    const double frames = info.common.buffer_delay + kReserveFrames;
    return std::max(cut_to_u32(frames * std::ceil(frequency * 1.25 / 24.0)), kLeastCapacity);
}

}  // namespace

IFOVCInitInfo::IFOVCInitInfo(const is_init_common_data& common_data,
                             const is_init_sensor_data* sensor_data, uint32_t sensor_count)
    : MultiSensorInitInfo(common_data, sensor_data, sensor_count) {
    num_axes = kNumAxes;
    buffer_size = buffer_capacity(*this);
}

IFOVCHandler::IFOVCHandler(const IFOVCInitInfo& info, uint32_t& status)
    : MultiSensorDataHandler(info, kName, status),
      MultiSensorDataBuffer(kNumAxes, info.buffer_size, info.num_sensors, kName, status),
      _line(info.common.buffer_delay) {
    for (uint32_t i = 0; i < num_sensors() && status == EIS_SUCCESS; ++i) {
        status = copy_eis_z_lens_position(&info.sensors[i].tuning.z_lens_pos, &_z_lens[i]);
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "Constructor failed");
    }
}

bool IFOVCHandler::is_active(uint32_t sensor) const {
    return handler(sensor) != nullptr && _z_lens[sensor]->enable == 1;
}

void IFOVCHandler::process_input(const is_sample_array& samples, uint32_t sensor,
                                 int32_t ifovc_offset) {
    const uint32_t count = is_active(sensor) ? samples.num_elements : 0;
    for (uint32_t i = 0; i < count; ++i) {
        SensorDataHandler& own = *handler(sensor);
        _sample_data_s sample = samples.samples[i];
        if (sample.ts <= own.last_sample().ts) {
            continue;
        }
        if (std::isnan(sample.data[0]) || std::isnan(sample.data[1])) {
            EIS_ERR("IS0017",
                    "IFOVC: Invalid (NaN) sample at index: %u, check issue from AF IFOVC. sample "
                    "is ignored",
                    i);
            continue;
        }
        own.set_last_sample(sample);
        sample.ts = static_cast<uint64_t>(moved_us(sample.ts, -int64_t{ifovc_offset}));
        push(sample, sensor);
    }
    if (!_line.add_frame()) {
        EIS_ERR("IS0002", "Failed to updated iFOVC state machine");
    }
}

double IFOVCHandler::scale_of_row(const Point2& row, uint32_t index,
                                  const eis_z_lens_position& lens) const {
    double scale = 1.0;
    if (lens.scale_source == kScaleFromSample) {
        scale = row.y;
    } else if (lens.scale_source == kScaleFromTable) {
        scale = scale_at_position(lens, row.x);
    }
    // A picture of no size has no way back; rows without any sample hold 0.
    if (!(scale > 0.0)) {
        EIS_ERR("IS0017", "Invalid iFOVC scale[%u] (%lf), check issue from AF IFOVC", index, scale);
        return 1.0;
    }
    return std::min(scale, 1.0);
}

InterpStats IFOVCHandler::get_scales(InterpRequest request, uint32_t frame_time, double* out) {
    _is_fast = 1000000.0 / frame_time > kHighFps;
    request.is_quiet = _is_fast;
    request.num_rows = std::min(request.num_rows, kMaxRows);
    Point2 rows[kMaxRows];
    const InterpStats stats = get_interp(*this, request, rows);
    if (stats.num_error != 0 && stats.num_exrap_start != 0 && stats.num_exrap_end != 0) {
        EIS_ERR("IS0018",
                "IFOVC samples are invalid, missing samples from both beginning (%u) and end (%u) "
                "of frame time",
                stats.num_exrap_start, stats.num_exrap_end);
    }
    for (uint32_t i = 0; i < stats.num_processed; ++i) {
        out[i] = scale_of_row(rows[i], i, *_z_lens[request.sensor]);
    }
    return stats;
}

void IFOVCHandler::reset() {
    clear();
    for (uint32_t slot = 0; slot < num_enabled(); ++slot) {
        handler(enabled_sensor(slot))->set_last_sample({});
    }
    _line.reset();
    _last_window_samples = 0;
}

}  // namespace steadywarp
