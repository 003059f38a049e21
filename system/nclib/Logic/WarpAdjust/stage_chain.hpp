// SPDX-License-Identifier: Apache-2.0
/// @file stage_chain.hpp
/// A chain of transforms, put together stage by stage and then applied to points.
#pragma once

#include <array>
#include <cstdint>

#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/nclib_log.hpp"

namespace nclib {

/// Holds references: the records must outlive the chain. Disabled records may be added; they leave
/// points as they are.
class StageChain {
  public:
    static constexpr uint32_t kMaxStages = 8;

    void Add(const NcLibWarpGrid& grid, uint32_t direction) { Push({&grid, nullptr, direction}); }
    void Add(const NcLibWarpMatrices& matrices, uint32_t direction) {
        Push({nullptr, &matrices, direction});
    }
    /// Add what a warp does to a point: matrices, then grid.
    void AddForward(const NcLibWarp& warp) {
        Add(warp.matrices, REGULAR);
        Add(warp.grid, REGULAR);
    }

    const NcLibInternalWarpTopology* Stages() const { return stages_.data(); }
    uint32_t Count() const { return count_; }

    /// Carry points in place; see NcLibInternalApplyTopologyOnPoints().
    int32_t Apply(NcLibWarpGridCoord* points, uint32_t num_points, bool allow_nearest) const {
        return NcLibInternalApplyTopologyOnPoints(stages_.data(), count_, points, num_points,
                                                  allow_nearest, points);
    }

  private:
    void Push(const NcLibInternalWarpTopology& stage) {
        NC_LIB_ASSERT_TEXT(count_ < kMaxStages, "count_ < kMaxStages");
        stages_[count_++] = stage;
    }

    std::array<NcLibInternalWarpTopology, kMaxStages> stages_{};
    uint32_t count_ = 0;
};

}  // namespace nclib
