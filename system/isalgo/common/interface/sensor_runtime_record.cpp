// SPDX-License-Identifier: Apache-2.0
#include "interface/sensor_runtime_record.hpp"

#include <algorithm>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"

namespace steadywarp {

sensor_runtime_record make_sensor_runtime_record(const is_init_common_data& common,
                                                 const is_init_sensor_data& sensor) {
    const is_tessaline_info_s& tuning = sensor.tuning;
    sensor_runtime_record record;
    record.sensor_mount_angle = sensor.sensor_mount_angle;
    record.camera_position = sensor.camera_position;
    record.input_width = sensor.input_width;
    record.input_height = sensor.input_height;
    record.ife_input_frame_width = sensor.ife_input_frame_width;
    record.ife_input_frame_height = sensor.ife_input_frame_height;
    record.s3d_offset = tuning.timing.s3d_offset;
    record.ois_offset = common.is_ois_enabled ? tuning.timing.ois_offset : 0;
    record.ifovc_offset = common.is_ifovc_enabled ? tuning.timing.ifovc_offset : 0;
    record.lens_module.type = tuning.ois.module_type;
    std::copy_n(tuning.ois.data_conversion_x_tab, 10, record.lens_module.data_conversion_x.begin());
    std::copy_n(tuning.ois.data_conversion_y_tab, 10, record.lens_module.data_conversion_y.begin());
    record.minimal_total_margin_x = tuning.general.minimal_total_margin;
    record.minimal_total_margin_y = tuning.general.minimal_total_margin;

    uint32_t crop_height = 0;
    uint32_t crop_width = 0;
    eis_internal_get_crop_size(sensor.input_height, sensor.input_width, common.output_height,
                               common.output_width, &crop_height, &crop_width,
                               record.minimal_total_margin_y, record.minimal_total_margin_x);
    record.crop_ratio_y = static_cast<double>(crop_height) / sensor.input_height;
    record.crop_ratio_x = static_cast<double>(crop_width) / sensor.input_width;
    if (common.do_virtual_upscale_in_transform) {
        record.upscale = static_cast<double>(crop_width) / common.output_width;
    }

    record.ois_centring_enabled = common.is_ois_enabled && tuning.top.ois_frequency != 0 &&
                                  tuning.ois.center_command_enable != 0;
    if (record.ois_centring_enabled) {
        record.ois_centring_exposure_th = static_cast<float>(tuning.ois.center_exposure_time_th);
        record.ois_mode = kOisNormal;
    }
    record.ois_response_time = tuning.ois.center_response_time_ms * 1000;
    return record;
}

MultisensorData::MultisensorData(const is_init_common_data& common,
                                 const is_init_sensor_data* sensors, uint32_t num_sensors,
                                 uint32_t& status)
    : _num_sensors(num_sensors), _records(allocate_array<sensor_runtime_record>(num_sensors)) {
    if (_records == nullptr) {
        EIS_ERR("IS0004", "Out of Memory");
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    for (uint32_t i = 0; i < num_sensors; ++i) {
        _records[i] = make_sensor_runtime_record(common, sensors[i]);
    }
}

}  // namespace steadywarp
