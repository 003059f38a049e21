// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "jobs.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "support/warps.hpp"

namespace compare {
namespace {

using Points = std::vector<NcLibWarpGridCoord>;
using Truth = std::function<std::array<double, 2>(const NcLibWarpGridCoord&)>;

// The count of points of a frame's grid, and enough to fill caches.
constexpr uint32_t kCounts[][2] = {{27, 35}, {250, 400}};

void Carry(const NcLibInternalWarpTopology& stage, const Points& in, Points& out) {
    NcLibInternalApplyTopologyOnPoints(&stage, 1, in.data(), static_cast<uint32_t>(in.size()), true,
                                       out.data());
}

template <typename Result>
double LargestError(const Points& in, const Result& out, const Truth& truth) {
    double largest = 0;
    for (size_t i = 0; i < in.size(); ++i) {
        const auto exact = truth(in[i]);
        largest = std::max({largest, std::fabs(static_cast<double>(out[i].x) - exact[0]),
                            std::fabs(static_cast<double>(out[i].y) - exact[1])});
    }
    return largest;
}

// A grid's warp as it was before it was sampled.
std::array<double, 2> Barrel(const NcLibWarpGridCoord& p) {
    const double x = static_cast<double>(p.x);
    const double y = static_cast<double>(p.y);
    const double k = 1.0 - static_cast<double>(bench::kBarrel) * (x * x + y * y);
    return {x * k, y * k};
}

// The point of the frame that the barrel takes to p.
std::array<double, 2> Unbarrel(const NcLibWarpGridCoord& p) {
    const double x = static_cast<double>(p.x);
    const double y = static_cast<double>(p.y);
    double k = 1.0;
    for (int i = 0; i < 100; ++i) {
        k = 1.0 - static_cast<double>(bench::kBarrel) * (x * x + y * y) / (k * k);
    }
    return {x / k, y / k};
}

std::vector<cv::Point2f> ToCv(const Points& points) {
    std::vector<cv::Point2f> result;
    for (const auto& p : points) {
        result.emplace_back(p.x, p.y);
    }
    return result;
}

void AddHomography(std::vector<Job>& jobs) {
    struct State {
        bench::Matrices matrices{1};
        Points in = bench::RasterPoints(27, 35), out = in;
        std::vector<cv::Point2f> cv_in = ToCv(in), cv_out;
        cv::Matx33d h;
    };
    const auto s = std::make_shared<State>();
    const float* t = s->matrices.array[0].T;
    std::copy_n(t, 9, s->h.val);
    Side ours = {"NcLib", [s] { Carry({nullptr, &s->matrices.record, REGULAR}, s->in, s->out); }};
    Side theirs = {"cv::perspectiveTransform",
                   [s] { cv::perspectiveTransform(s->cv_in, s->cv_out, s->h); }};
    ours.run();
    theirs.run();
    const Truth exact = [s](const NcLibWarpGridCoord& p) {
        const auto q = s->h * cv::Vec3d(static_cast<double>(p.x), static_cast<double>(p.y), 1.0);
        return std::array<double, 2>{q[0] / q[2], q[1] / q[2]};
    };
    ours.largest_error = LargestError(s->in, s->out, exact);
    theirs.largest_error = LargestError(s->in, s->cv_out, exact);
    jobs.push_back({"homography, 945 points", ours, theirs, 2.0});
}

// The grid as a two-channel image, sampled with cubic interpolation at each point.
void AddBicubic(std::vector<Job>& jobs, uint32_t grid_rows, const uint32_t (&raster)[2]) {
    struct State {
        bench::Mesh mesh;
        Points in, out;
        cv::Mat grid, positions, cv_out;

        State(uint32_t rows, const uint32_t (&size)[2])
            : mesh(rows), in(bench::RasterPoints(size[0], size[1])), out(in) {
            const NcLibWarpGrid& record = mesh.record;
            const auto lattice = nclib::GetNodeLattice(record.extrapolateType, rows == 51);
            const float step = lattice.spanX / static_cast<float>(record.numColumns - 1);
            grid = cv::Mat(static_cast<int>(record.numRows), static_cast<int>(record.numColumns),
                           CV_32FC2, mesh.nodes.data());
            positions.create(static_cast<int>(size[0]), static_cast<int>(size[1]), CV_32FC2);
            for (size_t i = 0; i < in.size(); ++i) {
                positions.ptr<cv::Vec2f>()[i] = {(in[i].x - lattice.startX) / step,
                                                 (in[i].y - lattice.startY) / step};
            }
        }
    };
    const auto s = std::make_shared<State>(grid_rows, raster);
    Side ours = {"NcLib", [s] { Carry({&s->mesh.record, nullptr, REGULAR}, s->in, s->out); }};
    Side theirs = {"cv::remap cubic", [s] {
                       cv::remap(s->grid, s->cv_out, s->positions, cv::noArray(), cv::INTER_CUBIC);
                   }};
    ours.run();
    theirs.run();
    ours.largest_error = LargestError(s->in, s->out, Barrel);
    theirs.largest_error = LargestError(s->in, s->cv_out.ptr<cv::Point2f>(), Barrel);
    jobs.push_back({"bicubic, " + std::to_string(s->mesh.record.numColumns) + "x" +
                        std::to_string(grid_rows) + " grid, " + std::to_string(s->in.size()) +
                        " points",
                    ours, theirs, 1.3});
}

// Of measured points, too: on exact ones the fits differ by how they round, and by nothing else.
void AddFit(std::vector<Job>& jobs, const char* name, double noise) {
    struct State {
        explicit State(double noise) : points(3, 6, noise) {}
        bench::Correspondences points;
        float h[9] = {};
        std::vector<cv::Point2f> from, to;
        cv::Mat cv_h;
    };
    const auto s = std::make_shared<State>(noise);
    for (size_t i = 0; i < s->points.indices.size(); ++i) {
        s->from.emplace_back(s->points.from[2 * i], s->points.from[2 * i + 1]);
        s->to.emplace_back(s->points.to[2 * i], s->points.to[2 * i + 1]);
    }
    Side ours = {"NcLib", [s] { bcvGeomHomographyFitf32(&s->points.record, s->h); }};
    Side theirs = {"cv::findHomography(0)",
                   [s] { s->cv_h = cv::findHomography(s->from, s->to, 0); }};
    ours.run();
    theirs.run();
    const auto residual = [s](const auto& h) {
        double sum = 0;
        for (size_t i = 0; i < s->from.size(); ++i) {
            const double x = static_cast<double>(s->from[i].x);
            const double y = static_cast<double>(s->from[i].y);
            const double w = h(6) * x + h(7) * y + h(8);
            sum += std::pow((h(0) * x + h(1) * y + h(2)) / w - static_cast<double>(s->to[i].x), 2) +
                   std::pow((h(3) * x + h(4) * y + h(5)) / w - static_cast<double>(s->to[i].y), 2);
        }
        return std::sqrt(sum / static_cast<double>(s->from.size()));
    };
    ours.largest_error = residual([s](int i) { return static_cast<double>(s->h[i]); });
    theirs.largest_error = residual([s](int i) { return s->cv_h.at<double>(i / 3, i % 3); });
    jobs.push_back({name, ours, theirs, 30.0});
}

// A triangulation of the nodes' images answers where a point comes from.
void AddBackward(std::vector<Job>& jobs) {
    struct State {
        bench::Mesh mesh{51};
        Points in = bench::RasterPoints(27, 35), out;
        cv::Subdiv2D triangles{cv::Rect(-6000, -5000, 12000, 10000)};
        std::vector<cv::Point2f> node_of_vertex;
        std::vector<cv::Point2f> cv_out;

        State() {
            for (auto& p : in) {
                p = {p.x * 0.93f, p.y * 0.93f};
            }
            out = in;
            cv_out.resize(in.size());
            const auto lattice = nclib::GetNodeLattice(mesh.record.extrapolateType, true);
            const uint32_t columns = mesh.record.numColumns;
            for (uint32_t i = 0; i < mesh.nodes.size(); ++i) {
                const int vertex = triangles.insert({mesh.nodes[i].x, mesh.nodes[i].y});
                node_of_vertex.resize(
                    std::max(node_of_vertex.size(), static_cast<size_t>(vertex) + 1));
                node_of_vertex[static_cast<size_t>(vertex)] = {
                    lattice.startX + static_cast<float>(i % columns) * 128.0f,
                    lattice.startY + static_cast<float>(i / columns) * 128.0f};
            }
        }
        cv::Point2f Locate(cv::Point2f p) {
            int edge = 0;
            int vertex = 0;
            const int where = triangles.locate(p, edge, vertex);
            if (where == cv::Subdiv2D::PTLOC_VERTEX) {
                return node_of_vertex[static_cast<size_t>(vertex)];
            }
            cv::Point2f at[3];
            cv::Point2f from[3];
            for (int i = 0; i < 3; ++i) {
                const int v = triangles.edgeOrg(edge, &at[i]);
                from[i] = node_of_vertex[static_cast<size_t>(v)];
                edge = triangles.getEdge(edge, cv::Subdiv2D::NEXT_AROUND_LEFT);
            }
            const double den = (at[1] - at[0]).cross(at[2] - at[0]);
            const double w1 = (p - at[0]).cross(at[2] - at[0]) / den;
            const double w2 = (at[1] - at[0]).cross(p - at[0]) / den;
            return from[0] + (from[1] - from[0]) * w1 + (from[2] - from[0]) * w2;
        }
    };
    const auto s = std::make_shared<State>();
    Side ours = {"NcLib", [s] { Carry({&s->mesh.record, nullptr, INVERSE}, s->in, s->out); }};
    Side theirs = {"cv::Subdiv2D", [s] {
                       for (size_t i = 0; i < s->in.size(); ++i) {
                           s->cv_out[i] = s->Locate({s->in[i].x, s->in[i].y});
                       }
                   }};
    ours.run();
    theirs.run();
    ours.largest_error = LargestError(s->in, s->out, Unbarrel);
    theirs.largest_error = LargestError(s->in, s->cv_out, Unbarrel);
    jobs.push_back({"backward, 67x51 grid, 945 points", ours, theirs, 2.0});
}

}  // namespace

void AddPointJobs(std::vector<Job>& jobs) {
    AddHomography(jobs);
    for (const uint32_t rows : {27u, 51u}) {
        for (const auto& raster : kCounts) {
            AddBicubic(jobs, rows, raster);
        }
    }
    AddFit(jobs, "homography fit, 18 points", 0.0);
    AddFit(jobs, "homography fit, 18 points, noisy", 1e-3);
    AddBackward(jobs);
}

// Ten rounds of fixed-point iteration: p becomes q - displacement(p), the grid sampled bilinearly.
void AddReversalJob(std::vector<Job>& jobs) {
    struct State {
        bench::Mesh mesh{51};
        std::vector<float> rows, columns;
        NcLibWarpReverseGridIn in = {};
        Points out;
        cv::Mat shift, lattice, position, sampled;

        State() : out(mesh.nodes.size()) {
            for (int i = 0; i < 51; ++i) {
                rows.push_back(static_cast<float>(i) * 128.0f - 3200.0f);
            }
            for (int i = 0; i < 67; ++i) {
                columns.push_back(static_cast<float>(i) * 128.0f - 4224.0f);
            }
            // The wanted lattice lies inside the mesh's image, so that nothing is extrapolated.
            in = {51, 67, rows.data(), columns.data(), mesh.nodes.data(), 2,       1,
                  51, 67, -3800.0f,    -2900.0f,       3800.0f,           2900.0f, false};
            shift.create(51, 67, CV_32FC2);
            lattice.create(51, 67, CV_32FC2);
            for (int i = 0; i < 51 * 67; ++i) {
                const auto& node = mesh.nodes[static_cast<size_t>(i)];
                // In cells of the mesh, as remap counts.
                shift.at<cv::Vec2f>(i / 67, i % 67) = {
                    (node.x - columns[static_cast<size_t>(i % 67)]) / 128.0f,
                    (node.y - rows[static_cast<size_t>(i / 67)]) / 128.0f};
                const auto q = Position(i);
                lattice.at<cv::Vec2f>(i / 67, i % 67) = {(q.x + 4224.0f) / 128.0f,
                                                         (q.y + 3200.0f) / 128.0f};
            }
        }
        static NcLibWarpGridCoord Position(int node) {
            return {-3800.0f + static_cast<float>(node % 67) * (7600.0f / 66.0f),
                    -2900.0f + static_cast<float>(node / 67) * (5800.0f / 50.0f)};
        }
        void Iterate() {
            lattice.copyTo(position);
            for (int round = 0; round < 10; ++round) {
                cv::remap(shift, sampled, position, cv::noArray(), cv::INTER_LINEAR,
                          cv::BORDER_REPLICATE);
                cv::subtract(lattice, sampled, position);
            }
        }
    };
    const auto s = std::make_shared<State>();
    Side ours = {"NcLib", [s] { NcLibWarpReverseGridDirection(&s->in, s->out.data(), nullptr); }};
    Side theirs = {"ten rounds of cv::remap", [s] { s->Iterate(); }};
    ours.run();
    theirs.run();
    Points positions(s->out.size());
    Points by_iteration(s->out.size());
    for (int i = 0; i < 51 * 67; ++i) {
        positions[static_cast<size_t>(i)] = State::Position(i);
        const auto& cell = s->position.at<cv::Vec2f>(i / 67, i % 67);
        by_iteration[static_cast<size_t>(i)] = {cell[0] * 128.0f - 4224.0f,
                                                cell[1] * 128.0f - 3200.0f};
    }
    ours.largest_error = LargestError(positions, s->out, Unbarrel);
    theirs.largest_error = LargestError(positions, by_iteration, Unbarrel);
    jobs.push_back({"reversal of a 67x51 mesh", ours, theirs, 1.5});
}

}  // namespace compare
