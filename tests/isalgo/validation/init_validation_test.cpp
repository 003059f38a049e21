// SPDX-License-Identifier: Apache-2.0
// Every line that a configuration can draw: severity, tag, words and class.
#include "validation/init_validation.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "support/records.hpp"
#include "support/scenarios.hpp"

namespace steadywarp::test {
namespace {

using Lines = std::vector<std::string>;
using Common = is_init_common_data;
using Sensor = is_init_sensor_data;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// What a section says and counts.
struct Verdict {
    Lines lines;
    FaultCounts counts;
};

Verdict verdict_of(const std::function<void(FaultCounts&)>& section) {
    Verdict verdict;
    verdict.lines = plain_lines(log_of([&] { section(verdict.counts); }));
    return verdict;
}

void expect_verdict(const Verdict& verdict, const Lines& lines, const std::vector<uint32_t>& counts,
                    const char* what) {
    EXPECT_EQ(verdict.lines, lines) << what;
    EXPECT_EQ((std::vector<uint32_t>{verdict.counts.errors, verdict.counts.warnings,
                                     verdict.counts.infos}),
              counts)
        << what;
}

TEST(InitValidation, OfCommonData) {
    struct Row {
        const char* what;
        std::function<void(Common&)> spoil;
        Lines lines;
        std::vector<uint32_t> counts;  // errors, warnings, info
    };
    const std::vector<Row> rows = {
        {"right", [](Common&) {}, {}, {0, 0, 0}},
        {"mode 4",
         [](Common& c) { c.operation_mode = 4; },
         {"[ERR] IS0017 Unrecognized EIS operation_mode, 4"},
         {1, 0, 0}},
        {"mode 1",
         [](Common& c) { c.operation_mode = 1; },
         {"[HIGH] IS1026 Deprecated operation_mode, 1"},
         {0, 0, 1}},
        {"mode 1 without a second pass",
         [](Common& c) {
             c.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
             c.operation_mode = 1;
         },
         {"[HIGH] IS1026 Deprecated operation_mode, 1",
          "[HIGH] IS1026 is_type IS_TYPE_DISTORTION_CORRECTION_ONLY but operation_mode is 1. Value "
          "will be treated as IS_OPT_REGULAR"},
         {0, 0, 2}},
        {"mode 10 without a second pass",
         [](Common& c) {
             c.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
             c.operation_mode = 10;
         },
         {"[HIGH] IS1026 is_type IS_TYPE_DISTORTION_CORRECTION_ONLY but operation_mode is "
          "IS_OPT_TEST_DISTORTION_CORRECTION_ONLY. Value will be treated as IS_OPT_REGULAR"},
         {0, 0, 1}},
        {"no output",
         [](Common& c) { c.output_height = 0; },
         {"[ERR] IS0017 Invalid output frame dimension (1920, 0)"},
         {1, 0, 0}},
        {"25 fps",
         [](Common& c) { c.frame_fps = 25; },
         {"[ERR] IS0017 Invalid frame_fps. Only 24, 30, 60 are supported, 25"},
         {0, 1, 0}},
        {"24 fps", [](Common& c) { c.frame_fps = 24; }, {}, {0, 0, 0}},
        {"no delay",
         [](Common& c) { c.buffer_delay = 0; },
         {"[ERR] IS0003 buffer_delay is 0",
          "[ERR] IS0003 Configuration mismatch - buffer delay (0) and algorithm type "
          "(IS_TYPE_EIS_NFL, 4)"},
         {2, 0, 0}},
        {"no delay, with look-ahead",
         [](Common& c) {
             c.is_type = IS_TYPE_EIS_3_0;
             c.buffer_delay = 0;
         },
         {"[ERR] IS0003 buffer_delay is 0"},
         {1, 0, 0}},
        {"look-ahead of 4",
         [](Common& c) {
             c.is_type = IS_TYPE_EIS_3_0;
             c.buffer_delay = 4;
         },
         {"[ERR] IS0003 Configuration mismatch - buffer delay (4) and algorithm type "
          "(IS_TYPE_EIS_FL, 5)"},
         {1, 0, 0}},
        {"look-ahead of 5",
         [](Common& c) {
             c.is_type = IS_TYPE_EIS_3_0;
             c.buffer_delay = 5;
         },
         {},
         {0, 0, 0}},
        {"a delay of 2 without a second pass",
         [](Common& c) {
             c.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
             c.buffer_delay = 2;
         },
         {"[HIGH] IS1026 Configuration mismatch - buffer delay (2) and algorithm type "
          "(IS_TYPE_DISTORTION_CORRECTION_ONLY, 6)"},
         {0, 0, 1}},
        {"a split where nothing can",
         [](Common& c) {
             c.force_split_grid_matrix = true;
             c.deployment_type = DEP_TYPE_GPU_PRE;
         },
         {"[ERR] IS0017 Configuration mismatch, force_split_grid_matrix is enabled but deployment "
          "type is not supported 10"},
         {1, 0, 0}},
        {"no upscaler",
         [](Common& c) { c.deployment_type = DEP_TYPE_GPU_POST; },
         {"[ERR] IS0017 Configuration mismatch, deployment_type is DEP_TYPE_GPU_POST but "
          "do_virtual_upscale_in_transform is false. There is no upscaler after Post ISP GPU."},
         {1, 0, 0}},
        {"an alignment that will be split",
         [](Common& c) { c.is_sat_enabled = true; },
         {"[ERR] IS1026 Configuration mismatch, SAT is enabled, force_split_grid_matrix is "
          "disabled "
          "but deployment type (1) supports splitting. Overriding force_split_grid_matrix value to "
          "true"},
         {0, 0, 0}},
        {"an alignment that is split",
         [](Common& c) { c.is_sat_enabled = c.force_split_grid_matrix = true; },
         {},
         {0, 0, 0}},
        {"an alignment where nothing can split",
         [](Common& c) {
             c.is_sat_enabled = true;
             c.deployment_type = DEP_TYPE_GPU_PRE;
         },
         {},
         {0, 0, 0}},
        {"no second pass, no test of it",
         [](Common& c) {
             c.is_type = IS_TYPE_DISTORTION_CORRECTION_ONLY;
             c.deployment_type = DEP_TYPE_GPU_POST;
             c.force_split_grid_matrix = c.is_sat_enabled = true;
         },
         {},
         {0, 0, 0}},
    };
    for (const Row& row : rows) {
        Common common = valid_common();
        row.spoil(common);
        expect_verdict(
            verdict_of([&](FaultCounts& counts) { is_valid_init_common(common, 1, counts); }),
            row.lines, row.counts, row.what);
    }
}

TEST(InitValidation, OfOneSensor) {
    static NcLibWarpGrid forward, backward;
    const auto with_grids = [](Sensor& s) {
        forward = backward = {};
        forward.numColumns = backward.numColumns = 67;
        forward.numRows = backward.numRows = 51;
        forward.enable = backward.enable = true;
        s.ldc_in2out = &forward;
        s.ldc_out2in = &backward;
    };
    struct Row {
        const char* what;
        std::function<void(Sensor&)> spoil;
        Lines lines;
        std::vector<uint32_t> counts;
    };
    const std::vector<Row> rows = {
        {"right", [](Sensor&) {}, {}, {0, 0, 0}},
        {"fine grids", with_grids, {}, {0, 0, 0}},
        {"grids of two sizes",
         [&](Sensor& s) {
             with_grids(s);
             backward.numColumns = 35;
             backward.numRows = 27;
         },
         {"[ERR] IS0017 LDC configuration types mismatch - sensor #3"},
         {1, 0, 0}},
        {"one grid in use of two, of no size",
         [&](Sensor& s) {
             with_grids(s);
             backward = {};
         },
         {"[ERR] IS0017 LDC configuration types mismatch - sensor #3",
          "[ERR] IS0017 LDC out2in configuration not supported, numColumns 0- sensor #3",
          "[ERR] IS0017 LDC out2in configuration not supported, numRows 0- sensor #3"},
         {2, 0, 0}},
        {"one grid, turned",
         [&](Sensor& s) {
             with_grids(s);
             s.ldc_out2in = nullptr;
             forward.numColumns = 27;
             forward.numRows = 35;
         },
         {"[ERR] IS0017 LDC configuration mismatch - sensor #3",
          "[ERR] IS0017 LDC in2out configuration not supported, numColumns 27- sensor #3",
          "[ERR] IS0017 LDC in2out configuration not supported, numRows 35- sensor #3"},
         {2, 0, 0}},
        {"no front-end sizes",
         [](Sensor& s) { s.ife_input_frame_height = s.ife_input_frame_undistorted_width = 0; },
         {"[ERR] IS0530 Invalid ife_input_frame_height 0 - sensor #3",
          "[ERR] IS0530 Invalid ife_input_frame_undistorted_width 0 - sensor #3"},
         {0, 2, 0}},
        {"no front-end sizes where tuned grids need them",
         [](Sensor& s) {
             s.ife_input_frame_width = 0;
             s.tuning.lens_distortion_correction.ldc_grid_enable = 1;
             s.tuning.lens_distortion_correction.ldc_calib_domain = 1;
         },
         {"[ERR] IS0017 Invalid ife_input_frame_width 0 - sensor #3"},
         {1, 0, 0}},
        {"no front-end sizes where given grids need them",
         [&](Sensor& s) {
             with_grids(s);
             s.ife_input_frame_undistorted_height = 0;
             s.ldc_calib_domain = 1;
             s.tuning.lens_distortion_correction.ldc_grid_source = 1;
         },
         {"[ERR] IS0017 Invalid ife_input_frame_undistorted_height 0 - sensor #3"},
         {1, 0, 0}},
        {"streams that are off",
         [](Sensor& s) {
             s.tuning.top.ois_frequency = 500;
             s.tuning.top.ifovc_frequency = 60;
             s.camera_position = 1;
         },
         {"[ERR] IS0003 OIS configuration mismatch. is_ois_enabled is false but OIS frequency is "
          "not zero - 500",
          "[HIGH] IS1026 iFOVC configuration mismatch. is_ifovc_enabled is false but iFOVC "
          "frequency is not zero - 60",
          "[ERR] IS0017 Cannot change camera position between sensors - #3 is different from "
          "sensor "
          "0"},
         {1, 0, 2}},
        {"nothing in the picture",
         [](Sensor& s) {
             s.tuning.general.focal_length = 299;
             s.input_width = 0;
             s.tuning.general.minimal_total_margin = 0.0f;
         },
         {"[ERR] IS0003 Invalid focal length value for sensor #3: 299",
          "[ERR] IS0017 Invalid input frame dimension (0, 1080) - sensor #3",
          "[ERR] IS0017 Invalid minimal total margins 0.000000 - sensor #3"},
         {3, 0, 0}},
    };
    const Sensor first = valid_sensor();
    for (const Row& row : rows) {
        Sensor sensor = valid_sensor();
        row.spoil(sensor);
        expect_verdict(verdict_of([&](FaultCounts& counts) {
                           is_valid_init_sensor(valid_common(), sensor, first, 3, counts);
                       }),
                       row.lines, row.counts, row.what);
    }
}

TEST(InitValidation, OfFocalLengths) {
    struct Row {
        uint32_t focal_length, errors, warnings;
    };
    for (const Row& row : {Row{299, 1, 0}, Row{300, 0, 1}, Row{500, 0, 1}, Row{501, 0, 0},
                           Row{8999, 0, 0}, Row{9000, 0, 1}, Row{15000, 0, 1}, Row{15001, 1, 0}}) {
        Sensor sensor = valid_sensor();
        sensor.tuning.general.focal_length = row.focal_length;
        const Verdict verdict = verdict_of([&](FaultCounts& counts) {
            is_valid_init_sensor(valid_common(), sensor, valid_sensor(), 3, counts);
        });
        EXPECT_EQ(verdict.counts.errors, row.errors) << row.focal_length;
        EXPECT_EQ(verdict.counts.warnings, row.warnings) << row.focal_length;
        const std::string length = std::to_string(row.focal_length);
        EXPECT_EQ(verdict.lines,
                  row.errors != 0
                      ? Lines{"[ERR] IS0003 Invalid focal length value for sensor #3: " + length}
                  : row.warnings != 0
                      ? Lines{"[ERR] IS0003 Warning focal length value for sensor #3 might be "
                              "invalid: " +
                              length}
                      : Lines{});
    }
}

// Rows of the sections that read the tuning alone.
struct TuningRow {
    const char* what;
    std::function<void(is_tessaline_info_s&)> spoil;
    Lines lines;
    std::vector<uint32_t> counts;
};

TEST(InitValidation, OfLensShift) {
    using Tuning = is_tessaline_info_s;
    const std::vector<TuningRow> rows = {
        {"right", [](Tuning&) {}, {}, {0, 0, 0}},
        {"no number",
         [](Tuning& t) {
             t.ois.data_conversion_x_tab[9] = kNan;
             t.ois.data_conversion_y_tab[0] = kNan;
         },
         {"[ERR] IS0017 Invalid OIS data_conversion_x[9] (nan) - sensor #3",
          "[ERR] IS0017 Invalid OIS data_conversion_y[0] (nan) - sensor #3"},
         {2, 0, 0}},
        {"nothing",
         [](Tuning& t) {
             t.ois.data_conversion_x_tab[1] = 1e-6f;
             t.ois.data_conversion_y_tab[2] = 0.0f;
         },
         {"[ERR] IS0017 Invalid OIS data_conversion_x- sensor #3, all values are zero",
          "[ERR] IS0017 Invalid OIS data_conversion_y - sensor #3, all values are zero"},
         {2, 0, 0}},
        {"filter mode 3.5",
         [](Tuning& t) { eis_tuning_set_ois(&t, EIS_TUNING_OIS_FILTER_MODE, 3.5f); },
         {"[ERR] IS0017 Invalid OIS filter_mode (3.500000) - sensor #3"},
         {1, 0, 0}},
        {"filter mode -1",
         [](Tuning& t) { eis_tuning_set_ois(&t, EIS_TUNING_OIS_FILTER_MODE, -1.0f); },
         {"[ERR] IS0017 Invalid OIS filter_mode (-1.000000) - sensor #3"},
         {1, 0, 0}},
        {"centring at its limits",
         [](Tuning& t) {
             t.ois.center_command_enable = 1;
             t.ois.center_exposure_time_th = 41729;
             t.ois.center_response_time_ms = 5000;
         },
         {},
         {0, 0, 0}},
        {"centring beyond them",
         [](Tuning& t) {
             t.ois.center_command_enable = 1;
             t.ois.center_exposure_time_th = 41730;
             t.ois.center_response_time_ms = 5001;
         },
         {"[HIGH] IS1026 ois_center_exposure_time_th: 41730 [microseconds] value is too high. OIS "
          "will always be centered - sensor #3",
          "[ERR] IS1026 ois_center_response_time_ms: 5001 [milliseconds] is too high, might cause "
          "IQ degradation - sensor #3"},
         {0, 0, 2}},
        {"no centring", [](Tuning& t) { t.ois.center_response_time_ms = 5001; }, {}, {0, 0, 0}},
    };
    for (const TuningRow& row : rows) {
        Sensor sensor = valid_sensor();
        sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
        sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
        row.spoil(sensor.tuning);
        expect_verdict(
            verdict_of([&](FaultCounts& counts) { is_valid_init_ois(sensor.tuning, 3, counts); }),
            row.lines, row.counts, row.what);
    }
}

TEST(InitValidation, OfLensPosition) {
    using Tuning = is_tessaline_info_s;
    const std::string low_margin =
        "[ERR] IS0017 IFOVC: z_lens_position.minimal_scale_limit is lower than "
        "minimal_total_margins. This might cause failure in EIS. Scale: 0.90000, Margins: 0.10000 "
        "- "
        "sensor #3";
    const auto table = [](Tuning& t, std::vector<float> positions, std::vector<float> scales) {
        t.z_lens_pos.scale_source = 1;
        t.z_lens_pos.lut_len = static_cast<uint32_t>(positions.size());
        std::copy(positions.begin(), positions.end(), t.z_lens_pos.lut_z_lens_pos_tab);
        std::copy(scales.begin(), scales.end(), t.z_lens_pos.lut_scale_vs_z_lens_pos_tab);
    };
    const std::vector<TuningRow> rows = {
        {"right", [](Tuning&) {}, {}, {0, 0, 0}},
        {"off",
         [](Tuning& t) { t.z_lens_pos.enable = 2; },
         {"[HIGH] IS0530 sensor #3 : iFOVC is enabled but frequency is 0 or z_lens_position enable "
          "0 "},
         {0, 1, 0}},
        {"a source that nobody knows",
         [](Tuning& t) { t.z_lens_pos.z_lens_pos_source = 2; },
         {"[ERR] IS0017 Unrecognized z lens position source (2) - sensor #3"},
         {1, 0, 0}},
        {"the source that is not there",
         [](Tuning& t) { t.z_lens_pos.z_lens_pos_source = 1; },
         {"[ERR] IS0017 IFOVC: Unavailable z lens position source configuration (1) - sensor #3",
          "[ERR] IS0017 IFOVC: Z lens position source is from OIS but there is a frequency "
          "mismatch(60,0) - sensor #3"},
         {2, 0, 0}},
        {"a limit above 1",
         [](Tuning& t) { t.z_lens_pos.min_scale_limit = 1.5f; },
         {"[ERR] IS0017 IFOVC: z_lens_position.minimal_scale_limit should be in range [0,1].  "
          "(1.50000) - sensor #3"},
         {1, 0, 0}},
        {"a limit of 1",
         [](Tuning& t) { t.z_lens_pos.min_scale_limit = 1.0f; },
         {"[HIGH] IS0017 IFOVC: z_lens_position.minimal_scale_limit is 1. This will disable IFOVC "
          "scaling - sensor #3"},
         {0, 1, 0}},
        {"a limit as low as the margin",
         [](Tuning& t) { t.z_lens_pos.min_scale_limit = 0.9f; },
         {low_margin},
         {0, 1, 0}},
        {"a table",
         [&](Tuning& t) {
             table(t, {3, 2, 1}, {1.0f, 0.9f, 0.85f});
         },
         {},
         {0, 0, 0}},
        {"a table of one",
         [&](Tuning& t) { table(t, {3}, {1}); },
         {"[ERR] IS0017 Z lens position - not enough calibration values for scale compensation(1) "
          "- "
          "sensor #3"},
         {1, 0, 0}},
        {"a table that does not start at 1",
         [&](Tuning& t) {
             table(t, {3, 2}, {0.99f, 0.9f});
         },
         {"[ERR] IS0017 Z lens position vs scale LUT - focus distance at infinity must be 1, "
          "(0.99000) - sensor #3"},
         {1, 0, 0}},
        {"positions that rise, and low scales",
         [&](Tuning& t) {
             table(t, {3, 3, 2}, {1.0f, 1.5f, 0.5f});
         },
         {"[ERR] IS0017 Z lens position LUT must be monotonically decreasing, index: (1) - sensor "
          "#3",
          "[ERR] IS0017 Z lens position vs scale LUT must be in range [0,1], (1.50000) - sensor #3",
          "[ERR] IS0017 Z lens position vs scale LUT must be monotonically decreasing, index: (1) "
          "- "
          "sensor #3",
          "[HIGH] IS1026 Z lens position vs scale LUT: scales should usually bein range [0.85,1]. "
          "Check calibration. (0.50000) - sensor #3",
          "[HIGH] IS1026 Z lens position vs scale LUT: scales should usually bein range [0.85,1]. "
          "Check calibration. (0.50000) - sensor #3"},
         {3, 0, 0}},
    };
    for (const TuningRow& row : rows) {
        Sensor sensor = valid_sensor();
        sensor.tuning.top.ifovc_frequency = 60;
        sensor.tuning.z_lens_pos.enable = 1;
        sensor.tuning.z_lens_pos.min_scale_limit = 0.95f;
        row.spoil(sensor.tuning);
        expect_verdict(
            verdict_of([&](FaultCounts& counts) { is_valid_init_ifovc(sensor.tuning, 3, counts); }),
            row.lines, row.counts, row.what);
    }
}

TEST(InitValidation, OfImageBasedCorrection) {
    using Tuning = is_tessaline_info_s;
    const auto thresholds = [](Tuning& t, float exposure, float focus) {
        eis_tuning_set_dis(&t, EIS_TUNING_DIS_EXPOSURE_TIME_THRESHOLD, exposure);
        eis_tuning_set_dis(&t, EIS_TUNING_DIS_FOCUS_DISTANCE_THRESHOLD, focus);
    };
    const std::vector<TuningRow> rows = {
        {"right", [](Tuning&) {}, {}, {0, 0, 0}},
        {"at the limits",
         [&](Tuning& t) {
             t.dis.robustness_threshold = -3;
             t.dis.confidence_threshold = 200;
             thresholds(t, 0.05f, 10.0f);
         },
         {},
         {0, 0, 0}},
        {"at the other limits",
         [&](Tuning& t) {
             t.dis.robustness_threshold = 4;
             t.dis.confidence_threshold = 40;
             thresholds(t, 0.0005f, 0.01f);
         },
         {},
         {0, 0, 0}},
        {"robustness",
         [](Tuning& t) { t.dis.robustness_threshold = -4; },
         {"[ERR] IS0003 Invalid DIS robustness_threshold, out of range - (-4) - sensor #3"},
         {1, 0, 0}},
        {"confidence 257",
         [](Tuning& t) { t.dis.confidence_threshold = 257; },
         {"[ERR] IS0003 Invalid DIS confidence_threshold, out of range - (257) - sensor #3"},
         {1, 0, 0}},
        {"confidence 256",
         [](Tuning& t) { t.dis.confidence_threshold = 256; },
         {"[ERR] IS1026 Invalid DIS confidence_threshold, too high - (256). DIS will be disabled "
          "for most frames - sensor #3"},
         {0, 1, 0}},
        {"confidence 39",
         [](Tuning& t) { t.dis.confidence_threshold = 39; },
         {"[ERR] IS1026 Invalid DIS confidence_threshold, too low - (39). DIS will be enabled for "
          "frames with low confidence - sensor #3"},
         {0, 1, 0}},
        {"long exposures, any distance",
         [&](Tuning& t) { thresholds(t, 0.06f, 0.0f); },
         {"[HIGH] IS1026 DIS exposure_time_threshold is too high 0.060000 [seconds], DIS will "
          "never "
          "be disabled - sensor #3",
          "[HIGH] IS1026 DIS focus_distance_threshold == 0, DIS will never be disabled when focus "
          "distance is too close - sensor #3"},
         {0, 0, 2}},
        {"short exposures, far away",
         [&](Tuning& t) { thresholds(t, 0.0004f, 10.5f); },
         {"[HIGH] IS1026 DIS exposure_time_threshold is too low 0.000400 [seconds], DIS will never "
          "be enabled - sensor #3",
          "[HIGH] IS1026 DIS focus_distance_threshold is set to 10.500000 [meters], DIS will be "
          "disabled when focus distance below this threshold - sensor #3"},
         {0, 2, 0}},
    };
    Sensor first = valid_sensor();
    eis_tuning_set_dis(&first.tuning, EIS_TUNING_DIS_PARAMETER_MODE, 1.0f);
    for (const TuningRow& row : rows) {
        Sensor sensor = valid_sensor();
        sensor.tuning.dis.confidence_threshold = 100;
        thresholds(sensor.tuning, 0.01f, 1.0f);
        row.spoil(sensor.tuning);
        expect_verdict(verdict_of([&](FaultCounts& counts) {
                           is_valid_init_dis(sensor.tuning, first.tuning, 3, counts);
                       }),
                       row.lines, row.counts, row.what);
    }
    // Sensor 0's mode decides, not the sensor's own.
    Sensor own = valid_sensor();
    own.tuning.dis.confidence_threshold = 100;
    eis_tuning_set_dis(&own.tuning, EIS_TUNING_DIS_PARAMETER_MODE, 1.0f);
    const Sensor plain = valid_sensor();
    expect_verdict(verdict_of([&](FaultCounts& counts) {
                       is_valid_init_dis(own.tuning, plain.tuning, 3, counts);
                   }),
                   {}, {0, 0, 0}, "no mode");
}

TEST(InitValidation, RunsThroughTheWholeListInOrder) {
    Common common = valid_common();
    common.operation_mode = 104;
    common.frame_fps = 25;
    common.is_ois_enabled = common.is_ifovc_enabled = common.is_dis_enabled = true;
    std::vector<Sensor> sensors(2, valid_sensor());
    sensors[0].input_height = 0;
    sensors[1].tuning.general.focal_length = 500;
    sensors[1].tuning.general.gyro_noise_floor = 0.25f;
    const std::string no_ifovc =
        " : iFOVC is enabled but frequency is 0 or z_lens_position enable 0 ";
    expect_verdict(
        verdict_of([&](FaultCounts& counts) {
            counts = is_valid_init_input_internal(common, sensors.data(), 2);
        }),
        {"[ERR] IS0017 Unrecognized EIS operation_mode, 104",
         "[ERR] IS0017 Invalid frame_fps. Only 24, 30, 60 are supported, 25",
         "[ERR] IS0017 Invalid input frame dimension (1920, 0) - sensor #0",
         "[HIGH] IS0530 sensor #0" + no_ifovc,
         "[ERR] IS0003 Warning focal length value for sensor #1 might be invalid: 500",
         "[HIGH] IS0530 sensor #1" + no_ifovc,
         "[HIGH] IS1026 Invalid OIS init data. is_ois_enabled is true but for all sensors OIS "
         "frequency is set to zero. OIS data will not be used",
         "[HIGH] IS0003 Invalid iFOVC init data. is_ifovc_enabled is true but for all sensors "
         "iFOVC "
         "frequency is set to zero. iFOVC data will not be used",
         "[HIGH] IS0003 Invalid DIS init data. is_dis_enabled is true but for all sensors DIS "
         "enable bit is set to zero. DIS data will not be used",
         "[HIGH] IS1026 Invalid noise floor. Noise floor should be the same in all sensors. Using "
         "sensor #0 value: 0.003000"},
        {2, 4, 3}, "all of it");
}

TEST(TuningSlots, NothingIsKeptBeyondTheLast) {
    struct Row {
        float (*get)(const is_tessaline_info_s*, uint32_t);
        void (*set)(is_tessaline_info_s*, uint32_t, float);
        uint32_t slots;
    };
    constexpr Row kRows[] = {
        {eis_tuning_get_general_model_parameter, eis_tuning_set_general_model_parameter, 96},
        {eis_tuning_get_ois, eis_tuning_set_ois, 16},
        {eis_tuning_get_behaviour, eis_tuning_set_behaviour, 16},
        {eis_tuning_get_dis, eis_tuning_set_dis, 32},
    };
    for (const Row& row : kRows) {
        is_tessaline_info_s tuning{};
        const is_tessaline_info_s untouched{};
        row.set(&tuning, row.slots, 5.0f);
        EXPECT_EQ(std::memcmp(&tuning, &untouched, sizeof tuning), 0) << row.slots;
        row.set(&tuning, row.slots - 1, 5.0f);
        EXPECT_EQ(row.get(&tuning, row.slots - 1), 5.0f);
        EXPECT_EQ(row.get(&tuning, row.slots), 0.0f);
    }
    EXPECT_EQ(eis_tuning_as_u32(4294967296.0f), 0u);
}

}  // namespace
}  // namespace steadywarp::test
