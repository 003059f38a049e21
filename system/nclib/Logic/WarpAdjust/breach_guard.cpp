// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/breach_guard.hpp"

#include <algorithm>
#include <array>

#include "nclib/Logic/WarpAdjust/bicubic.hpp"
#include "nclib/Logic/WarpAdjust/fixed_point.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/Logic/WarpAdjust/warp_checks.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/log.hpp"

namespace {

constexpr int kProbes = 16;
constexpr float kDilutionStep = 0.02f;
// Reach of the first try in margins, and what each further try adds.
constexpr int32_t kFirstReach = 3;
constexpr int32_t kReachStep = 6;
// Margins below one virtual unit get no more tries than a margin of one unit.
constexpr int32_t kMaxReach = static_cast<int32_t>(VIRTUAL_DOMAIN_WIDTH);

bool IsInFrame(const NcLibWarpGridCoord& point) {
    return point.x >= -nclib::kVirtualHalfWidth && point.x <= nclib::kVirtualHalfWidth &&
           point.y >= -nclib::kVirtualHalfHeight && point.y <= nclib::kVirtualHalfHeight;
}

// Five points on each side of the crop, shared corners once.
std::array<NcLibWarpGridCoord, kProbes> OutlineOfCrop(float margin) {
    const float left = margin / 2.0f * nclib::kVirtualWidth - nclib::kVirtualHalfWidth;
    const float top = margin / 2.0f * nclib::kVirtualHeight - nclib::kVirtualHalfHeight;
    const float width = (1.0f - margin) * nclib::kVirtualWidth;
    const float height = (1.0f - margin) * nclib::kVirtualHeight;
    std::array<NcLibWarpGridCoord, kProbes> probes;
    for (int i = 0; i < 4; ++i) {
        const float along = static_cast<float>(i) / 4.0f;
        const float back = 1.0f - along;
        probes[i] = {left + width * along, top};
        probes[4 + i] = {left + width, top + height * along};
        probes[8 + i] = {left + width * back, top + height};
        probes[12 + i] = {left, top + height * back};
    }
    return probes;
}

struct BreachedSides {
    bool left = false, right = false, top = false, bottom = false;

    bool Any() const { return left || right || top || bottom; }

    void Note(const NcLibWarpGridCoord& point) {
        left = left || point.x < -nclib::kVirtualHalfWidth;
        right = right || point.x > nclib::kVirtualHalfWidth;
        top = top || point.y < -nclib::kVirtualHalfHeight;
        bottom = bottom || point.y > nclib::kVirtualHalfHeight;
    }
};

// How far one axis of the grid is drawn toward identity: fully within `band` nodes of a breached
// side, fading to nothing at `reach` bands. A node that both sides reach takes the greater share.
class AxisFade {
  public:
    AxisFade(uint32_t count, float margin, int32_t reach, bool low, bool high)
        : count_(static_cast<float>(count)),
          band_(count_ * margin),
          end_(static_cast<float>(reach) * band_),
          low_(low),
          high_(high) {}

    float At(uint32_t index) const {
        const float node = static_cast<float>(index);
        float share = 0.0f;
        if (low_ && node < end_) {
            share = (end_ - std::max(node, band_)) / (end_ - band_);
        }
        if (high_ && node > count_ - end_) {
            const float from_high =
                (std::min(node, count_ - band_) - (count_ - end_)) / (end_ - band_);
            share = std::max(share, from_high);
        }
        return share;
    }

  private:
    float count_, band_, end_;
    bool low_, high_;
};

// A ring grid whose nodes near breached sides are drawn toward their identity positions.
class DilutedGrid {
  public:
    DilutedGrid(const NcLibWarpGrid& grid, float margin, int32_t reach, const BreachedSides& sides)
        : grid_(grid),
          rows_(grid.numRows, margin, reach, sides.top, sides.bottom),
          columns_(grid.numColumns, margin, reach, sides.left, sides.right),
          width_(static_cast<float>(grid.transformDefinedOn.widthPixels)),
          height_(static_cast<float>(grid.transformDefinedOn.heightLines)),
          step_x_(width_ / static_cast<float>(grid.numColumns - 3)),
          step_y_(height_ / static_cast<float>(grid.numRows - 3)) {}

    // `kept` is the share of a node's own value at full dilution weight.
    NcLibWarpGridCoord NodeAt(uint32_t row, uint32_t column, float kept) const {
        const NcLibWarpGridCoord value = grid_.grid[size_t{row} * grid_.numColumns + column];
        const float weight = std::max(rows_.At(row), columns_.At(column)) * (1.0f - kept);
        const float x = -width_ / 2.0f - step_x_ + static_cast<float>(column) * step_x_;
        const float y = -height_ / 2.0f - step_y_ + static_cast<float>(row) * step_y_;
        return {weight * x + (1.0f - weight) * value.x, weight * y + (1.0f - weight) * value.y};
    }

    NcLibWarpGridCoord Map(const NcLibWarpGridCoord& probe, const nclib::FixedPointFormat& format,
                           float kept) const {
        const auto x = nclib::Locate(probe.x, format, format.column_offset);
        const auto y = nclib::Locate(probe.y, format, format.row_offset);
        NcLibWarpGridCoord nodes[4][4];
        for (int i = 0; i < 16; ++i) {
            nodes[i / 4][i % 4] = NodeAt(Clamped(y.cell + i / 4, grid_.numRows),
                                         Clamped(x.cell + i % 4, grid_.numColumns), kept);
        }
        NcLibWarpGridCoord mapped;
        bicubicInterpolation(nodes, x.fraction, y.fraction, format.bits, &mapped);
        return mapped;
    }

  private:
    static uint32_t Clamped(int32_t index, uint32_t count) {
        return static_cast<uint32_t>(std::clamp(index, 0, static_cast<int32_t>(count) - 1));
    }

    const NcLibWarpGrid& grid_;
    AxisFade rows_, columns_;
    float width_, height_;
    float step_x_, step_y_;
};

void WriteDilution(const DilutedGrid& diluted, float kept, NcLibWarpGrid& grid) {
    for (uint32_t row = 0; row < grid.numRows; ++row) {
        for (uint32_t column = 0; column < grid.numColumns; ++column) {
            grid.grid[size_t{row} * grid.numColumns + column] = diluted.NodeAt(row, column, kept);
        }
    }
}

}  // namespace

bool NcLibWarpVerifyGrid_NoBreachInternal(NcLibWarpGrid* grid, float margin, int32_t reach,
                                          float* dilution) {
    NC_LIB_ASSERT(NcLibIsGridSizeWarpSupported(grid->numRows, grid->numColumns));
    const auto probes = OutlineOfCrop(margin);
    const auto format =
        nclib::GetFixedPointFormat(grid->numRows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT);
    BreachedSides sides;
    const DilutedGrid as_it_is(*grid, margin, reach, sides);
    for (const NcLibWarpGridCoord& probe : probes) {
        sides.Note(as_it_is.Map(probe, format, 1.0f));
    }
    *dilution = 1.0f;
    if (!sides.Any()) {
        return true;
    }
    const DilutedGrid diluted(*grid, margin, reach, sides);
    for (float kept = 1.0f - kDilutionStep; kept >= 0.0f; kept -= kDilutionStep) {
        *dilution = kept;
        if (std::all_of(probes.begin(), probes.end(), [&](const NcLibWarpGridCoord& probe) {
                return IsInFrame(diluted.Map(probe, format, kept));
            })) {
            WriteDilution(diluted, kept, *grid);
            return true;
        }
    }
    return false;
}

int32_t NcLibWarpVerifyGrid_NoBreach(NcLibWarpGrid* grid, float margin, float* dilution) {
    NC_LIB_REQUIRE_NOT_NULL(grid, "grid");
    NC_LIB_REQUIRE_NOT_NULL(grid->grid, "grid->grid");
    Zelm::Log::LogSystem(Zelm::Log::kGroupCore, Zelm::Log::Level::kDebug,
                         "Alignment:margin: NcLib %g", static_cast<double>(margin));
    if (grid->enable) {
        const int32_t status = checkVirtualNcLibWarpGrid(grid);
        NC_LIB_REQUIRE(status == NC_LIB_SUCCESS, status, "Invalid grid");
    }
    NC_LIB_REQUIRE(margin > 0.0f && margin < 1.0f, NC_LIB_INVALID_INPUT,
                   "Alignment margins not within (0, 1): %g", static_cast<double>(margin));
    float ignored;
    float* const kept = dilution != nullptr ? dilution : &ignored;
    int32_t reach = kFirstReach;
    do {
        if (NcLibWarpVerifyGrid_NoBreachInternal(grid, margin, reach, kept)) {
            return NC_LIB_SUCCESS;
        }
        reach += kReachStep;
    } while (reach < kMaxReach && static_cast<float>(reach + 1) * margin < 1.0f);
    NC_LIB_ERROR("Could not prevent breach by diluting grid");
    return NC_LIB_GENERAL_ERROR;
}
