// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"

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

// Whether all eight neighbours of a node lie in the grid.
bool IsInterior(const NcLibWarpGrid& grid, const GridPoint& node) {
    return node.x != 0 && node.y != 0 && node.x + 1 < grid.numColumns && node.y + 1 < grid.numRows;
}

using platform::Float4;

// Squared distances of four nodes, given as pairs of nodes, in the order of the indices; infinity
// where one is no number.
template <int kFirst, int kSecond, int kThird, int kFourth>
void FindFourDistances(const Float4& pair_a, const Float4& pair_b, const NcLibWarpGridCoord& point,
                       Float4& distances) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const Float4 x =
        __builtin_shufflevector(pair_a, pair_b, 2 * kFirst, 2 * kSecond, 2 * kThird, 2 * kFourth);
    const Float4 y = __builtin_shufflevector(pair_a, pair_b, 2 * kFirst + 1, 2 * kSecond + 1,
                                             2 * kThird + 1, 2 * kFourth + 1);
    const Float4 dx = x - point.x;
    const Float4 dy = y - point.y;
    const Float4 sum = dx * dx + dy * dy;
    distances = sum < kInfinity ? sum : Float4{} + kInfinity;
}

// One pass around a node that has all neighbours, all eight at once: the first of the nearest, if
// it is nearer than `least`, or kNeighbours.
int FindNearerNeighbour(const NcLibWarpGrid& grid, const GridPoint& node,
                        const NcLibWarpGridCoord& point, float& least) {
    const NcLibWarpGridCoord* centre = &ValueAt(grid, node);
    const NcLibWarpGridCoord* above = centre - grid.numColumns;
    const NcLibWarpGridCoord* below = centre + grid.numColumns;
    const Float4 east = {centre[1].x, centre[1].y, below[1].x, below[1].y};
    const Float4 west = {centre[-1].x, centre[-1].y, above[1].x, above[1].y};
    Float4 south, north;
    platform::LoadLanes(below - 1, south);
    platform::LoadLanes(above - 1, north);
    Float4 distances[2];
    FindFourDistances<0, 1, 3, 2>(east, south, point, distances[0]);  // E, SE, S, SW
    FindFourDistances<0, 2, 3, 1>(west, north, point, distances[1]);  // W, NW, N, NE
    const Float4 by_four = distances[0] < distances[1] ? distances[0] : distances[1];
    const Float4 swapped = __builtin_shufflevector(by_four, by_four, 2, 3, 0, 1);
    const Float4 by_two = by_four < swapped ? by_four : swapped;
    const float nearest = by_two[0] < by_two[1] ? by_two[0] : by_two[1];
    if (!(nearest < least)) {
        return kNeighbours;
    }
    least = nearest;
    float all[kNeighbours];
    platform::StoreLanes(distances[0], all);
    platform::StoreLanes(distances[1], all + 4);
    int direction = 0;
    while (all[direction] != nearest) {
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

// Whether part / den cannot be a weight, told without the division: it is farther outside 0 to 1
// than the tolerance and all rounding.
bool IsClearlyNoWeight(float part, float den) {
    const float size = std::fabs(den);
    const float towards = den < 0.0f ? -part : part;
    return towards < -2e-5f * size || towards > 1.0001f * size;
}

// Weights of P in the triangle C, A, B, in that order; false if P lies outside it.
bool WeighTriangle(const NcLibWarpGridCoord& c, const NcLibWarpGridCoord& a,
                   const NcLibWarpGridCoord& b, const NcLibWarpGridCoord& p, double* w) {
    const float den = (a.y - b.y) * (c.x - b.x) + (c.y - b.y) * (b.x - a.x);
    const float part_c = (a.y - b.y) * (p.x - b.x) + (b.x - a.x) * (p.y - b.y);
    const float part_a = (p.x - b.x) * (b.y - c.y) + (p.y - b.y) * (c.x - b.x);
    if (IsClearlyNoWeight(part_c, den) || IsClearlyNoWeight(part_a, den)) {
        return false;
    }
    const float weight_c = part_c / den;
    const float weight_a = part_a / den;
    w[0] = static_cast<double>(weight_c);
    w[1] = static_cast<double>(weight_a);
    w[2] = 1.0 - (w[0] + w[1]);
    return IsWeight(w[0]) && IsWeight(w[1]) && IsWeight(w[2]);
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

double NodePosition(uint32_t index, uint32_t count, double start, double span) {
    return count > 1 ? start + index * span / (count - 1) : start;
}

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
    for (int direction = 0; direction < kNeighbours; ++direction) {
        const GridPoint a = Neighbour(node, direction);
        const GridPoint b = Neighbour(node, (direction + 1) % kNeighbours);
        if (!IsInside(*grid, a) || !IsInside(*grid, b)) {
            continue;
        }
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
    const bool is_fine = grid->numColumns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH;
    const nclib::NodeLattice lattice = nclib::GetNodeLattice(grid->extrapolateType, is_fine);
    double x = 0;
    double y = 0;
    for (int i = 0; i < 3; ++i) {
        x += bar->w[i] * NodePosition(bar->nodes[i].x, grid->numColumns,
                                      static_cast<double>(lattice.startX),
                                      static_cast<double>(lattice.spanX));
        y += bar->w[i] * NodePosition(bar->nodes[i].y, grid->numRows,
                                      static_cast<double>(lattice.startY),
                                      static_cast<double>(lattice.spanY));
    }
    *result = {static_cast<float>(x), static_cast<float>(y)};
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
