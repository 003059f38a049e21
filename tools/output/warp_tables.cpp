// SPDX-License-Identifier: Apache-2.0
#include "output/warp_tables.hpp"

#include <charconv>
#include <string>

namespace steadywarp::tool {
namespace {

/// Collects the cells of one line.
class Line {
  public:
    template <class T>
    Line& cell(T value) {
        // The longest shortest form of a double takes 24 bytes.
        char text[32];
        const auto result = std::to_chars(std::begin(text), std::end(text), value);
        comma();
        text_.append(text, result.ptr);
        return *this;
    }
    Line& text(const std::string& value) {
        comma();
        text_ += value;
        return *this;
    }
    void write(std::FILE* file) {
        text_ += '\n';
        std::fwrite(text_.data(), 1, text_.size(), file);
    }

  private:
    void comma() {
        if (!text_.empty()) {
            text_ += ',';
        }
    }
    std::string text_;
};

constexpr const char* kMatrixNames[] = {"stabilization", "alignment_stabilized",
                                        "alignment_undistorted"};

}  // namespace

void write_warps_header(std::FILE* file) {
    Line line;
    line.text("frame").text("sof_us").text("sensor").text("output_valid");
    for (const char* name : kMatrixNames) {
        for (int i = 0; i < 9; ++i) {
            line.text(name + std::to_string(i));
        }
    }
    line.text("cvp_motion_index").text("scene_type");
    line.text("panning_z").text("panning_y").text("panning_x");
    line.text("corner_overshoot_px").text("feasible");
    line.write(file);
}

void write_warps_row(std::FILE* file, const Frame& frame, const FrameWarp& warp,
                     double corner_overshoot) {
    Line line;
    line.cell(frame.id).cell(frame.sof_us);
    if (!warp.valid) {
        constexpr int kCellsOfWarp = 27 + 1 + 1 + 3 + 2;
        line.text("").cell(0);
        for (int i = 0; i < kCellsOfWarp; ++i) {
            line.text("");
        }
        line.write(file);
        return;
    }
    line.cell(warp.sensor).cell(1);
    for (const auto* matrix :
         {&warp.stabilization, &warp.alignment_stabilized, &warp.alignment_undistorted}) {
        for (const float element : *matrix) {
            line.cell(element);
        }
    }
    line.cell(warp.cvp_motion_index).cell(warp.scene.scene_type);
    for (const bool panning : warp.scene.is_panning) {
        line.cell(panning ? 1 : 0);
    }
    line.cell(corner_overshoot).cell(corner_overshoot <= 0.0 ? 1 : 0);
    line.write(file);
}

void write_grids_header(std::FILE* file) {
    Line line;
    line.text("frame");
    for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
        line.text("x" + std::to_string(i)).text("y" + std::to_string(i));
    }
    line.write(file);
}

void write_grids_row(std::FILE* file, const Frame& frame, const FrameWarp& warp) {
    Line line;
    line.cell(frame.id);
    for (const NcLibWarpGridCoord& point : warp.grid) {
        line.cell(point.x).cell(point.y);
    }
    line.write(file);
}

}  // namespace steadywarp::tool
