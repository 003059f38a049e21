// SPDX-License-Identifier: Apache-2.0
// What an instance refuses of the distortion grids that it is given, and in which words.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/records.hpp"

namespace steadywarp::test {
namespace {

using Sensor = is_init_sensor_data;

struct Row {
    const char* what;
    std::function<void(Sensor&)> spoil;
    bool is_refused;
    const char* line;
    const char* counts;  // errors, warnings, infos of the closing line; NULL: there is none
};

void check(const is_init_common_data& common, const Sensor& right, const std::vector<Row>& rows) {
    eis_context* context = nullptr;
    EXPECT_EQ(log_of([&] { eis2_initialize(&context, &common, &right, 1); }), "");
    ASSERT_NE(context, nullptr);
    eis2_deinitialize(&context);
    for (const Row& row : rows) {
        Sensor sensor = right;
        row.spoil(sensor);
        uint32_t status = 0;
        const std::string log =
            log_of([&] { status = eis2_initialize(&context, &common, &sensor, 1); });
        EXPECT_EQ(status, row.is_refused ? EIS_ERROR_INVALID_INPUT : EIS_SUCCESS)
            << row.what << log;
        EXPECT_EQ(context == nullptr, row.is_refused) << row.what;
        EXPECT_EQ(count_of(log, row.line), 1u) << row.what << log;
        const std::string closing = "(# errors, # warnings # info) : ";
        EXPECT_EQ(count_of(log, closing), row.counts != nullptr ? 1u : 0u) << row.what << log;
        if (row.counts != nullptr) {
            EXPECT_EQ(count_of(log, closing + row.counts), 1u) << row.what << log;
        }
        if (context != nullptr) {
            eis2_deinitialize(&context);
        }
    }
}

TEST(Initialize, JudgesDistortionGrids) {
    std::vector<NcLibWarpGridCoord> nodes(NC_LIB_ICA_GRID_MAX_POINTS);
    for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
        nodes[k] = {60.0f * (static_cast<float>(k % 35) - 17.0f),
                    45.0f * (static_cast<float>(k / 35) - 13.0f)};
    }
    const NcLibWarpGrid right_grid = {true,         {kWidth, kHeight},
                                      27,           35,
                                      nodes.data(), EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                                      nullptr};
    NcLibWarpGrid other = right_grid;
    Sensor right = valid_sensor();
    right.tuning.lens_distortion_correction.ldc_grid_source = 1;
    right.ldc_in2out = right.ldc_out2in = &right_grid;
    right.ldc_calib_domain = 1;
    const auto with = [&](auto&& change) {
        return [&, change](Sensor& s) {
            other = right_grid;
            change(other);
            s.ldc_in2out = &other;
        };
    };
    check(valid_common(), right,
          {
              {"one switched off", with([](NcLibWarpGrid& g) { g.enable = false; }), true,
               "LDC configuration types mismatch - sensor #0", "(1, 0, 0)"},
              {"corners for one", with([&](NcLibWarpGrid& g) { g.gridExtrapolate = nodes.data(); }),
               true, "LDC configuration types mismatch - sensor #0", "(1, 0, 0)"},
              {"another size", with([](NcLibWarpGrid& g) { g.numRows = 51; }), true,
               "LDC in2out configuration not supported, numRows 51- sensor #0", "(2, 0, 0)"},
              {"one is missing", [](Sensor& s) { s.ldc_in2out = nullptr; }, true,
               "LDC configuration mismatch - sensor #0", "(1, 0, 0)"},
              {"a front end without a height", [](Sensor& s) { s.ife_input_frame_height = 0; },
               true, "[ERR]  IS0017: V2: is_valid_init_ife_sizes(", "(1, 0, 0)"},
              {"which grids on the full sensor do without",
               [](Sensor& s) {
                   s.ldc_calib_domain = 0;
                   s.ife_input_frame_undistorted_width = 0;
               },
               false, "Invalid ife_input_frame_undistorted_width 0 - sensor #0", "(0, 1, 0)"},
              {"which tuned grids need too",
               [](Sensor& s) {
                   s.tuning.lens_distortion_correction = {};
                   s.tuning.lens_distortion_correction.ldc_grid_enable = 1;
                   s.tuning.lens_distortion_correction.ldc_calib_domain = 1;
                   s.ldc_in2out = s.ldc_out2in = nullptr;
                   s.ife_input_frame_width = 0;
               },
               true, "[ERR]  IS0017: V2: is_valid_init_ife_sizes(", "(1, 0, 0)"},
          });
}

}  // namespace
}  // namespace steadywarp::test
