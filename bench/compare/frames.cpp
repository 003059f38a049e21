// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdio>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "filter/breach_control.hpp"
#include "jobs.hpp"
#include "stabilizer/grid.hpp"
#include "stabilizer/row_search.hpp"
#include "support/frame_stream.hpp"
#include "support/warps.hpp"

namespace compare {
namespace {

using namespace steadywarp;

const Camera kCamera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};

// A frame's rows under a hand-held turn.
struct Rows {
    Grid grid{1920, 1080};
    RowHomographies homographies;
    std::vector<cv::Point2f> nodes;
    std::vector<cv::Point2f> images;
    std::vector<cv::Matx33d> matrices;

    Rows() {
        for (uint32_t r = 0; r < kTimeRows; ++r) {
            const double t = static_cast<double>(r) - 13.0;
            homographies[r] = rotation_to_homography(kCamera, {2e-4 * t, 1e-4 * t, 5e-5 * t}, 1.0);
            matrices.emplace_back(homographies[r].data());
        }
        for (uint32_t i = 0; i < EIS_GRID_POINTS; ++i) {
            nodes.emplace_back(static_cast<float>(grid.x[i % kGridColumns]),
                               static_cast<float>(grid.y[i / kGridColumns]));
        }
    }
    void CarryThroughAll() {
        for (const cv::Matx33d& matrix : matrices) {
            cv::perspectiveTransform(nodes, images, matrix);
        }
    }
};

void AddRowSearch(std::vector<Job>& jobs) {
    const auto s = std::make_shared<Rows>();
    jobs.push_back({"node search of a frame, 945 nodes",
                    {"row search", [s] { map_by_row_search(s->homographies, s->grid); }},
                    {"27 x cv::perspectiveTransform", [s] { s->CarryThroughAll(); }},
                    4.0});
}

// The border of a bent frame, and 50 turns of which the first ones leave it.
struct Crops {
    static constexpr int kTests = 50;
    BoundingBox box;
    FilterInput input;
    std::vector<Vec3<double>> corrections;
    std::vector<cv::Point2f> border;
    std::vector<std::vector<cv::Point2f>> windows;
    int fits = 0;
    float overlap = 0.0f;

    Crops() {
        constexpr is_crop_window kFull = {1920, 1080, 1920, 1080, 0, 0};
        const is_window_regions regions = {kFull, kFull, kFull, {1920, 1080, 1728, 972, 96, 54}};
        input.windows = compute_frame_geometry_windows(regions, 1920, 1080, 0.67);
        for (uint32_t i = 0; i < kBorderPoints; ++i) {
            const double part = (i % 4) / 4.0;
            const Point2 corners[4] = {{0, 0}, {1919, 0}, {1919, 1079}, {0, 1079}};
            const Point2 a = corners[i / 4];
            const Point2 b = corners[(i / 4 + 1) % 4];
            const Point2 p = {a.x + (b.x - a.x) * part, a.y + (b.y - a.y) * part};
            box.points[i] = map_point(rotation_to_homography(kCamera, {0, 0, 1e-5 * p.y}, 1), p);
            border.emplace_back(static_cast<float>(box.points[i].x),
                                static_cast<float>(box.points[i].y));
        }
        for (int i = 0; i < kTests; ++i) {
            const double turn = 0.08 * (1.0 - i / 49.0);
            corrections.push_back({0.3 * turn, turn, 0.2 * turn});
            const Matrix3 h = rotation_to_homography(kCamera, -corrections.back(), 1);
            std::vector<cv::Point2f> window;
            for (const Point2& p : {Point2{94, 52}, {1825, 52}, {1825, 1027}, {94, 1027}}) {
                const Point2 q = map_point(h, p);
                window.emplace_back(static_cast<float>(q.x), static_cast<float>(q.y));
            }
            windows.push_back(window);
        }
    }
    void Check() {
        for (const Vec3<double>& correction : corrections) {
            fits += check_breach(box, correction, input, kCamera) ? 1 : 0;
        }
    }
    // The turned windows come for free.
    void Intersect() {
        std::vector<cv::Point2f> common;
        for (const auto& window : windows) {
            overlap += cv::intersectConvexConvex(border, window, common);
        }
    }
};

void AddCrops(std::vector<Job>& jobs) {
    const auto s = std::make_shared<Crops>();
    jobs.push_back({"50 tests of a crop against a 16-gon",
                    {"breach test", [s] { s->Check(); }},
                    {"50 x cv::intersectConvexConvex", [s] { s->Intersect(); }},
                    3.0});
}

// A stream that goes over one recording again and again on a clock that moves on.
class Stream {
  public:
    explicit Stream(int64_t motion, uint32_t gyro_hz = 1000)
        : frames_(bench::make_frames(bench::Motion(bench::profile_of(motion)), 1000000 / gyro_hz)) {
        const is_init_common_data common = bench::common_data();
        const is_init_sensor_data sensor = bench::sensor_data(gyro_hz);
        if (eis2_initialize(&context_, &common, &sensor, 1) != EIS_SUCCESS) {
            std::fputs("no instance\n", stderr);
            std::exit(1);
        }
    }
    ~Stream() { eis2_deinitialize(&context_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void Step() {
        // Times move on in place; every sample keeps its rate.
        bench::Frame& frame = frames_[next_];
        const is_input input = bench::input_of(frame, ++frame_id_);
        is_time_intervals intervals{};
        eis2_get_time_intervals(context_, &input.frame_time_input, 0, &intervals);
        if (eis2_process(context_, &input, &output_.record) != EIS_SUCCESS) {
            std::fputs("a frame was refused\n", stderr);
            std::exit(1);
        }
        constexpr uint64_t kLap = bench::kFrames * bench::kFrameUs / 1000 * 1000;
        frame.times.sof += kLap;
        for (_sample_data_s& sample : frame.samples) {
            sample.ts += kLap;
        }
        next_ = (next_ + 1) % frames_.size();
    }

  private:
    std::vector<bench::Frame> frames_;
    bench::Output output_;
    eis_context* context_ = nullptr;
    size_t next_ = 0;
    uint32_t frame_id_ = 0;
};

void AddFrame(std::vector<Job>& jobs, const char* motion_name, int64_t motion) {
    const auto s = std::make_shared<Stream>(motion);
    const auto rows = std::make_shared<Rows>();
    jobs.push_back({std::string("whole frame, 1000 Hz, ") + motion_name,
                    {"eis2_process", [s] { s->Step(); }},
                    {"27 x cv::perspectiveTransform", [rows] { rows->CarryThroughAll(); }},
                    2.0});
}

}  // namespace

void AddFrameJobs(std::vector<Job>& jobs) {
    AddRowSearch(jobs);
    AddCrops(jobs);
    AddFrame(jobs, "hand-held", bench::kHandHeld);
    AddFrame(jobs, "panning", bench::kPanning);
}

void PrintFrameTimes(long frames) {
    Stream stream(bench::kHandHeld);
    std::vector<double> times;
    times.reserve(static_cast<size_t>(frames));
    const size_t allocations = AllocationCount();
    for (long i = 0; i < frames; ++i) {
        const auto start = std::chrono::steady_clock::now();
        stream.Step();
        const std::chrono::duration<double, std::micro> took =
            std::chrono::steady_clock::now() - start;
        times.push_back(took.count());
    }
    std::printf(
        "%ld frames: median %.1f us, 99th percentile %.1f us, 99.9th %.1f us, "
        "most %.1f us; %zu allocations\n",
        frames, Percentile(times, 0.5), Percentile(times, 0.99), Percentile(times, 0.999),
        Percentile(times, 1.0), AllocationCount() - allocations);
}

}  // namespace compare
