// SPDX-License-Identifier: Apache-2.0
#include "replay/captured_frame.hpp"

namespace steadywarp::tool {
namespace {

template <class Input>
void fill(Input& input, CapturedFrame& frame) {
    const auto samples = [&frame](size_t stream) {
        const auto& values = frame.streams[stream];
        return is_sample_array{values.empty() ? nullptr : values.data(),
                               static_cast<uint32_t>(values.size())};
    };
    input.frame_id = frame.frame_id;
    input.active_sensor_idx = frame.active_sensor_idx;
    input.frame_time_input = frame.times;
    input.gyro = samples(0);
    input.mag = samples(1);
    input.acc = samples(2);
    input.ois = samples(3);
    input.ifovc = samples(4);
    input.linear_acc = samples(5);
    input.abs_orientation = samples(6);
    input.rel_orientation = samples(7);
    input.window_regions = frame.windows;
    input.focus_distance = frame.focus_distance;
    input.effective_focal_length_mm = frame.effective_focal_length_mm;
    input.pre_eis_transform_margins_reduction = frame.upstream.get();
}

}  // namespace

const NcLibWarp* CapturedWarp::get() {
    if (!is_present) {
        return nullptr;
    }
    warp.grid.grid = points.empty() ? nullptr : points.data();
    warp.grid.gridExtrapolate = corners.empty() ? nullptr : corners.data();
    warp.matrices.perspMatrices = matrices.empty() ? nullptr : matrices.data();
    return &warp;
}

const is_motion_vectors_input* CapturedVectors::get() {
    record.motion_vectors = has_words ? words.data() : nullptr;
    record.alignment_matrix.perspMatrices = alignment ? &*alignment : nullptr;
    return &record;
}

is_input CapturedFrame::input() {
    is_input out{};
    fill(out, *this);
    out.sat = sat.get();
    return out;
}

is_input_distortion_correction CapturedFrame::input_distortion_correction() {
    is_input_distortion_correction out{};
    fill(out, *this);
    return out;
}

is_input_stabilize CapturedFrame::input_stabilize() {
    is_input_stabilize out{};
    out.frame_id = frame_id;
    out.active_sensor_idx = second->active_sensor_idx;
    out.frame_time_input = second->times;
    out.sat = sat.get();
    out.dis_motion_vectors = second->vectors ? second->vectors->get() : nullptr;
    return out;
}

}  // namespace steadywarp::tool
