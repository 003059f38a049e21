// SPDX-License-Identifier: Apache-2.0
#include "rounds.hpp"

#include <algorithm>
#include <chrono>

namespace compare {
namespace {

constexpr double kLeastRoundUs = 50.0;
constexpr int kMostRepetitions = 20000;

double MicrosecondsOf(const std::function<void()>& run, int repetitions) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < repetitions; ++i) {
        run();
    }
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::micro>(end - start).count() / repetitions;
}

int RepetitionsOf(const std::function<void()>& run) {
    run();
    const double once = std::max(MicrosecondsOf(run, 3), 0.01);
    return std::clamp(static_cast<int>(kLeastRoundUs / once), 1, kMostRepetitions);
}

double AllocationsOf(const std::function<void()>& run) {
    const size_t before = AllocationCount();
    run();
    return static_cast<double>(AllocationCount() - before);
}

}  // namespace

double Percentile(std::vector<double> values, double part) {
    const auto at = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<size_t>(at)];
}

Figures Measure(const Job& job, int rounds) {
    const int our_repetitions = RepetitionsOf(job.ours.run);
    const int their_repetitions = RepetitionsOf(job.theirs.run);
    std::vector<double> ours, theirs, ratios;
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            ours.push_back(MicrosecondsOf(job.ours.run, our_repetitions));
        }
        theirs.push_back(MicrosecondsOf(job.theirs.run, their_repetitions));
        if (round % 2 != 0) {
            ours.push_back(MicrosecondsOf(job.ours.run, our_repetitions));
        }
        ratios.push_back(theirs.back() / ours.back());
    }
    return {{Percentile(ours, 0.5), AllocationsOf(job.ours.run)},
            {Percentile(theirs, 0.5), AllocationsOf(job.theirs.run)},
            Percentile(ratios, 0.1),
            Percentile(ratios, 0.5),
            Percentile(ratios, 0.9)};
}

}  // namespace compare
