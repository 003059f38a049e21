// SPDX-License-Identifier: Apache-2.0
// Damaged input: whatever stands in a file, a reader gives a recording that keeps its promises or
// one line that names a place in the file.
#include <gtest/gtest.h>

#include <functional>

#include "input/camera.hpp"
#include "input/frames_reader.hpp"
#include "input/gyro_reader.hpp"
#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

const std::string kGyroCsv =
    "t_us,gx,gy,gz\n1000,0.1,-2e-3,3\n2000,0.5,1,2\n3500,-1,1e2,0\n3500,-1,1e2,0\n9000,1,1,1\n";
const std::string kGyroLog =
    "CAMERA IMU LOG\nversion,1.3\nid,x\norientation,yxz\nframe_readout_time,16.5\n"
    "frame_readout_direction,1\ntscale,0.001\ngscale,0.01\nt,gx,gy,gz\n0,1,2,3\n2.5,-4,5e1,6\n";
const std::string kFrames =
    "frame,sof_us,exposure_us,readout_us\n1,1000,,\n2,34000,5000,20000\n3,67000,,1\n";
const std::string kCamera =
    "; comment\n[common]\nis_type = 4\nframe_fps = 60\n[sensor_data]\nnum_sensors = 2\n"
    "[sensor_data\\idx0]\nsensor_mount_angle = 270\nldc_in2out_width = 8\n"
    "ldc_in2out_height = 6\nldc_in2out_num_rows = 2\nldc_in2out_num_cols = 1\n"
    "ldc_in2out_extrapolate_type = 0\nldc_in2out_grid_x = 1 2\nldc_in2out_grid_y = 3 -4\n"
    "[sensor_data\\idx1\\ois]\ndata_conversion_x = 1 2 3 4 5 6 7 8 9 10\nraw_offset = 0.5\n"
    "[test]\nAPI_version = 1.3.2\n";

/// The fault of reading a text, or nothing; promises are checked on the way.
using Reader = std::function<std::optional<Fault>(const std::string&)>;

std::optional<Fault> gyro(const std::string& text) {
    const auto result = parse_gyro(text, "f");
    if (!result.ok()) {
        return result.fault();
    }
    const auto& samples = result.value().samples;
    EXPECT_GE(samples.size(), 2u);
    for (size_t i = 1; i < samples.size(); ++i) {
        EXPECT_GT(samples[i].t_us, samples[i - 1].t_us);
        for (const double rate : samples[i].rate) {
            EXPECT_LE(std::abs(rate), kLargestRate);
        }
    }
    EXPECT_GT(measure_spacing(samples).rate_hz, 0.0);
    return std::nullopt;
}

std::optional<Fault> frames(const std::string& text) {
    const auto result = parse_frames(text, "f", {});
    if (!result.ok()) {
        return result.fault();
    }
    for (const Frame& frame : result.value().frames) {
        EXPECT_LT(frame.readout_us, result.value().period_us);
    }
    return std::nullopt;
}

std::optional<Fault> camera(const std::string& text) {
    const auto result = parse_camera(text, "f");
    if (!result.ok()) {
        return result.fault();
    }
    const Camera& c = result.value();
    EXPECT_TRUE(c.sensors.size() >= 1 && c.sensors.size() <= EIS_MAX_NUM_SENSORS);
    EXPECT_TRUE(device_to_camera(c.sensors[0].camera_position, c.sensors[0].sensor_mount_angle));
    for (const auto& owned : c.grids) {
        EXPECT_EQ(owned->points.size(), size_t{owned->grid.numRows} * owned->grid.numColumns);
    }
    return std::nullopt;
}

const struct {
    const char* name;
    const std::string& text;
    Reader read;
} kReaders[] = {
    {"gyro csv", kGyroCsv, gyro},
    {"gyro log", kGyroLog, gyro},
    {"frames", kFrames, frames},
    {"camera", kCamera, camera},
};

void expect_one_line(const Fault& fault, const std::string& text) {
    const auto lines = static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_GE(fault.line, 1u) << text;
    EXPECT_LE(fault.line, lines + 1) << text;
    for (const char c : fault.text()) {
        ASSERT_TRUE(c >= ' ' && c <= '~') << fault.text();
    }
}

TEST(DamagedInput, CutAtEveryByte) {
    for (const auto& reader : kReaders) {
        ASSERT_FALSE(reader.read(reader.text)) << reader.read(reader.text)->text();
        size_t refused = 0;
        for (size_t length = 0; length < reader.text.size(); ++length) {
            const std::string text = reader.text.substr(0, length);
            if (const auto fault = reader.read(text)) {
                expect_one_line(*fault, text);
                ++refused;
            }
        }
        EXPECT_GT(refused, reader.text.size() / 20) << reader.name;
    }
}

TEST(DamagedInput, BytesReplacedDoubledAndRemoved) {
    constexpr uint64_t kSeed = 20240607;
    SCOPED_TRACE(kSeed);
    using std::string_view_literals::operator""sv;
    constexpr std::string_view kBytes = "\0\n\r ,;=[]\\.-+eEnaif0123456789\xFF\x80x"sv;
    Random random(kSeed);
    for (const auto& reader : kReaders) {
        size_t refused = 0;
        size_t taken = 0;
        for (int round = 0; round < 4000; ++round) {
            std::string text = reader.text;
            for (uint64_t hits = 1 + random.next() % 4; hits > 0; --hits) {
                const size_t at = random.next() % text.size();
                const char byte = kBytes[random.next() % kBytes.size()];
                switch (random.next() % 3) {
                    case 0:
                        text[at] = byte;
                        break;
                    case 1:
                        text.insert(at, 1, byte);
                        break;
                    default:
                        text.erase(at, 1 + random.next() % 8);
                        break;
                }
            }
            if (const auto fault = reader.read(text)) {
                expect_one_line(*fault, text);
                ++refused;
            } else {
                ++taken;
            }
        }
        EXPECT_GT(refused, 400u) << reader.name;
        EXPECT_GT(taken, 100u) << reader.name;
    }
}

}  // namespace
}  // namespace steadywarp::tool
