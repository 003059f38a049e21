// SPDX-License-Identifier: Apache-2.0
// The real command in a process of its own: exit status, what it prints, what it leaves behind.
#include <sys/stat.h>

#include <bit>
#include <map>

#include "support/command_runner.hpp"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using steadywarp::test::content;
using steadywarp::test::Outcome;

size_t count_lines(const fs::path& path) {
    const std::string text = content(path);
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

class Command : public steadywarp::test::CommandTest {
  protected:
    Json summary() const { return json("out/summary.json"); }
};

/// A log of `count` samples at 500 Hz from one second on, still.
std::string still_log(int count) {
    std::string text = "t_us,gx,gy,gz\n";
    for (int i = 0; i < count; ++i) {
        text += std::to_string(1000000 + i * 2000) + ",0.001,0,0\n";
    }
    return text;
}

std::string last_line(const std::string& text) {
    const std::string body = text.substr(0, text.find_last_not_of('\n') + 1);
    return body.substr(body.rfind('\n') + 1);
}

TEST_F(Command, RefusesBadInputWithOneLineAndLeavesNothing) {
    file("gyro.csv", still_log(1000));
    file("nan.csv", "t_us,gx,gy,gz\n1,0,0,0\n2,nan,0,0\n");
    file("empty.csv", "");
    file("frames.csv", "frame,sof_us,exposure_us,readout_us\n1,1500000,,\n2,1533333,,\n");
    file("early.csv", "frame,sof_us,exposure_us,readout_us\n1,500,,\n2,33833,,\n");
    file("typo.ini", "[common]\nis_type = 4\noutput_wdth = 3\n");
    file("lens.ini", "[sensor_data\\idx0\\general]\nfocal_length = 20\n");
    file("shift.ini",
         "[common]\nis_ois_enabled = 1\n[sensor_data\\idx0\\top]\nois_frequency = 500\n");
    file("notdir", "");
    const struct {
        const char* arguments;
        const char* start;    ///< of the line, '@' as in run()
        bool library_speaks;  ///< its log lines come first
    } rows[] = {
        {"stabilize --out @/out --gyro @/none.csv", "@/none.csv: cannot be read", false},
        {"stabilize --out @/out --gyro @", "@: cannot be read", false},
        {"stabilize --out @/out --gyro @/nan.csv", "@/nan.csv:3: expected the rate gx", false},
        {"stabilize --out @/out --gyro @/empty.csv", "@/empty.csv:1: expected", false},
        {"stabilize --out @/out --gyro @/frames.csv", "@/frames.csv:1: expected the head", false},
        {"stabilize --out @/out --gyro @/gyro.csv --frames @/gyro.csv", "@/gyro.csv:1: ", false},
        {"stabilize --out @/out --gyro @/gyro.csv --frames @/early.csv",
         "@/early.csv: expected frames inside the time", false},
        {"stabilize --out @/out --gyro @/gyro.csv --readout-us 40000", "expected a read-out sho",
         false},
        {"stabilize --out @/out --camera @/none.ini", "@/none.ini: cannot be read", false},
        {"stabilize --out @/out --camera @/typo.ini", "@/typo.ini:3: expected a key", false},
        {"stabilize --out @/out --camera @/lens.ini", "@/lens.ini: expected a camera", true},
        {"stabilize --out @/out --camera @/shift.ini", "@/shift.ini: expected a camera", false},
        {"stabilize --out @/notdir", "@/notdir: expected a folder", false},
        {"stabilize --out @/no/such/out", "@/no/such/out: cannot be written", false},
        {"stabilize", "--out is required", false},
        {"stabilize --out @/out --fps 0", "--fps: ", false},
        {"stabilize --out @/out --frames @/frames.csv", "--frames requires --gyro", false},
        {"stabilize --out @/out --what", "The following argument was not expected", false},
        {"", "A subcommand is required", false},
    };
    for (const auto& row : rows) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.status, 2) << row.arguments;
        EXPECT_EQ(outcome.out, "") << row.arguments;
        std::string start = row.start;
        for (size_t at = 0; (at = start.find('@', at)) != std::string::npos;) {
            start.replace(at, 1, folder_.string());
        }
        const std::string line = row.library_speaks ? last_line(outcome.err) + "\n" : outcome.err;
        EXPECT_TRUE(line.starts_with("steadywarp: " + start)) << row.arguments << "\n" << line;
        EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << outcome.err;
        EXPECT_FALSE(fs::exists(folder_ / "out")) << row.arguments;
    }
}

TEST_F(Command, HelpShowsExamplesAndVersionTheLibrarys) {
    for (const char* arguments : {"--help", "stabilize --help"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_NE(outcome.out.find("Example"), std::string::npos) << arguments;
    }
    EXPECT_EQ(run("--version").out, "steadywarp 1.3.2\n");
}

TEST_F(Command, SteadiesTheBuiltInWalk) {
    const Outcome outcome = run("stabilize --out @/out --seed 4");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(count_lines(folder_ / "out/warps.csv"), 301u);
    EXPECT_EQ(count_lines(folder_ / "out/grids.csv"), 301u);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "out"), {}), 5);
    EXPECT_NE(outcome.out.find("ratio"), std::string::npos);
    const Json json = summary();
    EXPECT_EQ(json["frames"]["in"], 300);
    EXPECT_EQ(json["frames"]["out"], 300);
    EXPECT_EQ(json["gyro"]["gaps"], 0);
    const Json& fast = json["orientation_rms"][1];
    EXPECT_EQ(fast["above_hz"], 2.0);
    // About y the walk also turns, and following the turn costs some steadiness.
    constexpr double kLargestRatio[3] = {0.2, 0.5, 0.2};
    for (size_t axis = 0; axis < 3; ++axis) {
        // Shake of 0.06 rad/s from 1 to 9 Hz is some milliradians of angle above 2 Hz.
        EXPECT_GT(fast["before_rad"][axis], 1e-3);
        EXPECT_LT(fast["ratio"][axis], kLargestRatio[axis]);
    }
    // The shake of a hand fits into the margin.
    EXPECT_LT(json["crop_corners"]["largest_overshoot_px"], 0.0);
    EXPECT_EQ(json["crop_corners"]["frames_outside_input"], 0);
    // Every row has as many cells as the header.
    std::ifstream warps(folder_ / "out/warps.csv");
    for (std::string line; std::getline(warps, line);) {
        ASSERT_EQ(std::count(line.begin(), line.end(), ','), 37) << line;
    }
}

TEST_F(Command, RunsTheSameTwice) {
    ASSERT_EQ(run("stabilize --out @/out").status, 0);
    const std::string first = content(folder_ / "out/warps.csv");
    ASSERT_EQ(run("stabilize --out @/out").status, 0);
    EXPECT_EQ(content(folder_ / "out/warps.csv"), first);
    ASSERT_EQ(run("stabilize --out @/out --seed 2").status, 0);
    EXPECT_NE(content(folder_ / "out/warps.csv"), first);
}

TEST_F(Command, RunsWithoutStabilizer) {
    file("grid.ini", "[common]\nis_type = 6\n");
    const Outcome outcome = run("stabilize --out @/out --camera @/grid.ini");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(summary()["frames"]["out"], 300);
    EXPECT_EQ(summary()["orientation_rms"][0]["ratio"][0], 1.0);
}

// A log may start at time 0, which the library does not take, and in axes of its own.
TEST_F(Command, TakesAGyroLogFromTimeZero) {
    std::string text =
        "CAMERA IMU LOG\nversion,1.3\nid,x\norientation,yxz\ntscale,1e-6\ngscale,0.001\n"
        "frame_readout_time,20\nt,gx,gy,gz\n";
    for (int i = 0; i < 1000; ++i) {
        // 6 Hz about camera x, 0.2 rad/s.
        text += std::to_string(i * 2000) + "," +
                std::to_string(200.0 * std::cos(0.024 * M_PI * i)) + ",0,0\n";
    }
    file("log.gcsv", text);
    const Outcome outcome = run("stabilize --out @/out --gyro @/log.gcsv --fps 30");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Json json = summary();
    EXPECT_EQ(json["frames"]["in"], 60);
    // The first row of the first frame is before the log, so that frame has no warp.
    EXPECT_EQ(json["frames"]["outside_gyro_log"], 1);
    EXPECT_EQ(json["frames"]["dropped"], 0);
    const Json& before = json["orientation_rms"][1]["before_rad"];
    EXPECT_NEAR(before[0], 0.2 / (12.0 * M_PI) / std::sqrt(2.0), 2e-4);
    EXPECT_LT(before[1], 1e-9);
    EXPECT_EQ(content(folder_ / "out/warps.csv").find("\n0,"), std::string::npos);
    EXPECT_NE(content(folder_ / "out/warps.csv").find("\n1,33333,"), std::string::npos);
}

// From the text to the binary to the stream; the same tuning as INI gives the same bytes.
TEST_F(Command, TakesTheTuningFromAFile) {
    ASSERT_EQ(run("tuning build " STEADYWARP_EXAMPLES "/phone.toml -o @/phone.bin").status, 0);
    file("old.toml",
         "[[module]]\ntype = \"eis11_sw\"\nversion = \"1.1.0\"\nvalues = [{ i32 = [1, 1, 0] }, "
         "{ text = \"old\" }, { f32 = [0.15, 0] }, { u32 = [1600, 500] }, { f32 = 0.006 }, "
         "{ zeros = 360 }, { i32 = [-700, 0, 0, 0] }, { zeros = 44 }]\n");
    ASSERT_EQ(run("tuning build @/old.toml -o @/old.bin").status, 0);
    const std::string sensor = "[sensor_data\\idx0\\";
    const std::string video = sensor + "top]\ngyro_frequency = 500\n" + sensor +
                              "general]\nminimal_total_margin = 0.2\nfocal_length = 1450\n"
                              "gyro_noise_floor = 0.004\n" +
                              sensor + "timing]\ns3d_offset = 1200\n" + sensor +
                              "blur_masking]\nenable = 1\nmin_strength = 0.3\n"
                              "exposure_time_th = 0.008\nstart_decrease_at_blur = 4\n"
                              "end_decrease_at_blur = 12\n";
    const std::string old = sensor +
                            "general]\nminimal_total_margin = 0.15\nfocal_length = 1600\n"
                            "gyro_noise_floor = 0.006\n" +
                            sensor + "timing]\ns3d_offset = -700\n";
    const struct {
        const char* options;
        std::string camera;
    } rows[] = {
        {"--tuning @/phone.bin --mode 'Default|Sensor.0|Usecase.Video'", video},
        {"--tuning @/phone.bin --mode 'default|1.0|USECASE.2'", video},
        {"--tuning @/phone.bin --mode 'Default|Sensor.0'", ""},
        {"--tuning @/phone.bin --mode 'Default|Sensor.0|Usecase.Preview'", ""},
        {"--tuning @/phone.bin", ""},
        {"--tuning @/old.bin", old},
    };
    std::map<std::string, std::string> warps;
    for (const auto& row : rows) {
        Outcome outcome = run(std::string("stabilize --out @/out ") + row.options);
        ASSERT_EQ(outcome.status, 0) << row.options << outcome.err;
        EXPECT_EQ(summary()["frames"]["out"], 300);
        const std::string tuned = content(folder_ / "out/warps.csv");
        file("same.ini", "[common]\n" + row.camera);
        ASSERT_EQ(run("stabilize --out @/out --camera @/same.ini").status, 0);
        EXPECT_TRUE(content(folder_ / "out/warps.csv") == tuned) << row.options;
        warps[row.camera] = tuned;
    }
    EXPECT_EQ(warps.size(), 3u);
    EXPECT_NE(warps[video], warps[""]);
    EXPECT_NE(warps[old], warps[""]);
}

TEST_F(Command, RefusesATuningFileWithoutTheTuning) {
    ASSERT_EQ(run("tuning build " STEADYWARP_EXAMPLES "/phone.toml -o @/phone.bin").status, 0);
    file("other.toml",
         "[[module]]\ntype = \"aecDepth\"\nversion = \"1.0.0\"\n"
         "values = [{ i32 = [1, 0, 0] }, { text = \"x\" }]\n");
    ASSERT_EQ(run("tuning build @/other.toml -o @/other.bin").status, 0);
    file("broken.bin", content(folder_ / "phone.bin").substr(0, 5000));
    const struct {
        const char* arguments;
        const char* start;
    } rows[] = {
        {"--tuning @/none.bin", "@/none.bin: expected a tuning file"},
        {"--tuning @/broken.bin", "@/broken.bin: expected a tuning file"},
        {"--tuning @/other.bin", "@/other.bin: expected a module eis13_sw, eis12_sw or eis11_sw"},
        {"--tuning @/phone.bin --mode 'Default|Usecase.Vdeo'",
         "--mode: no mode is called \"Usecase.Vdeo\""},
        {"--tuning @/phone.bin --mode 'Default|'", "--mode: no mode is called \"\""},
        {"--tuning @/phone.bin --mode ''", "--mode: no mode is called \"\""},
        {"--tuning @/phone.bin --mode Usecase.Video", "--mode: expected a path that begins"},
        {"--mode Default", "--mode requires --tuning"},
        {"--serve", "--serve requires --tuning"},
        {"--tuning @/phone.bin --serve-network", "--serve-network requires --serve"},
        {"--tuning @/phone.bin --serve --capture x", "--serve excludes --capture"},
        {"--tuning @/none.bin --serve", "@/none.bin: expected a tuning file"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = run(std::string("stabilize --out @/out ") + row.arguments);
        EXPECT_EQ(outcome.status, 2) << row.arguments;
        std::string start = std::string("steadywarp: ") + row.start;
        if (const size_t at = start.find('@'); at != std::string::npos) {
            start.replace(at, 1, folder_.string());
        }
        EXPECT_TRUE(last_line(outcome.err).starts_with(start)) << outcome.err;
        EXPECT_FALSE(fs::exists(folder_ / "out")) << row.arguments;
    }
}

TEST_F(Command, RunsRecordedMotion) {
    const char* named = std::getenv("STEADYWARP_SHARED_DATA");
    const fs::path data = named != nullptr ? named : STEADYWARP_DEFAULT_DATA;
    if (!fs::exists(data / "phone_car/gyro.csv")) {
        GTEST_SKIP() << "NO RECORDED MOTION in " << data << ": set STEADYWARP_SHARED_DATA";
    }
    const struct {
        const char* folder;
        const char* options;
        int frames;
        int outside;
    } rows[] = {
        // The first frame starts ahead of the first sample; two at the end of phone_car reach
        // beyond the last one.
        {"phone_car", "--readout-us 25000", 2146, 1},
        {"rig_walk", "", 1927, 0},
        {"rig_pan", "", 2228, 1},
    };
    for (const auto& row : rows) {
        const std::string path = (data / row.folder).string();
        const Outcome outcome = run("stabilize --out @/out --gyro " + path + "/gyro.csv --frames " +
                                    path + "/frames.csv " + row.options);
        ASSERT_EQ(outcome.status, 0) << row.folder << last_line(outcome.err);
        const Json json = summary();
        EXPECT_EQ(json["frames"]["in"], row.frames);
        EXPECT_EQ(json["frames"]["outside_gyro_log"], row.outside) << row.folder;
        EXPECT_EQ(json["frames"]["dropped"], 0) << row.folder;
    }
    ASSERT_EQ(
        run("stabilize --out @/out --gyro " + (data / "phone_rest_twist").string() + "/gyro.csv")
            .status,
        0);
}

/// Makes a folder the working directory, under which captures are written.
class WorkingIn {
  public:
    explicit WorkingIn(const fs::path& folder) : before_(fs::current_path()) {
        fs::current_path(folder);
    }
    ~WorkingIn() { fs::current_path(before_); }
    WorkingIn(const WorkingIn&) = delete;
    WorkingIn& operator=(const WorkingIn&) = delete;

  private:
    fs::path before_;
};

TEST_F(Command, RecordsASessionAndReplaysIt) {
    const WorkingIn here(folder_);
    const std::string camera = "data/vendor/camera";
    ASSERT_EQ(run("stabilize --out @/out --capture walk").status, 0);
    Outcome outcome = run("replay data/vendor/camera/walk");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("301 frames replayed, 300 with an output\n"));
    EXPECT_NE(outcome.out.find("\ndistortion_correction_grid.grid "), std::string::npos);
    EXPECT_EQ(run("replay data/vendor/camera --capture sub/again").status, 0);
    for (const auto& entry : fs::directory_iterator(camera)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("walk_") && name.ends_with(".csv")) {
            const fs::path twin = fs::path(camera) / "sub" / ("again" + name.substr(4));
            EXPECT_TRUE(content(entry.path()) == content(twin)) << name;
        }
    }
    outcome = run("replay data/vendor/camera/walk --capture walk");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("with another prefix"), std::string::npos);

    // The last grid of the table, whose numbers read back to their floats, and the one in bits.
    ASSERT_EQ(run("replay data/vendor/camera/walk --bits @/bits").status, 0);
    const std::string bits = content(folder_ / "bits");
    const std::string table = content(folder_ / "out/grids.csv");
    const std::string field = ",distortion_correction_grid,float,";
    std::istringstream hex(bits.substr(bits.rfind(field) + field.size()));
    const size_t last = table.rfind('\n', table.size() - 2);
    std::istringstream decimal(table.substr(table.find(',', last) + 1));
    for (uint32_t i = 0; i < 2 * 27 * 35; ++i) {
        std::string a, b;
        std::getline(hex, a, i + 1 < 2 * 27 * 35 ? ',' : '\n');
        std::getline(decimal, b, i + 1 < 2 * 27 * 35 ? ',' : '\n');
        ASSERT_EQ(std::bit_cast<float>(static_cast<uint32_t>(std::stoul(a, nullptr, 16))),
                  std::stof(b))
            << i;
    }
    EXPECT_EQ(run("replay data/vendor/camera/walk --bits nowhere/bits").status, 2);

    const std::string metadata = camera + "/walk_eis2_output_metadata.csv";
    std::string text = content(metadata);
    file(metadata, text.substr(0, text.size() / 2));
    outcome = run("replay data/vendor/camera/walk");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(outcome.err.starts_with("steadywarp: " + metadata + ":")) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
    text[text.find(",0\n", text.size() / 2) + 1] = '1';
    file(metadata, text);
    outcome = run("replay data/vendor/camera/walk");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(last_line(outcome.err),
              "steadywarp: check failed: the replay differs from the capture");
    outcome = run("replay nothing");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(run("replay").status, 2);
}

TEST_F(Command, SaysWhenACaptureCannotBeWritten) {
    const WorkingIn here(folder_);
    file("data", "");
    Outcome outcome = run("stabilize --out @/out --capture walk");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(
        last_line(outcome.err).starts_with("steadywarp: ./data/vendor/camera: cannot be made: "))
        << outcome.err;
    EXPECT_FALSE(fs::exists(folder_ / "out"));
    fs::remove("data");
    fs::create_directories("data/vendor/camera/walk_eis2_gyro.csv");
    outcome = run("stabilize --out @/out --capture walk");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(last_line(outcome.err).starts_with("steadywarp: ./data/vendor/camera/walk: "));
    EXPECT_FALSE(fs::exists(folder_ / "out"));
    // A disk that is full once the run has begun: the results are there, the capture is not.
    fs::create_symlink("/dev/full", "data/vendor/camera/full_eis2_gyro.csv");
    outcome = run("stabilize --out @/out --capture full");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(last_line(outcome.err), "steadywarp: check failed: the capture is not whole");
    EXPECT_EQ(count_lines(folder_ / "out/warps.csv"), 301u);
}

}  // namespace
