// SPDX-License-Identifier: Apache-2.0
#include "command/stabilize.hpp"

#include <cstdio>

#include "command/interrupt.hpp"
#include "command/live_tuning.hpp"
#include "command/recording_source.hpp"
#include "command/run.hpp"
#include "output/staged_files.hpp"
#include "report/page.hpp"
#ifdef STEADYWARP_VIDEO
#include "command/video_output.hpp"
#endif

namespace steadywarp::tool {
namespace {

int report(const Fault& fault) {
    std::fprintf(stderr, "steadywarp: %s\n", fault.text().c_str());
    return kExitBadInput;
}

/// The files of a run, not yet in place.
struct Outputs {
    explicit Outputs(const std::string& folder) : files(folder) {}

    std::optional<Fault> open() {
        std::optional<Fault> fault = files.open();
        const struct {
            const char* name;
            std::FILE*& file;
        } wanted[] = {{"warps.csv", run.warps},
                      {"grids.csv", run.grids},
                      {"summary.json", summary},
                      {"trace.json", trace},
                      {"report.html", page}};
        for (const auto& one : wanted) {
            if (!fault) {
                one.file = files.add(one.name, fault);
            }
        }
        return fault;
    }

    StagedFiles files;
    std::unique_ptr<PictureSink> pictures;
    RunOutputs run;
    std::FILE* summary = nullptr;
    std::FILE* trace = nullptr;
    std::FILE* page = nullptr;
};

std::optional<Fault> open_pictures([[maybe_unused]] const StabilizeOptions& options,
                                   [[maybe_unused]] const RecordingSource& source,
                                   [[maybe_unused]] const is_window_regions& windows,
                                   [[maybe_unused]] Outputs& outputs) {
#ifdef STEADYWARP_VIDEO
    if (!options.video.empty()) {
        VideoTask task;
        task.input = options.video;
        task.compare = options.compare;
        // What tracks the output knows one crop, and no camera waits for it.
        task.track = !options.no_tracking && !options.serve;
        task.sampling = options.bilinear ? Sampling::kBilinear : Sampling::kBicubic;
        auto opened = open_video_output(task, source, windows, outputs.files);
        if (!opened.ok()) {
            return opened.fault();
        }
        outputs.pictures = std::move(opened.value());
        outputs.run.pictures = outputs.pictures.get();
    }
#endif
    return std::nullopt;
}

void write(std::FILE* file, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), file);
}

void write_results(const Run& run, const Summary& summary, uint32_t period_us,
                   const Outputs& outputs) {
    const std::string json = summary_json(summary);
    const std::string trace = trace_json(
        run.trace(), period_us, outputs.pictures ? outputs.pictures->paths() : ContentPaths{},
        outputs.pictures ? outputs.pictures->film() : std::vector<FilmPicture>{});
    write(outputs.summary, json);
    write(outputs.trace, trace);
    write(outputs.page, report_page(json, trace));
}

/// The capture that the user asked for; NULL if none.
Result<std::unique_ptr<SessionCapture>> open_capture(const StabilizeOptions& options,
                                                     const RecordingSource& source,
                                                     Stabilizer& stabilizer) {
    if (options.capture.empty()) {
        return std::unique_ptr<SessionCapture>();
    }
    auto capture = SessionCapture::open(source.camera, options.capture);
    if (capture.ok()) {
        stabilizer.record_to(capture.value().get());
    }
    return capture;
}

}  // namespace

int stabilize(StabilizeOptions options) {
    Result<RecordingSource> loaded = load_source(options);
    if (!loaded.ok()) {
        return report(loaded.fault());
    }
    RecordingSource& source = loaded.value();
    const std::unique_ptr<Stabilizer> stabilizer = Stabilizer::create(source.camera);
    if (!stabilizer) {
        return report({options.camera.empty() ? options.tuning : options.camera, 0,
                       "expected a camera that the library accepts; its log lines above tell what "
                       "it refused"});
    }
    note_interrupts();
    Outputs outputs(options.out);
    std::optional<Fault> fault = outputs.open();
    if (!fault) {
        fault = open_pictures(options, source, stabilizer->windows(), outputs);
    }
    if (fault) {
        return report(*fault);
    }
    auto capture = open_capture(options, source, *stabilizer);
    if (!capture.ok()) {
        return report(capture.fault());
    }
    std::optional<LiveTuning> live;
    if (options.serve) {
        live.emplace(source, *stabilizer).announce();
    }
    Run run(source, *stabilizer, outputs.run, live ? &*live : nullptr);
    fault = run.all_frames();
    if (was_interrupted()) {
        return kExitStopped;
    }
    const Summary summary =
        run.summary(options.camera.empty() ? "built-in phone camera" : options.camera);
    if (!fault) {
        write_results(run, summary, source.frames.period_us, outputs);
        fault = outputs.files.commit();
    }
    if (fault) {
        return report(*fault);
    }
    std::fputs(summary_table(summary).c_str(), stdout);
    if (summary.pixels && summary.pixels->pictures != summary.frames_in) {
        std::fprintf(stderr,
                     "steadywarp: note: %zu pictures for %zu frames; do the two begin together?\n",
                     summary.pixels->pictures, summary.frames_in);
    }
    if (capture.value() && !capture.value()->close()) {
        std::fputs("steadywarp: check failed: the capture is not whole\n", stderr);
        return kExitCheckFailed;
    }
    if (summary.frames_out == 0) {
        std::fputs("steadywarp: check failed: no frame came out valid\n", stderr);
        return kExitCheckFailed;
    }
    return kExitDone;
}

}  // namespace steadywarp::tool
