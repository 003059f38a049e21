// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "input/camera.hpp"
#include "input/camera_keys.hpp"
#include "input/frames_reader.hpp"
#include "input/gyro_reader.hpp"
#include "input/text_file.hpp"

namespace steadywarp::tool {
namespace {

const std::string kLogHead =
    "CAMERA IMU LOG\nversion,1.3\nid,a,b\norientation,YxZ\nnote,one, two\ntscale,0.001\n"
    "gscale,0.5\nframe_readout_time,16.5\nt,gx,gy,gz,ax,ay,az\n";

std::string log_with(const std::string& from, const std::string& to) {
    std::string text = kLogHead + "0,2,4,6,0,0,0\n2,2,4,6,0,0,0\n";
    return text.replace(text.find(from), from.size(), to);
}

TEST(GyroReader, ReadsBothFormats) {
    const auto csv = parse_gyro("\xEF\xBB\xBFt_us, gx,gy,gz\r\n-5,1e-3,-2,3.5\r\n\n7,0,0,0\n", "f");
    ASSERT_TRUE(csv.ok()) << csv.fault().text();
    EXPECT_FALSE(csv.value().in_camera_axes);
    ASSERT_EQ(csv.value().samples.size(), 2u);
    EXPECT_EQ(csv.value().samples[0].t_us, -5);
    EXPECT_EQ(csv.value().samples[0].rate, (Vector3{1e-3, -2.0, 3.5}));

    const auto log = parse_gyro(kLogHead + "0,2,4,6,0,0,0\n2.5,-2,0.5,0,1,1,1\n", "f");
    ASSERT_TRUE(log.ok()) << log.fault().text();
    EXPECT_TRUE(log.value().in_camera_axes);
    EXPECT_EQ(log.value().readout_us, 16500u);
    EXPECT_EQ(log.value().samples[1].t_us, 2500);
    // The log's axes are right, up, back: camera axes are x, -y, -z of them, rates halved.
    EXPECT_EQ(log.value().samples[0].rate, (Vector3{1.0, -2.0, -3.0}));
}

TEST(GyroReader, LeavesOutRepeatedStampsAndMeasuresGaps) {
    std::string text = "t_us,gx,gy,gz\n";
    for (const char* t : {"0", "1000", "1000", "2000", "3000", "6000", "7000"}) {
        text += std::string(t) + ",0,0,0\n";
    }
    const auto log = parse_gyro(text, "f");
    ASSERT_TRUE(log.ok()) << log.fault().text();
    EXPECT_EQ(log.value().repeated_stamps, 1u);
    const GyroSpacing spacing = measure_spacing(log.value().samples);
    EXPECT_DOUBLE_EQ(spacing.rate_hz, 1000.0);
    EXPECT_EQ(spacing.gaps, 1u);
    EXPECT_EQ(spacing.longest_step_us, 3000);
}

TEST(GyroReader, NamesFileLineAndExpectation) {
    const std::string csv = "t_us,gx,gy,gz\n1,0,0,0\n";
    const struct {
        std::string text;
        const char* start;
    } rows[] = {
        {"", "f:1: expected a gyroscope log"},
        {"\n\n", "f:1: expected a gyroscope log"},
        {"time,gx,gy,gz\n1,0,0,0\n", "f:1: expected the header t_us,gx,gy,gz"},
        {"t_us,gx,gy,gz\n", "f:1: expected at least two samples"},
        {csv, "f:2: expected at least two samples"},
        {csv + "2,0,nan,0\n", "f:3: expected the rate gy"},
        {csv + "2,inf,0,0\n", "f:3: expected the rate gx"},
        {csv + "2,0,0,1001\n", "f:3: expected the rate gz"},
        {csv + "2,0,0,0.1x\n", "f:3: expected the rate gz"},
        {csv + "2,0,0,\n", "f:3: expected the rate gz"},
        {csv + "2,0,0\n", "f:3: expected 4 cells"},
        {csv + "2,0,0,0,0\n", "f:3: expected 4 cells"},
        {csv + "2.5,0,0,0\n", "f:3: expected t_us as integer microseconds"},
        {csv + "99999999999999999999,0,0,0\n", "f:3: expected t_us as integer microseconds"},
        {csv + "4611686018427387904,0,0,0\n", "f:3: expected a time within"},
        {csv + "\n5,0,0,0\n4,0,0,0\n", "f:5: expected a time after that of the row before, 5 us"},
        {log_with("version,1.3\n", ""), "f:8: expected the key version"},
        {log_with("id,a,b\n", ""), "f:8: expected the key id"},
        {log_with("orientation,YxZ\n", ""), "f:8: expected the key orientation"},
        {log_with("tscale,0.001\n", ""), "f:8: expected the key tscale"},
        {log_with("gscale,0.5\n", ""), "f:8: expected the key gscale"},
        {log_with("YxZ", "YXZ"), "f:4: expected an orientation that does not mirror"},
        {log_with("YxZ", "YxY"), "f:4: expected orientation as the letters"},
        {log_with("YxZ", "Yx"), "f:4: expected orientation as the letters"},
        {log_with("version,1.3", "version,2"), "f:2: expected version"},
        {log_with("0.001", "0"), "f:6: expected tscale"},
        {log_with("0.5", "abc"), "f:7: expected gscale"},
        {log_with("t,gx,gy,gz,ax", "t,gy,gx,gz,ax"), "f:10: expected a key,value line"},
        {log_with("\n2,2,", "\n2,x,"), "f:11: expected the rate gx"},
        {log_with("\n2,2,", "\n2,"), "f:11: expected 7 cells"},
        {log_with("\n2,2,", "\nNaN,2,"), "f:11: expected the time t"},
        {log_with("t,gx,gy,gz,ax,ay,az\n0,2,4,6,0,0,0\n2,2,4,6,0,0,0\n", ""),
         "f:8: expected the column header"},
    };
    for (const auto& row : rows) {
        const auto result = parse_gyro(row.text, "f");
        ASSERT_FALSE(result.ok()) << row.start;
        const std::string text = result.fault().text();
        EXPECT_TRUE(text.starts_with(row.start)) << text << "\nwanted " << row.start;
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
}

// What the public header promises: every row of the table and every accepted orientation is a
// rotation, and exactly half of the 48 orientations are mirrors.
TEST(Axes, RowsAreRotationsAndInverseUndoes) {
    const auto determinant_of = [](const AxisMap& map) {
        Matrix3 m{};
        for (size_t i = 0; i < 3; ++i) {
            m[i * 3 + map.source[i]] = map.sign[i];
        }
        return determinant(m);
    };
    const Vector3 v = {1.0, 2.0, 3.0};
    for (uint32_t position : {0u, 1u}) {
        for (uint32_t angle : {0u, 90u, 180u, 270u}) {
            const AxisMap map = device_to_camera(position, angle).value();
            EXPECT_EQ(determinant_of(map), 1.0) << position << " " << angle;
            EXPECT_EQ(map_axes(inverse(map), map_axes(map, v)), v);
        }
    }
    EXPECT_EQ(map_axes(*device_to_camera(0, 90), v), (Vector3{-2.0, -1.0, -3.0}));
    EXPECT_EQ(map_axes(*device_to_camera(1, 270), v), (Vector3{2.0, -1.0, 3.0}));
    EXPECT_FALSE(device_to_camera(0, 45) || device_to_camera(2, 0));
    int proper = 0;
    int known = 0;
    constexpr std::string_view kLetters = "xyzXYZ";
    for (const char a : kLetters) {
        for (const char b : kLetters) {
            for (const char c : kLetters) {
                if (const auto map = log_to_camera(std::string{a, b, c})) {
                    ++known;
                    proper += is_proper(*map) ? 1 : 0;
                    EXPECT_EQ(is_proper(*map), determinant_of(*map) == 1.0) << a << b << c;
                }
            }
        }
    }
    EXPECT_EQ(known, 48);
    EXPECT_EQ(proper, 24);
    // A log that has camera axes already.
    EXPECT_EQ(map_axes(*log_to_camera("yxz"), v), v);
}

TEST(FramesReader, FillsEmptyCellsAndTellsThePeriod) {
    const auto frames = parse_frames(
        "frame,sof_us,exposure_us,readout_us\n3,1000000,,\n4,1033000,5000,\n6,1099000,,7\n", "f",
        {8000, 20000});
    ASSERT_TRUE(frames.ok()) << frames.fault().text();
    EXPECT_EQ(frames.value().period_us, 66000u);
    EXPECT_EQ(frames.value().frames[0].exposure_us, 8000u);
    EXPECT_EQ(frames.value().frames[1].exposure_us, 5000u);
    EXPECT_EQ(frames.value().frames[1].readout_us, 20000u);
    EXPECT_EQ(frames.value().frames[2].readout_us, 7u);

    const auto even = make_even_frames(1000, 101000, 30.0, {1, 2});
    ASSERT_EQ(even.value().frames.size(), 4u);
    EXPECT_EQ(even.value().frames[3].sof_us, 101000);
    EXPECT_EQ(even.value().frames[1].sof_us, 34333);
    EXPECT_EQ(even.value().frames[1].exposure_us, 1u);
    // An exposure that nobody knows is 10 ms, but leaves half of the frame time.
    EXPECT_EQ(make_even_frames(0, 100000, 30.0, {}).value().frames[0].exposure_us, 10000u);
    EXPECT_EQ(make_even_frames(0, 100000, 100.0, {}).value().frames[0].exposure_us, 5000u);
}

TEST(FramesReader, NamesFileLineAndExpectation) {
    const std::string head = "frame,sof_us,exposure_us,readout_us\n1,1000,,\n";
    const struct {
        std::string text;
        const char* start;
    } rows[] = {
        {"", "f:1: expected the header frame"},
        {"frame,sof\n", "f:1: expected the header frame"},
        {"frame,sof_us,exposure_us,readout_us\n", "f:1: expected at least one frame"},
        {head + "1,2000,,\n", "f:3: expected a frame number and a time above"},
        {head + "2,1000,,\n", "f:3: expected a frame number and a time above"},
        {head + "2,900,,\n", "f:3: expected a frame number and a time above"},
        {head + "-2,2000,,\n", "f:3: expected a frame number from 0"},
        {head + "2,2e3,,\n", "f:3: expected sof_us"},
        {head + "2,2000,nan,\n", "f:3: expected exposure_us"},
        {head + "2,2000,1000001,\n", "f:3: expected exposure_us"},
        {head + "2,2000,,-1\n", "f:3: expected readout_us"},
        {head + "2,2000,\n", "f:3: expected 4 cells"},
        {head + "2,2000,,1000\n", "f:3: expected a read-out shorter than the frame period"},
    };
    for (const auto& row : rows) {
        const auto result = parse_frames(row.text, "f", {});
        ASSERT_FALSE(result.ok()) << row.start;
        EXPECT_TRUE(result.fault().text().starts_with(row.start)) << result.fault().text();
    }
}

TEST(CameraReader, ReadsEveryKindOfKeyAndFollowsTheInputSize) {
    const auto camera = parse_camera(
        "; a comment\n[common]\nis_type = 6 ; no stabilizer\nbuffer_delay = 2\n"
        "[sensor_data]\nnum_sensors = 2\n"
        "[sensor_data\\idx0]\ninput_width = 800\ninput_height = 600\noptical_center_x = -2.5\n"
        "[sensor_data\\idx0\\timing]\ns3d_offset = -700\n"
        "[sensor_data\\idx1\\ois]\ndata_conversion_x = 1 2 3 4 5 6 7 8 9 1e-3\nfilter_mode = 2\n"
        "[sensor_data\\idx1\\selfie]\nface_distortion_prevention_kernel_increase = 2.5\n"
        "[sensor_data\\idx1]\nldc_in2out_width = 8\nldc_in2out_height = 6\n"
        "ldc_in2out_num_rows = 1\nldc_in2out_num_cols = 2\nldc_in2out_extrapolate_type = 0\n"
        "ldc_in2out_grid_x = 1 2\nldc_in2out_grid_y = 3 4\n"
        "[test]\nAPI_version = 1.3.2\n",
        "f");
    ASSERT_TRUE(camera.ok()) << camera.fault().text();
    const Camera& c = camera.value();
    EXPECT_EQ(c.common.is_type, 6u);
    EXPECT_EQ(c.common.buffer_delay, 2u);
    EXPECT_EQ(c.common.output_width, 800u);
    ASSERT_EQ(c.sensors.size(), 2u);
    EXPECT_EQ(c.sensors[0].ife_input_frame_undistorted_height, 600u);
    EXPECT_EQ(c.sensors[0].image_sensor_crop.windowWidth, 800.0f);
    EXPECT_EQ(c.sensors[0].optical_center_x, -2.5f);
    EXPECT_EQ(c.sensors[0].tuning.timing.s3d_offset, -700);
    EXPECT_EQ(c.sensors[0].tuning.general.focal_length, 1500u);
    EXPECT_EQ(c.sensors[1].input_width, 1920u);
    EXPECT_EQ(c.sensors[1].tuning.ois.data_conversion_x_tab[9], 1e-3f);
    EXPECT_EQ(eis_tuning_get_ois(&c.sensors[1].tuning, EIS_TUNING_OIS_FILTER_MODE), 2.0f);
    EXPECT_EQ(eis_tuning_get_behaviour(&c.sensors[1].tuning,
                                       EIS_TUNING_FACE_DISTORTION_PREVENTION_KERNEL_INCREASE),
              2.5f);
    ASSERT_NE(c.sensors[1].ldc_in2out, nullptr);
    EXPECT_EQ(c.sensors[1].ldc_in2out->grid[1].y, 4.0f);
    EXPECT_EQ(c.sensors[1].ldc_out2in, nullptr);
    EXPECT_EQ(c.test.size(), 1u);
}

// A wrong offset in the table would make two keys share bytes or touch none.
TEST(CameraReader, EveryKeyHasBytesOfItsOwn) {
    struct Records {
        is_init_common_data common;
        is_init_sensor_data sensor;
    };
    std::vector<bool> taken(sizeof(Records));
    for (const CameraKey& key : camera_keys()) {
        const auto records = std::make_unique<Records>();
        const std::vector<std::string_view> words(key.most, "1");
        ASSERT_TRUE(store_words(key, words, records->common, records->sensor))
            << key.group << " " << key.name;
        const auto* bytes = reinterpret_cast<const unsigned char*>(records.get());
        size_t touched = 0;
        for (size_t i = 0; i < sizeof(Records); ++i) {
            if (bytes[i] != 0) {
                EXPECT_FALSE(taken[i]) << key.group << " " << key.name;
                taken[i] = true;
                ++touched;
            }
        }
        EXPECT_GE(touched, key.most) << key.group << " " << key.name;
    }
    // common, sensor, top, general, timing, blur, ois, dis, selfie, motion, lens position, grids
    EXPECT_EQ(camera_keys().size(), 19u + 19 + 36 + 7 + 5 + 9 + 11 + 6 + 7 + 4 + 8 + 19);
}

TEST(CameraReader, NamesFileLineAndExpectation) {
    const std::string sensor = "[sensor_data\\idx0]\n";
    const struct {
        std::string text;
        const char* start;
    } rows[] = {
        {"[common]\nis_typ = 4\n", "f:2: expected a key of the section [common], found 'is_typ'"},
        {"[commons]\nis_type = 4\n", "f:2: expected a section of a camera file"},
        {"is_type = 4\n", "f:1: expected a section of a camera file"},
        {"[common]\nis_type\n", "f:2: expected [section] or key = value"},
        {"[common]\nis_type = 4\nis_type = 4\n", "f:3: expected the key 'is_type' once"},
        {"[common]\nis_type = four\n", "f:2: expected is_type as an integer"},
        {"[common]\nis_type = 4.5\n", "f:2: expected is_type as an integer"},
        {"[common]\nis_type = -1\n", "f:2: expected is_type as an integer"},
        {"[common]\nbuffer_delay = 65536\n", "f:2: expected buffer_delay as an integer from 0"},
        {"[common]\nis_ois_enabled = 2\n", "f:2: expected is_ois_enabled as 0 or 1"},
        {"[common]\noutput_width =\n", "f:2: expected output_width as an integer"},
        {"[sensor_data]\nnum_sensors = 17\n", "f:2: expected num_sensors from 1 to 16"},
        {"[sensor_data]\nnum_sensors = 0\n", "f:2: expected num_sensors from 1 to 16"},
        {"[sensor_data\\idx1]\ninput_width = 1\n", "f:2: expected a sensor below num_sensors"},
        {"[sensor_data\\idx0\\tip]\na = 1\n", "f:2: expected a key of the section"},
        {sensor + "sensor_mount_angle = 45\n", "f:2: expected sensor_mount_angle 0, 90, 180"},
        {sensor + "camera_position = 2\n", "f:2: expected camera_position 0 (rear)"},
        {sensor + "optical_center_x = nan\n", "f:2: expected optical_center_x as a number"},
        {sensor + "optical_center_x = 1e39\n", "f:2: expected optical_center_x as a number"},
        {"[sensor_data\\idx0\\ois]\ndata_conversion_y = 1 2\n",
         "f:2: expected data_conversion_y as 10 numbers"},
        {"[sensor_data\\idx0\\z_lens_position]\nlut_z_lens_pos =\n",
         "f:2: expected lut_z_lens_pos as 1 to 16 numbers"},
        {sensor + "ldc_out2in_width = 8\n", "f:2: expected ldc_out2in_height beside it"},
    };
    for (const auto& row : rows) {
        const auto result = parse_camera(row.text, "f");
        ASSERT_FALSE(result.ok()) << row.text;
        EXPECT_TRUE(result.fault().text().starts_with(row.start)) << result.fault().text();
    }
}

}  // namespace
}  // namespace steadywarp::tool
