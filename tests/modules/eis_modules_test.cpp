// SPDX-License-Identifier: Apache-2.0
// The stabilizer's tuning modules and their way into its record.
#include <gtest/gtest.h>

#include <limits>

#include "modules/module_payload.hpp"
#include "steadywarp/eis.h"
#include "steadywarp/eis_tuning.h"
#include "steadywarp/tuning/modules/eis_1_0_0.h"
#include "steadywarp/tuning/modules/eis_1_1_0.h"
#include "steadywarp/tuning/modules/eis_1_2_0.h"
#include "steadywarp/tuning/modules/eis_1_3_0.h"
#include "steadywarp/tuning/tuningsetmanager.h"

namespace {

using Eis11 = eis_1_1_0::tessaline_eis11Type;
using Eis12 = eis_1_2_0::tessaline_eis12Type;
using Eis13 = eis_1_3_0::tessaline_eis13Type;
using Record = is_tessaline_info_s;

// Large for the stack, and zeroed.
template <typename T>
std::unique_ptr<T> Zeroed() {
    return std::make_unique<T>();
}

// Numbers that tell every 32-bit slot apart.
template <typename T>
void Number(T& values) {
    auto* words = reinterpret_cast<unsigned char*>(&values);
    for (size_t i = 0; i < sizeof values / 4; ++i) {
        const auto word = static_cast<uint32_t>(i + 1000);
        std::memcpy(words + i * 4, &word, sizeof word);
    }
}

std::vector<uint32_t> Words(const Record& record) {
    std::vector<uint32_t> words(sizeof record / 4);
    std::memcpy(words.data(), &record, sizeof record);
    return words;
}

TEST(EisConversion, RefusesWhatIsNoModule) {
    const auto eis13 = Zeroed<Eis13>();
    const auto out = Zeroed<Record>();
    Number(*out);
    const std::vector<uint32_t> before = Words(*out);
    using Convert = uint32_t (*)(void*, unsigned long, Record*);
    const struct {
        Convert convert;
        unsigned long size;
        const char* name;
    } rows[] = {{eis_zelm_utility_v1_1_0_to_is_tessaline_info, 480, "v1_1_0"},
                {eis_zelm_utility_v1_2_0_to_is_tessaline_info, 55532, "v1_2_0"},
                {eis_zelm_utility_v1_3_0_to_is_tessaline_info, 56128, "v1_3_0"}};
    for (const auto& row : rows) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(row.convert(nullptr, row.size, out.get()), EIS_ERROR_INVALID_INPUT);
        EXPECT_EQ(row.convert(eis13.get(), row.size, nullptr), EIS_ERROR_INVALID_INPUT);
        std::string lines = testing::internal::GetCapturedStderr();
        const std::string start = std::string("[ERR]  IS0003: V2: eis_zelm_utility_") + row.name;
        EXPECT_EQ(lines.rfind(start, 0), 0u) << lines;
        EXPECT_NE(lines.find("): NULL Input\n"), std::string::npos) << lines;
        for (const unsigned long size : {row.size - 1, row.size + 1, 0ul}) {
            testing::internal::CaptureStderr();
            EXPECT_EQ(row.convert(eis13.get(), size, out.get()), EIS_ERROR_INVALID_INPUT);
            lines = testing::internal::GetCapturedStderr();
            EXPECT_NE(lines.find("Invalid input struct size (expected, received): (" +
                                 std::to_string(row.size) + ", " + std::to_string(size) + ")\n"),
                      std::string::npos)
                << lines;
        }
    }
    EXPECT_EQ(Words(*out), before);
}

TEST(EisConversion, Version130IsTheRecord) {
    const auto in = Zeroed<Eis13>();
    Number(*in);
    const auto out = Zeroed<Record>();
    ASSERT_EQ(eis_zelm_utility_v1_3_0_to_is_tessaline_info(in.get(), sizeof *in, out.get()),
              EIS_SUCCESS);
    const std::vector<uint32_t> words = Words(*out);
    for (size_t i = 0; i < words.size(); ++i) {
        ASSERT_EQ(words[i], 1010 + i) << i;  // ten words of head
    }
    // And the names mean the same on both sides.
    auto const& reserve = in->tessaline_eis13_reserve;
    EXPECT_EQ(out->top.lens_pos_orientation_axis_z, reserve.top.lens_pos_orientation_axis_z);
    EXPECT_EQ(out->general.focal_length, reserve.general.focal_length);
    EXPECT_EQ(out->timing.ifovc_offset, reserve.timing.ifovc_offset);
    EXPECT_EQ(out->blur_masking.enable, reserve.blur_masking.enable);
    EXPECT_EQ(out->lens_distortion_correction.image_size_undistorted_y,
              reserve.lens_distortion_correction.image_size_undistorted_y);
    EXPECT_EQ(out->ois.center_response_time_ms, reserve.ois.center_response_time_ms);
    EXPECT_EQ(out->dis.confidence_threshold, reserve.dis.confidence_threshold);
    EXPECT_EQ(out->z_lens_pos.lut_len, reserve.z_lens_pos.lut_len);
}

// Every word that a conversion writes is named here; all others must be 0.
class WordList {
  public:
    explicit WordList(const Record& record) : m_words(Words(record)), m_begin(&record) {}
    template <typename T>
    void Take(const T& field, std::vector<T> wanted, const char* name) {
        const auto offset = reinterpret_cast<const unsigned char*>(&field) -
                            reinterpret_cast<const unsigned char*>(m_begin);
        for (size_t i = 0; i < wanted.size(); ++i) {
            uint32_t word;
            std::memcpy(&word, &wanted[i], sizeof word);
            uint32_t& found = m_words[static_cast<size_t>(offset) / 4 + i];
            EXPECT_EQ(found, word) << name << " " << i;
            found = 0;
        }
    }
    void ExpectNothingElse() const {
        for (size_t i = 0; i < m_words.size(); ++i) {
            EXPECT_EQ(m_words[i], 0u) << "word " << i;
        }
    }

  private:
    std::vector<uint32_t> m_words;
    const Record* m_begin;
};

#define TAKE(field, ...) words.Take(out->field, {__VA_ARGS__}, #field)

template <typename T, size_t count>
std::vector<T> All(const T (&table)[count]) {
    return std::vector<T>(table, table + count);
}

// The float whose bits Number() left in slot `index` counted from `first`.
float NumberedFloat(size_t index) {
    const auto word = static_cast<uint32_t>(index + 1000);
    float value;
    std::memcpy(&value, &word, sizeof value);
    return value;
}

TEST(EisConversion, Version110) {
    const auto in = Zeroed<Eis11>();
    Number(*in);
    const auto out = Zeroed<Record>();
    Number(*out);
    ASSERT_EQ(eis_zelm_utility_v1_1_0_to_is_tessaline_info(in.get(), sizeof *in, out.get()),
              EIS_SUCCESS);
    auto const& reserve = in->tessaline_eis11_reserve;
    WordList words(*out);
    // Slots from the begin of the type: ten of head, then general in its order.
    const float y = NumberedFloat(11);
    TAKE(general.minimal_total_margin, NumberedFloat(10));
    TAKE(top.requested_total_margins_y_fhd_30, y);
    TAKE(top.requested_total_margins_y_fhd_60, y);
    TAKE(top.requested_total_margins_y_fhd_120, y);
    TAKE(top.requested_total_margins_y_4k_30, y);
    TAKE(top.requested_total_margins_y_4k_60, y);
    TAKE(top.requested_total_margins_y_4k_120, y);
    TAKE(top.requested_total_margins_y_8k_30, y);
    TAKE(top.requested_total_margins_y_8k_60, y);
    TAKE(top.requested_total_margins_y_8k_120, y);
    TAKE(general.focal_length, 1012u);
    TAKE(top.gyro_frequency, 1013u);
    TAKE(general.gyro_noise_floor, NumberedFloat(14));
    TAKE(general.res_param_1, NumberedFloat(15), NumberedFloat(16), NumberedFloat(17),
         NumberedFloat(18), NumberedFloat(19), NumberedFloat(20), NumberedFloat(21),
         NumberedFloat(22), NumberedFloat(23), NumberedFloat(24));
    words.Take(out->general.res_lut_param_1_tab[0],
               All(reserve.general.res_lut_param_1_tab.res_lut_param_1), "table 1");
    words.Take(out->general.res_lut_param_2_tab[0],
               All(reserve.general.res_lut_param_2_tab.res_lut_param_2), "table 2");
    words.Take(out->general.res_lut_param_3_tab[0],
               All(reserve.general.res_lut_param_3_tab.res_lut_param_3), "table 3");
    TAKE(timing.s3d_offset, 1105);  // 10 + 15 + 80 slots before it
    TAKE(blur_masking.enable, 1u);
    TAKE(blur_masking.min_strength, NumberedFloat(114), NumberedFloat(115), NumberedFloat(116),
         NumberedFloat(117));
    TAKE(blur_masking.pan_min_threshold, NumberedFloat(118));
    TAKE(blur_masking.pan_max_threshold, NumberedFloat(119));
    TAKE(lens_distortion_correction.ldc_grid_source, 1u);
    words.ExpectNothingElse();
}

// A module of version 1.2.0 with a number in every field that the conversion may read.
std::unique_ptr<Eis12> MakeEis12(uint32_t source, uint32_t enable) {
    auto in = Zeroed<Eis12>();
    auto& reserve = in->tessaline_eis12_reserve;
    Number(*in);
    auto& general = reserve.general;
    for (float& slot : general.res_lut_param_1_tab.res_lut_param_1) {
        slot = 0.5f;
    }
    const float settings[] = {2.0f, 4.0f, 3.0f, 5.0f, 1.9f, 7000.0f, 40.0f, 0.25f, 0.5f, -2.9f};
    std::copy(std::begin(settings), std::end(settings),
              general.res_lut_param_1_tab.res_lut_param_1);
    general.focal_length = 1500;
    general.res_lut_param_3_tab.res_lut_param_3[0] = 200;
    const float axes[] = {-2.0f, 1.75f, std::numeric_limits<float>::quiet_NaN()};
    std::copy(std::begin(axes), std::end(axes), reserve.top.res_lut_param_0_tab.res_lut_param_0);
    auto& distortion = reserve.lens_distortion_correction;
    distortion.ldc_grid_source = source;
    distortion.ldc_grid_enable = enable;
    return in;
}

void TakeCommon12(WordList& words, const Record* out, const Eis12& in) {
    auto const& reserve = in.tessaline_eis12_reserve;
    // Five slots of head; top: margin, nine margins, nine buffer sizes, four rates.
    const float* margin[] = {
        &out->top.requested_total_margins_y_fhd_30,  &out->top.requested_total_margins_y_fhd_60,
        &out->top.requested_total_margins_y_fhd_120, &out->top.requested_total_margins_y_4k_30,
        &out->top.requested_total_margins_y_4k_60,   &out->top.requested_total_margins_y_4k_120,
        &out->top.requested_total_margins_y_8k_30,   &out->top.requested_total_margins_y_8k_60,
        &out->top.requested_total_margins_y_8k_120};
    for (size_t i = 0; i < 9; ++i) {
        words.Take(*margin[i], {NumberedFloat(6 + i)}, "margin");
    }
    TAKE(general.minimal_total_margin, NumberedFloat(5));
    TAKE(top.future_buffer_size_fhd_30, 1015u, 1016u, 1017u, 1018u, 1019u, 1020u, 1021u, 1022u,
         1023u);
    TAKE(top.gyro_frequency, 1024u, 1025u, 1026u, 1027u);
    TAKE(top.ifovc_frequency, 200u);
    TAKE(top.lens_pos_orientation_axis_x, -2, 1, 0);
    words.Take(out->top.res_lut_param_0_tab.res_lut_param_0[0],
               All(reserve.top.res_lut_param_0_tab.res_lut_param_0), "table 0");
    TAKE(general.focal_length, 1500u);
    TAKE(general.gyro_noise_floor, NumberedFloat(61));
    TAKE(general.ois_noise_floor, 0.25f);
    TAKE(general.output_grid_precision, 1065u);
    TAKE(general.res_param_1, NumberedFloat(66), NumberedFloat(67), NumberedFloat(68),
         NumberedFloat(69), NumberedFloat(70), NumberedFloat(71), NumberedFloat(72),
         NumberedFloat(73), NumberedFloat(74), NumberedFloat(75));
    words.Take(out->general.res_lut_param_1_tab[0],
               All(reserve.general.res_lut_param_1_tab.res_lut_param_1), "table 1");
    words.Take(out->general.res_lut_param_2_tab[0],
               All(reserve.general.res_lut_param_2_tab.res_lut_param_2), "table 2");
    words.Take(out->general.res_lut_param_3_tab[0],
               All(reserve.general.res_lut_param_3_tab.res_lut_param_3), "table 3");
    TAKE(timing.s3d_offset, 1156, 1157, 1158, 1159, -2);  // 5 + 55 + 96 slots before them
    TAKE(blur_masking.enable, 1u);
    TAKE(blur_masking.min_strength, NumberedFloat(161), NumberedFloat(162), NumberedFloat(163),
         NumberedFloat(164), NumberedFloat(165), NumberedFloat(166), NumberedFloat(167),
         NumberedFloat(168));
    TAKE(ois.center_command_enable, 1u, 7000u, 40u);
    // 1500 * 3 * 4 / 1000 / 2 and 1500 * 5 * 4 / 1000 / 2
    words.Take(out->ois.data_conversion_x_tab[1], {9.0f}, "x factor");
    words.Take(out->ois.data_conversion_y_tab[1], {15.0f}, "y factor");
    TAKE(lens_distortion_correction.ldc_grid_source,
         reserve.lens_distortion_correction.ldc_grid_source);
    TAKE(lens_distortion_correction.ldc_grid_enable,
         reserve.lens_distortion_correction.ldc_grid_enable);
}

TEST(EisConversion, Version120WithoutGrids) {
    for (const auto& [source, enable] : {std::pair{1u, 1u}, {0u, 0u}, {2u, 0u}}) {
        const auto in = MakeEis12(source, enable);
        const auto out = Zeroed<Record>();
        Number(*out);
        ASSERT_EQ(eis_zelm_utility_v1_2_0_to_is_tessaline_info(in.get(), sizeof *in, out.get()),
                  EIS_SUCCESS);
        WordList words(*out);
        TakeCommon12(words, out.get(), *in);
        words.ExpectNothingElse();
    }
}

TEST(EisConversion, Version120WithGrids) {
    const auto in = MakeEis12(0, 5);
    auto& distortion = in->tessaline_eis12_reserve.lens_distortion_correction;
    distortion.ldc_calib_domain = 2;
    distortion.distorted_input_to_undistorted_ldc_grid_geometry = 1;
    distortion.undistorted_to_distorted_input_ldc_grid_geometry = 0;
    distortion.image_size_distorted_x = 1000;
    distortion.image_size_distorted_y = 3000;
    distortion.image_size_undistorted_x = 4096;
    distortion.image_size_undistorted_y = 3;
    auto& to = distortion.distorted_input_to_undistorted_ldc_grid_x_tab
                   .distorted_input_to_undistorted_ldc_grid_x;
    auto& to_y = distortion.distorted_input_to_undistorted_ldc_grid_y_tab
                     .distorted_input_to_undistorted_ldc_grid_y;
    auto& from = distortion.undistorted_to_distorted_input_ldc_grid_x_tab
                     .undistorted_to_distorted_input_ldc_grid_x;
    auto& from_y = distortion.undistorted_to_distorted_input_ldc_grid_y_tab
                       .undistorted_to_distorted_input_ldc_grid_y;
    for (int32_t i = 0; i < 3417; ++i) {
        to[i] = 32 * (i - 1000);  // 4096 / 8192 / 16 of it is i - 1000
        to_y[i] = 131072 * i;     // 3 / 8192 / 16 of it is 3 i
        from[i] = 16 * 8192;      // the whole picture: its height, on both axes
        from_y[i] = -16 * 4096;
    }
    const auto out = Zeroed<Record>();
    ASSERT_EQ(eis_zelm_utility_v1_2_0_to_is_tessaline_info(in.get(), sizeof *in, out.get()),
              EIS_SUCCESS);
    std::vector<float> x(3417), y(3417), full(945, 3000.0f), half(945, -1500.0f);
    for (int i = 0; i < 3417; ++i) {
        x[static_cast<size_t>(i)] = static_cast<float>(i - 1000);
        y[static_cast<size_t>(i)] = static_cast<float>(3 * i);
    }
    WordList words(*out);
    TakeCommon12(words, out.get(), *in);
    auto const& grids = out->lens_distortion_correction;
    TAKE(lens_distortion_correction.ldc_calib_domain, 2u);
    words.Take(grids.distorted_input_to_undistorted_ldc_grid_x_tab[0], x, "to x");
    words.Take(grids.distorted_input_to_undistorted_ldc_grid_y_tab[0], y, "to y");
    words.Take(grids.undistorted_to_distorted_input_ldc_grid_x_tab[0], full, "from x");
    words.Take(grids.undistorted_to_distorted_input_ldc_grid_y_tab[0], half, "from y");
    TAKE(lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_geometry, 1u);
    TAKE(lens_distortion_correction.image_size_distorted_x, 1000u, 3000u, 4096u, 3u);
    // 5 + 55 + 96 + 4 + 9 slots, three of the group, and grids with their geometries before it.
    const size_t model = 172 + 4 * 3417 + 2;
    TAKE(lens_distortion_correction.ldc_model_type, static_cast<uint32_t>(model + 1000));
    words.Take(grids.model_parameters_tab[0], All(distortion.model_parameters_tab.model_parameters),
               "model");
    TAKE(lens_distortion_correction.focal_length_x, NumberedFloat(model + 33),
         NumberedFloat(model + 34), NumberedFloat(model + 35), NumberedFloat(model + 36));
    words.ExpectNothingElse();
}

TEST(EisConversion, Version120RoundsInSinglePrecision) {
    const auto in = MakeEis12(0, 1);
    auto& reserve = in->tessaline_eis12_reserve;
    reserve.lens_distortion_correction.image_size_undistorted_x = 4001;
    reserve.lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_x_tab
        .distorted_input_to_undistorted_ldc_grid_x[0] = 123456789;
    reserve.general.focal_length = 16777217;  // the first number that no float holds
    float* settings = reserve.general.res_lut_param_1_tab.res_lut_param_1;
    settings[0] = 3.0f;
    settings[1] = 0.7f;
    settings[2] = 1.1f;
    const auto out = Zeroed<Record>();
    ASSERT_EQ(eis_zelm_utility_v1_2_0_to_is_tessaline_info(in.get(), sizeof *in, out.get()),
              EIS_SUCCESS);
    // With numpy's float32, one operation after the other.
    EXPECT_EQ(out->lens_distortion_correction.distorted_input_to_undistorted_ldc_grid_x_tab[0],
              3768544.25f);
    EXPECT_EQ(out->ois.data_conversion_x_tab[1], 4306.15185546875f);
}

TEST(EisConversion, Version120CutsWhatDoesNotFitToZero) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        float value;
        int32_t as_i32;
        uint32_t as_u32;
    } rows[] = {
        {0.0f, 0, 0u},
        {-0.9f, 0, 0u},
        {2147483520.0f, 2147483520, 2147483520u},
        {2147483648.0f, 0, 2147483648u},
        {-2147483648.0f, INT32_MIN, 0u},
        {-2147483904.0f, 0, 0u},
        {4294967296.0f, 0, 0u},
        {inf, 0, 0u},
        {-inf, 0, 0u},
        {nan, 0, 0u},
    };
    for (const auto& row : rows) {
        const auto in = MakeEis12(1, 0);
        auto& reserve = in->tessaline_eis12_reserve;
        float* settings = reserve.general.res_lut_param_1_tab.res_lut_param_1;
        settings[0] = 0.0f;
        settings[4] = settings[5] = settings[6] = settings[9] = row.value;
        reserve.top.res_lut_param_0_tab.res_lut_param_0[0] = row.value;
        const auto out = Zeroed<Record>();
        ASSERT_EQ(eis_zelm_utility_v1_2_0_to_is_tessaline_info(in.get(), sizeof *in, out.get()),
                  EIS_SUCCESS);
        EXPECT_EQ(out->top.lens_pos_orientation_axis_x, row.as_i32) << row.value;
        EXPECT_EQ(out->timing.ifovc_offset, row.as_i32) << row.value;
        EXPECT_EQ(out->ois.center_command_enable, row.as_u32) << row.value;
        EXPECT_EQ(out->ois.center_exposure_time_th, row.as_u32) << row.value;
        EXPECT_EQ(out->ois.center_response_time_ms, row.as_u32) << row.value;
        EXPECT_EQ(out->ois.data_conversion_x_tab[1], inf);
    }
}

// From a file to the record: the payload is read in the order and at the widths of the record.
TEST(EisModules, Version130ReadsThePayloadAsTheRecord) {
    std::string bytes;
    for (unsigned int i = 0; i < 56088 / 4; ++i) {
        char word[16];
        std::snprintf(word, sizeof word, "%02x%02x0000 ", i & 255, i >> 8);
        bytes += word;
    }
    TuningSetManager manager;
    ASSERT_TRUE(LoadImageBytes(
        manager, SampleBytes(std::string(ModesText()) +
                             ModuleText("eis13_sw", {1, 3, 0}, "Default|Sensor.0",
                                        "[{ i32 = [1, 3, 0] }, { text = \"t\" }, { bytes = \"" +
                                            bytes + "\" }]"))));
    const TuningMode path[] = {{0, 0, 0}, {1, 0, 0}, {2, 2, 0}};
    Eis13* values = manager.GetModule_eis13_sw(path, 3, nullptr);
    ASSERT_NE(values, nullptr);
    const auto out = Zeroed<Record>();
    ASSERT_EQ(eis_zelm_utility_v1_3_0_to_is_tessaline_info(values, sizeof *values, out.get()),
              EIS_SUCCESS);
    const std::vector<uint32_t> words = Words(*out);
    for (uint32_t i = 0; i < words.size(); ++i) {
        ASSERT_EQ(words[i], i);
    }
    EXPECT_EQ(manager.GetModule_eis12_sw(path, 3, nullptr), nullptr);
    values->Release();
}

// The word of zero in version 1.2.0 is not on file: the payload is 12 bytes of version, then 55512.
TEST(EisModules, Version120HasNoParameterVersion) {
    TuningSetManager manager;
    std::string bytes;
    for (unsigned int i = 0; i < 55512 / 4; ++i) {
        bytes += "2a000000";
    }
    ASSERT_TRUE(LoadImageBytes(
        manager, SampleBytes(std::string(ModesText()) +
                             ModuleText("eis12_sw", {1, 2, 0}, "Default",
                                        "[{ i32 = [1, 2, 0] }, { bytes = \"" + bytes + "\" }]"))));
    const TuningMode path[] = {{0, 0, 0}};
    Eis12* values = manager.GetModule_eis12_sw(path, 1, nullptr);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values->noParameterVersion, 0u);
    EXPECT_EQ(values->tessaline_eis12_reserve.lens_distortion_correction.image_size_undistorted_y,
              42u);
    char text[512];
    ASSERT_TRUE(values->GetValue(
        "tessaline_eis12_reserve.top.res_lut_param_0_tab.res_lut_param_0[31]", text, sizeof text));
    EXPECT_STREQ(text, "0.0");  // the float of bits 42 has no digit within ten decimals
}

static_assert(sizeof(eis_1_0_0::tessaline_eis10Type) == 40);
static_assert(offsetof(Eis13, parameter_version) == 16);
static_assert(sizeof(eis_1_2_0::tessaline_eis12_reserveType) == 55512);

}  // namespace
