// SPDX-License-Identifier: Apache-2.0
#include "sensors/ois_handler.hpp"

#include <algorithm>
#include <cmath>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "base/numeric.hpp"

namespace steadywarp {
namespace {

constexpr char kName[] = "OIS";
constexpr uint32_t kNumAxes = 2;
constexpr uint32_t kLeastCapacity = 1024;
// Samples that the averaging window needs beyond the delay line.
constexpr double kCapacityReserve = 154.0;

uint32_t buffer_capacity(const OISInitInfo& info) {
    uint32_t frequency = 0;
    for (uint32_t i = 0; i < info.num_sensors; ++i) {
        frequency = std::max(frequency, info.get_frequency(i));
    }
    const double capacity =
        info.common.buffer_delay * std::ceil(frequency * 1.25 / 24.0) + kCapacityReserve;
    return std::max(cut_to_u32(capacity), kLeastCapacity);
}

struct LensAxesRow {
    int32_t axis_x;
    int32_t axis_y;
    AxisMap map;
};

// clang-format off
constexpr LensAxesRow kLensAxes[] = {
    { 1,  2, {{0, 1, 2}, { 1.0,  1.0, 1.0}}},
    { 1, -2, {{0, 1, 2}, { 1.0, -1.0, 1.0}}},
    {-1,  2, {{0, 1, 2}, {-1.0,  1.0, 1.0}}},
    {-1, -2, {{0, 1, 2}, {-1.0, -1.0, 1.0}}},
    { 2,  1, {{1, 0, 2}, { 1.0,  1.0, 1.0}}},
    { 2, -1, {{1, 0, 2}, { 1.0, -1.0, 1.0}}},
    {-2,  1, {{1, 0, 2}, {-1.0,  1.0, 1.0}}},
    {-2, -1, {{1, 0, 2}, {-1.0, -1.0, 1.0}}},
};
// clang-format on

}  // namespace

OISInitInfo::OISInitInfo(const is_init_common_data& common_data,
                         const is_init_sensor_data* sensor_data, uint32_t sensor_count)
    : MultiSensorInitInfo(common_data, sensor_data, sensor_count) {
    num_axes = kNumAxes;
    buffer_size = buffer_capacity(*this);
}

const AxisMap& lens_axes(int32_t axis_x, int32_t axis_y, uint32_t& status) {
    for (const LensAxesRow& row : kLensAxes) {
        if (row.axis_x == axis_x && row.axis_y == axis_y) {
            return row.map;
        }
    }
    // The third axis follows from the two and is always named 3.
    EIS_ERR("IS0003", "Invalid ois_orientation_axis: %d, %d, %d", axis_x, axis_y, 3);
    status = EIS_ERROR_INVALID_INPUT;
    return kSameAxes;
}

OISHandler::OISHandler(const OISInitInfo& info, uint32_t max_half, uint32_t& status)
    : MultiSensorDataHandler(info, kName, status),
      MultiSensorDataBuffer(kNumAxes, info.buffer_size, info.num_sensors, kName, status) {
    for (uint32_t slot = 0; slot < num_enabled() && status == EIS_SUCCESS; ++slot) {
        const uint32_t sensor = enabled_sensor(slot);
        const is_tessaline_info_s& tuning = info.sensors[sensor].tuning;
        uint32_t filter_status = EIS_SUCCESS;
        _filters[slot] = allocate<OISFilter>(
            eis_tuning_as_u32(eis_tuning_get_ois(&tuning, EIS_TUNING_OIS_FILTER_MODE)), max_half,
            tuning.ois.module_type, info.get_frequency(sensor), info.get_noise_floor(sensor),
            filter_status);
        if (_filters[slot] == nullptr) {
            EIS_ERR("IS0004", "%s: Out of memory", "OISFilter");
            status = EIS_ERROR_NO_MEMORY;
        } else if (filter_status != EIS_SUCCESS) {
            EIS_ERR("IS0004", "%s #%u: Constructor failed - %d", "OISFilter", slot,
                    static_cast<int>(filter_status));
            status = filter_status;
        }
    }
    if (status == EIS_SUCCESS) {
        update_rotate_axes(info, status);
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0004", "%s: Constructor failed - %d", kName, static_cast<int>(status));
    }
}

void OISHandler::update_rotate_axes(const OISInitInfo& info, uint32_t& status) {
    for (uint32_t slot = 0; slot < num_enabled(); ++slot) {
        const uint32_t sensor = enabled_sensor(slot);
        const is_tessaline_top& top = info.sensors[sensor].tuning.top;
        const bool is_mapped = top.lens_pos_orientation_axis_x != 0 ||
                               top.lens_pos_orientation_axis_y != 0 ||
                               top.lens_pos_orientation_axis_z != 0;
        // The device's mount angle says nothing about a lens that moves in its own module.
        handler(sensor)->set_axis_map(is_mapped ? lens_axes(top.lens_pos_orientation_axis_x,
                                                            top.lens_pos_orientation_axis_y, status)
                                                : kSameAxes);
    }
}

bool OISHandler::is_valid(const is_sample_array& samples, uint32_t sensor, uint32_t frame_id,
                          bool first_frame, bool sensor_switched) const {
    if (MultiSensorDataHandler::is_valid(samples, sensor, frame_id, first_frame, kName,
                                         sensor_switched)) {
        return true;
    }
    EIS_ERR("IS0002", "%s: frame_id %u : total number of errors %u", kName, frame_id, 1u);
    return false;
}

void OISHandler::process_input(const is_sample_array& samples, uint32_t sensor,
                               int32_t ois_offset) {
    SensorDataHandler* own = handler(sensor);
    if (own == nullptr || samples.num_elements == 0) {
        return;
    }
    bool has_new = false;
    for (uint32_t i = 0; i < samples.num_elements; ++i) {
        if (samples.samples[i].ts <= own->last_sample().ts) {
            continue;
        }
        _sample_data_s mapped = samples.samples[i];
        own->rotate(mapped);
        own->set_last_sample(mapped);
        mapped.ts = static_cast<uint64_t>(moved_us(mapped.ts, -int64_t{ois_offset}));
        push(mapped, sensor);
        has_new = true;
    }
    if (!has_new) {
        EIS_ERR("IS0002", "Failed to updated OIS samples, all samples are old");
    }
}

void OISHandler::retune(uint32_t frame_time) {
    for (uint32_t slot = 0; slot < num_enabled(); ++slot) {
        _filters[slot]->retune(frame_time);
    }
}

InterpStats OISHandler::interp(const InterpRequest& request, Point2* out) const {
    OISFilter& filter = *_filters[sensor_to_slot(request.sensor)];
    const InterpStats x = filter.interp(request, 0, *this, out);
    const InterpStats y = filter.interp(request, 1, *this, out);
    return {std::min(x.num_processed, y.num_processed), x.num_exrap_start + y.num_exrap_start,
            x.num_exrap_end + y.num_exrap_end, x.num_error + y.num_error};
}

void OISHandler::reset() {
    clear();
    for (uint32_t slot = 0; slot < num_enabled(); ++slot) {
        handler(enabled_sensor(slot))->set_last_sample({});
        _filters[slot]->reset();
    }
}

}  // namespace steadywarp
