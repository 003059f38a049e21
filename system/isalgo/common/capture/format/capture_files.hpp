// SPDX-License-Identifier: Apache-2.0
/// @file capture_files.hpp
/// The files of a capture, as data: their names, the flag that asks for each, and their headers.
///
/// A file is PREFIX_TYPE_NAME, for instance "walk_eis2_gyro.csv". The first line of a CSV file is
/// its header, a comment behind a semicolon. Cells are separated by commas, and the last cell of a
/// row can be a remark: words `name=value` separated by blanks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "steadywarp/eis_capture.h"

namespace steadywarp {

/// The files, in the order of the table below.
enum class CaptureFile : uint8_t {
    kOutputMetadata,
    kFrame,
    kGyro,
    kInputStabilize,
    kMotionVectors,
    kPreEisGrid,
    kPreEisMatrix,
    kMag,
    kAcc,
    kOis,
    kIfovc,
    kLinearAcc,
    kAbsOrientation,
    kRelOrientation,
    kSatGrid,
    kSatMatrices,
    kDistortionCorrectionGrid,
    kStabilizationGrid,
    kStabilizationMatrices,
    kAlignmentUndistorted,
    kAlignmentStabilized,
    kOutputMetadataStabilize,
    kTimeIntervals,
    kInit,
};

/// What sort of rows a file has.
enum class CaptureKind : uint8_t {
    kFrame,
    kInputStabilize,
    kSamples,
    kMotionVectors,
    kGrid,
    kMatrices,
    kMetadata,
    kMetadataStabilize,
    kTimeIntervals,
    kInit,
};

/// One file.
struct CaptureFileInfo {
    const char* name;
    CaptureKind kind;
    uint32_t flag;          ///< IS_UTILS_FLAG_*
    bool is_output;         ///< recorded to be compared with, not to be fed
    bool needs_stabilizer;  ///< an instance without a stabilizer has no such records
    const char* what;       ///< in messages, behind "Cannot init "
};

// clang-format off
inline constexpr CaptureFileInfo kCaptureFiles[] = {
    // name, kind, flag, output, needs stabilizer, what
    {"output_metadata.csv", CaptureKind::kMetadata, IS_UTILS_FLAG_OUTPUT_METADATA, true, false, "output metadata file"},
    {"frame.csv", CaptureKind::kFrame, IS_UTILS_FLAG_FRAME, false, false, "frame file"},
    {"gyro.csv", CaptureKind::kSamples, IS_UTILS_FLAG_GYRO, false, false, "gyro file"},
    {"input_stabilize.csv", CaptureKind::kInputStabilize, IS_UTILS_FLAG_FRAME, false, true, "input stabilize file"},
    {"motion_vectors.csv", CaptureKind::kMotionVectors, IS_UTILS_FLAG_MOTION_VECTORS, false, true, "motion vectors file"},
    {"pre_eis_transform_margins_reduction_grid.csv", CaptureKind::kGrid, IS_UTILS_FLAG_PRE_EIS_TRANSFORM, false, false, "Pre-EIS margin reduction transform grid file"},
    {"pre_eis_transform_margins_reduction_matrix.csv", CaptureKind::kMatrices, IS_UTILS_FLAG_PRE_EIS_TRANSFORM, false, false, "Pre-EIS margin reduction transform matrices file"},
    {"mag.csv", CaptureKind::kSamples, IS_UTILS_FLAG_MAG, false, false, "mag file"},
    {"acc.csv", CaptureKind::kSamples, IS_UTILS_FLAG_ACC, false, false, "acc file"},
    {"ois.csv", CaptureKind::kSamples, IS_UTILS_FLAG_OIS, false, false, "ois file"},
    {"ifovc.csv", CaptureKind::kSamples, IS_UTILS_FLAG_IFOVC, false, false, "ifovc file"},
    {"linear_acc.csv", CaptureKind::kSamples, IS_UTILS_FLAG_LINEAR_ACC, false, false, "linear acc file"},
    {"abs_orientation.csv", CaptureKind::kSamples, IS_UTILS_FLAG_ABS_ORIENTATION, false, false, "abs orientation file"},
    {"rel_orientation.csv", CaptureKind::kSamples, IS_UTILS_FLAG_REL_ORIENTATION, false, false, "rel orientation file"},
    {"sat_grid.csv", CaptureKind::kGrid, IS_UTILS_FLAG_SAT, false, true, "SAT grid file"},
    {"sat_matrices.csv", CaptureKind::kMatrices, IS_UTILS_FLAG_SAT, false, true, "SAT matrices file"},
    {"distortion_correction_grid.csv", CaptureKind::kGrid, IS_UTILS_FLAG_DISTORTION_CORRECTION_GRID, true, false, "grid output file"},
    {"stabilization_grid.csv", CaptureKind::kGrid, IS_UTILS_FLAG_STABILIZATION, true, true, "stabilization grid file"},
    {"stabilization_matrices.csv", CaptureKind::kMatrices, IS_UTILS_FLAG_STABILIZATION, true, true, "stabilization matrices file"},
    {"alignment_matrix_domain_undistorted.csv", CaptureKind::kMatrices, IS_UTILS_FLAG_ALIGNMENT, true, false, "undistorted alignment file"},
    {"alignment_matrix_domain_stabilized.csv", CaptureKind::kMatrices, IS_UTILS_FLAG_ALIGNMENT, true, true, "stabilized alignment file"},
    {"output_metadata_stabilize.csv", CaptureKind::kMetadataStabilize, IS_UTILS_FLAG_OUTPUT_METADATA, true, true, "stabilization metadata file"},
    {"required_time_intervals.csv", CaptureKind::kTimeIntervals, IS_UTILS_FLAG_TIME_INTERVALS, true, false, "time interval file"},
    {"init_data.ini", CaptureKind::kInit, IS_UTILS_FLAG_INIT, false, false, "init INI file"},
};
// clang-format on

inline constexpr size_t kNumCaptureFiles = std::size(kCaptureFiles);
static_assert(kNumCaptureFiles == static_cast<size_t>(CaptureFile::kInit) + 1);

constexpr const CaptureFileInfo& info_of(CaptureFile file) {
    return kCaptureFiles[static_cast<size_t>(file)];
}

/// The name without its ending, as it stands in the remarks of frame.csv.
constexpr std::string_view stem_of(CaptureFile file) {
    const std::string_view name = info_of(file).name;
    return name.substr(0, name.size() - 4);
}

/// The word for an algorithm type in file names; NULL if there is no such type.
constexpr const char* type_word(uint32_t is_type) {
    switch (is_type) {
        case IS_TYPE_EIS_2_0:
            return "eis2";
        case IS_TYPE_EIS_3_0:
            return "eis3";
        case IS_TYPE_DISTORTION_CORRECTION_ONLY:
            return "distortion_correction";
        default:
            return nullptr;
    }
}

/// Tell whether a capture with these flags has the file.
constexpr bool is_in_capture(const CaptureFileInfo& info, uint32_t flags, uint32_t is_type) {
    return (flags & info.flag) != 0 &&
           !(info.needs_stabilizer && is_type == IS_TYPE_DISTORTION_CORRECTION_ONLY);
}

/// Cells of a frame row ahead of its remark: ids and times, focus distance, four windows of six
/// numbers, focal length.
inline constexpr size_t kFrameCells = 6 + 1 + 24 + 1;

/// Cells of a sample row: frame number, six words, time.
inline constexpr size_t kSampleCells = 1 + 6 + 1;

/// Cells of a motion-vector row: frame number, image size, the alignment matrix, buffer size.
inline constexpr size_t kMotionVectorCells = 3 + 7 + 9 + 1;

/// Cells of a grid or matrix row ahead of its numbers.
inline constexpr size_t kWarpCells = 7;

/// Most points of a grid row and most matrices of a matrix row; a row of more holds none.
inline constexpr uint32_t kMostGridPoints = EIS_TUNING_GRID_POINTS_HI_RES;
inline constexpr uint32_t kMostMatrices = 9;

/// Most words of a motion-vector buffer that are recorded: the head and 768 vectors.
inline constexpr uint32_t kMostMotionVectorWords = 3 + 768 * 4;

}  // namespace steadywarp
