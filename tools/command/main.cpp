// SPDX-License-Identifier: Apache-2.0
// The command line: the only source that sees the parser's heavy header.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string_view>

#include "command/replay.hpp"
#include "command/report.hpp"
#ifdef STEADYWARP_VIDEO
#include "command/simulate.hpp"
#endif
#include "command/stabilize.hpp"
#include "steadywarp/eis.h"
#include "tune_command.hpp"
#include "tuning_command.hpp"

namespace {

using steadywarp::tool::ReplayOptions;
using steadywarp::tool::StabilizeOptions;
#ifdef STEADYWARP_VIDEO
using steadywarp::tool::SimulateOptions;
#endif

constexpr const char* kExample =
    "Example:\n"
    "  steadywarp stabilize --gyro gyro.csv --frames frames.csv --camera camera.ini --out result\n";

constexpr const char* kStabilizeExample =
    "Examples:\n"
    "  steadywarp stabilize --out result\n"
    "      run the simulated walk through the built-in phone camera\n"
    "  steadywarp stabilize --gyro video.gcsv --fps 29.97 --readout-us 22000 --out result\n"
    "      run a gyro log with even frames\n"
    "  steadywarp stabilize --tuning phone.bin --mode \"Default|Sensor.0|Usecase.Video\" --out "
    "result\n"
    "      take the tuning from a tuning file\n";

constexpr const char* kReplayExample =
    "Example:\n"
    "  steadywarp stabilize --out result --capture walk\n"
    "  steadywarp replay data/vendor/camera/walk\n"
    "      run the session again and compare every output with the recorded one\n";

std::string version_text() {
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t patch = 0;
    eis_get_lib_version(&major, &minor, &patch);
    return "steadywarp " + std::to_string(major) + "." + std::to_string(minor) + "." +
           std::to_string(patch);
}

void add_logs(CLI::App& command, StabilizeOptions& options) {
    command
        .add_option("--recording", options.recording,
                    "Folder with gyro.csv and, if there are such, frames.csv, camera.ini, ois.csv, "
                    "lens_position.csv and video.mp4")
        ->type_name("DIR");
    command
        .add_option("--ois", options.lens_shift,
                    "Lens-shift log, CSV t_us,x,y, for cameras that have the stream")
        ->type_name("FILE");
    command
        .add_option("--lens-position", options.lens_position,
                    "Lens-position log, CSV t_us,position,scale, likewise")
        ->type_name("FILE");
}

#ifdef STEADYWARP_VIDEO
void add_video(CLI::App& command, StabilizeOptions& options) {
    command
        .add_option("--video", options.video,
                    "Also stabilize this video; without --frames its time stamps make the frames")
        ->type_name("FILE");
    command
        .add_option("--video-start-us", options.video_start_us,
                    "Time of the first picture on the gyroscope's clock [its first sample]")
        ->type_name("US");
    command.add_flag("--compare", options.compare,
                     "Also a video of before and after side by side, the crop drawn in");
    command.add_flag("--no-tracking", options.no_tracking,
                     "Leave out the figures from pixels: much faster");
    command.add_flag("--bilinear", options.bilinear, "Sample from 2x2 pixels instead of 4x4");
}
#endif

CLI::App* add_stabilize(CLI::App& app, StabilizeOptions& options) {
    CLI::App* const command =
        app.add_subcommand("stabilize", "Stabilize a recording: a warp per frame, and the figures");
    command
        ->add_option("--out", options.out,
                     "Folder for the results: tables, figures, videos and report.html")
        ->required()
        ->type_name("DIR");
    CLI::Option* const gyro =
        command
            ->add_option("--gyro", options.gyro,
                         "Gyroscope log: CSV t_us,gx,gy,gz in device axes, or a .gcsv log; "
                         "without it a hand-held walk is simulated")
            ->type_name("FILE");
    CLI::Option* const frames =
        command
            ->add_option("--frames", options.frames,
                         "Frame times: CSV frame,sof_us,exposure_us,readout_us")
            ->needs(gyro)
            ->type_name("FILE");
    command->add_option("--fps", options.fps, "Make even frames at this rate [30]")
        ->check(CLI::Range(1.0, 1000.0))
        ->excludes(frames)
        ->type_name("RATE");
    command
        ->add_option("--exposure-us", options.exposure_us,
                     "Exposure where none is recorded [10000, at most half the period]")
        ->check(CLI::Range(0u, 1000000u))
        ->type_name("US");
    command
        ->add_option("--readout-us", options.readout_us,
                     "Read-out of a frame where none is recorded [what a .gcsv log says, else "
                     "0, a global shutter; 25000 for the simulated walk]")
        ->check(CLI::Range(0u, 1000000u))
        ->type_name("US");
    command
        ->add_option("--camera", options.camera,
                     "Camera as INI; without it a built-in phone camera")
        ->type_name("FILE");
    CLI::Option* const tuning =
        command
            ->add_option("--tuning", options.tuning,
                         "Tuning file; takes the place of the camera's own tuning")
            ->type_name("FILE");
    command
        ->add_option(
            "--mode", options.mode,
            "Mode of the tuning file, such as \"Default|Sensor.0|Usecase.Video\" [Default]")
        ->needs(tuning)
        ->type_name("PATH");
    CLI::Option* const serve =
        command
            ->add_flag("--serve", options.serve,
                       "Run at the camera's pace with the live tuning service up, for steadywarp "
                       "tune on this machine")
            ->needs(tuning);
    command
        ->add_flag("--serve-network", options.serve_network,
                   "Let other machines connect too: there is no password")
        ->needs(serve);
    command->add_option("--seed", options.seed, "Seed of the simulated walk [1]")
        ->excludes(gyro)
        ->type_name("N");
    command
        ->add_option("--capture", options.capture,
                     "Record the run as ./data/vendor/camera/PREFIX_eis2_*, for steadywarp replay")
        ->excludes(serve)
        ->type_name("PREFIX");
    add_logs(*command, options);
#ifdef STEADYWARP_VIDEO
    add_video(*command, options);
#endif
    command->footer(kStabilizeExample);
    return command;
}

CLI::App* add_replay(CLI::App& app, ReplayOptions& options) {
    CLI::App* const command =
        app.add_subcommand("replay", "Run a capture again and compare what comes out");
    command
        ->add_option("capture", options.source,
                     "Folder with one capture, or the start of its files' names")
        ->required()
        ->type_name("DIR|PREFIX");
    command
        ->add_option("--capture", options.capture,
                     "Record the replay as ./data/vendor/camera/PREFIX_*")
        ->type_name("PREFIX");
    command
        ->add_option("--bits", options.bits,
                     "Write every output to its last bit, to hold machines against each other")
        ->type_name("FILE");
    command->footer(kReplayExample);
    return command;
}

#ifdef STEADYWARP_VIDEO
constexpr const char* kSimulateExample =
    "Example:\n"
    "  steadywarp simulate --profile walking --out walk\n"
    "  steadywarp stabilize --recording walk --out result --compare\n";

CLI::App* add_simulate(CLI::App& app, SimulateOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "simulate", "Make a shaky video of a town, with all its logs and the truth");
    command->add_option("--out", options.out, "Folder for the recording")
        ->required()
        ->type_name("DIR");
    command
        ->add_option("--profile", options.profile,
                     "How the camera is held: tripod, hand-held, walking, running, panning, "
                     "whip or vehicle [walking]")
        ->type_name("NAME");
    command->add_option("--seed", options.seed, "Seed of motion and scene [1]")->type_name("N");
    command->add_option("--seconds", options.seconds, "Length [10]")
        ->check(CLI::Range(0.2, 3600.0))
        ->type_name("S");
    command->add_option("--fps", options.fps, "Frames a second [30]")
        ->check(CLI::Range(1.0, 240.0))
        ->type_name("RATE");
    command
        ->add_option("--jitter", options.jitter,
                     "Let frame intervals vary by up to this part of their length [0]")
        ->check(CLI::Range(0.0, 0.4))
        ->type_name("PART");
    command->add_option("--size", options.size, "Size of the picture [1280x720]")->type_name("WxH");
    command->add_option("--focal-length", options.focal_px, "Pixels at a width of 1920 [1500]")
        ->check(CLI::Range(300.0, 10000.0))
        ->type_name("PX");
    command->add_option("--readout-us", options.readout_us, "Read-out of a frame [20000]")
        ->check(CLI::Range(0u, 1000000u))
        ->type_name("US");
    command->add_option("--exposure-us", options.exposure_us, "Exposure of a row [4000]")
        ->check(CLI::Range(0u, 1000000u))
        ->type_name("US");
    command->add_option("--gyro-hz", options.gyro_hz, "Rate of the gyroscope [500]")
        ->check(CLI::Range(50.0, 10000.0))
        ->type_name("RATE");
    command
        ->add_option("--distortion", options.distortion_px,
                     "Lens distortion at a corner, pixels [0]")
        ->check(CLI::Range(-100.0, 100.0))
        ->type_name("PX");
    command
        ->add_option("--lens-follow", options.lens_follow,
                     "Let the lens shift cancel this part of the shake above 2 Hz [0]")
        ->check(CLI::Range(0.0, 1.0))
        ->type_name("PART");
    command
        ->add_option("--breathing", options.breathing,
                     "Let the focus swing change the picture's size by this part [0]")
        ->check(CLI::Range(0.0, 0.1))
        ->type_name("PART");
    command->footer(kSimulateExample);
    return command;
}
#endif

CLI::App* add_report(CLI::App& app, std::string& folder) {
    CLI::App* const command =
        app.add_subcommand("report", "Draw the page of a finished run once more");
    command->add_option("DIR", folder, "What stabilize was given as --out")->required();
    command->footer("Example:\n  steadywarp report result\n");
    return command;
}

int run(int argc, char** argv) {
    if (argc > 1 && std::string_view(argv[1]) == "tuning") {
        return RunTuning(argc - 1, argv + 1);
    }
    if (argc > 1 && std::string_view(argv[1]) == "tune") {
        return RunTune(argc - 1, argv + 1);
    }
    CLI::App app("Electronic image stabilizer at the command line.", "steadywarp");
    StabilizeOptions options;
    ReplayOptions replay_options;
    CLI::App* const command = add_stabilize(app, options);
    CLI::App* const replay = add_replay(app, replay_options);
#ifdef STEADYWARP_VIDEO
    SimulateOptions simulation;
    const CLI::App* const simulate_command = add_simulate(app, simulation);
#endif
    std::string report_folder;
    const CLI::App* const report_command = add_report(app, report_folder);
    app.set_version_flag("--version", version_text());
    // They have command lines of their own; named here for the help.
    app.add_subcommand("tuning", "Build, print and check tuning files");
    app.add_subcommand("tune", "Read and change the values of a running camera");
    app.require_subcommand(1);
    app.footer(kExample);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wanted) {
        return app.exit(wanted);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "steadywarp: %s (see --help)\n", error.what());
        return steadywarp::tool::kExitBadInput;
    }
    if (replay->parsed()) {
        return steadywarp::tool::replay(replay_options);
    }
#ifdef STEADYWARP_VIDEO
    if (simulate_command->parsed()) {
        return steadywarp::tool::simulate(simulation);
    }
#endif
    if (report_command->parsed()) {
        return steadywarp::tool::report_again(report_folder);
    }
    return command->parsed() ? steadywarp::tool::stabilize(options)
                             : steadywarp::tool::kExitBadInput;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "steadywarp: %s\n", error.what());
        return steadywarp::tool::kExitBadInput;
    }
}
