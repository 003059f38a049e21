// SPDX-License-Identifier: Apache-2.0
#include "command/replay.hpp"

#include <cstdio>
#include <filesystem>

#include "command/interrupt.hpp"
#include "command/stabilize.hpp"
#include "replay/replay_session.hpp"

namespace steadywarp::tool {
namespace {

int report(const Fault& fault) {
    std::fprintf(stderr, "steadywarp: %s\n", fault.text().c_str());
    return kExitBadInput;
}

void print_table(const ReplayFigures& figures, const OutputComparison& comparison) {
    std::printf("%llu frames replayed, %llu with an output\n\n",
                static_cast<unsigned long long>(figures.frames),
                static_cast<unsigned long long>(figures.frames_out));
    std::printf("%-72s %10s %9s %7s %11s %11s\n", "field", "compared", "different", "failed",
                "largest", "first frame");
    for (const FieldFigure& figure : comparison.figures()) {
        const std::string first =
            figure.first_frame ? std::to_string(*figure.first_frame) : std::string("-");
        std::printf("%-72s %10llu %9llu %7llu %11.4g %11s\n", figure.name.c_str(),
                    static_cast<unsigned long long>(figure.compared),
                    static_cast<unsigned long long>(figure.different),
                    static_cast<unsigned long long>(figure.failed), figure.largest, first.c_str());
    }
}

/// The files of a replay must not be those being replayed.
std::optional<Fault> overwrites(const ReplayOptions& options, const CaptureTexts& texts,
                                const CaptureSetup& setup) {
    const std::string& source = texts.of(CaptureFile::kInit).path;
    const char* const word = type_word(setup.camera.common.is_type);
    const std::string target = "./data/vendor/camera/" + options.capture + "_" +
                               (word == nullptr ? "" : word) + "_init_data.ini";
    std::error_code error;
    if (std::filesystem::equivalent(source, target, error)) {
        return Fault{source, 0, "expected --capture with another prefix than that being replayed"};
    }
    return std::nullopt;
}

}  // namespace

int replay(const ReplayOptions& options) {
    const Result<CaptureSet> opened = CaptureSet::open(options.source);
    if (!opened.ok()) {
        return report(opened.fault());
    }
    const CaptureTexts& texts = opened.value().texts();
    const CaptureSetup& setup = opened.value().setup();
    if (auto fault = check_capture(texts, setup)) {
        return report(*fault);
    }
    std::unique_ptr<SessionCapture> capture;
    if (!options.capture.empty()) {
        if (auto fault = overwrites(options, texts, setup)) {
            return report(*fault);
        }
        Result<std::unique_ptr<SessionCapture>> made =
            SessionCapture::open(setup.camera, options.capture);
        if (!made.ok()) {
            return report(made.fault());
        }
        capture = std::move(made.value());
    }
    OutputComparison comparison(texts, setup.fail_error_threshold);
    if (auto fault = comparison.open()) {
        return report(*fault);
    }
    note_interrupts();
    const Result<ReplayFigures> figures =
        replay_capture(texts, setup, comparison, capture.get(), was_interrupted);
    if (!figures.ok()) {
        return report(figures.fault());
    }
    if (was_interrupted()) {
        return kExitStopped;
    }
    print_table(figures.value(), comparison);
    int status = kExitDone;
    if (comparison.has_failed()) {
        std::fputs("steadywarp: check failed: the replay differs from the capture\n", stderr);
        status = kExitCheckFailed;
    }
    if (figures.value().breached_frames != 0) {
        std::fprintf(stderr, "steadywarp: check failed: %llu frames reach beyond the input\n",
                     static_cast<unsigned long long>(figures.value().breached_frames));
        status = kExitCheckFailed;
    }
    if (capture && !capture->close()) {
        std::fputs("steadywarp: check failed: the capture of this replay is not whole\n", stderr);
        status = kExitCheckFailed;
    }
    return status;
}

}  // namespace steadywarp::tool
