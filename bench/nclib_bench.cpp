// SPDX-License-Identifier: Apache-2.0
// Points per second through warps, and what it costs to compose, reverse and fit them.
//
// Where a vision library is installed the program also measures what a user would pick from it
// instead; the names of those rows begin with "Cv".
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "nclib/Logic/WarpAdjust/virtual_domain.hpp"
#include "nclib/geometry/geometric_fit.hpp"
#include "steadywarp/nclib.h"
#include "steadywarp/nclib_chip.hpp"

#ifdef STEADYWARP_BENCH_OPENCV
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr uint32_t kChip = 0x50800;
constexpr uint32_t kRows = 102, kColumns = 134;  // points of a run, as a raster

std::vector<NcLibWarpGridCoord> RasterPoints() {
    std::vector<NcLibWarpGridCoord> points;
    for (uint32_t i = 0; i < kRows * kColumns; ++i) {
        points.push_back({static_cast<float>(i % kColumns) * 60.0f - 3990.0f,
                          static_cast<float>(i / kColumns) * 58.0f - 2929.0f});
    }
    return points;
}

std::vector<NcLibWarpGridCoord> ShuffledPoints() {
    auto points = RasterPoints();
    std::shuffle(points.begin(), points.end(), std::mt19937(1));
    return points;
}

// A barrel on a ring grid.
struct Mesh {
    std::vector<NcLibWarpGridCoord> nodes;
    NcLibWarpGrid record;

    explicit Mesh(uint32_t rows) {
        const uint32_t columns = rows == 51 ? 67 : 35;
        const auto type = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
        const auto lattice = nclib::GetNodeLattice(type, rows == 51);
        for (uint32_t i = 0; i < rows * columns; ++i) {
            const float x = lattice.startX + static_cast<float>(i % columns) * lattice.spanX /
                                                 static_cast<float>(columns - 1);
            const float y = lattice.startY + static_cast<float>(i / columns) * lattice.spanY /
                                                 static_cast<float>(rows - 1);
            const float k = 1.0f - 2e-9f * (x * x + y * y);
            nodes.push_back({x * k, y * k});
        }
        record = {true, nclib::kVirtualSize, rows, columns, nodes.data(), type, nullptr};
    }
};

struct Matrices {
    std::vector<NcLibPerspTransformSingle> array;
    NcLibWarpMatrices record;

    explicit Matrices(uint32_t side)
        : array(side * side, {{1.01f, 0.02f, 30, -0.02f, 1.01f, -20, 1e-7f, 1e-7f, 1}}) {
        record = {true, nclib::kVirtualSize, CENTERED, 256, side, side, array.data()};
    }
};

void Carry(benchmark::State& state, const std::vector<NcLibInternalWarpTopology>& chain,
           const std::vector<NcLibWarpGridCoord>& points) {
    NcLibChipInfo::Set(kChip, 0);
    std::vector<NcLibWarpGridCoord> out(points.size());
    for (auto _ : state) {
        NcLibInternalApplyTopologyOnPoints(chain.data(), static_cast<uint32_t>(chain.size()),
                                           points.data(), static_cast<uint32_t>(points.size()),
                                           true, out.data());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(points.size()));
}

// side of the matrix array
void ThroughMatrices(benchmark::State& state) {
    const Matrices matrices(static_cast<uint32_t>(state.range(0)));
    Carry(state, {{nullptr, &matrices.record, REGULAR}}, RasterPoints());
}
BENCHMARK(ThroughMatrices)->Arg(1)->Arg(3);

// rows of the grid, direction, whether the points come shuffled
void ThroughGrid(benchmark::State& state) {
    const Mesh mesh(static_cast<uint32_t>(state.range(0)));
    Carry(state, {{&mesh.record, nullptr, static_cast<uint32_t>(state.range(1))}},
          state.range(2) != 0 ? ShuffledPoints() : RasterPoints());
}
BENCHMARK(ThroughGrid)
    ->ArgNames({"rows", "regular", "shuffled"})
    ->ArgsProduct({{27, 51}, {INVERSE, REGULAR}, {0, 1}});

void ThroughSixStages(benchmark::State& state) {
    const Mesh coarse(27), fine(51);
    const Matrices single(1), zones(3);
    Carry(state,
          {{nullptr, &single.record, REGULAR},
           {&coarse.record, nullptr, REGULAR},
           {nullptr, &zones.record, REGULAR},
           {&fine.record, nullptr, REGULAR},
           {&fine.record, nullptr, INVERSE},
           {nullptr, &single.record, INVERSE}},
          fine.nodes);
}
BENCHMARK(ThroughSixStages);

void ComposeFineGrids(benchmark::State& state) {
    NcLibChipInfo::Set(kChip, 0);
    const Mesh fine(51);
    const Matrices zones(3);
    std::vector<NcLibWarpGridCoord> nodes(fine.nodes.size());
    std::vector<NcLibPerspTransformSingle> matrices(9);
    const NcLibWarp warp = {zones.record, fine.record, OUT_2_IN};
    NcLibWarp out = {};
    out.grid.grid = nodes.data();
    out.matrices.perspMatrices = matrices.data();
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibWarpComposition(&warp, &warp, &out));
    }
}
BENCHMARK(ComposeFineGrids)->Unit(benchmark::kMicrosecond);

// extrapolation
void ReverseFineGrid(benchmark::State& state) {
    const Mesh fine(51);
    std::vector<float> rows, columns;
    for (int i = 0; i < 51; ++i) {
        rows.push_back(static_cast<float>(i) * 128.0f - 3200.0f);
    }
    for (int i = 0; i < 67; ++i) {
        columns.push_back(static_cast<float>(i) * 128.0f - 4224.0f);
    }
    NcLibWarpReverseGridIn in = {
        51, 67, rows.data(), columns.data(), fine.nodes.data(), 2,       0,
        51, 67, -4224.0f,    -3200,          4224.0f,           3200.0f, false};
    in.extrapolation = static_cast<uint32_t>(state.range(0));
    std::vector<NcLibWarpGridCoord> out(fine.nodes.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(NcLibWarpReverseGridDirection(&in, out.data(), nullptr));
    }
}
BENCHMARK(ReverseFineGrid)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

// 49 correspondences of a known homography, in the square -1 .. 1.
struct Correspondences {
    std::vector<float> from, to;
    std::vector<uint16_t> indices;
    bcvCorrespondences record;

    Correspondences() {
        for (uint16_t i = 0; i < 49; ++i) {
            const float x = static_cast<float>(i % 7) / 3.0f - 1.0f;
            const float y = static_cast<float>(i / 7) / 3.0f - 1.0f;
            const float w = 0.05f * x - 0.02f * y + 1.0f;
            from.insert(from.end(), {x, y});
            to.insert(to.end(),
                      {(1.02f * x + 0.03f * y + 0.1f) / w, (-0.03f * x + 0.98f * y - 0.2f) / w});
            indices.push_back(i);
        }
        record = {from.data(), to.data(), 2, 2, 49, indices.data(), 49};
    }
};

void Fit(benchmark::State& state, void (*fit)(const bcvCorrespondences*, float*)) {
    const Correspondences points;
    float h[9];
    for (auto _ : state) {
        fit(&points.record, h);
        benchmark::DoNotOptimize(h);
    }
}
BENCHMARK_CAPTURE(Fit, homography, bcvGeomHomographyFitf32);
BENCHMARK_CAPTURE(Fit, homography_double, bcvGeomHomographyFitDPf32C);
BENCHMARK_CAPTURE(Fit, affine, bcvGeomAffineTransformFitf32);
BENCHMARK_CAPTURE(Fit, rigid, bcvGeomRigidTransformFitf32);

#ifdef STEADYWARP_BENCH_OPENCV

void CvPerspectiveTransform(benchmark::State& state) {
    std::vector<cv::Point2f> in, out;
    for (const auto& p : RasterPoints()) {
        in.emplace_back(p.x, p.y);
    }
    const cv::Matx33d h(1.01, 0.02, 30, -0.02, 1.01, -20, 1e-7, 1e-7, 1);
    cv::setNumThreads(1);
    for (auto _ : state) {
        cv::perspectiveTransform(in, out, h);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(in.size()));
}
BENCHMARK(CvPerspectiveTransform);

// The grid as a two-channel image, sampled with cubic interpolation at each point.
void CvRemapCubic(benchmark::State& state) {
    const Mesh mesh(static_cast<uint32_t>(state.range(0)));
    const int rows = static_cast<int>(mesh.record.numRows);
    const int columns = static_cast<int>(mesh.record.numColumns);
    cv::Mat grid(rows, columns, CV_32FC2), positions(kRows, kColumns, CV_32FC2), out;
    for (int i = 0; i < rows * columns; ++i) {
        const auto& node = mesh.nodes[static_cast<size_t>(i)];
        grid.at<cv::Vec2f>(i / columns, i % columns) = {node.x, node.y};
    }
    const auto lattice = nclib::GetNodeLattice(mesh.record.extrapolateType, rows == 51);
    const float step = lattice.spanX / static_cast<float>(columns - 1);
    const auto points = state.range(1) != 0 ? ShuffledPoints() : RasterPoints();
    for (int i = 0; i < static_cast<int>(kRows * kColumns); ++i) {
        const auto& p = points[static_cast<size_t>(i)];
        positions.at<cv::Vec2f>(i / static_cast<int>(kColumns), i % static_cast<int>(kColumns)) = {
            (p.x - lattice.startX) / step, (p.y - lattice.startY) / step};
    }
    cv::setNumThreads(1);
    for (auto _ : state) {
        cv::remap(grid, out, positions, cv::noArray(), cv::INTER_CUBIC);
        benchmark::DoNotOptimize(out.data);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kRows * kColumns);
}
BENCHMARK(CvRemapCubic)->ArgNames({"rows", "shuffled"})->ArgsProduct({{27, 51}, {0, 1}});

void CvFindHomography(benchmark::State& state) {
    const Correspondences points;
    std::vector<cv::Point2f> from, to;
    for (size_t i = 0; i < 49; ++i) {
        from.emplace_back(points.from[2 * i], points.from[2 * i + 1]);
        to.emplace_back(points.to[2 * i], points.to[2 * i + 1]);
    }
    cv::setNumThreads(1);
    for (auto _ : state) {
        cv::Mat h = cv::findHomography(from, to, 0);
        benchmark::DoNotOptimize(h.data);
    }
}
BENCHMARK(CvFindHomography);

#endif  // STEADYWARP_BENCH_OPENCV

}  // namespace

BENCHMARK_MAIN();
