// SPDX-License-Identifier: Apache-2.0
// The command line: the only source that sees the parser's heavy header.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string_view>

#include "command/stabilize.hpp"
#include "steadywarp/eis.h"
#include "tuning_command.hpp"

namespace {

using steadywarp::tool::StabilizeOptions;

constexpr const char* kExample =
    "Example:\n"
    "  steadywarp stabilize --gyro gyro.csv --frames frames.csv --camera camera.ini --out result\n";

constexpr const char* kStabilizeExample =
    "Examples:\n"
    "  steadywarp stabilize --out result\n"
    "      run the simulated walk through the built-in phone camera\n"
    "  steadywarp stabilize --gyro video.gcsv --fps 29.97 --readout-us 22000 --out result\n"
    "      run a gyro log with even frames\n";

std::string version_text() {
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t patch = 0;
    eis_get_lib_version(&major, &minor, &patch);
    return "steadywarp " + std::to_string(major) + "." + std::to_string(minor) + "." +
           std::to_string(patch);
}

CLI::App* add_stabilize(CLI::App& app, StabilizeOptions& options) {
    CLI::App* const command =
        app.add_subcommand("stabilize", "Stabilize a recording: a warp per frame, and the figures");
    command->add_option("--out", options.out, "Folder for warps.csv, grids.csv and summary.json")
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
    command->add_option("--seed", options.seed, "Seed of the simulated walk [1]")
        ->excludes(gyro)
        ->type_name("N");
    command->footer(kStabilizeExample);
    return command;
}

int run(int argc, char** argv) {
    if (argc > 1 && std::string_view(argv[1]) == "tuning") {
        return RunTuning(argc - 1, argv + 1);
    }
    CLI::App app("Electronic image stabilizer at the command line.", "steadywarp");
    StabilizeOptions options;
    CLI::App* const command = add_stabilize(app, options);
    app.set_version_flag("--version", version_text());
    // Has a command line of its own, below; named here for the help.
    app.add_subcommand("tuning", "Build, print and check tuning files");
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
