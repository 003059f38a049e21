// SPDX-License-Identifier: Apache-2.0
// Does jobs a number of times, for counting their instructions; scripts/count-instructions does so.
//     bench_count            the compiler's version, and the jobs with their budgets, one per line
//     bench_count JOB TIMES  the count of many runs less that of one is that of the runs between
//     bench_count all TIMES  each job once and then TIMES times; EndOfPart() is entered after both
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "filter/non_future_looking_filter.hpp"
#include "nclib/Logic/WarpAdjust/topology.hpp"
#include "sensors/camera.hpp"
#include "sensors/gyro_handler.hpp"
#include "stabilizer/row_search.hpp"
#include "steadywarp/nclib_chip.hpp"
#include "support/frame_stream.hpp"
#include "support/lens.hpp"
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
        const steadywarp::TurnedCamera turned(camera, 1.0);
        steadywarp::RowHomographies rows;
        for (uint32_t r = 0; r < steadywarp::kTimeRows; ++r) {
            const double t = static_cast<double>(r);
            rows[r] = turned.homography({2e-4 * t, 1e-4 * t, 5e-5 * t});
        }
    };
}

// A frame's batch at 1000 Hz, judged and summed; times move on by 33 ms.
Work GyroSamples() {
    static constexpr uint32_t kSamples = 33;
    struct State {
        uint32_t status = EIS_SUCCESS;
        steadywarp::GyroHandler gyro{{1000.0f, 0.003f, 3, 180, 0, 512}, status};
        std::vector<_sample_data_s> samples;
        uint32_t frame_id = 0;

        State() {
            const bench::Motion motion(bench::profile_of(bench::kHandHeld));
            for (uint64_t ts = 1000000; samples.size() < kSamples; ts += 1000) {
                const auto rate = motion.body_rate(static_cast<double>(ts) * 1e-6);
                samples.push_back({{rate[0], -rate[1], -rate[2]}, ts});
            }
        }
        void Step() {
            for (_sample_data_s& sample : samples) {
                sample.ts += kSamples * 1000;
            }
            const is_sample_array batch = {samples.data(), kSamples};
            gyro.set_requested_interval({samples.front().ts, samples.back().ts});
            if (!gyro.is_valid(batch, ++frame_id, false, false)) {
                std::abort();
            }
            gyro.integrate_gyro(batch, false);
        }
    };
    const auto s = std::make_shared<State>();
    return [=] { s->Step(); };
}

// Orientation in, smoothed orientation out; shaking, with all of its history and longest windows.
Work FilterCore() {
    struct State {
        steadywarp::Camera camera;
        steadywarp::BlurMaskingParams blur;
        steadywarp::FilterNFL_TimeVaryingW_Params params;
        uint32_t status = EIS_SUCCESS;
        steadywarp::NonFutureLookingFilter_TimeVaryingWin filter{&camera, &blur, 1, &params,
                                                                 status};
        steadywarp::OrientationRing angles{1};
        steadywarp::BoxRing boxes{1};
        steadywarp::InputRing inputs{1};
        uint32_t next = 0;

        State() {
            steadywarp::FilterInput input;
            input.frame_time = bench::kFrameUs;
            inputs.push(input);
            for (int frame = 0; frame < 200; ++frame) {
                Step();
            }
        }
        void Step() {
            // About seven changes of direction in the 60 frames that are looked at.
            const double angle = 1e-3 * (static_cast<double>(next++ % 17) - 8.0);
            angles.push({angle, 0.5 * angle, -angle});
            filter.update({angles, boxes, inputs});
            filter.filter_core({angles, boxes, inputs});
        }
    };
    const auto s = std::make_shared<State>();
    return [=] { s->Step(); };
}

// A stream of hand-held frames.
struct Device {
    uint32_t gyro_hz;
    uint32_t num_sensors;
    bool has_lens_distortion;
};

Work Frames(const Device& device) {
    struct State {
        std::vector<bench::Frame> frames;
        bench::Lens lens;
        bench::Output output;
        eis_context* context = nullptr;
        uint32_t next = 0;

        explicit State(const Device& device)
            : frames(bench::make_frames(bench::Motion(bench::profile_of(bench::kHandHeld)),
                                        1000000 / device.gyro_hz)) {
            const is_init_common_data common = bench::common_data();
            is_init_sensor_data sensor = bench::sensor_data(device.gyro_hz);
            if (device.has_lens_distortion) {
                lens.install(sensor);
            }
            const std::vector<is_init_sensor_data> sensors(device.num_sensors, sensor);
            eis2_initialize(&context, &common, sensors.data(), device.num_sensors);
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
    const auto s = std::make_shared<State>(device);
    return [=] { s->Step(); };
}

struct Job {
    const char* name;
    long budget;  // instructions on AArch64 that are wanted at most; 0: none is set
    Work (*make)();
};

constexpr Job kJobs[] = {
    {"homography-945", 0, Homography},
    {"bicubic-945", 945 * 150, Bicubic},
    {"backward-945", 650000, Backward},
    {"fit-18", 25000, Fit},
    {"reversal-51x67", 1200000, Reversal},
    {"row-homographies-27", 7000, RowHomographies},
    {"gyro-33", 4000, GyroSamples},
    {"filter", 1600, FilterCore},
    {"frame-hand-held-33", 200000,
     [] {
         return Frames({1000, 1, false});
     }},
    {"frame-200hz", 0,
     [] {
         return Frames({200, 1, false});
     }},
    {"frame-8000hz", 0,
     [] {
         return Frames({8000, 1, false});
     }},
    {"frame-16-sensors", 0,
     [] {
         return Frames({1000, 16, false});
     }},
    {"frame-lens-distortion", 0,
     [] {
         return Frames({1000, 1, true});
     }},
};

void Repeat(const Work& work, long times) {
    for (; times > 0; --times) {
        work();
    }
}

}  // namespace

// Whoever counts starts over whenever this is entered.
extern "C" [[gnu::noinline]] void EndOfPart();
void EndOfPart() {
    asm volatile("");
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::printf("compiler %s\n", __VERSION__);
        for (const Job& job : kJobs) {
            std::printf("%s %ld\n", job.name, job.budget);
        }
        return 0;
    }
    NcLibChipInfo::Set(bench::kChip, 0);
    const long times = std::atol(argv[2]);
    const bool is_all = std::strcmp(argv[1], "all") == 0;
    bool is_known = is_all;
    for (const Job& job : kJobs) {
        if (is_all) {
            const Work work = job.make();
            work();
            EndOfPart();
            Repeat(work, times);
            EndOfPart();
        } else if (std::strcmp(job.name, argv[1]) == 0) {
            is_known = true;
            Repeat(job.make(), times);
        }
    }
    if (!is_known) {
        std::fprintf(stderr, "no job %s\n", argv[1]);
        return 2;
    }
    return 0;
}
