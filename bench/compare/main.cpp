// SPDX-License-Identifier: Apache-2.0
// Runs each job our way and the way a user could pick instead, side by side, and prints how they
// compare. Measures and fails nothing.
#include <sched.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include "jobs.hpp"
#include "steadywarp/nclib_chip.hpp"
#include "support/warps.hpp"

namespace {

using compare::Figures;
using compare::Job;

void PinTo(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(core), &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) {
        std::perror("cannot stay on one core");
    }
}

std::string ErrorText(double error) {
    if (std::isnan(error)) {
        return "-";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.2g", error);
    return text;
}

void PrintHead() {
    std::printf(
        "| job | ours, us | theirs, us | theirs | ratio | p10 | p90 | goal | allocations | "
        "largest error |\n|---|---|---|---|---|---|---|---|---|---|\n");
}

void PrintRow(const Job& job, const Figures& f) {
    std::printf("| %s | %.3g | %.3g | %s | %.2f | %.2f | %.2f | %.2f%s | %.0f / %.0f | %s / %s |\n",
                job.what.c_str(), f.ours.median_us, f.theirs.median_us, job.theirs.name.c_str(),
                f.ratio_median, f.ratio_p10, f.ratio_p90, job.goal,
                f.ratio_p10 >= job.goal ? "" : " missed", f.ours.allocations, f.theirs.allocations,
                ErrorText(job.ours.largest_error).c_str(),
                ErrorText(job.theirs.largest_error).c_str());
    std::fflush(stdout);
}

nlohmann::json SideJson(const compare::Side& side, const compare::SideFigures& f) {
    return {{"name", side.name},
            {"median_us", f.median_us},
            {"allocations", f.allocations},
            {"largest_error", side.largest_error}};
}

nlohmann::json RowJson(const Job& job, const Figures& f) {
    return {{"job", job.what},
            {"ours", SideJson(job.ours, f.ours)},
            {"theirs", SideJson(job.theirs, f.theirs)},
            {"ratio", {{"p10", f.ratio_p10}, {"median", f.ratio_median}, {"p90", f.ratio_p90}}},
            {"goal", job.goal}};
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 101;
    int core = sched_getcpu();
    long frames = 0;
    std::string only, json_file;
    CLI::App app{"Compare with what a user could pick instead"};
    app.add_option("--rounds", rounds, "rounds of each job")->check(CLI::Range(1, 100000));
    app.add_option("--core", core, "core to stay on");
    app.add_option("--only", only, "jobs whose name has this in it");
    app.add_option("--json", json_file, "write the figures to this file as well");
    app.add_option("--frames", frames, "time this many frames one by one, and nothing else");
    CLI11_PARSE(app, argc, argv);

    PinTo(core);
    cv::setNumThreads(1);
    NcLibChipInfo::Set(bench::kChip, 0);
    if (frames > 0) {
        compare::PrintFrameTimes(frames);
        return 0;
    }
    std::vector<Job> jobs;
    compare::AddPointJobs(jobs);
    compare::AddReversalJob(jobs);
    compare::AddFrameJobs(jobs);
    compare::AddTuningJobs(jobs);
    nlohmann::json all = nlohmann::json::array();
    PrintHead();
    for (const Job& job : jobs) {
        if (job.what.find(only) != std::string::npos) {
            const Figures figures = compare::Measure(job, rounds);
            PrintRow(job, figures);
            all.push_back(RowJson(job, figures));
        }
    }
    if (!json_file.empty()) {
        std::ofstream(json_file) << all.dump(2) << '\n';
    }
    return 0;
}
