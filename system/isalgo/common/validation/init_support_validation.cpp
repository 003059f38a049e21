// SPDX-License-Identifier: Apache-2.0
// What a configuration may ask for and this version of the library does not do yet. Each feature
// that arrives takes its line away.
#include "base/eis_log.hpp"
#include "interface/eis_context.hpp"
#include "validation/init_validation.hpp"

namespace steadywarp {
namespace {

void refuse(const char* feature, uint32_t index, FaultCounts& counts) {
    EIS_ERR("IS0017", "%s is not available in this version of the library - sensor #%u", feature,
            index);
    ++counts.errors;
}

bool uses_distortion_grids(const is_init_sensor_data& sensor) {
    const is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    if (ldc.ldc_grid_source == 0) {
        return ldc.ldc_grid_enable != 0;
    }
    return sensor.ldc_in2out != nullptr && sensor.ldc_in2out->enable &&
           sensor.ldc_out2in != nullptr && sensor.ldc_out2in->enable;
}

}  // namespace

void is_supported_init_input(const is_init_common_data& common, const is_init_sensor_data* sensors,
                             uint32_t num_sensors, FaultCounts& counts) {
    if (effective_operation_mode(common) != IS_OPT_REGULAR) {
        EIS_ERR("IS0017", "operation_mode %u is not available in this version of the library",
                common.operation_mode);
        ++counts.errors;
    }
    if (common.is_sat_enabled) {
        EIS_ERR("IS0017", "SAT is not available in this version of the library");
        ++counts.errors;
    }
    for (uint32_t i = 0; i < num_sensors; ++i) {
        const is_tessaline_info_s& tuning = sensors[i].tuning;
        if (common.is_ifovc_enabled && tuning.top.ifovc_frequency != 0) {
            refuse("iFOVC", i, counts);
        }
        if (common.is_dis_enabled && tuning.dis.enable != 0) {
            refuse("DIS", i, counts);
        }
        if (uses_distortion_grids(sensors[i])) {
            refuse("Lens distortion correction", i, counts);
        }
    }
}

}  // namespace steadywarp
