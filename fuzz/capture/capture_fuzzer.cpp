// SPDX-License-Identifier: Apache-2.0
// The files of a capture cut out of the input bytes, each below a line "@NUMBER": read whole, and
// if they are right, replayed.
#include <cstdlib>
#include <string>

#include "replay/replay_session.hpp"

namespace {

using namespace steadywarp;
using namespace steadywarp::tool;

CaptureTexts cut(std::string_view input) {
    CaptureTexts texts;
    for (size_t i = 0; i < kNumCaptureFiles; ++i) {
        texts.files[i].path = kCaptureFiles[i].name;
    }
    while (!input.empty()) {
        const size_t next = input.find("\n@", 1);
        const std::string_view part =
            input.substr(0, next == std::string_view::npos ? input.size() : next + 1);
        input.remove_prefix(part.size());
        const size_t line = part.find('\n');
        const auto number =
            parse_u32(part.substr(1, line == std::string_view::npos ? 0 : line - 1));
        if (number && *number < kNumCaptureFiles) {
            texts.files[*number].text = part.substr(line + 1);
        }
    }
    return texts;
}

// Rates beyond this ask for memory and find nothing new.
bool is_modest(const Camera& camera) {
    for (const is_init_sensor_data& sensor : camera.sensors) {
        if (sensor.tuning.top.gyro_frequency > 20000 || sensor.tuning.top.ois_frequency > 20000 ||
            sensor.tuning.top.ifovc_frequency > 20000) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const CaptureTexts texts = cut({reinterpret_cast<const char*>(data), size});
    const Result<CaptureSetup> setup = parse_setup(texts.of(CaptureFile::kInit));
    if (!setup.ok() || check_complete(texts, setup.value()) ||
        check_capture(texts, setup.value()) || !is_modest(setup.value().camera)) {
        return 0;
    }
    OutputComparison comparison(texts, setup.value().fail_error_threshold);
    if (comparison.open()) {
        std::abort();  // it was read once
    }
    const Result<ReplayFigures> figures =
        replay_capture(texts, setup.value(), comparison, nullptr, nullptr);
    if (!figures.ok() && figures.fault().file != info_of(CaptureFile::kInit).name) {
        std::abort();
    }
    return 0;
}
