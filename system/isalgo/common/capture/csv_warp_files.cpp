// SPDX-License-Identifier: Apache-2.0
#include "capture/csv_warp_files.hpp"

namespace steadywarp {
namespace {

// A row of the largest grid takes 75 KB for coordinates of an image, 370 KB at the worst.
constexpr uint32_t kGridBuffer = 512 << 10;
constexpr uint32_t kMatricesBuffer = 64 << 10;

constexpr const char* kGridHeader =
    "; frame_id, active_sensor_idx, transformDefinedOn.widthPixels, "
    "transformDefinedOn.heightLines, numRows, numColumns, extrapolateType, grid\n";

constexpr const char* kMatricesHeader =
    "; frame_id, active_sensor_idx, transformDefinedOn.widthPixels, "
    "transformDefinedOn.heightLines, numRows, numColumns, confidence, perspMatrices\n";

// How many elements there are; 0 without memory or beyond `most`.
size_t count_of(const void* memory, uint32_t rows, uint32_t columns, uint32_t most) {
    const uint64_t count = uint64_t{rows} * columns;
    return memory == nullptr || count > most ? 0 : static_cast<size_t>(count);
}

}  // namespace

CsvGridFile::CsvGridFile(const CaptureTarget& target, CaptureFile file, uint32_t& status)
    : CsvFile(target, file, kGridBuffer, kGridHeader, status),
      _has_bits(!info_of(file).is_output) {}

uint32_t CsvGridFile::write(const WarpOwner& owner, const NcLibWarpGrid& grid) {
    if (!grid.enable) {
        return 0;
    }
    const size_t count = count_of(grid.grid, grid.numRows, grid.numColumns, kMostGridPoints);
    RowText& row = start_row();
    row.number(owner.frame_id);
    row.number(owner.active_sensor_idx);
    row.number(grid.transformDefinedOn.widthPixels);
    row.number(grid.transformDefinedOn.heightLines);
    row.number(grid.numRows);
    row.number(grid.numColumns);
    row.number(static_cast<uint32_t>(grid.extrapolateType));
    for (size_t i = 0; i < count; ++i) {
        row.point(grid.grid[i].x, grid.grid[i].y);
    }
    row.remark("direction", owner.direction);
    static_assert(sizeof(NcLibWarpGridCoord) == 2 * sizeof(float), "x and y side by side");
    if (grid.extrapolateType == EXTRAPOLATION_TYPE_FOUR_CORNERS &&
        grid.gridExtrapolate != nullptr) {
        uint32_t words[8];
        __builtin_memcpy(words, grid.gridExtrapolate, sizeof words);
        row.remark_words("corners", words, 8);
    }
    if (_has_bits && count != 0) {
        row.remark_bits(&grid.grid[0].x, 2 * count);
    }
    return append_row();
}

CsvMatricesFile::CsvMatricesFile(const CaptureTarget& target, CaptureFile file, uint32_t& status)
    : CsvFile(target, file, kMatricesBuffer, kMatricesHeader, status),
      _has_bits(!info_of(file).is_output) {}

uint32_t CsvMatricesFile::write(const WarpOwner& owner, const NcLibWarpMatrices& matrices) {
    if (!matrices.enable) {
        return 0;
    }
    const size_t count =
        count_of(matrices.perspMatrices, matrices.numRows, matrices.numColumns, kMostMatrices);
    RowText& row = start_row();
    row.number(owner.frame_id);
    row.number(owner.active_sensor_idx);
    row.number(matrices.transformDefinedOn.widthPixels);
    row.number(matrices.transformDefinedOn.heightLines);
    row.number(matrices.numRows);
    row.number(matrices.numColumns);
    row.number(matrices.confidence);
    for (size_t i = 0; i < count; ++i) {
        for (const float element : matrices.perspMatrices[i].T) {
            row.element(element);
        }
    }
    row.remark("direction", owner.direction);
    row.remark("center", matrices.centerType);
    if (_has_bits && count != 0) {
        row.remark_bits(matrices.perspMatrices[0].T, 9 * count);
    }
    return append_row();
}

}  // namespace steadywarp
