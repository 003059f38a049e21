// SPDX-License-Identifier: Apache-2.0
/// @file stabilizer.hpp
/// Drives one library instance frame by frame, through its exported functions only.
#pragma once

#include <array>
#include <memory>
#include <span>

#include "input/camera.hpp"
#include "input/recording.hpp"
#include "output/session_capture.hpp"

namespace steadywarp::tool {

/// What came out of one frame. Transforms map output to input pixels relative to the centre; all
/// but the time is meaningless unless `valid`.
struct FrameWarp {
    bool valid = false;
    uint32_t sensor = 0;
    std::array<float, 9> stabilization{};          ///< the identity if the camera has no stabilizer
    std::array<float, 9> alignment_undistorted{};  ///< rotation since the frame before
    std::array<float, 9> alignment_stabilized{};   ///< the same after stabilization
    std::array<NcLibWarpGridCoord, EIS_GRID_POINTS> grid{};
    float cvp_motion_index = 0.0f;  ///< pixels
    is_scene_detection scene{};
    uint32_t samples = 0;  ///< of the gyroscope, handed over with this frame
    double seconds = 0.0;  ///< spent in the library for this frame
};

/// The logs that frames are run with; device axes, times above 0.
struct SampleStreams {
    std::span<const GyroSample> gyro;
    std::span<const LensSample> lens_shift;     ///< raw x and y; empty if there is no such log
    std::span<const LensSample> lens_position;  ///< position and scale; likewise
};

/// A running instance, with the memory for its results.
class Stabilizer {
  public:
    /// Create an instance. @return NULL if the library refuses the camera; its log lines say why.
    static std::unique_ptr<Stabilizer> create(const Camera& camera);

    /// Go on with a new instance for a changed camera, which knows nothing of the frames before.
    /// @return false if the library refuses the camera; the instance is then the old one.
    bool restart(const Camera& camera);

    /// Run one frame: ask for its interval, gather the samples in it, both ends included, process.
    ///
    /// @param streams the whole logs.
    /// @param frame `sof_us` above 0; ids increase from call to call.
    FrameWarp run(const Frame& frame, uint32_t period_us, const SampleStreams& streams);

    /// Close the stream with a frame that has no samples.
    void end_stream(const Frame& last, uint32_t period_us);

    /// Record every frame from now on; NULL: none. The capture must outlive the frames.
    void record_to(SessionCapture* capture) { capture_ = capture; }

    const is_window_regions& windows() const { return windows_; }

  private:
    struct Destroy {
        void operator()(eis_context* context) const { eis2_deinitialize(&context); }
    };

    Stabilizer() = default;
    bool process(const Frame& frame, const is_frame_times& times, FrameWarp& out);
    bool process_both(is_input& input, FrameWarp& out);
    bool process_distortion(const is_input& input, FrameWarp& out);

    std::unique_ptr<eis_context, Destroy> context_;
    void record(eis_utils_log_data& data);

    bool has_stabilizer_ = true;
    SessionCapture* capture_ = nullptr;
    is_time_intervals intervals_{};  ///< of the frame at hand
    is_window_regions windows_{};
    std::vector<_sample_data_s> batch_;
    std::vector<_sample_data_s> shift_batch_;
    std::vector<_sample_data_s> position_batch_;
};

}  // namespace steadywarp::tool
