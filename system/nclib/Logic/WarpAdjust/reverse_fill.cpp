// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/reverse_fill.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "nclib/Logic/WarpAdjust/mesh_tests.hpp"
#include "platform/memory.hpp"

namespace {

using nclib::ReversalView;

float SquaredDistance(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b) {
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    return dx * dx + dy * dy;
}

// The nearest source node seen so far to one position, and what it gives there. The search starts
// at source node 0, whose displacement is carried over in every mode.
class NearestNode {
  public:
    NearestNode(const ReversalView& view, const NcLibWarpGridCoord& position)
        : view_(view), position_(position), value_(Carried(0, 0)) {
        const float distance = SquaredDistance(view.Destination(0, 0), position);
        least_ = std::isnan(distance) ? std::numeric_limits<float>::infinity() : distance;
    }

    void Consider(int32_t row, int32_t column) {
        const float distance = SquaredDistance(view_.Destination(row, column), position_);
        if (distance < least_) {
            least_ = distance;
            value_ =
                view_.In().extrapolation == 0 ? view_.Source(row, column) : Carried(row, column);
        }
    }

    const NcLibWarpGridCoord& Value() const { return value_; }

  private:
    NcLibWarpGridCoord Carried(int32_t row, int32_t column) const {
        const NcLibWarpGridCoord from = view_.Source(row, column);
        const NcLibWarpGridCoord& to = view_.Destination(row, column);
        return {from.x - to.x + position_.x, from.y - to.y + position_.y};
    }

    const ReversalView& view_;
    NcLibWarpGridCoord position_;
    NcLibWarpGridCoord value_;
    float least_;
};

// The two outermost indices on both ends of an axis, in the order in which they are tried. A short
// axis has some of them twice or not at all.
template <typename Visit>
void VisitOuter(int32_t count, Visit visit) {
    for (const int32_t index : {0, 1, count - 2, count - 1}) {
        if (index >= 0 && index < count) {
            visit(index);
        }
    }
}

NcLibWarpGridCoord NearestOuterValue(const ReversalView& view, const NcLibWarpGridCoord& position) {
    NearestNode nearest(view, position);
    for (int32_t column = 0; column < view.SourceColumns(); ++column) {
        VisitOuter(view.SourceRows(), [&](int32_t row) { nearest.Consider(row, column); });
    }
    for (int32_t row = 1; row < view.SourceRows() - 1; ++row) {
        VisitOuter(view.SourceColumns(), [&](int32_t column) { nearest.Consider(row, column); });
    }
    return nearest.Value();
}

float GreatestX(const NcLibWarpGridCoord* points, uint32_t count) {
    float greatest = 0.0f;
    for (uint32_t i = 0; i < count; ++i) {
        greatest = std::max(greatest, points[i].x);
    }
    return greatest;
}

// A hole on the edge of what is filled, and what its filled neighbours make of it.
struct ExtrapPoint {
    uint32_t x, y;
    float valueX, valueY;
    bool valid;
};

// Holes that are filled pass by pass. A hole whose y is 0 instead of NaN is on a list already.
class Propagation {
  public:
    explicit Propagation(const ReversalView& view) : view_(view) {
        const size_t bytes = static_cast<size_t>(view.Count()) * sizeof(ExtrapPoint);
        frontier_ = Allocate(bytes);
        next_ = Allocate(bytes);
    }
    ~Propagation() {
        ZelmFree(frontier_, ZelmMemoryType::kGeneral);
        ZelmFree(next_, ZelmMemoryType::kGeneral);
    }
    Propagation(const Propagation&) = delete;
    Propagation& operator=(const Propagation&) = delete;

    int64_t Run(int64_t holes) {
        if (frontier_ == nullptr || next_ == nullptr) {
            return holes;
        }
        CollectFirstFrontier();
        while (holes > 0 && frontier_count_ > 0) {
            for (int64_t i = 0; i < frontier_count_; ++i) {
                Process(frontier_[i]);
            }
            const int64_t written = WriteValidPoints();
            if (written == 0) {
                break;
            }
            holes -= written;
            std::swap(frontier_, next_);
            frontier_count_ = std::exchange(next_count_, 0);
        }
        return holes;
    }

  private:
    // A step to a neighbour.
    struct Side {
        int x, y;
    };
    static constexpr std::array<Side, 4> kSides = {{{-1, 0}, {1, 0}, {0, -1}, {0, 1}}};

    static ExtrapPoint* Allocate(size_t bytes) {
        return static_cast<ExtrapPoint*>(
            ZelmCalloc(bytes, alignof(ExtrapPoint), ZelmMemoryType::kGeneral));
    }

    bool IsFilled(int64_t row, int64_t column) const {
        return row >= 0 && row < view_.Rows() && column >= 0 && column < view_.Columns() &&
               !view_.IsHole(row, column);
    }

    bool HasTwoFilled(int64_t row, int64_t column, const Side& side) const {
        return IsFilled(row + side.y, column + side.x) &&
               IsFilled(row + 2 * side.y, column + 2 * side.x);
    }

    void CollectFirstFrontier() {
        for (int64_t row = 0; row < view_.Rows(); ++row) {
            for (int64_t column = 0; column < view_.Columns(); ++column) {
                if (view_.IsHole(row, column) &&
                    std::any_of(kSides.begin(), kSides.end(), [&](const Side& side) {
                        return HasTwoFilled(row, column, side);
                    })) {
                    view_.At(row, column).y = 0.0f;
                    frontier_[frontier_count_++] = PointAt(row, column);
                }
            }
        }
    }

    static ExtrapPoint PointAt(int64_t row, int64_t column) {
        return {static_cast<uint32_t>(column), static_cast<uint32_t>(row), 0.0f, 0.0f, false};
    }

    void Process(ExtrapPoint& point) {
        int sides = 0;
        NcLibWarpGridCoord sum = {0.0f, 0.0f};
        for (const Side& side : kSides) {
            if (HasTwoFilled(point.y, point.x, side)) {
                const NcLibWarpGridCoord near =
                    view_.At(int64_t{point.y} + side.y, int64_t{point.x} + side.x);
                const NcLibWarpGridCoord far =
                    view_.At(int64_t{point.y} + 2 * side.y, int64_t{point.x} + 2 * side.x);
                sum.x += 2.0f * near.x - far.x;
                sum.y += 2.0f * near.y - far.y;
                ++sides;
            }
        }
        if (sides == 0) {
            next_[next_count_++] = point;
            return;
        }
        point.valueX = sum.x / static_cast<float>(sides);
        point.valueY = sum.y / static_cast<float>(sides);
        point.valid = true;
        ListNeighbours(point);
    }

    void ListNeighbours(const ExtrapPoint& point) {
        for (const Side& side : kSides) {
            const int64_t row = int64_t{point.y} + side.y;
            const int64_t column = int64_t{point.x} + side.x;
            if (row < 0 || row >= view_.Rows() || column < 0 || column >= view_.Columns()) {
                continue;
            }
            NcLibWarpGridCoord& node = view_.At(row, column);
            if (std::isnan(node.x) && std::isnan(node.y)) {
                node.y = 0.0f;
                next_[next_count_++] = PointAt(row, column);
            }
        }
    }

    int64_t WriteValidPoints() {
        int64_t written = 0;
        for (int64_t i = 0; i < frontier_count_; ++i) {
            const ExtrapPoint& point = frontier_[i];
            if (point.valid) {
                view_.At(point.y, point.x) = {point.valueX, point.valueY};
                ++written;
            }
        }
        return written;
    }

    const ReversalView& view_;
    ExtrapPoint* frontier_;
    ExtrapPoint* next_;
    int64_t frontier_count_ = 0;
    int64_t next_count_ = 0;
};

float StepOf(float start, float end, int32_t count) {
    return count > 1 ? (end - start) / static_cast<float>(count - 1) : 0.0f;
}

}  // namespace

namespace nclib {

ReversalView::ReversalView(const NcLibWarpReverseGridIn& in, NcLibWarpGridCoord* lattice)
    : in_(in),
      lattice_(lattice),
      step_x_(StepOf(in.dstGridStartX, in.dstGridEndX, in.dstGridNumColumns)),
      step_y_(StepOf(in.dstGridStartY, in.dstGridEndY, in.dstGridNumRows)) {}

int64_t FillFromNearestOuterNode(const ReversalView& view, const NcLibWarpGridCoord* polygon,
                                 uint32_t polygonCount) {
    const uint32_t nodes =
        static_cast<uint32_t>(view.SourceRows()) * static_cast<uint32_t>(view.SourceColumns());
    const bool tests_boundary = view.In().useBoundaryTest;
    const float max_x = tests_boundary ? GreatestX(view.In().dstCoords, nodes) : 0.0f;
    int64_t left = 0;
    for (int64_t row = 0; row < view.Rows(); ++row) {
        for (int64_t column = 0; column < view.Columns(); ++column) {
            if (!view.IsHole(row, column)) {
                continue;
            }
            const NcLibWarpGridCoord position = view.Position(row, column);
            if (tests_boundary && !NcLibInternalIsPointCertainlyOnOrOutsideBoundaryOfPolygon(
                                      polygon, polygonCount, position, max_x)) {
                ++left;
                continue;
            }
            view.At(row, column) = NearestOuterValue(view, position);
        }
    }
    return left;
}

int64_t FillByPropagation(const ReversalView& view, int64_t holes) {
    return holes > 0 ? Propagation(view).Run(holes) : 0;
}

void FillFromNearestNode(const ReversalView& view) {
    for (int64_t row = 0; row < view.Rows(); ++row) {
        for (int64_t column = 0; column < view.Columns(); ++column) {
            if (!view.IsHole(row, column)) {
                continue;
            }
            NearestNode nearest(view, view.Position(row, column));
            for (int32_t r = 0; r < view.SourceRows(); ++r) {
                for (int32_t c = 0; c < view.SourceColumns(); ++c) {
                    nearest.Consider(r, c);
                }
            }
            view.At(row, column) = nearest.Value();
        }
    }
}

}  // namespace nclib
