// SPDX-License-Identifier: Apache-2.0
#include "command/live_tuning.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

#include "command/interrupt.hpp"

namespace steadywarp::tool {

LiveTuning::LiveTuning(RecordingSource& source, Stabilizer& stabilizer)
    : source_(source),
      stabilizer_(stabilizer),
      in_force_(std::make_unique<is_tessaline_info_s>(source.camera.sensors[0].tuning)),
      figures_(std::make_shared<LiveFigures>(source.frames.period_us)) {
    source.tuning->answer_with(figures_);
}

void LiveTuning::announce() const {
    const TuningFile& file = *source_.tuning;
    std::printf("serving address=%s mode=%s module=%s\n", file.address().c_str(),
                file.mode().c_str(), file.module());
    std::fflush(stdout);
}

void LiveTuning::wait_for(const Frame& frame) {
    if (!started_) {
        started_ = true;
        start_ = Clock::now();
        first_us_ = frame.sof_us;
    }
    const Clock::time_point due = start_ + std::chrono::microseconds(frame.sof_us - first_us_);
    // A signal does not end a sleep, so long ones are cut.
    constexpr std::chrono::milliseconds kSlice(20);
    while (!was_interrupted()) {
        const Clock::time_point now = Clock::now();
        if (now >= due) {
            break;
        }
        std::this_thread::sleep_for(std::min<Clock::duration>(due - now, kSlice));
    }
}

LiveTuning::Outcome LiveTuning::restart() {
    is_tessaline_info_s& tuning = source_.camera.sensors[0].tuning;
    const bool had_frequency = source_.camera.has_gyro_frequency[0];
    use_tuning(source_);
    if (std::memcmp(&tuning, in_force_.get(), sizeof tuning) == 0) {
        return Outcome::kSame;
    }
    if (lacks_lens_log(source_) || !stabilizer_.restart(source_.camera)) {
        tuning = *in_force_;
        source_.camera.has_gyro_frequency[0] = had_frequency;
        return Outcome::kRefused;
    }
    *in_force_ = tuning;
    return Outcome::kTaken;
}

bool LiveTuning::take_changes(const Frame& frame) {
    const Outcome outcome = source_.tuning->take_changes() ? restart() : Outcome::kSame;
    if (outcome == Outcome::kSame) {
        return false;
    }
    const bool taken = outcome == Outcome::kTaken;
    std::printf("tuning frame=%u status=%s\n", frame.id, taken ? "taken" : "refused");
    std::fflush(stdout);
    restarted_ = restarted_ || taken;
    return taken;
}

void LiveTuning::tell(const TraceFrame& frame) {
    figures_->add(frame, in_force_->general.minimal_total_margin, restarted_);
    restarted_ = false;
}

}  // namespace steadywarp::tool
