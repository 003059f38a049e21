// SPDX-License-Identifier: Apache-2.0
// A stream of hand-held frames between two marks that a trace of its system calls shows; the
// stream itself must make none. Usage: frame_loop FRAMES [one-call]
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/frame_stream.hpp"

namespace {

// Fails, as there is no such file, and stands in the trace with its text.
void mark(const char* text) {
    if (write(-1, text, std::strlen(text)) >= 0) {
        std::abort();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return 2;
    }
    const long count = std::atol(argv[1]);
    const std::vector<bench::Frame> recording =
        bench::make_frames(bench::Motion(bench::profile_of(bench::kHandHeld)), 1000);
    std::vector<bench::Frame> frames;
    constexpr uint64_t kRecordingUs = bench::kFrames * bench::kFrameUs;
    for (long i = 0; i < count; ++i) {
        const uint64_t round = static_cast<uint64_t>(i) / bench::kFrames;
        bench::Frame frame = recording[static_cast<size_t>(i) % bench::kFrames];
        frame.times.sof += round * kRecordingUs;
        for (_sample_data_s& sample : frame.samples) {
            sample.ts += round * kRecordingUs;
        }
        frames.push_back(std::move(frame));
    }
    const is_init_common_data common = bench::common_data();
    const is_init_sensor_data sensor = bench::sensor_data(1000);
    bench::Output output;
    eis_context* context = nullptr;
    if (eis2_initialize(&context, &common, &sensor, 1) != EIS_SUCCESS) {
        return 1;
    }
    int valid = 0;
    mark("frames begin");
    for (size_t i = 0; i < frames.size(); ++i) {
        const is_input input = bench::input_of(frames[i], static_cast<uint32_t>(i + 1));
        is_time_intervals intervals{};
        if (eis2_get_time_intervals(context, &input.frame_time_input, 0, &intervals) !=
                EIS_SUCCESS ||
            eis2_process(context, &input, &output.record) != EIS_SUCCESS) {
            return 1;
        }
        valid += output.record.output_valid ? 1 : 0;
    }
    if (argc > 2) {
        getppid();
    }
    mark("frames end");
    eis2_deinitialize(&context);
    std::printf("%d\n", valid);
    return 0;
}
