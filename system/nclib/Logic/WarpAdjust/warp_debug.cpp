// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/warp_debug.hpp"

#include "nclib/Logic/WarpAdjust/grid_geometry.hpp"
#include "nclib/nclib_log.hpp"
#include "steadywarp/nclib_chip.hpp"

namespace {

struct DumpHeader {
    NcLibImageSize defined_on;
    uint32_t num_rows, num_columns;
    uint32_t extrapolate_type;
};

void WriteHeader(FILE* file, const char* prefix, const DumpHeader& header) {
    const auto write = [=](const char* key, uint32_t value) {
        std::fprintf(file, "%s%s = %u\n", prefix, key, value);
    };
    write("grid_transform_defined_on_width", header.defined_on.widthPixels);
    write("grid_transform_defined_on_height", header.defined_on.heightLines);
    write("grid_num_rows", header.num_rows);
    write("grid_num_columns", header.num_columns);
    write("grid_extrapolate_type", header.extrapolate_type);
}

// One coordinate of `count` points, comma separated, `end` behind the last.
void WriteValues(FILE* file, int decimals, const NcLibWarpGridCoord* points, uint32_t count,
                 float NcLibWarpGridCoord::*coordinate, const char* end) {
    for (uint32_t i = 0; i + 1 < count; ++i) {
        std::fprintf(file, "%.*lf, ", decimals, static_cast<double>(points[i].*coordinate));
    }
    if (count > 0) {
        std::fprintf(file, "%.*lf", decimals, static_cast<double>(points[count - 1].*coordinate));
    }
    std::fputs(end, file);
}

}  // namespace

void NcLibDumpIcaGridStruct(FILE* file, const NcLibIcaGrid* icaGrid, const char* prefix,
                            int decimals) {
    if (icaGrid == nullptr || icaGrid->enable == 0) {
        WriteHeader(file, prefix, {});
        return;
    }
    const bool has_corners = icaGrid->extrapolatedCorners != 0;
    const nclib::GridGeometry geometry = icaGrid->geometry < nclib::kGeometryCount
                                             ? nclib::kGridGeometries[icaGrid->geometry]
                                             : nclib::GridGeometry{};
    WriteHeader(file, prefix,
                {icaGrid->transformDefinedOn, geometry.num_rows, geometry.num_columns,
                 has_corners ? 1u : 2u});
    if (has_corners) {
        NC_LIB_ASSERT_TEXT(NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners(),
                           "NcLibChipInfo::GetCapabilities().IcaGridExtrapolationCorners");
        std::fprintf(file, "%sgridExtrapolateArrayX = ", prefix);
        WriteValues(file, decimals, icaGrid->gridExtrapolate, 4, &NcLibWarpGridCoord::x, "\n ");
        std::fprintf(file, "%sgridExtrapolateArrayY = ", prefix);
        WriteValues(file, decimals, icaGrid->gridExtrapolate, 4, &NcLibWarpGridCoord::y, "\n");
    }
    const uint32_t count = geometry.num_rows * geometry.num_columns;
    std::fprintf(file, "%sgrid_array_x = ", prefix);
    WriteValues(file, decimals, icaGrid->grid, count, &NcLibWarpGridCoord::x, "\n");
    std::fprintf(file, "%sgrid_array_y = ", prefix);
    WriteValues(file, decimals, icaGrid->grid, count, &NcLibWarpGridCoord::y, "\n");
}

// The hooks stand empty: a build that wants files fills them in.

void NcLibWarpDebugPrintNcLibWarp(const NcLibWarp*, const char*) {}

void NcLibWarpDebugPrintNcLibWarpMatrices(const NcLibWarpMatrices*, const char*) {}

void NcLibWarpDebugPrintNcLibWarpGridCoord(const NcLibWarpGridCoord*, uint32_t, const char*) {}
