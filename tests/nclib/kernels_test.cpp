// SPDX-License-Identifier: Apache-2.0
// Every form of a kernel, bit by bit against the plain way, aimed at the edges where a fast way
// could go astray.
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "nclib/Logic/WarpAdjust/inverse_grid.hpp"
#include "nclib/Logic/WarpAdjust/perspective.hpp"
#include "nclib/Logic/WarpAdjust/regular_grid.hpp"
#include "nclib/Logic/WarpAdjust/reverse_scatter.hpp"
#include "nclib/reference_engine.hpp"
#include "nclib/reference_inverse.hpp"
#include "nclib/reference_reversal.hpp"
#include "platform/fused.hpp"
#include "platform/lanes.hpp"
#include "support/warp_fixtures.hpp"

namespace {

using namespace warp_test;
using Point = NcLibWarpGridCoord;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Inputs of a search: some in every run, ten million in the long one.
int Searches(int in_short_run) {
    return std::getenv("STEADYWARP_ATTACK_ROUNDS") != nullptr ? 10000000 : in_short_run;
}

// Runs a check in each form that this machine has.
template <typename Check>
void InEveryForm(Check check) {
#if defined(__x86_64__)
    const bool best = platform::g_has_fused_add;
    platform::g_has_fused_add = false;
    check("plain");
    platform::g_has_fused_add = best;
    if (!best) {
        return;
    }
#endif
    check("best");
}

float OddFloat(Rng& rng) {
    constexpr float kOdd[] = {kNan, kInf, -kInf, 0.0f, -0.0f, 1e-40f, 3e38f, -1e30f};
    return kOdd[rng.Below(8)];
}

// Three numbers of which the first two times each other, plus the third, is hard to round: half a
// unit of the third's last place or a hair from it, for normal numbers and below; what cancels; and
// anything at all.
template <typename Float>
std::array<Float, 3> HardSum(Rng& rng) {
    using Bits = std::conditional_t<sizeof(Float) == 4, uint32_t, uint64_t>;
    constexpr int kDigits = std::numeric_limits<Float>::digits;
    constexpr int kHalfLeast = std::numeric_limits<Float>::min_exponent - kDigits - 1;
    const auto bits = [&](int count) { return static_cast<Float>(rng.Bits() >> (64 - count)); };
    const auto any = [&] { return std::bit_cast<Float>(static_cast<Bits>(rng.Bits())); };
    const auto one_to_two = [&] { return 1 + std::ldexp(bits(kDigits - 1), 1 - kDigits); };
    const Float near_one = 1 + std::ldexp(bits(2), 1 - kDigits);
    const Float below_one = 1 - std::ldexp(bits(3), -kDigits);
    const Float sign = rng.Below(2) == 0 ? 1 : -1;
    switch (rng.Below(4)) {
        case 0: {
            const int exponent = static_cast<int>(rng.Below(200)) - 100;
            const int share = static_cast<int>(rng.Below(40)) - 20;
            return {std::ldexp(sign * near_one, exponent - kDigits - share),
                    std::ldexp(below_one, share), std::ldexp(one_to_two(), exponent)};
        }
        case 1:
            return {std::ldexp(sign * near_one, kHalfLeast / 2),
                    std::ldexp(below_one, kHalfLeast - kHalfLeast / 2),
                    std::ldexp(bits(kDigits), kHalfLeast + 1)};
        case 2: {
            const Float a = sign * one_to_two(), b = one_to_two();
            return {a, b, -a * b};
        }
        default:
            return {any(), any(), any()};
    }
}

// How often what is rounded twice, below normal numbers and from them on, is not right.
template <typename Float>
struct RoundedTwice {
    int below = 0, normal = 0;

    void Count(Float twice, Float once) {
        (std::fabs(twice) < std::numeric_limits<Float>::min() ? below : normal) += twice != once;
    }
};

template <typename Float>
bool AreSame(Float a, Float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

TEST(Kernels, ProductsAddedInStepsAreRoundedOnce) {
    // A product of zero has a sign, and the greatest and least numbers have no halves.
    constexpr double kEdges[] = {0.0, -0.0, 1.0, -3.0, 0x1p-1030, 0x1.8p1000, -0x1p-700, HUGE_VAL};
    for (const double a : kEdges) {
        for (const double b : kEdges) {
            for (const double c : kEdges) {
                EXPECT_TRUE(AreSame(platform::FusedInSteps(a, b, c), std::fma(a, b, c)))
                    << std::hexfloat << a << " * " << b << " + " << c;
            }
        }
    }
    Rng rng(10);
    RoundedTwice<float> floats;
    RoundedTwice<double> doubles;
    for (int done = 0; done < Searches(200000); done += 4) {
        [[maybe_unused]] float a[4], b[4], c[4];  // only some processors have lanes in steps
        float expected[4];
        for (int i = 0; i < 4; ++i) {
            const auto [p, q, r] = HardSum<double>(rng);
            ASSERT_TRUE(AreSame(platform::FusedInSteps(p, q, r), std::fma(p, q, r)))
                << std::hexfloat << p << " * " << q << " + " << r;
            doubles.Count(p * q + r, std::fma(p, q, r));

            const auto [x, y, z] = HardSum<float>(rng);
            a[i] = x, b[i] = y, c[i] = z;
            expected[i] = std::fma(x, y, z);
            ASSERT_TRUE(AreSame(platform::FusedInSteps(x, y, z), expected[i]))
                << std::hexfloat << x << " * " << y << " + " << z;
            floats.Count(static_cast<float>(double{x} * double{y} + double{z}), expected[i]);
        }
#if defined(__x86_64__)
        platform::Float4 sums, lanes_a, lanes_b;
        platform::LoadLanes(a, lanes_a);
        platform::LoadLanes(b, lanes_b);
        platform::LoadLanes(c, sums);
        platform::FusedAddInSteps(sums, lanes_a, lanes_b);
        for (int i = 0; i < 4; ++i) {
            ASSERT_TRUE(AreSame(float{sums[i]}, expected[i]))
                << std::hexfloat << a[i] << " * " << b[i] << " + " << c[i];
        }
#endif
    }
    EXPECT_GT(floats.below, 100);
    EXPECT_GT(floats.normal, 100);
    EXPECT_GT(doubles.normal, 100);
}

TEST(Kernels, ManyPointsThroughOneMatrixEqualOneAtATime) {
    InEveryForm([](const char* form) {
        Rng rng(11);
        for (int done = 0; done < Searches(200000);) {
            Matrices matrix;
            matrix.Shake(rng, rng.Uniform(0, 40));
            if (rng.Below(10) == 0) {
                matrix.array[0].T[rng.Below(9)] = OddFloat(rng);
            }
            std::vector<Point> points(rng.Below(70));
            for (Point& p : points) {
                p = rng.Below(50) == 0 ? Point{OddFloat(rng), rng.Uniform(-9, 9)}
                                       : rng.Point(5000, 4000);
            }
            std::vector<Point> mapped = points;
            const auto count = static_cast<uint32_t>(points.size());
            const bool in_place = rng.Below(2) == 0;
            transformRegularMatrices(&matrix.record, in_place ? mapped.data() : points.data(),
                                     count, mapped.data());
            for (uint32_t i = 0; i < count; ++i) {
                const Point expected = reference::MapByMatrix(matrix.array[0].T, points[i]);
                ASSERT_TRUE(SameBits(mapped[i], expected))
                    << form << ", point " << i << " of " << count << ": " << points[i].x << ", "
                    << points[i].y;
            }
            done += static_cast<int>(count) + 1;
        }
    });
}

// In the frame mostly; at the borders of cells and of the grid; far out; and no numbers.
Point GridPointOf(Rng& rng) {
    switch (rng.Below(40)) {
        case 0:
            return {OddFloat(rng), rng.Uniform(-4000, 4000)};
        case 1:
            return {rng.Uniform(-4000, 4000), OddFloat(rng)};
        case 2:
            return rng.Point(3e8f, 3e8f);
        case 3: {
            const float border = 32.0f * static_cast<float>(static_cast<int>(rng.Below(300)) - 150);
            return {border + rng.Uniform(-0.07f, 0.07f), 0.75f * border};
        }
        case 4:
            return rng.Point(9000, 9000);
        default:
            return rng.Point(4200, 3200);
    }
}

TEST(Kernels, PointsThroughAGridEqualThePlainWayInEveryFormAndNumber) {
    struct Row {
        uint32_t chip, version, rows, columns;
        NcLibWarpGridExtrapolationType type;
    };
    constexpr Row kRows[] = {
        {kChip30, 30, 27, 35, kRing},  {kChip40, 40, 51, 67, kRing},
        {kChip20, 20, 27, 35, kRing},  {kChip10, 10, 25, 33, kCorners},
        {kChip30, 30, 4, 9, kCorners}, {kChip30, 30, 30, 3, kCorners},
    };
    InEveryForm([&](const char* form) {
        Rng rng(12);
        for (int done = 0; done < Searches(200000);) {
            const Row& row = kRows[rng.Below(std::size(kRows))];
            NcLibChipInfo::Set(row.chip, 0);
            Grid grid(row.rows, row.columns, row.type);
            grid.Shake(rng, 60.0f);
            const auto format =
                reference::FormatOf(row.version, row.type == kRing && row.rows == 51);
            for (int batch = 0; batch < 50; ++batch) {
                std::vector<Point> points(rng.Below(40));
                for (Point& p : points) {
                    p = GridPointOf(rng);
                }
                std::vector<Point> mapped = points;
                const auto count = static_cast<uint32_t>(points.size());
                const bool in_place = rng.Below(2) == 0;
                transformRegularGrid(&grid.record, in_place ? mapped.data() : points.data(), count,
                                     mapped.data());
                for (uint32_t i = 0; i < count; ++i) {
                    const Point expected = reference::MapPoint(grid.record, format, points[i]);
                    ASSERT_TRUE(SameBits(mapped[i], expected))
                        << form << ", " << row.rows << " rows, point " << i << " of " << count
                        << ": " << points[i].x << ", " << points[i].y;
                }
                done += static_cast<int>(count) + 1;
            }
        }
    });
}

// A mesh whose landing is regular up to a shake, on a lattice that is finer, as fine or coarser.
// Now and then nodes land exactly on lattice nodes, on their neighbours, or nowhere.
struct RandomMesh {
    std::vector<float> rows, columns;
    std::vector<Point> landing;
    NcLibWarpReverseGridIn in = {};

    explicit RandomMesh(Rng& rng) {
        const uint32_t r = 2 + rng.Below(7), c = 2 + rng.Below(14);
        const float step = 4.0f * static_cast<float>(1 + rng.Below(8));
        const bool is_far = rng.Below(8) == 0;
        const float origin = is_far ? rng.Uniform(-3e6f, 3e6f) : rng.Uniform(-50, 50);
        const float cell_x = step * Scale(rng), cell_y = step * Scale(rng);
        const float shake = rng.Below(3) == 0 ? 1.5f : rng.Uniform(0, 0.3f);
        const bool on_nodes = rng.Below(2) == 0;
        for (uint32_t i = 0; i < r; ++i) {
            rows.push_back(10.0f * static_cast<float>(i));
        }
        for (uint32_t i = 0; i < c; ++i) {
            columns.push_back(10.0f * static_cast<float>(i));
        }
        for (uint32_t i = 0; i < r * c; ++i) {
            Point p = {origin + cell_x * (static_cast<float>(i % c) + rng.Uniform(-shake, shake)),
                       origin + cell_y * (static_cast<float>(i / c) + rng.Uniform(-shake, shake))};
            if (on_nodes && rng.Below(2) == 0) {
                p.x = origin + step * std::round((p.x - origin) / step);
                p.y = origin + step * std::round((p.y - origin) / step);
                p.x = rng.Below(6) == 0 ? std::nextafter(p.x, rng.Uniform(-1e7f, 1e7f)) : p.x;
            }
            landing.push_back(rng.Below(400) == 0 ? Point{OddFloat(rng), p.y} : p);
        }
        if (rng.Below(10) == 0) {
            columns[rng.Below(c)] = OddFloat(rng);
        }
        const auto first = origin - step * static_cast<float>(rng.Below(3));
        const auto nodes = static_cast<float>(2 + rng.Below(20));
        in = {static_cast<int32_t>(r),
              static_cast<int32_t>(c),
              rows.data(),
              columns.data(),
              landing.data(),
              static_cast<int32_t>(rng.Below(3)),
              1,
              static_cast<int32_t>(nodes),
              static_cast<int32_t>(nodes),
              first,
              first,
              first + step * (nodes - 1),
              first + step * (nodes - 1),
              false};
        if (rng.Below(20) == 0) {
            std::swap(in.dstGridStartX, in.dstGridEndX);
        }
    }
    RandomMesh(const RandomMesh&) = delete;

  private:
    static float Scale(Rng& rng) {
        constexpr float kScales[] = {1.0f, 0.05f, 0.25f, 0.9f, 1.04f, 3.0f, 1e-3f, -1.0f};
        return kScales[rng.Below(8)];
    }
};

TEST(Kernels, ASurveyedMeshCoversWhatItsTrianglesCover) {
    Rng rng(13);
    for (int covered = 0; covered < Searches(200000);) {
        const RandomMesh mesh(rng);
        const auto expected = reference::Cover(mesh.in);
        std::vector<Point> lattice(expected.size(), {kNan, kNan});
        nclib::ScatterCells(nclib::ReversalView(mesh.in, lattice.data()));
        for (size_t i = 0; i < expected.size(); ++i) {
            ASSERT_TRUE(SameBits(lattice[i], expected[i]))
                << "node " << i << " of the mesh after " << covered << ": " << lattice[i].x
                << " instead of " << expected[i].x;
            covered += std::isnan(expected[i].x) ? 0 : 1;
        }
    }
}

// A value of a node, the middle of an edge, a point just beside one, or anything.
Point BackwardPoint(Rng& rng, const Grid& grid) {
    const auto count = static_cast<uint32_t>(grid.nodes.size());
    const Point& a = grid.nodes[rng.Below(count)];
    const Point& b = grid.nodes[rng.Below(count)];
    switch (rng.Below(8)) {
        case 0:
            return a;
        case 1:
            return {a.x + 0.5f * (b.x - a.x), a.y + 0.5f * (b.y - a.y)};
        case 2:
            return {a.x + rng.Uniform(-0.01f, 0.01f), a.y};
        case 3:
            return {a.x, OddFloat(rng)};
        default:
            return rng.Point(4400, 3400);
    }
}

TEST(Kernels, BackwardThroughAGridEqualsThePlainSearch) {
    Rng rng(14);
    for (int done = 0; done < Searches(200000);) {
        const uint32_t rows = 1 + rng.Below(14), columns = 1 + rng.Below(14);
        Grid grid(rows, columns, rng.Below(2) == 0 ? kCorners : kRing);
        // Folds, and nodes that fall together, at times.
        const float amounts[] = {0, 5, 60, 900};
        grid.Shake(rng, amounts[rng.Below(4)]);
        if (rng.Below(5) == 0) {
            grid.nodes[rng.Below(rows * columns)] = grid.nodes[rng.Below(rows * columns)];
            grid.nodes[rng.Below(rows * columns)].x = OddFloat(rng);
        }
        std::vector<Point> points(rng.Below(300));
        for (Point& p : points) {
            p = BackwardPoint(rng, grid);
        }
        const bool allow_nearest = rng.Below(2) == 0;
        std::vector<Point> mapped(points.size());
        const auto count = static_cast<uint32_t>(points.size());
        transformInverseGrid(&grid.record, points.data(), count, allow_nearest, mapped.data());
        reference::InverseSearch search(grid.record);
        for (uint32_t i = 0; i < count; ++i) {
            const Point expected = search.Find(points[i], allow_nearest);
            ASSERT_TRUE(SameBits(mapped[i], expected))
                << rows << " by " << columns << ", point " << i << ": " << points[i].x << ", "
                << points[i].y;
        }
        done += static_cast<int>(count);
    }
}

}  // namespace
