// SPDX-License-Identifier: Apache-2.0
// The rule: a triangle looks at each lattice node in the index range of its bounding box, and
// covers it if three weights say so. A mesh about as fine as the lattice has four nodes in the
// range of each triangle, and half a node in the triangle.
//
// So a survey, four cells at a time, finds which nodes lie in the bounding box of a cell's four
// corners, give or take a margin, and the rule is applied to those alone. That decides the same as
// long as a node beyond the margin cannot pass the test of weights. With an area well away from
// zero the weights are good to some 1e-4, while a node beyond the margin of 1e-3 of the box has a
// weight of at least 5e-4 on the wrong side. Cells of which that cannot be said, thin or much
// smaller than the lattice's step, and lattices whose positions are coarse against their step,
// follow the rule to the letter.
//
// The nodes that are left are tried four at a time too, in both triangles of their cell at once,
// for which of them it is cannot be foreseen. They are stored one by one in the order of cells.
#include "nclib/Logic/WarpAdjust/reverse_scatter.hpp"

#include <algorithm>
#include <cmath>

#include "nclib/numeric.hpp"
#include "platform/lanes.hpp"

namespace {

using nclib::ReversalView;
using platform::Float4;
using platform::Int4;

// Where three weights may lie for a point to count as in a triangle.
constexpr float kLeastWeight = -1e-7f;
constexpr float kGreatestWeight = 1.0000001f;

// When the survey decides the same: least part of its box that a triangle's parallelogram covers,
// greatest step of the lattice in boxes, farthest end of the lattice in steps, greatest box.
constexpr float kLeastShare = 0.02f;
constexpr float kGreatestStep = 16.0f;
constexpr float kFarthestEnd = 8192.0f;
constexpr float kGreatestBox = 1e30f;
// The margin: in boxes, and in steps for the rounding of positions.
constexpr float kMarginInBoxes = 1e-3f;
constexpr float kMarginInSteps = 0.01f;

// Corners 0, 1 on the upper row of a cell, 2, 3 on the lower one.
struct Cell {
    NcLibWarpGridCoord from[4];
    NcLibWarpGridCoord to[4];

    Cell(const ReversalView& view, int32_t row, int32_t column) {
        for (int i = 0; i < 4; ++i) {
            from[i] = view.Source(row + i / 2, column + i % 2);
            to[i] = view.Destination(row + i / 2, column + i % 2);
        }
    }
};

// The two triangles of a cell by their corners.
using Cut = int[2][3];
constexpr Cut kFromTopLeft = {{0, 3, 2}, {0, 1, 3}};
constexpr Cut kFromTopRight = {{0, 1, 2}, {2, 1, 3}};

struct Triangle {
    NcLibWarpGridCoord p1, p2, p3;
    float den;

    Triangle(const Cell& cell, const int (&corners)[3])
        : p1(cell.to[corners[0]]), p2(cell.to[corners[1]]), p3(cell.to[corners[2]]) {
        den = (p1.y - p3.y) * (p3.x - p2.x) + (p1.x - p3.x) * (p2.y - p3.y);
    }
};

// Shares of a position in the corners of a triangle.
struct Weights {
    float w1, w2, w3;

    static Weights Of(const Triangle& t, const NcLibWarpGridCoord& position) {
        const NcLibWarpGridCoord q = {position.x - t.p3.x, position.y - t.p3.y};
        const float w1 = ((t.p3.x - t.p2.x) * q.y + q.x * (t.p2.y - t.p3.y)) / t.den;
        const float w2 = ((t.p3.y - t.p1.y) * q.x + q.y * (t.p1.x - t.p3.x)) / t.den;
        return {w1, w2, 1.0f - w1 - w2};
    }

    static bool IsGood(float weight) { return weight >= kLeastWeight && weight <= kGreatestWeight; }
    bool AreGood() const { return IsGood(w1) && IsGood(w2) && IsGood(w3); }

    NcLibWarpGridCoord DisplacementOf(const Cell& cell, const int (&corners)[3]) const {
        const auto displacement = [&](int i) {
            const NcLibWarpGridCoord& from = cell.from[corners[i]];
            const NcLibWarpGridCoord& to = cell.to[corners[i]];
            return NcLibWarpGridCoord{from.x - to.x, from.y - to.y};
        };
        const NcLibWarpGridCoord d1 = displacement(0), d2 = displacement(1), d3 = displacement(2);
        return {w2 * d2.x + w1 * d1.x + w3 * d3.x, w2 * d2.y + w1 * d1.y + w3 * d3.y};
    }
};

// Lattice indices, both included.
struct IndexRange {
    int32_t low, high;

    IndexRange With(const IndexRange& other) const {
        return {std::max(low, other.low), std::min(high, other.high)};
    }
};

// Indices of four cells.
struct FourRanges {
    Int4 low, high;
};

Float4 Least(const Float4& a, const Float4& b) {
    return a < b ? a : b;
}

Float4 Greatest(const Float4& a, const Float4& b) {
    return a > b ? a : b;
}

// One axis of the lattice.
struct Axis {
    float start, step, inverse_step;
    int32_t count;

    Axis(float first, float width, int32_t nodes)
        : start(first),
          step(width),
          inverse_step(width != 0.0f ? 1.0f / width : 0.0f),
          count(nodes) {}

    // What the rule lets a triangle look at.
    IndexRange Touched(float a, float b, float c) const {
        const float min = std::min({a, b, c});
        const float max = std::max({a, b, c});
        int32_t low = nclib::TruncateToInt32(static_cast<double>((min - start) * inverse_step));
        int32_t high = nclib::TruncateToInt32(static_cast<double>((max - start) * inverse_step));
        if (step < 0.0f) {
            std::swap(low, high);
        }
        return {std::max(low, 0), std::min(high, count - 1)};
    }

    // Whether Touched() holds a node in each lane, for a positive step. Cutting toward zero makes
    // the range wider by what lies between -1 and 0.
    void FindTouching(const Float4& a, const Float4& b, const Float4& c, const Float4& node,
                      Int4& result) const {
        const Float4 low = (Least(Least(a, b), c) - start) * inverse_step;
        const Float4 high = (Greatest(Greatest(a, b), c) - start) * inverse_step;
        result = (low < node + 1.0f) & ((high >= node) | ((node == 0.0f) & (high > -1.0f)));
    }

    // The nodes between the bounds of four boxes, and those within the margin.
    void FindWithin(const Float4& min, const Float4& max, FourRanges& ranges) const {
        const Float4 zero = {};
        const Float4 least = (min - start) * inverse_step;
        const Float4 greatest = (max - start) * inverse_step;
        const Float4 margin = kMarginInSteps + kMarginInBoxes * (greatest - least);
        const Float4 low = Least(Greatest(least - margin, zero), zero + static_cast<float>(count));
        const Float4 end =
            Least(Greatest(greatest + margin + 1.0f, zero), zero + static_cast<float>(count));
        ranges.low = __builtin_convertvector(low, Int4);
        ranges.low -= __builtin_convertvector(ranges.low, Float4) < low;
        ranges.high = __builtin_convertvector(end, Int4) - 1;
    }

    bool IsFine() const {
        const float last = start + step * static_cast<float>(count - 1);
        return step > 0.0f &&
               std::max(std::fabs(start), std::fabs(last)) * inverse_step <= kFarthestEnd;
    }
};

// A corner of four neighbouring cells.
struct FourCorners {
    Float4 x, y;

    FourCorners() = default;
    explicit FourCorners(const NcLibWarpGridCoord* first) {
        Float4 a, b;
        platform::LoadLanes(first, a);
        platform::LoadLanes(first + 2, b);
        x = __builtin_shufflevector(a, b, 0, 2, 4, 6);
        y = __builtin_shufflevector(a, b, 1, 3, 5, 7);
    }
};

// Magnitude of the doubled area of four triangles.
void FindAreas(const FourCorners& p1, const FourCorners& p2, const FourCorners& p3, Float4& areas) {
    const Float4 den = (p1.y - p3.y) * (p3.x - p2.x) + (p1.x - p3.x) * (p2.y - p3.y);
    areas = Greatest(den, -den);
}

// Candidate nodes of four cells, and whether looking at them alone decides the same.
struct Survey {
    int32_t first_column[4], last_column[4], first_row[4], last_row[4];
    int32_t is_good[4];  // all ones or zero

    Survey(const Axis& x, const Axis& y, const NcLibWarpGridCoord* upper,
           const NcLibWarpGridCoord* lower) {
        const FourCorners p[4] = {FourCorners(upper), FourCorners(upper + 1), FourCorners(lower),
                                  FourCorners(lower + 1)};
        const Float4 min_x = Least(Least(p[0].x, p[1].x), Least(p[2].x, p[3].x));
        const Float4 max_x = Greatest(Greatest(p[0].x, p[1].x), Greatest(p[2].x, p[3].x));
        const Float4 min_y = Least(Least(p[0].y, p[1].y), Least(p[2].y, p[3].y));
        const Float4 max_y = Greatest(Greatest(p[0].y, p[1].y), Greatest(p[2].y, p[3].y));
        FourRanges columns, rows;
        x.FindWithin(min_x, max_x, columns);
        y.FindWithin(min_y, max_y, rows);

        // Comparisons are such that NaN, which every corner hands on to an area, is not good.
        const Float4 width = max_x - min_x;
        const Float4 height = max_y - min_y;
        const Float4 box = width * height;
        Int4 good = (box <= kGreatestBox) & (width * kGreatestStep >= x.step) &
                    (height * kGreatestStep >= y.step);
        constexpr int kEvery[4][3] = {{0, 3, 2}, {0, 1, 3}, {0, 1, 2}, {2, 1, 3}};
        for (const auto& corners : kEvery) {
            Float4 areas;
            FindAreas(p[corners[0]], p[corners[1]], p[corners[2]], areas);
            good &= areas >= kLeastShare * box;
        }
        platform::StoreLanes(columns.low, first_column);
        platform::StoreLanes(columns.high, last_column);
        platform::StoreLanes(rows.low, first_row);
        platform::StoreLanes(rows.high, last_row);
        platform::StoreLanes(good, is_good);
    }
};

// Up to four nodes to try, each in a cell of one row of cells.
struct Batch {
    int32_t cell_row;
    int32_t count;
    int32_t cell_column[4];
    int32_t row[4], column[4];
};

// Where the nodes of a batch stand.
struct FourPoints {
    Float4 x, y, column, row;
};

struct FourWeights {
    Float4 w1, w2, w3;
    Int4 covers;

    void Sum(const FourCorners& d1, const FourCorners& d2, const FourCorners& d3,
             FourCorners& sum) const {
        sum.x = w2 * d2.x + w1 * d1.x + w3 * d3.x;
        sum.y = w2 * d2.y + w1 * d1.y + w3 * d3.y;
    }
};

bool IsCutFromTopLeft(int32_t triangulation, int32_t column, int32_t row) {
    return triangulation == 1 || (triangulation == 2 && ((column ^ row) & 1) != 0);
}

class Scatter {
  public:
    explicit Scatter(const ReversalView& view)
        : view_(view),
          x_(view.In().dstGridStartX, view.StepX(), view.Columns()),
          y_(view.In().dstGridStartY, view.StepY(), view.Rows()) {}

    void FillAll() const {
        const int32_t cells = view_.SourceColumns() - 1;
        const bool surveys = x_.IsFine() && y_.IsFine() && cells >= 4;
        for (int32_t row = 0; row + 1 < view_.SourceRows(); ++row) {
            if (surveys) {
                FillRow(row, cells);
                continue;
            }
            for (int32_t column = 0; column < cells; ++column) {
                FillToTheLetter(row, column);
            }
        }
    }

  private:
    // The last four cells overlap the four before where their number asks for it.
    void FillRow(int32_t row, int32_t cells) const {
        Batch batch = {row, 0, {}, {}, {}};
        for (int32_t done = 0; done < cells;) {
            const int32_t first = std::min(done, cells - 4);
            const Survey survey(x_, y_, &view_.Destination(row, first),
                                &view_.Destination(row + 1, first));
            for (; done < first + 4; ++done) {
                if (survey.is_good[done - first] != 0) {
                    TryCandidates(survey, done - first, done, batch);
                } else {
                    Finish(batch);
                    FillToTheLetter(row, done);
                }
            }
        }
        Finish(batch);
    }

    void TryCandidates(const Survey& survey, int lane, int32_t cell_column, Batch& batch) const {
        const int32_t last_row = survey.last_row[lane];
        const int32_t last_column = survey.last_column[lane];
        for (int32_t row = survey.first_row[lane]; row <= last_row; ++row) {
            for (int32_t column = survey.first_column[lane]; column <= last_column; ++column) {
                batch.cell_column[batch.count] = cell_column;
                batch.row[batch.count] = row;
                batch.column[batch.count] = column;
                if (++batch.count == 4) {
                    Finish(batch);
                }
            }
        }
    }

    // Try the candidates of a batch, which may have less than four, and empty it.
    void Finish(Batch& batch) const {
        if (batch.count == 0) {
            return;
        }
        for (int i = batch.count; i < 4; ++i) {
            batch.cell_column[i] = batch.cell_column[0];
            batch.row[i] = batch.row[0];
            batch.column[i] = batch.column[0];
        }
        Int4 cells, rows, columns;
        platform::LoadLanes(batch.cell_column, cells);
        platform::LoadLanes(batch.row, rows);
        platform::LoadLanes(batch.column, columns);
        const Float4 row = __builtin_convertvector(rows, Float4);
        const Float4 column = __builtin_convertvector(columns, Float4);
        // Where the diagonal lies decides on one corner of each triangle.
        FourCorners p[4], diagonal, opposite;
        GatherCorners(batch, p);
        const Int4 from_top_left = FromTopLeft(cells, batch.cell_row);
        Choose(from_top_left, p[3], p[1], diagonal);
        Choose(from_top_left, p[0], p[2], opposite);

        FourPoints points = {x_.start + column * x_.step, y_.start + row * y_.step, column, row};
        FourWeights first, second;
        FindWeights(p[0], diagonal, p[2], points, first);
        FindWeights(opposite, p[1], p[3], points, second);

        Displace(batch, p);
        Choose(from_top_left, p[3], p[1], diagonal);
        Choose(from_top_left, p[0], p[2], opposite);
        FourCorners in_first, in_second, result;
        first.Sum(p[0], diagonal, p[2], in_first);
        second.Sum(opposite, p[1], p[3], in_second);
        Choose(first.covers, in_first, in_second, result);
        Store(batch, first.covers | second.covers, result);
        batch.count = 0;
    }

    // As IsCutFromTopLeft() for four cells in a row of cells.
    Int4 FromTopLeft(const Int4& columns, int32_t row) const {
        const int32_t cut = view_.In().triangulation;
        return cut == 2 ? -((columns ^ row) & 1) : Int4{} - (cut == 1 ? 1 : 0);
    }

    // The corners of four cells in a row of cells.
    void GatherCorners(const Batch& batch, FourCorners (&p)[4]) const {
        for (int side = 0; side < 2; ++side) {
            Float4 pair[4];  // x, y of the left corner, x, y of the right one
            for (int i = 0; i < 4; ++i) {
                platform::LoadLanes(&view_.Destination(batch.cell_row + side, batch.cell_column[i]),
                                    pair[i]);
            }
            const Float4 left_a = __builtin_shufflevector(pair[0], pair[1], 0, 4, 1, 5);
            const Float4 left_b = __builtin_shufflevector(pair[2], pair[3], 0, 4, 1, 5);
            const Float4 right_a = __builtin_shufflevector(pair[0], pair[1], 2, 6, 3, 7);
            const Float4 right_b = __builtin_shufflevector(pair[2], pair[3], 2, 6, 3, 7);
            p[2 * side].x = __builtin_shufflevector(left_a, left_b, 0, 1, 4, 5);
            p[2 * side].y = __builtin_shufflevector(left_a, left_b, 2, 3, 6, 7);
            p[2 * side + 1].x = __builtin_shufflevector(right_a, right_b, 0, 1, 4, 5);
            p[2 * side + 1].y = __builtin_shufflevector(right_a, right_b, 2, 3, 6, 7);
        }
    }

    // Turn the corners of the cells of a batch into displacements, source minus destination.
    void Displace(const Batch& batch, FourCorners (&p)[4]) const {
        const float* columns = view_.In().srcGridColumnCoords;
        const float* rows = view_.In().srcGridRowCoords + batch.cell_row;
        Float4 a, b;  // left and right column of two cells each
        platform::LoadPairs(columns + batch.cell_column[0], columns + batch.cell_column[1], a);
        platform::LoadPairs(columns + batch.cell_column[2], columns + batch.cell_column[3], b);
        const Float4 sides[2] = {__builtin_shufflevector(a, b, 0, 2, 4, 6),
                                 __builtin_shufflevector(a, b, 1, 3, 5, 7)};
        for (int i = 0; i < 4; ++i) {
            p[i].x = sides[i % 2] - p[i].x;
            p[i].y = rows[i / 2] - p[i].y;
        }
    }

    static void Choose(const Int4& mask, const FourCorners& yes, const FourCorners& no,
                       FourCorners& result) {
        result.x = mask ? yes.x : no.x;
        result.y = mask ? yes.y : no.y;
    }

    // As Weights, and whether the rule lets the triangle cover the node.
    void FindWeights(const FourCorners& p1, const FourCorners& p2, const FourCorners& p3,
                     const FourPoints& points, FourWeights& w) const {
        const Float4 qx = points.x - p3.x;
        const Float4 qy = points.y - p3.y;
        const Float4 den = (p1.y - p3.y) * (p3.x - p2.x) + (p1.x - p3.x) * (p2.y - p3.y);
        w.w1 = ((p3.x - p2.x) * qy + qx * (p2.y - p3.y)) / den;
        w.w2 = ((p3.y - p1.y) * qx + qy * (p1.x - p3.x)) / den;
        w.w3 = 1.0f - w.w1 - w.w2;
        Int4 touches_x, touches_y;
        x_.FindTouching(p1.x, p2.x, p3.x, points.column, touches_x);
        y_.FindTouching(p1.y, p2.y, p3.y, points.row, touches_y);
        w.covers = (w.w1 >= kLeastWeight) & (w.w1 <= kGreatestWeight) & (w.w2 >= kLeastWeight) &
                   (w.w2 <= kGreatestWeight) & (w.w3 >= kLeastWeight) & (w.w3 <= kGreatestWeight) &
                   touches_x & touches_y;
    }

    // Fill the holes among the nodes of a batch that are covered.
    void Store(const Batch& batch, const Int4& covers, const FourCorners& result) const {
        int32_t is_covered[4];
        NcLibWarpGridCoord nodes[4];
        platform::StoreLanes(covers, is_covered);
        platform::StoreLanes(__builtin_shufflevector(result.x, result.y, 0, 4, 1, 5), nodes);
        platform::StoreLanes(__builtin_shufflevector(result.x, result.y, 2, 6, 3, 7), nodes + 2);
        for (int i = 0; i < batch.count; ++i) {
            if (is_covered[i] != 0 && view_.IsHole(batch.row[i], batch.column[i])) {
                view_.At(batch.row[i], batch.column[i]) = nodes[i];
                if (std::isnan(nodes[i].x)) [[unlikely]] {  // a hole for the second triangle still
                    FillToTheLetter(batch.cell_row, batch.cell_column[i],
                                    {batch.column[i], batch.column[i]},
                                    {batch.row[i], batch.row[i]});
                }
            }
        }
    }

    void FillToTheLetter(int32_t cell_row, int32_t cell_column) const {
        FillToTheLetter(cell_row, cell_column, {0, x_.count - 1}, {0, y_.count - 1});
    }

    // The rule for the nodes of a part of the lattice.
    void FillToTheLetter(int32_t cell_row, int32_t cell_column, const IndexRange& part_columns,
                         const IndexRange& part_rows) const {
        const Cell cell(view_, cell_row, cell_column);
        for (const auto& corners : CutOf(cell_row, cell_column)) {
            const Triangle t(cell, corners);
            const IndexRange columns = x_.Touched(t.p1.x, t.p2.x, t.p3.x).With(part_columns);
            const IndexRange rows = y_.Touched(t.p1.y, t.p2.y, t.p3.y).With(part_rows);
            for (int32_t row = rows.low; row <= rows.high; ++row) {
                for (int32_t column = columns.low; column <= columns.high; ++column) {
                    if (!view_.IsHole(row, column)) {
                        continue;
                    }
                    const Weights weights = Weights::Of(t, view_.Position(row, column));
                    if (weights.AreGood()) {
                        view_.At(row, column) = weights.DisplacementOf(cell, corners);
                    }
                }
            }
        }
    }

    const Cut& CutOf(int32_t row, int32_t column) const {
        return IsCutFromTopLeft(view_.In().triangulation, column, row) ? kFromTopLeft
                                                                       : kFromTopRight;
    }

    const ReversalView& view_;
    Axis x_, y_;
};

}  // namespace

namespace nclib {

void ScatterCells(const ReversalView& view) {
    Scatter(view).FillAll();
}

}  // namespace nclib
