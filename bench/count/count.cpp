// SPDX-License-Identifier: Apache-2.0
// Does one job a number of times, for counting its instructions: the count of many runs less the
// count of one, by the number of runs between, is the job alone. scripts/count-instructions does
// so. Usage: bench_count JOB TIMES; without arguments, the jobs with their budgets, one per line.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "sensors/camera.hpp"
#include "stabilizer/row_search.hpp"
#include "steadywarp/nclib_chip.hpp"
#include "support/frame_stream.hpp"
#include "support/warps.hpp"

namespace {

using Work = std::function<void()>;
using Points = std::vector<NcLibWarpGridCoord>;

struct Carried {
    Points in, out;
    explicit Carried(float scale) : in(bench::RasterPoints(27, 35)), out(in) {
        for (auto& p : in) {
            p = {p.x * scale, p.y * scale};
        }
    }
    void Through(const NcLibInternalWarpTopology& stage) {
        NcLibInternalApplyTopologyOnPoints(&stage, 1, in.data(), static_cast<uint32_t>(in.size()),
                                           true, out.data());
    }
};

Work Homography() {
    const auto points = std::make_shared<Carried>(1.0f);
    const auto matrices = std::make_shared<bench::Matrices>(1);
    return [=] { points->Through({nullptr, &matrices->record, REGULAR}); };
}

Work Bicubic() {
    const auto points = std::make_shared<Carried>(1.0f);
    const auto mesh = std::make_shared<bench::Mesh>(27);
    return [=] { points->Through({&mesh->record, nullptr, REGULAR}); };
}

Work Backward() {
    const auto points = std::make_shared<Carried>(0.93f);
    const auto mesh = std::make_shared<bench::Mesh>(51);
    return [=] { points->Through({&mesh->record, nullptr, INVERSE}); };
}

Work Fit() {
    const auto points = std::make_shared<bench::Correspondences>(3, 6);
    return [=] {
        float h[9];
        bcvGeomHomographyFitf32(&points->record, h);
    };
}

Work Reversal() {
    struct State {
        bench::Mesh mesh{51};
        std::vector<float> rows, columns;
        Points out = mesh.nodes;
        NcLibWarpReverseGridIn in;
        State() {
            for (int i = 0; i < 67; ++i) {
                rows.push_back(static_cast<float>(i) * 128.0f - 3200.0f);
                columns.push_back(static_cast<float>(i) * 128.0f - 4224.0f);
            }
            in = {51, 67, rows.data(), columns.data(), mesh.nodes.data(), 2,       1,
                  51, 67, -3800.0f,    -2900.0f,       3800.0f,           2900.0f, false};
        }
    };
    const auto s = std::make_shared<State>();
    return [=] { NcLibWarpReverseGridDirection(&s->in, s->out.data(), nullptr); };
}

Work RowHomographies() {
    const steadywarp::Camera camera = {1500.0, 1500.0, 959.5, 539.5, 1920, 1080, 0.9, 0.9};
    return [=] {
        steadywarp::RowHomographies rows;
        for (uint32_t r = 0; r < steadywarp::kTimeRows; ++r) {
            const double t = static_cast<double>(r);
            rows[r] = rotation_to_homography(camera, {2e-4 * t, 1e-4 * t, 5e-5 * t}, 1.0);
        }
    };
}

// A stream of hand-held frames; times move on by the length of the recording.
Work Frame() {
    struct State {
        std::vector<bench::Frame> frames =
            bench::make_frames(bench::Motion(bench::profile_of(bench::kHandHeld)), 1000);
        bench::Output output;
        eis_context* context = nullptr;
        uint32_t next = 0;

        State() {
            const is_init_common_data common = bench::common_data();
            const is_init_sensor_data sensor = bench::sensor_data(1000);
            eis2_initialize(&context, &common, &sensor, 1);
        }
        ~State() { eis2_deinitialize(&context); }
        void Step() {
            const is_input input = bench::input_of(frames.at(next), next + 1);
            ++next;
            is_time_intervals intervals{};
            eis2_get_time_intervals(context, &input.frame_time_input, 0, &intervals);
            if (eis2_process(context, &input, &output.record) != EIS_SUCCESS) {
                std::abort();
            }
        }
    };
    const auto s = std::make_shared<State>();
    return [=] { s->Step(); };
}

struct Job {
    const char* name;
    long budget;  // instructions on AArch64 that are wanted at most; 0: none is set
    Work (*make)();
};

constexpr Job kJobs[] = {
    {"homography-945", 0, Homography},     {"bicubic-945", 945 * 150, Bicubic},
    {"backward-945", 650000, Backward},    {"fit-18", 25000, Fit},
    {"reversal-51x67", 1200000, Reversal}, {"row-homographies-27", 7000, RowHomographies},
    {"frame-hand-held-33", 200000, Frame},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        for (const Job& job : kJobs) {
            std::printf("%s %ld\n", job.name, job.budget);
        }
        return 0;
    }
    NcLibChipInfo::Set(bench::kChip, 0);
    for (const Job& job : kJobs) {
        if (std::strcmp(job.name, argv[1]) == 0) {
            const Work work = job.make();
            for (long i = std::atol(argv[2]); i > 0; --i) {
                work();
            }
            return 0;
        }
    }
    std::fprintf(stderr, "no job %s\n", argv[1]);
    return 2;
}
