// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/nclib_log.hpp"
#include "platform/lanes.hpp"

namespace {

constexpr int kNeighbours = 8;
// Column and row steps to the neighbours; all ones is -1 for unsigned indices.
constexpr uint32_t kWest = ~0u, kNorth = ~0u;
constexpr GridPoint kSteps[kNeighbours] = {{1, 0},     {1, 1},          {0, 1},      {kWest, 1},
                                           {kWest, 0}, {kWest, kNorth}, {0, kNorth}, {1, kNorth}};

// Where three weights may lie: in 0 to 1, give or take NC_LIB_WARP_INTERNAL_EPS.
constexpr double kLeastWeight = -1e-5;
constexpr double kGreatestWeight = 1.00001;

GridPoint Neighbour(const GridPoint& node, int direction) {
    return {node.x + kSteps[direction].x, node.y + kSteps[direction].y};
}

bool IsInside(const NcLibWarpGrid& grid, const GridPoint& node) {
    return node.x < grid.numColumns && node.y < grid.numRows;
}

const NcLibWarpGridCoord& ValueAt(const NcLibWarpGrid& grid, const GridPoint& node) {
    return grid.grid[size_t{node.y} * grid.numColumns + node.x];
}

float SquaredDistance(const NcLibWarpGridCoord& a, const NcLibWarpGridCoord& b) {
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    return dx * dx + dy * dy;
}

// Whether all eight neighbours of a node lie in the grid. An index of 0 less one is the greatest.
bool IsInterior(const NcLibWarpGrid& grid, const GridPoint& node) {
    return node.x - 1 < grid.numColumns - 2 && node.y - 1 < grid.numRows - 2;
}

using platform::Double2;
using platform::Float4;
using platform::Int4;

// The values of the eight neighbours of a node that has all of them, in the order of directions.
struct Around {
    Float4 x[2], y[2];

    Around(const NcLibWarpGrid& grid, const GridPoint& node) {
        const NcLibWarpGridCoord* centre = &ValueAt(grid, node);
        const NcLibWarpGridCoord* above = centre - grid.numColumns;
        const NcLibWarpGridCoord* below = centre + grid.numColumns;
        Float4 east, south, west, north;
        platform::LoadPairs(centre + 1, below + 1, east);
        platform::LoadPairs(centre - 1, above - 1, west);
        platform::LoadLanes(below - 1, south);
        platform::LoadLanes(above, north);
        south = __builtin_shufflevector(south, south, 2, 3, 0, 1);
        x[0] = __builtin_shufflevector(east, south, 0, 2, 4, 6);
        y[0] = __builtin_shufflevector(east, south, 1, 3, 5, 7);
        x[1] = __builtin_shufflevector(west, north, 0, 2, 4, 6);
        y[1] = __builtin_shufflevector(west, north, 1, 3, 5, 7);
    }
};

// One bit for each of the directions in whose lane all bits are set.
uint32_t DirectionsOf(const Int4& first, const Int4& second) {
    Int4 bits = (first & Int4{1, 2, 4, 8}) | (second & Int4{16, 32, 64, 128});
    bits |= __builtin_shufflevector(bits, bits, 2, 3, 0, 1);
    bits |= __builtin_shufflevector(bits, bits, 1, 0, 3, 2);
    return static_cast<uint32_t>(bits[0]);
}

Int4 Least(const Int4& a, const Int4& b) {
    return a < b ? a : b;
}

// One pass around a node that has all neighbours, all eight at once: the first of the nearest, if
// it is nearer than `least`, or kNeighbours. Squared distances have no sign, so they compare like
// the integers of their bits; those that are no number are then the greatest.
int FindNearerNeighbour(const NcLibWarpGrid& grid, const GridPoint& node,
                        const NcLibWarpGridCoord& point, float& least) {
    const Around around(grid, node);
    Int4 distances[2];
    for (int half = 0; half < 2; ++half) {
        const Float4 dx = around.x[half] - point.x;
        const Float4 dy = around.y[half] - point.y;
        distances[half] = (Int4)(dx * dx + dy * dy) & 0x7fffffff;
    }
    Int4 nearest = Least(distances[0], distances[1]);
    nearest = Least(nearest, __builtin_shufflevector(nearest, nearest, 2, 3, 0, 1));
    nearest = Least(nearest, __builtin_shufflevector(nearest, nearest, 1, 0, 3, 2));
    const float distance = std::bit_cast<float>(int32_t{nearest[0]});
    if (!(distance < least)) {
        return kNeighbours;
    }
    least = distance;
    // A loop, whose end the processor foresees where points follow each other in a raster; the next
    // pass does not wait for it.
    int32_t all[kNeighbours];
    platform::StoreLanes(distances[0], all);
    platform::StoreLanes(distances[1], all + 4);
    int direction = 0;
    while (all[direction] != nearest[0]) {
        ++direction;
    }
    return direction;
}

int FindNearerNeighbourAtEdge(const NcLibWarpGrid& grid, const GridPoint& node,
                              const NcLibWarpGridCoord& point, float& least) {
    int nearest = kNeighbours;
    for (int direction = 0; direction < kNeighbours; ++direction) {
        const GridPoint candidate = Neighbour(node, direction);
        if (IsInside(grid, candidate)) {
            const float distance = SquaredDistance(ValueAt(grid, candidate), point);
            nearest = distance < least ? direction : nearest;
            least = distance < least ? distance : least;
        }
    }
    return nearest;
}

bool IsWeight(double weight) {
    return weight >= kLeastWeight && weight <= kGreatestWeight;
}

// Weights of P in the triangle C, A, B, in that order; false if P lies outside it.
bool WeighTriangle(const NcLibWarpGridCoord& c, const NcLibWarpGridCoord& a,
                   const NcLibWarpGridCoord& b, const NcLibWarpGridCoord& p, double* w) {
    const float den = (a.y - b.y) * (c.x - b.x) + (c.y - b.y) * (b.x - a.x);
    const float weight_c = ((a.y - b.y) * (p.x - b.x) + (b.x - a.x) * (p.y - b.y)) / den;
    const float weight_a = ((p.x - b.x) * (b.y - c.y) + (p.y - b.y) * (c.x - b.x)) / den;
    w[0] = static_cast<double>(weight_c);
    w[1] = static_cast<double>(weight_a);
    w[2] = 1.0 - (w[0] + w[1]);
    return IsWeight(w[0]) && IsWeight(w[1]) && IsWeight(w[2]);
}

// Which of the four triangles C, A, B clearly do not hold P, told without dividing: a weight is
// farther outside 0 to 1 than the tolerance and all rounding. What is no number is not clear.
Int4 FindClearlyOutside(const NcLibWarpGridCoord& c, const Float4& ax, const Float4& ay,
                        const Float4& bx, const Float4& by, const NcLibWarpGridCoord& p) {
    const Float4 den = (ay - by) * (c.x - bx) + (c.y - by) * (bx - ax);
    const Float4 part_c = (ay - by) * (p.x - bx) + (bx - ax) * (p.y - by);
    const Float4 part_a = (p.y - by) * (c.x - bx) - (p.x - bx) * (c.y - by);
    const Int4 sign = (Int4)den & std::numeric_limits<int32_t>::min();
    const Float4 size = (Float4)((Int4)den ^ sign);
    const Float4 towards_c = (Float4)((Int4)part_c ^ sign);
    const Float4 towards_a = (Float4)((Int4)part_a ^ sign);
    const Float4 least = size * -2e-5f;
    return (towards_c < least) | (towards_a < least) | (towards_c + towards_a > size * 1.0001f);
}

// The directions of the triangles around a node, which has all neighbours, that may hold a point.
uint32_t FindCandidates(const NcLibWarpGrid& grid, const GridPoint& node,
                        const NcLibWarpGridCoord& point) {
    const NcLibWarpGridCoord& centre = ValueAt(grid, node);
    const Around a(grid, node);
    Int4 outside[2];
    for (int half = 0; half < 2; ++half) {
        const Float4 bx = __builtin_shufflevector(a.x[half], a.x[1 - half], 1, 2, 3, 4);
        const Float4 by = __builtin_shufflevector(a.y[half], a.y[1 - half], 1, 2, 3, 4);
        outside[half] = FindClearlyOutside(centre, a.x[half], a.y[half], bx, by, point);
    }
    return DirectionsOf(~outside[0], ~outside[1]);
}

// The directions of the triangles around a node that have all corners in the grid.
uint32_t FindTrianglesAtEdge(const NcLibWarpGrid& grid, const GridPoint& node) {
    uint32_t directions = 0;
    for (int direction = 0; direction < kNeighbours; ++direction) {
        const bool is_whole = IsInside(grid, Neighbour(node, direction)) &&
                              IsInside(grid, Neighbour(node, (direction + 1) % kNeighbours));
        directions |= is_whole ? 1u << direction : 0;
    }
    return directions;
}

GridPoint FindNearestByScan(const NcLibWarpGrid& grid, const NcLibWarpGridCoord& point) {
    GridPoint nearest = {0, 0};
    float least = SquaredDistance(ValueAt(grid, nearest), point);
    for (uint32_t row = 0; row < grid.numRows; ++row) {
        for (uint32_t column = 0; column < grid.numColumns; ++column) {
            const float distance = SquaredDistance(ValueAt(grid, {column, row}), point);
            if (distance < least) {
                least = distance;
                nearest = {column, row};
            }
        }
    }
    return nearest;
}

// Where the nodes of a grid stand: start + index * span / last on each axis, x and y side by side.
struct NodePositions {
    Double2 start, span, last;

    explicit NodePositions(const NcLibWarpGrid& grid) {
        const bool is_fine = grid.numColumns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH;
        const nclib::NodeLattice lattice = nclib::GetNodeLattice(grid.extrapolateType, is_fine);
        start = Double2{static_cast<double>(lattice.startX), static_cast<double>(lattice.startY)};
        span = Double2{static_cast<double>(lattice.spanX), static_cast<double>(lattice.spanY)};
        // The only node of an axis stands at its start.
        last = Double2{static_cast<double>(std::max(grid.numColumns, 2u) - 1),
                       static_cast<double>(std::max(grid.numRows, 2u) - 1)};
    }

    NcLibWarpGridCoord WeightedSum(const Barycentric& bar) const {
        Double2 sum = {};
        for (int i = 0; i < 3; ++i) {
            const Double2 index = {static_cast<double>(bar.nodes[i].x),
                                   static_cast<double>(bar.nodes[i].y)};
            sum += bar.w[i] * (start + index * span / last);
        }
        return {static_cast<float>(sum[0]), static_cast<float>(sum[1])};
    }
};

}  // namespace

void findNearestNeighborGradientDescent(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* point,
                                        const GridPoint* start, GridPoint* nearest) {
    const uint64_t maxSteps = uint64_t{grid->numRows} * grid->numColumns;
    uint64_t currSteps = 0;
    GridPoint current = *start;
    float least = SquaredDistance(ValueAt(*grid, current), *point);
    int nearer;
    do {
        nearer = IsInterior(*grid, current)
                     ? FindNearerNeighbour(*grid, current, *point, least)
                     : FindNearerNeighbourAtEdge(*grid, current, *point, least);
        current = nearer != kNeighbours ? Neighbour(current, nearer) : current;
        ++currSteps;
        NC_LIB_ASSERT(currSteps <= maxSteps + 1);
    } while (nearer != kNeighbours);
    *nearest = current;
}

uint32_t findBarycentricCoordinates(const NcLibWarpGrid* grid, const GridPoint* nearestNeighbour,
                                    const NcLibWarpGridCoord* point, Barycentric* barycentric,
                                    bool allowNearest) {
    NC_LIB_ASSERT(nearestNeighbour->x < grid->numColumns);
    NC_LIB_ASSERT(nearestNeighbour->y < grid->numRows);
    const GridPoint node = *nearestNeighbour;
    uint32_t directions = IsInterior(*grid, node) ? FindCandidates(*grid, node, *point)
                                                  : FindTrianglesAtEdge(*grid, node);
    for (; directions != 0; directions &= directions - 1) {
        const int direction = std::countr_zero(directions);
        const GridPoint a = Neighbour(node, direction);
        const GridPoint b = Neighbour(node, (direction + 1) % kNeighbours);
        *barycentric = {{node, a, b}, {}};
        if (WeighTriangle(ValueAt(*grid, node), ValueAt(*grid, a), ValueAt(*grid, b), *point,
                          barycentric->w)) {
            return 0;
        }
    }
    *barycentric = {{node, node, node}, {1.0, 0.0, 0.0}};
    return allowNearest ? 0 : 1;
}

void InterpolatePoint(const NcLibWarpGrid* grid, const Barycentric* bar,
                      NcLibWarpGridCoord* result) {
    NC_LIB_ASSERT(fabs(bar->w[0] + bar->w[1] + bar->w[2] - 1.0) < NC_LIB_WARP_INTERNAL_EPS);
    *result = NodePositions(*grid).WeightedSum(*bar);
}

void transformInverseGrid(const NcLibWarpGrid* grid, const NcLibWarpGridCoord* in,
                          uint32_t numPoints, bool allowNearest, NcLibWarpGridCoord* out) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    GridPoint start = {grid->numColumns / 2, grid->numRows / 2};
    for (uint32_t i = 0; i < numPoints; ++i) {
        const NcLibWarpGridCoord point = in[i];
        Barycentric barycentric;
        GridPoint nearest;
        findNearestNeighborGradientDescent(grid, &point, &start, &nearest);
        uint32_t missed =
            findBarycentricCoordinates(grid, &nearest, &point, &barycentric, allowNearest);
        if (missed != 0) {
            nearest = FindNearestByScan(*grid, point);
            missed = findBarycentricCoordinates(grid, &nearest, &point, &barycentric, allowNearest);
        }
        if (missed != 0) {
            out[i] = {kNan, kNan};
            continue;
        }
        InterpolatePoint(grid, &barycentric, &out[i]);
        start = nearest;
    }
}
