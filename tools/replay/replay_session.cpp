// SPDX-License-Identifier: Apache-2.0
#include "replay/replay_session.hpp"

#include <algorithm>
#include <array>
#include <memory>

#include "replay/capture_reader.hpp"
#include "stream/crop_corners.hpp"

namespace steadywarp::tool {
namespace {

/// Memory for the arrays of one output record; a grid has room for the largest there is.
struct OutputMemory {
    std::array<NcLibWarpGridCoord, kMostGridPoints> distortion{};
    std::array<NcLibWarpGridCoord, kMostGridPoints> stabilization{};
    std::array<NcLibPerspTransformSingle, kMostMatrices> transform{};
    std::array<NcLibPerspTransformSingle, kMostMatrices> undistorted{};
    std::array<NcLibPerspTransformSingle, kMostMatrices> stabilized{};

    template <class Output>
    void lend_first(Output& output) {
        output.distortion_correction_grid.grid = distortion.data();
        output.alignment_matrix_domain_undistorted.perspMatrices = undistorted.data();
    }
    template <class Output>
    void lend_both(Output& output) {
        lend_first(output);
        output.stabilization_transform.grid.grid = stabilization.data();
        output.stabilization_transform.matrices.perspMatrices = transform.data();
        output.alignment_matrix_domain_stabilized.perspMatrices = stabilized.data();
    }
};

/// An instance and the frame on its way through it.
class Session {
  public:
    Session(const CaptureSetup& setup, OutputComparison& comparison, const TakeRecords& take)
        : setup_(setup), comparison_(comparison), take_(take) {}

    bool start() {
        const Camera& camera = setup_.camera;
        eis_context* context = nullptr;
        const bool started =
            eis2_initialize(&context, &camera.common, camera.sensors.data(),
                            static_cast<uint32_t>(camera.sensors.size())) == EIS_SUCCESS;
        context_.reset(context);
        return started;
    }

    void run(CapturedFrame& frame) {
        eis_utils_log_data log{};
        is_time_intervals intervals{};
        if (frame.asks_intervals &&
            eis2_get_time_intervals(context_.get(), &frame.times, frame.active_sensor_idx,
                                    &intervals) == EIS_SUCCESS) {
            log.is_time_intervals = &intervals;
            comparison_.compare(frame.frame_id, intervals);
        }
        if (frame.is_combined) {
            run_combined(frame, log);
        } else {
            run_split(frame, log);
        }
        ++figures_.frames;
    }

    const ReplayFigures& figures() const { return figures_; }

  private:
    void run_combined(CapturedFrame& frame, eis_utils_log_data& log) {
        const is_input input = frame.input();
        is_output output{};
        memory_->lend_both(output);
        eis2_process(context_.get(), &input, &output);
        comparison_.compare(output);
        take_figures(output.output_valid, output.active_sensor_idx,
                     output.distortion_correction_grid, output.stabilization_transform.matrices,
                     frame);
        log.is_input = &input;
        log.is_output = &output;
        record(log);
    }

    void run_split(CapturedFrame& frame, eis_utils_log_data& log) {
        const is_input_distortion_correction input = frame.input_distortion_correction();
        is_output_distortion_correction output{};
        memory_->lend_first(output);
        eis_internal_process_distortion_correction(context_.get(), &input, &output);
        comparison_.compare(output);
        log.is_input_distortion_correction = &input;
        log.is_output_distortion_correction = &output;
        if (!frame.second) {
            take_figures(output.output_valid, output.active_sensor_idx,
                         output.distortion_correction_grid, {}, frame);
            record(log);
            return;
        }
        const is_input_stabilize second_input = frame.input_stabilize();
        is_output_stabilize second{};
        second_memory_->lend_both(second);
        eis_internal_process_stabilize(context_.get(), &second_input, &second);
        comparison_.compare(second);
        take_figures(second.output_valid, second.active_sensor_idx,
                     second.distortion_correction_grid, second.stabilization_transform.matrices,
                     frame);
        log.is_input_stabilize = &second_input;
        log.is_output_stabilize = &second;
        record(log);
    }

    void record(const eis_utils_log_data& log) {
        if (take_) {
            take_(log);
        }
    }

    void take_figures(bool is_valid, uint32_t sensor, const NcLibWarpGrid& grid,
                      const NcLibWarpMatrices& matrices, const CapturedFrame& frame) {
        if (!is_valid) {
            return;
        }
        ++figures_.frames_out;
        if (!setup_.check_margin_breach || !grid.enable || grid.numRows != EIS_GRID_ROWS ||
            grid.numColumns != EIS_GRID_COLUMNS || sensor >= setup_.camera.sensors.size()) {
            return;
        }
        FrameWarp warp;
        warp.valid = true;
        warp.sensor = sensor;
        warp.stabilization = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        if (matrices.enable) {
            warp.stabilization = std::to_array(matrices.perspMatrices[0].T);
        }
        std::copy_n(grid.grid, EIS_GRID_POINTS, warp.grid.begin());
        // A corner on the border pixels' centres is inside.
        const double overshoot = corner_overshoot(warp, setup_.camera, frame.windows);
        figures_.breached_frames += overshoot > 0.0 ? 1 : 0;
    }

    struct Release {
        void operator()(eis_context* context) const { eis2_deinitialize(&context); }
    };

    const CaptureSetup& setup_;
    OutputComparison& comparison_;
    const TakeRecords& take_;
    std::unique_ptr<eis_context, Release> context_;
    std::unique_ptr<OutputMemory> memory_ = std::make_unique<OutputMemory>();
    std::unique_ptr<OutputMemory> second_memory_ = std::make_unique<OutputMemory>();
    ReplayFigures figures_;
};

}  // namespace

std::optional<Fault> check_capture(const CaptureTexts& texts, const CaptureSetup& setup) {
    CaptureReader reader(texts, setup);
    if (auto fault = reader.open()) {
        return fault;
    }
    CapturedFrame frame;
    for (;;) {
        const Result<bool> more = reader.next(frame);
        if (!more.ok()) {
            return more.fault();
        }
        if (!more.value()) {
            break;
        }
    }
    OutputComparison outputs(texts, setup.fail_error_threshold);
    if (auto fault = outputs.open()) {
        return fault;
    }
    return outputs.check_all([&reader](CaptureFile file) { return reader.counted(file); });
}

Result<ReplayFigures> replay_capture(const CaptureTexts& texts, const CaptureSetup& setup,
                                     OutputComparison& comparison, const TakeRecords& take,
                                     bool (*stop)()) {
    Session session(setup, comparison, take);
    if (!session.start()) {
        return Fault{texts.of(CaptureFile::kInit).path, 0,
                     "expected a configuration that the library accepts; its log lines above tell "
                     "what it refused"};
    }
    CaptureReader reader(texts, setup);
    auto fault = reader.open();
    CapturedFrame frame;
    while (!fault && !(stop != nullptr && stop())) {
        const Result<bool> more = reader.next(frame);
        if (!more.ok()) {
            return more.fault();
        }
        if (!more.value()) {
            break;
        }
        session.run(frame);
    }
    if (fault) {
        return *fault;
    }
    comparison.finish();
    return session.figures();
}

}  // namespace steadywarp::tool
