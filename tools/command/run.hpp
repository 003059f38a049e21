// SPDX-License-Identifier: Apache-2.0
/// @file run.hpp
/// One recording taken through the library, frame by frame, with everything that is kept of it.
#pragma once

#include <cstdio>

#include "analysis/orientation.hpp"
#include "command/live_tuning.hpp"
#include "command/recording_source.hpp"
#include "output/picture_sink.hpp"
#include "output/summary.hpp"
#include "output/trace.hpp"

namespace steadywarp::tool {

/// Where a run writes as it goes.
struct RunOutputs {
    std::FILE* warps = nullptr;
    std::FILE* grids = nullptr;
    PictureSink* pictures = nullptr;  ///< NULL: no video
};

/// Takes every frame through the library and keeps the figures.
class Run {
  public:
    /// @param source,stabilizer,outputs must outlive the run, and so must
    /// @param live which paces the run and changes the tuning; NULL: as fast as it goes. With it
    /// the corrections that margins would not bind are not told: they belong to one tuning.
    Run(const RecordingSource& source, Stabilizer& stabilizer, const RunOutputs& outputs,
        LiveTuning* live);

    /// All frames in order; an interrupt or a fault of the video ends it early.
    std::optional<Fault> all_frames();

    /// The figures; call after all_frames(). @param camera_name as the summary shows it.
    Summary summary(const std::string& camera_name);

    const std::vector<TraceFrame>& trace() const { return trace_; }

  private:
    /// Orientation of the frames that came out, an angle per signal.
    struct FrameTracks {
        std::array<Signal, 3> before;
        std::array<Signal, 3> after;

        void add(double t_us, const Vector3& orientation, const Vector3& correction);
        ShakeFigure figure(double period_us, double cut_hz) const;
    };

    std::optional<Fault> one_frame(size_t index);
    void keep_pace(const Frame& frame);
    double free_margin_px() const;
    void count(const FrameWarp& warp, double overshoot);
    void add_trace(size_t index, const FrameWarp& warp, double overshoot);
    std::optional<Fault> show(size_t index, const FrameWarp* warp, bool feasible);
    Frame on_users_clock(Frame frame) const;

    const RecordingSource& source_;
    Stabilizer& stabilizer_;
    RunOutputs outputs_;
    LiveTuning* live_;
    SampleStreams streams_;
    OrientationTrack orientation_;
    std::vector<Vector3> wanted_;  ///< by index into the frames; empty if it could not be told
    double free_margin_px_;        ///< what the crop leaves free, by the measure of overshoots
    FrameTracks tracks_;
    std::vector<double> seconds_;
    std::vector<TraceFrame> trace_;
    Summary figures_;
};

/// The corrections that the same camera would make with margins that never bind, by index into the
/// recording's frames (zero where there is none); empty if the library refuses such a camera.
///
/// Its log lines say nothing new and are left out.
std::vector<Vector3> unlimited_corrections(const RecordingSource& source);

}  // namespace steadywarp::tool
