// SPDX-License-Identifier: Apache-2.0
#include "capture/csv_output_files.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kMetadataBuffer = 32 << 10;
constexpr uint32_t kIntervalBuffer = 16 << 10;

constexpr const char* kMetadataHeader =
    "; is_output.frame_id, is_output.active_sensor_idx, is_output.Mind_margins_blender_geolib, "
    "is_output.cvp_motion_index_raw, is_output.ois_mode, frame_orientation_domain_undistorted.ts, "
    "frame_orientation_domain_undistorted.data[0], frame_orientation_domain_undistorted.data[1], "
    "frame_orientation_domain_undistorted.data[2], frame_orientation_domain_undistorted.data[3], "
    "mof_gyro_time, scene_detection.scene_type, scene_detection.is_panning[0], "
    "scene_detection.is_panning[1], scene_detection.is_panning[2]\n";

constexpr const char* kMetadataStabilizeHeader =
    "; frame_id, active_sensor_idx, frame_orientation_domain_undistorted.ts, "
    "frame_orientation_domain_undistorted.data[0], frame_orientation_domain_undistorted.data[1], "
    "frame_orientation_domain_undistorted.data[2], frame_orientation_domain_undistorted.data[3], "
    "frame_orientation_domain_stabilized.ts, frame_orientation_domain_stabilized.data[0], "
    "frame_orientation_domain_stabilized.data[1], frame_orientation_domain_stabilized.data[2], "
    "frame_orientation_domain_stabilized.data[3], scene_detection.scene_type, "
    "scene_detection.is_panning[0], scene_detection.is_panning[1], "
    "scene_detection.is_panning[2]\n";

constexpr const char* kIntervalHeader =
    "; frame_id, required_time_intervals.gyro.first_ts, required_time_intervals.gyro.last_ts, "
    "required_time_intervals.ois.first_ts, required_time_intervals.ois.last_ts, "
    "required_time_intervals.ifovc.first_ts, required_time_intervals.ifovc.last_ts\n";

void add_orientation(RowText& row, const _sample_data_s& orientation) {
    row.number(orientation.ts);
    for (size_t i = 0; i < 4; ++i) {
        row.precise(orientation.data[i]);
    }
}

void add_scene(RowText& row, const is_scene_detection& scene) {
    row.number(scene.scene_type);
    for (const bool is_panning : scene.is_panning) {
        row.number(is_panning ? 1 : 0);
    }
}

// The columns ahead of the orientation, which both records have.
template <typename Output>
void add_figures(RowText& row, const Output& output) {
    row.number(output.frame_id);
    row.number(output.active_sensor_idx);
    row.scientific(output.Mind_margins_blender_geolib);
    row.scientific(output.cvp_motion_index_raw);
    row.number(output.ois_mode);
}

}  // namespace

CsvOutputMetadataFile::CsvOutputMetadataFile(const CaptureTarget& target, CaptureFile file,
                                             uint32_t& status)
    : CsvFile(target, file, kMetadataBuffer, kMetadataHeader, status) {}

uint32_t CsvOutputMetadataFile::write(const is_output& output) {
    RowText& row = start_row();
    add_figures(row, output);
    add_orientation(row, {});
    row.number(0);
    add_scene(row, output.scene_detection);
    return append_row();
}

uint32_t CsvOutputMetadataFile::write(const is_output_distortion_correction& output) {
    RowText& row = start_row();
    add_figures(row, output);
    add_orientation(row, output.frame_orientation_domain_undistorted);
    row.number(output.mof_gyro_time);
    add_scene(row, output.scene_detection);
    return append_row();
}

CsvOutputMetadataStabilizeFile::CsvOutputMetadataStabilizeFile(const CaptureTarget& target,
                                                               CaptureFile file, uint32_t& status)
    : CsvFile(target, file, kMetadataBuffer, kMetadataStabilizeHeader, status) {}

uint32_t CsvOutputMetadataStabilizeFile::write(const is_output_stabilize& output) {
    RowText& row = start_row();
    row.number(output.frame_id);
    row.number(output.active_sensor_idx);
    add_orientation(row, output.frame_orientation_domain_undistorted);
    add_orientation(row, output.frame_orientation_domain_stabilized);
    add_scene(row, output.scene_detection);
    return append_row();
}

CsvOutputTimeIntervalFile::CsvOutputTimeIntervalFile(const CaptureTarget& target, CaptureFile file,
                                                     uint32_t& status)
    : CsvFile(target, file, kIntervalBuffer, kIntervalHeader, status) {}

uint32_t CsvOutputTimeIntervalFile::write(uint32_t frame_id, const is_time_intervals& intervals) {
    RowText& row = start_row();
    row.number(frame_id);
    for (const is_time_interval* interval : {&intervals.gyro, &intervals.ois, &intervals.ifovc}) {
        row.number(interval->first_ts);
        row.number(interval->last_ts);
    }
    return append_row();
}

}  // namespace steadywarp
