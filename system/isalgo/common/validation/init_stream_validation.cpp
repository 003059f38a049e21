// SPDX-License-Identifier: Apache-2.0
// The tests of the optional streams' tuning: lens shift, lens position, image-based correction.
#include <algorithm>
#include <cmath>

#include "base/eis_log.hpp"
#include "validation/init_validation.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kConversionTerms = 10;
constexpr float kLeastConversion = 1e-6f;
constexpr float kHighestFilterMode = 3.0f;
constexpr uint32_t kLutCapacity = 16;
constexpr float kUsualLeastScale = 0.85f;

void count_nan_terms(const float* terms, char axis, uint32_t index, FaultCounts& counts) {
    for (uint32_t i = 0; i < kConversionTerms; ++i) {
        if (std::isnan(terms[i])) {
            EIS_ERR("IS0017", "Invalid OIS data_conversion_%c[%u] (%lf) - sensor #%u", axis, i,
                    static_cast<double>(terms[i]), index);
            ++counts.errors;
        }
    }
}

bool are_all_zero(const float* terms) {
    return std::none_of(terms, terms + kConversionTerms,
                        [](float term) { return std::fabs(term) > kLeastConversion; });
}

// The table falls in position; its scale is 1 at infinity and lies in [0, 1].
void is_valid_init_scale_lut(const is_tessaline_z_lens_pos& lens, uint32_t index,
                             FaultCounts& counts) {
    if (lens.lut_len < 2) {
        EIS_ERR("IS0017",
                "Z lens position - not enough calibration values for scale compensation(%u) - "
                "sensor #%u",
                lens.lut_len, index);
        ++counts.errors;
    } else if (lens.lut_scale_vs_z_lens_pos_tab[0] != 1.0f) {
        EIS_ERR("IS0017",
                "Z lens position vs scale LUT - focus distance at infinity must be 1, (%.5f) - "
                "sensor #%u",
                static_cast<double>(lens.lut_scale_vs_z_lens_pos_tab[0]), index);
        ++counts.errors;
    }
    // A length beyond the table's room would be read from what lies behind it.
    const uint32_t length = std::min(lens.lut_len, kLutCapacity);
    for (uint32_t i = 1; i < length; ++i) {
        const bool rises = lens.lut_z_lens_pos_tab[i - 1] <= lens.lut_z_lens_pos_tab[i];
        const float scale = lens.lut_scale_vs_z_lens_pos_tab[i];
        const float last_scale = lens.lut_scale_vs_z_lens_pos_tab[length - 1];
        if (rises) {
            EIS_ERR("IS0017",
                    "Z lens position LUT must be monotonically decreasing, index: (%u) - sensor "
                    "#%u",
                    i, index);
            ++counts.errors;
        }
        if (scale < 0.0f || scale > 1.0f) {
            EIS_ERR("IS0017",
                    "Z lens position vs scale LUT must be in range [0,1], (%.5f) - sensor #%u",
                    static_cast<double>(scale), index);
            ++counts.errors;
        }
        // The positions once more, under the scale's words.
        if (rises) {
            EIS_ERR("IS0017",
                    "Z lens position vs scale LUT must be monotonically decreasing, index: (%u) - "
                    "sensor #%u",
                    i, index);
            ++counts.errors;
        }
        if (last_scale < kUsualLeastScale) {
            EIS_HIGH("IS1026",
                     "Z lens position vs scale LUT: scales should usually bein range [0.85,1]. "
                     "Check calibration. (%.5f) - sensor #%u",
                     static_cast<double>(last_scale), index);
        }
    }
}

}  // namespace

void is_valid_init_ois(const is_tessaline_info_s& tuning, uint32_t index, FaultCounts& counts) {
    count_nan_terms(tuning.ois.data_conversion_x_tab, 'x', index, counts);
    if (are_all_zero(tuning.ois.data_conversion_x_tab)) {
        EIS_ERR("IS0017", "Invalid OIS data_conversion_x- sensor #%u, all values are zero", index);
        ++counts.errors;
    }
    count_nan_terms(tuning.ois.data_conversion_y_tab, 'y', index, counts);
    if (are_all_zero(tuning.ois.data_conversion_y_tab)) {
        EIS_ERR("IS0017", "Invalid OIS data_conversion_y - sensor #%u, all values are zero", index);
        ++counts.errors;
    }
    const float filter_mode = eis_tuning_get_ois(&tuning, EIS_TUNING_OIS_FILTER_MODE);
    if (filter_mode < 0.0f || filter_mode > kHighestFilterMode) {
        EIS_ERR("IS0017", "Invalid OIS filter_mode (%lf) - sensor #%u",
                static_cast<double>(filter_mode), index);
        ++counts.errors;
    }
    if (tuning.ois.center_command_enable != 0 && tuning.ois.center_exposure_time_th > 41729) {
        EIS_HIGH("IS1026",
                 "ois_center_exposure_time_th: %u [microseconds] value is too high. OIS will "
                 "always be centered - sensor #%u",
                 tuning.ois.center_exposure_time_th, index);
        ++counts.infos;
    }
    if (tuning.ois.center_command_enable != 0 && tuning.ois.center_response_time_ms > 5000) {
        EIS_ERR("IS1026",
                "ois_center_response_time_ms: %u [milliseconds] is too high, might cause IQ "
                "degradation - sensor #%u",
                tuning.ois.center_response_time_ms, index);
        ++counts.infos;
    }
}

void is_valid_init_ifovc(const is_tessaline_info_s& tuning, uint32_t index, FaultCounts& counts) {
    const is_tessaline_z_lens_pos& lens = tuning.z_lens_pos;
    const float margin = tuning.general.minimal_total_margin;
    if (tuning.top.ifovc_frequency == 0 || lens.enable != 1) {
        EIS_HIGH("IS0530",
                 "sensor #%u : iFOVC is enabled but frequency is 0 or z_lens_position enable 0 ",
                 index);
        ++counts.warnings;
        return;
    }
    if (lens.z_lens_pos_source > 1) {
        EIS_ERR("IS0017", "Unrecognized z lens position source (%u) - sensor #%u",
                lens.z_lens_pos_source, index);
        ++counts.errors;
    }
    if (lens.z_lens_pos_source == 1) {
        EIS_ERR("IS0017",
                "IFOVC: Unavailable z lens position source configuration (%u) - sensor #%u",
                lens.z_lens_pos_source, index);
        ++counts.errors;
        if (tuning.top.ifovc_frequency != tuning.top.ois_frequency) {
            EIS_ERR("IS0017",
                    "IFOVC: Z lens position source is from OIS but there is a frequency "
                    "mismatch(%u,%u) - sensor #%u",
                    tuning.top.ifovc_frequency, tuning.top.ois_frequency, index);
            ++counts.errors;
        }
    }
    if (lens.min_scale_limit > 1.0f) {
        EIS_ERR("IS0017",
                "IFOVC: z_lens_position.minimal_scale_limit should be in range [0,1].  (%.5f) - "
                "sensor #%u",
                static_cast<double>(lens.min_scale_limit), index);
        ++counts.errors;
    }
    if (lens.min_scale_limit == 1.0f) {
        EIS_HIGH("IS0017",
                 "IFOVC: z_lens_position.minimal_scale_limit is 1. This will disable IFOVC scaling "
                 "- sensor #%u",
                 index);
        ++counts.warnings;
    }
    if (lens.min_scale_limit <= 1.0f - margin) {
        EIS_ERR("IS0017",
                "IFOVC: z_lens_position.minimal_scale_limit is lower than minimal_total_margins. "
                "This might cause failure in EIS. Scale: %.5f, Margins: %.5f - sensor #%u",
                static_cast<double>(lens.min_scale_limit), static_cast<double>(margin), index);
        ++counts.warnings;
    }
    if (lens.scale_source == 1) {
        is_valid_init_scale_lut(lens, index, counts);
    }
}

void is_valid_init_dis(const is_tessaline_info_s& tuning, const is_tessaline_info_s& first_sensor,
                       uint32_t index, FaultCounts& counts) {
    const is_tessaline_dis& dis = tuning.dis;
    if (dis.robustness_threshold < -3 || dis.robustness_threshold > 4) {
        EIS_ERR("IS0003", "Invalid DIS robustness_threshold, out of range - (%d) - sensor #%u",
                dis.robustness_threshold, index);
        ++counts.errors;
    }
    if (dis.confidence_threshold > 256) {
        EIS_ERR("IS0003", "Invalid DIS confidence_threshold, out of range - (%u) - sensor #%u",
                dis.confidence_threshold, index);
        ++counts.errors;
    } else if (dis.confidence_threshold > 200) {
        EIS_ERR("IS1026",
                "Invalid DIS confidence_threshold, too high - (%u). DIS will be disabled for most "
                "frames - sensor #%u",
                dis.confidence_threshold, index);
        ++counts.warnings;
    } else if (dis.confidence_threshold < 40) {
        EIS_ERR("IS1026",
                "Invalid DIS confidence_threshold, too low - (%u). DIS will be enabled for frames "
                "with low confidence - sensor #%u",
                dis.confidence_threshold, index);
        ++counts.warnings;
    }
    if (eis_tuning_get_dis(&first_sensor, EIS_TUNING_DIS_PARAMETER_MODE) == 0.0f) {
        return;
    }
    const double exposure =
        static_cast<double>(eis_tuning_get_dis(&tuning, EIS_TUNING_DIS_EXPOSURE_TIME_THRESHOLD));
    const double focus =
        static_cast<double>(eis_tuning_get_dis(&tuning, EIS_TUNING_DIS_FOCUS_DISTANCE_THRESHOLD));
    if (exposure > static_cast<double>(0.05f)) {
        EIS_HIGH("IS1026",
                 "DIS exposure_time_threshold is too high %lf [seconds], DIS will never be "
                 "disabled - sensor #%u",
                 exposure, index);
        ++counts.infos;
    } else if (exposure < static_cast<double>(0.0005f)) {
        EIS_HIGH("IS1026",
                 "DIS exposure_time_threshold is too low %lf [seconds], DIS will never be enabled "
                 "- sensor #%u",
                 exposure, index);
        ++counts.warnings;
    }
    if (focus == 0.0) {
        EIS_HIGH("IS1026",
                 "DIS focus_distance_threshold == 0, DIS will never be disabled when focus "
                 "distance is too close - sensor #%u",
                 index);
        ++counts.infos;
    } else if (focus > 10.0) {
        EIS_HIGH("IS1026",
                 "DIS focus_distance_threshold is set to %lf [meters], DIS will be disabled when "
                 "focus distance below this threshold - sensor #%u",
                 focus, index);
        ++counts.warnings;
    }
}

}  // namespace steadywarp
