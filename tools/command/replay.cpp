// SPDX-License-Identifier: Apache-2.0
#include "command/replay.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "command/interrupt.hpp"
#include "command/stabilize.hpp"
#include "output/session_capture.hpp"
#include "replay/output_bits.hpp"
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

int fail(const char* check) {
    std::fprintf(stderr, "steadywarp: check failed: %s\n", check);
    return kExitCheckFailed;
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

/// What a replay leaves behind, where it was asked for.
class Records {
  public:
    std::optional<Fault> open(const ReplayOptions& options, const CaptureTexts& texts,
                              const CaptureSetup& setup) {
        if (!options.capture.empty()) {
            if (auto fault = overwrites(options, texts, setup)) {
                return fault;
            }
            Result<std::unique_ptr<SessionCapture>> made =
                SessionCapture::open(setup.camera, options.capture);
            if (!made.ok()) {
                return made.fault();
            }
            capture_ = std::move(made.value());
        }
        if (!options.bits.empty()) {
            bits_.reset(std::fopen(options.bits.c_str(), "wbe"));
            if (!bits_) {
                return Fault{options.bits, 0,
                             std::string("cannot be written: ") + std::strerror(errno)};
            }
            write_bits_header(bits_.get());
        }
        return std::nullopt;
    }

    void take(const eis_utils_log_data& records) {
        if (capture_) {
            capture_->write(records);
        }
        if (bits_) {
            for (const BitRow& row : bit_rows(records)) {
                write_bits(bits_.get(), row);
            }
        }
    }

    /// @return what is not whole; NULL: nothing.
    const char* close() {
        if (capture_ && !capture_->close()) {
            return "the capture of this replay is not whole";
        }
        if (bits_) {
            const bool is_written = std::ferror(bits_.get()) == 0;
            if (std::fclose(bits_.release()) != 0 || !is_written) {
                return "the bits of this replay are not whole";
            }
        }
        return nullptr;
    }

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<SessionCapture> capture_;
    std::unique_ptr<std::FILE, CloseFile> bits_;
};

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
    Records records;
    if (auto fault = records.open(options, texts, setup)) {
        return report(*fault);
    }
    OutputComparison comparison(texts, setup.fail_error_threshold);
    if (auto fault = comparison.open()) {
        return report(*fault);
    }
    note_interrupts();
    const Result<ReplayFigures> figures = replay_capture(
        texts, setup, comparison, [&](const eis_utils_log_data& frame) { records.take(frame); },
        was_interrupted);
    if (!figures.ok()) {
        return report(figures.fault());
    }
    if (was_interrupted()) {
        return kExitStopped;
    }
    print_table(figures.value(), comparison);
    int status = kExitDone;
    if (comparison.has_failed()) {
        status = fail("the replay differs from the capture");
    }
    if (figures.value().breached_frames != 0) {
        std::fprintf(stderr, "steadywarp: check failed: %llu frames reach beyond the input\n",
                     static_cast<unsigned long long>(figures.value().breached_frames));
        status = kExitCheckFailed;
    }
    if (const char* part = records.close()) {
        status = fail(part);
    }
    return status;
}

}  // namespace steadywarp::tool
